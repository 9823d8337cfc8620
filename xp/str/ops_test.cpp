// String operations: the comparison family, searches (checked against a
// position-by-position search on random texts), any-of-set, and the
// derivations replace, extract, trim and case changes.
#include <gtest/gtest.h>
#include <strings.h>

#include <random>
#include <string>

#include "xp/str/xp_str_internal.h"

namespace {

std::string take(xp_str *s) {
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

TEST(StrCompare, NullsLengthsAndCase) {
  EXPECT_EQ(xp_str_strcmp(nullptr, "a"), -1);
  EXPECT_EQ(xp_str_strcmp("a", nullptr), 1);
  EXPECT_EQ(xp_str_strcmp(nullptr, nullptr), 0);
  EXPECT_EQ(xp_str_txtcmp("ab", 2, "abc", -1), -1);
  EXPECT_EQ(xp_str_txtcmp("abc", -1, "ab", 2), 1);
  EXPECT_EQ(xp_str_txtcmp("abX", 2, "abY", 2), 0);
  EXPECT_LT(xp_str_strcmp("abc", "abd"), 0);
  EXPECT_GT(xp_str_strcmp("b", "abc"), 0);
  EXPECT_GT(xp_str_strcmp("\xc3", "a"), 0);  // bytes compare unsigned
  EXPECT_NE(xp_str_strcmp("ABC", "abc"), 0);
  EXPECT_EQ(xp_str_stricmp("ABC", "abc"), 0);
  EXPECT_LT(xp_str_stricmp("abc", "ABD"), 0);
  EXPECT_EQ(xp_str_txticmp("HeLLo", -1, "hello", 5), 0);
  // Only ASCII letters fold.
  EXPECT_NE(xp_str_stricmp("\xc3\xa9", "\xc3\x89"), 0);
  EXPECT_NE(xp_str_stricmp("[", "{"), 0);
}

TEST(StrCompare, CountsPrefixesAndEmbeddedZeros) {
  EXPECT_EQ(xp_str_strncmp("0123456789", "01", 2), 0);
  EXPECT_LT(xp_str_strncmp("01", "0123456789", 5), 0);
  EXPECT_LT(xp_str_strncmp("01", "0123456789", -1), 0);
  EXPECT_EQ(xp_str_strnicmp("ABCdef", "abcXYZ", 3), 0);
  EXPECT_EQ(xp_str_strncmp("x", "y", 0), 0);
  const unsigned char p3[] = {3, 'a', 'b', 'c'}, p2[] = {2, 'a', 'b', 'z'};
  EXPECT_EQ(xp_str_strpcmp(p3, p2), 1);
  EXPECT_EQ(xp_str_strpcmp(p2, p3), -1);
  const unsigned char q[] = {3, 'A', 'B', 'C'};
  EXPECT_EQ(xp_str_strpicmp(p3, q), 0);
  EXPECT_NE(xp_str_strpcmp(p3, q), 0);
  EXPECT_EQ(xp_str_strpcmp(nullptr, p3), -1);
  // Comparison stops at a zero byte; the lengths then decide.
  EXPECT_EQ(xp_str_txtcmp("a\0b", 3, "a\0c", 3), 0);
  EXPECT_EQ(xp_str_txtcmp("a\0b", 3, "a\0", 2), 1);
  EXPECT_EQ(xp_str_txticmp("A\0b", 3, "a\0c", 3), 0);
}

TEST(StrCompare, LengthsOfTexts) {
  EXPECT_EQ(xp_str_strlen(nullptr), 0);
  EXPECT_EQ(xp_str_strlen("abc"), 3);
  EXPECT_EQ(xp_str_txtlen(nullptr, -1), 0);
  EXPECT_EQ(xp_str_txtlen("abc", -1), 3);
  EXPECT_EQ(xp_str_txtlen("abc", 10), 10);  // not looked at
  EXPECT_EQ(xp_str_txtlen(nullptr, 4), 4);
}

// The definition: every position from start, compared with strncmp or
// strncasecmp.
intptr_t slow_find(const std::string &t, const char *pat, bool cs, intptr_t start) {
  intptr_t len = static_cast<intptr_t>(t.size());
  intptr_t m = static_cast<intptr_t>(std::strlen(pat));
  if (len <= start || start < 0 || m == 0) return -1;
  for (intptr_t i = start; i <= len - m; i++) {
    int r = cs ? std::strncmp(t.data() + i, pat, static_cast<size_t>(m))
               : strncasecmp(t.data() + i, pat, static_cast<size_t>(m));
    if (r == 0) return i;
  }
  return -1;
}

TEST(StrSearch, RulesForStartPatternAndLength) {
  EXPECT_EQ(xp_str_txtfind("abc", -1, "abcd", 1, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 3, "c", 1, 3), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 3, "c", 1, 2), 2);
  EXPECT_EQ(xp_str_txtfind("abc", 3, "", 1, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 3, nullptr, 1, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 3, "a", 1, -1), -1);
  EXPECT_EQ(xp_str_txtfind(nullptr, -1, "a", 1, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abcabc", 4, "bc", 1, 2), -1);  // length bounds the search
  EXPECT_EQ(xp_str_txtfind("a\0bc", 4, "bc", 1, 0), 2);    // embedded zero in the text
  EXPECT_EQ(xp_str_strfind("xAbCx", "abc", 0, 0), 1);
  EXPECT_EQ(xp_str_strfind("xAbCx", "abc", 1, 0), -1);
  const char *hay = "needle in a haystack NEEDLE";
  EXPECT_EQ(xp_str_strstr(hay, "hay"), hay + 12);
  EXPECT_EQ(xp_str_strstr(hay, "NEEDLE"), hay + 21);
  EXPECT_EQ(xp_str_stristr(hay, "NEEDLE"), hay);
  EXPECT_EQ(xp_str_strstr(hay, "pin"), nullptr);
  xp_str *s = xp_str_new("one two one");
  EXPECT_EQ(xp_str_find(s, "one", 1, 1), 8);
  EXPECT_EQ(xp_str_find(nullptr, "one", 1, 0), -1);
  xp_str_release(s);
}

TEST(StrSearch, AgreesWithPositionByPositionOnRandomTexts) {
  std::mt19937 rng(42);
  const char alphabet[] = "aAbB\xc3\xa9z\0";  // the zero byte last: never in a pattern
  for (int round = 0; round < 3000; round++) {
    size_t len = rng() % 120;
    std::string t(len, 'a');
    for (auto &c : t)
      c = alphabet[rng() % 8];
    size_t m = 1 + rng() % 6;
    std::string pat(m, 'a');
    for (auto &c : pat)
      c = alphabet[rng() % 7];  // no zero byte in a pattern
    // Often plant the pattern (with its case changed) to get hits.
    if (len >= m && rng() % 2) {
      size_t at = rng() % (len - m + 1);
      for (size_t i = 0; i < m; i++)
        t[at + i] =
            rng() % 2 ? pat[i] : static_cast<char>(xps::upper(static_cast<unsigned char>(pat[i])));
    }
    intptr_t start = static_cast<intptr_t>(rng() % (len + 2)) - 1;
    for (int cs = 0; cs < 2; cs++) {
      EXPECT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(len), pat.c_str(), cs, start),
                slow_find(t, pat.c_str(), cs, start))
          << "round " << round << " cs " << cs;
    }
  }
}

TEST(StrSearch, LongTextsAndTextsThatDefeatTheFilter) {
  std::string t(1 << 16, 'a');
  t += "ab";
  EXPECT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(t.size()), "ab", 1, 0), 1 << 16);
  std::string pat = std::string(40, 'a') + "b";
  EXPECT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(t.size()), pat.c_str(), 1, 0),
            slow_find(t, pat.c_str(), true, 0));
  EXPECT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(t.size()), pat.c_str(), 0, 100),
            slow_find(t, pat.c_str(), false, 100));
  std::string miss = std::string(40, 'a') + "c" + "a";
  EXPECT_EQ(xp_str_txtfind(t.data(), static_cast<intptr_t>(t.size()), miss.c_str(), 1, 0), -1);

  // Edge bytes that occur everywhere: every position passes the filter, and
  // the search goes on in linear time; also when that needs memory and
  // none is left.
  std::string runs;
  for (int i = 0; i < (1 << 16); i++)
    runs += i % 3 ? 'a' : 'A';
  std::string needle = std::string(30, 'a') + "b" + std::string(30, 'a');
  std::string hay = runs + "xA" + needle + "Ab" + needle;
  intptr_t n = static_cast<intptr_t>(hay.size());
  for (int cs = 0; cs < 2; cs++) {
    intptr_t expect = slow_find(hay, needle.c_str(), cs, 5);
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, needle.c_str(), cs, 5), expect);
    xpc::fail_alloc_after(1);
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, needle.c_str(), cs, 5), expect);
    xpc::fail_alloc_after(0);
    std::string upper = needle;
    for (auto &c : upper)
      c = static_cast<char>(xps::upper(static_cast<unsigned char>(c)));
    EXPECT_EQ(xp_str_txtfind(hay.data(), n, upper.c_str(), cs, 0),
              slow_find(hay, upper.c_str(), cs, 0));
  }
}

