// Writers behind the format engine and their shared helpers. Every writer
// follows the sink contract: a null buffer measures, otherwise at most
// `room` bytes are written (never a terminator) and the count produced is
// returned. Not installed.
#ifndef XP_FMT_INTERNAL_H
#define XP_FMT_INTERNAL_H

#include <stddef.h>
#include <stdint.h>

#include "xp/fmt/xp_fmt.h"

// Digit sets: sixteen digits and the letter of the hexadecimal prefix.
extern const char xpf_lower_digits[];  // "0123456789abcdefx"
extern const char xpf_upper_digits[];  // "0123456789ABCDEFX"

// Unsigned integer in any base with grouping and prefix; padding and
// escaping through xpf_str.
size_t xpf_base(char *buf, size_t room, uint64_t value, uint32_t base, const char *digits,
                uint32_t flags, size_t width);

// 80 decimal digits of |value| and the position of the decimal point
// (value = 0.D1D2... x 10^E); XPF_DIGITS_HUGE when the integer part has
// more than 80 digits.
#define XPF_NDIGITS 80
#define XPF_DIGITS_HUGE 0x7FFFFFFF
int xpf_digitize(char *digits, double value);

// Fixed and exponent notation of a double.
size_t xpf_fcvt(uint32_t flags, size_t precision, char *buf, size_t room, double value);
size_t xpf_ecvt(uint32_t flags, size_t precision, char *buf, size_t room, double value);

// Byte text with fill and escaping; a negative len means up to the zero byte.
size_t xpf_str(char *buf, size_t room, const char *text, intptr_t len, uint32_t flags,
               size_t width);
// 16-bit text converted to UTF-8, then as xpf_str.
intptr_t xpf_wstr(char *buf, intptr_t room, const uint16_t *text, intptr_t len, uint32_t flags,
                  size_t width);
// count bytes as hex pairs, with an optional separator byte between them.
size_t xpf_hexify(char *buf, size_t room, const void *data, intptr_t count, int32_t separator,
                  const char *digits);

namespace xpf {

// "00" to "99", for two decimal digits per division.
struct DigitPairs {
  char t[200];
  constexpr DigitPairs() : t() {
    for (int i = 0; i < 100; i++) {
      t[2 * i] = (char)('0' + i / 10);
      t[2 * i + 1] = (char)('0' + i % 10);
    }
  }
};
inline constexpr DigitPairs kDigitPairs{};

// Copies n <= 16 bytes in at most two overlapping words, never writing
// past dst + n (no library call for the short pieces of a number).
inline void copy_upto16(char *dst, const char *src, size_t n) {
  if (n >= 8) {
    __builtin_memcpy(dst, src, 8);
    __builtin_memcpy(dst + n - 8, src + n - 8, 8);
  } else if (n >= 4) {
    __builtin_memcpy(dst, src, 4);
    __builtin_memcpy(dst + n - 4, src + n - 4, 4);
  } else {
    for (size_t i = 0; i < n; i++)
      dst[i] = src[i];
  }
}

// The same for any n: longer copies go to memcpy.
inline void copy_short(char *dst, const char *src, size_t n) {
  if (n > 16)
    __builtin_memcpy(dst, src, n);
  else
    copy_upto16(dst, src, n);
}

// Decimal digits of v ending at `end`; returns their start.
inline char *decimal_digits(char *end, uint64_t v) {
  char *p = end;
  while (v > 0xFFFFFFFFu) {
    uint64_t r = v % 100;
    v /= 100;
    p -= 2;
    __builtin_memcpy(p, kDigitPairs.t + 2 * r, 2);
  }
  // The rest in 32 bits, whose division is cheaper.
  uint32_t w = (uint32_t)v;
  while (w >= 100) {
    uint32_t r = w % 100;
    w /= 100;
    p -= 2;
    __builtin_memcpy(p, kDigitPairs.t + 2 * r, 2);
  }
  if (w >= 10) {
    p -= 2;
    __builtin_memcpy(p, kDigitPairs.t + 2 * w, 2);
  } else {
    *--p = (char)('0' + w);
  }
  return p;
}

// The grouping in effect for a flag word: sizes (ended by 0 or a byte of
// 255 or above 127) and the separator text. Empty sizes: no grouping.
struct Grouping {
  unsigned char sizes[17];
  char sep[17];
  size_t seplen;
};
void grouping_for(uint32_t flags, Grouping *g);

// xpf_base with an explicit grouping (null: none).
size_t base_grouped(char *buf, size_t room, uint64_t value, uint32_t base, const char *digits,
                    uint32_t flags, size_t width, const Grouping *g);

// A locale sign or separator text, at most 16 bytes; returns its length.
enum class Text { plus, minus, decimal };
size_t locale_text(Text which, char *out16);

// Floating point as the engine writes it (NaN, infinity, %e, %f, %g by
// the conversion letter), before padding.
size_t float_text(char *buf, size_t room, double value, char conv, uint32_t flags,
                  size_t precision);

// The time directives: conv is 'D' or 'z' (a local value) or 'Z' (a UTC
// value); a value of 0 means now. A non-empty pattern (patlen > 0) is a
// time pattern with '#' as its field character; without one, XPF_ALT asks
// for the general-time text, XPF_PLUS for date and time, else the date.
// buf is null when measuring. With a buffer, the byte at buf[room] is
// still inside the caller's buffer, so the time writers may be given
// room + 1 bytes for their own terminator. Returns the bytes produced
// (at most room).
size_t time_text(char *buf, size_t room, int conv, uint32_t flags, uint64_t value,
                 const char *pattern, size_t patlen);

}  // namespace xpf

#endif  // XP_FMT_INTERNAL_H
