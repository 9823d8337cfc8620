// Side-by-side timing for the benchmarks: the library's call and a peer's
// over the same inputs in one run, on this thread's processor clock (the
// machine may be shared, and time spent descheduled would blur the
// comparison). Reports ns per call of each and the ratio peer / xp
// ("speedup").
#ifndef XP_BENCH_SIDE_BY_SIDE_H
#define XP_BENCH_SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <time.h>

#include <cstddef>

namespace bench {

inline double thread_ns() {
  struct timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

// Calls ours(i) and then peer(i) for i in [0, count) on every iteration.
template <class Ours, class Peer>
void side_by_side(benchmark::State &state, size_t count, Ours ours, Peer peer) {
  double ours_ns = 0, peer_ns = 0;
  size_t calls = 0;
  for (auto _ : state) {
    double t0 = thread_ns();
    for (size_t i = 0; i < count; ++i)
      ours(i);
    double t1 = thread_ns();
    for (size_t i = 0; i < count; ++i)
      peer(i);
    double t2 = thread_ns();
    ours_ns += t1 - t0;
    peer_ns += t2 - t1;
    calls += count;
  }
  state.counters["xp_ns"] = ours_ns / static_cast<double>(calls);
  state.counters["peer_ns"] = peer_ns / static_cast<double>(calls);
  state.counters["speedup"] = peer_ns / ours_ns;
}

}  // namespace bench

#endif  // XP_BENCH_SIDE_BY_SIDE_H
