// The zone: the lock, the clock, the per-second caches of the current offset
// and daylight-saving flag, the raw daylight-saving queries, the cached
// lookup in the interval tables, and the offsets derived from them.
//
// The system is asked through localtime_r: the daylight-saving flag of a
// wall-clock time is the tm_isdst of the instant that the wall-clock time
// names under the zone's standard offset of now.
#include <sched.h>
#include <sys/time.h>

#include <cstring>

#include "xp/time/xp_time_internal.h"

namespace xpt {

namespace {

inline void cpu_relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

unsigned long g_raw_queries = 0;  // guarded by the lock

// Guarded by the lock.
time_t xt_lastgmtocheck = 0;
long xt_lastgmto = 0;
time_t xt_lastdstcheck = 0;
unsigned char xt_lastdst = 0;
xt_table *xt_local_probe = nullptr;
xt_table *xt_utc_probe = nullptr;
long xt_dst_bias = -1;
signed char xt_dst_hemisphere = 0;
// Non-zero while a table is built or searched, or while the tables are
// rebuilt after an offset change: the offset is then not read again, so no
// nested call can drop a table that an outer one is using.
int xt_busy = 0;

void set_dst(unsigned char dst) {
  if (dst != xt_lastdst) zone_changed();
  xt_lastdst = dst;
}

// The daylight-saving amount at a POSIX instant, asked of the system.
long isdst_at(long long posix) {
  ++g_raw_queries;
  time_t t = static_cast<time_t>(posix);
  struct tm tm;
  if (!localtime_r(&t, &tm)) return 0;
  return tm.tm_isdst > 0 ? XP_TIME_DST_AMOUNT : 0;
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

// The standard offset of now. Inside a lookup the offset is not read again,
// and the flag read with it is taken along, so both belong to one second.
long std_offset_locked() {
  if (xt_busy) return xt_lastgmto - (xt_lastdst ? XP_TIME_DST_AMOUNT : 0);
  time_t now = time(nullptr);
  return gmto_locked(now) - dst_locked(now);
}

// The current zone rules are reloaded (a changed TZ or zone file is seen)
// before the current time is put to the system.
bool local_now(time_t now, struct tm *tm) {
  tzset();
  return localtime_r(&now, tm) != nullptr;
}

void hemisphere_check_locked() {
  time_t now = time(nullptr);
  struct tm tm;
  long from_fields = 0;
  if (local_now(now, &tm)) {
    xp_dtr r = {static_cast<uint16_t>(tm.tm_year + 1900), static_cast<uint16_t>(tm.tm_mon + 1),
                static_cast<uint16_t>(tm.tm_mday),        static_cast<uint16_t>(tm.tm_hour),
                static_cast<uint16_t>(tm.tm_min),         static_cast<uint16_t>(tm.tm_sec),
                static_cast<uint16_t>(tm.tm_wday)};
    from_fields = dtrdst_locked(&r);
  }
  xt_dst_hemisphere = from_fields == dst_locked(now) ? 1 : -1;
}

}  // namespace

// A spin lock: taking it is one atomic exchange when free, which keeps the
// cached conversions well below the cost of one localtime_r. Holders never
// block except while a table is built (some hundred system queries), so
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
  if (xt_busy || now == xt_lastgmtocheck) return xt_lastgmto;
  xt_lastgmtocheck = now;
  struct tm tm;
  if (!local_now(now, &tm)) return xt_lastgmto;
  // The flag of the same second comes from the same reading, so that the
  // standard offset (offset minus flag) never mixes two zones' rules.
  xt_lastdstcheck = now;
  set_dst(tm.tm_isdst > 0 ? 1 : 0);
  if (tm.tm_gmtoff == xt_lastgmto) return xt_lastgmto;
  // The offset changed (first use outside UTC, another zone, or a switch):
  // both tables describe the old rules. Drop them and build the local one
  // again at once.
  xt_lastgmto = tm.tm_gmtoff;
  zone_changed();
  xp_free(xt_local_probe);
  xt_local_probe = nullptr;
  xp_free(xt_utc_probe);
  xt_utc_probe = nullptr;
  ++xt_busy;
  xp_dtr r;
  xp_time_localtodtr(utctolocal_locked(0, now), &r);
  dtrdst_locked(&r);
  --xt_busy;
  return xt_lastgmto;
}

long dst_locked(time_t now) {
  if (now != xt_lastdstcheck) {
    xt_lastdstcheck = now;
    struct tm tm;
    set_dst(local_now(now, &tm) && tm.tm_isdst > 0 ? 1 : 0);
  }
  return xt_lastdst ? XP_TIME_DST_AMOUNT : 0;
}

long dtrdst_locked(const xp_dtr *dtr) {
  if (!dtr) return 0;
  // The fields as a date of the system's calendar takes them: short years
  // counted from 1900, the smaller fields narrowed to 8 bits.
  long long year = dtr->year < 1900 ? dtr->year + 1900 : dtr->year;
  long long wall =
      wall_seconds(year, static_cast<uint8_t>(dtr->month), static_cast<uint8_t>(dtr->day),
                   static_cast<uint8_t>(dtr->hour), static_cast<uint8_t>(dtr->minute), dtr->second);
  return isdst_at(wall - std_offset_locked());
}

long localdst_raw_locked(xp_seconds local) {
  // Within 2^32 seconds from 1970 the record of a local value names exactly
  // value - 1970 seconds of wall-clock time, so the record can be skipped.
  if (local >= XP_TIME_POSIX_DELTA && local - XP_TIME_POSIX_DELTA <= 0xffffffffUL)
    return isdst_at(static_cast<long long>(local - XP_TIME_POSIX_DELTA) - std_offset_locked());
  xp_dtr r;
  xp_time_localtodtr(local, &r);
  return dtrdst_locked(&r);
}

long utcdst_raw_locked(xp_seconds utc) {
  xp_dtr r;
  xp_time_localtodtr(utctolocal_locked(utc, time(nullptr)), &r);
  return dtrdst_locked(&r);
}

long xt_gmto_probe_locked(xp_seconds t, xt_table **table, raw_fn raw) {
  ++xt_busy;
  long amount;
  if (t == 0) {
    xp_free(*table);
    *table = nullptr;
    zone_changed();
    amount = raw(0);
  } else {
    if (!*table) {
      if (xt_dst_hemisphere == 0) hemisphere_check_locked();
      if (xt_dst_bias < 0) {
        time_t now = time(nullptr);
        xt_dst_bias = XP_TIME_DST_AMOUNT;
        if (!isdst_at(now) && !isdst_at(now + 10368000LL) && !isdst_at(now + 20736000LL))
          xt_dst_bias = 0;
      }
      *table = table_build(raw, xt_dst_bias != 0);
      zone_changed();
    }
    amount = *table ? table_lookup(*table, t, raw) : raw(t);
  }
  --xt_busy;
  return amount;
}

long xt_gmto_probe(xp_seconds t, xt_table **table, raw_fn raw) {
  Locked guard;
  gmto_locked(time(nullptr));
  return xt_gmto_probe_locked(t, table, raw);
}

long localdst_locked(xp_seconds local) {
  return xt_gmto_probe_locked(local, &xt_local_probe, localdst_raw_locked);
}

long utcdst_locked(xp_seconds utc) {
  return xt_gmto_probe_locked(utc, &xt_utc_probe, utcdst_raw_locked);
}

xp_seconds utctolocal_locked(xp_seconds utc, time_t now) {
  xp_seconds local = utc + static_cast<xp_seconds>(gmto_locked(now));
  return local + static_cast<xp_seconds>(localdst_locked(local)) -
         static_cast<xp_seconds>(dst_locked(now));
}

std::atomic<unsigned long> g_zone_version{1};

namespace {

// This thread's copy of what a conversion of utc to local reads: the offset
// and flag of one second and the local table with its index. A version of
// 0 marks no copy.
struct ZoneCopy {
  unsigned long version;
  time_t second;
  long gmto;
  long dst_now;
  uint8_t index[kIndexSize];
  alignas(xt_table) unsigned char table[sizeof(xt_table) + 2 * kTableSegments * sizeof(xp_seconds)];
  const xt_table *copied() const { return reinterpret_cast<const xt_table *>(table); }
};
thread_local ZoneCopy t_copy;

}  // namespace

bool utctolocal_copied(xp_seconds utc, time_t now, xp_seconds *local) {
  ZoneCopy &c = t_copy;
  if (c.second != now || c.version != g_zone_version.load(std::memory_order_acquire)) return false;
  xp_seconds l = utc + static_cast<xp_seconds>(c.gmto);
  const xt_table *t = c.copied();
  long i = table_find(t, c.index, l);
  if (i < 0 || l == 0) return false;
  long amount = (i & 1) ? t->value_odd : t->value_even;
  *local = l + static_cast<xp_seconds>(amount) - static_cast<xp_seconds>(c.dst_now);
  return true;
}

xp_seconds utctolocal_copying_locked(xp_seconds utc, time_t now) {
  xp_seconds local = utctolocal_locked(utc, now);
  ZoneCopy &c = t_copy;
  const xt_table *t = xt_local_probe;
  // Only a settled second is copied: its offset and flag were read for it.
  if (!t || xt_lastgmtocheck != now || xt_lastdstcheck != now) return local;
  unsigned long version = g_zone_version.load(std::memory_order_relaxed);
  if (c.version == version && c.second == now) return local;
  c.version = 0;
  c.second = now;
  c.gmto = xt_lastgmto;
  c.dst_now = xt_lastdst ? XP_TIME_DST_AMOUNT : 0;
  std::memcpy(c.table, t, sizeof(xt_table) + 2 * static_cast<size_t>(t->count) * sizeof(xp_seconds));
  if (t->count > 1) std::memcpy(c.index, table_index(t), kIndexSize);
  c.version = version;
  return local;
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

unsigned long raw_query_count() {
  Locked guard;
  return g_raw_queries;
}
const xt_table *local_table() {
  Locked guard;
  return xt_local_probe;
}
const xt_table *utc_table() {
  Locked guard;
  return xt_utc_probe;
}
long dst_bias() {
  Locked guard;
  return xt_dst_bias;
}
int dst_hemisphere() {
  Locked guard;
  return xt_dst_hemisphere;
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

// The lookups read the offset first: lookups in progress never read it
// again (see xt_busy), so it must be current before one starts.
long xp_time_localdst(xp_seconds local) {
  Locked guard;
  xpt::gmto_locked(time(nullptr));
  return xpt::localdst_locked(local);
}

long xp_time_localdst_raw(xp_seconds local) {
  Locked guard;
  return xpt::localdst_raw_locked(local);
}

long xp_time_utcdst(xp_seconds utc) {
  Locked guard;
  xpt::gmto_locked(time(nullptr));
  return xpt::utcdst_locked(utc);
}

long xp_time_utcdst_raw(xp_seconds utc) {
  Locked guard;
  return xpt::utcdst_raw_locked(utc);
}

long xp_time_dtrdst(const xp_dtr *dtr) {
  Locked guard;
  return xpt::dtrdst_locked(dtr);
}

long xp_time_dtrgmto(const xp_dtr *dtr) {
  Locked guard;
  time_t now = time(nullptr);
  long gmto = xpt::gmto_locked(now);
  return gmto + xpt::dtrdst_locked(dtr) - xpt::dst_locked(now);
}

long xp_time_localgmto(xp_seconds local) {
  Locked guard;
  time_t now = time(nullptr);
  long gmto = xpt::gmto_locked(now);
  return gmto + xpt::localdst_locked(local) - xpt::dst_locked(now);
}

// The utc value is shifted by the offset of now and looked up in the table
// of local values.
long xp_time_utcgmto(xp_seconds utc) {
  Locked guard;
  time_t now = time(nullptr);
  long gmto = xpt::gmto_locked(now);
  return gmto + xpt::localdst_locked(utc + static_cast<xp_seconds>(gmto)) - xpt::dst_locked(now);
}

}  // extern "C"
