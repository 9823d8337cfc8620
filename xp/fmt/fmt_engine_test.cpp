// The engine: sink contract, directive grammar, conversions, braces and
// the thin entry points.
#include <stdint.h>

#include "xp/core/xp_core_internal.h"
#include "xp/fmt/fmt_test_util.h"

namespace {

// An object whose text is fixed and which counts its textify calls.
struct Probe {
  xp_obj obj;
  const char *text;
  int calls;
};

xp_word probe_textify(void *o, xp_word a, xp_word b, xp_word) {
  auto *p = (Probe *)o;
  p->calls++;
  size_t len = strlen(p->text);
  if (!a) return (xp_word)len;
  size_t n = len < (size_t)b ? len : (size_t)b;
  memcpy((char *)a, p->text, n);
  return (xp_word)n;
}

Probe *probe_new(const char *text) {
  auto *p = (Probe *)xp_new(XP_TAG('p', 'r', 'b', 'e'), sizeof(Probe));
  p->obj.textify = probe_textify;
  p->text = text;
  return p;
}

TEST(FmtSink, EmptyFormatNullBufferAndTinySizes) {
  char buf[8];
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(0u, xp_fmt_format(buf, sizeof buf, ""));
  EXPECT_EQ(0, buf[0]);
  EXPECT_EQ(5u, xp_fmt_format(nullptr, 3, "a%db", 123));

  // Size 1: nothing produced, terminated, no argument taken.
  Probe *p = probe_new("obj");
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(0u, xp_fmt_format(buf, 1, "%O", p));
  EXPECT_EQ(0, buf[0]);
  EXPECT_EQ(0, p->calls);

  // Once full, the rest of the format takes no argument.
  EXPECT_EQ(3u, xp_fmt_format(buf, 4, "abc%O", p));
  EXPECT_STREQ("abc", buf);
  EXPECT_EQ(0, p->calls);
  EXPECT_EQ(6u, xp_fmt_format(buf, sizeof buf, "abc%O", p));
  EXPECT_STREQ("abcobj", buf);
  EXPECT_EQ(1, p->calls);
  xp_release(p);

  // Size 0 leaves the buffer alone.
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(0u, xp_fmt_format(buf, 0, "abc"));
  EXPECT_EQ('x', buf[0]);
}

TEST(FmtGrammar, Positions) {
  EXPECT_FMT("x 5", "%1$s %5$d", "x", 2, 3, 4, 5);
  EXPECT_FMT("b a", "%2$s %1$s", "a", "b");
  // Later directives go on from a position.
  EXPECT_FMT("2 3 1", "%2$d %d %1$d", 1, 2, 3);
  EXPECT_FMT("7 8", "%0$d %d", 7, 8);
  // Digits without '$' are width.
  EXPECT_FMT("   7", "%4d", 7);
  EXPECT_FMT("0007", "%04d", 7);
}

TEST(FmtGrammar, FlagPrecedenceAndWidths) {
  EXPECT_FMT("42   |", "%-05d|", 42);
  EXPECT_FMT("5", "%+ d", 5);
  EXPECT_FMT("5", "% d", 5);
  EXPECT_FMT("+1.0", "%+ .1f", 1.0);
  EXPECT_FMT(" 1.0", "% .1f", 1.0);
  // A '*' width is also the count; a negative one left-justifies.
  EXPECT_FMT("ab|", "%*s|", 2, "abc");
  EXPECT_FMT("7    |", "%*d|", -5, 7);
  EXPECT_FMT("   7|", "%*d|", 4, 7);
  // Precision: the output limit for every non-floating directive.
  EXPECT_FMT("abc", "%.3s", "abcdef");
  EXPECT_FMT("ab", "%.*s", 2, "abc");
  EXPECT_FMT("a", "%*.*s", 1, 2, "abc");
  EXPECT_FMT("12", "%.2d", 12345);
  EXPECT_FMT("-1", "%.2d", -12345);
  EXPECT_FMT("||", "|%.0d|", 0);
  EXPECT_FMT("  ", "%10.2s", "abcdef");
  EXPECT_FMT("abcdef", "%.*s", -1, "abcdef");
}

TEST(FmtGrammar, LengthModifiers) {
  EXPECT_FMT("-1 4294967295", "%d %u", -1, -1);
  EXPECT_FMT("-9000000000 18446744073709551615", "%I64d %I64u", (long long)-9000000000LL, ~0ULL);
  EXPECT_FMT("-9000000000 ffffffffffffffff", "%lld %llx", -9000000000LL, ~0ULL);
  EXPECT_FMT("-9000000000", "%ld", -9000000000L);
  EXPECT_FMT("-3 18446744073709551613", "%td %tu", (ptrdiff_t)-3, (ptrdiff_t)-3);
  // A lone I is a conversion character.
  EXPECT_FMT("I6", "%I6");
}

TEST(FmtGrammar, UnusualEnds) {
  EXPECT_FMT("ab", "ab%");
  EXPECT_FMT("ab", "ab%-5");
  EXPECT_FMT("ab", "ab%5.3ll");
  EXPECT_FMT("n b q", "%n %b %q");
  EXPECT_FMT("%", "%%");
  EXPECT_FMT("a-", "%a-", 1.5);
  EXPECT_FMT("A7", "%A%d", 2.5, 7);
}

TEST(FmtConversions, Signed) {
  EXPECT_FMT("-   42", "%5d", -42);
  EXPECT_FMT("-42   |", "%-5d|", -42);
  EXPECT_FMT("-0042", "%04d", -42);
  EXPECT_FMT("-2147483648", "%d", INT32_MIN);
  // The most negative 64-bit value: U+2212 and 17 digits.
  EXPECT_FMT(
      "\xE2\x88\x92"
      "92233720368547758",
      "%lld", (long long)INT64_MIN);
  EXPECT_FMT(
      "\xE2\x88\x92"
      "92233720368547758",
      "%ld", (long)INT64_MIN);
  EXPECT_FMT(
      "  \xE2\x88\x92"
      "92233720368547758",
      "%22lld", (long long)INT64_MIN);
}

TEST(FmtConversions, CharactersPointersAndTexts) {
  EXPECT_FMT("Q", "%5c", 'Q');
  EXPECT_FMT("Q", "%.0c", 'Q');
  EXPECT_FMT("\xC3\xA9|  \xE2\x82\xAC|", "%lc|%5lc|", 0xE9, 0x20AC);
  EXPECT_FMT("0x1234abcd", "%p", (void *)0x1234abcd);
  EXPECT_FMT("0", "%p", (void *)nullptr);
  EXPECT_FMT("[]", "[%s]", (const char *)nullptr);
  EXPECT_FMT("[xy]", "[%S]", (size_t)2, "xyz");
  EXPECT_FMT("[]", "[%S]", (size_t)2, (const char *)nullptr);
  EXPECT_FMT("[abc]", "[%P]",
             "\x03"
             "abcdef");
  EXPECT_FMT("[]", "[%P]", (const char *)nullptr);
  EXPECT_FMT("[xstr]", "[%T]", (int)XP_TAG('x', 's', 't', 'r'));
  EXPECT_FMT("[]", "[%T]", 0);
  static const uint16_t w[] = {'h', 0xE9, 0};
  EXPECT_FMT("h\xC3\xA9|h|", "%ls|%lS|", w, (size_t)1, w);
}

TEST(FmtConversions, HexDumps) {
  const unsigned char b[] = {0x01, 0xAB, 0xFF};
  EXPECT_FMT("01abff|01 AB FF", "%h|% H", (size_t)3, b, (size_t)3, b);
  EXPECT_FMT("01ab", "%4h", (size_t)3, b);
  EXPECT_FMT("01a", "%.3h", (size_t)3, b);
  EXPECT_FMT("[]", "[%h]", (size_t)0, b);
  EXPECT_FMT("[]", "[%h]", (size_t)3, (const void *)nullptr);
  // Brace form: only the pointer; the count comes from a '*' width.
  EXPECT_FMT("01ab", "%*p{h}", 2, b);
  EXPECT_FMT("01AB", "%*p{H}", 2, b);
  EXPECT_FMT("01 a", "% *p{h}", 2, b);  // cut to twice the count
  EXPECT_FMT("[]z", "[%p{h}]%c", b, 'z');
}

TEST(FmtConversions, Objects) {
  Probe *p = probe_new("it's");
  EXPECT_FMT("[it's]", "[%O]", p);
  EXPECT_FMT("[it]", "[%2O]", p);
  EXPECT_FMT("[it']", "[%.3O]", p);
  EXPECT_FMT("[it\\'s]", "[%O{:'}]", p);
  EXPECT_FMT("[   it''s]", "[%8O{:''}]", p);
  EXPECT_FMT("[it`s]", "[%p{O:`}]", p);
  EXPECT_FMT("[]", "[%O]", (void *)nullptr);
  // An allocation failure for a quoted object produces nothing.
  char buf[32];
  xpc::fail_alloc_after(1);
  EXPECT_EQ(2u, xp_fmt_format(buf, sizeof buf, "[%O{:'}]", p));
  EXPECT_FALSE(xpc::alloc_failure_pending());
  EXPECT_STREQ("[]", buf);
  xp_release(p);
}

TEST(FmtBraces, LettersOptionsAndPatterns) {
  static const unsigned char u[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                      0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  EXPECT_FMT("00112233-4455-6677-8899-AABBCCDDEEFF", "%p{U}", u);
  EXPECT_FMT("[]", "[%p{U}]", (const void *)nullptr);
  EXPECT_FMT("q7", "%d{q}%d", 5, 7);
  EXPECT_FMT("q7", "%lld{q}%d", 5LL, 7);
  EXPECT_FMT("r7", "%e{r}%d", 1.0, 7);
  EXPECT_FMT("w7", "%p{w}%d", (void *)u, 7);
  EXPECT_FMT("s7", "%s{x}%d", "s", 7);
  EXPECT_FMT("57", "%i{q}%d", 5, 7);  // letter ignored, braces eaten
  EXPECT_FMT("xstr", "%d{T}", (int)XP_TAG('x', 's', 't', 'r'));
  EXPECT_FMT("ab", "%p{S}", (size_t)2, "abc");
  EXPECT_FMT("abc", "%p{P}",
             "\x03"
             "abc");
  EXPECT_FMT("abc", "%p{s}", "abc");
  // Quote levels and other options.
  EXPECT_FMT("it\\'s a\\\\b", "%s{:'}", "it's a\\b");
  EXPECT_FMT("it''s", "%s{:''}", "it's");
  EXPECT_FMT("it's \\\"", "%s{:'''}", "it's \"");
  EXPECT_FMT("it`s \t", "%s{:`}", "it's\n\t");
  EXPECT_FMT("it`s", "%s{q:`:ignored}", "it's");
  EXPECT_FMT("5", "%d{:x:pattern}", 5);
  // Not a suffix: stays in the output.
  EXPECT_FMT("5{", "%d{", 5);
  EXPECT_FMT("5{ab}", "%d{ab}", 5);
  EXPECT_FMT("5", "%d{:unterminated", 5);
  // A pattern runs to the brace.
  EXPECT_FMT("5|", "%d{::#H:#M}|", 5);
}

TEST(FmtBraces, TimeDirectivesTakeTheirArgument) {
  // The time texts come from the time library; the argument is consumed
  // either way so that the following directives line up.
  Formatted f = run("%z{::#Y}|%D|%lZ|%d{z}|%lld{Z}|%d", 0, 0, 0L, 0, 0LL, 9);
  EXPECT_EQ(f.written, f.measured);
  EXPECT_EQ('9', f.text.back());
}

TEST(FmtEntryPoints, Append) {
  char buf[16] = "abc";
  EXPECT_EQ(6u, xp_fmt_append(buf, sizeof buf, 3, "%d", 123));
  EXPECT_STREQ("abc123", buf);
  EXPECT_EQ(8u, xp_fmt_append(nullptr, 0, 6, "%s", "xy"));
  EXPECT_EQ(15u, xp_fmt_append(buf, sizeof buf, 16, "%d", 1));
  EXPECT_EQ(15u, xp_fmt_append(buf, sizeof buf, 20, "%d", 1));
  EXPECT_STREQ("abc123", buf);
  EXPECT_EQ(15u, xp_fmt_append(buf, sizeof buf, 6, "%s", "0123456789abcdef"));
  EXPECT_STREQ("abc123012345678", buf);
}

TEST(FmtEntryPoints, TextCopyKeepsCharactersWhole) {
  char buf[8];
  EXPECT_EQ(3, xp_fmt_text(nullptr, 0, "abc", -1));
  EXPECT_EQ(2, xp_fmt_text(nullptr, 0, "abc", 2));
  EXPECT_EQ(0, xp_fmt_text(buf, sizeof buf, nullptr, 5));
  EXPECT_STREQ("", buf);
  // "ab€" is 5 bytes: with size 5 the euro would end past 4, so it goes.
  EXPECT_EQ(2, xp_fmt_text(buf, 5, "ab\xE2\x82\xAC", -1));
  EXPECT_STREQ("ab", buf);
  EXPECT_EQ(5, xp_fmt_text(buf, 6, "ab\xE2\x82\xAC", -1));
  EXPECT_STREQ("ab\xE2\x82\xAC", buf);
  EXPECT_EQ(3, xp_fmt_text(buf, 4, "abcdef", 3));
  EXPECT_STREQ("abc", buf);
  EXPECT_EQ(7, xp_fmt_string(buf, sizeof buf, "abcdefghij"));
  EXPECT_STREQ("abcdefg", buf);
  EXPECT_EQ(0, xp_fmt_string(buf, 1, "abc"));
  EXPECT_EQ(0, buf[0]);
}

}  // namespace
