// Library-private parts of the time family: the zone lock, the per-second
// caches, the zone table and the calendar tables.
// Not installed.
#ifndef XP_TIME_INTERNAL_H
#define XP_TIME_INTERNAL_H

#include <time.h>

#include <atomic>

#include "xp/time/xp_time.h"

namespace xpt {

// Calendar tables. xt_days[m - 1] + day is the 0-based day of the year of a
// date in month m of a common year; xt_mdays holds the longest length of
// each month.
extern const int32_t xt_days[13];
extern const int32_t xt_mdays[12];

// Years since 1900 of a record's year field, or -1 when out of range.
long normal_year(unsigned year);

// ---------------------------------------------------------------------------
// The zone lock. One lock guards the per-second caches and the table; every
// function below whose name ends in _locked expects it held. It is never
// taken twice by one thread: the public entry points take it once and call
// only _locked helpers.
extern std::atomic<bool> g_lock;
void lock_contended();
inline void lock() {
  if (g_lock.exchange(true, std::memory_order_acquire)) lock_contended();
}
inline void unlock() {
  g_lock.store(false, std::memory_order_release);
}
struct Locked {
  Locked() { lock(); }
  ~Locked() { unlock(); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;
};

// ---------------------------------------------------------------------------
// The zone table: the zone's offsets over every utc value from 0 (1904) to
// kTableLast (2040-02-06), as segments that each start at the second of a
// change. Built once per zone from the system's answers sampled every
// kSampleStep seconds, each change then narrowed to the second; so a change
// is found as long as the next one is more than a step away (the closest
// two in the zone data are about seven days apart).
//
// A segment holds the full offset and the daylight-saving amount: 0 in
// standard time; in daylight saving time, the offset minus the standard
// offset nearest before it (after it when there is none before; one hour
// when the zone never keeps standard time). So 3600 where daylight saving
// is an hour, 1800 on Lord Howe Island, -3600 in Irish winter time, 7200
// in double summer time.
struct xt_segment {
  xp_seconds start;  // utc value of the first second
  long offset;       // seconds east of UTC
  long amount;       // daylight-saving amount
};

constexpr xp_seconds kTableLast = 4294967295UL;
constexpr xp_seconds kSampleStep = 1UL << 18;  // about three days
constexpr unsigned kIndexShift = 20;           // about twelve days a bucket
constexpr size_t kIndexSize = (kTableLast >> kIndexShift) + 1;

struct xt_table {
  long count;
  // For each bucket of 2^kIndexShift values, the last segment that starts
  // (in utc values, and in local values: start + offset) at or before the
  // bucket's first value.
  uint16_t utc_index[kIndexSize];
  uint16_t local_index[kIndexSize];
  xt_segment seg[];
};

// What the system says of a POSIX instant: its offset and whether daylight
// saving time is in force. False when it cannot tell.
using query_fn = bool (*)(long long posix, long *offset, int *isdst);

// Builds the table of a zone from its query function; null when memory
// runs out.
xt_table *table_build(query_fn query);
// The segment of a utc value (at most kTableLast).
const xt_segment *table_utc(const xt_table *t, xp_seconds utc);
// The segment whose offset reads a local value (at most kTableLast): a
// wall-clock time repeated by a change is read as the first of its two
// instants, one skipped by a change with the offset before it.
const xt_segment *table_local(const xt_table *t, xp_seconds local);

// ---------------------------------------------------------------------------
// Cached zone state (the lock held).
long gmto_locked(time_t now);
long dst_locked(time_t now);
xp_seconds utctolocal_locked(xp_seconds utc, time_t now);
// The offset that reads a local value, or a record's wall-clock time.
long local_offset_locked(xp_seconds local, time_t now);
long record_offset_locked(const xp_dtr *dtr, time_t now);

// The local wall-clock time now as a record (all zero when the system cannot
// tell); the current zone rules are reloaded first.
bool now_record(xp_dtr *dtr);

// ---------------------------------------------------------------------------
// Time texts.

// English day and month abbreviations ("Sun"..., "Jan"...), by weekday and
// by month - 1.
extern const char *const xt_strs_days[7];
extern const char *const xt_strs_mons[12];

// Kinds of the locale texts.
enum {
  XT_ABBREVMONTH = 1,
  XT_AMPM = 2,
  XT_SHORTDATE = 3,
  XT_LONGDATE = 4,
  XT_TIME = 5,         // without seconds
  XT_TIMESECONDS = 6,  // with seconds
  XT_ABBREVDAY = 7
};

// The record as the user's locale writes the kind: from the platform's date
// formatter when there is one, else strftime in the C library's locale.
// Cut to size - 1 bytes (at a character boundary) and terminated; a null
// buf measures. 0 when nothing could be formatted (or an unknown kind
// without the platform's formatter).
long xt_dtrstring(const xp_dtr *dtr, int kind, char *buf, long size);
// The strftime half of it, for tests.
long dtrstring_fallback(const xp_dtr *dtr, int kind, char *buf, long size);

// General time into a record: want_local asks for local time, else UTC.
// 1 on success, 0 on a malformed text.
int xt_gentimetodtr(const char *text, xp_dtr *out, int want_local);

// The locale's date separator, time separator, morning and afternoon
// markers (16 bytes each, terminated) and date order, measured with
// xt_dtrstring and cached; the cache is refreshed on every 10000th call.
// Each output may be null.
void xt_getinternationalchars(char *datesep, char *timesep, char *am, char *pm, int32_t *datefmt);
// The locale's abbreviated month names (January first), cached the same
// way with a counter of its own.
void xt_monthname(char months[12][64]);
// Call counters of those caches; a count that is a multiple of 10000 makes
// the next call refresh (tests set them to 0).
extern std::atomic<int32_t> xt_locale_counter;
extern std::atomic<int32_t> xt_cm_counter;

// ---------------------------------------------------------------------------
// Inspection for tests.

// Number of queries put to the system so far.
unsigned long raw_query_count();
// The zone table now held (null when none); read it only while no other
// thread uses the library.
const xt_table *zone_table();
// Forgets the zone: the next call reads it again (after a change of TZ).
void zone_reset();

}  // namespace xpt

#endif  // XP_TIME_INTERNAL_H
