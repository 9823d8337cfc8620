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
  EXPECT_EQ(xp_fmt_getdata(nullptr, 0, nullptr, 5), 2u);
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

long getlong(const std::string &s) {
  Exact t(s);
  return xp_fmt_getlong(t.data(), t.size());
}
int64_t getquad(const std::string &s) {
  Exact t(s);
  return xp_fmt_getquad(t.data(), t.size());
}
// The length of a negative number does not count its sign.
double getdouble(const std::string &s) {
  Exact t(s);
  auto len = static_cast<int32_t>(t.size()) - (!s.empty() && s[0] == '-' ? 1 : 0);
  return xp_fmt_getdouble(t.data(), len);
}
uint32_t gettag(const std::string &s) {
  Exact t(s);
  return xp_fmt_gettag(t.data(), t.size());
}
unsigned long hexlong(const std::string &s) {
  Exact t(s);
  return xp_fmt_hexlong(t.data(), t.size());
}

TEST(ScanLong, SignDigitsAndStop) {
  EXPECT_EQ(getlong("-42abc"), -42);
  EXPECT_EQ(getlong("+17"), 17);
  EXPECT_EQ(getlong(" 42"), 0);
  EXPECT_EQ(getlong("+"), 0);
  EXPECT_EQ(getlong("-"), 0);
  EXPECT_EQ(getlong("--5"), 0);
  EXPECT_EQ(getlong(""), 0);
  EXPECT_EQ(getlong("12\xb3"), 12);
  EXPECT_EQ(getlong("0x10"), 0);
  EXPECT_EQ(xp_fmt_getlong("123", 2), 12);
  EXPECT_EQ(xp_fmt_getlong(nullptr, 5), 0);
  EXPECT_EQ(getquad("-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(getquad("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(getquad("9223372036854775808"), INT64_MIN);  // wraps
  EXPECT_EQ(getquad("18446744073709551617"), 1);
  EXPECT_EQ(getquad("-1x"), -1);
}

TEST(ScanLong, AgreesWithStrtoll) {
  std::mt19937_64 rng(6);
  for (int i = 0; i < 20000; ++i) {
    long long v = static_cast<long long>(rng()) >> (rng() % 63);
    std::string s = std::to_string(v);
    if (rng() % 4 == 0 && v >= 0) s = "+" + s;
    if (rng() % 3 == 0) s += "x9";
    ASSERT_EQ(getquad(s), v) << s;
    ASSERT_EQ(getlong(s), static_cast<long>(std::strtoll(s.c_str(), nullptr, 10))) << s;
  }
}

TEST(ScanDouble, DigitsAndOnePoint) {
  EXPECT_EQ(getdouble("3.25"), 3.25);
  EXPECT_EQ(getdouble("-0.5"), -0.5);  // read with length 3
  EXPECT_EQ(getdouble("1.2.3"), 1.2);
  EXPECT_EQ(getdouble("1e5"), 1);
  EXPECT_EQ(getdouble("+1"), 0);
  EXPECT_EQ(getdouble(".5"), 0.5);
  EXPECT_EQ(getdouble("5."), 5);
  EXPECT_EQ(getdouble("-7"), -7);
  EXPECT_EQ(getdouble("nan"), 0);
  EXPECT_DOUBLE_EQ(getdouble("0.00000000000000000000000001"), 1e-26);
  EXPECT_EQ(xp_fmt_getdouble("2.75", 3), 2.7);
  EXPECT_EQ(xp_fmt_getdouble("-5", 0), 0);
  EXPECT_EQ(xp_fmt_getdouble("5", -1), 0);
  EXPECT_EQ(xp_fmt_getdouble(nullptr, 4), 0);
}

// Up to 15 significant digits both the mantissa and the power of ten are
// exact, so the one division rounds as strtod does.
TEST(ScanDouble, AgreesWithStrtod) {
  std::mt19937_64 rng(8);
  for (int i = 0; i < 20000; ++i) {
    std::string digits = std::to_string(rng() % 1000000000000000ull);
    size_t point = rng() % (digits.size() + 1);
    std::string s = digits.substr(0, point) + "." + digits.substr(point);
    if (rng() % 2) s = "-" + s;
    ASSERT_EQ(getdouble(s), std::strtod(s.c_str(), nullptr)) << s;
  }
}

TEST(ScanTag, FourCharactersInTextOrder) {
  EXPECT_EQ(gettag("TE-XT"), XP_TAG('T', 'E', 'X', 'T'));
  EXPECT_EQ(gettag("__ab_cd-ef"), XP_TAG('a', 'b', 'c', 'd'));
  EXPECT_EQ(gettag("ab"), XP_TAG('a', 'b', 0, 0));
  EXPECT_EQ(gettag(std::string("a\0bc", 4)), XP_TAG('a', 0, 0, 0));
  EXPECT_EQ(gettag(""), 0u);
  EXPECT_EQ(xp_fmt_gettag("abcd", 3), XP_TAG('a', 'b', 'c', 0));
  EXPECT_EQ(gettag("xstr"), XP_TYPE_STR);
  EXPECT_EQ(gettag("xstr"), xp_tag("xstr"));
}

TEST(ScanHex, PrefixSignAndSkippedCharacters) {
  EXPECT_EQ(hexlong("0x12:ab"), 0x12abul);
  EXPECT_EQ(hexlong("-ff"), 0ul - 255);
  EXPECT_EQ(hexlong("+0XfF"), 0xfful);
  EXPECT_EQ(hexlong("de ad be ef"), 0xdeadbeeful);
  EXPECT_EQ(hexlong("0x"), 0ul);
  EXPECT_EQ(hexlong("0"), 0ul);
  EXPECT_EQ(hexlong("00ff"), 0xfful);
  EXPECT_EQ(hexlong("0g1"), 1ul);
  EXPECT_EQ(hexlong("x12"), 0x12ul);
  EXPECT_EQ(hexlong(""), 0ul);
  EXPECT_EQ(hexlong("-"), 0ul);
  EXPECT_EQ(xp_fmt_hexlong("abcd", 2), 0xabul);
}

TEST(ScanHex, AgreesWithStrtoul) {
  std::mt19937_64 rng(9);
  for (int i = 0; i < 20000; ++i) {
    unsigned long v = static_cast<unsigned long>(rng() >> (rng() % 64));
    char text[32];
    snprintf(text, sizeof text, i % 2 ? "%lx" : "0X%lX", v);
    ASSERT_EQ(hexlong(text), v) << text;
  }
}

size_t getuuid(const std::string &s, Bytes *out, size_t outsize = 16) {
  Exact t(s);
  out->assign(outsize + 4, 0xEE);
  return xp_fmt_getuuid(out->data(), outsize, t.data(), static_cast<intptr_t>(t.size()));
}

const size_t kAllOnes = static_cast<size_t>(-1);

TEST(ScanUuid, FormsAndFailures) {
  const Bytes expect{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                     0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
  Bytes out;
  EXPECT_EQ(getuuid("00112233-4455-6677-8899-AABBCCDDEEFF", &out), 16u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 16), expect);
  EXPECT_EQ(out[16], 0xEE);
  EXPECT_EQ(getuuid("00112233445566778899aabbccddeeff", &out), 16u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 16), expect);
  EXPECT_EQ(getuuid("-0011-2233445566778899aabbccddeeff", &out), 16u);
  EXPECT_EQ(getuuid("00112233445566778899aabbccddeegg", &out), 16u);  // g..z read as 0
  EXPECT_EQ(out[15], 0x00);

  EXPECT_EQ(getuuid("00112233-4455-6677-8899-AABBCCDDEEFF-", &out), kAllOnes);
  EXPECT_EQ(getuuid("00112233-4455-6677-8899-AABBCCDDEEF-", &out), kAllOnes);
  EXPECT_EQ(getuuid("00112233-4455-6677-8899-AABBCCDDEEFFx", &out), kAllOnes);
  EXPECT_EQ(getuuid(std::string("00112233445566778899aabbccddeef\0", 32), &out), kAllOnes);
  EXPECT_EQ(getuuid("00112233 4455-6677-8899-AABBCCDDEEFF", &out), 0u);
  EXPECT_EQ(getuuid("00112233+4455667788990aabbccddeeff", &out), 0u);
  EXPECT_EQ(getuuid("00112233445566778899aabbccddeef", &out), kAllOnes);  // 31
  EXPECT_EQ(getuuid("00112233445566778899aabbccddeeff", &out, 15), kAllOnes);
  EXPECT_EQ(out, Bytes(19, 0xEE));
  EXPECT_EQ(xp_fmt_getuuid(nullptr, 0, nullptr, 0), 16u);
  EXPECT_EQ(xp_fmt_getuuid(out.data(), 16, "00112233445566778899aabbccddeeff", -1), kAllOnes);
}

TEST(ScanUuid, GuardBytesAtEveryRoom) {
  for (size_t room = 0; room <= 24; ++room) {
    Bytes out;
    size_t n = getuuid("ffffffff-ffff-ffff-ffff-ffffffffffff", &out, room);
    ASSERT_EQ(n, room < 16 ? kAllOnes : 16u);
    for (size_t i = 0; i < out.size(); ++i)
      ASSERT_EQ(out[i], i < n && n == 16 ? 0xff : 0xEE);
  }
}

// Texts made here independently of the library's own UUID writer.
TEST(ScanUuid, ReadsRandomUuidTexts) {
  std::mt19937 rng(10);
  for (int i = 0; i < 5000; ++i) {
    Bytes u(16);
    for (auto &b : u)
      b = static_cast<unsigned char>(rng());
    char text[40];
    const char *f = i % 2 ? "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X"
                          : "%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x";
    snprintf(text, sizeof text, f, u[0], u[1], u[2], u[3], u[4], u[5], u[6], u[7], u[8], u[9],
             u[10], u[11], u[12], u[13], u[14], u[15]);
    Bytes out;
    ASSERT_EQ(getuuid(text, &out), 16u) << text;
    ASSERT_EQ(Bytes(out.begin(), out.begin() + 16), u) << text;
  }
}

// The reader inverts the library's own UUID writer.
TEST(ScanUuid, InvertsTheUuidWriter) {
  std::mt19937 rng(11);
  for (int i = 0; i < 5000; ++i) {
    Bytes u(16);
    for (auto &b : u)
      b = static_cast<unsigned char>(rng());
    char text[37];
    ASSERT_EQ(xp_fmt_uuid(text, sizeof text, u.data(), 16), 36u);
    Bytes out;
    ASSERT_EQ(getuuid(std::string(text, 36), &out), 16u) << text;
    ASSERT_EQ(Bytes(out.begin(), out.begin() + 16), u) << text;
  }
}

}  // namespace
