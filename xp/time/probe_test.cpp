// The zone table built from a made-up zone whose changes are known: each
// change found to the second, the amounts, local values at a change, cost.
#include <gtest/gtest.h>

#include "xp/core/xp_core_internal.h"
#include "xp/time/xp_time_internal.h"

namespace {

struct Change {
  long long at;  // POSIX second from which the state holds
  long offset;
  int isdst;
  long amount;  // expected
};
// Odd seconds of a local mean time, a week of summer time, a standard
// offset that changes, negative and half-hour daylight saving, and a last
// change one second before the table's end.
const Change kZone[] = {{-4000000000LL, 3017, 0, 0},    {-1631000001LL, 7200, 1, 4183},
                        {-1630395201LL, 3017, 0, 0},    {-900000000LL, 3600, 0, 0},
                        {600000000LL, 0, 1, -3600},     {615552000LL, 3600, 0, 0},
                        {946684800LL, 5400, 1, 1800},   {962000000LL, 3600, 0, 0},
                        {1300000000LL, 7200, 0, 0},     {2212122494LL, 3600, 1, -3600}};
constexpr int kChanges = sizeof kZone / sizeof kZone[0];
long g_queries;

bool fake(long long posix, long *offset, int *isdst) {
  ++g_queries;
  int i = kChanges - 1;
  while (i > 0 && kZone[i].at > posix)
    --i;
  *offset = kZone[i].offset, *isdst = kZone[i].isdst;
  return true;
}

xp_seconds value(long long p) {
  return static_cast<xp_seconds>(p + static_cast<long long>(XP_TIME_POSIX_DELTA));
}

TEST(ZoneTable, EveryChangeToTheSecond) {
  g_queries = 0;
  xpt::xt_table *t = xpt::table_build(fake);
  ASSERT_NE(t, nullptr);
  long samples = static_cast<long>(xpt::kTableLast / xpt::kSampleStep) + 2;
  EXPECT_LE(g_queries, samples + 20 * kChanges);
  ASSERT_EQ(t->count, kChanges);
  for (int i = 0; i < kChanges; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(t->seg[i].start, i ? value(kZone[i].at) : 0u);
    EXPECT_EQ(t->seg[i].offset, kZone[i].offset);
    EXPECT_EQ(t->seg[i].amount, kZone[i].amount);
    if (i == 0) continue;
    xp_seconds at = t->seg[i].start;
    EXPECT_EQ(xpt::table_utc(t, at - 1), &t->seg[i - 1]);
    EXPECT_EQ(xpt::table_utc(t, at), &t->seg[i]);
    // Local values around the change: a repeated one is read the first
    // time, a skipped one with the offset before the change.
    long before = kZone[i - 1].offset, after = kZone[i].offset;
    for (long d = -7200; d <= 7200; d += 900) {
      xp_seconds local = at + static_cast<xp_seconds>(after + d);
      if (local > xpt::kTableLast) continue;
      EXPECT_EQ(xpt::table_local(t, local), &t->seg[d < std::max(0L, before - after) ? i - 1 : i])
          << d;
    }
  }
  xp_free(t);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpt::table_build(fake), nullptr);
}

}  // namespace
