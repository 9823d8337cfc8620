// The calendar: records from local values checked against the C library for
// every hour of the supported range, the way back, short years, carries,
// days of the year, ordering and the same-day tests.
#include <gtest/gtest.h>

#include <time.h>

#include "xp/time/xp_time_internal.h"

namespace {

constexpr long long kLastHour = 2145916800LL;  // 2038-01-01 00:00:00 UTC

xp_dtr rec(unsigned y, unsigned mo, unsigned d, unsigned h = 0, unsigned mi = 0, unsigned s = 0) {
  xp_dtr r{};
  r.year = static_cast<uint16_t>(y);
  r.month = static_cast<uint16_t>(mo);
  r.day = static_cast<uint16_t>(d);
  r.hour = static_cast<uint16_t>(h);
  r.minute = static_cast<uint16_t>(mi);
  r.second = static_cast<uint16_t>(s);
  return r;
}

xp_seconds value_of(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  struct tm tm {};
  tm.tm_year = y - 1900;
  tm.tm_mon = mo - 1;
  tm.tm_mday = d;
  tm.tm_hour = h;
  tm.tm_min = mi;
  tm.tm_sec = s;
  return static_cast<xp_seconds>(timegm(&tm) + 2082844800LL);
}

// Every hour from 1970 to the end of 2037, with the seconds moved along so
// that minutes and seconds vary too.
TEST(Calendar, RecordsMatchTheCLibraryEveryHourAndConvertBack) {
  long bad = 0;
  for (long long p = 0, k = 0; p < kLastHour; p += 3600, ++k) {
    long long q = p + (k * 61) % 3600;
    time_t t = static_cast<time_t>(q);
    struct tm tm;
    ASSERT_NE(gmtime_r(&t, &tm), nullptr);
    xp_dtr r;
    xp_seconds v = static_cast<xp_seconds>(q) + XP_TIME_POSIX_DELTA;
    EXPECT_EQ(xp_time_localtodtr(v, &r), v);
    bool ok = r.year == tm.tm_year + 1900 && r.month == tm.tm_mon + 1 && r.day == tm.tm_mday &&
              r.hour == tm.tm_hour && r.minute == tm.tm_min && r.second == tm.tm_sec &&
              r.weekday == tm.tm_wday && xp_time_dtrtolocal(&r) == v &&
              xp_time_localdoy(v) == tm.tm_yday && xp_time_dtrdoy(&r) == tm.tm_yday;
    if (!ok && ++bad <= 5)
      ADD_FAILURE() << "at POSIX " << q << ": " << r.year << "-" << r.month << "-" << r.day << " "
                    << r.hour << ":" << r.minute << ":" << r.second << " wd " << r.weekday;
  }
  EXPECT_EQ(bad, 0);
}

TEST(Calendar, EpochLeapDaysAndDaysOfTheYear) {
  xp_dtr r;
  xp_time_localtodtr(XP_TIME_POSIX_DELTA, &r);
  xp_dtr epoch = rec(1970, 1, 1);
  EXPECT_EQ(xp_time_comparedtr(&r, &epoch), 0);
  EXPECT_EQ(r.weekday, 4);
  EXPECT_EQ(xp_time_dtrtolocal(&r), XP_TIME_POSIX_DELTA);

  xp_dtr leap = rec(2000, 2, 29, 12);
  EXPECT_EQ(xp_time_dtrtolocal(&leap), value_of(2000, 2, 29, 12));
  xp_time_localtodtr(xp_time_dtrtolocal(&leap), &r);
  EXPECT_EQ(xp_time_comparedtr(&r, &leap), 0);
  xp_time_localtodtr(value_of(2000, 3, 1), &r);
  EXPECT_EQ(r.month, 3);
  EXPECT_EQ(r.day, 1);

  xp_dtr eoy = rec(2000, 12, 31);
  EXPECT_EQ(xp_time_dtrdoy(&eoy), 365);
  eoy.year = 2001;
  EXPECT_EQ(xp_time_dtrdoy(&eoy), 364);
  for (int y = 1970; y <= 2037; ++y) {
    xp_dtr jan1 = rec(static_cast<unsigned>(y), 1, 1);
    EXPECT_EQ(xp_time_localdoy(xp_time_dtrtolocal(&jan1)), 0) << y;
    if (y > 1970) {
      EXPECT_EQ(xp_time_localdoy(xp_time_dtrtolocal(&jan1) - 1), y % 4 == 1 ? 365 : 364) << y;
    }
  }
  // The library's calendar: 2038 is the last year, after 2037-12-31.
  xp_dtr y2038 = rec(2038, 1, 19, 3, 14, 7);
  EXPECT_EQ(xp_time_dtrtolocal(&y2038), value_of(2038, 1, 19, 3, 14, 7));
}

TEST(Calendar, ShortYearsAndTheRange) {
  xp_dtr full = rec(2024, 6, 15, 8, 30);
  xp_seconds v = xp_time_dtrtolocal(&full);
  EXPECT_EQ(v, value_of(2024, 6, 15, 8, 30));
  for (unsigned y : {24u, 124u}) {
    xp_dtr s = full;
    s.year = static_cast<uint16_t>(y);
    EXPECT_EQ(xp_time_dtrtolocal(&s), v) << y;
    EXPECT_EQ(xp_time_dtrdoy(&s), xp_time_dtrdoy(&full)) << y;
  }
  xp_dtr r = rec(85, 3, 1);  // two-digit 70...99: the 1900s
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(1985, 3, 1));
  r.year = 0;
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2000, 3, 1));
  r.year = 38;
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2038, 3, 1));
  for (unsigned y : {39u, 69u, 139u, 1899u, 2039u, 65535u}) {
    r.year = static_cast<uint16_t>(y);
    EXPECT_EQ(xp_time_dtrtolocal(&r), XP_TIME_OUT_OF_RANGE) << y;
    EXPECT_EQ(xp_time_dtrtoutc(&r), 0u) << y;
    EXPECT_EQ(xp_time_dtrdoy(&r), 0) << y;
  }
  r = rec(1969, 12, 31, 23);
  EXPECT_EQ(xp_time_dtrtolocal(&r), XP_TIME_POSIX_DELTA - 3600);
  // A month the tables do not hold is out of range, not a read past them.
  for (unsigned m : {0u, 13u, 200u}) {
    r = rec(2001, m, 1);
    EXPECT_EQ(xp_time_dtrtolocal(&r), XP_TIME_OUT_OF_RANGE) << m;
    EXPECT_EQ(xp_time_dtrdoy(&r), 0) << m;
  }
  EXPECT_EQ(xp_time_dtrtolocal(nullptr), XP_TIME_OUT_OF_RANGE);
  EXPECT_EQ(xp_time_dtrtoutc(nullptr), 0u);
  EXPECT_EQ(xp_time_dtrdoy(nullptr), 0);
  EXPECT_EQ(xp_time_localtodtr(12345, nullptr), 12345u);
}

