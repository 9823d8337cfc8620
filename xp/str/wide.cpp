// UTF-16 conversions of the string object: xp_str_wmake/wnew (byte-order
// mark handling, a sizing pass vectorised with SSE2 where the target has it,
// then one encoding pass with a vectorised ASCII run) and xp_str_wget.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Units are read through memcpy: callers may hand in text at any address.
inline uint16_t load16(const unsigned char *p) {
  uint16_t u;
  std::memcpy(&u, p, 2);
  return u;
}

inline uint16_t swap16(uint16_t u) {
  return static_cast<uint16_t>(u << 8 | u >> 8);
}

template <bool Swap>
size_t size_scalar(const unsigned char *p, size_t n) {
  size_t total = 0;
  for (size_t i = 0; i < n; i++) {
    uint16_t u = load16(p + 2 * i);
    if (Swap) u = swap16(u);
    total += u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
  }
  return total;
}

#if defined(__SSE2__)

template <bool Swap>
inline __m128i load8(const unsigned char *p) {
  __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  if (Swap) v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
  return v;
}

// Eight units at a time: every lane starts at 3 bytes and loses one for
// being below 0x800 and one more for being below 0x80. The losses gather
// in 16-bit lanes (at most 2 per block), which are widened before they can
// overflow.
template <bool Swap>
size_t size_sse2(const unsigned char *p, size_t n) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i below80 = _mm_set1_epi16(0x7F);
  const __m128i below800 = _mm_set1_epi16(0x7FF);
  const __m128i ones = _mm_set1_epi16(1);
  size_t total = 0;
  size_t blocks = n / 8;
  while (blocks > 0) {
    size_t run = blocks < 16000 ? blocks : 16000;
    __m128i loss = zero;
    for (size_t k = 0; k < run; k++, p += 16) {
      __m128i v = load8<Swap>(p);
      __m128i m1 = _mm_cmpeq_epi16(_mm_subs_epu16(v, below80), zero);
      __m128i m2 = _mm_cmpeq_epi16(_mm_subs_epu16(v, below800), zero);
      loss = _mm_add_epi16(loss, _mm_add_epi16(m1, m2));
    }
    __m128i wide = _mm_madd_epi16(loss, ones);  // four 32-bit sums, all <= 0
    int32_t parts[4];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(parts), wide);
    long long lost = -(static_cast<long long>(parts[0]) + parts[1] + parts[2] + parts[3]);
    total += 24 * run - static_cast<size_t>(lost);
    blocks -= run;
  }
  return total + size_scalar<Swap>(p, n % 8);
}

#endif

inline char *put(char *o, uint16_t u) {
  if (u < 0x80) {
    *o++ = static_cast<char>(u);
  } else if (u < 0x800) {
    *o++ = static_cast<char>(0xC0 | u >> 6);
    *o++ = static_cast<char>(0x80 | (u & 0x3F));
  } else {
    *o++ = static_cast<char>(0xE0 | u >> 12);
    *o++ = static_cast<char>(0x80 | (u >> 6 & 0x3F));
    *o++ = static_cast<char>(0x80 | (u & 0x3F));
  }
  return o;
}

template <bool Swap>
void encode(const unsigned char *p, size_t n, char *o) {
  size_t i = 0;
#if defined(__SSE2__)
  // Runs of sixteen ASCII units are narrowed in one step.
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  while (n - i >= 16) {
    __m128i a = load8<Swap>(p + 2 * i);
    __m128i b = load8<Swap>(p + 2 * i + 16);
    __m128i any = _mm_and_si128(_mm_or_si128(a, b), high);
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(any, _mm_setzero_si128())) == 0xFFFF) {
      _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_packus_epi16(a, b));
      o += 16;
      i += 16;
      continue;
    }
    for (size_t end = i + 16; i < end; i++) {
      uint16_t u = load16(p + 2 * i);
      o = put(o, Swap ? swap16(u) : u);
    }
  }
#endif
  for (; i < n; i++) {
    uint16_t u = load16(p + 2 * i);
    o = put(o, Swap ? swap16(u) : u);
  }
}

}  // namespace

namespace xps {

size_t utf8_size_scalar(const void *p, size_t n, bool swap) {
  auto *b = static_cast<const unsigned char *>(p);
  return swap ? size_scalar<true>(b, n) : size_scalar<false>(b, n);
}

size_t utf8_size_vector(const void *p, size_t n, bool swap) {
#if defined(__SSE2__)
  auto *b = static_cast<const unsigned char *>(p);
  return swap ? size_sse2<true>(b, n) : size_sse2<false>(b, n);
#else
  return utf8_size_scalar(p, n, swap);
#endif
}

size_t utf8_size(const void *p, size_t n, bool swap) {
  return utf8_size_vector(p, n, swap);
}

}  // namespace xps

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
  size_t size = xps::utf8_size(p, n, swap);
  xp_str *s = xps::alloc(static_cast<intptr_t>(size));
  if (!s) return nullptr;
  if (swap)
    encode<true>(p, n, xps::room(s));
  else
    encode<false>(p, n, xps::room(s));
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
