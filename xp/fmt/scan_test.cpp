// The text scanners, each read from a heap copy of exactly the given length
// so that a read past it is caught under ASan.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/xp_fmt.h"

namespace {

using Bytes = std::vector<unsigned char>;

// An unterminated heap copy of the text.
struct Exact {
  explicit Exact(const std::string &s) : buf(s.begin(), s.end()) {}
  const char *data() const { return buf.empty() ? "" : buf.data(); }
  size_t size() const { return buf.size(); }
  std::vector<char> buf;
};

Bytes data_of(const std::string &hex, size_t room) {
  Exact text(hex);
  Bytes out(room + 4, 0xEE);
  size_t n = xp_fmt_getdata(out.data(), room, text.data(), static_cast<intptr_t>(text.size()));
  for (size_t i = room; i < out.size(); ++i)
    EXPECT_EQ(out[i], 0xEE) << hex << " room " << room;
  out.resize(n);
  return out;
}

TEST(ScanData, PairsOfDigits) {
  EXPECT_EQ(data_of("00ff7F80", 8), Bytes({0x00, 0xff, 0x7f, 0x80}));
  EXPECT_EQ(data_of("abc", 4), Bytes({0xab, 0xc0}));   // odd: low digit 0
  EXPECT_EQ(data_of("zz1g", 4), Bytes({0x00, 0x10}));  // non-digits count as 0
  EXPECT_EQ(data_of("aabbcc", 2), Bytes({0xaa, 0xbb}));
  EXPECT_EQ(data_of("aabbcc", 0), Bytes());
  EXPECT_EQ(data_of("", 4), Bytes());
}

TEST(ScanData, MeasuringRoundsDown) {
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, "abc", 3), 1u);
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, "abcd", 4), 2u);
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, "abcd", -1), 0u);
  unsigned char out[4] = {1, 1, 1, 1};
  EXPECT_EQ(xp_fmt_getdata(out, 4, "abcd", -1), 0u);
  EXPECT_EQ(xp_fmt_getdata(out, 4, nullptr, 4), 0u);
  EXPECT_EQ(out[0], 1);
}

TEST(ScanData, GuardBytesAtEveryRoom) {
  std::mt19937 rng(5);
  for (int len = 0; len <= 20; ++len) {
    std::string hex;
    for (int i = 0; i < len; ++i)
      hex += "0123456789abcdefABCDEF-x"[rng() % 24];
    Bytes full = data_of(hex, 16);
    ASSERT_EQ(full.size(), static_cast<size_t>((len + 1) / 2));
    for (size_t room = 0; room <= 12; ++room) {
      Bytes part = data_of(hex, room);
      ASSERT_EQ(part, Bytes(full.begin(), full.begin() + std::min(room, full.size())));
    }
  }
}

}  // namespace
