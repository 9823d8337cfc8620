// Time texts: the fixed forms (general time, RFC 822) in whichever zone TZ
// names, the locale texts through strftime in the C locale, the date and
// time writers built on them, and a guard-byte sweep of every writer over
// every buffer size.
#include <gtest/gtest.h>

#include <time.h>

#include <functional>
#include <string>
#include <vector>

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
  xp_time_localtodtr(xp_time_dtrtolocal(&r), &full);  // fills the weekday
  return full;
}

// The zone offset of a wall-clock time as the C library knows it, as
// "+hhmm" / "-hhmm".
std::string offset_text(const xp_dtr &r) {
  struct tm tm {};
  tm.tm_year = r.year - 1900;
  tm.tm_mon = r.month - 1;
  tm.tm_mday = r.day;
  tm.tm_hour = r.hour;
  tm.tm_min = r.minute;
  tm.tm_sec = r.second;
  tm.tm_isdst = -1;
  mktime(&tm);
  char buf[16];
  strftime(buf, sizeof buf, "%z", &tm);
  return buf;
}

std::string general(xp_seconds utc) {
  char buf[32];
  long n = xp_time_utctogeneraltime(utc, buf, sizeof buf);
  return std::string(buf, static_cast<size_t>(n));
}

TEST(GeneralTimeText, UtcForm) {
  EXPECT_EQ("19700101000000Z", general(XP_TIME_POSIX_DELTA));
  EXPECT_EQ("20060215063456Z", general(XP_TIME_POSIX_DELTA + 1139985296));
  EXPECT_EQ("20380119031407Z", general(XP_TIME_POSIX_DELTA + 2147483647));
  char buf[32] = "untouched";
  EXPECT_EQ(0, xp_time_utctogeneraltime(XP_TIME_POSIX_DELTA, buf, 15));
  EXPECT_STREQ("untouched", buf);
  EXPECT_EQ(15, xp_time_utctogeneraltime(XP_TIME_POSIX_DELTA, buf, 16));
  EXPECT_STREQ("19700101000000Z", buf);
  EXPECT_EQ(15, xp_time_utctogeneraltime(XP_TIME_POSIX_DELTA, nullptr, 0));
}

TEST(GeneralTimeText, RecordFormCarriesTheOffsetOfItsOwnDate) {
  char buf[32];
  for (const xp_dtr &r : {record(2006, 2, 15, 6, 34, 56), record(2006, 7, 15, 6, 34, 56)}) {
    ASSERT_EQ(19, xp_time_dtrtogeneraltime(&r, buf, sizeof buf));
    std::string want = (r.month == 2 ? "20060215063456" : "20060715063456") + offset_text(r);
    EXPECT_EQ(want, buf);
  }
  if (getenv("TZ") && std::string(getenv("TZ")) == "America/New_York") {
    xp_dtr feb = record(2006, 2, 15, 6, 34, 56), jul = record(2006, 7, 15, 6, 34, 56);
    xp_time_dtrtogeneraltime(&feb, buf, sizeof buf);
    EXPECT_STREQ("20060215063456-0500", buf);
    xp_time_dtrtogeneraltime(&jul, buf, sizeof buf);
    EXPECT_STREQ("20060715063456-0400", buf);
  }
  // Short years are printed in full.
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  for (uint16_t y : {6, 106, 2006}) {
    r.year = y;
    xp_time_dtrtogeneraltime(&r, buf, sizeof buf);
    EXPECT_EQ(0, strncmp(buf, "2006", 4)) << y;
  }
  EXPECT_EQ(0, xp_time_dtrtogeneraltime(&r, buf, 19));
  EXPECT_EQ(19, xp_time_dtrtogeneraltime(&r, nullptr, 0));
  EXPECT_EQ(0, xp_time_dtrtogeneraltime(nullptr, buf, sizeof buf));

  // The local form is the record form of the value's fields.
  xp_seconds local = xp_time_dtrtolocal(&r);
  char other[32];
  xp_time_localtogeneraltime(local, other, sizeof other);
  xp_time_dtrtogeneraltime(&r, buf, sizeof buf);
  EXPECT_STREQ(buf, other);
}