TEST(StrSearch, AnyOfASet) {
  EXPECT_EQ(xp_str_txtany("hello, world", -1, ",;", 0), 5);
  EXPECT_EQ(xp_str_txtany("hello, world", -1, "o", 5), 8);
  EXPECT_EQ(xp_str_txtany("hello", 5, "xyz", 0), -1);
  EXPECT_EQ(xp_str_txtany("hello", 5, "", 0), -1);
  EXPECT_EQ(xp_str_txtany("hello", 5, nullptr, 0), -1);
  EXPECT_EQ(xp_str_txtany("hello", 5, "h", -1), -1);
  EXPECT_EQ(xp_str_txtany("hello", 5, "o", 5), -1);
  EXPECT_EQ(xp_str_txtany("hello", 3, "o", 0), -1);
  EXPECT_EQ(xp_str_txtany("Hello", 5, "h", 0), -1);  // exact bytes
  EXPECT_EQ(xp_str_strany("a\xc3\xa9", "\xa9", 0), 2);
  xp_str *s = xp_str_make("a\0b", 3);
  EXPECT_EQ(xp_str_any(s, "b", 0), 2);
  EXPECT_EQ(xp_str_any(nullptr, "b", 0), -1);
  xp_str_release(s);
}

TEST(StrDerive, ReplaceEveryOccurrenceLeftToRight) {
  xp_str *s = xp_str_new("aaa");
  EXPECT_EQ(take(xp_str_replace(s, "aa", 1, "b", -1)), "ba");
  xp_str *same = xp_str_replace(s, "x", 1, "y", -1);
  EXPECT_EQ(same, s);
  xp_str_release(same);
  same = xp_str_replace(s, "", 1, "y", -1);
  EXPECT_EQ(same, s);
  xp_str_release(same);
  xp_str_release(s);

  s = xp_str_new("a-B-c-b");
  EXPECT_EQ(take(xp_str_replace(s, "b", 0, "<bee>", -1)), "a-<bee>-c-<bee>");
  EXPECT_EQ(take(xp_str_replace(s, "b", 1, "<bee>", -1)), "a-B-c-<bee>");
  EXPECT_EQ(take(xp_str_replace(s, "-", 1, nullptr, 0)), "aBcb");
  EXPECT_EQ(take(xp_str_replace(s, "-", 1, "xyz", 1)), "axBxcxb");
  EXPECT_EQ(take(xp_str_replace(s, "-", 1, nullptr, 2)), std::string("a\0\0B\0\0c\0\0b", 10));
  xp_str_release(s);
  EXPECT_EQ(xp_str_replace(nullptr, "a", 1, "b", -1), nullptr);
}

