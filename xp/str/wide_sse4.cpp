// The SSE4 UTF-16 to UTF-8 kernel, for processors without AVX2: eight
// units per step, spread by shuffles chosen by the units' classes. Its twin
// is the scalar kernel in wide_scalar.cpp.
#include "xp/str/xp_str_internal.h"

#if defined(XPS_WIDE_X86)
#include <immintrin.h>

#define XPS_SSE4 __attribute__((target("sse4.1")))

namespace {

template <bool Swap>
XPS_SSE4 inline __m128i load8(const unsigned char *p) {
  __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  if (Swap) v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
  return v;
}

// Every lane starts at 3 bytes and loses one for being below 0x800 and one
// more for being below 0x80. The losses gather in 16-bit lanes (at most 2
// per block), which are widened before they can overflow.
template <bool Swap>
XPS_SSE4 size_t size_units(const unsigned char *p, size_t n) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i below80 = _mm_set1_epi16(0x7F);
  const __m128i below800 = _mm_set1_epi16(0x7FF);
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
    __m128i wide = _mm_madd_epi16(loss, _mm_set1_epi16(1));  // four sums, all <= 0
    wide = _mm_add_epi32(wide, _mm_shuffle_epi32(wide, 0x4E));
    wide = _mm_add_epi32(wide, _mm_shuffle_epi32(wide, 0xB1));
    long long lost = -static_cast<long long>(_mm_cvtsi128_si32(wide));
    total += 24 * run - static_cast<size_t>(lost);
    blocks -= run;
  }
  return total + xps::wide_size_tail(p, n % 8, Swap);
}

// One block of eight units in v, written at o, without branching on its
// contents. Returns the new end of the output.
XPS_SSE4 inline char *spread8(__m128i v, char *o) {
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
  __m128i s0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(xps::kWideSpread.shuffle[k0]));
  __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(xps::kWideSpread.shuffle[k1]));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                   _mm_shuffle_epi8(_mm_unpacklo_epi16(lo16, hi16), s0));
  o += xps::kWideSpread.length[k0];
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                   _mm_shuffle_epi8(_mm_unpackhi_epi16(lo16, hi16), s1));
  return o + xps::kWideSpread.length[k1];
}

// Blocks are written while their widest stores (28 bytes past a block's
// start) stay inside the output; the scalar kernel finishes. Two blocks per
// round give the processor independent work to overlap; mixed text would
// defeat any prediction of the classes, so there is no branch on them.
template <bool Swap>
XPS_SSE4 void encode_units(const unsigned char *p, size_t n, char *o, const char *end) {
  size_t i = 0;
  while (n - i >= 16 && end - o >= 64) {
    __m128i v0 = load8<Swap>(p + 2 * i);
    __m128i v1 = load8<Swap>(p + 2 * i + 16);
    o = spread8(v1, spread8(v0, o));
    i += 16;
  }
  while (n - i >= 8 && end - o >= 32) {
    o = spread8(load8<Swap>(p + 2 * i), o);
    i += 8;
  }
  xps::wide_encode_tail(p + 2 * i, n - i, Swap, o);
}

XPS_SSE4 size_t size(const unsigned char *p, size_t n, bool swap) {
  return swap ? size_units<true>(p, n) : size_units<false>(p, n);
}

XPS_SSE4 void encode(const unsigned char *p, size_t n, bool swap, char *out, size_t size) {
  if (swap)
    encode_units<true>(p, n, out, out + size);
  else
    encode_units<false>(p, n, out, out + size);
}

}  // namespace

namespace xps {
const WideKernel wide_sse4 = {"sse4", size, encode};
}  // namespace xps

#endif
