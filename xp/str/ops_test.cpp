// String operations: comparisons, searches against the position-by-position
// definition (on random texts: the fuzz target), any-of-set, and the derivations replace, extract,
// trim, case.
#include <gtest/gtest.h>
#include <strings.h>

#include <random>
#include <string>

#include "xp/str/xp_str.h"
#include "xp/xp_test_util.h"

using xpt::take;

TEST(StrCompare, NullsLengthsCaseAndZeroBytes) {
  const unsigned char p3[] = {3, 'a', 'b', 'c'}, p2[] = {2, 'a', 'b', 'z'},
                      q[] = {3, 'A', 'B', 'C'}, z1[] = {3, 'a', 0, 'b'}, z2[] = {3, 'A', 0, 'c'};
  // Bytes compare unsigned; only ASCII letters fold. Comparison stops at a
  // zero byte, also with case ignored; the lengths then decide.
  std::vector<int> signs;
  for (int r :
       {xp_str_strcmp(nullptr, "a"), xp_str_strcmp("a", nullptr), xp_str_txtcmp("ab", 2, "abc", -1),
        xp_str_strcmp("\xc3", "a"), xp_str_stricmp("ABC", "abc"),
        int(xp_str_stricmp("\xc3\xa9", "\xc3\x89") == 0), int(xp_str_stricmp("[", "{") == 0),
        xp_str_strncmp("0123456789", "01", 2), xp_str_strncmp("01", "0123456789", 5),
        xp_str_strpcmp(p3, p2), xp_str_strpicmp(p3, q), xp_str_txtcmp("a\0b", 3, "a\0c", 3),
        xp_str_txtcmp("a\0b", 3, "a\0", 2), xp_str_txticmp("a\0b", 3, "A\0c", 3),
        xp_str_strnicmp("a\0b", "A\0c", 3), xp_str_strpicmp(z1, z2),
        xp_str_txticmp("ab", 2, "AC", 2)})
    signs.push_back((r > 0) - (r < 0));
  EXPECT_EQ(signs, std::vector<int>({-1, 1, -1, 1, 0, 0, 0, 0, -1, 1, 0, 0, 1, 0, 0, 0, -1}));
}

// The definition: every position from start, compared with strncmp or
// strncasecmp.
static intptr_t slow_find(const std::string &t, const std::string &pat, bool cs, intptr_t start) {
  intptr_t len = static_cast<intptr_t>(t.size()), m = static_cast<intptr_t>(pat.size());
  if (len <= start || start < 0 || m == 0) return -1;
  for (intptr_t i = start; i <= len - m; i++)
    if ((cs ? std::strncmp : strncasecmp)(t.data() + i, pat.c_str(), pat.size()) == 0) return i;
  return -1;
}

TEST(StrSearch, RulesAndAnyOf) {
  const char *hay = "needle in a haystack NEEDLE";
  EXPECT_EQ(xp_str_strstr(hay, "NEEDLE"), hay + 21);
  EXPECT_EQ(xp_str_stristr(hay, "NEEDLE"), hay);
  xp_str *s = xp_str_make("one two\0one", 11);
  // The length bounds the search; exact bytes for any-of.
  EXPECT_EQ(std::vector<intptr_t>(
                {xp_str_txtfind("abc", 3, "c", 1, 3), xp_str_txtfind("abc", 3, "", 1, 0),
                 xp_str_txtfind("abcabc", 4, "bc", 1, 2), xp_str_txtfind(nullptr, -1, "a", 1, 0),
                 xp_str_find(s, "one", 1, 1), xp_str_any(s, "n", 2),
                 xp_str_txtany("hello, world", -1, ",;", 0), xp_str_txtany("hello", 5, "", 0),
                 xp_str_txtany("hello", 3, "o", 0), xp_str_strany("Hello", "h", 0)}),
            std::vector<intptr_t>({-1, -1, -1, -1, 8, 9, 5, -1, -1, -1}));
  xp_str_release(s);
}

TEST(StrSearch, TextsThatDefeatTheFilter) {
  // Edge bytes everywhere: every position passes the filter, and the search
  // stays linear, also when that needs memory and none is left.
  std::string hay;
  for (int i = 0; i < (1 << 16); i++)
    hay += i % 3 ? 'a' : 'A';
  std::string needle = std::string(30, 'a') + "b" + std::string(30, 'a'), upper(needle.size(), 'A');
  upper[30] = 'B';
  hay += "xA" + needle + "Ab" + needle;
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
  xp_str *aaa = xp_str_new("aaa"), *dash = xp_str_new("a-B-c-b"), *marks = xp_str_new("x[y]z[w]"),
         *angle = xp_str_new("<<abcdef>>tail"),
         *mixed = xp_str_make("Hello, \xc3\xa9[z]@`{\0A", 15);
  char buf[8] = "QQQQQQQ", small[4];
  const std::pair<xp_str *, std::string> cases[] = {
      {xp_str_replace(aaa, "aa", 1, "b", -1), "ba"},  // left to right, no overlap
      {xp_str_replace(dash, "b", 0, "<bee>", -1), "a-<bee>-c-<bee>"},
      {xp_str_replace(dash, "-", 1, nullptr, 0), "aBcb"},
      {xp_str_replace(dash, "-", 1, nullptr, 2), std::string("a\0\0B\0\0c\0\0b", 10)},
      {xp_str_extract(marks, "[", "]", buf, sizeof buf), "xz[w]"},
      {xp_str_extract(marks, "z", "[", nullptr, 0), "x[y]w]"},  // end sought after start
      {xp_str_extract(angle, "<<", ">>", small, sizeof small), "tail"},
      {xp_str_upper(mixed), std::string("HELLO, \xc3\xa9[Z]@`{\0A", 15)},
      {xp_str_lower(mixed), std::string("hello, \xc3\xa9[z]@`{\0a", 15)}};
  for (const auto &[got, want] : cases)
    EXPECT_EQ(take(got), want);
  EXPECT_EQ(std::string(buf) + "|" + small, "y|abc");
  xp_str *same = xp_str_replace(aaa, "x", 1, "y", -1),
         *kept = xp_str_extract(marks, "(", ")", buf, 8);
  EXPECT_TRUE(same == aaa && kept == marks && buf[0] == 0);  // missing: itself, buffer cleared
  for (xp_str *x : {aaa, dash, marks, angle, mixed, same, kept})
    xp_str_release(x);
  const std::pair<const char *, const char *> trims[] = {
      {" \xc3\xa9z", "z"},                // leading high bytes go too
      {"a\xc3\xa9 \t\r\n", "a\xc3\xa9"},  // trailing ones stay
      {" \t\n ", "(null)"},
      {"", "(null)"}};
  for (auto [in, out] : trims) {
    xp_str *s = xp_str_new(in);
    EXPECT_EQ(take(xp_str_trim(s)), out) << in;
    xp_str_release(s);
  }
}
