// Integer conversion: the grouped, prefixed base writer behind the integer
// directives, the locale texts it reads, and the plain one-number writers.
#include <string.h>

#include "xp/fmt/xp_fmt_internal.h"
#include "xp/intl/xp_intl.h"
#include "xp/intl/xp_intl_internal.h"

const char xpf_lower_digits[] = "0123456789abcdefx";
const char xpf_upper_digits[] = "0123456789ABCDEFX";

namespace {

// The most negative 64-bit value: its minus is U+2212, and only the first
// 20 of its 22 bytes are ever written (the sign and 17 digits).
const char kMostNegative[] =
    "\xE2\x88\x92"
    "9223372036854775808";
constexpr size_t kMostNegativeCount = 20;

// Bytes of the digit text: 64 binary digits with a separator of up to 16
// bytes after each, a prefix, and up to 160 zeros of fill.
constexpr size_t kTextRoom = 64 * 17 + 2 + 160 + 8;

using xpf::decimal_digits;

// The number of decimal digits of v.
inline size_t decimal_count(uint64_t v) {
  size_t n = 1;
  for (;;) {
    if (v < 10) return n;
    if (v < 100) return n + 1;
    if (v < 1000) return n + 2;
    if (v < 10000) return n + 3;
    v /= 10000;
    n += 4;
  }
}

}  // namespace

namespace xpf {

size_t locale_text(Text which, char *out16) {
  size_t field = which == Text::plus    ? offsetof(xp_intl, plus)
                 : which == Text::minus ? offsetof(xp_intl, minus)
                                        : offsetof(xp_intl, decimal);
  return xpi_text16(nullptr, field, out16);
}

void grouping_for(uint32_t flags, Grouping *g) {
  g->sizes[0] = 0;
  g->seplen = 0;
  if (!(flags & (XPF_MONEY | XPF_GROUP))) return;
  char sizes[17] = {0};
  intptr_t n;
  intptr_t s;
  if (flags & XPF_MONEY) {
    n = xp_intl_mgrouping(nullptr, sizes, 16);
    s = xp_intl_mthousep(nullptr, g->sep, sizeof g->sep);
  } else {
    n = xp_intl_grouping(nullptr, sizes, 16);
    s = xp_intl_thousep(nullptr, g->sep, sizeof g->sep);
  }
  if (n < 0) n = 0;
  if (n > 16) n = 16;
  memcpy(g->sizes, sizes, (size_t)n);
  g->sizes[n] = 0;
  g->seplen = s < 0 ? 0 : s > 16 ? 16 : (size_t)s;
}

size_t base_grouped(char *buf, size_t room, uint64_t value, uint32_t base, const char *digits,
                    uint32_t flags, size_t width, const Grouping *g) {
  if (base < 2) return 0;
  if (value == 0) return xpf_str(buf, room, "0", 1, flags, width);
  const unsigned char *sizes = g ? g->sizes : nullptr;
  unsigned group = 0;
  // A size of 0, or one of 128 and above (255 included), ends grouping.
  if (sizes && g->seplen && sizes[0] != 0 && sizes[0] < 128) group = sizes[0];
  // The common case, decimal digits that need no field, no grouping and no
  // escaping, goes straight into the buffer: the text writer would copy
  // them unchanged.
  if (base == 10 && buf && !group &&
      !(flags & (XPF_PLUS | XPF_BACKTICK | XPF_QUOTE1 | XPF_QUOTE2 | XPF_QUOTE3))) {
    size_t nd = decimal_count(value);
    if (nd >= width && nd <= room) {
      decimal_digits(buf + nd, value);
      return nd;
    }
  }
  char text[kTextRoom];
  char *end = text + sizeof text;
  char *p = end;
  if (base == 10 && !group) {
    p = decimal_digits(end, value);
  } else if ((base == 16 || base == 8) && !group) {
    unsigned shift = base == 16 ? 4 : 3;
    do {
      *--p = digits[value & (base - 1)];
      value >>= shift;
    } while (value);
  } else {
    unsigned in_group = 0;
    size_t next = 1;
    while (value) {
      if (group && in_group == group) {
        p -= g->seplen;
        memcpy(p, g->sep, g->seplen);
        in_group = 0;
        unsigned char nb = sizes[next];
        if (nb != 0) {
          next++;
          group = nb < 128 ? nb : 0;
        }
      }
      *--p = digits[value % base];
      value /= base;
      in_group++;
    }
  }
  if (flags & XPF_ALT) {
    if (base == 16) {
      if ((flags & XPF_ZERO) && !(flags & XPF_LEFT)) {
        size_t len = (size_t)(end - p) + 2;
        size_t target = width < 160 ? width : 160;
        while (len < target) {
          *--p = '0';
          len++;
        }
      }
      *--p = digits[16];
      *--p = '0';
    } else if (base == 8) {
      *--p = '0';
    }
  }
  return xpf_str(buf, room, p, end - p, flags, width);
}

}  // namespace xpf

size_t xpf_base(char *buf, size_t room, uint64_t value, uint32_t base, const char *digits,
                uint32_t flags, size_t width) {
  if (!(flags & (XPF_MONEY | XPF_GROUP)))
    return xpf::base_grouped(buf, room, value, base, digits, flags, width, nullptr);
  xpf::Grouping g;
  xpf::grouping_for(flags, &g);
  return xpf::base_grouped(buf, room, value, base, digits, flags, width, &g);
}

namespace {

// Copies a number's text, cut to size - 1 and terminated; a null buffer
// measures.
size_t put_number(char *buf, size_t size, const char *text, size_t len) {
  if (!buf) return len;
  if (size == 0) return 0;
  if (len > size - 1) len = size - 1;
  memcpy(buf, text, len);
  buf[len] = 0;
  return len;
}

size_t decimal_text(char *end, uint64_t v) {
  return (size_t)(end - decimal_digits(end, v));
}

}  // namespace

size_t xp_fmt_quad(char *buf, size_t size, int64_t value) {
  if (value == INT64_MIN) return put_number(buf, size, kMostNegative, kMostNegativeCount);
  char text[24];
  char *end = text + sizeof text;
  uint64_t mag = value < 0 ? (uint64_t)-value : (uint64_t)value;
  size_t n = decimal_text(end, mag);
  if (value < 0) end[-(intptr_t)++n] = '-';
  return put_number(buf, size, end - n, n);
}

size_t xp_fmt_long(char *buf, size_t size, long value) {
  return xp_fmt_quad(buf, size, (int64_t)value);
}

size_t xp_fmt_uquad(char *buf, size_t size, uint64_t value) {
  char text[24];
  char *end = text + sizeof text;
  size_t n = decimal_text(end, value);
  return put_number(buf, size, end - n, n);
}

size_t xp_fmt_ulong(char *buf, size_t size, unsigned long value) {
  return xp_fmt_uquad(buf, size, (uint64_t)value);
}

size_t xp_fmt_xlong(char *buf, size_t size, unsigned long value) {
  char text[24];
  char *end = text + sizeof text;
  char *p = end;
  uint64_t v = value;
  while (v || end - p < 8) {
    *--p = xpf_upper_digits[v & 15];
    v >>= 4;
  }
  return put_number(buf, size, p, (size_t)(end - p));
}
