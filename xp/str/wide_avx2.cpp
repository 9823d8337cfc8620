// The AVX2 UTF-16 to UTF-8 kernel: sixteen units per step, spread in four
// groups of four units by shuffles chosen by their classes, both 128-bit
// halves at once. Its twin is the scalar kernel in wide_scalar.cpp.
#include "xp/str/xp_str_internal.h"

#if defined(XPS_WIDE_X86)
#include <immintrin.h>

#define XPS_AVX2 __attribute__((target("avx2")))

namespace {

template <bool Swap>
XPS_AVX2 inline __m256i load16(const unsigned char *p) {
  __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
  if (Swap) v = _mm256_or_si256(_mm256_slli_epi16(v, 8), _mm256_srli_epi16(v, 8));
  return v;
}

// Every lane starts at 3 bytes and loses one for being below 0x800 and one
// more for being below 0x80; the 16-bit losses are widened before they can
// overflow (at most 2 per block).
template <bool Swap>
XPS_AVX2 size_t size_units(const unsigned char *p, size_t n) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i below80 = _mm256_set1_epi16(0x7F);
  const __m256i below800 = _mm256_set1_epi16(0x7FF);
  size_t total = 0;
  size_t blocks = n / 16;
  while (blocks > 0) {
    size_t run = blocks < 16000 ? blocks : 16000;
    __m256i loss0 = zero, loss1 = zero;
    size_t k = 0;
    for (; k + 2 <= run; k += 2, p += 64) {
      __m256i v0 = load16<Swap>(p), v1 = load16<Swap>(p + 32);
      loss0 = _mm256_add_epi16(loss0, _mm256_cmpeq_epi16(_mm256_subs_epu16(v0, below80), zero));
      loss1 = _mm256_add_epi16(loss1, _mm256_cmpeq_epi16(_mm256_subs_epu16(v1, below80), zero));
      loss0 = _mm256_add_epi16(loss0, _mm256_cmpeq_epi16(_mm256_subs_epu16(v0, below800), zero));
      loss1 = _mm256_add_epi16(loss1, _mm256_cmpeq_epi16(_mm256_subs_epu16(v1, below800), zero));
    }
    if (k < run) {
      __m256i v = load16<Swap>(p);
      loss0 = _mm256_add_epi16(loss0, _mm256_cmpeq_epi16(_mm256_subs_epu16(v, below80), zero));
      loss0 = _mm256_add_epi16(loss0, _mm256_cmpeq_epi16(_mm256_subs_epu16(v, below800), zero));
      p += 32;
    }
    const __m256i ones = _mm256_set1_epi16(1);
    __m256i wide = _mm256_add_epi32(_mm256_madd_epi16(loss0, ones), _mm256_madd_epi16(loss1, ones));
    __m128i w = _mm_add_epi32(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
    w = _mm_add_epi32(w, _mm_shuffle_epi32(w, 0x4E));
    w = _mm_add_epi32(w, _mm_shuffle_epi32(w, 0xB1));
    long long lost = -static_cast<long long>(_mm_cvtsi128_si32(w));
    total += 48 * run - static_cast<size_t>(lost);
    blocks -= run;
  }
  return total + xps::wide_size_tail(p, n % 16, Swap);
}

XPS_AVX2 inline __m256i two_shuffles(unsigned a, unsigned b) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(
          _mm_loadu_si128(reinterpret_cast<const __m128i *>(xps::kWideSpread.shuffle[a]))),
      _mm_loadu_si128(reinterpret_cast<const __m128i *>(xps::kWideSpread.shuffle[b])), 1);
}

// Sixteen units in v, written at o without branching on their classes.
// unpacklo/unpackhi work within each half, so the groups come out as
// units 0-3 and 8-11 (lo) and 4-7 and 12-15 (hi). Returns the new end.
XPS_AVX2 inline char *spread16(__m256i v, char *o) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i one = _mm256_cmpeq_epi16(_mm256_subs_epu16(v, _mm256_set1_epi16(0x7F)), zero);
  __m256i upto2 = _mm256_cmpeq_epi16(_mm256_subs_epu16(v, _mm256_set1_epi16(0x7FF)), zero);
  const __m256i six = _mm256_set1_epi16(0x3F00);
  __m256i lo16 = _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(v, _mm256_set1_epi16(0xFF)),
                                                 _mm256_and_si256(_mm256_slli_epi16(v, 8), six)),
                                 _mm256_set1_epi16(static_cast<short>(0x8000)));
  __m256i hi16 = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(v, 12), _mm256_set1_epi16(static_cast<short>(0x80E0))),
      _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(v, 2), six),
                      _mm256_and_si256(upto2, _mm256_set1_epi16(0x4000))));
  __m256i classes =
      _mm256_or_si256(_mm256_and_si256(one, _mm256_set1_epi16(0x0080)),
                      _mm256_and_si256(upto2, _mm256_set1_epi16(static_cast<short>(0x8000))));
  unsigned keys = static_cast<unsigned>(_mm256_movemask_epi8(classes));
  unsigned k0 = keys & 0xFF, k1 = keys >> 8 & 0xFF, k2 = keys >> 16 & 0xFF, k3 = keys >> 24;
  __m256i lo = _mm256_shuffle_epi8(_mm256_unpacklo_epi16(lo16, hi16), two_shuffles(k0, k2));
  __m256i hi = _mm256_shuffle_epi8(_mm256_unpackhi_epi16(lo16, hi16), two_shuffles(k1, k3));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm256_castsi256_si128(lo));
  o += xps::kWideSpread.length[k0];
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm256_castsi256_si128(hi));
  o += xps::kWideSpread.length[k1];
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm256_extracti128_si256(lo, 1));
  o += xps::kWideSpread.length[k2];
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm256_extracti128_si256(hi, 1));
  return o + xps::kWideSpread.length[k3];
}

// Blocks are written while a block's widest store (48 bytes, 16 past the
// last group's start) stays inside the output; the scalar kernel finishes.
template <bool Swap>
XPS_AVX2 void encode_units(const unsigned char *p, size_t n, char *o, const char *end) {
  size_t i = 0;
  // Two blocks per round give the processor independent work to overlap;
  // mixed text would defeat any prediction of the classes, so there is no
  // branch on them.
  while (n - i >= 32 && end - o >= 112) {
    __m256i v0 = load16<Swap>(p + 2 * i);
    __m256i v1 = load16<Swap>(p + 2 * i + 32);
    o = spread16(v1, spread16(v0, o));
    i += 32;
  }
  while (n - i >= 16 && end - o >= 64) {
    o = spread16(load16<Swap>(p + 2 * i), o);
    i += 16;
  }
  xps::wide_encode_tail(p + 2 * i, n - i, Swap, o);
}

XPS_AVX2 size_t size(const unsigned char *p, size_t n, bool swap) {
  return swap ? size_units<true>(p, n) : size_units<false>(p, n);
}

XPS_AVX2 void encode(const unsigned char *p, size_t n, bool swap, char *out, size_t size) {
  if (swap)
    encode_units<true>(p, n, out, out + size);
  else
    encode_units<false>(p, n, out, out + size);
}

}  // namespace

namespace xps {
const WideKernel wide_avx2 = {"avx2", size, encode};
}  // namespace xps

#endif