TEST(StrDerive, ExtractCutsTheFirstMarkedSpan) {
  xp_str *s = xp_str_new("x[y]z[w]");
  char buf[8];
  std::memset(buf, 'Q', sizeof buf);
  EXPECT_EQ(take(xp_str_extract(s, "[", "]", buf, sizeof buf)), "xz[w]");
  EXPECT_STREQ(buf, "y");
  EXPECT_EQ(take(xp_str_extract(s, "[", "]", nullptr, 0)), "xz[w]");
  // Inner text longer than the buffer is cut to size - 1.
  xp_str *longer = xp_str_new("<<abcdef>>tail");
  char small[4];
  EXPECT_EQ(take(xp_str_extract(longer, "<<", ">>", small, sizeof small)), "tail");
  EXPECT_STREQ(small, "abc");
  xp_str_release(longer);
  // Missing markers: the string itself, and the buffer cleared.
  std::memset(buf, 'Q', sizeof buf);
  xp_str *r = xp_str_extract(s, "(", ")", buf, sizeof buf);
  EXPECT_EQ(r, s);
  EXPECT_EQ(buf[0], 0);
  xp_str_release(r);
  r = xp_str_extract(s, "z", "[", buf, sizeof buf);  // the end marker is sought after the start
  EXPECT_EQ(take(r), "x[y]w]");
  r = xp_str_extract(s, "]", "x", buf, sizeof buf);
  EXPECT_EQ(r, s);
  xp_str_release(r);
  r = xp_str_extract(s, nullptr, "]", buf, sizeof buf);
  EXPECT_EQ(r, s);
  xp_str_release(r);
  buf[0] = 'Q';
  EXPECT_EQ(xp_str_extract(nullptr, "[", "]", buf, sizeof buf), nullptr);
  EXPECT_EQ(buf[0], 0);
  xp_str_release(s);
}

