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
  size_t len = strlen(p->text), n = len < (size_t)b ? len : (size_t)b;
  if (a) memcpy((char *)a, p->text, n);
  return (xp_word)(a ? n : len);
}

Probe *probe_new(const char *text) {
  auto *p = (Probe *)xp_new(XP_TAG('p', 'r', 'b', 'e'), sizeof(Probe));
  p->obj.textify = probe_textify;
  p->text = text;
  return p;
}

TEST(FmtSink, TinySizesTakeNoArgument) {
  char buf[8];
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(0u, xp_fmt_format(buf, 0, "abc"));  // size 0 leaves the buffer alone
  EXPECT_EQ('x', buf[0]);
  EXPECT_EQ(5u, xp_fmt_format(nullptr, 3, "a%db", 123));
  Probe *p = probe_new("obj");
  EXPECT_EQ(0u, xp_fmt_format(buf, 1, "%O", p));
  EXPECT_EQ(0, buf[0]);
  EXPECT_EQ(3u, xp_fmt_format(buf, 4, "abc%O", p));  // once full, nothing more is taken
  EXPECT_STREQ("abc", buf);
  EXPECT_EQ(0, p->calls);
  EXPECT_EQ(6u, xp_fmt_format(buf, sizeof buf, "abc%O", p));
  EXPECT_EQ(1, p->calls);
  xp_release(p);
}

TEST(FmtGrammar, PositionsFlagsWidthsAndPrecision) {
  EXPECT_FMT("2 3 1", "%2$d %d %1$d", 1, 2, 3);  // later directives go on from a position
  EXPECT_FMT("7 8", "%0$d %d", 7, 8);
  EXPECT_FMT("42   |5|+1.0| 1.0", "%-05d|%+ d|%+ .1f|% .1f", 42, 5, 1.0, 1.0);
  // A '*' width on a text is also its count; a negative one left-justifies.
  static const uint16_t w[] = {'a', 'b', 0};
  EXPECT_FMT("ab|abcdefghi|  ab|a|7    |", "%*s|%*s|%*ls|%.*ls|%*d|", 2, "abc", 9, "abcdefghijk", 4,
             w, 1, w, -5, 7);
  EXPECT_FMT("000042|0x1f   |10  |3   |0X00BEEF", "%0*u|%#*x|%-*o|%0*d|%#0*X", 6, 42u, -7, 0x1fu, 4,
             8u, -4, 3, 8, 0xbeefu);
  // A counted text takes exactly its count of bytes, zero bytes included,
  // written and measured alike; a precision alone still stops at the zero.
  char out[16];
  for (const char *f : {"%*s|", "%.*s|", "%*.*s|"}) {
    bool both = f[2] == '.';
    size_t n = both ? xp_fmt_format(out, sizeof out, f, 5, 5, "ab\0cdef")
                    : xp_fmt_format(out, sizeof out, f, 5, "ab\0cdef");
    EXPECT_EQ(std::string("ab\0cd|", 6), std::string(out, n)) << f;
    EXPECT_EQ(n, both ? xp_fmt_format(nullptr, 0, f, 5, 5, "ab\0cdef")
                      : xp_fmt_format(nullptr, 0, f, 5, "ab\0cdef"));
  }
  EXPECT_FMT("ab|", "%.5s|", "ab\0cdef");
  // Precision limits the output of every non-floating directive.
  // A '.*' count of 0 prints nothing; a negative one counts as none.
  EXPECT_FMT("a|12|-1||  |abcdef||", "%*.*s|%.2d|%.2d|%.0d|%10.2s|%.*s|%.*s|", 1, 2, "abc", 12345,
             -12345, 0, "abcdef", -1, "abcdef", 0, "abc");
}

TEST(FmtGrammar, LengthModifiersAndUnusualEnds) {
  EXPECT_FMT("-1 4294967295", "%d %u", -1, -1);
  EXPECT_FMT("-9000000000 18446744073709551615", "%I64d %I64u", -9000000000LL, ~0ULL);
  EXPECT_FMT("-9000000000 ffffffffffffffff", "%lld %llx", -9000000000LL, ~0ULL);
  EXPECT_FMT("-3 18446744073709551613", "%td %tu", (ptrdiff_t)-3, (ptrdiff_t)-3);
  EXPECT_FMT("I6", "%I6");  // a lone I is a conversion character
  for (const char *f : {"ab%", "ab%-5", "ab%5.3ll"})
    EXPECT_FMT("ab", f);
  EXPECT_FMT("n b q%", "%n %b %q%%");
  EXPECT_FMT("a-A7", "%a-%A%d", 1.5, 2.5, 7);
}

TEST(FmtConversions, SignedAndTheMostNegative) {
  EXPECT_FMT("-   42|-42   |-0042", "%5d|%-5d|%04d", -42, -42, -42);
  // The most negative 64-bit value: U+2212 and 17 digits.
  EXPECT_FMT(
      "\xE2\x88\x92"
      "92233720368547758|  \xE2\x88\x92"
      "92233720368547758",
      "%ld|%22lld", (long)INT64_MIN, (long long)INT64_MIN);
}

