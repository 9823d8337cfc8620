// String operations: comparisons, searches against the position-by-position
// definition, any-of-set, and the derivations replace, extract, trim, case.
#include <gtest/gtest.h>
#include <strings.h>

#include <random>
#include <string>

#include "xp/str/xp_str_internal.h"

namespace {

std::string take(xp_str *s) {
  if (!s) return "(null)";
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

TEST(StrCompare, NullsLengthsCaseAndZeroBytes) {
  EXPECT_EQ(xp_str_strcmp(nullptr, "a"), -1);
  EXPECT_EQ(xp_str_strcmp("a", nullptr), 1);
  EXPECT_EQ(xp_str_txtcmp("ab", 2, "abc", -1), -1);
  EXPECT_GT(xp_str_strcmp("\xc3", "a"), 0);  // bytes compare unsigned
  EXPECT_EQ(xp_str_stricmp("ABC", "abc"), 0);
  EXPECT_NE(xp_str_stricmp("\xc3\xa9", "\xc3\x89"), 0);  // only ASCII letters fold
  EXPECT_NE(xp_str_stricmp("[", "{"), 0);
  EXPECT_EQ(xp_str_strncmp("0123456789", "01", 2), 0);
  EXPECT_LT(xp_str_strncmp("01", "0123456789", 5), 0);
  const unsigned char p3[] = {3, 'a', 'b', 'c'}, p2[] = {2, 'a', 'b', 'z'},
                      q[] = {3, 'A', 'B', 'C'};
  EXPECT_EQ(xp_str_strpcmp(p3, p2), 1);
  EXPECT_EQ(xp_str_strpicmp(p3, q), 0);
  // Comparison stops at a zero byte; the lengths then decide.
  EXPECT_EQ(xp_str_txtcmp("a\0b", 3, "a\0c", 3), 0);
  EXPECT_EQ(xp_str_txtcmp("a\0b", 3, "a\0", 2), 1);
}

// The definition: every position from start, compared with strncmp or
// strncasecmp.
intptr_t slow_find(const std::string &t, const std::string &pat, bool cs, intptr_t start) {
  intptr_t len = static_cast<intptr_t>(t.size()), m = static_cast<intptr_t>(pat.size());
  if (len <= start || start < 0 || m == 0) return -1;
  for (intptr_t i = start; i <= len - m; i++) {
    const char *at = t.data() + i;
    if ((cs ? std::strncmp(at, pat.c_str(), pat.size())
            : strncasecmp(at, pat.c_str(), pat.size())) == 0)
      return i;
  }
  return -1;
}

TEST(StrSearch, RulesAndAnyOf) {
  EXPECT_EQ(xp_str_txtfind("abc", 3, "c", 1, 3), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 3, "", 1, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abcabc", 4, "bc", 1, 2), -1);  // the length bounds the search
  EXPECT_EQ(xp_str_txtfind(nullptr, -1, "a", 1, 0), -1);
  const char *hay = "needle in a haystack NEEDLE";
  EXPECT_EQ(xp_str_strstr(hay, "NEEDLE"), hay + 21);
  EXPECT_EQ(xp_str_stristr(hay, "NEEDLE"), hay);
  xp_str *s = xp_str_make("one two\0one", 11);
  EXPECT_EQ(xp_str_find(s, "one", 1, 1), 8);
  EXPECT_EQ(xp_str_any(s, "n", 2), 9);
  xp_str_release(s);
  EXPECT_EQ(xp_str_txtany("hello, world", -1, ",;", 0), 5);
  EXPECT_EQ(xp_str_txtany("hello", 5, "", 0), -1);
  EXPECT_EQ(xp_str_txtany("hello", 3, "o", 0), -1);
  EXPECT_EQ(xp_str_strany("Hello", "h", 0), -1);  // exact bytes
}

TEST(StrSearch, AgreesWithTheDefinitionOnRandomTexts) {
  std::mt19937 rng(42);
  const char alphabet[] = "aAbB\xc3\xa9z";  // and the zero byte, in texts only
  for (int round = 0; round < 3000; round++) {
    std::string t(rng() % 120, 'a'), pat(1 + rng() % 6, 'a');
    for (auto &c : t)
      c = alphabet[rng() % 8];
    for (auto &c : pat)
      c = alphabet[rng() % 7];
    if (t.size() >= pat.size() && rng() % 2) {  // plant it, case changed at random
      size_t at = rng() % (t.size() - pat.size() + 1);
      for (size_t i = 0; i < pat.size(); i++)
        t[at + i] =
            rng() % 2 ? pat[i] : static_cast<char>(xps::upper(static_cast<unsigned char>(pat[i])));
    }
    intptr_t start = static_cast<intptr_t>(rng() % (t.size() + 2)) - 1;
    for (int cs = 0; cs < 2; cs++)
      ASSERT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(t.size()), pat.c_str(), cs, start),
                slow_find(t, pat, cs, start))
          << "round " << round << " cs " << cs;
  }
}

TEST(StrSearch, TextsThatDefeatTheFilter) {
  // Edge bytes everywhere: every position passes the filter, and the search
  // stays linear, also when that needs memory and none is left.
  std::string runs;
  for (int i = 0; i < (1 << 16); i++)
    runs += i % 3 ? 'a' : 'A';
  std::string needle = std::string(30, 'a') + "b" + std::string(30, 'a');
  std::string upper(needle.size(), 'A');
  upper[30] = 'B';
  std::string hay = runs + "xA" + needle + "Ab" + needle;
  intptr_t n = static_cast<intptr_t>(hay.size());
  for (int cs = 0; cs < 2; cs++) {
    intptr_t expect = slow_find(hay, needle, cs, 5);
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, needle.c_str(), cs, 5), expect);
    xpc::fail_alloc_after(1);
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, needle.c_str(), cs, 5), expect);
    xpc::fail_alloc_after(0);
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, upper.c_str(), cs, 0), slow_find(hay, upper, cs, 0));
  }
}

