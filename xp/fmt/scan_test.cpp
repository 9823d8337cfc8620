// The text scanners, each read from a heap copy of exactly the given length
// so that a read past it is caught under ASan (every room of the byte
// readers is the fuzz target's).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/xp_fmt.h"

using Bytes = std::vector<unsigned char>;

// An unterminated heap copy of the text.
struct Exact {
  explicit Exact(const std::string &s) : buf(s.begin(), s.end()) {}
  const char *data() const { return buf.empty() ? "" : buf.data(); }
  std::vector<char> buf;
};

static Bytes data_of(const std::string &hex, size_t room) {
  Bytes out(room + 4, 0xEE);
  size_t n = xp_fmt_getdata(out.data(), room, Exact(hex).data(), intptr_t(hex.size()));
  EXPECT_EQ(Bytes(out.begin() + room, out.end()), Bytes(4, 0xEE)) << hex << " room " << room;
  out.resize(n);
  return out;
}

TEST(ScanData, PairsOfDigitsAndGuardBytes) {
  EXPECT_EQ(data_of("00ff7F80", 8), Bytes({0x00, 0xff, 0x7f, 0x80}));
  EXPECT_EQ(data_of("zz1g", 4), Bytes({0x00, 0x10}));   // non-digits count as 0
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, "abc", 3), 1u);  // measuring rounds down
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, "abcd", -1), 0u);
  unsigned char one = 1;
  EXPECT_EQ(xp_fmt_getdata(&one, 1, nullptr, 4) + one, 1u);
}

static int64_t getquad(const std::string &s) {
  return xp_fmt_getquad(Exact(s).data(), s.size());
}
static double getdouble(const std::string &s) {  // the length does not count a minus
  return xp_fmt_getdouble(Exact(s).data(), static_cast<int32_t>(s.size()) - (s[0] == '-'));
}
static unsigned long hexlong(const std::string &s) {
  return xp_fmt_hexlong(Exact(s).data(), s.size());
}

TEST(ScanNumbers, EdgeCases) {
  for (const char *zero : {" 42", "+", "-", "--5", "", "0x10"})
    EXPECT_EQ(xp_fmt_getlong(Exact(zero).data(), strlen(zero)), 0) << zero;
  EXPECT_EQ(
      std::vector<int64_t>({xp_fmt_getlong(Exact("12\xb3").data(), 3), xp_fmt_getlong("123", 2),
                            xp_fmt_getlong(nullptr, 5), getquad("-9223372036854775808"),
                            getquad("9223372036854775808"), getquad("18446744073709551617")}),
      std::vector<int64_t>({12, 12, 0, INT64_MIN, INT64_MIN, 1}));  // values wrap
  for (auto [s, v] : {std::pair{"1.2.3", 1.2}, {"1e5", 1}, {"+1", 0}, {".5", 0.5}, {"nan", 0}})
    EXPECT_EQ(getdouble(s), v) << s;
  EXPECT_DOUBLE_EQ(getdouble("0.00000000000000000000000001"), 1e-26);
  EXPECT_EQ(std::vector<double>({xp_fmt_getdouble("2.75", 3), xp_fmt_getdouble("5", -1),
                                 xp_fmt_getdouble(nullptr, 4)}),
            std::vector<double>({2.7, 0, 0}));
  for (auto [s, v] : {std::pair{"0x12:ab", 0x12abul},
                      {"-ff", 0ul - 255},
                      {"+0XfF", 0xfful},
                      {"de ad be ef", 0xdeadbeeful},
                      {"0x", 0ul},
                      {"0g1", 1ul},
                      {"x12", 0x12ul}})
    EXPECT_EQ(hexlong(s), v) << s;
  EXPECT_EQ(xp_fmt_hexlong("abcd", 2), 0xabul);
  EXPECT_EQ(xp_fmt_gettag(Exact("__ab_cd-ef").data(), 10), XP_TAG('a', 'b', 'c', 'd'));
  EXPECT_EQ(xp_fmt_gettag(Exact(std::string("a\0bc", 4)).data(), 4), XP_TAG('a', 0, 0, 0));
  EXPECT_EQ(xp_fmt_gettag("abcd", 3), XP_TAG('a', 'b', 'c', 0));
}