TEST(FmtConversions, CharactersPointersTextsAndHex) {
  EXPECT_FMT("Q|Q|\xC3\xA9|  \xE2\x82\xAC", "%5c|%.0c|%lc|%5lc", 'Q', 'Q', 0xE9, 0x20AC);
  EXPECT_FMT("0x1234abcd|0", "%p|%p", (void *)0x1234abcd, (void *)nullptr);
  EXPECT_FMT("[||||]", "[%s|%S|%P|%T|%h]", (const char *)nullptr, (size_t)2, (const char *)nullptr,
             (const char *)nullptr, 0, (size_t)3, (const void *)nullptr);
  // (Full texts of the text and hex directives are in the sweep tests.)
  static const uint16_t w[] = {'h', 0xE9, 0};
  const unsigned char b[] = {0x01, 0xAB, 0xFF};
  EXPECT_FMT("h|01ab|01a", "%lS|%4h|%.3h", (size_t)1, w, (size_t)3, b, (size_t)3, b);
  // Brace form: only the pointer; the count comes from a '*' width.
  EXPECT_FMT("01AB|01 a|[]z", "%*p{H}|% *p{h}|[%p{h}]%c", 2, b, 2, b, b, 'z');
}

TEST(FmtConversions, Objects) {
  Probe *p = probe_new("it's");
  EXPECT_FMT("[it's|it|it'|it\\'s|   it''s|it`s|]", "[%O|%2O|%.3O|%O{:'}|%8O{:''}|%p{O:`}|%O]", p,
             p, p, p, p, p, (void *)nullptr);
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
  EXPECT_FMT("00112233-4455-6677-8899-AABBCCDDEEFF[]", "%p{U}[%p{U}]", u, (const void *)nullptr);
  // A letter changes how the argument is taken, whatever the conversion.
  EXPECT_FMT("q|q|r|w|s|5|xstr|ab|abc|7",
             "%d{q}|%lld{q}|%e{r}|%p{w}|%s{x}|%i{q}|%d{T}|%p{S}|%p{P}|%d", 5, 5LL, 1.0, (void *)u,
             "s", 5, (int)XP_TAG('x', 's', 't', 'r'), (size_t)2, "abc",
             "\x03"
             "abc",
             7);
  EXPECT_FMT("it\\'s a\\\\b|it''s|it's \\\"|it`s \t|it`s",
             "%s{:'}|%s{:''}|%s{:'''}|%s{:`}|%s{q:`:x}", "it's a\\b", "it's", "it's \"", "it's\n\t",
             "it's");
  // Not a suffix: stays in the output. A pattern runs to the brace.
  EXPECT_FMT("5{|5{ab}|5|5|", "%d{|%d{ab}|%d{:x:pattern}|%d{::#H:#M}|", 5, 5, 5, 5);
  EXPECT_FMT("5", "%d{:unterminated", 5);
  // Time directives take their argument so that what follows lines up.
  Formatted f = run("%z{::#Y}|%D|%lZ|%d{z}|%lld{Z}|%d", 0, 0, 0L, 0, 0LL, 9);
  EXPECT_EQ(f.written, f.measured);
  EXPECT_EQ('9', f.text.back());
}

TEST(FmtEntryPoints, AppendAndTextCopy) {
  char buf[16] = "abc";
  EXPECT_EQ(6u, xp_fmt_append(buf, sizeof buf, 3, "%d", 123));
  EXPECT_EQ(8u, xp_fmt_append(nullptr, 0, 6, "%s", "xy"));
  EXPECT_EQ(15u, xp_fmt_append(buf, sizeof buf, 20, "%d", 1));  // offset past the end
  EXPECT_STREQ("abc123", buf);
  EXPECT_EQ(15u, xp_fmt_append(buf, sizeof buf, 6, "%s", "0123456789abcdef"));
  EXPECT_STREQ("abc123012345678", buf);
  EXPECT_EQ(2, xp_fmt_text(nullptr, 0, "abc", 2));
  EXPECT_EQ(0, xp_fmt_text(buf, sizeof buf, nullptr, 5));
  EXPECT_STREQ("", buf);
  // "ab€" is 5 bytes: with size 5 the euro would end past 4, so it goes.
  EXPECT_EQ(2, xp_fmt_text(buf, 5, "ab\xE2\x82\xAC", -1));
  EXPECT_EQ(5, xp_fmt_text(buf, 6, "ab\xE2\x82\xAC", -1));
  EXPECT_STREQ("ab\xE2\x82\xAC", buf);
  EXPECT_EQ(7, xp_fmt_string(buf, 8, "abcdefghij"));
  EXPECT_STREQ("abcdefg", buf);
}

}  // namespace