TEST(Calendar, SmallFieldsCarry) {
  xp_dtr r = rec(2001, 3, 0);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2001, 2, 28));
  r = rec(2004, 3, 0);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2004, 2, 29));
  r = rec(2001, 1, 32);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2001, 2, 1));
  r = rec(2001, 5, 6, 10, 60);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2001, 5, 6, 11));
  r = rec(2001, 12, 31, 23, 59, 60);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2002, 1, 1));
  r = rec(2001, 5, 6, 48);
  EXPECT_EQ(xp_time_dtrtolocal(&r), value_of(2001, 5, 8));
}

TEST(Calendar, OrderingComparesStoredFieldsOnly) {
  xp_dtr a = rec(2010, 5, 6, 7, 8, 9), b = a;
  b.weekday = 3;
  EXPECT_EQ(xp_time_comparedtr(&a, &b), 0);
  uint16_t xp_dtr::*fields[] = {&xp_dtr::year, &xp_dtr::month,  &xp_dtr::day,
                                &xp_dtr::hour, &xp_dtr::minute, &xp_dtr::second};
  for (auto f : fields) {
    b = a;
    b.*f = static_cast<uint16_t>(b.*f + 1);
    EXPECT_EQ(xp_time_comparedtr(&a, &b), -1);
    EXPECT_EQ(xp_time_comparedtr(&b, &a), 1);
    // An earlier field outweighs every later one.
    b.second = 0;
    if (f != &xp_dtr::second) {
      EXPECT_EQ(xp_time_comparedtr(&b, &a), 1);
    }
  }
  b = a;
  b.year = 110;  // the same year in its short form still differs
  EXPECT_EQ(xp_time_comparedtr(&a, &b), 1);
  b = a;
  b.second = 65535;  // unsigned: the largest stored value sorts last
  EXPECT_EQ(xp_time_comparedtr(&a, &b), -1);
  EXPECT_EQ(xp_time_comparedtr(nullptr, &a), -1);
  EXPECT_EQ(xp_time_comparedtr(&a, nullptr), 1);
  EXPECT_EQ(xp_time_comparedtr(nullptr, nullptr), 0);
}