TEST(StrDerive, ReplaceExtractTrimAndCase) {
  xp_str *s = xp_str_new("aaa");
  EXPECT_EQ(take(xp_str_replace(s, "aa", 1, "b", -1)), "ba");  // left to right, no overlap
  xp_str *same = xp_str_replace(s, "x", 1, "y", -1);
  EXPECT_EQ(same, s);
  xp_str_release(same);
  xp_str_release(s);
  s = xp_str_new("a-B-c-b");
  EXPECT_EQ(take(xp_str_replace(s, "b", 0, "<bee>", -1)), "a-<bee>-c-<bee>");
  EXPECT_EQ(take(xp_str_replace(s, "-", 1, nullptr, 0)), "aBcb");
  EXPECT_EQ(take(xp_str_replace(s, "-", 1, nullptr, 2)), std::string("a\0\0B\0\0c\0\0b", 10));
  xp_str_release(s);

  s = xp_str_new("x[y]z[w]");
  char buf[8] = "QQQQQQQ";
  EXPECT_EQ(take(xp_str_extract(s, "[", "]", buf, sizeof buf)), "xz[w]");
  EXPECT_STREQ(buf, "y");
  EXPECT_EQ(take(xp_str_extract(s, "z", "[", nullptr, 0)), "x[y]w]");  // end sought after start
  buf[0] = 'Q';
  xp_str *r = xp_str_extract(s, "(", ")", buf, sizeof buf);  // missing: itself, buffer cleared
  EXPECT_EQ(r, s);
  EXPECT_EQ(buf[0], 0);
  xp_str_release(r);
  xp_str_release(s);
  s = xp_str_new("<<abcdef>>tail");
  char small[4];
  EXPECT_EQ(take(xp_str_extract(s, "<<", ">>", small, sizeof small)), "tail");
  EXPECT_STREQ(small, "abc");
  xp_str_release(s);

  const std::pair<const char *, const char *> trims[] = {
      {" \xc3\xa9z", "z"},                // leading high bytes go too
      {"a\xc3\xa9 \t\r\n", "a\xc3\xa9"},  // trailing ones stay
      {" \t\n ", "(null)"},
      {"", "(null)"}};
  for (auto [in, out] : trims) {
    s = xp_str_new(in);
    EXPECT_EQ(take(xp_str_trim(s)), out) << in;
    xp_str_release(s);
  }
  s = xp_str_make("Hello, \xc3\xa9[z]@`{\0A", 15);
  EXPECT_EQ(take(xp_str_upper(s)), std::string("HELLO, \xc3\xa9[Z]@`{\0A", 15));
  EXPECT_EQ(take(xp_str_lower(s)), std::string("hello, \xc3\xa9[z]@`{\0a", 15));
  xp_str_release(s);
}

}  // namespace
