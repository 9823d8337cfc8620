// Time texts in whichever zone TZ names: the fixed forms (general time,
// RFC 822), the locale texts from strftime and from the platform's
// formatter, the date-and-time writer, and a guard-byte sweep of every
// writer over every buffer size.
#include <gtest/gtest.h>

#include <time.h>

#include <functional>
#include <string>
#include <vector>

#include "xp/time/time_test_util.h"

namespace {

using xpt_test::LocaleTexts;
using xpt_test::record;

// The zone offset of a wall-clock time as the C library knows it.
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

TEST(FixedTimeText, GeneralTime) {
  char buf[32];
  xp_time_utctogeneraltime(XP_TIME_POSIX_DELTA, buf, sizeof buf);
  EXPECT_STREQ("19700101000000Z", buf);
  xp_time_utctogeneraltime(XP_TIME_POSIX_DELTA + 2147483647, buf, sizeof buf);
  EXPECT_STREQ("20380119031407Z", buf);
  // The offset of the record's own date; short years printed in full.
  for (int month : {2, 7}) {
    for (int year : {2006, 106, 6}) {
      xp_dtr r = record(2006, month, 15, 6, 34, 56);
      std::string want = (month == 2 ? "20060215063456" : "20060715063456") + offset_text(r);
      r.year = static_cast<uint16_t>(year);
      ASSERT_EQ(19, xp_time_dtrtogeneraltime(&r, buf, sizeof buf));
      if (year != 6) {  // year 6 asks the zone about 1906
        EXPECT_EQ(want, buf);
      }
      EXPECT_EQ(0, strncmp(buf, want.c_str(), 14));
    }
  }
  const char *tz = getenv("TZ");
  if (tz && std::string(tz) == "America/New_York") {
    xp_dtr r = record(2006, 2, 15, 6, 34, 56);
    xp_time_localtogeneraltime(xp_time_dtrtolocal(&r), buf, sizeof buf);
    EXPECT_STREQ("20060215063456-0500", buf);
  }
}

TEST(FixedTimeText, Rfc822AlwaysEnglish) {
  auto texts = LocaleTexts::strftime("de_DE.UTF-8");
  char buf[48];
  xp_time_utctorfc822datetime(XP_TIME_POSIX_DELTA, buf, sizeof buf);
  EXPECT_STREQ("Thu, 01 Jan 1970 00:00:00 GMT", buf);
  xp_dtr r = record(2006, 12, 13, 22, 34, 56);
  const std::string want = "Wed, 13 Dec 2006 22:34:56 " + offset_text(r);
  xp_time_localtorfc822datetime(xp_time_dtrtolocal(&r), buf, sizeof buf);
  EXPECT_EQ(want, buf);
  r.year = 106;
  xp_time_dtrtorfc822datetime(&r, buf, sizeof buf);
  EXPECT_EQ(want, buf);
  // A record whose names cannot be looked up writes nothing.
  r.weekday = 7;
  EXPECT_EQ(0, xp_time_dtrtorfc822datetime(&r, buf, sizeof buf));
  EXPECT_STREQ("", buf);
}

TEST(LocaleText, StrftimeKindsInTheCLocale) {
  auto texts = LocaleTexts::strftime();
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  const char *want[9] = {"",         "Feb",      "AM",  "02/15/06", "02/15/06",
                         "06:34:56", "06:34:56", "Wed", ""};
  char buf[64];
  for (int kind = 0; kind <= 8; ++kind) {
    EXPECT_EQ(static_cast<long>(strlen(want[kind])), xpt::xt_dtrstring(&r, kind, buf, 64));
    EXPECT_STREQ(want[kind], buf) << kind;
  }
  r.hour = 22;
  xpt::xt_dtrstring(&r, xpt::XT_AMPM, buf, sizeof buf);
  EXPECT_STREQ("PM", buf);
  // Date and time; a buffer that the date fills gets only the date.
  EXPECT_EQ(17, xp_time_dtrtodatetime(&r, buf, sizeof buf, 0, 1));
  EXPECT_STREQ("02/15/06 22:34:56", buf);
  EXPECT_EQ(8, xp_time_dtrtodatetime(&r, buf, 10, 0, 1));
  EXPECT_STREQ("02/15/06", buf);
  EXPECT_EQ(10, xp_time_dtrtodatetime(&r, buf, 11, 0, 1));
  EXPECT_STREQ("02/15/06 2", buf);
  // Seconds of the day: hours are not reduced to a day.
  EXPECT_EQ(8, xp_time_secondstotime(25 * 3600 + 61, buf, sizeof buf, 1));
  EXPECT_STREQ("25:01:01", buf);
}

TEST(LocaleText, CutsAtCharacterBoundaries) {
  auto texts = LocaleTexts::strftime("ru_RU.UTF-8");
  if (!texts.ok()) GTEST_SKIP() << "no ru_RU.UTF-8 locale";
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  char full[64], buf[64];
  long n = xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, full, sizeof full);
  ASSERT_TRUE(n > 2 && (full[0] & 0x80)) << "expected a non-ASCII day name";
  for (long size = 1; size <= n + 1; ++size) {
    long m = xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, buf, size);
    EXPECT_EQ(0, memcmp(buf, full, static_cast<size_t>(m)));
    EXPECT_NE(0x80, static_cast<unsigned char>(full[m]) & 0xC0) << "cut inside a character";
  }
}

