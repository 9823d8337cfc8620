// Whole-engine properties: every buffer size gives the whole units that fit,
// terminated, and never writes past its size; and where C's printf defines
// the same output, the engine agrees with it byte for byte on random formats.
#include <math.h>
#include <stdio.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/fmt_test_util.h"

namespace {

// A format's output as segments of units: a unit is written whole or not
// at all, and a unit that does not fit ends its segment (a directive), while
// the segments after it go on. need > text.size() asks for spare room.
struct Unit {
  std::string text;
  size_t need;
};
using Segments = std::vector<std::vector<Unit>>;

// What a buffer of `size` bytes receives, by the rule above.
static std::string expected_cut(const Segments &segments, size_t size) {
  std::string out;
  for (const auto &segment : segments)
    for (const Unit &u : segment) {
      if (out.size() + std::max(u.need, u.text.size()) > size - 1) break;
      out += u.text;
    }
  return out;
}

// Each byte of a text its own unit; or the units of an escaped text.
static std::vector<Unit> plain(const std::string &text) {
  std::vector<Unit> units;
  for (char c : text)
    units.push_back({std::string(1, c), 1});
  return units;
}
static std::vector<Unit> units(std::initializer_list<const char *> list) {
  std::vector<Unit> v;
  for (const char *u : list)
    v.push_back({u, strlen(u)});
  return v;
}

TEST(FmtSweep, EveryBufferSizeGivesTheWholeUnitsThatFit) {
  static const unsigned char bytes[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                          0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  static const uint16_t wide[] = {'w', 0xE9, 0x20AC, 0};
  const std::vector<Unit> url = units({"a", "%20", "b", "%2F", "c"}),
                          q1 = units({"i", "t", "\\'", "s"}), q2 = units({"i", "t", "''", "s"}),
                          q3 = units({"s", "a", "y", " ", "\\\"", "x", "\\\""}),
                          bq = units({"a", "`", "b", " "}), bar = plain("|");
  using Call = std::function<size_t(char *, size_t)>;
  const std::pair<Call, Segments> cases[] = {
      {[](char *b, size_t n) {
         return xp_fmt_format(b, n, "<%d|%5u|%-6x|%#010X|%o|%.3d|%lld>", -1234, 77u, 255u, 48879u,
                              8u, 98765, (long long)INT64_MIN);
       },
       {plain("<-1234|   77|ff    |0X0000BEEF|10|987|\xE2\x88\x92"
              "92233720368547758>")}},
      {[](char *b, size_t n) {
         return xp_fmt_format(b, n, "%s|%8s|%-8s|%.2s|%S|%P|%T|%c%%|%ls|%6lc", "abc", "right",
                              "left", "cut", (size_t)3, "xyzw", "\x02pq",
                              (int)XP_TAG('a', 'b', 'c', 'd'), 'Z', wide, 0x20AC);
       },
       {plain("abc|   right|left    |cu|xyz|pq|abcd|Z%|w\xC3\xA9\xE2\x82\xAC|   \xE2\x82\xAC")}},
      {[](char *b, size_t n) {
         return xp_fmt_format(b, n, "%+s|%s{:'}|%s{:''}|%s{:'''}|%s{:`}", "a b/c", "it's", "it's",
                              "say \"x\"", "a'b\n");
       },
       {url, bar, q1, bar, q2, bar, q3, bar, bq}},
      {[](char *b, size_t n) {
         return xp_fmt_format(b, n, "%h|% H|%*p{h}", (size_t)4, bytes, (size_t)3, bytes, 2, bytes);
       },
       {plain("00112233|00 11 22|0011")}},
      {[](char *b, size_t n) {
         return xp_fmt_format(b, n, "%f|%.2f|%10.3f|%-9.1e|%g|%G|%e|%+f|% 7f", 3.25, -0.125, 2.5,
                              12345.678, 0.0001, 1e20, -1e-7, INFINITY, NAN);
       },
       {plain("3.250000|-0.13|     2.500|1.2e+04  |0.0001|1E+20|-1.000000e-07|+inf|    nan")}},
      // A UUID needs room for itself and one byte more, or it is left out.
      {[](char *b, size_t n) { return xp_fmt_format(b, n, "id %p{U} end", bytes); },
       {plain("id "), {{"00112233-4455-6677-8899-AABBCCDDEEFF", 37}}, plain(" end")}},
  };
  for (size_t k = 0; k < std::size(cases); k++) {
    auto &[call, segments] = cases[k];
    SCOPED_TRACE(k);
    const std::string full = expected_cut(segments, 512);
    EXPECT_GE(call(nullptr, 0), full.size());  // measuring may count more (small floats)
    for (size_t size = 1; size <= full.size() + 2; size++) {
      std::vector<char> buf(size + 16, (char)0xAA);
      size_t n = call(buf.data(), size);
      ASSERT_EQ(std::string(buf.data(), n), expected_cut(segments, size)) << size;
      ASSERT_EQ(0, buf[n]) << size;
      for (size_t i = size; i < buf.size(); i++)
        ASSERT_EQ((char)0xAA, buf[i]) << size;
    }
  }
}

// Random formats over the part of the directive language that C's printf
// shares: non-negative integers with width and the '-', '0' and '#' flags,
// texts without width and precision together, characters, '%%', literal
// text and positions. Argument slots: 0 int, 1 text, 2 long long, 3 long.
struct Generator {
  std::mt19937 rng;
  int pick(int n) { return (int)(rng() % (unsigned)n); }

  std::string literal() {
    static const char chars[] = "abc XYZ.,:;-_=0123456789[]()";
    std::string s;
    for (int i = pick(4); i > 0; i--)
      s += chars[pick(sizeof chars - 1)];
    return pick(6) ? s : s + "%%";
  }

  std::string directive(int slot) {
    std::string flags, width = pick(2) ? std::to_string(pick(25)) : "";
    if (slot == 1) {
      if (pick(3) == 0) return pick(2) ? "." + std::to_string(pick(8)) + "s" : "s";
      return (pick(2) ? "-" : "") + width + "s";
    }
    char c = "diuxXo"[pick(6)];
    if (pick(3) == 0) flags += '-';
    if (pick(3) == 0) flags += '0';
    if (c != 'd' && c != 'i' && pick(3) == 0) flags += '#';
    if (slot == 0 && pick(8) == 0) return "c";
    return flags + width + (slot == 2 ? "ll" : slot == 3 ? "l" : "") + c;
  }
};

TEST(FmtCompare, AgreesWithSnprintfOnTheCommonLanguage) {
  Generator g{std::mt19937(12345)};
  static const char *texts[] = {
      "", "a", "hello", "with space", "0123456789abcdef", "\xC3\xA9t\xC3\xA9"};
  for (int round = 0; round < 20000; round++) {
    std::string format = g.literal();
    if (g.pick(3) == 0) {
      // Positions: every slot used at least once, in a random order, some twice.
      std::vector<int> order = {0, 1, 2, 3};
      for (int i = g.pick(3); i > 0; i--)
        order.push_back(g.pick(4));
      for (size_t i = order.size(); i > 1; i--)
        std::swap(order[i - 1], order[g.pick((int)i)]);
      for (int slot : order)
        format += "%" + std::to_string(slot + 1) + "$" + g.directive(slot) + g.literal();
    } else {
      for (int slot = 0; slot < 4; slot++)
        format += "%" + g.directive(slot) + g.literal();
    }
    int kind = g.pick(4);
    int a = kind == 0   ? g.pick(10)
            : kind == 1 ? g.pick(1000000)
            : kind == 2 ? INT32_MAX - g.pick(10)
                        : (int)(g.rng() & 0x7FFFFFFF);
    if (format.find("$c") != std::string::npos || format.find("%c") != std::string::npos)
      a = 32 + a % 95;
    const char *t = texts[g.pick(6)];
    long long c = (long long)(((uint64_t)g.rng() << 32 | g.rng()) >> (1 + g.pick(63)));
    long d = (long)(((uint64_t)g.rng() << 32 | g.rng()) >> (1 + g.pick(63)));
    char want[512], got[512];
    int wn = snprintf(want, sizeof want, format.c_str(), a, t, c, d);
    size_t gn = xp_fmt_format(got, sizeof got, format.c_str(), a, t, c, d);
    ASSERT_EQ(std::string(want), std::string(got)) << "format: " << format;
    ASSERT_EQ((size_t)wn, gn) << format;
    ASSERT_EQ(gn, xp_fmt_format(nullptr, 0, format.c_str(), a, t, c, d)) << format;
    // And cut short, as snprintf cuts.
    size_t small = (size_t)g.pick(wn + 2) + 1;
    snprintf(want, small, format.c_str(), a, t, c, d);
    xp_fmt_format(got, small, format.c_str(), a, t, c, d);
    ASSERT_STREQ(want, got) << format << " size " << small;
  }
}

}  // namespace
