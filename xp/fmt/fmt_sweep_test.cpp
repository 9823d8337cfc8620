// Whole-engine properties: every buffer size gives a terminated prefix and
// never writes past its size; and where C's printf defines the same output,
// the engine agrees with it byte for byte on random formats.
#include <math.h>
#include <stdio.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/fmt_test_util.h"

namespace {

using Call = std::function<size_t(char *, size_t)>;

enum class Cut {
  exact,   // each size gives min(full, size - 1) bytes
  prefix,  // a prefix, possibly shorter (an escape or number left out whole)
  bounded  // only within bounds (a directive may be dropped for lack of room)
};

struct Case {
  const char *name;
  Cut cut;
  Call call;
};

TEST(FmtSweep, EveryBufferSizeGivesATerminatedPrefix) {
  static const unsigned char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  static const uint16_t wide[] = {'w', 0xE9, 0x20AC, 0};
  const std::vector<Case> cases = {
      {"literal", Cut::exact, [](char *b, size_t n) { return xp_fmt_format(b, n, "plain text"); }},
      {"ints", Cut::exact,
       [](char *b, size_t n) {
         return xp_fmt_format(b, n, "<%d|%5u|%-6x|%#010X|%o|%.3d>", -1234, 77u, 255u, 48879u, 8u,
                              98765);
       }},
      {"most negative", Cut::exact,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "[%lld]", (long long)INT64_MIN); }},
      {"texts", Cut::exact,
       [](char *b, size_t n) {
         return xp_fmt_format(b, n, "%s|%8s|%-8s|%.2s|%S|%P|%T|%c%%", "abc", "right", "left", "cut",
                              (size_t)3, "xyzw", "\x02pq", (int)XP_TAG('a', 'b', 'c', 'd'), 'Z');
       }},
      {"wide", Cut::exact,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "%ls|%6lc", wide, 0x20AC); }},
      // A cut escape ends its directive early; the rest of the format goes on.
      {"escapes", Cut::bounded,
       [](char *b, size_t n) {
         return xp_fmt_format(b, n, "%+s|%s{:'}|%s{:''}|%s{:'''}|%s{:`}", "a b/c", "it's", "it's",
                              "say \"x\"", "a'b\n");
       }},
      {"percent", Cut::prefix,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "%+s", "a b/c"); }},
      {"quote1", Cut::prefix,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "%s{:'}", "it's \\"); }},
      {"quote3", Cut::prefix,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "%s{:'''}", "say \"x\""); }},
      {"hex", Cut::exact,
       [](char *b, size_t n) {
         return xp_fmt_format(b, n, "%h|% H|%*p{h}", (size_t)4, bytes, (size_t)3, bytes, 2, bytes);
       }},
      {"floats", Cut::exact,
       [](char *b, size_t n) {
         return xp_fmt_format(b, n, "%f|%.2f|%10.3f|%-9.1e|%g|%G|%e|%+f|% 7f", 3.25, -0.125, 2.5,
                              12345.678, 0.0001, 1e20, -1e-7, INFINITY, NAN);
       }},
      {"uuid", Cut::bounded,
       [](char *b, size_t n) { return xp_fmt_format(b, n, "id %p{U} end", bytes); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    char full[512];
    size_t len = c.call(full, sizeof full);
    ASSERT_EQ(strlen(full), len);
    EXPECT_GE(c.call(nullptr, 0), len);
    for (size_t size = 1; size <= len + 2; size++) {
      std::vector<char> buf(size + 16, (char)0xAA);
      size_t n = c.call(buf.data(), size);
      ASSERT_LE(n, size - 1) << size;
      ASSERT_EQ(0, buf[n]) << size;
      for (size_t i = size; i < buf.size(); i++)
        ASSERT_EQ((char)0xAA, buf[i]) << size;
      if (c.cut == Cut::exact) {
        ASSERT_EQ(std::min(len, size - 1), n) << size;
      }
      if (c.cut != Cut::bounded) {
        ASSERT_EQ(0, memcmp(buf.data(), full, n)) << size;
      }
    }
  }
}

