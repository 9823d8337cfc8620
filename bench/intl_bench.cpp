// Locale settings against the C library, side by side in one run:
//  - an accessor on a loaded object (the decimal separator, the grouping
//    and a month name) against the C library and a bounded copy of its
//    field; each must stay under 20 ns;
//  - a full load with the platform's locale services against the C
//    library's own way to the same settings (a new locale object and
//    nl_langinfo_l of names, markers and formats).
// Each reports ns per call of both and the ratio peer / xp ("speedup").
// The locale is de_DE.UTF-8.
#include <benchmark/benchmark.h>

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "bench/side_by_side.h"
#include "xp/intl/xp_intl.h"

namespace {

void use_locale() {
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  setenv("LANG", "de_DE.UTF-8", 1);
  setlocale(LC_ALL, "de_DE.UTF-8");
}

size_t bounded_copy(char *buf, size_t size, const char *text) {
  size_t n = strnlen(text, size - 1);
  memcpy(buf, text, n);
  buf[n] = 0;
  return n;
}

// One accessor on a loaded object against reading the same setting from
// the C library and copying it.
template <intptr_t (*Accessor)(xp_intl *, char *, size_t)>
void accessor_vs_localeconv(benchmark::State &state, const char *(*peer)()) {
  use_locale();
  xp_intl *o = xp_intl_new();
  char buf[16];
  bench::side_by_side(
      state, 4096,
      [&](size_t) {
        benchmark::DoNotOptimize(Accessor(o, buf, sizeof buf));
        benchmark::ClobberMemory();
      },
      [&](size_t) {
        benchmark::DoNotOptimize(bounded_copy(buf, sizeof buf, peer()));
        benchmark::ClobberMemory();
      });
  xp_release(o);
}

void BM_AccessorDecimal(benchmark::State &state) {
  accessor_vs_localeconv<xp_intl_decimal>(state,
                                          [] { return (const char *)localeconv()->decimal_point; });
}
BENCHMARK(BM_AccessorDecimal);

void BM_AccessorGrouping(benchmark::State &state) {
  accessor_vs_localeconv<xp_intl_grouping>(state,
                                           [] { return (const char *)localeconv()->grouping; });
}
BENCHMARK(BM_AccessorGrouping);

void BM_AccessorMonth(benchmark::State &state) {
  use_locale();
  xp_intl *o = xp_intl_new();
  char buf[64];
  bench::side_by_side(
      state, 4096,
      [&](size_t) {
        benchmark::DoNotOptimize(xp_intl_month(o, 3, buf, sizeof buf));
        benchmark::ClobberMemory();
      },
      [&](size_t) {
        benchmark::DoNotOptimize(bounded_copy(buf, sizeof buf, nl_langinfo(MON_3)));
        benchmark::ClobberMemory();
      });
  xp_release(o);
}
BENCHMARK(BM_AccessorMonth);

void BM_FullLoad(benchmark::State &state) {
  use_locale();
  xp_intl *o = xp_intl_new();
  static const nl_item kItems[] = {
      MON_1,   MON_2,   MON_3,   MON_4,    MON_5,    MON_6,    MON_7,     MON_8,   MON_9,
      MON_10,  MON_11,  MON_12,  ABMON_1,  ABMON_2,  ABMON_3,  ABMON_4,   ABMON_5, ABMON_6,
      ABMON_7, ABMON_8, ABMON_9, ABMON_10, ABMON_11, ABMON_12, DAY_1,     DAY_2,   DAY_3,
      DAY_4,   DAY_5,   DAY_6,   DAY_7,    ABDAY_1,  ABDAY_2,  ABDAY_3,   ABDAY_4, ABDAY_5,
      ABDAY_6, ABDAY_7, AM_STR,  PM_STR,   D_FMT,    T_FMT,    RADIXCHAR, THOUSEP, CRNCYSTR};
  char buf[64];
  bench::side_by_side(
      state, 4, [&](size_t) { benchmark::DoNotOptimize(xp_intl_reset(o)); },
      [&](size_t) {
        locale_t loc = newlocale(LC_ALL_MASK, "de_DE.UTF-8", nullptr);
        for (nl_item item : kItems)
          bounded_copy(buf, sizeof buf, nl_langinfo_l(item, loc));
        benchmark::ClobberMemory();
        freelocale(loc);
      });
  xp_release(o);
}
BENCHMARK(BM_FullLoad)->Unit(benchmark::kMicrosecond);

}  // namespace
