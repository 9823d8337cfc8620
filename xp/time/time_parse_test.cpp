// Reading time texts: general time and ISO 8601 edge cases (their sweep
// against the C library is in time_format_test.cpp), and the locale
// parser's own rules (its sweep over every locale is
// time_locale_sweep_test.cpp).
#include <gtest/gtest.h>

#include <thread>

#include "xp/time/time_test_util.h"

namespace {

using namespace xpt_test;

// The utc value of a local wall-clock time, as mktime reads it.
xp_seconds local_wall(int y, int mo, int d, int h) {
  struct tm tm {};
  tm.tm_year = y - 1900, tm.tm_mon = mo - 1, tm.tm_mday = d, tm.tm_hour = h, tm.tm_isdst = -1;
  return static_cast<xp_seconds>(mktime(&tm)) + XP_TIME_POSIX_DELTA;
}

TEST(GeneralTimeParse, FormsOffsetsAndFailures) {
  const std::pair<const char *, xp_seconds> cases[] = {
      {" 20060215063456-0130\t", utc_of(2006, 2, 15, 8, 4, 56)},
      {"20060215", local_wall(2006, 2, 15, 0)},  // no designator or L: local time
      {"2006071512L", local_wall(2006, 7, 15, 12)},
      {"Z", utc_of(2000, 1, 1, 0, 0, 0)},  // missing fields are 0, year 0 is 2000
      {"20051231235900-1330", utc_of(2006, 1, 1, 13, 29, 0)},
      {"20060301003000+0100", utc_of(2006, 3, 3, 23, 30, 0)},  // kept: 31 February
      {"2006-02-15T06:34:56.789Z", utc_of(2006, 2, 15, 6, 34, 56)},
      {"20400101000000Z", XP_TIME_OUT_OF_RANGE}};
  for (auto [text, want] : cases)
    EXPECT_EQ(want, strchr(text, 'T') ? xp_time_iso8601combinedtoutc(text)
                                      : xp_time_generaltimetoutc(text))
        << text;
  xp_dtr r;
  ASSERT_TRUE(xpt::xt_gentimetodtr("20060301003000+0100", &r, 0));
  EXPECT_EQ("2006-02-31 23:30:00", fields(r));
  ASSERT_EQ(1, xp_time_generaltimetodtr("20060715063456Z", &r));  // local, weekday filled
  xp_dtr want;
  xp_time_utctodtr(utc_of(2006, 7, 15, 6, 34, 56), &want);
  EXPECT_EQ(fields(want) + std::to_string(want.weekday), fields(r) + std::to_string(r.weekday));
  const std::string bad =
      "20060230000000Z|20050229000000Z|20061301000000Z|20060100000000Z|20060431000000Z|"
      "20060215243456Z|20060215063460Z|20060215063456.5Z|20060215063456+1400|"
      "20060215063456+0160|20060215063456+010|2006021506345Z|20060215063456X|"
      "20060215063456 Z|2O06Z||2006-02-15 06:34:56Z|2006-02-15T06:34:56|"
      "2006-02-15T06:34:56.78Z|2006-02-15T06:34:56+01:0|";
  for (size_t at = 0, end; (end = bad.find('|', at)) != std::string::npos; at = end + 1) {
    std::string text = bad.substr(at, end - at);
    EXPECT_EQ(0u, text.size() > 4 && text[4] == '-' ? xp_time_iso8601combinedtolocal(text.c_str())
                                                    : xp_time_generaltimetolocal(text.c_str()))
        << text;
  }
  EXPECT_EQ(0u, xp_time_generaltimetoutc(nullptr));
}

std::string parse(const char *text, int32_t order, char sep = '/') {
  xp_dtr r;
  if (!xp_time_datetimefmttodtr(text, order, sep, &r)) return "fails";
  return fields(r);
}

// What typed texts give beyond what the locales write: partial dates and
// times, markers in any case and place, carries, failures. The first two
// characters of each case are the order and the separator.
TEST(LocaleParse, TypedTexts) {
  xpt::Locale texts("C", xpt::Platform::off);
  xp_dtr now, marker;
  xp_time_getdtr(&now);
  xp_time_localtodtr(XP_TIME_OUT_OF_RANGE, &marker);
  const std::string today = fields(now).substr(0, 10), year = today.substr(0, 4);
  const std::pair<const char *, std::string> cases[] = {
      {"0/2/15/06 PM 6:34 and more", "2006-02-15 18:34:00"},
      {"0/2/15/2006 6:34:56am", "2006-02-15 06:34:56"},
      {"0/12:05 AM", today + " 00:05:00"},
      {"0/6 pm", today + " 18:00:00"},
      {"0/2/15", year + "-02-15 00:00:00"},
      {"0/2/30/2006", "2006-03-02 00:00:00"},
      {"0/12/31/99", "1999-12-31 00:00:00"},
      {"0-1-1-00", "2000-01-01 00:00:00"},
      {"1/15/dEC/2006", "2006-12-15 00:00:00"},
      {"1/Feb 15 06 10:00 P.M.", "2006-02-15 10:00:00"},
      {"2/2006/02/15 22:34", "2006-02-15 22:34:00"},
      {"1.2006.02.15. 22.34", "2006-02-15 22:34:00"},
      {"1/\xD9\xA1\xD9\xA5\xE2\x80\x8F/\xD9\xA2\xE2\x80\x8F/\xD9\xA2\xD9\xA0\xD9\xA0\xD9\xA6",
       "2006-02-15 00:00:00"},  // Arabic-Indic digits, right-to-left marks
      {"1.15.02.06\xC2\xA0\x31\x30:34\xE2\x80\xAFpm", "2006-02-15 22:34:00"},
      {"0/1/1/2040", fields(marker)},
  };
  for (const auto &[c, want] : cases)
    EXPECT_EQ(want, parse(c + 2, c[0] - '0', c[1])) << c;
  for (const char *bad : {"15", "", "   ", "x", "Feb", "13/1/06", "0/1/06", "2/32/06", "2/15/06:30",
                          "24:00", "12:60", "12:00:60", "15/Fe/2006"})
    EXPECT_EQ("fails", parse(bad, 0)) << bad;
  xp_dtr r = record(2006, 2, 15, 18, 34, 0);
  EXPECT_EQ(xp_time_dtrtoutc(&r), xp_time_datetimetoutc("2/15/06 6:34 PM"));
  EXPECT_EQ(xp_time_dtrtolocal(&r) - 66840, xp_time_datetolocal("2/15/06 6:34 PM"));
  EXPECT_EQ(XP_TIME_OUT_OF_RANGE + xp_time_datetimetoutc("1/1/2040"),
            xp_time_datetimetolocal("1/1/2040"));
  EXPECT_EQ(66896ul, xp_time_timetoseconds("6:34:56 PM") + xp_time_timetoseconds("6"));
}

// The caches follow the locale on the 10000th call (month names on their
// own count); threads may refresh them while others read.
TEST(LocaleParse, CachesRefreshEveryTenThousandCallsWhileThreadsRead) {
  xpt::Locale texts("C", xpt::Platform::off);
  int32_t order;
  parse("", 0);  // loads the C locale's
  ASSERT_NE(nullptr, setlocale(LC_ALL, "de_DE.UTF-8"));
  xpt::xt_locale_counter = 5;
  xpt::xt_cm_counter = 3;
  xpt::xt_getinternationalchars(nullptr, nullptr, nullptr, nullptr, &order);
  EXPECT_EQ("0fails", std::to_string(order) + parse("15.Dez.2006", 1, '.'));
  xpt::xt_locale_counter = 10000;
  xpt::xt_cm_counter = 0;
  EXPECT_EQ("2006-12-15 00:00:00", parse("15.Dez.2006", 1, 0));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i) {
        xpt::xt_locale_counter = 0;
        xpt::xt_cm_counter = 0;
        ASSERT_EQ("2006-02-15 22:34:00", parse("15/Feb/2006 22:34", 1));
      }
    });
  for (auto &t : threads)
    t.join();
}

}  // namespace
