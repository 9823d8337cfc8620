// The zone table: building it from the system's answers sampled every few
// days with each change narrowed to the second, and finding the segment of
// a utc or local value.
#include "xp/time/xp_time_internal.h"

namespace xpt {

namespace {

// Time value 0 and kTableLast as POSIX seconds.
constexpr long long kFirstPosix = -static_cast<long long>(XP_TIME_POSIX_DELTA);
constexpr long long kLastPosix = static_cast<long long>(kTableLast) + kFirstPosix;

struct State {
  long offset;
  int isdst;
  bool operator!=(const State &o) const { return offset != o.offset || isdst != o.isdst; }
};

State ask(query_fn query, long long posix) {
  State s{0, 0};
  if (!query(posix, &s.offset, &s.isdst)) s = State{0, 0};
  s.isdst = s.isdst > 0;
  return s;
}

long long local_start(const xt_segment &s) {
  return static_cast<long long>(s.start) + s.offset;
}

// Appends a segment, growing the table; false when memory runs out.
bool push(xt_table **t, long *room, xp_seconds start, State s) {
  if ((*t)->count == *room) {
    long more = *room * 2;
    auto *bigger = static_cast<xt_table *>(
        xp_realloc(*t, sizeof(xt_table) + static_cast<size_t>(more) * sizeof(xt_segment)));
    if (!bigger) return false;
    *t = bigger;
    *room = more;
  }
  (*t)->seg[(*t)->count++] = xt_segment{start, s.offset, s.isdst};
  return true;
}

// Daylight-saving amounts, from the flags that the sampling left in them:
// the offset minus that of the standard segment nearest before (the first
// one for segments before it).
void settle_amounts(xt_table *t) {
  long base = -1;
  for (long i = 0; i < t->count && base < 0; ++i)
    if (!t->seg[i].amount) base = i;
  for (long i = 0; i < t->count; ++i) {
    if (!t->seg[i].amount) {
      base = i;
      continue;
    }
    t->seg[i].amount = base >= 0 ? t->seg[i].offset - t->seg[base].offset : XP_TIME_DST_AMOUNT;
  }
}

void build_indexes(xt_table *t) {
  long u = 0, l = 0;
  for (size_t b = 0; b < kIndexSize; ++b) {
    long long at = static_cast<long long>(b) << kIndexShift;
    while (u + 1 < t->count && static_cast<long long>(t->seg[u + 1].start) <= at)
      ++u;
    while (l + 1 < t->count && local_start(t->seg[l + 1]) <= at)
      ++l;
    t->utc_index[b] = static_cast<uint16_t>(u);
    t->local_index[b] = static_cast<uint16_t>(l);
  }
}

}  // namespace

xt_table *table_build(query_fn query) {
  long room = 64;
  auto *t = static_cast<xt_table *>(
      xp_alloc(sizeof(xt_table) + static_cast<size_t>(room) * sizeof(xt_segment)));
  if (!t) return nullptr;
  State cur = ask(query, kFirstPosix);
  if (!push(&t, &room, 0, cur)) return xp_free(t), nullptr;
  long long lo = kFirstPosix;
  while (lo < kLastPosix) {
    long long hi = lo + static_cast<long long>(kSampleStep);
    if (hi > kLastPosix) hi = kLastPosix;
    State end = ask(query, hi);
    // Each change in (lo, hi], to the second: the first second that differs
    // from the current state, then on from there.
    while (end != cur) {
      long long a = lo, b = hi;
      while (b - a > 1) {
        long long mid = a + (b - a) / 2;
        (ask(query, mid) != cur ? b : a) = mid;
      }
      cur = b == hi ? end : ask(query, b);
      if (t->count == 0xFFFF || !push(&t, &room, static_cast<xp_seconds>(b - kFirstPosix), cur))
        return xp_free(t), nullptr;
      lo = b;
    }
    lo = hi;
  }
  settle_amounts(t);
  build_indexes(t);
  return t;
}

const xt_segment *table_utc(const xt_table *t, xp_seconds utc) {
  long i = t->utc_index[utc >> kIndexShift];
  while (i + 1 < t->count && t->seg[i + 1].start <= utc)
    ++i;
  return &t->seg[i];
}

const xt_segment *table_local(const xt_table *t, xp_seconds local) {
  long long v = static_cast<long long>(local);
  long i = t->local_index[local >> kIndexShift];
  while (i + 1 < t->count && local_start(t->seg[i + 1]) <= v)
    ++i;
  // Read with the offset before the change, the value names an instant
  // that still lies before it: a repeated time, taken the first time.
  if (i > 0 && v - t->seg[i - 1].offset < static_cast<long long>(t->seg[i].start)) --i;
  return &t->seg[i];
}

}  // namespace xpt
