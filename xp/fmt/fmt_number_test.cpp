// Integer and floating-point conversion, and the plain number writers.
#include <math.h>
#include <stdint.h>

#include "xp/fmt/fmt_test_util.h"
#include "xp/fmt/xp_fmt_internal.h"

namespace {

std::string grouped(uint64_t v, const char *sizes, const char *sep, uint32_t flags = 0,
                    size_t width = 0) {
  xpf::Grouping g{};
  memcpy(g.sizes, sizes, strlen(sizes) + 1);
  g.seplen = strlen(sep);
  memcpy(g.sep, sep, g.seplen);
  char buf[256];
  size_t n = xpf::base_grouped(buf, sizeof buf, v, 10, xpf_lower_digits, flags, width, &g);
  EXPECT_EQ(n, xpf::base_grouped(nullptr, 0, v, 10, xpf_lower_digits, flags, width, &g));
  return std::string(buf, n);
}

TEST(FmtIntegers, Grouping) {
  EXPECT_EQ("1,000", grouped(1000, "\x03", ","));
  EXPECT_EQ("1,23,45,678", grouped(12345678, "\x03\x02", ","));  // a zero byte repeats the last
  EXPECT_EQ("12345,678", grouped(12345678, "\x03\xFF", ","));    // a byte above 127 ends it
  EXPECT_EQ(
      "1\xC2\xA0"
      "234",
      grouped(1234, "\x03", "\xC2\xA0"));
  EXPECT_EQ("  1.234", grouped(1234, "\x03", ".", 0, 7));
  EXPECT_EQ("1%2C234", grouped(1234, "\x03", ",", XPF_PLUS));  // only the separator is encoded
  EXPECT_EQ("0", grouped(0, "\x01", ","));
  EXPECT_FMT("1234567|1234567", "%'d|%,d", 1234567, 1234567);  // the defaults group nothing
}

TEST(FmtIntegers, BasesPrefixesAndPlainWriters) {
  // Flags on other bases are compared with snprintf in the sweep tests.
  EXPECT_FMT("1777777777777777777777", "%llo", ~0ULL);
  char buf[600];
  EXPECT_EQ(8u, xpf_base(buf, sizeof buf, 0xA5, 2, xpf_lower_digits, 0, 0));
  EXPECT_EQ("10100101", std::string(buf, 8));
  EXPECT_EQ(0u, xpf_base(buf, sizeof buf, 5, 1, xpf_lower_digits, 0, 0));
  // Zeros between prefix and digits stop at 160 characters.
  EXPECT_EQ(500u, xpf_base(buf, sizeof buf, 255, 16, xpf_lower_digits, XPF_ALT | XPF_ZERO, 500));
  EXPECT_EQ("0x" + std::string(156, '0') + "ff", std::string(buf + 340, 160));

  EXPECT_EQ(5u, xp_fmt_quad(buf, 6, INT64_MIN));  // the minus sign is 3 bytes
  EXPECT_STREQ(
      "\xE2\x88\x92"
      "92",
      buf);
  EXPECT_EQ(20u, xp_fmt_quad(nullptr, 0, INT64_MIN));
  EXPECT_EQ(2u, xp_fmt_long(buf, 3, 12345));
  EXPECT_EQ(20u, xp_fmt_uquad(buf, sizeof buf, UINT64_MAX));
  EXPECT_STREQ("18446744073709551615", buf);
  EXPECT_EQ(8u, xp_fmt_xlong(buf, sizeof buf, 0x1F));  // at least 8 digits
  EXPECT_STREQ("0000001F", buf);
  EXPECT_EQ(10u, xp_fmt_xlong(buf, sizeof buf, 0xABCDEF0123UL));
}

TEST(FmtFloat, Digitize) {
  char d[XPF_NDIGITS];
  EXPECT_EQ(1, xpf_digitize(d, -0.5));  // guard digit in the integer place
  EXPECT_EQ("0500", std::string(d, 4));
  EXPECT_EQ(-1, xpf_digitize(d, 0.005));
  EXPECT_EQ(0, xpf_digitize(d, 0.0));
  EXPECT_EQ(std::string(XPF_NDIGITS, '0'), std::string(d, XPF_NDIGITS));
  EXPECT_EQ(80, xpf_digitize(d, 1e79));
  EXPECT_EQ(XPF_DIGITS_HUGE, xpf_digitize(d, 1e80));
}

TEST(FmtFloat, FixedAndExponent) {
  EXPECT_FMT_OVER("0.13|10|0.001|-0.00|+2.0", "%.2f|%.0f|%.3f|%.2f|%+.1f", 0.125, 9.5, 0.0005,
                  -0.001, 2.0);
  EXPECT_FMT("10.00|1.|100|4503599627370496.0|[]", "%.2f|%#.0f|%.0f|%.1f|[%f]", 9.999, 1.0, 99.5,
             4503599627370496.0, 1e80);                 // 10^80 and above print nothing
  EXPECT_EQ(2u + 79u, run("%.100f", 1.0).text.size());  // at most 80 digits
  // Measuring counts the leading zeros of small values twice, and a carry
  // out of the first digit one more.
  EXPECT_EQ(6u, xpf_fcvt(0, 3, nullptr, 0, 0.005));
  EXPECT_EQ(5u, xpf_fcvt(0, 2, nullptr, 0, 9.999));
  char buf[8];
  EXPECT_EQ(3u, xpf_fcvt(0, 2, buf, 3, 9.999));
  EXPECT_EQ("10.", std::string(buf, 3));
  EXPECT_FMT("1.234568e+04|0.000000E+00|1e-300|1.0e+01|3.e+00|1.000000e+79|[]",
             "%e|%E|%.0e|%.1e|%#.0e|%e|[%e]", 12345.678, 0.0, 1e-300, 9.96, 3.0, 1e79, 1e100);
  EXPECT_EQ(13u, xpf_ecvt(0, 6, nullptr, 0, 1e-300));  // exponent before rounding
  EXPECT_EQ(4u, xpf_ecvt(0, 6, buf, 4, 1.0));
  EXPECT_EQ("1.00", std::string(buf, 4));
  EXPECT_FMT_OVER("100000|1e+06|0.0001|1e-05|1e+06|0|1E+10|2|1.|12.35",
                  "%g|%g|%g|%g|%g|%g|%G|%.0g|%#.1g|%.4g", 100000.0, 1000000.0, 0.0001, 0.00001,
                  999999.5, 0.0, 1e10, 1.5, 1.0, 12.3456);
}

TEST(FmtFloat, NanInfinityAndPadding) {
  EXPECT_FMT("nan|NAN|inf|-INF|+inf| inf|  nan|-inf |", "%f|%E|%g|%G|%+e|% f|%5f|%-5f|", NAN, NAN,
             INFINITY, -INFINITY, INFINITY, INFINITY, -NAN, -INFINITY);
  EXPECT_FMT("    3.14|", "%08.2f|", 3.14159);  // blanks only
  // A field wider than the room keeps its blanks and drops the number's end.
  char buf[8];
  EXPECT_EQ(7u, xp_fmt_format(buf, sizeof buf, "%10.2f", 3.14159));
  EXPECT_STREQ("      3", buf);
  EXPECT_EQ(10u, xp_fmt_format(nullptr, 0, "%10.2f", 3.14159));
}

}  // namespace
