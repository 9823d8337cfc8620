// The daylight-saving interval table: building it by sampling the system
// every 28 days, and answering lookups from it while narrowing the gaps
// around the switches on every miss.
#include "xp/time/xp_time_internal.h"

namespace xpt {

namespace {

inline xp_seconds &seg_start(xt_table *t, long i) {
  return t->seg[2 * i];
}
inline xp_seconds &seg_end(xt_table *t, long i) {
  return t->seg[2 * i + 1];
}
inline long seg_amount(const xt_table *t, long i) {
  return i & 1 ? t->value_odd : t->value_even;
}
// Amounts are told apart by being zero or not.
inline bool agree(long a, long b) {
  return (a != 0) == (b != 0);
}

// The spread of the last tables searched, kept as a reciprocal so that a
// guess costs a multiplication: it changes only when a table is built or
// its segment 1 is moved. Used with the zone lock held, like the tables.
struct Spread {
  const xt_table *table;
  long count;
  xp_seconds base, last;
  uint64_t reciprocal;  // 2^32 / span, 0 when the span is 0
};
Spread g_spread[2];
unsigned g_spread_next;

uint64_t reciprocal_of(const xt_table *t, xp_seconds base, xp_seconds last) {
  for (Spread &s : g_spread)
    if (s.table == t && s.count == t->count && s.base == base && s.last == last)
      return s.reciprocal;
  Spread &s = g_spread[g_spread_next++ & 1];
  uint64_t span = (last - base) / static_cast<xp_seconds>(t->count - 1);
  s = Spread{t, t->count, base, last, span ? (uint64_t{1} << 32) / span : 0};
  return s.reciprocal;
}

}  // namespace

xt_table *table_build(raw_fn raw, bool observes_dst) {
  long segments = observes_dst ? kTableSegments : 1;
  auto *t = static_cast<xt_table *>(
      xp_alloc(sizeof(xt_table) + 2 * static_cast<size_t>(segments) * sizeof(xp_seconds)));
  if (!t) return nullptr;
  t->count = 1;
  if (!observes_dst) {
    // One segment over every value that a 32-bit count can hold, amount 0.
    seg_start(t, 0) = 0;
    seg_end(t, 0) = XP_TIME_OUT_OF_RANGE;
    return t;
  }
  // Segment 0 starts at 0, so every value before the first sample answers
  // the amount of 1970-01-01 00:00:01. The first sample is that same
  // instant and needs no second query.
  t->value_even = raw(kSampleFirst);
  long i = 0;
  bool odd_known = false;
  seg_start(t, 0) = 0;
  seg_end(t, 0) = kSampleFirst;
  for (xp_seconds s = kSampleFirst + kSampleStep; s < kSampleLimit; s += kSampleStep) {
    long amount = raw(s);
    if (agree(amount, seg_amount(t, i))) {
      seg_end(t, i) = s;
      continue;
    }
    if (i + 1 == segments) break;
    ++i;
    seg_start(t, i) = seg_end(t, i) = s;
    if (!odd_known) {
      t->value_odd = amount;
      odd_known = true;
    }
  }
  t->count = i + 1;
  return t;
}

long table_lookup(xt_table *t, xp_seconds v, raw_fn raw) {
  long n = t->count;
  xp_seconds first = seg_start(t, 0), last = seg_end(t, n - 1);
  if (v < first || v > last) return raw(v);

  // Guess the segment as if the segments were spread evenly, then walk to
  // the one that starts at or before v with no later one that does. Segment
  // 0 reaches back to 0, far before any switch, so the spread is taken from
  // the start of segment 1 on; the walk makes any guess exact.
  long i = 0;
  if (n > 1 && v >= seg_start(t, 1)) {
    xp_seconds base = seg_start(t, 1);
    // (v - base) / span, at most one short; the walk below makes up for it.
    // Values beyond 32 bits lie after the last segment or in a table of
    // one segment, and never get here.
    uint64_t guess = (static_cast<uint64_t>(v - base) * reciprocal_of(t, base, last)) >> 32;
    i = guess < static_cast<xp_seconds>(n - 2) ? static_cast<long>(guess) + 1 : n - 1;
  }
  while (i > 0 && seg_start(t, i) > v)
    --i;
  while (i + 1 < n && seg_start(t, i + 1) <= v)
    ++i;
  if (v <= seg_end(t, i)) return seg_amount(t, i);

  // v lies in the gap after segment i, where the amount switches once.
  // Halve the gap; if that does not settle v, ask for v itself and move the
  // nearer edge to it.
  xp_seconds mid = seg_end(t, i) + ((seg_start(t, i + 1) - seg_end(t, i)) >> 1);
  long amount = raw(mid);
  if (agree(amount, seg_amount(t, i))) {
    seg_end(t, i) = mid;
    if (mid >= v) return seg_amount(t, i);
  } else {
    seg_start(t, i + 1) = mid;
    if (mid <= v) return seg_amount(t, i + 1);
  }
  amount = raw(v);
  if (agree(amount, seg_amount(t, i)))
    seg_end(t, i) = v;
  else
    seg_start(t, i + 1) = v;
  return amount;
}

}  // namespace xpt
