// Reading time texts in whichever zone TZ names: general time and ISO 8601
// (edge cases, and the C library's texts of every day), and dates and clock
// times in the locale's forms.
#include <gtest/gtest.h>

#include <time.h>

#include <string>
#include <thread>
#include <vector>

#include "xp/time/time_test_util.h"

namespace {

using xpt_test::fields;
using xpt_test::LocaleTexts;
using xpt_test::record;

xp_seconds utc_of(int y, int mo, int d, int h, int mi, int s) {
  struct tm tm {};
  tm.tm_year = y - 1900, tm.tm_mon = mo - 1, tm.tm_mday = d;
  tm.tm_hour = h, tm.tm_min = mi, tm.tm_sec = s;
  return static_cast<xp_seconds>(timegm(&tm)) + XP_TIME_POSIX_DELTA;
}

// The utc value of a local wall-clock time, as the library converts it.
xp_seconds local_wall(int y, int mo, int d, int h, int mi, int s) {
  xp_dtr r = record(y, mo, d, h, mi, s);
  return xp_time_dtrtoutc(&r);
}

std::vector<std::string> split(const char *list) {  // at '|'
  std::vector<std::string> out(1);
  for (const char *p = list; *p; ++p)
    if (*p == '|')
      out.emplace_back();
    else
      out.back() += *p;
  return out;
}

TEST(GeneralTimeParse, DesignatorsAndOffsets) {
  // No designator or L: local time; missing fields are 0 (year 0 is 2000).
  const struct {
    const char *text;
    xp_seconds want;
  } cases[] = {
      {"20060215063456Z", utc_of(2006, 2, 15, 6, 34, 56)},
      {"20060215063456+0100", utc_of(2006, 2, 15, 5, 34, 56)},
      {" 20060215063456-0130\t", utc_of(2006, 2, 15, 8, 4, 56)},
      {"20060215", local_wall(2006, 2, 15, 0, 0, 0)},
      {"2006071512L", local_wall(2006, 7, 15, 12, 0, 0)},
      {"Z", utc_of(2000, 1, 1, 0, 0, 0)},
      {"20060101003000+0100", utc_of(2005, 12, 31, 23, 30, 0)},
      {"20051231235900-1330", utc_of(2006, 1, 1, 13, 29, 0)},
      {"20040301003000+0100", utc_of(2004, 3, 2, 23, 30, 0)},
      {"20060301003000+0100", utc_of(2006, 3, 3, 23, 30, 0)},  // see below
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.want, xp_time_generaltimetoutc(c.text)) << c.text;
  // Borrowing from March gives the day March's length: 31 February.
  xp_dtr r;
  ASSERT_TRUE(xpt::xt_gentimetodtr("20060301003000+0100", &r, 0));
  EXPECT_EQ("2006-02-31 23:30:00", fields(r));
  // Records come out in local time, weekday filled.
  ASSERT_EQ(1, xp_time_generaltimetodtr("20060215063456Z", &r));
  xp_dtr want;
  xp_time_utctodtr(utc_of(2006, 2, 15, 6, 34, 56), &want);
  EXPECT_EQ(fields(want), fields(r));
  EXPECT_EQ(want.weekday, r.weekday);
  EXPECT_EQ(xp_time_utctolocal(utc_of(2006, 7, 15, 6, 34, 56)),
            xp_time_generaltimetolocal("20060715063456Z"));
}

TEST(GeneralTimeParse, MalformedTexts) {
  for (const std::string &text :
       split("20060230000000Z|20050229000000Z|20061301000000Z|20060015000000Z|20060100000000Z|"
             "20060431000000Z|20060215243456Z|20060215066056Z|20060215063460Z|20060215063456.5Z|"
             "20060215063456+1400|20060215063456+0160|20060215063456+010|2006021506345Z|"
             "200602150634567Z|20060215063456X|20060215063456Zx|20060215063456 Z|2O06Z|")) {
    const char *bad = text.c_str();
    EXPECT_EQ(0u, xp_time_generaltimetoutc(bad)) << bad;
    EXPECT_EQ(0u, xp_time_generaltimetolocal(bad)) << bad;
  }
  EXPECT_EQ(0u, xp_time_generaltimetoutc(nullptr));
  EXPECT_NE(0u, xp_time_generaltimetoutc("20040229000000Z"));
  EXPECT_EQ(XP_TIME_OUT_OF_RANGE, xp_time_generaltimetoutc("20400101000000Z"));
  EXPECT_EQ(XP_TIME_OUT_OF_RANGE, xp_time_generaltimetolocal("20400101000000L"));
}

TEST(Iso8601Parse, Forms) {
  const xp_seconds t = utc_of(2006, 2, 15, 6, 34, 56);
  EXPECT_EQ(t, xp_time_iso8601combinedtoutc("2006-02-15T06:34:56.789Z"));
  EXPECT_EQ(t - 3600, xp_time_iso8601combinedtoutc("2006-02-15T06:34:56+0100"));
  EXPECT_EQ(xp_time_utctolocal(t), xp_time_iso8601combinedtolocal("2006-02-15T06:34:56Z"));
  for (const char *bad :
       {"2006-02-15 06:34:56Z", "2006-02-15T06:34:56", "2006-02-15T06:34:56.78Z",
        "2006-02-15T06:34:56.789", "2006-02-15T06:34:56+01", "2006-02-15T06:34:56+01:0",
        "2006/02/15T06:34:56Z", "2006-02-30T06:34:56Z", "2006-0a-15T06:34:56Z", "Z"}) {
    EXPECT_EQ(0u, xp_time_iso8601combinedtoutc(bad)) << bad;
    EXPECT_EQ(0u, xp_time_iso8601combinedtolocal(bad)) << bad;
  }
}

TEST(MachineTimeParse, TheCLibrarysTextsOfEveryDay) {
  static const int kLongest[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  char text[64];
  for (long long day = 0; day < 24837; ++day) {
    for (int s : {0, 6 * 3600 + 34 * 60 + 56, 86399}) {
      time_t p = static_cast<time_t>(day * 86400 + s);
      struct tm tm;
      gmtime_r(&p, &tm);
      const xp_seconds want = static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
      strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &tm);
      ASSERT_EQ(want, xp_time_generaltimetoutc(text)) << text;
      strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tm);
      ASSERT_EQ(want, xp_time_iso8601combinedtoutc(text)) << text;
      // The instant 3:00 behind (with a fraction) and 5:30 ahead. Taking
      // off an offset back over the first of a month gives the day the
      // length of the month it leaves, off by the difference to the true
      // length of the month before.
      time_t behind = p - 10800, ahead = p + 19800;
      if (behind >= 0) {
        gmtime_r(&behind, &tm);
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.999-0300", &tm);
        ASSERT_EQ(want, xp_time_iso8601combinedtoutc(text)) << text;
      }
      if (ahead / 86400 > 24836) continue;
      gmtime_r(&ahead, &tm);
      strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+05:30", &tm);
      xp_seconds expect = want;
      if (tm.tm_mday == 1 && tm.tm_hour * 60 + tm.tm_min < 330) {
        time_t before = ahead - (tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec) - 86400;
        struct tm last;
        gmtime_r(&before, &last);
        expect += static_cast<xp_seconds>((kLongest[tm.tm_mon] - last.tm_mday) * 86400L);
      }
      ASSERT_EQ(expect, xp_time_iso8601combinedtoutc(text)) << text;
    }
  }
}

