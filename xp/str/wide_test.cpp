// UTF-16 conversions: byte-order marks, the vectorised passes against the
// unit-by-unit definition at every length and misalignment, and decoding.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"
#include "xp/xp_test_util.h"

using xpt::take;
using Units = std::vector<uint16_t>;

static uint16_t swap16(uint16_t u) {
  return static_cast<uint16_t>(u << 8 | u >> 8);
}
static uint16_t be(uint16_t u) {  // the host-order value of a unit stored big-endian
  return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? swap16(u) : u;
}

static std::string reference(const Units &units) {
  std::string r;
  for (uint16_t u : units) {
    if (u < 0x80)
      r += static_cast<char>(u);
    else if (u < 0x800)
      r += {char(0xC0 | u >> 6), char(0x80 | (u & 0x3F))};
    else
      r += {char(0xE0 | u >> 12), char(0x80 | (u >> 6 & 0x3F)), char(0x80 | (u & 0x3F))};
  }
  return r;
}

// Units over the three size classes and their edges; mix 1 is mostly
// ASCII, mix 2 mostly three-byte units.
static Units random_units(std::mt19937 &rng, size_t n, int mix = 0) {
  static const uint16_t edges[] = {0, 0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0xFEFF};
  Units v(n);
  for (auto &u : v) {
    unsigned r = rng(), k = r / 8;
    if (mix && r % 8)
      u = uint16_t(mix == 1 ? ' ' + k % 95 : 0x4E00 + k % 0x5000);
    else
      u = r % 4 == 3 ? edges[k % 8]
                     : uint16_t(r % 4 == 0   ? k % 0x80
                                : r % 4 == 1 ? 0x80 + k % 0x780
                                             : k);
  }
  return v;
}

TEST(StrWide, ByteOrderMarksAndSurrogates) {
  const std::pair<Units, std::string> cases[] = {
      {{0xFEFF, 0x0041}, "A"},
      {{be(0x0041), 0xFEFF}, "A" + reference({be(0xFEFF)})},  // no mark: big-endian
      {{0xFFFE, swap16(0x20AC), swap16(0x0062)},
       "\xe2\x82\xac"
       "b"},
      {{0xFEFF, 'h', 'i', 0, 'x'}, std::string("hi\0x", 4)},
      {{0xFEFF, 0xD83D, 0xDE00}, "\xed\xa0\xbd\xed\xb8\x80"}};  // each half alone
  for (const auto &[units, want] : cases)
    EXPECT_EQ(take(xp_str_wmake(units.data(), intptr_t(units.size()))), want);
  EXPECT_EQ(take(xp_str_wnew(cases[3].first.data())), "hi");
}

TEST(StrWide, VectorPassesEqualTheDefinitionAtEveryLengthAndMisalignment) {
  std::mt19937 rng(1234);
  std::vector<unsigned char> area(2 * 80 + 32);
  for (size_t n = 0; n <= 80; n++) {
    for (int mix = 0; mix < 3; mix++) {
      Units units = random_units(rng, n, mix);
      std::string expect = reference(units);
      for (size_t shift = 0; shift < 16; shift++) {
        unsigned char *p = area.data() + shift;
        for (int sw = 0; sw < 2; sw++) {
          for (size_t i = 0; i < n; i++) {
            uint16_t u = sw ? swap16(units[i]) : units[i];
            std::memcpy(p + 2 * i, &u, 2);
          }
          ASSERT_EQ(xps::utf8_size_scalar(p, n, sw), expect.size()) << n << " " << shift;
          ASSERT_EQ(xps::utf8_size_vector(p, n, sw), expect.size()) << n << " " << shift;
          for (int path = 0; path < 3; path++) {
            std::string out(expect.size() + 40, '\x5A');
            if (!xps::utf8_encode(path, p, n, sw, out.data(), expect.size())) continue;
            ASSERT_EQ(out, expect + std::string(40, '\x5A')) << n << " path " << path;
          }
        }
      }
    }
  }
  // Long runs of one class reach the widening of the lane counters.
  for (uint16_t u : {0x41, 0x7FF, 0x4E2D}) {
    Units v(300001, u);
    EXPECT_EQ(xps::utf8_size_vector(v.data(), v.size(), false), reference({u}).size() * v.size());
  }
}

static Units wget_all(xp_str *s, intptr_t max) {
  std::vector<unsigned char> out(2 * static_cast<size_t>(max) + 2);
  Units units(size_t(xp_str_wget(s, reinterpret_cast<uint16_t *>(out.data()), max)));
  for (size_t i = 0; i < units.size(); i++)
    units[i] = static_cast<uint16_t>(out[2 * i] << 8 | out[2 * i + 1]);
  xp_str_release(s);
  return units;
}

TEST(StrWide, WgetDecodesIntoBigEndianUnits) {
  xp_str *s = xp_str_new("A\xc3\xa9\xe2\x82\xac");
  EXPECT_EQ(xp_str_wget(s, nullptr, 10), 3);
  EXPECT_EQ(wget_all(s, 2), (Units{0x41, 0xE9}));
  // Four-byte sequences are cut to 16 bits; stray continuation bytes are
  // skipped; a new lead abandons an unfinished sequence; FE starts nothing.
  EXPECT_EQ(wget_all(xp_str_new("\xf0\x9f\x98\x80\x80\x80\xe2\x82\xc3\xa9\xfe\x80\xe2z"), 20),
            (Units{0xF600, 0xE9, 'z'}));
  // Every unit made by xp_str_wmake comes back.
  std::mt19937 rng(7);
  Units units = random_units(rng, 5000), stored;
  units[0] = 'x';  // not a mark
  for (auto &u : units)
    stored.push_back(be(u = u ? u : 1));
  EXPECT_EQ(wget_all(xp_str_wmake(stored.data(), intptr_t(stored.size())), 6000), units);
}