TEST(ScanNumbers, AgreeWithTheCLibrary) {
  std::mt19937_64 rng(6);
  for (int i = 0; i < 20000; ++i) {
    long long v = static_cast<long long>(rng()) >> (rng() % 63);
    std::string s =
        (rng() % 4 == 0 && v >= 0 ? "+" : "") + std::to_string(v) + (rng() % 3 ? "" : "x9");
    ASSERT_EQ(getquad(s), v) << s;
    ASSERT_EQ(xp_fmt_getlong(Exact(s).data(), s.size()), long(std::strtoll(s.c_str(), nullptr, 10)))
        << s;
    // Up to 15 significant digits the one division rounds as strtod does.
    std::string digits = std::to_string(rng() % 1000000000000000ull);
    size_t point = rng() % (digits.size() + 1);
    std::string d = (rng() % 2 ? "-" : "") + digits.substr(0, point) + "." + digits.substr(point);
    ASSERT_EQ(getdouble(d), std::strtod(d.c_str(), nullptr)) << d;
    unsigned long u = static_cast<unsigned long>(rng() >> (rng() % 64));
    char text[32];
    snprintf(text, sizeof text, i % 2 ? "%lx" : "0X%lX", u);
    ASSERT_EQ(hexlong(text), u) << text;
  }
}

static size_t getuuid(const std::string &s, Bytes *out, size_t outsize = 16) {
  out->assign(outsize + 4, 0xEE);
  return xp_fmt_getuuid(out->data(), outsize, Exact(s).data(), intptr_t(s.size()));
}

TEST(ScanUuid, FormsFailuresAndGuardBytes) {
  const size_t all_ones = static_cast<size_t>(-1);
  const std::pair<std::string, size_t> cases[] = {
      {"00112233-4455-6677-8899-AABBCCDDEEFF", 16},
      {"-0011-2233445566778899aabbccddeeff", 16},
      {"00112233445566778899aabbccddeegg", 16},  // g..z read as 0
      {"00112233-4455-6677-8899-AABBCCDDEEFF-", all_ones},
      {"00112233-4455-6677-8899-AABBCCDDEEF-", all_ones},
      {"00112233-4455-6677-8899-AABBCCDDEEFFx", all_ones},
      {"00112233445566778899aabbccddeef", all_ones},
      {std::string("00112233445566778899aabbccddeef\0", 32), all_ones},
      {"00112233 4455-6677-8899-AABBCCDDEEFF", 0},
      {"00112233+4455667788990aabbccddeeff", 0}};
  Bytes out;
  for (const auto &[text, result] : cases)
    EXPECT_EQ(getuuid(text, &out), result) << text;
  EXPECT_EQ(xp_fmt_getuuid(nullptr, 0, nullptr, 0), 16u);
  EXPECT_EQ(xp_fmt_getuuid(out.data(), 16, "00112233445566778899aabbccddeeff", -1), all_ones);
  // Texts made independently of the library, and the library's own writer.
  std::mt19937 rng(10);
  for (int i = 0; i < 5000; ++i) {
    Bytes u(16);
    for (auto &b : u)
      b = static_cast<unsigned char>(rng());
    char text[40];
    snprintf(text, sizeof text,
             i % 2 ? "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X"
                   : "%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x",
             u[0], u[1], u[2], u[3], u[4], u[5], u[6], u[7], u[8], u[9], u[10], u[11], u[12], u[13],
             u[14], u[15]);
    for (int pass = 0; pass < 2; pass++) {
      ASSERT_EQ(getuuid(text, &out), 16u) << text;
      ASSERT_EQ(Bytes(out.begin(), out.begin() + 16), u) << text;
      ASSERT_EQ(xp_fmt_uuid(text, 37, u.data(), 16), 36u);
    }
  }
}
