// The interval table fed by made-up zones whose switches are known.
#include <gtest/gtest.h>

#include "xp/time/xp_time_internal.h"

namespace {

using xpt::kSampleFirst;
using xpt::kSampleLimit;
using xpt::kSampleStep;

// Daylight saving from day `on` to day `off` of every period of `period`
// days counted from 1970, none before year `from`.
struct FakeZone {
  xp_seconds period, on, off, from;
};
FakeZone g_zone;
long g_queries = 0;

long fake_raw(xp_seconds v) {
  ++g_queries;
  xp_seconds d = (v - XP_TIME_POSIX_DELTA) / 86400;
  if (v < XP_TIME_POSIX_DELTA || d < g_zone.from * 365) return 0;
  return d % g_zone.period >= g_zone.on && d % g_zone.period < g_zone.off ? 3600 : 0;
}

struct Table {
  xpt::xt_table *t;
  explicit Table(FakeZone z) {
    g_zone = z, g_queries = 0;
    t = xpt::table_build(fake_raw, true);
  }
  ~Table() { xp_free(t); }
  xp_seconds start(long i) const { return t->seg[2 * i]; }
  xp_seconds end(long i) const { return t->seg[2 * i + 1]; }
  long amount(long i) const { return i & 1 ? t->value_odd : t->value_even; }
  xp_seconds last() const { return end(t->count - 1); }
  long lookup(xp_seconds v) const { return xpt::table_lookup(t, v, fake_raw); }
};

TEST(Probe, SamplingKeepsAlternatingSegments) {
  Table tab({365, 100, 250, 10});
  ASSERT_NE(tab.t, nullptr);
  EXPECT_EQ(g_queries, long((kSampleLimit - 1 - kSampleFirst) / kSampleStep) + 1);
  EXPECT_EQ(tab.t->value_even, 0);
  EXPECT_EQ(tab.t->value_odd, 3600);
  EXPECT_EQ(tab.t->count, 2 * 58 + 1);  // 58 summers, from 1980 on
  EXPECT_EQ(tab.start(0), 0u);
  for (long i = 0; i < tab.t->count; ++i) {
    EXPECT_EQ(fake_raw(tab.end(i)), tab.amount(i)) << i;
    if (i == 0) continue;
    EXPECT_EQ(fake_raw(tab.start(i)), tab.amount(i)) << i;
    EXPECT_EQ(tab.start(i) - tab.end(i - 1), kSampleStep) << i;
  }
  EXPECT_GE(tab.last() + kSampleStep, kSampleLimit);

  // Too many switches: sampling stops at the cap; later lookups always ask.
  Table many({100, 30, 80, 0});
  EXPECT_EQ(many.t->count, xpt::kTableSegments);
  EXPECT_LT(many.last(), kSampleLimit - 10 * 365 * 86400UL);
  g_queries = 0;
  many.lookup(many.last() + 1);
  many.lookup(many.last() + 1);
  EXPECT_EQ(g_queries, 2);
}

// Before 1970 nothing is asked. Once lookups every few hours have narrowed
// the gaps, right at a switch it takes at most two queries, then none, and
// the gap is closed to the second.
TEST(Probe, LookupsAtASwitchCloseTheGap) {
  Table tab({365, 100, 250, 0});
  g_queries = 0;
  EXPECT_EQ(tab.lookup(1), tab.t->value_even);
  EXPECT_EQ(g_queries, 0);
  xp_seconds sw = XP_TIME_POSIX_DELTA + (20 * 365 + 100) * 86400UL;
  for (xp_seconds v = kSampleFirst; v < sw + 30 * 86400UL; v += 3 * 3600 + 17)
    ASSERT_EQ(tab.lookup(v), fake_raw(v)) << v;
  for (xp_seconds v : {sw - 1, sw, sw + 1}) {
    g_queries = 0;
    EXPECT_EQ(tab.lookup(v), v < sw ? 0 : 3600);
    EXPECT_LE(g_queries, 2);
    g_queries = 0;
    EXPECT_EQ(tab.lookup(v), v < sw ? 0 : 3600);
    EXPECT_EQ(g_queries, 0);
  }
  bool closed = false;
  for (long i = 0; i + 1 < tab.t->count; ++i)
    closed |= tab.end(i) == sw - 1 && tab.start(i + 1) == sw;
  EXPECT_TRUE(closed);
}

// Short segments, and each table built in place of the one freed before it:
// random lookups stay exact, and a second pass asks nothing.
TEST(Probe, ShortSegmentsAndTablesBuiltInPlaceOfOthers) {
  const FakeZone zones[] = {{58, 0, 29, 3}, {100, 30, 80, 0}, {58, 29, 58, 1}, {365, 100, 250, 0}};
  for (const FakeZone &z : zones) {
    Table tab(z);
    ASSERT_NE(tab.t, nullptr);
    ASSERT_GT(tab.t->count, 2);
    unsigned seed = 7;
    for (int pass = 0; pass < 2; ++pass) {
      long asked = 0;
      for (int k = 0; k < 20000; ++k) {
        seed = seed * 1103515245u + 12345u;
        xp_seconds v = kSampleFirst + seed % (tab.last() - kSampleFirst + 1);
        g_queries = 0;
        long got = tab.lookup(v);
        asked += g_queries;
        ASSERT_EQ(got, fake_raw(v)) << z.period << " " << v;
      }
      EXPECT_TRUE(pass == 0 || asked == 0) << z.period;
      seed = 7;
    }
  }
}

}  // namespace