TEST(Rfc822Text, EnglishNamesInEveryForm) {
  char buf[48];
  EXPECT_EQ(29, xp_time_utctorfc822datetime(XP_TIME_POSIX_DELTA, buf, sizeof buf));
  EXPECT_STREQ("Thu, 01 Jan 1970 00:00:00 GMT", buf);
  EXPECT_EQ(0, xp_time_utctorfc822datetime(XP_TIME_POSIX_DELTA, buf, 29));
  EXPECT_EQ(29, xp_time_utctorfc822datetime(XP_TIME_POSIX_DELTA, nullptr, 0));

  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ(31, xp_time_dtrtorfc822datetime(&r, buf, sizeof buf));
  EXPECT_EQ("Wed, 15 Feb 2006 06:34:56 " + offset_text(r), std::string(buf));
  EXPECT_EQ(0, xp_time_dtrtorfc822datetime(&r, buf, 31));
  const std::string offset = offset_text(r);
  r.year = 106;  // years since 1900 (the zone's rules are asked of that year too)
  xp_time_dtrtorfc822datetime(&r, buf, sizeof buf);
  EXPECT_EQ("Wed, 15 Feb 2006 06:34:56 " + offset, std::string(buf));
  // A record whose names cannot be looked up writes nothing.
  r.weekday = 7;
  EXPECT_EQ(0, xp_time_dtrtorfc822datetime(&r, buf, sizeof buf));
  EXPECT_STREQ("", buf);

  char other[48];
  xp_time_localtorfc822datetime(xp_time_dtrtolocal(&r), other, sizeof other);
  r.weekday = 3;
  xp_time_dtrtorfc822datetime(&r, buf, sizeof buf);
  EXPECT_STREQ(buf, other);
}

// The locale texts as strftime writes them in the C locale.
TEST(LocaleText, FallbackKindsInTheCLocale) {
  xpt_test::StrftimeTexts texts;
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  const char *want[8] = {"", "Feb", "AM", "02/15/06", "02/15/06", "06:34:56", "06:34:56", "Wed"};
  char buf[64];
  for (int kind = 0; kind <= 8; ++kind) {
    long n = xpt::dtrstring_fallback(&r, kind, buf, sizeof buf);
    std::string expect = kind >= 1 && kind <= 7 ? want[kind] : "";
    EXPECT_EQ(expect, buf) << kind;
    EXPECT_EQ(static_cast<long>(expect.size()), n) << kind;
    EXPECT_EQ(n, xpt::dtrstring_fallback(&r, kind, nullptr, 0));
    EXPECT_EQ(n, xpt::xt_dtrstring(&r, kind, nullptr, 0));
  }
  r.hour = 22;
  xpt::dtrstring_fallback(&r, xpt::XT_AMPM, buf, sizeof buf);
  EXPECT_STREQ("PM", buf);
  // Short years and cut texts.
  r.year = 6;
  EXPECT_EQ(8, xpt::dtrstring_fallback(&r, xpt::XT_SHORTDATE, buf, sizeof buf));
  EXPECT_STREQ("02/15/06", buf);
  EXPECT_EQ(3, xpt::dtrstring_fallback(&r, xpt::XT_SHORTDATE, buf, 4));
  EXPECT_STREQ("02/", buf);
  EXPECT_EQ(0, xpt::dtrstring_fallback(nullptr, xpt::XT_SHORTDATE, buf, sizeof buf));
}

TEST(LocaleText, CutsAtCharacterBoundaries) {
  xpt_test::StrftimeTexts texts("ru_RU.UTF-8");
  if (!texts.ok()) GTEST_SKIP() << "no ru_RU.UTF-8 locale";
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  char full[64], buf[64];
  long n = xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, full, sizeof full);
  ASSERT_GT(n, 2);
  ASSERT_NE(0, full[0] & 0x80) << "expected a non-ASCII day name";
  for (long size = 1; size <= n + 1; ++size) {
    long m = xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, buf, size);
    EXPECT_LE(m, size - 1);
    EXPECT_EQ(0, memcmp(buf, full, static_cast<size_t>(m)));
    EXPECT_NE(0x80, static_cast<unsigned char>(full[m]) & 0xC0) << "cut inside a character";
  }
}

