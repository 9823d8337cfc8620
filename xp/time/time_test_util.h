// Test helpers of the time texts: records and their fields as text.
#ifndef XP_TIME_TEST_UTIL_H
#define XP_TIME_TEST_UTIL_H

#include <stdio.h>
#include <time.h>

#include <string>

#include "xp/time/xp_time_internal.h"
#include "xp/xp_test_util.h"

namespace xpt_test {

// A record with its weekday filled.
inline xp_dtr record(int y, int mo, int d, int h, int mi, int s) {
  xp_dtr r{uint16_t(y), uint16_t(mo), uint16_t(d), uint16_t(h), uint16_t(mi), uint16_t(s), 0};
  xp_time_localtodtr(xp_time_dtrtolocal(&r), &r);
  return r;
}

// The value of a UTC wall time, by timegm.
inline xp_seconds utc_of(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  struct tm tm {};
  tm.tm_year = y - 1900, tm.tm_mon = mo - 1, tm.tm_mday = d;
  tm.tm_hour = h, tm.tm_min = mi, tm.tm_sec = s;
  return static_cast<xp_seconds>(timegm(&tm)) + XP_TIME_POSIX_DELTA;
}

inline std::string fields(const xp_dtr &r) {
  char buf[64];
  snprintf(buf, sizeof buf, "%04u-%02u-%02u %02u:%02u:%02u", r.year, r.month, r.day, r.hour,
           r.minute, r.second);
  return buf;
}

}  // namespace xpt_test

#endif  // XP_TIME_TEST_UTIL_H
