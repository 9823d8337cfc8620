// Library-private parts of the time family: the zone lock, the per-second
// caches, the daylight-saving interval tables and the calendar tables.
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
// The zone lock. One lock guards the per-second caches and both tables; every
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
// Daylight-saving interval table: segments of time values (start, end) in
// ascending order, in which the amount is known. Segment i has value_even or
// value_odd by the parity of i; between the end of one segment and the start
// of the next the amount changes once, at a point not yet found. Room for a
// zone that switches twice a year from 1970 to 2037 (137 segments).
constexpr long kTableSegments = 256;
struct xt_table {
  long count;
  long value_even;
  long value_odd;
  xp_seconds seg[];  // start(i) = seg[2i], end(i) = seg[2i + 1]
};

// Sampling of a new table: from 1970-01-01 00:00:01 every 28 days while
// below 2038-01-19 03:14:07 (as time values).
constexpr xp_seconds kSampleFirst = 2082844801UL;
constexpr xp_seconds kSampleStep = 2419200UL;
constexpr xp_seconds kSampleLimit = 4230328447UL;

using raw_fn = long (*)(xp_seconds);

// Builds a table from the raw function: one segment with amount 0 that
// covers every value when observes_dst is false, else the sampled table.
// Null when allocation fails.
xt_table *table_build(raw_fn raw, bool observes_dst);
// The amount at t from the table, narrowing the gap around t on a miss (at
// most two raw queries); values outside the table are asked of raw directly.
long table_lookup(xt_table *table, xp_seconds t, raw_fn raw);

// The coarse index of a table: for each stretch of 2^22 seconds (about 48
// days) from the first sample on, the last segment that started at or
// before the stretch's beginning (probe.cpp).
constexpr unsigned kIndexShift = 22;
constexpr size_t kIndexSize = ((xp_seconds{0xffffffffUL} - kSampleFirst) >> kIndexShift) + 1;

// The segment of t holding v, found from the index: its number; -1 when v
// lies outside the table; -2 - i when it lies in the gap after segment i.
inline long table_find(const xt_table *t, const uint8_t *index, xp_seconds v) {
  long n = t->count;
  if (v < t->seg[0] || v > t->seg[2 * n - 1]) return -1;
  // Start from the index entry of v's stretch (0 before the first sample)
  // and step up to the last segment that starts at or before v. The step
  // is usually one or none, taken without a branch.
  long i = 0;
  if (n > 1 && v >= kSampleFirst) {
    xp_seconds b = (v - kSampleFirst) >> kIndexShift;
    i = index[b < kIndexSize ? b : kIndexSize - 1];
    long up = i + 1 < n ? i + 1 : i;
    i += static_cast<long>(up != i) & static_cast<long>(t->seg[2 * up] <= v);
    while (i + 1 < n && t->seg[2 * (i + 1)] <= v)
      ++i;
  }
  return v <= t->seg[2 * i + 1] ? i : -2 - i;
}
// The index of a table (built on first use); with the lock held.
const uint8_t *table_index(const xt_table *t);

// Bumped, with the lock held, whenever the cached zone state changes: the
// offset or flag of the current second, either table or its segments. A
// copy of that state taken at one count stays exact while it holds.
extern std::atomic<unsigned long> g_zone_version;
inline void zone_changed() {
  g_zone_version.store(g_zone_version.load(std::memory_order_relaxed) + 1,
                       std::memory_order_release);
}

// utc to local through this thread's copy of the zone state, taken at the
// second `now` by an earlier conversion: false when there is none for this
// second and version, or the value needs the table's gap or the system.
bool utctolocal_copied(xp_seconds utc, time_t now, xp_seconds *local);
// utc to local (the lock held), refreshing this thread's copy.
xp_seconds utctolocal_copying_locked(xp_seconds utc, time_t now);

// The cached lookup: builds the table on first use (settling the zone's
// daylight-saving observance first), drops it for t == 0.
long xt_gmto_probe_locked(xp_seconds t, xt_table **table, raw_fn raw);
// The same, taking the lock.
long xt_gmto_probe(xp_seconds t, xt_table **table, raw_fn raw);

// ---------------------------------------------------------------------------
// Cached zone state, read through the helpers below (with the lock held).
// A lookup or raw query never reads the offset again while it runs, so
// callers read it (gmto_locked) before the first lookup of a call.
long gmto_locked(time_t now);
long dst_locked(time_t now);
long localdst_locked(xp_seconds local);
long utcdst_locked(xp_seconds utc);
xp_seconds utctolocal_locked(xp_seconds utc, time_t now);
long localdst_raw_locked(xp_seconds local);
long utcdst_raw_locked(xp_seconds utc);
long dtrdst_locked(const xp_dtr *dtr);

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

// Number of daylight-saving queries put to the system so far.
unsigned long raw_query_count();
// The tables now held (null when none); read them only while no other thread
// uses the library.
const xt_table *local_table();
const xt_table *utc_table();
// Daylight-saving observance of the zone (-1 not yet known, 3600, 0) and the
// hemisphere mark (0 not checked, 1 agreed, -1 disagreed).
long dst_bias();
int dst_hemisphere();

}  // namespace xpt

#endif  // XP_TIME_INTERNAL_H
