// Time texts against the C library, side by side in one run: reading
// general time (and ISO 8601) against strptime + timegm, and writing a
// record by a format against strftime. Each benchmark times both over the
// same random instants of 1970...2037 and reports ns per call of each and
// the ratio peer / xp ("speedup").
#include <benchmark/benchmark.h>

#include <locale.h>
#include <time.h>

#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "xp/time/xp_time.h"

namespace {

constexpr size_t kCount = 4096;

struct Inputs {
  std::vector<std::string> general;  // YYYYMMDDhhmmssZ
  std::vector<std::string> iso;      // YYYY-MM-DDThh:mm:ssZ
  std::vector<xp_dtr> records;
  std::vector<struct tm> tms;
  Inputs() {
    setlocale(LC_ALL, "C");
    unsigned long long seed = 0x9e3779b97f4a7c15ULL;
    for (size_t i = 0; i < kCount; ++i) {
      seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
      time_t p = static_cast<time_t>((seed >> 33) % 2145916800ULL);  // 1970...2037
      struct tm tm;
      gmtime_r(&p, &tm);
      tms.push_back(tm);
      char text[64];
      strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &tm);
      general.push_back(text);
      strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tm);
      iso.push_back(text);
      xp_dtr r;
      xp_time_localtodtr(static_cast<xp_seconds>(p) + XP_TIME_POSIX_DELTA, &r);
      records.push_back(r);
    }
  }
};

const Inputs &inputs() {
  static const Inputs in;
  return in;
}

void BM_GeneralTimeToUtc_vs_strptime_timegm(benchmark::State &state) {
  const Inputs &in = inputs();
  bench::side_by_side(
      state, kCount,
      [&](size_t i) { benchmark::DoNotOptimize(xp_time_generaltimetoutc(in.general[i].c_str())); },
      [&](size_t i) {
        struct tm tm {};
        strptime(in.general[i].c_str(), "%Y%m%d%H%M%SZ", &tm);
        benchmark::DoNotOptimize(timegm(&tm));
      });
}
BENCHMARK(BM_GeneralTimeToUtc_vs_strptime_timegm);

void BM_Iso8601ToUtc_vs_strptime_timegm(benchmark::State &state) {
  const Inputs &in = inputs();
  bench::side_by_side(
      state, kCount,
      [&](size_t i) { benchmark::DoNotOptimize(xp_time_iso8601combinedtoutc(in.iso[i].c_str())); },
      [&](size_t i) {
        struct tm tm {};
        strptime(in.iso[i].c_str(), "%Y-%m-%dT%H:%M:%SZ", &tm);
        benchmark::DoNotOptimize(timegm(&tm));
      });
}
BENCHMARK(BM_Iso8601ToUtc_vs_strptime_timegm);

void BM_Xpf_time_vs_strftime(benchmark::State &state) {
  const Inputs &in = inputs();
  static const char kFormat[] = "%Y-%m-%dT%H:%M:%S";
  char buf[64];
  bench::side_by_side(
      state, kCount,
      [&](size_t i) {
        benchmark::DoNotOptimize(xpf_time(buf, sizeof buf, kFormat, -1, &in.records[i], 0));
        benchmark::ClobberMemory();
      },
      [&](size_t i) {
        benchmark::DoNotOptimize(strftime(buf, sizeof buf, kFormat, &in.tms[i]));
        benchmark::ClobberMemory();
      });
}
BENCHMARK(BM_Xpf_time_vs_strftime);

}  // namespace
