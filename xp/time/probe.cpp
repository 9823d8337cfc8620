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
// Picked by index rather than by a branch: lookups land on even and odd
// segments alike, and a mispredicted choice would cost more than the rest
// of a lookup.
inline long seg_amount(const xt_table *t, long i) {
  const long amounts[2] = {t->value_even, t->value_odd};
  return amounts[i & 1];
}
// Amounts are told apart by being zero or not.
inline bool agree(long a, long b) {
  return (a != 0) == (b != 0);
}

// A coarse index of the last tables searched (see kIndexShift). Starts only
// ever move earlier while a table lives, so an entry stays a lower bound of
// the segment sought and at most a step or two up finds it. Used with the
// zone lock held, like the tables.
static_assert(kTableSegments <= 256, "an index entry is one byte");

struct Index {
  const xt_table *table;
  uint8_t first[kIndexSize];
};
Index g_index[2];
unsigned g_index_next;

[[gnu::noinline]] const uint8_t *index_build(const xt_table *t) {
  Index &x = g_index[g_index_next++ & 1];
  x.table = t;
  long i = 0;
  for (size_t b = 0; b < kIndexSize; ++b) {
    xp_seconds at = kSampleFirst + (static_cast<xp_seconds>(b) << kIndexShift);
    while (i + 1 < t->count && t->seg[2 * (i + 1)] <= at)
      ++i;
    x.first[b] = static_cast<uint8_t>(i);
  }
  return x.first;
}

inline const uint8_t *index_of(const xt_table *t) {
  if (g_index[0].table == t) return g_index[0].first;
  if (g_index[1].table == t) return g_index[1].first;
  return index_build(t);
}

// A miss: v lies in the gap after segment i, where the amount switches
// once. Halve the gap; if that does not settle v, ask for v itself and move
// the nearer edge to it. Kept out of line so that hits stay lean.
[[gnu::noinline]] long narrow_gap(xt_table *t, long i, xp_seconds v, raw_fn raw) {
  xp_seconds mid = seg_end(t, i) + ((seg_start(t, i + 1) - seg_end(t, i)) >> 1);
  long amount = raw(mid);
  zone_changed();
  if (agree(amount, seg_amount(t, i))) {
    seg_end(t, i) = mid;
    if (mid >= v) return seg_amount(t, i);
  } else {
    seg_start(t, i + 1) = mid;
    if (mid <= v) return seg_amount(t, i + 1);
  }
  amount = raw(v);
  zone_changed();
  if (agree(amount, seg_amount(t, i)))
    seg_end(t, i) = v;
  else
    seg_start(t, i + 1) = v;
  return amount;
}

}  // namespace

xt_table *table_build(raw_fn raw, bool observes_dst) {
  long segments = observes_dst ? kTableSegments : 1;
  auto *t = static_cast<xt_table *>(
      xp_alloc(sizeof(xt_table) + 2 * static_cast<size_t>(segments) * sizeof(xp_seconds)));
  if (!t) return nullptr;
  // A new table may take the place of a freed one: forget any index made
  // for that address.
  for (Index &x : g_index)
    if (x.table == t) x.table = nullptr;
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

const uint8_t *table_index(const xt_table *t) {
  return index_of(t);
}

long table_lookup(xt_table *t, xp_seconds v, raw_fn raw) {
  long n = t->count;
  if (v < seg_start(t, 0) || v > seg_end(t, n - 1)) return raw(v);
  long i = table_find(t, n > 1 ? index_of(t) : nullptr, v);
  if (i >= 0) return seg_amount(t, i);
  return narrow_gap(t, -2 - i, v, raw);
}

}  // namespace xpt
