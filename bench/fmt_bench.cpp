// The format engine against the C library's snprintf and libfmt's
// format_to, side by side in one run: each benchmark times batches of the
// three in turn over the same inputs and reports nanoseconds per call and
// the ratios (peer time / engine time; above 1 means the engine is faster).
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <stdio.h>

#include <random>
#include <vector>

#include "bench/side_by_side.h"
#include "xp/fmt/xp_fmt.h"

namespace {

constexpr size_t kBatch = 1024;

struct Inputs {
  std::vector<int> ints;
  std::vector<unsigned> hex;
  std::vector<const char *> texts;
  std::vector<double> doubles;
  Inputs() {
    std::mt19937 rng(42);
    static const char *words[] = {"a",       "bob",   "carol",   "dave_x", "eve",
                                  "mallory", "trent", "peggy99", "victor", "walter"};
    for (size_t i = 0; i < kBatch; i++) {
      ints.push_back((int)rng());
      hex.push_back(rng());
      texts.push_back(words[rng() % 10]);
      doubles.push_back(std::uniform_real_distribution<double>(-1e6, 1e6)(rng));
    }
  }
};

const Inputs &inputs() {
  static const Inputs in;
  return in;
}

char g_buf[256];

// On this thread's processor clock: time spent descheduled on a shared
// machine does not blur the comparison.
template <class F>
double batch_ns(F &&f) {
  double t0 = bench::thread_ns();
  for (size_t i = 0; i < kBatch; i++) {
    f(i);
    benchmark::DoNotOptimize(g_buf);
    benchmark::ClobberMemory();
  }
  return bench::thread_ns() - t0;
}

template <class X, class S, class F>
void side_by_side(benchmark::State &state, X &&xp, S &&sn, F &&fm) {
  double t_xp = 0, t_sn = 0, t_fm = 0;
  size_t calls = 0;
  for (auto _ : state) {
    t_xp += batch_ns(xp);
    t_sn += batch_ns(sn);
    t_fm += batch_ns(fm);
    calls += kBatch;
  }
  state.counters["xp_ns"] = t_xp / (double)calls;
  state.counters["snprintf_ns"] = t_sn / (double)calls;
  state.counters["fmt_ns"] = t_fm / (double)calls;
  state.counters["snprintf/xp"] = t_sn / t_xp;
  state.counters["fmt/xp"] = t_fm / t_xp;
}

void end(char *p) {
  *p = 0;
}

void BM_Int(benchmark::State &state) {
  const Inputs &in = inputs();
  side_by_side(
      state, [&](size_t i) { xp_fmt_format(g_buf, sizeof g_buf, "%d", in.ints[i]); },
      [&](size_t i) { snprintf(g_buf, sizeof g_buf, "%d", in.ints[i]); },
      [&](size_t i) { end(fmt::format_to(g_buf, "{}", in.ints[i])); });
}
BENCHMARK(BM_Int);

void BM_String(benchmark::State &state) {
  const Inputs &in = inputs();
  side_by_side(
      state, [&](size_t i) { xp_fmt_format(g_buf, sizeof g_buf, "%s", in.texts[i]); },
      [&](size_t i) { snprintf(g_buf, sizeof g_buf, "%s", in.texts[i]); },
      [&](size_t i) { end(fmt::format_to(g_buf, "{}", in.texts[i])); });
}
BENCHMARK(BM_String);

void BM_Mixed(benchmark::State &state) {
  const Inputs &in = inputs();
  side_by_side(
      state,
      [&](size_t i) {
        xp_fmt_format(g_buf, sizeof g_buf, "user %s id %d at %08x", in.texts[i], in.ints[i],
                      in.hex[i]);
      },
      [&](size_t i) {
        snprintf(g_buf, sizeof g_buf, "user %s id %d at %08x", in.texts[i], in.ints[i], in.hex[i]);
      },
      [&](size_t i) {
        end(fmt::format_to(g_buf, "user {} id {} at {:08x}", in.texts[i], in.ints[i], in.hex[i]));
      });
}
BENCHMARK(BM_Mixed);

void BM_Fixed2(benchmark::State &state) {
  const Inputs &in = inputs();
  side_by_side(
      state, [&](size_t i) { xp_fmt_format(g_buf, sizeof g_buf, "%.2f", in.doubles[i]); },
      [&](size_t i) { snprintf(g_buf, sizeof g_buf, "%.2f", in.doubles[i]); },
      [&](size_t i) { end(fmt::format_to(g_buf, "{:.2f}", in.doubles[i])); });
}
BENCHMARK(BM_Fixed2);

}  // namespace
