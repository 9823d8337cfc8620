// The time directive engine: its fields against strftime in the C locale
// for every day of 1970...2037, the fields strftime does not share, cut
// output, and the format engine's time directives that call it.
#include <gtest/gtest.h>

#include <time.h>

#include <string>

#include "xp/fmt/xp_fmt.h"
#include "xp/time/time_test_util.h"
#include "xp/time/xp_time_internal.h"

namespace {

xp_dtr record(unsigned y, unsigned mo, unsigned d, unsigned h, unsigned mi, unsigned s) {
  xp_dtr r{static_cast<uint16_t>(y),
           static_cast<uint16_t>(mo),
           static_cast<uint16_t>(d),
           static_cast<uint16_t>(h),
           static_cast<uint16_t>(mi),
           static_cast<uint16_t>(s),
           0};
  xp_dtr full;
  xp_time_localtodtr(xp_time_dtrtolocal(&r), &full);
  return full;
}

std::string timef(const char *format, const xp_dtr &r, int escape = 0, long length = -1) {
  char buf[256];
  long n = xpf_time(buf, sizeof buf, format, length, &r, escape);
  EXPECT_EQ(n, xpf_time(nullptr, 0, format, length, &r, escape)) << format;
  EXPECT_EQ(static_cast<size_t>(n), strlen(buf)) << format;
  return buf;
}

TEST(TimeDirectives, AgreeWithStrftimeOnEveryDay) {
  static const char *const kFields[] = {"%Y", "%m", "%d", "%H", "%M", "%S", "%j", "%U", "%W",
                                        "%G", "%g", "%V", "%u", "%w", "%C", "%y", "%e", "%k",
                                        "%l", "%I", "%D", "%F", "%R", "%T", "%%"};
  std::string format;
  for (const char *f : kFields)
    format += std::string(f) + "|";
  static const int kHours[] = {0, 7, 12, 23};
  char ours[256], theirs[256];
  int checked = 0;
  for (long long day = 0; day < 24837; ++day) {  // 1970-01-01 ... 2037-12-31
    for (int hour : kHours) {
      time_t p = static_cast<time_t>(day * 86400 + hour * 3600 + 17 * 60 + 42);
      struct tm tm;
      gmtime_r(&p, &tm);
      xp_dtr r;
      xp_time_localtodtr(static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA, &r);
      xpf_time(ours, sizeof ours, format.c_str(), -1, &r, '%');
      strftime(theirs, sizeof theirs, format.c_str(), &tm);
      ASSERT_STREQ(theirs, ours) << "day " << day;
      ++checked;
    }
  }
  EXPECT_EQ(24837 * 4, checked);
}

TEST(TimeDirectives, FieldsOfTheirOwn) {
  xpt_test::StrftimeTexts texts;
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ("2006-02-15 06:34:56", timef("%Y-%m-%d %H:%M:%S", r));
  EXPECT_EQ("?|q|%|\n\t", timef("%Z|%q|%%|%n%t", r));
  EXPECT_EQ("Wed Feb 15 06:34:56 2006", timef("%c", r));
  EXPECT_EQ("15-Feb-2006|Wed|Feb|Feb", timef("%v|%a|%b|%h", r));
  EXPECT_EQ("06:34:56 AM|06:34", timef("%r|%R", r));
  // Modifiers are skipped.
  EXPECT_EQ("06|2006|34", timef("%OH|%EY|%OM", r));
  // The local value, unpadded.
  EXPECT_EQ(std::to_string(xp_time_dtrtolocal(&r)), timef("%s", r));
  // The offset of the record's own date, and the RFC 822 form with it.
  long off = xp_time_dtrgmto(&r);
  char z[40];
  snprintf(z, sizeof z, "%c%02ld%02ld", off < 0 ? '-' : '+', labs(off) / 3600,
           labs(off) % 3600 / 60);
  EXPECT_EQ(z, timef("%z", r));
  EXPECT_EQ(std::string("Wed, 15 Feb 2006 06:34:56 ") + z, timef("%+", r));
  // Locale fields.
  char date[64], time[64];
  xp_time_dtrtodate(&r, date, sizeof date, 1);
  xp_time_dtrtotime(&r, time, sizeof time, 1);
  EXPECT_EQ(std::string(date) + "|" + time, timef("%x|%X", r));
  EXPECT_EQ("/|:", timef("%/|%:", r));

  xp_dtr midnight = record(2006, 2, 15, 0, 5, 0);
  EXPECT_EQ("12 12 AM", timef("%I %l %p", midnight));
  xp_dtr evening = record(2006, 2, 15, 22, 5, 0);
  EXPECT_EQ("10 10 PM|22", timef("%I %l %p|%k", evening));
  // A year as stored.
  r.year = 106;
  EXPECT_EQ("0106|01|06", timef("%Y|%C|%y", r));
}

TEST(TimeDirectives, FormatBoundsAndEscapes) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ("06:34 %H", timef("#H:#M %H", r, '#'));
  EXPECT_EQ("#", timef("##", r, '#'));
  // A counted format ends at its length or at a zero byte inside it.
  EXPECT_EQ("2006", timef("%Y-%m-%d", r, 0, 2));
  EXPECT_EQ("2006-", timef("%Y-%m", r, 0, 3));
  EXPECT_EQ("2006", timef("%Y\0%m", r, 0, 5));
  // The format ends inside a field.
  EXPECT_EQ("x", timef("x%", r));
  EXPECT_EQ("x", timef("x%O", r));
  EXPECT_EQ("", timef("", r));

