// The locale date and time reader on arbitrary text, in the locale named by
// XP_FUZZ_LOCALE (en_US.UTF-8 when unset; scripts/fuzz runs it in several):
// the first byte picks the date order of the explicit-order form, and what
// is accepted comes out in range. A locale per process, because the reader
// measures its locale through the platform's formatters, which is slow.
#include <locale.h>
#include <stdlib.h>

#include <cstdint>
#include <cstring>

#include "fuzz/fuzz_util.h"
#include "xp/intl/xp_intl.h"
#include "xp/time/xp_time.h"

namespace {

using fuzz::check;

bool in_range(const xp_dtr &r) {
  return r.month >= 1 && r.month <= 12 && r.day >= 1 && r.day <= 31 && r.hour <= 23 &&
         r.minute <= 59 && r.second <= 59 && r.weekday <= 6;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  const char *name = getenv("XP_FUZZ_LOCALE");
  if (!name || !*name) name = "en_US.UTF-8";
  setenv("LC_ALL", name, 1);
  setenv("LANG", name, 1);
  if (!setlocale(LC_ALL, name)) abort();  // a locale that is not installed
  xp_intl_reset(nullptr);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const int order = data[0] % 3;
  // Exactly the text and its terminator: a read past it is caught.
  char *text = static_cast<char *>(malloc(size));
  memcpy(text, data + 1, size - 1);
  text[size - 1] = 0;

  xp_dtr r;
  if (xp_time_datetimetodtr(text, &r)) check(in_range(r));
  if (xp_time_datetodtr(text, &r)) check(in_range(r) && r.hour == 0 && r.minute == 0);
  if (xp_time_datetimefmttodtr(text, order, 0, &r)) check(in_range(r));
  check(xp_time_timetoseconds(text) < 86400);
  (void)xp_time_datetimetolocal(text);
  (void)xp_time_datetoutc(text);
  free(text);
  return 0;
}
