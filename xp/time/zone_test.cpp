// The zone now, in whichever zone TZ names: the clock, offset, amount and
// name of now against localtime_r, a zone change while running, threads.
#include <gtest/gtest.h>

#include <thread>

#include "xp/time/xp_time_internal.h"

namespace {

long gmtoff_at(long long p) {
  time_t t = static_cast<time_t>(p);
  struct tm tm {};
  localtime_r(&t, &tm);
  return tm.tm_gmtoff;
}
xp_seconds value(long long p) {
  return static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA;
}

// The standard offset of the zones the suite runs in, read as gettz();
// where daylight saving is one hour on a fixed standard offset the amounts
// are 3600 and 0.
TEST(ZoneNow, ClockOffsetAmountAndName) {
  const std::string standard =
      " UTC 0 America/New_York -18000 Europe/Dublin 3600 "
      "Australia/Lord_Howe 37800 Africa/Casablanca 3600 ";
  const char *zone = getenv("TZ");
  size_t at = zone ? standard.find(std::string(" ") + zone + " ") : std::string::npos;
  for (int attempt = 0; attempt < 5; ++attempt) {
    time_t now = time(nullptr);
    struct tm tm {};
    localtime_r(&now, &tm);
    xp_seconds utc = xp_time_getutc(), local = xp_time_getlocal();
    long gmto = xp_time_getgmto(), dst = xp_time_getdst(), tz = xp_time_gettz();
    char name[64];
    long n = xp_time_gettzname(name, sizeof name);
    if (time(nullptr) != now) continue;
    EXPECT_EQ(utc, value(now));
    EXPECT_EQ(
        std::to_string(static_cast<long>(local - utc)) + (dst ? " dst " : " ") +
            std::to_string(dst - gmto),
        std::to_string(tm.tm_gmtoff) + (tm.tm_isdst > 0 ? " dst " : " ") + std::to_string(tz));
    EXPECT_EQ(dst, xp_time_utcdst(utc));
    EXPECT_TRUE(at == std::string::npos ||
                -tz == std::stol(standard.substr(at + strlen(zone) + 2)));
    EXPECT_EQ(std::string(name) + std::to_string(n),
              tm.tm_zone + std::to_string(strlen(tm.tm_zone)));
    EXPECT_EQ(xp_time_gettzname(nullptr, 0), n);
    EXPECT_EQ(xp_time_gettzname(name, 3), std::min(n, 2L));  // cut to the buffer
    return;
  }
  FAIL() << "the clock kept ticking";
}

// Another zone while running is seen once its offset shows, and so is a
// zone of the same offset now but another history (TZ changed); the table
// is built again for it.
TEST(ZoneNow, ZoneChangeIsSeen) {
  const char *saved = getenv("TZ");
  std::string first = saved ? saved : "";
  const long long summer77 = 236520000;  // 1977-07-01: Paris kept summer time, Berlin did not
  for (const char *zone : {"Europe/Berlin", "Europe/Paris", "Australia/Sydney"}) {
    xp_time_utctolocal(value(summer77));
    setenv("TZ", zone, 1);
    tzset();
    long want = gmtoff_at(summer77);
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    auto seen = [&] {
      return xp_time_utcgmto(value(summer77)) == want &&
             xp_time_getgmto() == gmtoff_at(time(nullptr));
    };
    while (!seen() && std::chrono::steady_clock::now() < until)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(seen()) << zone;
  }
  saved ? setenv("TZ", first.c_str(), 1) : unsetenv("TZ");
  xpt::zone_reset();
}

// Threads converting at once while two keep dropping the table: every
// answer is the one a single thread gets.
TEST(ZoneNow, ThreadsShareTheTable) {
  std::vector<xp_seconds> values, local;
  for (long long p = 86400; p < 2145916800LL; p += 86400 * 5 + 3599)
    values.push_back(value(p)),
        local.push_back(xp_time_utctolocal(value(p)) + xp_time_utcdst(value(p)));
  std::atomic<long> errors{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&, k] {
      for (size_t i = k; i < values.size(); i += 1 + k) {
        errors += xp_time_utctolocal(values[i]) + xp_time_utcdst(values[i]) != local[i];
        if (k >= 2 && i % 397 == 0) (k == 2 ? xp_time_utcdst : xp_time_localdst)(0);
      }
    });
  for (auto &t : threads)
    t.join();
  EXPECT_EQ(errors, 0);
}

}  // namespace
