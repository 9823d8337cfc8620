// Address text and number scanning beside the C library: each benchmark times
// the library and its peer on the same inputs in one run and reports the
// ratio xp / peer of their times (below 1: the library is faster).
#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "xp/fmt/xp_fmt.h"

namespace {

// Runs both over the whole input set each iteration, on this thread's
// processor clock, and reports the ratio.
template <class Xp, class Peer>
void side_by_side(benchmark::State &state, size_t n, Xp xp, Peer peer) {
  double xp_ns = 0, peer_ns = 0;
  for (auto _ : state) {
    double t0 = bench::thread_ns();
    for (size_t i = 0; i < n; ++i)
      xp(i);
    double t1 = bench::thread_ns();
    for (size_t i = 0; i < n; ++i)
      peer(i);
    double t2 = bench::thread_ns();
    xp_ns += t1 - t0;
    peer_ns += t2 - t1;
  }
  double calls = static_cast<double>(state.iterations()) * static_cast<double>(n);
  state.counters["xp_ns"] = xp_ns / calls;
  state.counters["peer_ns"] = peer_ns / calls;
  state.counters["ratio"] = xp_ns / peer_ns;
}

std::vector<unsigned char> random_bytes(size_t n, unsigned seed, bool zeros) {
  std::mt19937 rng(seed);
  std::vector<unsigned char> v(n);
  for (size_t i = 0; i < n; ++i)
    v[i] = zeros && (rng() & 3) ? 0 : static_cast<unsigned char>(rng());
  return v;
}

constexpr size_t kN = 1024;

void Ipv4Render(benchmark::State &state) {
  auto a = random_bytes(4 * kN, 1, false);
  char buf[64];
  side_by_side(
      state, kN,
      [&](size_t i) {
        benchmark::DoNotOptimize(xp_fmt_addr(buf, sizeof buf, 1, &a[4 * i]));
        benchmark::ClobberMemory();
      },
      [&](size_t i) {
        benchmark::DoNotOptimize(inet_ntop(AF_INET, &a[4 * i], buf, sizeof buf));
        benchmark::ClobberMemory();
      });
}
BENCHMARK(Ipv4Render);

void Ipv6Render(benchmark::State &state) {
  auto a = random_bytes(16 * kN, 2, true);
  char buf[64];
  side_by_side(
      state, kN,
      [&](size_t i) {
        benchmark::DoNotOptimize(xp_fmt_addr(buf, sizeof buf, -1, &a[16 * i]));
        benchmark::ClobberMemory();
      },
      [&](size_t i) {
        benchmark::DoNotOptimize(inet_ntop(AF_INET6, &a[16 * i], buf, sizeof buf));
        benchmark::ClobberMemory();
      });
}
BENCHMARK(Ipv6Render);

void Ipv4Read(benchmark::State &state) {
  auto a = random_bytes(4 * kN, 3, false);
  std::vector<std::string> texts;
  for (size_t i = 0; i < kN; ++i) {
    char buf[16];
    inet_ntop(AF_INET, &a[4 * i], buf, sizeof buf);
    texts.emplace_back(buf);
  }
  unsigned char out[4];
  side_by_side(
      state, kN,
      [&](size_t i) {
        benchmark::DoNotOptimize(
            xp_fmt_getaddr(out, 4, texts[i].data(), static_cast<intptr_t>(texts[i].size())));
        benchmark::ClobberMemory();
      },
      [&](size_t i) {
        benchmark::DoNotOptimize(inet_pton(AF_INET, texts[i].c_str(), out));
        benchmark::ClobberMemory();
      });
}
BENCHMARK(Ipv4Read);

void LongRead(benchmark::State &state) {
  std::mt19937_64 rng(4);
  std::vector<std::string> texts;
  for (size_t i = 0; i < kN; ++i)
    texts.push_back(std::to_string(static_cast<long>(rng()) >> (rng() % 63)));
  side_by_side(
      state, kN,
      [&](size_t i) { benchmark::DoNotOptimize(xp_fmt_getlong(texts[i].data(), texts[i].size())); },
      [&](size_t i) { benchmark::DoNotOptimize(std::strtol(texts[i].c_str(), nullptr, 10)); });
}
BENCHMARK(LongRead);

void UuidRead(benchmark::State &state) {
  auto a = random_bytes(16 * kN, 5, false);
  std::vector<std::string> texts;
  for (size_t i = 0; i < kN; ++i) {
    char text[37];
    xp_fmt_uuid(text, sizeof text, &a[16 * i], 16);
    texts.emplace_back(text);
  }
  unsigned char out[16];
  // Peer: the same 16 bytes through sscanf.
  side_by_side(
      state, kN,
      [&](size_t i) {
        benchmark::DoNotOptimize(xp_fmt_getuuid(out, 16, texts[i].data(), 36));
        benchmark::ClobberMemory();
      },
      [&](size_t i) {
        benchmark::DoNotOptimize(std::sscanf(
            texts[i].c_str(),
            "%2hhx%2hhx%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx",
            &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7], &out[8],
            &out[9], &out[10], &out[11], &out[12], &out[13], &out[14], &out[15]));
        benchmark::ClobberMemory();
      });
}
BENCHMARK(UuidRead);

}  // namespace
