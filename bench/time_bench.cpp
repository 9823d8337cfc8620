// Time conversions against the C library, side by side in one run:
// utc to local value (warm tables) against localtime_r, local value to
// record against gmtime_r, record to local value against timegm. Each
// benchmark times both over the same random instants of 1970...2037 and
// reports ns per call of each and the ratio peer / xp ("speedup").
//
// The zone is the one TZ names; America/New_York when TZ is unset.
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <time.h>

#include <vector>

#include "bench/side_by_side.h"
#include "xp/time/xp_time.h"

namespace {

constexpr size_t kCount = 4096;

struct Inputs {
  std::vector<xp_seconds> values;  // utc values
  std::vector<time_t> posix;
  std::vector<xp_dtr> records;
  std::vector<struct tm> tms;
  Inputs() {
    if (!getenv("TZ")) setenv("TZ", "America/New_York", 1);
    tzset();
    unsigned long long seed = 0x9e3779b97f4a7c15ULL;
    for (size_t i = 0; i < kCount; ++i) {
      seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
      time_t p = static_cast<time_t>((seed >> 33) % 2145916800ULL);  // 1970...2037
      posix.push_back(p);
      values.push_back(static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA);
      xp_dtr r;
      xp_time_localtodtr(values.back(), &r);
      records.push_back(r);
      struct tm tm;
      gmtime_r(&p, &tm);
      tms.push_back(tm);
    }
    // Warm the tables: every instant once.
    for (xp_seconds v : values)
      benchmark::DoNotOptimize(xp_time_utctolocal(v));
  }
};

const Inputs &inputs() {
  static const Inputs in;
  return in;
}

void BM_UtcToLocal_vs_localtime_r(benchmark::State &state) {
  const Inputs &in = inputs();
  bench::side_by_side(
      state, kCount, [&](size_t i) { benchmark::DoNotOptimize(xp_time_utctolocal(in.values[i])); },
      [&](size_t i) {
        struct tm tm;
        localtime_r(&in.posix[i], &tm);
        benchmark::DoNotOptimize(tm.tm_gmtoff);
      });
}
BENCHMARK(BM_UtcToLocal_vs_localtime_r);

void BM_LocalToDtr_vs_gmtime_r(benchmark::State &state) {
  const Inputs &in = inputs();
  bench::side_by_side(
      state, kCount,
      [&](size_t i) {
        xp_dtr r;
        xp_time_localtodtr(in.values[i], &r);
        benchmark::DoNotOptimize(r);
      },
      [&](size_t i) {
        struct tm tm;
        gmtime_r(&in.posix[i], &tm);
        benchmark::DoNotOptimize(tm);
      });
}
BENCHMARK(BM_LocalToDtr_vs_gmtime_r);

void BM_DtrToLocal_vs_timegm(benchmark::State &state) {
  const Inputs &in = inputs();
  bench::side_by_side(
      state, kCount,
      [&](size_t i) { benchmark::DoNotOptimize(xp_time_dtrtolocal(&in.records[i])); },
      [&](size_t i) {
        struct tm tm = in.tms[i];
        benchmark::DoNotOptimize(timegm(&tm));
      });
}
BENCHMARK(BM_DtrToLocal_vs_timegm);

}  // namespace