TEST(StrDerive, TrimIsAsymmetricOnHighBytes) {
  xp_str *s = xp_str_new(
      " \xc3\xa9"
      "a");
  EXPECT_EQ(take(xp_str_trim(s)), "a");
  xp_str_release(s);
  s = xp_str_new("a\xc3\xa9 \t\r\n");
  EXPECT_EQ(take(xp_str_trim(s)), "a\xc3\xa9");
  xp_str_release(s);
  s = xp_str_new(" \t\n ");
  EXPECT_EQ(xp_str_trim(s), nullptr);
  xp_str_release(s);
  s = xp_str_new("");
  EXPECT_EQ(xp_str_trim(s), nullptr);
  xp_str_release(s);
  s = xp_str_new("kept");
  xp_str *t = xp_str_trim(s);
  EXPECT_EQ(t, s);
  xp_str_release(t);
  xp_str_release(s);
  EXPECT_EQ(xp_str_trim(nullptr), nullptr);
}

TEST(StrDerive, CaseChangesTouchAsciiLettersOnly) {
  xp_str *s = xp_str_make("Hello, \xc3\xa9[z]@`{\0A", 15);
  EXPECT_EQ(take(xp_str_upper(s)), std::string("HELLO, \xc3\xa9[Z]@`{\0A", 15));
  EXPECT_EQ(take(xp_str_lower(s)), std::string("hello, \xc3\xa9[z]@`{\0a", 15));
  xp_str_release(s);
  EXPECT_EQ(xp_str_upper(nullptr), nullptr);
}

TEST(StrDerive, RandomReplaceAgreesWithAWalkOfMatches) {
  std::mt19937 rng(5);
  for (int round = 0; round < 500; round++) {
    std::string t(rng() % 60, 'a');
    for (auto &c : t)
      c = "abAB"[rng() % 4];
    std::string pat(1 + rng() % 3, 'a');
    for (auto &c : pat)
      c = "abAB"[rng() % 4];
    std::string rep(rng() % 4, 'x');
    int cs = static_cast<int>(rng() % 2);
    std::string expect;
    size_t from = 0;
    for (intptr_t at = slow_find(t, pat.c_str(), cs, 0); at >= 0;
         at = slow_find(t, pat.c_str(), cs, at + static_cast<intptr_t>(pat.size()))) {
      expect += t.substr(from, static_cast<size_t>(at) - from) + rep;
      from = static_cast<size_t>(at) + pat.size();
    }
    expect += t.substr(from);
    xp_str *s = xp_str_make(t.data(), static_cast<intptr_t>(t.size()));
    EXPECT_EQ(take(xp_str_replace(s, pat.c_str(), cs, rep.c_str(), -1)), expect);
    xp_str_release(s);
  }
}

}  // namespace
