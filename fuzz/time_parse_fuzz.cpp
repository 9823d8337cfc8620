// The time text readers on arbitrary text, each fed a heap copy that ends
// with its terminating zero, so that a read past the terminator is caught:
// general time, ISO 8601 combined, dates and clock times in each order
// (the first input byte chooses the order and separator). What they accept
// must come out in range and read back to the same value through the
// writers. The same text also serves as a time format.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_util.h"
#include "xp/time/xp_time.h"

namespace {

using fuzz::check;

bool in_range(const xp_dtr &r) {
  return r.month >= 1 && r.month <= 12 && r.day >= 1 && r.day <= 31 && r.hour <= 23 &&
         r.minute <= 59 && r.second <= 59;
}

// An accepted value in the writers' range reads back from its general time.
void round_trip(xp_seconds v) {
  if (v == 0 || v == XP_TIME_OUT_OF_RANGE || v < XP_TIME_POSIX_DELTA ||
      v >= XP_TIME_POSIX_DELTA + 2145916800UL)
    return;
  char text[32];
  check(xp_time_utctogeneraltime(v, text, sizeof text) == 15);
  check(xp_time_generaltimetoutc(text) == v);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const uint8_t mode = data[0];
  ++data;
  --size;
  auto *text = static_cast<char *>(malloc(size + 1));
  memcpy(text, data, size);
  text[size] = 0;

  xp_dtr r;
  if (xp_time_generaltimetodtr(text, &r)) check(r.month >= 1 && r.month <= 12 && r.day <= 31);
  round_trip(xp_time_generaltimetoutc(text));
  (void)xp_time_generaltimetolocal(text);
  round_trip(xp_time_iso8601combinedtoutc(text));
  (void)xp_time_iso8601combinedtolocal(text);

  static const char kSeparators[4] = {0, '/', '.', '-'};
  if (xp_time_datetimefmttodtr(text, mode % 3, kSeparators[(mode >> 2) % 4], &r))
    check(in_range(r));
  check(xp_time_timetoseconds(text) < 86400);
  (void)xp_time_datetoutc(text);

  // The text as a format: cut output stays inside its size and is a prefix
  // of the full output.
  xp_dtr when = {2006, 2, 15, 6, 34, 56, 3};
  char full[512], cut[40];
  const long length = (mode & 0x80) ? -1 : static_cast<long>(size);
  const int escape = (mode & 0x40) ? '#' : 0;
  long n = xpf_time(nullptr, 0, text, length, &when, escape);
  if (n < static_cast<long>(sizeof full)) {
    check(xpf_time(full, sizeof full, text, length, &when, escape) == n);
    long room = mode % 32;
    memset(cut, 0x5A, sizeof cut);
    long m = xpf_time(cut, room, text, length, &when, escape);
    check(m <= (room ? room - 1 : 0) && memcmp(cut, full, static_cast<size_t>(m)) == 0);
    for (size_t i = static_cast<size_t>(room); i < sizeof cut; ++i)
      check(cut[i] == 0x5A);
  }

  free(text);
  return 0;
}
