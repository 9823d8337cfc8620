// Formats fuzzed format strings whose arguments are all integers. Letters
// that would read an argument as a pointer are turned into 'd', and
// positions are kept within the arguments passed. Checks the sink
// contract: the buffer is never overrun, the text is terminated, and
// measuring never gives less than writing.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/fuzz_util.h"
#include "xp/fmt/xp_fmt.h"

#define A4(i) v[i], v[i + 1], v[i + 2], v[i + 3]
#define A16(i) A4(i), A4(i + 4), A4(i + 8), A4(i + 12)
#define ARGS \
  A16(0), A16(16), A16(32), A16(48), A16(64), A16(80), A16(96), A16(112), A16(128), A16(144)

namespace {

constexpr size_t kArgs = 160;
constexpr size_t kMaxFormat = 96;
constexpr long kMaxPosition = 60;

bool takes_pointer(char c) {
  return c == 's' || c == 'S' || c == 'P' || c == 'O' || c == 'h' || c == 'H' || c == 'U' ||
         c == 'p';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  // The first byte picks the buffer size; the rest is the format.
  size_t bufsize = data[0];
  data++;
  size--;
  if (size > kMaxFormat) size = kMaxFormat;
  char format[kMaxFormat + 1];
  memcpy(format, data, size);
  format[size] = 0;
  for (size_t i = 0; i < size; i++) {
    if (takes_pointer(format[i])) format[i] = 'd';
    if (format[i] == '$') {
      size_t j = i;
      while (j > 0 && format[j - 1] >= '0' && format[j - 1] <= '9')
        j--;
      if (i - j > 2 || atol(format + j) > kMaxPosition) format[i] = '!';
    }
  }
  intptr_t v[kArgs];
  uint64_t seed = 0x9E3779B97F4A7C15ull ^ size;
  for (size_t i = 0; i < size; i++)
    seed = seed * 31 + data[i];
  for (size_t i = 0; i < kArgs; i++) {
    seed = seed * 6364136223846793005ull + 1442695040888963407ull;
    // Mostly small widths and counts, now and then anything.
    v[i] = (seed >> 60) < 3 ? (intptr_t)(seed >> 1) : (intptr_t)((seed >> 33) % 200) - 20;
  }

  size_t measured = xp_fmt_format(nullptr, 0, format, ARGS);
  char *buf = (char *)malloc(bufsize ? bufsize : 1);
  size_t n = xp_fmt_format(buf, bufsize, format, ARGS);
  if (bufsize) {
    if (n > bufsize - 1 || buf[n] != 0) abort();
  } else if (n != 0) {
    abort();
  }
  if (n > measured) abort();
  free(buf);

  // The same bytes as a counted text take exactly their count, zero bytes
  // included (nothing past it is read); as a terminated text they stop at
  // the first zero byte.
  char *text = fuzz::exact_copy(data, size);
  char out[kMaxFormat + 2];
  size_t k = xp_fmt_format(out, sizeof out, "%.*s|", (int)size, text);
  fuzz::check(k == size + 1 && memcmp(out, text, size) == 0 && out[size] == '|');
  fuzz::check(xp_fmt_format(nullptr, 0, "%*s", (int)size, text) == size);
  k = xp_fmt_format(out, sizeof out, "%s", format);
  fuzz::check(k == strlen(format) && memcmp(out, format, k) == 0);
  free(text);
  return 0;
}
