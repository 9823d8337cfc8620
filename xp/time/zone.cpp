// The zone: the lock, the clock, the per-second caches of the current offset
// and daylight-saving amount, the system's answers for any instant, the zone
// table and the offsets and amounts taken from it.
//
// The system is asked through localtime_r. A wall-clock time is resolved as
// mktime does, at the instant whose offset reads it: a time repeated by a
// change is the first of its two instants, a time skipped by a change is
// read with the offset before the change (02:30 in a spring-forward gap of
// one hour is 03:30 daylight time).
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include "xp/time/xp_time_internal.h"

namespace xpt {

namespace {

inline void cpu_relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

constexpr long long kDelta = static_cast<long long>(XP_TIME_POSIX_DELTA);
constexpr long long kFirstPosix = -kDelta;
constexpr long long kLastPosix = static_cast<long long>(kTableLast) - kDelta;

// Guarded by the lock.
unsigned long g_raw_queries = 0;
time_t xt_lastcheck = 0;  // the second at which the zone was last read
long xt_lastgmto = 0;
long xt_lastdst = 0;
xt_table *xt_table_now = nullptr;
char xt_tz[256];  // TZ when the table was built ("\1" when unset)

bool query(long long posix, long *offset, int *isdst) {
  ++g_raw_queries;
  time_t t = static_cast<time_t>(posix);
  struct tm tm;
  if (!localtime_r(&t, &tm)) return false;
  *offset = tm.tm_gmtoff;
  *isdst = tm.tm_isdst > 0;
  return true;
}

long offset_at(long long posix) {
  long offset = 0;
  int isdst = 0;
  query(posix, &offset, &isdst);
  return offset;
}

// The daylight-saving amount at an instant as the table holds it, asked
// of the system: the standard time nearest before is found by stepping
// back as the table samples (no stretch of time is shorter), else after.
long amount_at(long long posix) {
  long offset = 0, other = 0;
  int isdst = 0, flag = 0;
  if (!query(posix, &offset, &isdst) || !isdst) return 0;
  const long long step = static_cast<long long>(kSampleStep);
  for (long long p = posix - step; p > kFirstPosix - step; p -= step)
    if (query(p < kFirstPosix ? kFirstPosix : p, &other, &flag) && !flag) return offset - other;
  for (long long p = posix + step; p < kLastPosix + step; p += step)
    if (query(p > kLastPosix ? kLastPosix : p, &other, &flag) && !flag) return offset - other;
  return XP_TIME_DST_AMOUNT;
}

// An instant whose offset reads a wall-clock time (given as POSIX seconds),
// asked of the system: the instant itself, or for a skipped time one before
// the change. No two changes lie within two days, so the offsets a day
// before and after are the only candidates.
long long resolve(long long wall) {
  long before = offset_at(wall - 86400), after = offset_at(wall + 86400);
  if (before == after || offset_at(wall - before) == before) return wall - before;
  if (offset_at(wall - after) == after) return wall - after;
  return wall - 86400;
}

inline long long floor_div(long long a, long long b) {
  long long q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// Seconds since 1970-01-01 00:00:00 of a wall-clock date in the library's
// calendar. The month carries into the year, the other fields into the
// next unit.
long long wall_seconds(long long year, long month, long day, long hour, long minute, long second) {
  long long m0 = month - 1;
  year += floor_div(m0, 12);
  m0 -= floor_div(m0, 12) * 12;
  long long days = 365 * (year - 1970) + floor_div(year - 1, 4) - 492;
  days += xt_days[m0] + day;
  if (year - floor_div(year, 4) * 4 == 0 && m0 >= 2) ++days;
  return ((days * 24 + hour) * 60 + minute) * 60 + second;
}

// The wall-clock time of a record as POSIX seconds: short years as the
// calendar reads them (00...69 are 2000...2069), the smaller fields narrowed
// to 8 bits as the system's calendar takes them.
long long record_wall(const xp_dtr *dtr) {
  long long year = dtr->year < 70     ? dtr->year + 2000
                   : dtr->year < 1900 ? dtr->year + 1900
                                      : dtr->year;
  return wall_seconds(year, static_cast<uint8_t>(dtr->month), static_cast<uint8_t>(dtr->day),
                      static_cast<uint8_t>(dtr->hour), static_cast<uint8_t>(dtr->minute),
                      dtr->second);
}

// The current zone rules are reloaded (a changed TZ or zone file is seen)
// before the current time is put to the system.
bool local_now(time_t now, struct tm *tm) {
  tzset();
  return localtime_r(&now, tm) != nullptr;
}

void tz_now(char out[256]) {
  const char *tz = getenv("TZ");
  if (!tz) tz = "\1";
  size_t n = strnlen(tz, 255);
  memcpy(out, tz, n);
  out[n] = 0;
}

void drop_table() {
  xp_free(xt_table_now);
  xt_table_now = nullptr;
}

// The table of the zone, built on first use; null when memory ran out.
const xt_table *table_locked() {
  if (!xt_table_now) {
    xt_table_now = table_build(query);
    tz_now(xt_tz);
  }
  return xt_table_now;
}

// Offset and amount of a utc or local value, from the table inside its
// range, else from the system.
const xt_segment *utc_segment(xp_seconds utc) {
  const xt_table *t = utc <= kTableLast ? table_locked() : nullptr;
  return t ? table_utc(t, utc) : nullptr;
}

const xt_segment *local_segment(xp_seconds local) {
  const xt_table *t = local <= kTableLast ? table_locked() : nullptr;
  return t ? table_local(t, local) : nullptr;
}

long utc_offset(xp_seconds utc) {
  const xt_segment *s = utc_segment(utc);
  return s ? s->offset : offset_at(static_cast<long long>(utc) - kDelta);
}

long local_offset(xp_seconds local) {
  const xt_segment *s = local_segment(local);
  if (s) return s->offset;
  return offset_at(resolve(static_cast<long long>(local) - kDelta));
}

long utc_amount(xp_seconds utc) {
  const xt_segment *s = utc_segment(utc);
  return s ? s->amount : amount_at(static_cast<long long>(utc) - kDelta);
}

long local_amount(xp_seconds local) {
  const xt_segment *s = local_segment(local);
  return s ? s->amount : amount_at(resolve(static_cast<long long>(local) - kDelta));
}

// Reads the zone at most once a second. The table is dropped when the zone
// is another one: another TZ, or an offset now that the table does not
// hold.
void check_locked(time_t now) {
  if (now == xt_lastcheck) return;
  xt_lastcheck = now;
  struct tm tm;
  if (!local_now(now, &tm)) return;
  if (xt_table_now) {
    char tz[256];
    tz_now(tz);
    long long v = static_cast<long long>(now) + kDelta;
    const xt_segment *s = v >= 0 && v <= static_cast<long long>(kTableLast)
                              ? table_utc(xt_table_now, static_cast<xp_seconds>(v))
                              : nullptr;
    if (strcmp(tz, xt_tz) != 0 || (s && s->offset != tm.tm_gmtoff)) drop_table();
  }
  xt_lastgmto = tm.tm_gmtoff;
  xt_lastdst = tm.tm_isdst > 0 ? utc_amount(static_cast<xp_seconds>(now + kDelta)) : 0;
}

}  // namespace

// A spin lock: taking it is one atomic exchange when free, which keeps the
// cached conversions well below the cost of one localtime_r. Holders never
// block except while a table is built (a few thousand system queries), so
// waiters spin briefly and then yield.
std::atomic<bool> g_lock{false};

void lock_contended() {
  for (unsigned spins = 0;;) {
    while (g_lock.load(std::memory_order_relaxed)) {
      if (++spins < 100)
        cpu_relax();
      else
        sched_yield();
    }
    if (!g_lock.exchange(true, std::memory_order_acquire)) return;
  }
}

long gmto_locked(time_t now) {
  check_locked(now);
  return xt_lastgmto;
}

long dst_locked(time_t now) {
  check_locked(now);
  return xt_lastdst;
}

xp_seconds utctolocal_locked(xp_seconds utc, time_t now) {
  check_locked(now);
  return utc + static_cast<xp_seconds>(utc_offset(utc));
}

bool now_record(xp_dtr *dtr) {
  *dtr = xp_dtr{};
  struct tm tm;
  {
    // Under the zone lock like every other reload of the zone rules, so
    // that one thread's reload never overlaps another's.
    Locked guard;
    if (!local_now(time(nullptr), &tm)) return false;
  }
  dtr->year = static_cast<uint16_t>(tm.tm_year < 1900 ? tm.tm_year + 1900 : tm.tm_year);
  dtr->month = static_cast<uint16_t>(tm.tm_mon + 1);
  dtr->day = static_cast<uint16_t>(tm.tm_mday);
  dtr->hour = static_cast<uint16_t>(tm.tm_hour);
  dtr->minute = static_cast<uint16_t>(tm.tm_min);
  dtr->second = static_cast<uint16_t>(tm.tm_sec);
  dtr->weekday = static_cast<uint16_t>(tm.tm_wday);
  return true;
}

// Offsets of local values and records, for the calendar (the lock held).
long local_offset_locked(xp_seconds local, time_t now) {
  check_locked(now);
  return local_offset(local);
}

long record_offset_locked(const xp_dtr *dtr, time_t now) {
  check_locked(now);
  return local_offset(static_cast<xp_seconds>(record_wall(dtr) + kDelta));
}

unsigned long raw_query_count() {
  Locked guard;
  return g_raw_queries;
}
const xt_table *zone_table() {
  Locked guard;
  return xt_table_now;
}
void zone_reset() {
  Locked guard;
  tzset();
  drop_table();
  xt_lastcheck = 0;
}

}  // namespace xpt

using xpt::Locked;

extern "C" {

xp_seconds xp_time_getutc(void) {
  return static_cast<xp_seconds>(time(nullptr)) + XP_TIME_POSIX_DELTA;
}

xp_seconds xp_time_getlocal(void) {
  Locked guard;
  time_t now = time(nullptr);
  return static_cast<xp_seconds>(now) + static_cast<xp_seconds>(xpt::gmto_locked(now)) +
         XP_TIME_POSIX_DELTA;
}

xp_seconds xp_time_setutc(xp_seconds utc) {
  struct timeval tv;
  tv.tv_sec = static_cast<time_t>(static_cast<long>(utc - XP_TIME_POSIX_DELTA));
  tv.tv_usec = 0;
  (void)settimeofday(&tv, nullptr);
  return xp_time_getutc();
}

long xp_time_getgmto(void) {
  Locked guard;
  return xpt::gmto_locked(time(nullptr));
}

long xp_time_getdst(void) {
  Locked guard;
  return xpt::dst_locked(time(nullptr));
}

long xp_time_gettz(void) {
  Locked guard;
  time_t now = time(nullptr);
  long gmto = xpt::gmto_locked(now);
  return xpt::dst_locked(now) - gmto;
}

long xp_time_gettzname(char *buffer, long size) {
  struct tm tm;
  const char *name = nullptr;
  tzset();
  time_t now = time(nullptr);
  if (localtime_r(&now, &tm)) name = tm.tm_zone;
  long length = 0;
  if (name)
    while (name[length])
      ++length;
  if (!buffer) return length;
  if (size <= 0) return 0;
  long n = length < size - 1 ? length : size - 1;
  for (long i = 0; i < n; ++i)
    buffer[i] = name[i];
  buffer[n] = '\0';
  return n;
}

// A time value of 0 drops the table and is answered by the system.
long xp_time_localdst(xp_seconds local) {
  Locked guard;
  xpt::check_locked(time(nullptr));
  if (local == 0) xpt::drop_table();
  return local ? xpt::local_amount(local)
               : xpt::amount_at(xpt::resolve(-static_cast<long long>(XP_TIME_POSIX_DELTA)));
}

long xp_time_localdst_raw(xp_seconds local) {
  Locked guard;
  return xpt::amount_at(xpt::resolve(static_cast<long long>(local - XP_TIME_POSIX_DELTA)));
}

long xp_time_utcdst(xp_seconds utc) {
  Locked guard;
  xpt::check_locked(time(nullptr));
  if (utc == 0) xpt::drop_table();
  return utc ? xpt::utc_amount(utc) : xpt::amount_at(-static_cast<long long>(XP_TIME_POSIX_DELTA));
}

long xp_time_utcdst_raw(xp_seconds utc) {
  Locked guard;
  return xpt::amount_at(static_cast<long long>(utc - XP_TIME_POSIX_DELTA));
}

long xp_time_dtrdst(const xp_dtr *dtr) {
  if (!dtr) return 0;
  Locked guard;
  return xpt::amount_at(xpt::resolve(xpt::record_wall(dtr)));
}

long xp_time_dtrgmto(const xp_dtr *dtr) {
  if (!dtr) return xp_time_getgmto();
  Locked guard;
  return xpt::record_offset_locked(dtr, time(nullptr));
}

long xp_time_localgmto(xp_seconds local) {
  Locked guard;
  return xpt::local_offset_locked(local, time(nullptr));
}

long xp_time_utcgmto(xp_seconds utc) {
  Locked guard;
  xpt::check_locked(time(nullptr));
  return xpt::utc_offset(utc);
}

}  // extern "C"