  char buf[16] = "untouched";
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, nullptr, -1, &r, 0));
  EXPECT_STREQ("", buf);
  strcpy(buf, "untouched");
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, "%Y", -1, nullptr, 0));
  EXPECT_STREQ("", buf);
  strcpy(buf, "untouched");
  EXPECT_EQ(0, xpf_time(buf, sizeof buf, "%Y", 0, &r, 0));
  EXPECT_STREQ("", buf);

  // Cut output is terminated and counts what was written.
  EXPECT_EQ(10, xpf_time(nullptr, 0, "%Y-%m-%d", -1, &r, 0));
  EXPECT_EQ(4, xpf_time(buf, 5, "%Y-%m-%d", -1, &r, 0));
  EXPECT_STREQ("2006", buf);
  EXPECT_EQ(0, xpf_time(buf, 1, "%Y", -1, &r, 0));
  EXPECT_STREQ("", buf);
}

TEST(TimeDirectives, ValueEntryPoints) {
  xpt_test::StrftimeTexts texts;
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  char buf[64];
  EXPECT_EQ(19, xp_fmt_localtime(buf, sizeof buf, "%F %T", local));
  EXPECT_STREQ("2006-02-15 06:34:56", buf);
  // UTC values go through the local wall clock.
  xp_seconds utc = xp_time_localtoutc(local);
  xp_fmt_utctime(buf, sizeof buf, "%F %T", utc);
  EXPECT_STREQ("2006-02-15 06:34:56", buf);
  // Without a format: the locale's date and time.
  char date[64], time[64];
  xp_time_dtrtodate(&r, date, sizeof date, 1);
  xp_time_dtrtotime(&r, time, sizeof time, 1);
  xp_fmt_localtime(buf, sizeof buf, nullptr, local);
  EXPECT_EQ(std::string(date) + " " + time, buf);
}

TEST(TimeDirectives, NamesAndSeparatorsOfTheLocale) {
  xpt_test::StrftimeTexts texts("de_DE.UTF-8");
  if (!texts.ok()) GTEST_SKIP() << "no de_DE.UTF-8 locale";
  xp_dtr r = record(2006, 12, 13, 22, 34, 56);
  EXPECT_EQ("Mi|Mittwoch|Dez|Dezember|13.12.2006|22:34:56", timef("%a|%A|%b|%B|%x|%X", r));
  EXPECT_EQ(".|:", timef("%/|%:", r));
  // The RFC 822 writers keep to English.
  char buf[48];
  xp_time_dtrtorfc822datetime(&r, buf, sizeof buf);
  EXPECT_EQ(0, strncmp(buf, "Wed, 13 Dec 2006 22:34:56 ", 26)) << buf;
}

// ---- The format engine's time directives -----------------------------------

std::string fmt(const char *format, unsigned long value) {
  char buf[128];
  size_t n = xp_fmt_format(buf, sizeof buf, format, value);
  EXPECT_EQ(n, xp_fmt_format(nullptr, 0, format, value)) << format;
  return std::string(buf, n);
}

TEST(EngineTimeDirectives, PatternsAndFixedForms) {
  xpt_test::StrftimeTexts texts;
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  xp_seconds utc = xp_time_localtoutc(local);
  EXPECT_EQ("<06:34 2006-02-15>", fmt("<%lz{::#H:#M #F}>", local));
  EXPECT_EQ("<06:34>", fmt("<%lD{::#H:#M}>", local));
  // The pattern's own '%' is text; the outer format's is not consumed by it.
  EXPECT_EQ("%H 06|%", fmt("%lz{::%H #H}|%%", local));
  // Z: a UTC value, shown in its UTC fields by the general-time form and in
  // local time by a pattern.
  EXPECT_EQ(fmt("%lz{::#F #T}", local), fmt("%lZ{::#F #T}", utc));
  char g[32];
  xp_time_utctogeneraltime(utc, g, sizeof g);
  EXPECT_EQ(g, fmt("%#lZ", utc));
  xp_time_localtogeneraltime(local, g, sizeof g);
  EXPECT_EQ(g, fmt("%#lz", local));
  // Date, and date and time.
  char date[64], datetime[64];
  xp_time_dtrtodate(&r, date, sizeof date, 0);
  xp_time_dtrtodatetime(&r, datetime, sizeof datetime, 0, 1);
  EXPECT_EQ(date, fmt("%lD", local));
  EXPECT_EQ(datetime, fmt("%+lD", local));
  EXPECT_EQ(datetime, fmt("%+lZ", utc));
  // Brace letters on integer conversions.
  EXPECT_EQ(g, fmt("%#lu{z}", local));
  EXPECT_EQ("2006", fmt("%lu{Z::#Y}", utc));
}

TEST(EngineTimeDirectives, NowAndCutOutput) {
  // A value of 0 is now.
  xp_dtr now;
  xp_time_getdtr(&now);
  EXPECT_EQ(std::to_string(now.year), fmt("%lz{::#Y}", 0));
  // In a short buffer the time text is cut like any other.
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  char buf[8];
  memset(buf, 0x5A, sizeof buf);
  EXPECT_EQ(6u, xp_fmt_format(buf, 7, "%lz{::#F}", local));
  EXPECT_STREQ("2006-0", buf);
  EXPECT_EQ(0x5A, static_cast<unsigned char>(buf[7]));
  // A fixed form that does not fit gives nothing, and the rest goes on.
  EXPECT_EQ(3u, xp_fmt_format(buf, sizeof buf, "a%#lZb|", xp_time_localtoutc(local)));
  EXPECT_STREQ("ab|", buf);
}

}  // namespace
