// The zone as the system sees it, in whichever zone TZ names (the suite is
// run in several): offsets and daylight saving against localtime_r, the
// tables behind the cached lookups and what they cost, a zone change while
// running, several threads, and the clock setters where they are refused.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/time/xp_time_internal.h"

namespace {

constexpr long long kEnd = 2145916800LL;  // 2038-01-01 00:00:00 UTC

std::string zone_name() {
  const char *z = getenv("TZ");
  return z ? z : "";
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

// Standard offsets (seconds east) of the zones the suite is run in; 0 for
// an unknown zone.
bool known_zone(long *standard, bool *observes) {
  struct Z {
    const char *name;
    long standard;
    bool observes;
  };
  static const Z zones[] = {{"UTC", 0, false},
                            {"America/New_York", -18000, true},
                            {"Europe/Berlin", 3600, true},
                            {"Australia/Sydney", 36000, true},
                            {"Asia/Kolkata", 19800, false}};
  for (const Z &z : zones)
    if (zone_name() == z.name) {
      *standard = z.standard;
      *observes = z.observes;
      return true;
    }
  return false;
}

// Runs f until the wall-clock second did not change while it ran.
template <class F>
void in_one_second(F f) {
  for (int i = 0; i < 5; ++i) {
    time_t before = time(nullptr);
    f();
    if (time(nullptr) == before) return;
  }
  FAIL() << "the clock kept ticking";
}

TEST(Zone, ClockOffsetAndDaylightSavingNow) {
  in_one_second([] {
    time_t now = time(nullptr);
    struct tm tm = local_at(now);
    EXPECT_EQ(xp_time_getutc(), static_cast<xp_seconds>(now) + XP_TIME_POSIX_DELTA);
    EXPECT_EQ(static_cast<long>(xp_time_getlocal() - xp_time_getutc()), xp_time_getgmto());
    EXPECT_EQ(xp_time_getgmto(), tm.tm_gmtoff);
    EXPECT_EQ(xp_time_getdst(), tm.tm_isdst > 0 ? 3600 : 0);
    EXPECT_EQ(xp_time_gettz(), xp_time_getdst() - xp_time_getgmto());
  });
  long standard;
  bool observes;
  if (known_zone(&standard, &observes)) {
    // West of UTC, standard time, whatever the season now.
    EXPECT_EQ(xp_time_gettz(), -standard);
    if (!observes) {
      EXPECT_EQ(xp_time_getdst(), 0);
    }
  }
}

TEST(Zone, AbbreviationOfNow) {
  time_t now = time(nullptr);
  std::string expected = local_at(now).tm_zone;
  char buf[64];
  long n = xp_time_gettzname(buf, sizeof buf);
  if (expected != local_at(time(nullptr)).tm_zone) GTEST_SKIP() << "the zone switched";
  EXPECT_EQ(std::string(buf), expected);
  EXPECT_EQ(n, static_cast<long>(expected.size()));
  EXPECT_EQ(xp_time_gettzname(nullptr, 0), n);
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(xp_time_gettzname(buf, 3), std::min(n, 2L));
  EXPECT_EQ(std::string(buf), expected.substr(0, 2));
  EXPECT_EQ(xp_time_gettzname(buf, 1), 0);
  EXPECT_EQ(buf[0], '\0');
  buf[0] = 'x';
  EXPECT_EQ(xp_time_gettzname(buf, 0), 0);
  EXPECT_EQ(buf[0], 'x');
}

// Every hour from 1970 to 2037, and the seconds around every switch:
// xp_time_utctolocal(v) - v against localtime_r's offset.
//
// Where they may differ, by design:
//  - The daylight-saving part is looked up at the local value that the
//    offset of NOW gives, i.e. at the instant v + (daylight saving now). So
//    while daylight saving is in force now, the hour before every switch
//    answers the offset after it (in the hour after a switch back, the
//    repeated wall-clock hour reads as standard time).
//  - The standard part is always the standard offset of now, and the
//    summer shift is always 3600: instants where the zone's history says
//    otherwise answer that way (none of the zones the suite runs in has
//    such an instant in 1970...2037; counted below).
TEST(Zone, UtcToLocalMatchesTheSystemOutsideTheListedCases) {
  long dst_now = xp_time_getdst();
  long standard_now = xp_time_getgmto() - dst_now;
  long other_rules = 0, before_switch = 0, checked = 0, bad = 0;
  auto check = [&](long long p) {
    xp_seconds v = static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
    long got = static_cast<long>(xp_time_utctolocal(v) - v);
    long long seen = p + dst_now;  // the instant whose rules apply
    long model = standard_now + dst_at(seen);
    if (gmtoff_at(seen) != model) {
      ++other_rules;
    } else if (got != model) {
      if (++bad <= 5) ADD_FAILURE() << "POSIX " << p << ": " << got << " not " << model;
    }
    if (gmtoff_at(p) != gmtoff_at(seen))
      ++before_switch;
    else if (gmtoff_at(p) == model && got != gmtoff_at(p) && ++bad <= 5)
      ADD_FAILURE() << "POSIX " << p << ": " << got << " not " << gmtoff_at(p);
    EXPECT_EQ(xp_time_utcgmto(v), got);
    ++checked;
  };
  long switches = 0;
  for (long long p = 0; p < kEnd; p += 3600) {
    check(p);
    if (gmtoff_at(p) == gmtoff_at(p + 3600)) continue;
    // Find the switch to the second and check around it.
    long long lo = p, hi = p + 3600;
    while (hi - lo > 1) {
      long long mid = lo + (hi - lo) / 2;
      (gmtoff_at(mid) == gmtoff_at(p) ? lo : hi) = mid;
    }
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
  RecordProperty("checked", static_cast<int>(checked));
}

// Back from local to utc: exact wherever no switch is near.
TEST(Zone, LocalToUtcInvertsAwayFromSwitches) {
  long bad = 0;
  for (long long p = 86400; p < kEnd; p += 3600 * 7 + 59) {
    if (gmtoff_at(p - 7200) != gmtoff_at(p + 7200)) continue;
    xp_seconds v = static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
    xp_seconds local = xp_time_utctolocal(v);
    if (xp_time_localtoutc(local) != v && ++bad <= 5) ADD_FAILURE() << "POSIX " << p;
    xp_dtr r;
    EXPECT_EQ(xp_time_utctodtr(v, &r), v);
    xp_dtr expected;
    xp_time_localtodtr(local, &expected);
    ASSERT_EQ(xp_time_comparedtr(&r, &expected), 0);
    ASSERT_EQ(r.weekday, expected.weekday);
    ASSERT_EQ(xp_time_utcdoy(v), xp_time_localdoy(local));
    // A record's wall-clock time converts back to the same instant.
    if (xp_time_dtrtoutc(&r) != v && ++bad <= 5) ADD_FAILURE() << "record at POSIX " << p;
  }
  EXPECT_EQ(bad, 0);
}

// The cached amounts equal the ones asked of the system, for local values,
// utc values and records alike. (The first day is left out: west of UTC its
// local values fall before 1970, where records are not defined.)
TEST(Zone, CachedAmountsEqualRawOnes) {
  long bad = 0;
  for (long long p = 86400; p < kEnd; p += 6 * 3600 + 77) {
    xp_seconds v = static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
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
  EXPECT_EQ(xp_time_dtrdst(nullptr), 0);
}

// A record with a short year is taken by the system's reading of it: 124 is
// 2024, and the smaller fields carry.
TEST(Zone, RecordAmountsTakeShortYearsAndCarries) {
  xp_dtr r{2024, 7, 1, 12, 0, 0, 0};
  long july = xp_time_dtrdst(&r);
  r.year = 124;
  EXPECT_EQ(xp_time_dtrdst(&r), july);
  xp_dtr jan{2024, 1, 1, 12, 0, 0, 0};
  long january = xp_time_dtrdst(&jan);
  jan.year = 2023;
  jan.month = 13;  // month 13 of 2023 is January 2024
  EXPECT_EQ(xp_time_dtrdst(&jan), january);
  long standard;
  bool observes;
  if (known_zone(&standard, &observes)) {
    EXPECT_EQ(july != january, observes);
  }
}

TEST(Zone, WithoutDaylightSavingEveryAmountIsZero) {
  xp_time_localdst(XP_TIME_POSIX_DELTA + 86400);
  if (xpt::dst_bias() != 0) GTEST_SKIP() << "this zone observes daylight saving";
  EXPECT_EQ(xp_time_getdst(), 0);
  EXPECT_EQ(xp_time_gettz(), -xp_time_getgmto());
  const xpt::xt_table *t = xpt::local_table();
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->count, 1);
  EXPECT_EQ(t->seg[0], 0u);
  EXPECT_EQ(t->seg[1], 4294967295u);
  unsigned long before = xpt::raw_query_count();
  for (xp_seconds v = XP_TIME_POSIX_DELTA; v < 4294967295u - 86400; v += 86400 * 13) {
    ASSERT_EQ(xp_time_localdst(v), 0);
    ASSERT_EQ(xp_time_utcdst(v), 0);
  }
  EXPECT_EQ(xpt::raw_query_count(), before);
  EXPECT_EQ(xp_time_localdst_raw(XP_TIME_POSIX_DELTA + 200 * 86400), 0);
}

// Building a table costs one query per 28-day sample; lookups near a switch
// stop asking once the switch has been narrowed.
TEST(Zone, TableCostAndConvergence) {
  xp_seconds inside = xpt::kSampleFirst + 100 * xpt::kSampleStep;  // a sample point
  xp_time_localdst(inside);
  if (xpt::dst_bias() == 0) GTEST_SKIP() << "this zone observes no daylight saving";
  EXPECT_NE(xpt::dst_hemisphere(), 0);

  unsigned long n0 = xpt::raw_query_count();
  xp_time_localdst(0);  // drops the table, asks for value 0
  EXPECT_EQ(xpt::local_table(), nullptr);
  unsigned long n1 = xpt::raw_query_count();
  EXPECT_EQ(n1 - n0, 1u);
  long amount = xp_time_localdst(inside);
  unsigned long n2 = xpt::raw_query_count();
  EXPECT_LE(n2 - n1, 890u);
  EXPECT_GT(n2 - n1, 800u);
  EXPECT_EQ(amount, xp_time_localdst_raw(inside));

  const xpt::xt_table *t = xpt::local_table();
  ASSERT_NE(t, nullptr);
  ASSERT_GT(t->count, 2);
  // Before 1970 (but not 0): segment 0, without a query.
  unsigned long n3 = xpt::raw_query_count();
  EXPECT_EQ(xp_time_localdst(1000), t->value_even);
  EXPECT_EQ(xp_time_localdst(xpt::kSampleFirst - 1), t->value_even);
  EXPECT_EQ(xpt::raw_query_count(), n3);

  // Every hour of the gap after segment 1, twice: the second pass asks
  // nothing, and every answer is the system's.
  xp_seconds from = t->seg[3], to = t->seg[4];
  for (int pass = 0; pass < 2; ++pass) {
    unsigned long before = xpt::raw_query_count();
    std::vector<long> got;
    for (xp_seconds v = from; v <= to; v += 3600)
      got.push_back(xp_time_localdst(v));
    unsigned long cost = xpt::raw_query_count() - before;
    size_t k = 0;
    for (xp_seconds v = from; v <= to; v += 3600, ++k)
      ASSERT_EQ(got[k], xp_time_localdst_raw(v)) << v;
    if (pass == 0) {
      EXPECT_GT(cost, 0u);
      EXPECT_LT(cost, got.size() / 4);
    } else {
      EXPECT_EQ(cost, 0u);
    }
  }

  // After 2038-01-19 nothing is cached: every lookup asks.
  xp_seconds late = xpt::kSampleLimit + 86400 * 30;
  unsigned long n4 = xpt::raw_query_count();
  xp_time_localdst(late);
  xp_time_localdst(late);
  EXPECT_EQ(xpt::raw_query_count() - n4, 2u);
}

TEST(Zone, FailedTableAllocationAsksTheSystem) {
  xp_seconds v = xpt::kSampleFirst + 200 * xpt::kSampleStep + 12345;
  long expected = xp_time_localdst_raw(v);
  xp_time_localdst(0);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_time_localdst(v), expected);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  EXPECT_EQ(xpt::local_table(), nullptr);
  EXPECT_EQ(xp_time_localdst(v), expected);
  EXPECT_NE(xpt::local_table(), nullptr);
}

// Another zone while running: the offset of the new zone is seen within one
// second and both tables are dropped and built again for it. Whether the
// zone observes daylight saving was settled once, in the first zone, and
// stays so.
TEST(Zone, ZoneChangeIsSeenWithinOneSecond) {
  std::string first = zone_name();
  std::string next = first == "Europe/Berlin" ? "Australia/Sydney" : "Europe/Berlin";
  xp_seconds summer = 0, winter = 0;  // of the new zone, in 2010
  {
    xp_dtr s{2010, 7, 1, 12, 0, 0, 0}, w{2010, 1, 1, 12, 0, 0, 0};
    summer = xp_time_dtrtolocal(&s);
    winter = xp_time_dtrtolocal(&w);
    if (next == "Australia/Sydney") std::swap(summer, winter);
  }
  // Tables of the first zone.
  xp_time_localdst(summer);
  xp_time_utcdst(summer);
  long bias = xpt::dst_bias();
  ASSERT_NE(xpt::utc_table(), nullptr);

  setenv("TZ", next.c_str(), 1);
  tzset();
  auto changed = std::chrono::steady_clock::now();
  long expected = gmtoff_at(time(nullptr));
  while (xp_time_getgmto() != expected &&
         std::chrono::steady_clock::now() - changed < std::chrono::seconds(2))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  auto seen = std::chrono::steady_clock::now() - changed;
  EXPECT_EQ(xp_time_getgmto(), expected);
  EXPECT_LE(seen, std::chrono::milliseconds(1100));
  EXPECT_EQ(xp_time_getdst(), dst_at(time(nullptr)));
  EXPECT_EQ(xpt::dst_bias(), bias);
  // The local table was built again at once; the utc one when next used.
  EXPECT_NE(xpt::local_table(), nullptr);
  EXPECT_EQ(xpt::utc_table(), nullptr);
  if (bias) {
    EXPECT_EQ(xp_time_localdst(summer), 3600);
    EXPECT_EQ(xp_time_localdst(winter), 0);
    EXPECT_EQ(xp_time_utcdst(summer - 7200), 3600);
    EXPECT_EQ(xp_time_utcdst(winter - 7200), 0);
  } else {
    EXPECT_EQ(xp_time_localdst(summer), 0);
    EXPECT_EQ(xp_time_utcdst(summer), 0);
  }
  EXPECT_NE(xpt::utc_table(), nullptr);

  if (first.empty())
    unsetenv("TZ");
  else
    setenv("TZ", first.c_str(), 1);
  tzset();
  long back = gmtoff_at(time(nullptr));
  changed = std::chrono::steady_clock::now();
  while (xp_time_getgmto() != back &&
         std::chrono::steady_clock::now() - changed < std::chrono::seconds(2))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(xp_time_getgmto(), back);
}

// Several threads converting at once, while one keeps dropping the tables:
// every answer is the one a single thread gets.
TEST(Zone, ThreadsShareTheCaches) {
  std::vector<xp_seconds> values;
  std::vector<xp_seconds> expected;
  for (long long p = 1000; p < kEnd; p += 86400 * 5 + 3599) {
    if (gmtoff_at(p - 7200) != gmtoff_at(p + 7200)) continue;
    xp_seconds v = static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
    values.push_back(v);
    expected.push_back(xp_time_utctolocal(v));
  }
  std::vector<long> utc_expected;
  for (xp_seconds v : values)
    utc_expected.push_back(xp_time_utcdst(v));
  std::vector<std::thread> threads;
  std::vector<long> errors(4, 0);
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&, k] {
      for (int round = 0; round < 3; ++round)
        for (size_t i = k; i < values.size(); i += 1 + k) {
          if (xp_time_utctolocal(values[i]) != expected[i]) ++errors[k];
          if (xp_time_utcdst(values[i]) != utc_expected[i]) ++errors[k];
          if (k == 3 && i % 97 == 0) xp_time_localdst(0);
          if (k == 2 && i % 89 == 0) xp_time_utcdst(0);
        }
    });
  for (auto &t : threads)
    t.join();
  for (long e : errors)
    EXPECT_EQ(e, 0);
}

// The setters are tried only in a child process that cannot set the clock:
// they must leave it alone and answer the clock as it reads.
TEST(Zone, RefusedClockChangeReturnsTheClock) {
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(77);
    // CAP_SYS_TIME (bit 25) must be absent from the effective set.
    FILE *f = fopen("/proc/self/status", "r");
    if (!f) _exit(77);
    char line[256];
    unsigned long long caps = ~0ULL;
    while (fgets(line, sizeof line, f))
      if (strncmp(line, "CapEff:", 7) == 0) caps = strtoull(line + 7, nullptr, 16);
    fclose(f);
    if (caps & (1ULL << 25)) _exit(77);
    xp_seconds now = xp_time_getutc();
    xp_seconds got = xp_time_setutc(now + 86400 * 400);
    if (got < now || got > now + 2) _exit(1);
    xp_dtr r{2001, 2, 3, 4, 5, 6, 0};
    got = xp_time_setdtr(&r);
    if (got < now || got > now + 2) _exit(2);
    r.year = 2100;  // out of range: the clock is left alone
    got = xp_time_setdtr(&r);
    if (got < now || got > now + 2) _exit(3);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "the clock could not be made read-only";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
