// Time texts in whichever zone TZ names: the fixed forms, the locale texts,
// and a guard-byte sweep of every writer over every buffer size.
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
  tm.tm_year = r.year - 1900, tm.tm_mon = r.month - 1, tm.tm_mday = r.day;
  tm.tm_hour = r.hour, tm.tm_min = r.minute, tm.tm_sec = r.second, tm.tm_isdst = -1;
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
      EXPECT_EQ(want.substr(0, year == 6 ? 14 : 99), std::string(buf, year == 6 ? 14 : 19));
    }
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

// Every writer, every buffer size up to its length + 2: nothing written past
// the size, a terminated prefix (fixed forms: all or nothing), and a null
// buffer measures the full length.
TEST(TimeTextSweep, NoWriterPassesItsSize) {
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  xp_seconds local = xp_time_dtrtolocal(&r);
  xp_seconds utc = xp_time_dtrtoutc(&r);
  // {all or nothing below this size, writer}
  const std::vector<std::pair<long, std::function<long(char *, long)>>> cases = {
      {16, [&](char *b, long n) { return xp_time_utctogeneraltime(utc, b, n); }},
      {20, [&](char *b, long n) { return xp_time_localtogeneraltime(local, b, n); }},
      {20, [&](char *b, long n) { return xp_time_dtrtogeneraltime(&r, b, n); }},
      {30, [&](char *b, long n) { return xp_time_utctorfc822datetime(utc, b, n); }},
      {32, [&](char *b, long n) { return xp_time_localtorfc822datetime(local, b, n); }},
      {32, [&](char *b, long n) { return xp_time_dtrtorfc822datetime(&r, b, n); }},
      {0, [&](char *b, long n) { return xp_time_utctotime(utc, b, n, 1); }},
      {0, [&](char *b, long n) { return xp_time_localtotime(local, b, n, 0); }},
      {0, [&](char *b, long n) { return xp_time_utctodate(utc, b, n, 1); }},
      {0, [&](char *b, long n) { return xp_time_localtodate(local, b, n, 0); }},
      {0, [&](char *b, long n) { return xp_time_utctodatetime(utc, b, n, 1, 1); }},
      {0, [&](char *b, long n) { return xp_time_localtodatetime(local, b, n, 0, 0); }},
      {0, [&](char *b, long n) { return xp_time_secondstotime(4000, b, n, 1); }},
      {0,
       [&](char *b, long n) { return xpf_time(b, n, "%c|%+|%G-W%V|%s|%x %X|%%|%Z", -1, &r, 0); }},
      {0, [&](char *b, long n) { return xp_fmt_utctime(b, n, nullptr, utc); }},
      {0, [&](char *b, long n) { return xp_fmt_localtime(b, n, "%F %T %z", local); }},
  };
  for (size_t k = 0; k < cases.size(); ++k) {
    SCOPED_TRACE(k);
    const auto &write = cases[k].second;
    char full[256];
    long len = write(full, sizeof full);
    ASSERT_GT(len, 0);
    ASSERT_EQ(len, write(nullptr, 0));
    for (long size = 0; size <= len + 2; ++size) {
      char buf[300];
      memset(buf, 0x5A, sizeof buf);
      long n = write(buf + 8, size);
      for (long i = 0; i < 300; ++i)
        if (i < 8 || i >= 8 + size) {
          ASSERT_EQ(0x5A, static_cast<uint8_t>(buf[i])) << size;
        }
      if (size == 0 || (cases[k].first && size < cases[k].first)) {
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
