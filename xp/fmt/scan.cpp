// The text scanners: decimal and hexadecimal integers, decimal fractions,
// four-character tags, bytes from hex text and UUIDs. Each reads at most the
// length it is given (xp_fmt_getdouble's sign aside, see its declaration).
#include <cstring>

#include "xp/fmt/scan_internal.h"

namespace {

using xpf::scan::hex_value;
using xpf::scan::is_digit;
using xpf::scan::kClasses;

// A hex digit's value; any other character counts as 0.
inline unsigned nibble(unsigned char c) {
  unsigned v = kClasses.hex[c];
  return v < 16 ? v : 0;
}

// Shared by getlong and getquad: sign, then digits, wrapping.
uint64_t read_decimal(const char *text, size_t len, bool *negative) {
  *negative = false;
  if (!text || len == 0) return 0;
  const auto *p = reinterpret_cast<const unsigned char *>(text);
  const unsigned char *end = p + len;
  if (*p == '+' || *p == '-') {
    *negative = *p == '-';
    ++p;
  }
  uint64_t value = 0;
  while (p < end && is_digit(*p))
    value = value * 10 + (*p++ - '0');
  return value;
}

}  // namespace

extern "C" {

long xp_fmt_getlong(const char *text, size_t len) {
  bool negative;
  auto value = static_cast<unsigned long>(read_decimal(text, len, &negative));
  return static_cast<long>(negative ? 0ul - value : value);
}

int64_t xp_fmt_getquad(const char *text, size_t len) {
  bool negative;
  uint64_t value = read_decimal(text, len, &negative);
  return static_cast<int64_t>(negative ? 0ull - value : value);
}

double xp_fmt_getdouble(const char *text, int32_t len) {
  if (!text || len < 1) return 0;
  const auto *p = reinterpret_cast<const unsigned char *>(text);
  bool negative = *p == '-';
  if (negative) ++p;  // the length counts what follows the sign
  const unsigned char *end = p + len;
  // The divisor is kept as a double so that long fractions of small values
  // ("0.000...01") keep their scale; only the mantissa wraps.
  uint64_t mantissa = 0;
  bool point = false;
  double divisor = 1;
  for (; p < end; ++p) {
    if (is_digit(*p)) {
      mantissa = mantissa * 10 + (*p - '0');
      if (point) divisor *= 10;
    } else if (*p == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  double value = static_cast<double>(mantissa);
  if (point) value /= divisor;
  return negative ? -value : value;
}

uint32_t xp_fmt_gettag(const char *text, size_t len) {
  unsigned char bytes[4] = {0, 0, 0, 0};
  if (text) {
    int taken = 0;
    for (size_t i = 0; i < len && taken < 4; ++i) {
      auto c = static_cast<unsigned char>(text[i]);
      if (c == 0) break;
      if (c == '-' || c == '_') continue;
      bytes[taken++] = c;
    }
  }
  uint32_t tag;
  std::memcpy(&tag, bytes, sizeof tag);
  return tag;
}

unsigned long xp_fmt_hexlong(const char *text, size_t len) {
  if (!text || len == 0) return 0;
  const auto *p = reinterpret_cast<const unsigned char *>(text);
  const unsigned char *end = p + len;
  bool negative = false;
  if (*p == '+' || *p == '-') {
    negative = *p == '-';
    ++p;
  }
  if (end - p >= 2 && p[0] == '0') p += (p[1] == 'x' || p[1] == 'X') ? 2 : 1;
  unsigned long value = 0;
  for (; p < end; ++p) {
    int digit = hex_value(*p);
    if (digit >= 0) value = value * 16 + static_cast<unsigned>(digit);
  }
  return negative ? 0ul - value : value;
}

size_t xp_fmt_getdata(void *out, size_t outsize, const char *hex, intptr_t hexlen) {
  if (hexlen < 1) return 0;
  auto len = static_cast<size_t>(hexlen);
  if (!out) return len / 2;  // measuring reads nothing
  if (!hex) return 0;
  size_t count = (len + 1) / 2;
  if (count > outsize) count = outsize;
  auto *dst = static_cast<unsigned char *>(out);
  const auto *src = reinterpret_cast<const unsigned char *>(hex);
  // Whole pairs; an odd last character gets a low digit of 0.
  size_t pairs = count < len / 2 ? count : len / 2;
  for (size_t i = 0; i < pairs; ++i)
    dst[i] = static_cast<unsigned char>(nibble(src[2 * i]) << 4 | nibble(src[2 * i + 1]));
  if (pairs < count) dst[pairs] = static_cast<unsigned char>(nibble(src[2 * pairs]) << 4);
  return count;
}

size_t xp_fmt_getuuid(void *out, size_t outsize, const char *text, intptr_t textlen) {
  constexpr size_t kFailed = static_cast<size_t>(-1);
  if (!out) return 16;
  if (!text || textlen < 32 || outsize < 16) return kFailed;
  const auto *t = reinterpret_cast<const unsigned char *>(text);
  auto *dst = static_cast<unsigned char *>(out);
  // The usual form, 8-4-4-4-12 digits, in one pass over fixed places; a
  // character that is neither digit nor letter sends it the long way.
  if (textlen == 36 && t[8] == '-' && t[13] == '-' && t[18] == '-' && t[23] == '-') {
    static const unsigned char kAt[16] = {0,  2,  4,  6,  9,  11, 14, 16,
                                          19, 21, 24, 26, 28, 30, 32, 34};
    unsigned char bytes[16];
    unsigned seen = 0;
    for (int k = 0; k < 16; ++k) {
      unsigned hi = kClasses.hex[t[kAt[k]]], lo = kClasses.hex[t[kAt[k] + 1]];
      seen |= hi | lo;
      bytes[k] = static_cast<unsigned char>((hi & 15) << 4 | (lo & 15));
    }
    if (!(seen & xpf::scan::kOther)) {
      std::memcpy(dst, bytes, 16);
      return 16;
    }
  }
  unsigned char digits[32];
  int held = 0;
  intptr_t i = 0;
  for (; i < textlen && held < 32; ++i) {
    unsigned char c = t[i];
    unsigned v = kClasses.hex[c];
    if (v & xpf::scan::kOther) {
      if (c == '-') continue;
      if (c == 0) break;
      return 0;
    }
    digits[held++] = static_cast<unsigned char>(v & 15);
  }
  if (i < textlen || held < 32) return kFailed;
  for (int k = 0; k < 16; ++k)
    dst[k] = static_cast<unsigned char>(digits[2 * k] << 4 | digits[2 * k + 1]);
  return 16;
}

}  // extern "C"
