// The interval table on its own, fed by made-up zones whose switches are
// known: what sampling keeps, the 128-segment cap, lookups in and between
// segments, and how misses narrow the gaps until no query is needed.
#include <gtest/gtest.h>

#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/time/xp_time_internal.h"

namespace {

using xpt::kSampleFirst;
using xpt::kSampleLimit;
using xpt::kSampleStep;
using xpt::xt_table;

// A made-up zone: daylight saving between two switch points in every period
// of g_period seconds (counted from 1970), and none before g_from.
xp_seconds g_period = 0, g_on = 0, g_off = 0, g_from = 0;
long g_queries = 0;

long fake_raw(xp_seconds v) {
  ++g_queries;
  if (v < g_from || v < XP_TIME_POSIX_DELTA) return 0;
  xp_seconds r = (v - XP_TIME_POSIX_DELTA) % g_period;
  return r >= g_on && r < g_off ? 3600 : 0;
}

void zone(xp_seconds period, xp_seconds on, xp_seconds off, xp_seconds from = 0) {
  g_period = period, g_on = on, g_off = off, g_from = from, g_queries = 0;
}

struct Table {
  xt_table *t;
  explicit Table(bool observes) : t(xpt::table_build(fake_raw, observes)) {}
  ~Table() { xp_free(t); }
  xp_seconds start(long i) const { return t->seg[2 * i]; }
  xp_seconds end(long i) const { return t->seg[2 * i + 1]; }
  long amount(long i) const { return i & 1 ? t->value_odd : t->value_even; }
};

constexpr xp_seconds kYear = 365 * 86400UL;

TEST(Probe, SamplingKeepsAlternatingSegmentsOfKnownAmounts) {
  // Summer from day 100 to day 250 of every 365-day year, from 1980 on.
  zone(kYear, 100 * 86400UL, 250 * 86400UL, XP_TIME_POSIX_DELTA + 10 * kYear);
  Table tab(true);
  ASSERT_NE(tab.t, nullptr);
  long samples = static_cast<long>((kSampleLimit - 1 - kSampleFirst) / kSampleStep) + 1;
  EXPECT_EQ(g_queries, samples);  // one query per 28-day sample, no more
  EXPECT_EQ(tab.t->value_even, 0);
  EXPECT_EQ(tab.t->value_odd, 3600);
  EXPECT_EQ(tab.start(0), 0u);
  EXPECT_LE(tab.t->count, xpt::kTableSegments);
  // 28 years with two switches each, plus the segment before the first.
  EXPECT_EQ(tab.t->count, 2 * 58 + 1);
  for (long i = 0; i < tab.t->count; ++i) {
    EXPECT_LE(tab.start(i), tab.end(i)) << i;
    if (i) {
      EXPECT_LT(tab.end(i - 1), tab.start(i)) << i;
    }
    if (i) {
      EXPECT_EQ(fake_raw(tab.start(i)), tab.amount(i)) << i;
    }
    EXPECT_EQ(fake_raw(tab.end(i)), tab.amount(i)) << i;
    if (i + 1 < tab.t->count) {
      EXPECT_EQ(tab.start(i + 1) - tab.end(i), kSampleStep) << i;
    }
  }
  EXPECT_GE(tab.end(tab.t->count - 1) + kSampleStep, kSampleLimit);
}

TEST(Probe, ManySwitchesStopSamplingAt128Segments) {
  zone(100 * 86400UL, 30 * 86400UL, 80 * 86400UL);  // two switches every 100 days
  Table tab(true);
  ASSERT_NE(tab.t, nullptr);
  EXPECT_EQ(tab.t->count, xpt::kTableSegments);
  xp_seconds last = tab.end(tab.t->count - 1);
  EXPECT_LT(last, kSampleLimit - 10 * kYear);  // the cap cut the range short
  // Beyond the last segment every lookup asks.
  g_queries = 0;
  EXPECT_EQ(xpt::table_lookup(tab.t, last + 1, fake_raw), fake_raw(last + 1));
  EXPECT_EQ(xpt::table_lookup(tab.t, last + 1, fake_raw), fake_raw(last + 1));
  EXPECT_EQ(g_queries, 4);
}

TEST(Probe, ZoneWithoutDaylightSavingHasOneSegment) {
  zone(kYear, 100 * 86400UL, 250 * 86400UL);
  Table tab(false);
  ASSERT_NE(tab.t, nullptr);
  EXPECT_EQ(g_queries, 0);
  EXPECT_EQ(tab.t->count, 1);
  EXPECT_EQ(tab.start(0), 0u);
  EXPECT_EQ(tab.end(0), 4294967295u);
  EXPECT_EQ(xpt::table_lookup(tab.t, XP_TIME_POSIX_DELTA + 150 * 86400UL, fake_raw), 0);
  EXPECT_EQ(xpt::table_lookup(tab.t, 4294967295u, fake_raw), 0);
  EXPECT_EQ(g_queries, 0);
  if (sizeof(xp_seconds) > 4) {
    EXPECT_EQ(xpt::table_lookup(tab.t, 4294967296u, fake_raw), 0);
    EXPECT_EQ(g_queries, 1);
  }
}

// Every answer equals the zone's, however the lookups come; misses narrow
// the gaps so that a second pass over the same instants asks nothing.
TEST(Probe, LookupsAreExactAndConvergeToNoQuery) {
  zone(kYear, 100 * 86400UL + 7200, 250 * 86400UL + 3600);
  Table tab(true);
  ASSERT_NE(tab.t, nullptr);
  // Before the first sample: segment 0, no query.
  g_queries = 0;
  EXPECT_EQ(xpt::table_lookup(tab.t, 1, fake_raw), tab.t->value_even);
  EXPECT_EQ(xpt::table_lookup(tab.t, kSampleFirst - 1, fake_raw), tab.t->value_even);
  EXPECT_EQ(g_queries, 0);

  std::vector<xp_seconds> instants;
  for (xp_seconds v = kSampleFirst; v < kSampleFirst + 12 * kYear; v += 3 * 3600 + 17)
    instants.push_back(v);
  long hours = static_cast<long>(instants.size());
  g_queries = 0;
  for (xp_seconds v : instants) {
    long expected = fake_raw(v);
    --g_queries;
    ASSERT_EQ(xpt::table_lookup(tab.t, v, fake_raw), expected) << v;
  }
  EXPECT_GT(g_queries, 0);
  EXPECT_LT(g_queries, hours / 10);
  g_queries = 0;
  for (xp_seconds v : instants)
    ASSERT_EQ(xpt::table_lookup(tab.t, v, fake_raw), fake_raw(v));
  EXPECT_EQ(g_queries, hours);  // only the checks' own queries

  // Right at a switch: the first lookup may ask, the next ones do not.
  xp_seconds sw = XP_TIME_POSIX_DELTA + 20 * kYear + 100 * 86400UL + 7200;
  for (xp_seconds v : {sw - 1, sw, sw + 1}) {
    g_queries = 0;
    long a = xpt::table_lookup(tab.t, v, fake_raw);
    EXPECT_LE(g_queries, 2);
    g_queries = 0;
    EXPECT_EQ(xpt::table_lookup(tab.t, v, fake_raw), a);
    EXPECT_EQ(g_queries, 0);
    EXPECT_EQ(a, v < sw ? 0 : 3600);
  }
  // The gap around that switch is now closed: neighbours of the switch are
  // the end of one segment and the start of the next.
  bool closed = false;
  for (long i = 0; i + 1 < tab.t->count; ++i)
    if (tab.end(i) == sw - 1 && tab.start(i + 1) == sw) closed = true;
  EXPECT_TRUE(closed);
}

// Random order converges too, and the interpolated guess is corrected when
// the segments are uneven.
TEST(Probe, UnevenSegmentsAndRandomOrder) {
  // Summer from 2000 on only, short and late in the year.
  zone(kYear, 300 * 86400UL, 340 * 86400UL, XP_TIME_POSIX_DELTA + 30 * kYear);
  Table tab(true);
  ASSERT_NE(tab.t, nullptr);
  EXPECT_GT(tab.end(0) - tab.start(0), 25 * kYear);
  unsigned seed = 12345;
  for (int round = 0; round < 2; ++round) {
    g_queries = 0;
    seed = 12345;
    for (int k = 0; k < 20000; ++k) {
      seed = seed * 1103515245u + 12345u;
      xp_seconds last = tab.end(tab.t->count - 1);  // past it, every lookup asks
      xp_seconds v = kSampleFirst + (static_cast<xp_seconds>(seed) % (last - kSampleFirst));
      v -= v % 3600;
      long got = xpt::table_lookup(tab.t, v, fake_raw);
      long before = g_queries;
      ASSERT_EQ(got, fake_raw(v)) << v;
      g_queries = before;
    }
    if (round == 1) {
      EXPECT_EQ(g_queries, 0);
    }
  }
}

TEST(Probe, FailedAllocationGivesNoTable) {
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpt::table_build(fake_raw, true), nullptr);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpt::table_build(fake_raw, false), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
}

}  // namespace
