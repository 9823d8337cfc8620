// The library's calendar: local values to records and back, the day of the
// year, the conversions between utc and local values, the clock as a record,
// and the ordering and same-day tests of records.
#include <sys/time.h>

#include "xp/time/xp_time_internal.h"

static_assert(sizeof(xp_dtr) == 14, "a record is seven 16-bit fields without padding");
static_assert(sizeof(xp_seconds) == sizeof(long), "a time value is as wide as long");

namespace xpt {

const int32_t xt_days[13] = {-1, 30, 58, 89, 119, 150, 180, 211, 242, 272, 303, 333, 364};
const int32_t xt_mdays[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

long normal_year(unsigned year) {
  long n;
  if (year < 70)
    n = static_cast<long>(year) + 100;  // two-digit years 00...69: 2000...2069
  else if (year < 1900)
    n = static_cast<long>(year);  // years since 1900 (two-digit 70...99 included)
  else
    n = static_cast<long>(year) - 1900;
  return n > 138 ? -1 : n;
}

}  // namespace xpt

namespace {

constexpr xp_seconds kDay = 86400;
constexpr xp_seconds kYear = 31536000;      // 365 days
constexpr xp_seconds kLeapYear = 31622400;  // 366 days
constexpr xp_seconds kCycle = 126230400;    // 1461 days: 1970, 1971, 1972 (leap), 1973

// Record of a time value, or of now when it is 0; of utc values through the
// local wall clock.
void utc_record(xp_seconds utc, xp_dtr *r) {
  if (utc)
    xp_time_utctodtr(utc, r);
  else
    xpt::now_record(r);
}

void local_record(xp_seconds local, xp_dtr *r) {
  if (local)
    xp_time_localtodtr(local, r);
  else
    xpt::now_record(r);
}

const xp_dtr *record_or_now(const xp_dtr *given, xp_dtr *now) {
  if (given) return given;
  xpt::now_record(now);
  return now;
}

enum Depth { kSameYear, kSameMonth, kSameDay };

int same(const xp_dtr *a, const xp_dtr *b, Depth depth) {
  if (a->year != b->year) return 0;
  if (depth >= kSameMonth && a->month != b->month) return 0;
  if (depth >= kSameDay && a->day != b->day) return 0;
  return 1;
}

int same_utc(xp_seconds a, xp_seconds b, Depth depth) {
  xp_dtr ra, rb;
  utc_record(a, &ra);
  utc_record(b, &rb);
  return same(&ra, &rb, depth);
}

int same_local(xp_seconds a, xp_seconds b, Depth depth) {
  xp_dtr ra, rb;
  local_record(a, &ra);
  local_record(b, &rb);
  return same(&ra, &rb, depth);
}

int same_dtr(const xp_dtr *a, const xp_dtr *b, Depth depth) {
  xp_dtr na, nb;
  return same(record_or_now(a, &na), record_or_now(b, &nb), depth);
}

}  // namespace

extern "C" {

xp_seconds xp_time_localtodtr(xp_seconds local, xp_dtr *dtr) {
  if (!dtr) return local;
  if (local < XP_TIME_POSIX_DELTA) {
    // 1904...1969: the same days 68 years (17 cycles, 24837 days) later,
    // which start a weekday later.
    xp_time_localtodtr(local + 17 * kCycle, dtr);
    dtr->year = static_cast<uint16_t>(dtr->year - 68);
    dtr->weekday = static_cast<uint16_t>((dtr->weekday + 6) % 7);
    return local;
  }
  xp_seconds s = local - XP_TIME_POSIX_DELTA;
  xp_seconds c = s / kCycle;
  xp_seconds r = s - c * kCycle;
  xp_seconds year = 1970 + 4 * c;
  bool leap = false;
  if (r >= kYear) {
    r -= kYear;
    ++year;
    if (r >= kYear) {
      r -= kYear;
      ++year;
      if (r < kLeapYear) {
        leap = true;
      } else {
        r -= kLeapYear;
        ++year;
      }
    }
  }
  auto d = static_cast<int32_t>(r / kDay);
  auto t = static_cast<uint32_t>(r % kDay);
  uint16_t month, day;
  if (leap && d == 59) {
    month = 2;
    day = 29;
  } else {
    if (leap && d > 59) --d;
    int m = 1;
    while (xpt::xt_days[m] < d)
      ++m;
    month = static_cast<uint16_t>(m);
    day = static_cast<uint16_t>(d - xpt::xt_days[m - 1]);
  }
  dtr->year = static_cast<uint16_t>(year);
  dtr->month = month;
  dtr->day = day;
  dtr->hour = static_cast<uint16_t>(t / 3600);
  dtr->minute = static_cast<uint16_t>(t % 3600 / 60);
  dtr->second = static_cast<uint16_t>(t % 60);
  dtr->weekday = static_cast<uint16_t>((s / kDay + 4) % 7);  // 1970-01-01 was a Thursday
  return local;
}

xp_seconds xp_time_dtrtolocal(const xp_dtr *dtr) {
  if (!dtr || dtr->month < 1 || dtr->month > 12) return XP_TIME_OUT_OF_RANGE;
  long n = xpt::normal_year(dtr->year);
  if (n < 0) return XP_TIME_OUT_OF_RANGE;
  // Days since 1899-12-31: leap days of the years before n (1900 counted as
  // a leap year, so n = 0 gives -1), then the day of the year.
  long long days = 365LL * n + ((n - 1) >> 2) + dtr->day + xpt::xt_days[dtr->month - 1] +
                   (n % 4 == 0 && dtr->month > 2 ? 1 : 0);
  long long value = ((days * 24 + dtr->hour) * 60 + dtr->minute) * 60 + dtr->second - 126144000LL;
  return static_cast<xp_seconds>(value);
}

xp_seconds xp_time_utctodtr(xp_seconds utc, xp_dtr *dtr) {
  xp_seconds local;
  {
    xpt::Locked guard;
    local = xpt::utctolocal_locked(utc, time(nullptr));
  }
  xp_time_localtodtr(local, dtr);
  return utc;
}

xp_seconds xp_time_dtrtoutc(const xp_dtr *dtr) {
  xp_seconds local = xp_time_dtrtolocal(dtr);
  if (local == XP_TIME_OUT_OF_RANGE) return 0;
  xpt::Locked guard;
  return local - static_cast<xp_seconds>(xpt::local_offset_locked(local, time(nullptr)));
}

xp_seconds xp_time_utctolocal(xp_seconds utc) {
  xpt::Locked guard;
  return xpt::utctolocal_locked(utc, time(nullptr));
}

xp_seconds xp_time_localtoutc(xp_seconds local) {
  xpt::Locked guard;
  return local - static_cast<xp_seconds>(xpt::local_offset_locked(local, time(nullptr)));
}

xp_seconds xp_time_getdtr(xp_dtr *dtr) {
  xp_dtr r;
  bool known = xpt::now_record(&r);
  if (dtr) *dtr = r;
  return known ? xp_time_getutc() : 0;
}

xp_seconds xp_time_setdtr(const xp_dtr *dtr) {
  xp_seconds utc = xp_time_dtrtoutc(dtr);
  if (utc) xp_time_setutc(utc);
  return xp_time_getutc();
}

int xp_time_dtrdoy(const xp_dtr *dtr) {
  if (!dtr || dtr->month < 1 || dtr->month > 12) return 0;
  long n = xpt::normal_year(dtr->year);
  if (n < 0) return 0;
  return xpt::xt_days[dtr->month - 1] + dtr->day + (n % 4 == 0 && dtr->month > 2 ? 1 : 0);
}

int xp_time_localdoy(xp_seconds local) {
  if (local < XP_TIME_POSIX_DELTA) local += 17 * kCycle;  // 68 years on: the same days
  xp_seconds r = (local - XP_TIME_POSIX_DELTA) % kCycle;
  if (r < kYear) return static_cast<int>(r / kDay);
  if (r - kYear < kYear) return static_cast<int>((r - kYear) / kDay);
  if (r - 2 * kYear < kLeapYear) return static_cast<int>((r - 2 * kYear) / kDay);
  return static_cast<int>((r - 2 * kYear - kLeapYear) / kDay);
}

int xp_time_utcdoy(xp_seconds utc) {
  return xp_time_localdoy(xp_time_utctolocal(utc));
}

int xp_time_comparedtr(const xp_dtr *a, const xp_dtr *b) {
  if (!a || !b) return a == b ? 0 : (a ? 1 : -1);
  const uint16_t fa[6] = {a->year, a->month, a->day, a->hour, a->minute, a->second};
  const uint16_t fb[6] = {b->year, b->month, b->day, b->hour, b->minute, b->second};
  for (int i = 0; i < 6; ++i)
    if (fa[i] != fb[i]) return fa[i] > fb[i] ? 1 : -1;
  return 0;
}

int xp_time_utcsameday(xp_seconds a, xp_seconds b) {
  return same_utc(a, b, kSameDay);
}
int xp_time_localsameday(xp_seconds a, xp_seconds b) {
  return same_local(a, b, kSameDay);
}
int xp_time_dtrsameday(const xp_dtr *a, const xp_dtr *b) {
  return same_dtr(a, b, kSameDay);
}
int xp_time_utcsamemonth(xp_seconds a, xp_seconds b) {
  return same_utc(a, b, kSameMonth);
}
int xp_time_localsamemonth(xp_seconds a, xp_seconds b) {
  return same_local(a, b, kSameMonth);
}
int xp_time_dtrsamemonth(const xp_dtr *a, const xp_dtr *b) {
  return same_dtr(a, b, kSameMonth);
}
int xp_time_utcsameyear(xp_seconds a, xp_seconds b) {
  return same_utc(a, b, kSameYear);
}
int xp_time_localsameyear(xp_seconds a, xp_seconds b) {
  return same_local(a, b, kSameYear);
}
int xp_time_dtrsameyear(const xp_dtr *a, const xp_dtr *b) {
  return same_dtr(a, b, kSameYear);
}

}  // extern "C"
