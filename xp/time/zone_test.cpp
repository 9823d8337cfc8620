// The zone in whichever zone TZ names: offsets against localtime_r, the
// cached tables and what they cost, a zone change while running, threads.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/time/xp_time_internal.h"

namespace {

constexpr long long kEnd = 2145916800LL;  // 2038-01-01 00:00:00 UTC

std::string zone_name() {
  return getenv("TZ") ? getenv("TZ") : "";
}

struct tm local_at(long long p) {
  time_t t = static_cast<time_t>(p);
  struct tm tm {};
  localtime_r(&t, &tm);
  return tm;
}
long gmtoff_at(long long p) {
  return local_at(p).tm_gmtoff;
}
long dst_at(long long p) {
  return local_at(p).tm_isdst > 0 ? 3600 : 0;
}
xp_seconds value(long long p) {
  return static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
}

// The zones the suite runs in: standard offset, and whether they observe
// daylight saving.
bool known_zone(long *standard, bool *observes) {
  static const struct {
    const char *name;
    long standard;
    bool observes;
  } zones[] = {{"UTC", 0, false},
               {"America/New_York", -18000, true},
               {"Europe/Berlin", 3600, true},
               {"Australia/Sydney", 36000, true},
               {"Asia/Kolkata", 19800, false}};
  for (const auto &z : zones)
    if (zone_name() == z.name) return *standard = z.standard, *observes = z.observes, true;
  return false;
}

TEST(Zone, ClockOffsetAndNameNow) {
  for (int attempt = 0; attempt < 5; ++attempt) {
    time_t now = time(nullptr);
    struct tm tm = local_at(now);
    xp_seconds utc = xp_time_getutc(), local = xp_time_getlocal();
    long gmto = xp_time_getgmto(), dst = xp_time_getdst();
    char name[64];
    long n = xp_time_gettzname(name, sizeof name);
    if (time(nullptr) != now) continue;
    EXPECT_EQ(utc, value(now));
    EXPECT_EQ(static_cast<long>(local - utc), gmto);
    EXPECT_EQ(gmto, tm.tm_gmtoff);
    EXPECT_EQ(dst, tm.tm_isdst > 0 ? 3600 : 0);
    EXPECT_EQ(xp_time_gettz(), dst - gmto);
    EXPECT_STREQ(name, tm.tm_zone);
    EXPECT_EQ(n, static_cast<long>(strlen(tm.tm_zone)));
    EXPECT_EQ(xp_time_gettzname(nullptr, 0), n);
    EXPECT_EQ(xp_time_gettzname(name, 3), std::min(n, 2L));  // cut to the buffer
    EXPECT_EQ(std::string(name), std::string(tm.tm_zone).substr(0, 2));
    long standard;
    bool observes;
    if (known_zone(&standard, &observes)) {
      EXPECT_EQ(xp_time_gettz(), -standard);  // standard time, in any season
      EXPECT_TRUE(observes || dst == 0);
    }
    return;
  }
  FAIL() << "the clock kept ticking";
}

// Every hour of 1970...2037 and the seconds around every switch against
// localtime_r's tm_gmtoff. By design the daylight-saving part is looked up
// at v + (daylight saving now), and the standard part is always today's;
// instants where the zone's history differs from that are counted.
TEST(Zone, UtcToLocalMatchesTheSystemOutsideTheListedCases) {
  long dst_now = xp_time_getdst(), standard_now = xp_time_getgmto() - dst_now;
  long other_rules = 0, before_switch = 0, switches = 0, bad = 0;
  auto check = [&](long long p) {
    xp_seconds v = value(p), local = xp_time_utctolocal(v);
    long got = static_cast<long>(local - v);
    long long seen = p + dst_now;  // the instant whose rules apply
    long model = standard_now + dst_at(seen);
    if (gmtoff_at(seen) != model)
      ++other_rules;
    else if (got != model && ++bad <= 5)
      ADD_FAILURE() << "POSIX " << p << ": " << got << " not " << model;
    if (gmtoff_at(p) != gmtoff_at(seen)) ++before_switch;
    EXPECT_EQ(xp_time_utcgmto(v), got);
    if (gmtoff_at(p - 7200) != gmtoff_at(p + 7200)) return;
    xp_dtr r, expected;
    xp_time_utctodtr(v, &r);
    xp_time_localtodtr(local, &expected);
    bool ok = xp_time_localtoutc(local) == v && xp_time_comparedtr(&r, &expected) == 0 &&
              r.weekday == expected.weekday && xp_time_dtrtoutc(&r) == v &&
              xp_time_utcdoy(v) == xp_time_localdoy(local);
    if (!ok && ++bad <= 5) ADD_FAILURE() << "back from POSIX " << p;
  };
  for (long long p = 86400; p < kEnd; p += 3600) {
    check(p);
    if (gmtoff_at(p) == gmtoff_at(p + 3600)) continue;
    long long lo = p, hi = p + 3600;  // the switch, to the second
    while (hi - lo > 1)
      (gmtoff_at(lo + (hi - lo) / 2) == gmtoff_at(p) ? lo : hi) = lo + (hi - lo) / 2;
    ++switches;
    for (long long q : {hi - 3601, hi - 3600, hi - 3599, hi - 2, hi - 1, hi, hi + 1})
      check(q);
  }
  EXPECT_EQ(bad, 0);
  long standard;
  bool observes;
  if (known_zone(&standard, &observes)) {
    EXPECT_EQ(other_rules, 0);
    EXPECT_EQ(switches > 0, observes);
    EXPECT_EQ(before_switch > 0, observes && dst_now != 0);
  }
}

// The cached amounts equal the raw ones (from day 2: records need 1970).
TEST(Zone, CachedAmountsEqualRawOnes) {
  long bad = 0;
  for (long long p = 86400; p < kEnd; p += 6 * 3600 + 77) {
    xp_seconds v = value(p);
    long local = xp_time_localdst(v), utc = xp_time_utcdst(v);
    xp_dtr r;
    xp_time_localtodtr(v, &r);
    bool ok = local == xp_time_localdst_raw(v) && utc == xp_time_utcdst_raw(v) &&
              xp_time_dtrdst(&r) == local &&
              xp_time_localgmto(v) == xp_time_getgmto() - xp_time_getdst() + local &&
              xp_time_dtrgmto(&r) == xp_time_localgmto(v);
    if (!ok && ++bad <= 5) ADD_FAILURE() << "POSIX " << p;
  }
  EXPECT_EQ(bad, 0);
  xp_dtr july{2024, 7, 1, 12, 0, 0, 0}, july_short{124, 7, 1, 12, 0, 0, 0};
  xp_dtr jan{2024, 1, 1, 12, 0, 0, 0}, month13{2023, 13, 1, 12, 0, 0, 0};
  EXPECT_EQ(xp_time_dtrdst(&july_short), xp_time_dtrdst(&july));
  EXPECT_EQ(xp_time_dtrdst(&month13), xp_time_dtrdst(&jan));
}

// Building a table costs one query per 28-day sample; lookups near a switch
// stop asking once it has been narrowed; nothing after 2038-01-19 is cached.
// A zone without daylight saving has one segment and asks nothing.
TEST(Zone, TablesCostAndConvergence) {
  xp_seconds inside = xpt::kSampleFirst + 100 * xpt::kSampleStep;  // a sample point
  xp_time_localdst(inside);
  EXPECT_NE(xpt::dst_hemisphere(), 0);
  unsigned long n0 = xpt::raw_query_count();
  xp_time_localdst(0);  // drops the table, asks for value 0
  EXPECT_EQ(xpt::local_table(), nullptr);
  EXPECT_EQ(xpt::raw_query_count() - n0, 1u);
  xpc::fail_alloc_after(1);  // no table: the system is asked
  EXPECT_EQ(xp_time_localdst(inside), xp_time_localdst_raw(inside));
  EXPECT_EQ(xpt::local_table(), nullptr);
  unsigned long n1 = xpt::raw_query_count();
  long amount = xp_time_localdst(inside);
  unsigned long cost = xpt::raw_query_count() - n1;
  const xpt::xt_table *t = xpt::local_table();
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(amount, xp_time_localdst_raw(inside));

  if (xpt::dst_bias() == 0) {
    EXPECT_EQ(cost, 0u);
    EXPECT_EQ(t->count, 1);
    EXPECT_EQ(t->seg[1], 4294967295u);
    EXPECT_EQ(xp_time_getdst(), 0);
    unsigned long before = xpt::raw_query_count();
    for (xp_seconds v = XP_TIME_POSIX_DELTA; v < 4294967295u - 86400; v += 86400 * 13)
      ASSERT_EQ(xp_time_localdst(v) + xp_time_utcdst(v), 0);
    EXPECT_EQ(xpt::raw_query_count(), before);
    return;
  }
  EXPECT_LE(cost, 890u);
  EXPECT_GT(cost, 800u);
  unsigned long n2 = xpt::raw_query_count();
  EXPECT_EQ(xp_time_localdst(1000), t->value_even);  // before 1970, not 0
  EXPECT_EQ(xpt::raw_query_count(), n2);
  // Every hour of the gap after segment 1, twice.
  ASSERT_GT(t->count, 2);
  for (int pass = 0; pass < 2; ++pass) {
    unsigned long before = xpt::raw_query_count();
    std::vector<long> got;
    for (xp_seconds v = t->seg[3]; v <= t->seg[4]; v += 3600)
      got.push_back(xp_time_localdst(v));
    unsigned long asked = xpt::raw_query_count() - before;
    EXPECT_LT(asked, pass == 0 ? got.size() / 4 : 1u);
    size_t k = 0;
    for (xp_seconds v = t->seg[3]; v <= t->seg[4]; v += 3600)
      ASSERT_EQ(got[k++], xp_time_localdst_raw(v));
  }
  unsigned long n3 = xpt::raw_query_count();
  xp_time_localdst(xpt::kSampleLimit + 86400 * 30);
  xp_time_localdst(xpt::kSampleLimit + 86400 * 30);
  EXPECT_EQ(xpt::raw_query_count() - n3, 2u);
}

// Another zone while running: its offset is seen within one second and both
// tables are dropped and built again for it. Whether the zone observes
// daylight saving was settled once, in the first zone, and stays so.
TEST(Zone, ZoneChangeIsSeenWithinOneSecond) {
  std::string first = zone_name();
  std::string next = first == "Europe/Berlin" ? "Australia/Sydney" : "Europe/Berlin";
  xp_dtr s{2010, 7, 1, 12, 0, 0, 0}, w{2010, 1, 1, 12, 0, 0, 0};
  xp_seconds summer = xp_time_dtrtolocal(&s), winter = xp_time_dtrtolocal(&w);
  if (next == "Australia/Sydney") std::swap(summer, winter);
  xp_time_localdst(summer);
  xp_time_utcdst(summer);
  long bias = xpt::dst_bias();
  ASSERT_NE(xpt::utc_table(), nullptr);

  auto switch_to = [](const std::string &zone) {
    zone.empty() ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
    tzset();
    auto changed = std::chrono::steady_clock::now();
    long expected = gmtoff_at(time(nullptr));
    while (xp_time_getgmto() != expected &&
           std::chrono::steady_clock::now() - changed < std::chrono::seconds(2))
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(xp_time_getgmto(), expected);
    EXPECT_LE(std::chrono::steady_clock::now() - changed, std::chrono::milliseconds(1100));
  };
  switch_to(next);
  EXPECT_EQ(xp_time_getdst(), dst_at(time(nullptr)));
  EXPECT_EQ(xpt::dst_bias(), bias);
  EXPECT_NE(xpt::local_table(), nullptr);  // built again at once
  EXPECT_EQ(xpt::utc_table(), nullptr);    // built again when next used
  EXPECT_EQ(xp_time_localdst(summer), bias ? 3600 : 0);
  EXPECT_EQ(xp_time_localdst(winter), 0);
  EXPECT_EQ(xp_time_utcdst(summer - 7200), bias ? 3600 : 0);
  EXPECT_EQ(xp_time_utcdst(winter - 7200), 0);
  EXPECT_NE(xpt::utc_table(), nullptr);
  switch_to(first);
}

// Threads converting at once while two keep dropping the tables: every
// answer is the one a single thread gets.
TEST(Zone, ThreadsShareTheCaches) {
  std::vector<xp_seconds> values, local;
  std::vector<long> utc_dst;
  for (long long p = 86400; p < kEnd; p += 86400 * 5 + 3599) {
    if (gmtoff_at(p - 7200) != gmtoff_at(p + 7200)) continue;
    values.push_back(value(p));
    local.push_back(xp_time_utctolocal(value(p)));
    utc_dst.push_back(xp_time_utcdst(value(p)));
  }
  std::vector<long> errors(4, 0);
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&, k] {
      for (int round = 0; round < 3; ++round)
        for (size_t i = k; i < values.size(); i += 1 + k) {
          errors[k] += xp_time_utctolocal(values[i]) != local[i];
          errors[k] += xp_time_utcdst(values[i]) != utc_dst[i];
          if (k == 3 && i % 97 == 0) xp_time_localdst(0);
          if (k == 2 && i % 89 == 0) xp_time_utcdst(0);
        }
    });
  for (auto &t : threads)
    t.join();
  for (long e : errors)
    EXPECT_EQ(e, 0);
}

}  // namespace
