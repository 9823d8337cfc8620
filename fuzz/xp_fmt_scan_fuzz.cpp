// The text scanners on arbitrary text, each fed an unterminated heap buffer
// of exactly the length it is given (the number reader that does not count
// a leading minus gets that one byte more). The first input byte chooses the
// room of the byte readers, which must not write past it.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_util.h"
#include "xp/fmt/xp_fmt.h"

namespace {

using fuzz::check;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  size_t room = data[0] % 24;
  ++data;
  --size;
  char *text = fuzz::exact_copy(data, size);

  long l = xp_fmt_getlong(text, size);
  int64_t q = xp_fmt_getquad(text, size);
  if (sizeof(long) == sizeof(int64_t)) check(l == q);
  (void)xp_fmt_hexlong(text, size);
  (void)xp_fmt_gettag(text, size);
  if (size > 0 && size <= INT32_MAX) {
    int32_t len = static_cast<int32_t>(size) - (text[0] == '-' ? 1 : 0);
    (void)xp_fmt_getdouble(text, len);
  }

  unsigned char out[40];
  memset(out, 0xA5, sizeof out);
  auto hexlen = static_cast<intptr_t>(size);
  size_t made = xp_fmt_getdata(out, room, text, hexlen);
  size_t measured = xp_fmt_getdata(nullptr, 0, text, hexlen);
  check(made <= room && made == (room < (size + 1) / 2 ? room : (size + 1) / 2));
  check(measured == size / 2);
  for (size_t i = room; i < sizeof out; ++i)
    check(out[i] == 0xA5);

  memset(out, 0xA5, sizeof out);
  size_t u = xp_fmt_getuuid(out, room, text, hexlen);
  check(u == 0 || u == 16 || u == static_cast<size_t>(-1));
  for (size_t i = room < 16 ? 0 : 16; i < sizeof out; ++i)
    check(out[i] == 0xA5);
  if (u == 0 || u == static_cast<size_t>(-1)) check(out[0] == 0xA5);

  free(text);
  return 0;
}
