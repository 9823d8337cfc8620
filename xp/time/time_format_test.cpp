// Time directives against strftime for every day, and the fields of their own.
#include <gtest/gtest.h>

#include <time.h>

#include <string>

#include "xp/fmt/xp_fmt.h"
#include "xp/time/time_test_util.h"

namespace {

using xpt_test::LocaleTexts;
using xpt_test::record;

std::string timef(const char *format, const xp_dtr &r, int escape = 0, long length = -1) {
  char buf[256];
  long n = xpf_time(buf, sizeof buf, format, length, &r, escape);
  EXPECT_EQ(n, xpf_time(nullptr, 0, format, length, &r, escape)) << format;
  return buf;
}

TEST(TimeDirectives, AgreeWithStrftimeOnEveryDay) {
  const char *format = "%Y|%m|%d|%H|%M|%S|%j|%U|%W|%G|%g|%V|%u|%w|%C|%y|%e|%k|%l|%I|%D|%F|%R|%T|%%";
  char ours[256], theirs[256];
  for (long long day = 0; day < 24837; ++day) {  // 1970-01-01 ... 2037-12-31
    for (int hour : {0, 7, 12, 23}) {
      time_t p = static_cast<time_t>(day * 86400 + hour * 3600 + 17 * 60 + 42);
      struct tm tm;
      gmtime_r(&p, &tm);
      xp_dtr r;
      xp_time_localtodtr(static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA, &r);
      xpf_time(ours, sizeof ours, format, -1, &r, '%');
      strftime(theirs, sizeof theirs, format, &tm);
      ASSERT_STREQ(theirs, ours) << "day " << day;
    }
  }
}

// Fields strftime has not, or writes otherwise; format bounds and escapes
// (%c, %+, %s, %x and %X are in the text sweep).
TEST(TimeDirectives, FieldsOfTheirOwnBoundsAndEscapes) {
  auto texts = LocaleTexts::strftime();
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
  auto texts = LocaleTexts::strftime();
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