std::string parse(const char *text, int32_t order, char sep = '/') {
  xp_dtr r;
  if (!xp_time_datetimefmttodtr(text, order, sep, &r)) return "fails";
  return fields(r);
}

TEST(LocaleParse, EachOrder) {
  auto texts = LocaleTexts::strftime();
  xp_dtr now;
  xp_time_getdtr(&now);
  const std::string today = fields(now).substr(0, 10), year = today.substr(0, 4);
  const struct {
    const char *text;
    int order;
    char sep;
    std::string want;
  } cases[] = {
      {"  2/15/06 6:34 PM", 0, '/', "2006-02-15 18:34:00"},
      {"2/15/06 PM 6:34 and more", 0, '/', "2006-02-15 18:34:00"},
      {"2/15/2006 6:34:56am", 0, '/', "2006-02-15 06:34:56"},
      {"12:05 AM", 0, '/', today + " 00:05:00"},
      {"6 pm", 0, '/', today + " 18:00:00"},
      {"2/15", 0, '/', year + "-02-15 00:00:00"},
      {"2/30/2006", 0, '/', "2006-03-02 00:00:00"},
      {"12/31/99", 0, '/', "1999-12-31 00:00:00"},
      {"1-1-00", 0, '-', "2000-01-01 00:00:00"},
      {"15/dEC/2006", 1, '/', "2006-12-15 00:00:00"},
      {"15.02.2006 22:34", 1, '.', "2006-02-15 22:34:00"},
      {"2006/02/15 22:34", 2, '/', "2006-02-15 22:34:00"},
      {"15/Fe/2006", 1, '/', "fails"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.want, parse(c.text, c.order, c.sep)) << c.text;
  for (const char *bad : {"15", "", "   ", "x", "13/1/06", "0/1/06", "2/32/06", "2/15/06:30",
                          "24:00", "12:60", "12:00:60"})
    EXPECT_EQ("fails", parse(bad, 0)) << bad;
  // Beyond 2038 the record is that of the out-of-range marker.
  xp_dtr marker;
  xp_time_localtodtr(XP_TIME_OUT_OF_RANGE, &marker);
  EXPECT_EQ(fields(marker), parse("1/1/2040", 0));
}

TEST(LocaleParse, ValueFormsInTheCLocale) {
  auto texts = LocaleTexts::strftime();
  char datesep[16], timesep[16], am[16], pm[16];
  int32_t order = -5;
  xpt::xt_getinternationalchars(datesep, timesep, am, pm, &order);
  EXPECT_EQ("/:AMPM0", std::string(datesep) + timesep + am + pm + std::to_string(order));
  xp_dtr r = record(2006, 2, 15, 18, 34, 0);
  EXPECT_EQ(xp_time_dtrtolocal(&r), xp_time_datetimetolocal("2/15/06 6:34 PM"));
  EXPECT_EQ(xp_time_dtrtoutc(&r), xp_time_datetimetoutc("2/15/06 6:34 PM"));
  r.hour = r.minute = 0;
  ASSERT_EQ(1, xp_time_datetodtr("2/15/06 6:34 PM", &r));
  EXPECT_EQ("2006-02-15 00:00:00", fields(r));
  EXPECT_EQ(xp_time_dtrtoutc(&r), xp_time_datetoutc("2/15/06"));
  EXPECT_EQ(0u, xp_time_datetimetoutc("1/1/2040"));
  EXPECT_EQ(XP_TIME_OUT_OF_RANGE, xp_time_datetimetolocal("1/1/2040"));
  EXPECT_EQ(18 * 3600 + 34 * 60 + 56ul, xp_time_timetoseconds("6:34:56 PM"));
  EXPECT_EQ(0ul, xp_time_timetoseconds("6"));
}

TEST(LocaleParse, CachesFollowTheLocaleEveryTenThousandCalls) {
  auto texts = LocaleTexts::strftime();
  char datesep[16];
  int32_t order;
  auto chars = [&] { xpt::xt_getinternationalchars(datesep, nullptr, nullptr, nullptr, &order); };
  chars();
  if (!setlocale(LC_ALL, "de_DE.UTF-8")) GTEST_SKIP() << "no de_DE.UTF-8 locale";
  xpt::xt_locale_counter = 5;
  chars();
  EXPECT_EQ(0, order);
  EXPECT_EQ(6, xpt::xt_locale_counter.load());
  xpt::xt_locale_counter = 10000;
  chars();
  EXPECT_EQ(std::string(".1"), datesep + std::to_string(order));
  // Month names likewise: German ones (and English) once refreshed.
  xp_dtr r;
  xpt::xt_cm_counter = 3;
  EXPECT_EQ(0, xp_time_datetimetodtr("15.Dez.2006", &r));
  xpt::xt_cm_counter = 0;
  ASSERT_NE(0, xp_time_datetimetodtr("15.Dez.2006", &r));
  EXPECT_EQ("2006-12-15 00:00:00", fields(r));
  ASSERT_NE(0, xp_time_datetimetodtr("15.may.2006 22:34", &r));
  EXPECT_EQ("2006-05-15 22:34:00", fields(r));
}

TEST(LocaleParse, ThreadsShareTheCachesWhileTheyRefresh) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 200; ++i) {
        xpt::xt_locale_counter = 0;
        xpt::xt_cm_counter = 0;
        xp_dtr r;
        ASSERT_NE(0, xp_time_datetimefmttodtr("15/Feb/2006 22:34", 1, '/', &r));
        ASSERT_EQ("2006-02-15 22:34:00", fields(r));
      }
    });
  for (auto &t : threads)
    t.join();
}

TEST(LocaleParse, PlatformOrderAndSeparators) {
  struct {
    const char *locale;
    const char *chars;  // date separator, time separator, order
    const char *text;
  } cases[] = {{"en_US.UTF-8", "/:0", "2/15/06 10:34:56 PM"},
               {"de_DE.UTF-8", ".:1", "15.02.06 22:34:56"},
               {"ja_JP.UTF-8", "/:2", "2006/02/15 22:34:56"}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.locale);
    auto texts = LocaleTexts::platform(c.locale);
    if (!texts.ok()) GTEST_SKIP() << "no platform date formatter";
    char datesep[16], timesep[16];
    int32_t order;
    xpt::xt_getinternationalchars(datesep, timesep, nullptr, nullptr, &order);
    EXPECT_EQ(c.chars, std::string(datesep) + timesep + std::to_string(order));
    xp_dtr r;
    ASSERT_NE(0, xp_time_datetimetodtr(c.text, &r));
    EXPECT_EQ("2006-02-15 22:34:56", fields(r));
  }
}

}  // namespace
