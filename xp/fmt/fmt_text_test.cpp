// Text, 16-bit text, hex and UUID writers.
#include "xp/core/xp_core_internal.h"
#include "xp/fmt/fmt_test_util.h"
#include "xp/fmt/xp_fmt_internal.h"

namespace {

// Writes with the room given and checks that nothing lands past it.
std::string str(const char *text, uint32_t flags, size_t width = 0, size_t room = 64,
                size_t *measured = nullptr) {
  char buf[80];
  memset(buf, '#', sizeof buf);
  size_t n = xpf_str(buf, room, text, -1, flags, width);
  EXPECT_LE(n, room);
  for (size_t i = room; i < sizeof buf; i++)
    EXPECT_EQ('#', buf[i]) << i;
  if (measured) *measured = xpf_str(nullptr, 0, text, -1, flags, width);
  return std::string(buf, n);
}

TEST(FmtText, EscapingSchemes) {
  EXPECT_EQ("a%20b%2Fc", str("a b/c", XPF_PLUS));
  EXPECT_EQ("AZaz09-._~%C3%A9", str("AZaz09-._~\xC3\xA9", XPF_PLUS));
  EXPECT_EQ("it\\'s \\\\", str("it's \\", XPF_QUOTE1));
  EXPECT_EQ("it''s \\", str("it's \\", XPF_QUOTE1 | XPF_QUOTE2));
  EXPECT_EQ("it's \\\" \\\\", str("it's \" \\", XPF_QUOTE1 | XPF_QUOTE2 | XPF_QUOTE3));
  EXPECT_EQ("it`s  \t", str("it's\n\r\t", XPF_BACKTICK));
  // Precedence: percent-encoding over everything, the backquote over quotes.
  EXPECT_EQ("it%27s", str("it's", XPF_PLUS | XPF_QUOTE1 | XPF_BACKTICK));
  EXPECT_EQ("it`s", str("it's", XPF_BACKTICK | XPF_QUOTE1));
}

TEST(FmtText, EscapesThatDoNotFitStopTheText) {
  EXPECT_EQ("a", str("a b", XPF_PLUS, 0, 3));
  EXPECT_EQ("a%20", str("a b", XPF_PLUS, 0, 4));
  EXPECT_EQ("it", str("it's", XPF_QUOTE1, 0, 3));
  EXPECT_EQ("it''", str("it's", XPF_QUOTE2, 0, 4));
  EXPECT_EQ("ab", str("ab\"", XPF_QUOTE3, 0, 3));
  // Nothing else follows a cut escape, not even the fill.
  EXPECT_EQ("a", str("a b", XPF_PLUS | XPF_LEFT, 10, 3));
}

TEST(FmtText, FillRules) {
  size_t m;
  EXPECT_EQ("   ab", str("ab", 0, 5, 64, &m));
  EXPECT_EQ(5u, m);
  EXPECT_EQ("000ab", str("ab", XPF_ZERO, 5));
  EXPECT_EQ("ab   ", str("ab", XPF_LEFT, 5, 64, &m));
  EXPECT_EQ(5u, m);
  EXPECT_EQ("  ", str("ab", 0, 5, 2));
  EXPECT_EQ("ab ", str("ab", XPF_LEFT, 5, 3));
  // Right-justified fill reckons with the escaping extra, even where the
  // backquote scheme replaces one for one.
  EXPECT_EQ(" it\\'s", str("it's", XPF_QUOTE1, 6));
  EXPECT_EQ(" it`s", str("it's", XPF_BACKTICK, 6));
  EXPECT_EQ("it`s  ", str("it's", XPF_BACKTICK | XPF_LEFT, 6));
  EXPECT_EQ("abc", str("abc", 0, 2));
  // Measuring ignores the room and counts to 2^32 - 1 at most.
  EXPECT_EQ(0xFFFFFFFFu, xpf_str(nullptr, 3, "ab", 2, 0, (size_t)1 << 40));
  EXPECT_EQ(2u, xpf_str(nullptr, 0, "abcdef", 2, 0, 0));
  EXPECT_EQ(3u, xpf_str(nullptr, 0, nullptr, 5, 0, 3));
}

TEST(FmtText, SixteenBitText) {
  char buf[32];
  static const uint16_t e[] = {0xE9, 0};
  EXPECT_EQ(2, xpf_wstr(buf, sizeof buf, e, -1, 0, 0));
  EXPECT_EQ("\xC3\xA9", std::string(buf, 2));
  // Each unit alone: a surrogate pair becomes two 3-byte sequences.
  static const uint16_t pair[] = {'a', 0xD83D, 0xDE00, 0x7FF, 0};
  EXPECT_EQ(9, xpf_wstr(buf, sizeof buf, pair, -1, 0, 0));
  EXPECT_EQ("a\xED\xA0\xBD\xED\xB8\x80\xDF\xBF", std::string(buf, 9));
  EXPECT_EQ(9, xpf_wstr(nullptr, 0, pair, -1, 0, 0));
  EXPECT_EQ(4, xpf_wstr(buf, 4, pair, -1, 0, 0));
  EXPECT_EQ(3, xpf_wstr(buf, sizeof buf, nullptr, 5, 0, 3));
  EXPECT_EQ("   ", std::string(buf, 3));
  EXPECT_EQ(4, xpf_wstr(buf, sizeof buf, pair, 1, XPF_LEFT, 4));
  EXPECT_EQ("a   ", std::string(buf, 4));
  // Allocation failure leaves only the fill.
  xpc::fail_alloc_after(1);
  EXPECT_EQ(4, xpf_wstr(buf, sizeof buf, e, -1, 0, 4));
  EXPECT_FALSE(xpc::alloc_failure_pending());
  EXPECT_EQ("    ", std::string(buf, 4));
}

TEST(FmtHex, DumpsAndDataTexts) {
  const unsigned char b[] = {0x01, 0xAB};
  char buf[16];
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(5u, xpf_hexify(buf, sizeof buf, b, 2, ' ', xpf_lower_digits));
  EXPECT_EQ("01 ab#", std::string(buf, 6));
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(3u, xpf_hexify(buf, 3, b, 2, ' ', xpf_lower_digits));
  EXPECT_EQ("01 #", std::string(buf, 4));
  EXPECT_EQ(5u, xpf_hexify(nullptr, 0, b, 2, ' ', xpf_lower_digits));
  EXPECT_EQ(4u, xpf_hexify(nullptr, 0, b, 2, 0, xpf_lower_digits));
  // No bytes with a separator: the full length is all ones, so the
  // result is the room (nothing written).
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(7u, xpf_hexify(buf, 7, b, 0, ' ', xpf_lower_digits));
  EXPECT_EQ('#', buf[0]);
  EXPECT_EQ(0u, xpf_hexify(buf, 7, b, 0, 0, xpf_lower_digits));
  EXPECT_EQ(4u, xp_fmt_data(buf, sizeof buf, b, 2));
  EXPECT_EQ("01AB", std::string(buf, 4));
  EXPECT_EQ(5u, xp_fmt_data_ex(buf, sizeof buf, b, 2, ':'));
  EXPECT_EQ("01:AB", std::string(buf, 5));
  EXPECT_EQ(3u, xp_fmt_data(buf, 3, b, 2));
  EXPECT_EQ("01A", std::string(buf, 3));
}

TEST(FmtHex, Uuid) {
  unsigned char u[16];
  for (int i = 0; i < 16; i++)
    u[i] = (unsigned char)(i * 0x11);
  char buf[40];
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(36u, xp_fmt_uuid(buf, 37, u, 16));
  EXPECT_STREQ("00112233-4455-6677-8899-AABBCCDDEEFF", buf);
  EXPECT_EQ(36u, xp_fmt_uuid(nullptr, 0, u, 16));
  memset(buf, '#', sizeof buf);
  EXPECT_EQ((size_t)-1, xp_fmt_uuid(buf, 36, u, 16));
  EXPECT_EQ((size_t)-1, xp_fmt_uuid(buf, sizeof buf, u, 15));
  EXPECT_EQ('#', buf[0]);
  // In the engine a UUID needs 37 bytes of room, or it is left out.
  EXPECT_EQ(1u, xp_fmt_format(buf, 37, "%p{U}x", u));
  EXPECT_STREQ("x", buf);
  EXPECT_EQ(37u, xp_fmt_format(buf, 38, "%p{U}x", u));
}

}  // namespace
