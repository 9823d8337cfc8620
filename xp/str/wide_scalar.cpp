// The scalar UTF-16 to UTF-8 kernel, unit by unit: the definition that the
// vector kernels (wide_sse4.cpp, wide_avx2.cpp) must match.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

namespace {

// Units are read through memcpy: callers may hand in text at any address.
template <bool Swap>
inline uint16_t unit(const unsigned char *p, size_t i) {
  uint16_t u;
  std::memcpy(&u, p + 2 * i, 2);
  return Swap ? static_cast<uint16_t>(u << 8 | u >> 8) : u;
}

template <bool Swap>
size_t size_units(const unsigned char *p, size_t n) {
  size_t total = 0;
  for (size_t i = 0; i < n; i++) {
    uint16_t u = unit<Swap>(p, i);
    total += u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
  }
  return total;
}

template <bool Swap>
char *encode_units(const unsigned char *p, size_t n, char *o) {
  for (size_t i = 0; i < n; i++) {
    uint16_t u = unit<Swap>(p, i);
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
  }
  return o;
}

void encode(const unsigned char *p, size_t n, bool swap, char *out, size_t) {
  xps::wide_encode_tail(p, n, swap, out);
}

}  // namespace

namespace xps {

size_t wide_size_tail(const unsigned char *p, size_t n, bool swap) {
  return swap ? size_units<true>(p, n) : size_units<false>(p, n);
}

char *wide_encode_tail(const unsigned char *p, size_t n, bool swap, char *out) {
  return swap ? encode_units<true>(p, n, out) : encode_units<false>(p, n, out);
}

const WideKernel wide_scalar = {"scalar", wide_size_tail, encode};

const WideKernel *const *wide_kernels(size_t *count) {
#if defined(XPS_WIDE_X86)
  static const WideKernel *const all[] = {&wide_avx2, &wide_sse4, &wide_scalar};
  static const WideKernel *const *usable = [] {
    // Drop the kernels this processor cannot run from the front.
    size_t skip = 0;
    if (!__builtin_cpu_supports("avx2")) {
      skip = 1;
      if (!__builtin_cpu_supports("sse4.1")) skip = 2;
    }
    return all + skip;
  }();
  *count = static_cast<size_t>(all + 3 - usable);
  return usable;
#else
  static const WideKernel *const all[] = {&wide_scalar};
  *count = 1;
  return all;
#endif
}

const WideKernel &wide_best() {
  static const WideKernel *best = [] {
    size_t n;
    return wide_kernels(&n)[0];
  }();
  return *best;
}

}  // namespace xps
