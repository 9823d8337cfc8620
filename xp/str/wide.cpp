// UTF-16 conversions of the string object: xp_str_wmake/wnew (byte-order
// mark handling, a sizing pass vectorised with SSE2 where the target has it,
// then one encoding pass with a vectorised ASCII run) and xp_str_wget.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#if defined(__x86_64__) || defined(__i386__)
#include <tmmintrin.h>
#define XPS_SSSE3 1
#endif
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
inline uint16_t unit(const unsigned char *p, size_t i) {
  uint16_t u = load16(p + 2 * i);
  return Swap ? swap16(u) : u;
}

template <bool Swap>
void encode_scalar(const unsigned char *p, size_t n, char *o) {
  for (size_t i = 0; i < n; i++)
    o = put(o, unit<Swap>(p, i));
}

#if defined(__SSE2__)

// Eight units at a time: their low bytes are stored at once and as many of
// them as lead the block in ASCII are kept; the run of other units behind
// them is encoded one by one. end is the end of the text being written.
template <bool Swap>
void encode_sse2(const unsigned char *p, size_t n, char *o, const char *end) {
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  size_t i = 0;
  while (n - i >= 8 && end - o >= 8) {
    __m128i v = load8<Swap>(p + 2 * i);
    unsigned ascii =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, high), zero)));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(o), _mm_packus_epi16(v, v));
    if (ascii == 0xFFFF) {
      o += 8;
      i += 8;
      continue;
    }
    size_t lead = static_cast<size_t>(__builtin_ctz(~ascii)) / 2;
    o += lead;
    i += lead;
    do {
      o = put(o, unit<Swap>(p, i));
      i++;
    } while (i < n && unit<Swap>(p, i) >= 0x80);
  }
  encode_scalar<Swap>(p + 2 * i, n - i, o);
}

#endif

#if defined(XPS_SSSE3)

// Each unit is spread into a 32-bit lane holding, in byte order: the unit's
// low byte (all of a one-byte unit); the last continuation byte; the lead
// byte of a three-byte unit; the middle byte of a three-byte unit or the
// lead byte of a two-byte one (the two differ by the bit 0x40 only). A
// shuffle then takes from every lane the bytes its unit needs: [0], [3, 1]
// or [2, 3, 1]. Four units make one shuffle of at most 12 bytes,
// chosen by their classes: bit 2k set when unit k takes one byte, bit
// 2k + 1 when it takes at most two.
struct Spread {
  unsigned char shuffle[256][16];
  unsigned char length[256];
};

constexpr Spread make_spread() {
  Spread t{};
  for (int m = 0; m < 256; m++) {
    int o = 0;
    for (int k = 0; k < 4; k++) {
      int base = 4 * k;
      if (m >> (2 * k) & 1) {
        t.shuffle[m][o++] = static_cast<unsigned char>(base);
      } else if (m >> (2 * k + 1) & 1) {
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 3);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 1);
      } else {
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 2);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 3);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 1);
      }
    }
    t.length[m] = static_cast<unsigned char>(o);
    while (o < 16)
      t.shuffle[m][o++] = 0x80;
  }
  return t;
}

constexpr Spread kSpread = make_spread();

// One block of eight units in v, written at o, without branching on its
// contents (mixed text would defeat any prediction of the classes).
// Returns the new end of the output.
__attribute__((target("ssse3"), always_inline)) inline char *block_ssse3(__m128i v, char *o) {
  const __m128i zero = _mm_setzero_si128();
  __m128i one = _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(0x7F)), zero);
  __m128i upto2 = _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(0x7FF)), zero);
  const __m128i six = _mm_set1_epi16(0x3F00);
  // Low byte, then 10xxxxxx from bits 0-5.
  __m128i lo16 = _mm_or_si128(_mm_or_si128(_mm_and_si128(v, _mm_set1_epi16(0xFF)),
                                           _mm_and_si128(_mm_slli_epi16(v, 8), six)),
                              _mm_set1_epi16(static_cast<short>(0x8000)));
  // 1110xxxx from bits 12-15, then 10xxxxxx from bits 6-11, which becomes
  // 110xxxxx for a unit below 0x800.
  __m128i hi16 =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi16(v, 12), _mm_set1_epi16(static_cast<short>(0x80E0))),
                   _mm_or_si128(_mm_and_si128(_mm_slli_epi16(v, 2), six),
                                _mm_and_si128(upto2, _mm_set1_epi16(0x4000))));
  // Class bits, two per unit: the top bit of each lane's low byte tells
  // one byte, of its high byte at most two.
  __m128i classes = _mm_or_si128(_mm_and_si128(one, _mm_set1_epi16(0x0080)),
                                 _mm_and_si128(upto2, _mm_set1_epi16(static_cast<short>(0x8000))));
  unsigned keys = static_cast<unsigned>(_mm_movemask_epi8(classes));
  unsigned k0 = keys & 0xFF, k1 = keys >> 8;
  __m128i s0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kSpread.shuffle[k0]));
  __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kSpread.shuffle[k1]));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                   _mm_shuffle_epi8(_mm_unpacklo_epi16(lo16, hi16), s0));
  o += kSpread.length[k0];
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                   _mm_shuffle_epi8(_mm_unpackhi_epi16(lo16, hi16), s1));
  return o + kSpread.length[k1];
}

template <bool Swap>
__attribute__((target("ssse3"))) void encode_ssse3(const unsigned char *p, size_t n, char *o,
                                                   const char *end) {
  size_t i = 0;
  // Two blocks per round give the processor independent work to overlap.
  while (n - i >= 16 && end - o >= 64) {
    __m128i v0 = load8<Swap>(p + 2 * i);
    __m128i v1 = load8<Swap>(p + 2 * i + 16);
    o = block_ssse3(v1, block_ssse3(v0, o));
    i += 16;
  }
  while (n - i >= 8 && end - o >= 32) {
    o = block_ssse3(load8<Swap>(p + 2 * i), o);
    i += 8;
  }
  encode_scalar<Swap>(p + 2 * i, n - i, o);
}

bool have_ssse3() {
  static const bool yes = __builtin_cpu_supports("ssse3");
  return yes;
}

#endif

template <bool Swap>
bool encode_by(int path, const unsigned char *p, size_t n, char *o, size_t size) {
  switch (path) {
    case 0:
      encode_scalar<Swap>(p, n, o);
      return true;
#if defined(__SSE2__)
    case 1:
      encode_sse2<Swap>(p, n, o, o + size);
      return true;
#endif
#if defined(XPS_SSSE3)
    case 2:
      if (!have_ssse3()) return false;
      encode_ssse3<Swap>(p, n, o, o + size);
      return true;
#endif
    default:
      return false;
  }
}

// The fastest encoder this processor runs.
int best_path() {
#if defined(XPS_SSSE3)
  if (have_ssse3()) return 2;
#endif
#if defined(__SSE2__)
  return 1;
#else
  return 0;
#endif
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

bool utf8_encode(int path, const void *p, size_t n, bool swap, char *out, size_t size) {
  auto *b = static_cast<const unsigned char *>(p);
  if (path < 0) path = best_path();
  return swap ? encode_by<true>(path, b, n, out, size) : encode_by<false>(path, b, n, out, size);
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
  xps::utf8_encode(-1, p, n, swap, xps::room(s), size);
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
