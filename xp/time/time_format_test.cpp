// The calendar, the directives and the machine texts against the C library
// over 1970...2037, and the directives of their own.
#include <gtest/gtest.h>

#include "xp/fmt/xp_fmt.h"
#include "xp/time/time_test_util.h"

namespace {

using namespace xpt_test;

std::string timef(const char *format, const xp_dtr &r, int escape = 0, long length = -1) {
  char buf[256];
  long n = xpf_time(buf, sizeof buf, format, length, &r, escape);
  EXPECT_EQ(n, xpf_time(nullptr, 0, format, length, &r, escape)) << format;
  return buf;
}

// Every third hour of 1904...2037, minutes and seconds varied, against
// gmtime_r and strftime: the record of the value through the numeric
// directives and back; general time and ISO 8601 read, also 3:00 behind and
// 5:30 ahead. Taking an offset back over the first of a month gives the day
// the length of the month it leaves, off by the difference to the true
// length of the month before (kept).
TEST(CLibrarySweep, CalendarDirectivesAndMachineTexts) {
  static const int kLongest[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const char *format = "%Y|%m|%d|%H|%M|%S|%j|%U|%W|%G|%g|%V|%u|%w|%C|%y|%e|%k|%l|%I|%D|%F|%R|%T|%%";
  char ours[256], text[256];
  auto text_of = [&](time_t p, const char *f) {
    struct tm tm;
    gmtime_r(&p, &tm);
    strftime(text, sizeof text, f, &tm);
    return tm;
  };
  for (long long p = -2082844800LL, k = 0; p < 2145916800LL; p += 3 * 3600, ++k) {
    time_t q = static_cast<time_t>(p + (k * 61) % 10800), ahead = q + 19800;
    struct tm tm = text_of(q, format);
    xp_dtr r;
    xp_seconds v = static_cast<xp_seconds>(q) + XP_TIME_POSIX_DELTA;
    ASSERT_EQ(xp_time_localtodtr(v, &r), v);
    xpf_time(ours, sizeof ours, format, -1, &r, '%');
    ASSERT_STREQ(text, ours) << "POSIX " << q;
    ASSERT_EQ(xp_time_dtrtolocal(&r), v);
    ASSERT_EQ(xp_time_localdoy(v) * 1000 + xp_time_dtrdoy(&r), tm.tm_yday * 1001) << q;
    text_of(q, "%Y%m%d%H%M%SZ");
    ASSERT_EQ(v, xp_time_generaltimetoutc(text)) << text;
    text_of(q, "%Y-%m-%dT%H:%M:%SZ");
    ASSERT_EQ(v, xp_time_iso8601combinedtoutc(text)) << text;
    text_of(q - 10800, "%Y-%m-%dT%H:%M:%S.999-0300");
    ASSERT_EQ(v, xp_time_iso8601combinedtoutc(text)) << text;
    if (ahead >= 2145916800LL) continue;
    tm = text_of(ahead, "%Y-%m-%dT%H:%M:%S+05:30");
    xp_seconds expect = v;
    if (tm.tm_mday == 1 && tm.tm_hour * 60 + tm.tm_min < 330) {
      struct tm last;
      time_t before = ahead - (tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec) - 86400;
      gmtime_r(&before, &last);
      expect += static_cast<xp_seconds>((kLongest[tm.tm_mon] - last.tm_mday) * 86400L);
    }
    ASSERT_EQ(expect, xp_time_iso8601combinedtoutc(text)) << text;
  }
}

// Fields strftime has not, or writes otherwise; format bounds and escapes
// (%c, %+, %s, %x and %X are in the text sweep).
TEST(TimeDirectives, FieldsOfTheirOwnBoundsAndEscapes) {
  xpt::Locale texts("C", xpt::Platform::off);
  xp_dtr r = record(2006, 2, 15, 0, 5, 6), pm = record(2006, 2, 15, 22, 5, 6);
  EXPECT_EQ("?|q|%|\n\t|00|2006|15-Feb-2006|12:05:06 AM|/|:|12 12 AM",
            timef("%Z|%q|%%|%n%t|%OH|%EY|%v|%r|%/|%:|%I %l %p", r));
  EXPECT_EQ("10 10 PM", timef("%I %l %p", pm));
  EXPECT_EQ("00:05 %H|#", timef("#H:#M %H|##", r, '#'));
  // A counted format ends at its length or a zero byte; a cut field is dropped.
  EXPECT_EQ("2006|2006|x|x", timef("%Y-%m-%d", r, 0, 2) + "|" + timef("%Y\0%m", r, 0, 5) + "|" +
                                 timef("x%", r) + "|" + timef("x%O", r));
  char buf[16] = "untouched";
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, "%Y", -1, nullptr, 0) +
                   xpf_time(buf, sizeof buf, "%Y", 0, &r, 0) +
                   xpf_time(buf, sizeof buf, nullptr, -1, &r, 0));
  EXPECT_STREQ("", buf);
  r.year = 106;  // as stored
  EXPECT_EQ("0106|01|06", timef("%Y|%C|%y", r));
}

std::string fmt(const char *format, unsigned long value) {
  char buf[128];
  size_t n = xp_fmt_format(buf, sizeof buf, format, value);
  EXPECT_EQ(n, xp_fmt_format(nullptr, 0, format, value)) << format;
  return std::string(buf, n);
}

// The format engine's time directives: patterns with '#' as escape, the
// fixed forms, 0 for now, cut output.
TEST(EngineTimeDirectives, PatternsFixedFormsAndCuts) {
  xpt::Locale texts("C", xpt::Platform::off);
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r), utc = xp_time_localtoutc(local);
  EXPECT_EQ("<06:34 2006-02-15>|%H 06|%",
            fmt("<%lz{::#H:#M #F}>|", local) + fmt("%lD{::%H #H}|%%", local));
  // A UTC value: local time in a pattern, UTC in general time.
  EXPECT_EQ("2006-02-15 06:34:56|2006|2006",
            fmt("%lZ{::#F #T}|", utc) + fmt("%lu{Z::#Y}|", utc) + fmt("%lu{z::#Y}", local));
  char g[32], l[32];
  xp_time_utctogeneraltime(utc, g, sizeof g);
  xp_time_localtogeneraltime(local, l, sizeof l);
  EXPECT_EQ(std::string(g) + l + l, fmt("%#lZ", utc) + fmt("%#lz", local) + fmt("%#lu{z}", local));
  EXPECT_EQ("02/15/06|02/15/06 06:34:56", fmt("%lD|", local) + fmt("%+lZ", utc));
  xp_dtr now;
  xp_time_getdtr(&now);
  EXPECT_EQ(std::to_string(now.year), fmt("%lz{::#Y}", 0));
  char buf[8];
  memset(buf, 0x5A, sizeof buf);
  EXPECT_EQ(6u, xp_fmt_format(buf, 7, "%lz{::#F}", local));
  EXPECT_EQ(std::string("2006-0\0\x5A", 8), std::string(buf, 8));
  // A fixed form that does not fit gives nothing; the rest goes on.
  EXPECT_EQ(3u, xp_fmt_format(buf, sizeof buf, "a%#lzb|", local));
  EXPECT_STREQ("ab|", buf);
}

}  // namespace
