// The calendar: short years, carries, range, ordering, same day (its
// sweep against the C library is in time_format_test.cpp).
#include <gtest/gtest.h>

#include "xp/time/time_test_util.h"

namespace {

using xpt_test::utc_of;

xp_dtr rec(unsigned y, unsigned mo, unsigned d, unsigned h = 0, unsigned mi = 0, unsigned s = 0) {
  return xp_dtr{uint16_t(y), uint16_t(mo), uint16_t(d), uint16_t(h), uint16_t(mi), uint16_t(s), 0};
}

TEST(Calendar, YearsCarriesAndRange) {
  const std::pair<xp_dtr, xp_seconds> cases[] = {
      {rec(24, 6, 15, 8, 30), utc_of(2024, 6, 15, 8, 30)},   // 00...69: 2000s
      {rec(124, 6, 15, 8, 30), utc_of(2024, 6, 15, 8, 30)},  // years since 1900
      {rec(38, 1, 19, 3, 14, 7), utc_of(2038, 1, 19, 3, 14, 7)},
      {rec(1969, 12, 31, 23), XP_TIME_POSIX_DELTA - 3600},
      {rec(2001, 3, 0), utc_of(2001, 2, 28)},  // day 0: last of the month before
      {rec(2001, 5, 6, 10, 60), utc_of(2001, 5, 6, 11)},
      {rec(2001, 12, 31, 23, 59, 60), utc_of(2002, 1, 1)},
      {rec(39, 1, 1), XP_TIME_OUT_OF_RANGE},
      {rec(2039, 1, 1), XP_TIME_OUT_OF_RANGE},
      {rec(2001, 0, 1), XP_TIME_OUT_OF_RANGE},  // months the tables do not hold
      {rec(2001, 13, 1), XP_TIME_OUT_OF_RANGE},
  };
  for (const auto &[in, expected] : cases) {
    EXPECT_EQ(xp_time_dtrtolocal(&in), expected) << in.year << "-" << in.month;
    EXPECT_TRUE(expected != XP_TIME_OUT_OF_RANGE ||
                xp_time_dtrtoutc(&in) + xp_time_dtrdoy(&in) == 0);
  }
  EXPECT_EQ(xp_time_dtrtolocal(nullptr), XP_TIME_OUT_OF_RANGE);
  xp_dtr r = rec(1, 12, 31);
  EXPECT_EQ(xp_time_dtrdoy(&r), 364);
  EXPECT_EQ(xp_time_localtodtr(12345, nullptr), 12345u);
}

TEST(Calendar, OrderingAndSameDay) {
  xp_dtr a = rec(2010, 5, 6, 7, 8, 9), b = a;
  b.weekday = 3;
  EXPECT_EQ(xp_time_comparedtr(&a, &b), 0);
  uint16_t xp_dtr::*fields[] = {&xp_dtr::year, &xp_dtr::month,  &xp_dtr::day,
                                &xp_dtr::hour, &xp_dtr::minute, &xp_dtr::second};
  for (auto f : fields) {
    b = a;
    b.*f = uint16_t(b.*f + 1);
    b.second = f == &xp_dtr::second ? b.second : 0;  // an earlier field outweighs later ones
    EXPECT_EQ(xp_time_comparedtr(&a, &b) * 2 + xp_time_comparedtr(&b, &a), -1);
  }
  b.year = 110;  // the short form of the same year is another year here
  EXPECT_EQ(xp_time_comparedtr(&a, &b) * 2 + xp_time_comparedtr(nullptr, &a), 1);
  EXPECT_EQ(xp_time_dtrsameyear(&a, &b), 0);
  xp_seconds v = utc_of(2012, 2, 29, 23, 59, 59);
  EXPECT_EQ(xp_time_localsameday(v, v - 86399) * 2 + xp_time_localsameday(v, v + 1), 2);
  EXPECT_EQ(xp_time_localsamemonth(v, utc_of(2012, 2, 1)), 1);
  EXPECT_EQ(xp_time_localsameyear(v, utc_of(2013, 1, 1)), 0);
  // 0 and null stand for now (retried when the day ends in between).
  for (int attempt = 0; attempt < 3; ++attempt) {
    xp_dtr now, again;
    xp_seconds utc = xp_time_getdtr(&now), local = xp_time_getlocal();
    xp_time_getdtr(&again);
    if (!xp_time_dtrsameday(&now, &again)) continue;
    EXPECT_EQ(xp_time_utcsameday(0, utc) + xp_time_localsameday(local, 0) +
                  xp_time_dtrsameday(nullptr, &now) + xp_time_utcsamemonth(utc, 0),
              4);
    return;
  }
  FAIL() << "the day kept changing";
}

}  // namespace
