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

TEST(TimeDirectives, FieldsOfTheirOwn) {
  auto texts = LocaleTexts::strftime();
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ("?|q|%|\n\t|06|2006", timef("%Z|%q|%%|%n%t|%OH|%EY", r));
  EXPECT_EQ("Wed Feb 15 06:34:56 2006|15-Feb-2006", timef("%c|%v", r));
  EXPECT_EQ("06:34:56 AM|02/15/06|06:34:56|/|:", timef("%r|%x|%X|%/|%:", r));
  EXPECT_EQ(std::to_string(xp_time_dtrtolocal(&r)), timef("%s", r));
  long off = xp_time_dtrgmto(&r);
  char z[40];
  snprintf(z, sizeof z, "%c%02ld%02ld", off < 0 ? '-' : '+', labs(off) / 3600,
           labs(off) % 3600 / 60);
  EXPECT_EQ(std::string("Wed, 15 Feb 2006 06:34:56 ") + z, timef("%+", r));
  EXPECT_EQ("12 12 AM|10 10 PM", timef("%I %l %p", record(2006, 2, 15, 0, 5, 0)) + "|" +
                                     timef("%I %l %p", record(2006, 2, 15, 22, 5, 0)));
  char buf[64];  // UTC values are written on the local wall clock
  xp_fmt_utctime(buf, sizeof buf, "%F %T", xp_time_dtrtoutc(&r));
  EXPECT_STREQ("2006-02-15 06:34:56", buf);
  r.year = 106;  // as stored
  EXPECT_EQ("0106|01|06", timef("%Y|%C|%y", r));
}

TEST(TimeDirectives, FormatBoundsAndEscapes) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ("06:34 %H|#", timef("#H:#M %H|##", r, '#'));
  // A counted format ends at its length or a zero byte; a cut field is dropped.
  EXPECT_EQ("2006", timef("%Y-%m-%d", r, 0, 2));
  EXPECT_EQ("2006", timef("%Y\0%m", r, 0, 5));
  EXPECT_EQ("x|x", timef("x%", r) + "|" + timef("x%O", r));
  char buf[16] = "untouched";
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, "%Y", -1, nullptr, 0));
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, nullptr, -1, &r, 0));
  EXPECT_STREQ("", buf);
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, "%Y", 0, &r, 0));
  EXPECT_EQ(4, xpf_time(buf, 5, "%Y-%m-%d", -1, &r, 0));
  EXPECT_STREQ("2006", buf);
}

std::string fmt(const char *format, unsigned long value) {
  char buf[128];
  size_t n = xp_fmt_format(buf, sizeof buf, format, value);
  EXPECT_EQ(n, xp_fmt_format(nullptr, 0, format, value)) << format;
  return std::string(buf, n);
}

TEST(EngineTimeDirectives, PatternsAndFixedForms) {
  auto texts = LocaleTexts::strftime();
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  xp_seconds utc = xp_time_localtoutc(local);
  EXPECT_EQ("<06:34 2006-02-15>", fmt("<%lz{::#H:#M #F}>", local));
  EXPECT_EQ("%H 06|%", fmt("%lD{::%H #H}|%%", local));  // the pattern's '%' is text
  // A UTC value: local time in a pattern, UTC in general time.
  EXPECT_EQ("2006-02-15 06:34:56", fmt("%lZ{::#F #T}", utc));
  EXPECT_EQ("2006|2006", fmt("%lu{Z::#Y}|", utc) + fmt("%lu{z::#Y}", local));
  char g[32];
  xp_time_utctogeneraltime(utc, g, sizeof g);
  EXPECT_EQ(g, fmt("%#lZ", utc));
  xp_time_localtogeneraltime(local, g, sizeof g);
  EXPECT_EQ(g, fmt("%#lz", local));
  EXPECT_EQ(g, fmt("%#lu{z}", local));
  EXPECT_EQ("02/15/06|02/15/06 06:34:56", fmt("%lD|", local) + fmt("%+lZ", utc));
  // A value of 0 is now.
  xp_dtr now;
  xp_time_getdtr(&now);
  EXPECT_EQ(std::to_string(now.year), fmt("%lz{::#Y}", 0));
}

TEST(EngineTimeDirectives, CutOutput) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  char buf[8];
  memset(buf, 0x5A, sizeof buf);
  EXPECT_EQ(6u, xp_fmt_format(buf, 7, "%lz{::#F}", local));
  EXPECT_STREQ("2006-0", buf);
  EXPECT_EQ(0x5A, static_cast<uint8_t>(buf[7]));
  // A fixed form that does not fit gives nothing; the rest goes on.
  EXPECT_EQ(3u, xp_fmt_format(buf, sizeof buf, "a%#lzb|", local));
  EXPECT_STREQ("ab|", buf);
}

}  // namespace
