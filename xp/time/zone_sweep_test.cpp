// Every zone of the system's zone list against localtime_r: offsets and
// amounts sampled over 1971...2037 and at each change the table finds,
// wall-clock times read back.
#include <gtest/gtest.h>

#include <fstream>

#include "xp/core/xp_core_internal.h"
#include "xp/time/xp_time_internal.h"

namespace {

constexpr long long kDelta = XP_TIME_POSIX_DELTA;

struct tm sys(long long p) {
  time_t t = static_cast<time_t>(p);
  struct tm tm {};
  localtime_r(&t, &tm);
  return tm;
}

// Sanitizers slow every call by an order: there the same population is
// sampled more thinly. Every stretch between changes is a week or longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long long kStep = 21 * 86400 + 3607;
#else
constexpr long long kStep = 3 * 86400 + 3607;
#endif

// One zone: the offset of every sample and of the seconds around every
// change; the amount is 0 in standard time, else the offset less that of
// the last standard time sampled; local values and records read back away
// from changes, and at a change as documented: the first instant that
// reads a wall-clock time, or for a skipped one the offset before.
long check_zone(const char *zone) {
  long bad = 0;
  auto fail = [&](const char *what, long long p, long got, long want) {
    if (++bad <= 3)
      ADD_FAILURE() << zone << " " << what << " at POSIX " << p << ": " << got << " not " << want;
  };
  long standard = LONG_MIN;
  for (long long p = 31536000, k = 0; p < 2145916800LL; p += kStep, ++k) {
    xp_seconds v = static_cast<xp_seconds>(p + kDelta), local = xp_time_utctolocal(v);
    struct tm s = sys(p);
    long off = static_cast<long>(local - v), amount = xp_time_utcdst(v);
    if (!s.tm_isdst) standard = s.tm_gmtoff;
    if (off != s.tm_gmtoff) fail("offset", p, off, s.tm_gmtoff);
    if (standard != LONG_MIN && amount != s.tm_gmtoff - standard)
      fail("amount", p, amount, s.tm_gmtoff - standard);
    if (k % 64 == 0 && (amount != xp_time_utcdst_raw(v) || amount != xp_time_localdst_raw(local)))
      fail("uncached amount", p, amount, xp_time_utcdst_raw(v));
    if (sys(p - 86400).tm_gmtoff != sys(p + 86400).tm_gmtoff) continue;
    xp_dtr r;
    xp_time_utctodtr(v, &r);
    if (xp_time_localtoutc(local) != v || xp_time_dtrtoutc(&r) != v) fail("back to utc", p, 0, 0);
  }
  const xpt::xt_table *t = xpt::zone_table();
  for (long i = 1; i < t->count; ++i) {
    long long at = static_cast<long long>(t->seg[i].start) - kDelta;
    if (at < 31536000 || at > 2145916800LL) continue;
    struct tm before = sys(at - 1), after = sys(at);
    if (before.tm_gmtoff == after.tm_gmtoff && before.tm_isdst == after.tm_isdst)
      fail("no change", at, 0, 0);
    for (long long p : {at - 1, at, at + 1})
      if (xp_time_utcgmto(static_cast<xp_seconds>(p + kDelta)) != sys(p).tm_gmtoff)
        fail("offset at change", p, xp_time_utcgmto(static_cast<xp_seconds>(p + kDelta)),
             sys(p).tm_gmtoff);
    long o1 = before.tm_gmtoff, o2 = after.tm_gmtoff;
    for (long long w = at + std::min(o1, o2) - 1; w <= at + std::max(o1, o2); w += 599) {
      long long first = w - o1 < at ? w - o1 : w - o2 >= at ? w - o2 : w - o1;
      xp_seconds lv = static_cast<xp_seconds>(w + kDelta);
      xp_dtr r;
      xp_time_localtodtr(lv, &r);
      if (xp_time_localtoutc(lv) != static_cast<xp_seconds>(first + kDelta) ||
          xp_time_dtrgmto(&r) != w - first || xp_time_dtrdst(&r) != xp_time_localdst(lv))
        fail("wall time at change", w, xp_time_dtrgmto(&r), static_cast<long>(w - first));
    }
  }
  return bad;
}

TEST(ZoneSweep, EveryZoneMatchesTheSystem) {
  const char *saved = getenv("TZ");
  std::string restore = saved ? saved : "";
  std::vector<std::string> zones;
  std::ifstream in("/usr/share/zoneinfo/zone1970.tab");
  for (std::string line, codes, coords, zone; std::getline(in, line);)
    if (line[0] != '#' && std::istringstream(line) >> codes >> coords >> zone)
      zones.push_back(zone);
  ASSERT_GT(zones.size(), 300u);
  size_t checked = 0;
  for (const std::string &zone : zones) {
    setenv("TZ", zone.c_str(), 1);
    xpt::zone_reset();
    xp_time_utcgmto(XP_TIME_POSIX_DELTA);  // builds the table
    ASSERT_NE(xpt::zone_table(), nullptr) << zone;
    checked += check_zone(zone.c_str()) == 0;
  }
  setenv("TZ", "UTC", 1);
  xpc::fail_alloc_after(1);  // without a table the system is asked
  xpt::zone_reset();
  EXPECT_EQ(xp_time_utcgmto(XP_TIME_POSIX_DELTA), sys(0).tm_gmtoff);
  EXPECT_EQ(xpt::zone_table(), nullptr);
  saved ? setenv("TZ", restore.c_str(), 1) : unsetenv("TZ");
  xpt::zone_reset();
  printf("zones checked: %zu of %zu\n", checked, zones.size());
  EXPECT_EQ(checked, zones.size());
}

}  // namespace
