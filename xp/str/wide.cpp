// UTF-16 conversions of the string object: xp_str_wmake/wnew (byte-order
// mark handling, then a sizing pass and an encoding pass by the fastest
// kernel this processor runs, see wide_scalar.cpp) and xp_str_wget.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

namespace {

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Units are read through memcpy: callers may hand in text at any address.
inline uint16_t load16(const unsigned char *p) {
  uint16_t u;
  std::memcpy(&u, p, 2);
  return u;
}

}  // namespace

extern "C" {

xp_str *xp_str_wmake(const uint16_t *text, intptr_t units) {
  if (!text) return xps::alloc(units < 0 ? 0 : units);
  auto *p = reinterpret_cast<const unsigned char *>(text);
  size_t n;
  if (units < 0) {
    n = 0;
    while (load16(p + 2 * n) != 0)
      n++;
  } else {
    n = static_cast<size_t>(units);
  }
  // Without a mark the text is big-endian.
  bool swap = kLittleEndian;
  if (n > 0) {
    uint16_t first = load16(p);
    if (first == 0xFEFF || first == 0xFFFE) {
      swap = first == 0xFFFE;
      p += 2;
      n--;
    }
  }
  if (n > SIZE_MAX / 3) return nullptr;
  const xps::WideKernel &k = xps::wide_best();
  size_t size = k.size(p, n, swap);
  xp_str *s = xps::alloc(static_cast<intptr_t>(size));
  if (!s) return nullptr;
  k.encode(p, n, swap, xps::room(s), size);
  s->length = static_cast<intptr_t>(size);
  return s;
}

xp_str *xp_str_wnew(const uint16_t *text) {
  return xp_str_wmake(text, -1);
}

intptr_t xp_str_wget(const xp_str *s, uint16_t *buf, intptr_t max) {
  if (max <= 0 || !s) return 0;
  auto *p = reinterpret_cast<const unsigned char *>(s->text);
  auto *out = reinterpret_cast<unsigned char *>(buf);
  intptr_t count = 0;
  uint32_t value = 0;
  int pending = 0;  // continuation bytes still expected
  auto emit = [&](uint32_t v) {
    if (out) {
      out[2 * count] = static_cast<unsigned char>(v >> 8);
      out[2 * count + 1] = static_cast<unsigned char>(v);
    }
    count++;
  };
  for (intptr_t i = 0; i < s->length && count < max; i++) {
    unsigned c = p[i];
    if (c < 0x80) {
      pending = 0;
      emit(c);
    } else if (c < 0xC0) {
      if (pending == 0) continue;  // stray continuation byte
      value = value << 6 | (c & 0x3F);
      if (--pending == 0) emit(value);
    } else if (c < 0xE0) {
      value = c & 0x1F, pending = 1;
    } else if (c < 0xF0) {
      value = c & 0x0F, pending = 2;
    } else if (c < 0xF8) {
      value = c & 0x07, pending = 3;
    } else if (c < 0xFC) {
      value = c & 0x03, pending = 4;
    } else if (c < 0xFE) {
      value = c & 0x01, pending = 5;
    } else {
      pending = 0;  // 0xFE and 0xFF begin no sequence
    }
  }
  return count;
}

}  // extern "C"
