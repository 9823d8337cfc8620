// NTLD writing against its peers, side by side in each iteration:
//   - 100,000 long items, dynamic and fixed mode, against msgpack-c packing
//     the same values and memcpy of the same bytes;
//   - 1,000 items of 64 KiB, dynamic mode, fixed mode and xp_ntld_package,
//     against msgpack-c bin items and memcpy of the same bytes.
// The reported time is the dynamic mode's; the counters are speed ratios
// (peer time / our time: above 1 means we are faster) and the dynamic
// mode's time over the fixed mode's, writing into a new buffer of the
// tree's size (dynamic_over_fixed) or into one already in use
// (dynamic_over_warm_fixed).
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <cstring>
#include <vector>

#include "bench/side_by_side.h"
#include "xp/ntld/xp_ntld.h"
#include "xp/str/xp_str.h"

namespace {

// On this thread's processor clock (the machine may be shared).
template <class F>
double seconds(F &&f) {
  double t0 = bench::thread_ns();
  f();
  return (bench::thread_ns() - t0) * 1e-9;
}

constexpr int kLongs = 100000;
constexpr int kBig = 1000;
constexpr uint32_t kBigSize = 64 * 1024;
constexpr uint32_t kRoot = XP_TAG('r', 'o', 'o', 't');

// Values of every msgpack width (1 to 5 bytes of payload).
std::vector<int32_t> long_values() {
  std::vector<int32_t> v(kLongs);
  for (int i = 0; i < kLongs; ++i)
    v[size_t(i)] = int32_t(uint32_t(i) * 2654435761u) >> (i % 31);
  return v;
}

void write_longs(xp_ntld *w, const std::vector<int32_t> &values) {
  xp_ntld_open(w, 1, kRoot);
  for (int i = 0; i < kLongs; ++i)
    xp_ntld_add_number(w, uint32_t(i), values[size_t(i)]);
}

void BM_LongItems(benchmark::State &state) {
  std::vector<int32_t> values = long_values();
  uint32_t size = 12 + kLongs * 16;
  std::vector<uint8_t> fixed(size), copy(size);
  double dynamic = 0, fixed_t = 0, fresh_t = 0, msgpack = 0, memcpy_t = 0;
  for (auto _ : state) {
    double t = seconds([&] {
      xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
      write_longs(w, values);
      xp_data *d = xp_ntld_dyndata(w);
      benchmark::DoNotOptimize(xp_data_getptr(d));
      xp_release(d);
      xp_release(w);
    });
    dynamic += t;
    state.SetIterationTime(t);
    fixed_t += seconds([&] {
      xp_ntld *w = xp_ntld_new(fixed.data(), size);
      write_longs(w, values);
      benchmark::DoNotOptimize(xp_ntld_length(w));
      xp_release(w);
    });
    // Fixed mode into a buffer made for the tree, as the dynamic mode's is.
    fresh_t += seconds([&] {
      auto *buf = static_cast<uint8_t *>(std::malloc(size));
      xp_ntld *w = xp_ntld_new(buf, size);
      write_longs(w, values);
      benchmark::DoNotOptimize(xp_ntld_length(w));
      xp_release(w);
      std::free(buf);
    });
    msgpack += seconds([&] {
      msgpack_sbuffer sbuf;
      msgpack_sbuffer_init(&sbuf);
      msgpack_packer pk;
      msgpack_packer_init(&pk, &sbuf, msgpack_sbuffer_write);
      msgpack_pack_array(&pk, kLongs);
      for (int i = 0; i < kLongs; ++i)
        msgpack_pack_int32(&pk, values[size_t(i)]);
      benchmark::DoNotOptimize(sbuf.data);
      msgpack_sbuffer_destroy(&sbuf);
    });
    memcpy_t += seconds([&] {
      std::memcpy(copy.data(), fixed.data(), size);
      benchmark::DoNotOptimize(copy.data());
    });
  }
  state.counters["vs_msgpack"] = msgpack / dynamic;
  state.counters["fixed_vs_msgpack"] = msgpack / fixed_t;
  state.counters["vs_memcpy"] = memcpy_t / dynamic;
  state.counters["dynamic_over_fixed"] = dynamic / fresh_t;
  state.counters["dynamic_over_warm_fixed"] = dynamic / fixed_t;
  state.SetBytesProcessed(int64_t(state.iterations()) * size);
}
BENCHMARK(BM_LongItems)->UseManualTime()->Unit(benchmark::kMillisecond);

// A kind whose serialise operation writes the 1,000 big items.
struct Blobs {
  xp_obj obj;
  const uint8_t *bytes;
};

void write_big(xp_ntld *w, const uint8_t *bytes) {
  xp_ntld_open(w, 1, kRoot);
  for (int i = 0; i < kBig; ++i)
    xp_ntld_add(w, uint32_t(i), XP_TYPE_DATA, kBigSize, bytes);
  xp_ntld_close(w);
}

xp_word blobs_control(void *obj, int code, xp_word, xp_word arg) {
  if (code != XP_CONTROL_SERIALIZE) return 0;
  auto *w = reinterpret_cast<xp_ntld *>(arg);
  write_big(w, static_cast<Blobs *>(obj)->bytes);
  return 12 + xp_word(kBig) * (12 + kBigSize);
}

void BM_BigItems(benchmark::State &state) {
  std::vector<uint8_t> src(kBigSize);
  for (size_t i = 0; i < src.size(); ++i)
    src[i] = uint8_t(i * 31);
  uint32_t size = 12 + kBig * (12 + kBigSize);
  std::vector<uint8_t> fixed(size), copy(size);
  auto *blobs = reinterpret_cast<Blobs *>(xp_new(XP_TAG('b', 'l', 'b', 's'), sizeof(Blobs)));
  blobs->obj.control = blobs_control;
  blobs->bytes = src.data();
  // Into buffers already in use; each is timed on a second pass, as on a
  // shared virtual machine the first write after the fresh blocks below
  // are freed runs several times slower, whatever it writes.
  auto fixed_pass = [&] {
    xp_ntld *w = xp_ntld_new(fixed.data(), size);
    write_big(w, src.data());
    benchmark::DoNotOptimize(xp_ntld_length(w));
    xp_release(w);
  };
  auto warm_copy = [&] {
    for (int i = 0; i < kBig; ++i)
      std::memcpy(copy.data() + size_t(i) * (12 + kBigSize), src.data(), kBigSize);
    benchmark::DoNotOptimize(copy.data());
  };
  double dynamic = 0, fixed_t = 0, fresh_t = 0, package = 0, msgpack = 0, memcpy_t = 0;
  double memcpy_warm = 0;
  for (auto _ : state) {
    double t = seconds([&] {
      xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
      write_big(w, src.data());
      xp_data *d = xp_ntld_dyndata(w);
      benchmark::DoNotOptimize(xp_data_getptr(d));
      xp_release(d);
      xp_release(w);
    });
    dynamic += t;
    state.SetIterationTime(t);
    package += seconds([&] {
      xp_data *d = xp_ntld_package(blobs, 1);
      benchmark::DoNotOptimize(xp_data_getptr(d));
      xp_release(d);
    });
    fixed_pass();
    fixed_t += seconds(fixed_pass);
    // Fixed mode into a buffer made for the tree, as the dynamic mode's is.
    fresh_t += seconds([&] {
      auto *buf = static_cast<uint8_t *>(std::malloc(size));
      xp_ntld *w = xp_ntld_new(buf, size);
      write_big(w, src.data());
      benchmark::DoNotOptimize(xp_ntld_length(w));
      xp_release(w);
      std::free(buf);
    });
    msgpack += seconds([&] {
      msgpack_sbuffer sbuf;
      msgpack_sbuffer_init(&sbuf);
      msgpack_packer pk;
      msgpack_packer_init(&pk, &sbuf, msgpack_sbuffer_write);
      msgpack_pack_array(&pk, kBig);
      for (int i = 0; i < kBig; ++i) {
        msgpack_pack_bin(&pk, kBigSize);
        msgpack_pack_bin_body(&pk, src.data(), kBigSize);
      }
      benchmark::DoNotOptimize(sbuf.data);
      msgpack_sbuffer_destroy(&sbuf);
    });
    // The same bytes into a new block, as the writers and msgpack must,
    // and into one that is already there, as the fixed mode does.
    memcpy_t += seconds([&] {
      auto *out = static_cast<uint8_t *>(std::malloc(size));
      for (int i = 0; i < kBig; ++i)
        std::memcpy(out + size_t(i) * (12 + kBigSize), src.data(), kBigSize);
      benchmark::DoNotOptimize(out);
      std::free(out);
    });
    warm_copy();
    memcpy_warm += seconds(warm_copy);
  }
  state.counters["vs_msgpack"] = msgpack / dynamic;
  state.counters["vs_memcpy"] = memcpy_t / dynamic;
  state.counters["package_vs_memcpy"] = memcpy_t / package;
  state.counters["fixed_vs_warm_memcpy"] = memcpy_warm / fixed_t;
  state.counters["dynamic_over_fixed"] = dynamic / fresh_t;
  state.counters["dynamic_over_warm_fixed"] = dynamic / fixed_t;
  state.SetBytesProcessed(int64_t(state.iterations()) * size);
  xp_release(blobs);
}
BENCHMARK(BM_BigItems)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
