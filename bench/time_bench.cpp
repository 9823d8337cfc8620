// Time conversions against the C library, side by side in one run:
// utc to local value (warm table) against localtime_r in New York, Dublin,
// Lord Howe Island and Casablanca, local value to record against gmtime_r,
// record to local value against timegm, a zone's table built against the
// C library loading the zone. Each benchmark times both over the
// same random instants of 1970...2037 and reports ns per call of each and
// the ratio peer / xp ("speedup").
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <time.h>

#include <vector>

#include "bench/side_by_side.h"
#include "xp/time/xp_time_internal.h"

namespace {

constexpr size_t kCount = 4096;

struct Inputs {
  std::vector<xp_seconds> values;  // utc values
  std::vector<time_t> posix;
  std::vector<xp_dtr> records;
  std::vector<struct tm> tms;
  Inputs() {
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
  }
};

const Inputs &inputs() {
  static const Inputs in;
  return in;
}

void utc_to_local(benchmark::State &state, const char *zone) {
  const Inputs &in = inputs();
  setenv("TZ", zone, 1);
  xpt::zone_reset();
  for (xp_seconds v : in.values)  // builds the table
    benchmark::DoNotOptimize(xp_time_utctolocal(v));
  bench::side_by_side(
      state, kCount, [&](size_t i) { benchmark::DoNotOptimize(xp_time_utctolocal(in.values[i])); },
      [&](size_t i) {
        struct tm tm;
        localtime_r(&in.posix[i], &tm);
        benchmark::DoNotOptimize(tm.tm_gmtoff);
      });
}
BENCHMARK_CAPTURE(utc_to_local, New_York, "America/New_York")
    ->Name("BM_UtcToLocal_vs_localtime_r/New_York");
BENCHMARK_CAPTURE(utc_to_local, Dublin, "Europe/Dublin")
    ->Name("BM_UtcToLocal_vs_localtime_r/Dublin");
BENCHMARK_CAPTURE(utc_to_local, Lord_Howe, "Australia/Lord_Howe")
    ->Name("BM_UtcToLocal_vs_localtime_r/Lord_Howe");
BENCHMARK_CAPTURE(utc_to_local, Casablanca, "Africa/Casablanca")
    ->Name("BM_UtcToLocal_vs_localtime_r/Casablanca");

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

// A zone's table built from nothing (zone data read again, every change of
// 1904...2040 found) against the C library reading the same zone data: the
// table must stay well under 5 ms.
void BM_ZoneTable_vs_tzset(benchmark::State &state) {
  static const char *const zones[] = {"America/New_York", "Australia/Lord_Howe"};
  bench::side_by_side(
      state, 2,
      [&](size_t i) {
        setenv("TZ", zones[i], 1);
        xpt::zone_reset();
        benchmark::DoNotOptimize(xp_time_utcgmto(XP_TIME_POSIX_DELTA));
      },
      [&](size_t i) {
        setenv("TZ", zones[i], 1);
        tzset();
        time_t epoch = 0;
        struct tm tm;
        localtime_r(&epoch, &tm);
        benchmark::DoNotOptimize(tm.tm_gmtoff);
      });
}
BENCHMARK(BM_ZoneTable_vs_tzset);

}  // namespace
