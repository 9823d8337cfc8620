// Strings and data through the format engine: xp_str_format measures the
// output, allocates once and formats into the new string; a data object's
// textify operation renders its bytes as hexadecimal text.
#include <cstdarg>
#include <cstdint>

#include "xp/fmt/xp_fmt.h"
#include "xp/str/xp_str_internal.h"

extern "C" {

xp_str *xp_str_vformat(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  size_t need = xp_fmt_vformat(nullptr, 0, format, args);
  xp_str *s = need <= INTPTR_MAX ? xps::alloc(static_cast<intptr_t>(need)) : nullptr;
  if (s) {
    // Room for the text and the engine's terminator (the spare zero bytes).
    size_t got = xp_fmt_vformat(xps::room(s), need + 1, format, again);
    s->length = static_cast<intptr_t>(got < need ? got : need);
  }
  va_end(again);
  return s;
}

xp_str *xp_str_format(const char *format, ...) {
  va_list args;
  va_start(args, format);
  xp_str *s = xp_str_vformat(format, args);
  va_end(args);
  return s;
}

xp_word xp_data_textify(void *d, xp_word buf, xp_word size, xp_word) {
  if (buf && size <= 0) return 0;
  auto *data = static_cast<const xp_data *>(d);
  return static_cast<xp_word>(xp_fmt_data(reinterpret_cast<char *>(buf), static_cast<size_t>(size),
                                          xp_data_getptr(data), xp_data_length(data)));
}

}  // extern "C"