// The platform's formatter, where there is one, writes the locale's own
// forms.
TEST(LocaleText, PlatformFormatterForTheLocale) {
  xpt_test::PlatformTexts texts("de_DE.UTF-8");
  if (!texts.ok()) GTEST_SKIP() << "no platform date formatter";
  xp_dtr r = record(2006, 2, 15, 22, 34, 56);
  char buf[64];
  EXPECT_EQ(8, xpt::xt_dtrstring(&r, xpt::XT_SHORTDATE, buf, sizeof buf));
  EXPECT_STREQ("15.02.06", buf);
  EXPECT_EQ(8, xpt::xt_dtrstring(&r, xpt::XT_TIMESECONDS, buf, sizeof buf));
  EXPECT_STREQ("22:34:56", buf);
  // The abbreviated weekday as it stands in a date (the day in front of it
  // is cut off).
  EXPECT_GT(xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, buf, sizeof buf), 0);
  EXPECT_EQ(0, strncmp(buf, "Mi", 2)) << buf;
  EXPECT_EQ(3, xpt::xt_dtrstring(&r, xpt::XT_SHORTDATE, buf, 4));
  EXPECT_STREQ("15.", buf);
  // An unknown kind is the short date and the medium time.
  EXPECT_GT(xpt::xt_dtrstring(&r, 9, buf, sizeof buf), 8);
}

TEST(LocaleText, DateTimeAndClock) {
  xpt_test::StrftimeTexts texts;
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  char buf[64];
  EXPECT_EQ(17, xp_time_dtrtodatetime(&r, buf, sizeof buf, 0, 1));
  std::string date(64, 0), time(64, 0);
  date.resize(static_cast<size_t>(xpt::xt_dtrstring(&r, xpt::XT_SHORTDATE, date.data(), 64)));
  time.resize(static_cast<size_t>(xpt::xt_dtrstring(&r, xpt::XT_TIMESECONDS, time.data(), 64)));
  EXPECT_EQ(date + " " + time, buf);
  EXPECT_EQ(17, xp_time_dtrtodatetime(&r, nullptr, 0, 0, 1));

  // The date alone fills the buffer: only the date.
  const long d = static_cast<long>(date.size());
  EXPECT_EQ(d - 1, xp_time_dtrtodatetime(&r, buf, d, 0, 1));
  EXPECT_EQ(d, xp_time_dtrtodatetime(&r, buf, d + 2, 0, 1));
  EXPECT_EQ(date, buf);
  EXPECT_EQ(d + 2, xp_time_dtrtodatetime(&r, buf, d + 3, 0, 1));
  EXPECT_EQ(date + " " + time.substr(0, 1), buf);

  // The value forms agree with the record forms of the value's record.
  xp_seconds utc = xp_time_dtrtoutc(&r);
  char other[64];
  xp_time_utctodatetime(utc, other, sizeof other, 1, 0);
  xp_time_dtrtodatetime(&r, buf, sizeof buf, 1, 0);
  EXPECT_STREQ(buf, other);
  xp_time_localtodate(xp_time_dtrtolocal(&r), other, sizeof other, 0);
  EXPECT_EQ(date, other);
  xp_time_utctotime(utc, other, sizeof other, 1);
  EXPECT_EQ(time, other);

  // Seconds of the day: hours are not reduced to a day.
  EXPECT_EQ(8, xp_time_secondstotime(25 * 3600 + 61, buf, sizeof buf, 1));
  EXPECT_STREQ("25:01:01", buf);
  xp_time_secondstotime(6 * 3600 + 34 * 60 + 56, buf, sizeof buf, 1);
  EXPECT_EQ(time, buf);
}