// Random formats over the part of the directive language that C's printf
// shares: non-negative integers with width and the '-', '0' and '#'
// flags, texts without width-and-precision together, characters, '%%',
// literal text and positions.
class Generator {
 public:
  explicit Generator(unsigned seed) : rng_(seed) {}

  int pick(int n) { return (int)(rng_() % (unsigned)n); }

  std::string literal() {
    static const char chars[] = "abc XYZ.,:;-_=0123456789[]()";
    std::string s;
    for (int i = pick(4); i > 0; i--)
      s += chars[pick(sizeof chars - 1)];
    if (pick(6) == 0) s += "%%";
    return s;
  }

  std::string width() { return pick(2) ? std::to_string(pick(25)) : std::string(); }

  // A directive for an argument slot: 0 int, 1 text, 2 long long, 3 long.
  std::string directive(int slot) {
    std::string flags;
    if (slot == 1) {
      if (pick(3) == 0) return pick(2) ? "." + std::to_string(pick(8)) + "s" : "s";
      if (pick(2)) flags += '-';
      return flags + width() + "s";
    }
    static const char *conv[] = {"d", "i", "u", "x", "X", "o"};
    const char *c = conv[pick(6)];
    if (pick(3) == 0) flags += '-';
    if (pick(3) == 0) flags += '0';
    if (*c != 'd' && *c != 'i' && pick(3) == 0) flags += '#';
    if (slot == 0 && pick(8) == 0) return "c";
    const char *mod = slot == 2 ? "ll" : slot == 3 ? "l" : "";
    return flags + width() + mod + c;
  }

  int value_int() {
    switch (pick(4)) {
      case 0:
        return pick(10);
      case 1:
        return pick(1000000);
      case 2:
        return INT32_MAX - pick(10);
      default:
        return (int)(rng_() & 0x7FFFFFFF);
    }
  }
  long long value_ll() { return (long long)(((uint64_t)rng_() << 32 | rng_()) >> (1 + pick(63))); }
  long value_l() { return (long)value_ll(); }
  std::string text() {
    static const char *texts[] = {
        "", "a", "hello", "with space", "0123456789abcdef", "\xC3\xA9t\xC3\xA9"};
    return texts[pick(6)];
  }

 private:
  std::mt19937 rng_;
};

TEST(FmtCompare, AgreesWithSnprintfOnTheCommonLanguage) {
  Generator g(12345);
  int compared = 0;
  for (int round = 0; round < 20000; round++) {
    bool positional = g.pick(3) == 0;
    std::string format = g.literal();
    if (positional) {
      // Every slot used at least once, in a random order, some twice.
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
    int a = g.value_int();
    if (format.find("$c") != std::string::npos || format.find("%c") != std::string::npos)
      a = 32 + a % 95;
    std::string t = g.text();
    long long c = g.value_ll();
    long d = g.value_l();
    char want[512];
    char got[512];
    int wn = snprintf(want, sizeof want, format.c_str(), a, t.c_str(), c, d);
    size_t gn = xp_fmt_format(got, sizeof got, format.c_str(), a, t.c_str(), c, d);
    size_t mn = xp_fmt_format(nullptr, 0, format.c_str(), a, t.c_str(), c, d);
    ASSERT_EQ(std::string(want), std::string(got)) << "format: " << format;
    ASSERT_EQ((size_t)wn, gn) << format;
    ASSERT_EQ(gn, mn) << format;
    // And cut short, as snprintf cuts.
    size_t small = (size_t)g.pick(wn + 2) + 1;
    snprintf(want, small, format.c_str(), a, t.c_str(), c, d);
    xp_fmt_format(got, small, format.c_str(), a, t.c_str(), c, d);
    ASSERT_STREQ(want, got) << format << " size " << small;
    compared++;
  }
  EXPECT_EQ(20000, compared);
}

}  // namespace