TEST(Calendar, SameDayMonthYearOfValuesAndRecords) {
  xp_seconds v = value_of(2012, 2, 29, 23, 59, 59);
  EXPECT_EQ(xp_time_localsameday(v, v - 86399), 1);
  EXPECT_EQ(xp_time_localsameday(v, v + 1), 0);
  EXPECT_EQ(xp_time_localsamemonth(v, v + 1), 0);
  EXPECT_EQ(xp_time_localsameyear(v, v + 1), 1);
  EXPECT_EQ(xp_time_localsamemonth(v, value_of(2012, 2, 1)), 1);
  EXPECT_EQ(xp_time_localsamemonth(v, value_of(2013, 2, 1)), 0);
  EXPECT_EQ(xp_time_localsameyear(v, value_of(2013, 1, 1)), 0);

  xp_dtr a = rec(2012, 2, 29, 1), b = rec(2012, 2, 29, 22), c = rec(2012, 3, 29, 1);
  EXPECT_EQ(xp_time_dtrsameday(&a, &b), 1);
  EXPECT_EQ(xp_time_dtrsameday(&a, &c), 0);
  EXPECT_EQ(xp_time_dtrsamemonth(&a, &c), 0);
  EXPECT_EQ(xp_time_dtrsameyear(&a, &c), 1);
  b.year = 112;  // as stored: not the same year
  EXPECT_EQ(xp_time_dtrsameyear(&a, &b), 0);
}

// 0 and null stand for now. Retried when the day ends between the calls.
TEST(Calendar, NowStandsForZeroAndNull) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    xp_dtr now;
    xp_seconds utc = xp_time_getdtr(&now);
    ASSERT_NE(utc, 0u);
    xp_seconds local = xp_time_getlocal();
    xp_dtr again;
    xp_time_getdtr(&again);
    if (!xp_time_dtrsameday(&now, &again)) continue;
    EXPECT_EQ(xp_time_utcsameday(0, xp_time_getutc()), 1);
    EXPECT_EQ(xp_time_utcsameday(utc, 0), 1);
    EXPECT_EQ(xp_time_localsameday(0, local), 1);
    EXPECT_EQ(xp_time_localsamemonth(local, 0), 1);
    EXPECT_EQ(xp_time_localsameyear(0, 0), 1);
    EXPECT_EQ(xp_time_dtrsameday(nullptr, &now), 1);
    EXPECT_EQ(xp_time_dtrsamemonth(&now, nullptr), 1);
    EXPECT_EQ(xp_time_utcsameday(0, utc - 86400 * 2), 0);
    EXPECT_EQ(xp_time_localsameyear(0, local - 86400 * 400), 0);
    xp_dtr past = now;
    past.year = static_cast<uint16_t>(past.year - 1);
    EXPECT_EQ(xp_time_dtrsameyear(nullptr, &past), 0);
    return;
  }
  FAIL() << "the day kept changing";
}

TEST(Calendar, ClockAsARecord) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    time_t before = time(nullptr);
    xp_dtr r;
    xp_seconds utc = xp_time_getdtr(&r);
    if (time(nullptr) != before) continue;
    struct tm tm;
    ASSERT_NE(localtime_r(&before, &tm), nullptr);
    EXPECT_EQ(utc, static_cast<xp_seconds>(before) + XP_TIME_POSIX_DELTA);
    EXPECT_EQ(r.year, tm.tm_year + 1900);
    EXPECT_EQ(r.month, tm.tm_mon + 1);
    EXPECT_EQ(r.day, tm.tm_mday);
    EXPECT_EQ(r.hour, tm.tm_hour);
    EXPECT_EQ(r.minute, tm.tm_min);
    EXPECT_EQ(r.second, tm.tm_sec);
    EXPECT_EQ(r.weekday, tm.tm_wday);
    EXPECT_EQ(xp_time_getdtr(nullptr) - utc < 2, true);
    return;
  }
  FAIL() << "the clock kept ticking";
}

}  // namespace