// Every writer, into every buffer size from 0 to its full length + 2:
// nothing is written at or past the size, the text is terminated, and the
// count is what stands in the buffer.
TEST(TimeTextSweep, NoWriterPassesItsSize) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  xp_seconds utc = xp_time_dtrtoutc(&r);
  using Writer = std::function<long(char *, long)>;
  struct Case {
    const char *name;
    long minimum;  // all or nothing below this size; 0 for cut texts
    Writer write;
  };
  const std::vector<Case> cases = {
      {"utctogeneraltime", 16,
       [&](char *b, long n) { return xp_time_utctogeneraltime(utc, b, n); }},
      {"localtogeneraltime", 20,
       [&](char *b, long n) { return xp_time_localtogeneraltime(local, b, n); }},
      {"dtrtogeneraltime", 20, [&](char *b, long n) { return xp_time_dtrtogeneraltime(&r, b, n); }},
      {"utctorfc822", 30, [&](char *b, long n) { return xp_time_utctorfc822datetime(utc, b, n); }},
      {"localtorfc822", 32,
       [&](char *b, long n) { return xp_time_localtorfc822datetime(local, b, n); }},
      {"dtrtorfc822", 32, [&](char *b, long n) { return xp_time_dtrtorfc822datetime(&r, b, n); }},
      {"utctotime", 0, [&](char *b, long n) { return xp_time_utctotime(utc, b, n, 1); }},
      {"localtotime", 0, [&](char *b, long n) { return xp_time_localtotime(local, b, n, 0); }},
      {"dtrtotime", 0, [&](char *b, long n) { return xp_time_dtrtotime(&r, b, n, 1); }},
      {"utctodate", 0, [&](char *b, long n) { return xp_time_utctodate(utc, b, n, 1); }},
      {"localtodate", 0, [&](char *b, long n) { return xp_time_localtodate(local, b, n, 0); }},
      {"dtrtodate", 0, [&](char *b, long n) { return xp_time_dtrtodate(&r, b, n, 0); }},
      {"utctodatetime", 0, [&](char *b, long n) { return xp_time_utctodatetime(utc, b, n, 1, 1); }},
      {"localtodatetime", 0,
       [&](char *b, long n) { return xp_time_localtodatetime(local, b, n, 0, 0); }},
      {"dtrtodatetime", 0, [&](char *b, long n) { return xp_time_dtrtodatetime(&r, b, n, 0, 1); }},
      {"secondstotime", 0, [&](char *b, long n) { return xp_time_secondstotime(4000, b, n, 1); }},
      {"xpf_time", 0,
       [&](char *b, long n) {
         return xpf_time(b, n, "%c|%+|%G-W%V-%u|%s|%x %X|%%|%Z", -1, &r, 0);
       }},
      {"xp_fmt_utctime", 0, [&](char *b, long n) { return xp_fmt_utctime(b, n, nullptr, utc); }},
      {"xp_fmt_localtime", 0,
       [&](char *b, long n) { return xp_fmt_localtime(b, n, "%F %T %z", local); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    char full[256];
    long len = c.write(full, sizeof full);
    ASSERT_GT(len, 0);
    ASSERT_EQ(len, c.write(nullptr, 0));
    for (long size = 0; size <= len + 2; ++size) {
      char buf[300];
      memset(buf, 0x5A, sizeof buf);
      long n = c.write(buf + 8, size);
      for (int i = 0; i < 8; ++i)
        ASSERT_EQ(0x5A, static_cast<unsigned char>(buf[i])) << "size " << size;
      for (long i = size; i < 250; ++i)
        ASSERT_EQ(0x5A, static_cast<unsigned char>(buf[8 + i])) << "size " << size;
      if (size == 0) {
        ASSERT_EQ(0, n);
        continue;
      }
      if (c.minimum && size < c.minimum) {
        ASSERT_EQ(0, n) << "size " << size;
        continue;
      }
      ASSERT_LE(n, size - 1);
      ASSERT_EQ(0, buf[8 + n]) << "size " << size;
      ASSERT_EQ(0, memcmp(buf + 8, full, static_cast<size_t>(n))) << "size " << size;
      if (size > len) {
        ASSERT_EQ(len, n);
      }
    }
  }
}

}  // namespace