TEST(LocaleText, PlatformFormatterForTheLocale) {
  auto texts = LocaleTexts::platform("de_DE.UTF-8");
  if (!texts.ok()) GTEST_SKIP() << "no platform date formatter";
  xp_dtr r = record(2006, 2, 15, 22, 34, 56);
  char buf[64];
  xpt::xt_dtrstring(&r, xpt::XT_SHORTDATE, buf, sizeof buf);
  EXPECT_STREQ("15.02.06", buf);
  xpt::xt_dtrstring(&r, xpt::XT_TIMESECONDS, buf, sizeof buf);
  EXPECT_STREQ("22:34:56", buf);
  // The weekday as it stands in a date, without the day in front of it.
  xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, buf, sizeof buf);
  EXPECT_EQ(0, strncmp(buf, "Mi", 2)) << buf;
}

// Every writer, into every buffer size from 0 to its full length + 2:
// nothing is written at or past the size, the text is a terminated prefix
// (or nothing, for the fixed forms below their size), and a null buffer
// measures the full length.
TEST(TimeTextSweep, NoWriterPassesItsSize) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  xp_seconds utc = xp_time_dtrtoutc(&r);
  struct Case {
    const char *name;
    long minimum;  // all or nothing below this size; 0 for cut texts
    std::function<long(char *, long)> write;
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
      {"utctodate", 0, [&](char *b, long n) { return xp_time_utctodate(utc, b, n, 1); }},
      {"localtodate", 0, [&](char *b, long n) { return xp_time_localtodate(local, b, n, 0); }},
      {"utctodatetime", 0, [&](char *b, long n) { return xp_time_utctodatetime(utc, b, n, 1, 1); }},
      {"localtodatetime", 0,
       [&](char *b, long n) { return xp_time_localtodatetime(local, b, n, 0, 0); }},
      {"secondstotime", 0, [&](char *b, long n) { return xp_time_secondstotime(4000, b, n, 1); }},
      {"xpf_time", 0,
       [&](char *b, long n) { return xpf_time(b, n, "%c|%+|%G-W%V|%s|%x %X|%%|%Z", -1, &r, 0); }},
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
      for (long i = 0; i < 300; ++i)
        if (i < 8 || i >= 8 + size) {
          ASSERT_EQ(0x5A, static_cast<uint8_t>(buf[i])) << size;
        }
      if (size == 0 || (c.minimum && size < c.minimum)) {
        ASSERT_EQ(0, n) << size;
        continue;
      }
      ASSERT_EQ(size > len ? len : n, n) << size;
      ASSERT_LE(n, size - 1);
      ASSERT_EQ(0, buf[8 + n]) << size;
      ASSERT_EQ(0, memcmp(buf + 8, full, static_cast<size_t>(n))) << size;
    }
  }
}

}  // namespace
