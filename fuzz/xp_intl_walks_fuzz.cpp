// The locale settings' text walks on arbitrary bytes: the date order walk
// over a short date, the grouping walk over a number pattern, and the
// UTF-16 to UTF-8 conversion. Each reads an unterminated heap copy of
// exactly its length and must keep to its output fields.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_util.h"
#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"

namespace {

using fuzz::check;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  size_t room = data[0] % 20;
  ++data;
  --size;
  char *text = fuzz::exact_copy(data, size);

  char sep[16];
  int32_t order = xpi::date_order(text, (intptr_t)size, sep);
  check(order >= 0 && order <= 2);
  check(sep[0] != 0 && sep[1] == 0);

  char grouping[16];
  xpi::grouping_of_pattern(text, (intptr_t)size, grouping);
  if (size > 0) {
    size_t n = 0;
    while (n < 15 && grouping[n] && (unsigned char)grouping[n] != 0xFF)
      n++;
    check(n < 16);
    check(grouping[n] == 0 || (unsigned char)grouping[n] == 0xFF);
  }

  size_t units = size / 2;
  auto *wide = static_cast<xpi::uchar *>(malloc(units ? units * 2 : 2));
  memcpy(wide, data, units * 2);
  auto *out = static_cast<char *>(malloc(room ? room : 1));
  size_t made = xpi::utf8_from_utf16(out, room, wide, (intptr_t)units);
  if (room) {
    check(made < room && out[made] == 0);
    check(strlen(out) <= made);
  }
  free(out);
  free(wide);
  free(text);
  return 0;
}
