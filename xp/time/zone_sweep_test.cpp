// Every zone of the system's zone list against localtime_r: offsets and
// amounts sampled over 1971...2037 and at each change the table finds,
// wall-clock times read back, and what a table costs to build.
#include <gtest/gtest.h>

#include <time.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "xp/time/time_test_util.h"

namespace {

constexpr long long kDelta = XP_TIME_POSIX_DELTA;

struct Sys {
  long offset;
  int isdst;
};
Sys sys(long long p) {
  time_t t = static_cast<time_t>(p);
  struct tm tm {};
  localtime_r(&t, &tm);
  return Sys{tm.tm_gmtoff, tm.tm_isdst > 0};
}

double cpu_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

std::vector<std::string> zone1970() {
  std::vector<std::string> zones;
  std::ifstream in("/usr/share/zoneinfo/zone1970.tab");
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    std::string codes, coords, zone;
    if (line[0] != '#' && fields >> codes >> coords >> zone) zones.push_back(zone);
  }
  return zones;
}

// Sanitizers slow every call by an order: there the same population is
// sampled more thinly.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long long kStep = 21 * 86400 + 3607;
#else
constexpr long long kStep = 3 * 86400 + 3607;
#endif

// One zone: the offset of every sample and of the seconds around every
// change; the amount agrees with the system's flag (0 exactly in standard
// time) and with the uncached query; local values and records read back
// where no change is near, and at a change as documented.
long check_zone(const char *zone) {
  long bad = 0;
  auto fail = [&](const char *what, long long p, long got, long want) {
    if (++bad <= 3)
      ADD_FAILURE() << zone << " " << what << " at POSIX " << p << ": " << got << " not " << want;
  };
  const xpt::xt_table *t = xpt::zone_table();
  for (long long p = 31536000, k = 0; p < 2145916800LL; p += kStep, ++k) {
    xp_seconds v = static_cast<xp_seconds>(p + kDelta);
    Sys s = sys(p);
    xp_seconds local = xp_time_utctolocal(v);
    long off = static_cast<long>(local - v), amount = xp_time_utcdst(v);
    if (off != s.offset) fail("offset", p, off, s.offset);
    if (!s.isdst && amount) fail("amount in standard time", p, amount, 0);
    if (k % 64 == 0 && amount != xp_time_utcdst_raw(v)) fail("raw amount", p, amount, xp_time_utcdst_raw(v));
    if (sys(p - 86400).offset != sys(p + 86400).offset) continue;
    xp_dtr r;
    xp_time_utctodtr(v, &r);
    if (xp_time_localtoutc(local) != v) fail("local to utc", p, 0, 0);
    if (xp_time_dtrtoutc(&r) != v || xp_time_dtrgmto(&r) != off) fail("record", p, 0, 0);
  }
  for (long i = 1; i < t->count; ++i) {
    long long at = static_cast<long long>(t->seg[i].start) - kDelta;
    if (at < 31536000 || at > 2145916800LL) continue;
    Sys before = sys(at - 1), after = sys(at);
    if (before.offset == after.offset && before.isdst == after.isdst) fail("no change", at, 0, 0);
    for (long long p : {at - 1, at, at + 1}) {
      long off = xp_time_utcgmto(static_cast<xp_seconds>(p + kDelta));
      if (off != sys(p).offset) fail("offset at change", p, off, sys(p).offset);
    }
    // Wall-clock times around the change: the first instant that reads
    // them, or for a skipped one the offset before the change.
    for (long long w = at + std::min(before.offset, after.offset) - 1;
         w <= at + std::max(before.offset, after.offset); w += 599) {
      long long first = w - before.offset < at ? w - before.offset
                        : w - after.offset >= at ? w - after.offset
                                                 : w - before.offset;
      xp_seconds lv = static_cast<xp_seconds>(w + kDelta);
      if (xp_time_localtoutc(lv) != static_cast<xp_seconds>(first + kDelta))
        fail("wall time at change", w, static_cast<long>(xp_time_localtoutc(lv) - kDelta - w),
             static_cast<long>(first - w));
      xp_dtr r;
      xp_time_localtodtr(lv, &r);
      if (xp_time_dtrgmto(&r) != w - first || xp_time_dtrdst(&r) != xp_time_localdst(lv))
        fail("record at change", w, xp_time_dtrgmto(&r), static_cast<long>(w - first));
    }
  }
  return bad;
}

TEST(ZoneSweep, EveryZoneMatchesTheSystem) {
  const char *saved = getenv("TZ");
  std::string restore = saved ? saved : "";
  std::vector<std::string> zones = zone1970();
  ASSERT_GT(zones.size(), 300u);
  size_t checked = 0;
  std::vector<double> build_ms;
  for (const std::string &zone : zones) {
    setenv("TZ", zone.c_str(), 1);
    xpt::zone_reset();
    double t0 = cpu_ms();
    xp_time_utcgmto(XP_TIME_POSIX_DELTA);  // builds the table
    build_ms.push_back(cpu_ms() - t0);
    ASSERT_NE(xpt::zone_table(), nullptr) << zone;
    checked += check_zone(zone.c_str()) == 0;
  }
  saved ? setenv("TZ", restore.c_str(), 1) : unsetenv("TZ");
  xpt::zone_reset();
  std::sort(build_ms.begin(), build_ms.end());
  printf("zones checked: %zu of %zu; table build ms: median %.2f, max %.2f\n", checked,
         zones.size(), build_ms[build_ms.size() / 2], build_ms.back());
  EXPECT_EQ(checked, zones.size());
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(build_ms[build_ms.size() * 19 / 20], 5.0);
#endif
}

}  // namespace
