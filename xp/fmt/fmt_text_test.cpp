// Text, 16-bit text, hex and UUID writers.
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/fmt/fmt_test_util.h"
#include "xp/fmt/xp_fmt_internal.h"

namespace {

// Writes with the room given and checks that nothing lands past it.
std::string str(const char *text, uint32_t flags, size_t width = 0, size_t room = 64) {
  char buf[80];
  memset(buf, '#', sizeof buf);
  size_t n = xpf_str(buf, room, text, -1, flags, width);
  EXPECT_LE(n, room);
  for (size_t i = room; i < sizeof buf; i++)
    EXPECT_EQ('#', buf[i]) << i;
  return std::string(buf, n);
}

TEST(FmtText, EscapingCuttingAndFill) {
  const uint32_t q1 = XPF_QUOTE1, q2 = q1 | XPF_QUOTE2, q3 = q2 | XPF_QUOTE3, bq = XPF_BACKTICK;
  struct {
    const char *want, *text;
    uint32_t flags;
    size_t width, room;
  } cases[] = {
      {"AZaz09-._~%C3%A9%20%2F", "AZaz09-._~\xC3\xA9 /", XPF_PLUS, 0, 64},
      {"it\\'s \\\\", "it's \\", q1, 0, 64},
      {"it''s \\", "it's \\", q2, 0, 64},
      {"it's \\\" \\\\", "it's \" \\", q3, 0, 64},
      {"it`s  \t", "it's\n\r\t", bq, 0, 64},
      {"it%27s", "it's", XPF_PLUS | q1 | bq, 0, 64},  // percent-encoding wins, then backquote
      {"it`s", "it's", bq | q1, 0, 64},
      // An escape that does not fit ends the text; no fill follows it.
      {"a", "a b", XPF_PLUS | XPF_LEFT, 10, 3},
      {"a%20", "a b", XPF_PLUS, 0, 4},
      {"it''", "it's", XPF_QUOTE2, 0, 4},
      {"ab", "ab\"", XPF_QUOTE3, 0, 3},
      {"000ab", "ab", XPF_ZERO, 5, 64},
      {"  ", "ab", 0, 5, 2},
      {"ab ", "ab", XPF_LEFT, 5, 3},
      // Right-justified fill reckons with the escaping extra, even for the
      // one-for-one backquote scheme.
      {" it\\'s", "it's", q1, 6, 64},
      {" it`s", "it's", bq, 6, 64},
      {"abc", "abc", 0, 2, 64},
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.want, str(c.text, c.flags, c.width, c.room)) << c.text << " " << c.flags;
  // Measuring ignores the room and counts to 2^32 - 1 at most.
  EXPECT_EQ(5u, xpf_str(nullptr, 0, "ab", -1, XPF_LEFT, 5));
  EXPECT_EQ(0xFFFFFFFFu, xpf_str(nullptr, 3, "ab", 2, 0, (size_t)1 << 40));
  EXPECT_EQ(3u, xpf_str(nullptr, 0, nullptr, 5, 0, 3));
}

TEST(FmtText, SixteenBitText) {
  char buf[32];
  // Each unit alone: a surrogate pair becomes two 3-byte sequences.
  static const uint16_t pair[] = {'a', 0xD83D, 0xDE00, 0x7FF, 0};
  EXPECT_EQ(9, xpf_wstr(buf, sizeof buf, pair, -1, 0, 0));
  EXPECT_EQ("a\xED\xA0\xBD\xED\xB8\x80\xDF\xBF", std::string(buf, 9));
  EXPECT_EQ(9, xpf_wstr(nullptr, 0, pair, -1, 0, 0));
  EXPECT_EQ(4, xpf_wstr(buf, 4, pair, -1, 0, 0));
  EXPECT_EQ(4, xpf_wstr(buf, sizeof buf, pair, 1, XPF_LEFT, 4));
  EXPECT_EQ("a   ", std::string(buf, 4));
  // Allocation failure leaves only the fill.
  xpc::fail_alloc_after(1);
  EXPECT_EQ(4, xpf_wstr(buf, sizeof buf, pair, -1, 0, 4));
  EXPECT_FALSE(xpc::alloc_failure_pending());
  EXPECT_EQ("    ", std::string(buf, 4));
}

TEST(FmtHex, DumpsAndUuid) {
  const unsigned char b[] = {0x01, 0xAB};
  unsigned char u[16];
  for (int i = 0; i < 16; i++)
    u[i] = (unsigned char)(i * 0x11);
  char buf[40], data[8], ex[8], id[40];
  memset(buf, '#', sizeof buf);
  // No bytes with a separator: the full length is all ones, so the result
  // is the room, with nothing written. A UUID needs 37 bytes and 16 bytes.
  EXPECT_EQ(
      std::vector<size_t>({xpf_hexify(buf, 3, b, 2, ' ', xpf_lower_digits),
                           xpf_hexify(nullptr, 0, b, 2, ' ', xpf_lower_digits),
                           xpf_hexify(buf + 8, 7, b, 0, ' ', xpf_lower_digits),
                           xpf_hexify(buf + 8, 7, b, 0, 0, xpf_lower_digits),
                           xp_fmt_data_ex(ex, sizeof ex, b, 2, ':'), xp_fmt_data(data, 3, b, 2),
                           xp_fmt_uuid(buf + 8, 36, u, 16), xp_fmt_uuid(buf + 8, 40, u, 15),
                           xp_fmt_uuid(nullptr, 0, u, 16), xp_fmt_uuid(id, 37, u, 16)}),
      std::vector<size_t>({3, 5, 7, 0, 5, 3, (size_t)-1, (size_t)-1, 36, 36}));
  EXPECT_EQ(std::string(buf, 4) + std::string(buf + 8, 2), "01 ###");
  EXPECT_EQ(std::string(ex, 5) + "|" + std::string(data, 3) + "|" + id,
            "01:AB|01A|00112233-4455-6677-8899-AABBCCDDEEFF");
}

}  // namespace
