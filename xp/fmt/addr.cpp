// Network-address text: rendering an address of one of the four kinds and
// reading the text forms back. No allocation, no locks, no terminator.
#include <cstring>

#include "xp/fmt/scan_internal.h"

namespace {

using xpf::scan::is_digit;

// Appends to a caller buffer without ever going past its size.
struct Sink {
  char *buf;
  intptr_t size;
  intptr_t pos = 0;
  void put(char c) {
    if (pos < size) buf[pos++] = c;
  }
  void decimal(unsigned value) {
    char digits[10];
    int n = 0;
    do {
      digits[n++] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value);
    while (n)
      put(digits[--n]);
  }
  void hex(const unsigned char *bytes, int count) {
    static const char kDigits[] = "0123456789ABCDEF";
    for (int i = 0; i < count; ++i) {
      put(kDigits[bytes[i] >> 4]);
      put(kDigits[bytes[i] & 15]);
    }
  }
};

unsigned group(const unsigned char *a, int i) {
  return unsigned{a[2 * i]} << 8 | a[2 * i + 1];
}

// Upper bound of the IPv6 text of this address, plus one.
intptr_t measure_ipv6(const unsigned char *a) {
  enum { kNone, kIn, kOver } run = kNone;
  intptr_t n = 0;
  for (int i = 0; i < 8; ++i) {
    if (group(a, i) == 0 && run != kOver) {
      if (run == kNone) n += 1;
      run = kIn;
      continue;
    }
    if (run == kIn) run = kOver;
    n += i ? 5 : 4;
  }
  return n + 1;
}

intptr_t render_ipv6(char *buf, intptr_t size, const unsigned char *a) {
  static const char kDigits[] = "0123456789abcdef";
  enum { kNone, kIn, kOver } run = kNone;
  Sink out{buf, size};
  for (int i = 0; i < 8; ++i) {
    unsigned g = group(a, i);
    if (g == 0 && run != kOver) {
      if (run == kNone) out.put(':');
      run = kIn;
      continue;
    }
    if (run == kIn) run = kOver;
    if (i) out.put(':');
    // A group is written only with room for four digits and one more
    // character; otherwise it is left out.
    if (out.pos + 4 < size) {
      int shift = 12;
      while (shift > 0 && (g >> shift) == 0)
        shift -= 4;
      for (; shift >= 0; shift -= 4)
        out.put(kDigits[(g >> shift) & 15]);
    }
  }
  // A run at the end (or the whole address) must read "::".
  if (out.pos < size && out.pos > 0 && buf[out.pos - 1] == ':') {
    if (out.pos == 1 || buf[out.pos - 2] != ':') out.put(':');
  }
  return out.pos;
}

// A decimal field as the address reader takes it: blanks before it are
// passed over, digits are gathered (wrapping), and the character that ends
// it is consumed. Tells whether that character was a dot.
struct Fields {
  const unsigned char *p, *end;
  unsigned next(bool *dot) {
    *dot = false;
    while (p < end && *p == ' ')
      ++p;
    unsigned value = 0;
    while (p < end) {
      unsigned char c = *p++;
      if (!is_digit(c)) {
        *dot = c == '.';
        break;
      }
      value = value * 10 + (c - '0');
    }
    return value;
  }
};

// Kind 2: 0xNNNNNNNN/0xNNNNNNNNNNNN. The node digits run two characters past
// the 23 that the writer reports; those two are part of the caller's text
// (see the declaration). When the text is zero-terminated and shorter,
// nothing past its terminator is read and missing digits count as 0.
void read_netnode_hex(unsigned char *out, size_t room, const char *text, size_t readable) {
  size_t n = xp_fmt_getdata(out, room < 4 ? room : 4, text + 2, 8);
  char node[12];
  for (size_t i = 0; i < 12; ++i)
    node[i] = 13 + i < readable ? text[13 + i] : '0';
  xp_fmt_getdata(out + n, room - n, node, 12);
}

// Bytes in little-endian order, whatever the host's.
uint64_t load_le64(const unsigned char *p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? v : __builtin_bswap64(v);
}
uint64_t load_le32(const unsigned char *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? v : __builtin_bswap32(v);
}

// Eight characters at a time: the high bit of each byte that is not a
// digit (of each that is not a dot), exact (no carry crosses a byte).
constexpr uint64_t kOnes = 0x0101010101010101u;
constexpr uint64_t kHigh = 0x8080808080808080u;
constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Fu;
uint64_t non_digits(uint64_t x) {
  uint64_t y = x ^ (kOnes * '0');
  return (((y & kLow7) + kOnes * 0x76) | y) & kHigh;
}
uint64_t non_dots(uint64_t x) {
  uint64_t z = x ^ (kOnes * '.');
  return (((z & kLow7) + kLow7) | z) & kHigh;
}

// The usual IPv4 text, four fields of one to three digits joined by dots
// and nothing else, read without a branch per character: the general
// reader would give the same bytes. False for anything else.
inline __attribute__((always_inline)) bool dotted_quad(const unsigned char *p,
                                                       const unsigned char *end,
                                                       unsigned char out[4]) {
  auto n = static_cast<unsigned>(end - p);
  if (end - p < 7 || end - p > 15) return false;
  // The text in two words (bytes past it zero) by two overlapping loads,
  // and the high bits of the bytes that are the text's.
  uint64_t a, b, in_a = kHigh, in_b;
  if (n >= 8) {
    a = load_le64(p);
    b = load_le64(end - 8) >> 8 >> (8 * (15 - n));
    in_b = kHigh >> 8 >> (8 * (15 - n));
  } else {
    a = load_le32(p) | load_le32(end - 4) << (8 * (n - 4));
    in_a = kHigh >> 8;
    b = in_b = 0;
  }
  // No byte that is neither digit nor dot. The first two dots of a dotted
  // quad lie within its first eight characters, the third within twelve:
  // each is found from the dots' high bits (one that is missing reads as
  // position 16 or more, which gives a field length out of range below).
  uint64_t dots_a = non_dots(a) ^ kHigh, dots_b = non_dots(b) ^ kHigh;
  uint64_t bad = (non_digits(a) & ~dots_a & in_a) | (non_digits(b) & ~dots_b & in_b);
  auto first = [](uint64_t high) {
    return high ? static_cast<unsigned>(__builtin_ctzll(high)) >> 3 : 16u;
  };
  uint64_t a2 = dots_a & (dots_a - 1), a3 = a2 & (a2 - 1);
  unsigned d1 = first(dots_a), d2 = first(a2), d3 = a3 ? first(a3) : 8 + first(dots_b);
  // Nothing but digits after the third dot, and four fields of one to
  // three digits.
  uint64_t more = a3 ? (a3 & (a3 - 1)) | dots_b : dots_b & (dots_b - 1);
  if (bad | more || d1 - 1 > 2 || d2 - d1 - 2 > 2 || d3 - d2 - 2 > 2 || n - d3 - 2 > 2)
    return false;
  // Each field from the three characters before its end, the last in the
  // third byte; the mask for its length drops those not its own and one
  // multiplication weighs the digits by 100, 10 and 1 (the byte keeps the
  // value's low 8 bits, as the general reader does).
  static constexpr uint32_t kOwn[4] = {0, 0xFF0000u, 0xFFFF00u, 0xFFFFFFu};
  auto field = [](uint64_t chars, unsigned count) {
    uint32_t values = (static_cast<uint32_t>(chars) ^ 0x303030u) & kOwn[count];
    return static_cast<unsigned char>((values * 0x640A01u) >> 16);
  };
  out[0] = field(load_le32(p) << (24 - 8 * d1), d1);
  out[1] = field(load_le32(p + d2 - 3), d2 - d1 - 1);
  out[2] = field(load_le32(p + d3 - 3), d3 - d2 - 1);
  out[3] = field(load_le32(end - 4) >> 8, n - d3 - 1);
  return true;
}

// Every form, after blanks at either end (kept apart from the common case).
__attribute__((noinline)) int read_address(void *out, intptr_t size, const char *text,
                                           intptr_t length);

}  // namespace

extern "C" {

intptr_t xp_fmt_addr(char *buffer, intptr_t size, int kind, const void *address) {
  static const intptr_t kNeeded[] = {8, 15, 23};
  if (kind < -1 || kind > 2) return 0;
  const auto *a = static_cast<const unsigned char *>(address);
  if (kind == XP_ADDR_IPV6) {
    if (!a) return -1;
    return buffer ? render_ipv6(buffer, size, a) : measure_ipv6(a);
  }
  if (!buffer) return kNeeded[kind];
  if (size < kNeeded[kind] || !a) return -1;
  Sink out{buffer, size};
  switch (kind) {
    case XP_ADDR_NETNODE:
      out.decimal(unsigned{a[0]} << 8 | a[1]);
      out.put('.');
      out.decimal(a[2]);
      return out.pos;
    case XP_ADDR_IPV4:
      for (int i = 0; i < 4; ++i) {
        if (i) out.put('.');
        out.decimal(a[i]);
      }
      return out.pos;
    default:  // XP_ADDR_NETNODE_HEX: 25 characters, reported as 23
      out.put('0');
      out.put('x');
      out.hex(a, 4);
      out.put('/');
      out.put('0');
      out.put('x');
      out.hex(a + 4, 6);
      return 23;
  }
}

int xp_fmt_getaddr(void *out, intptr_t size, const char *text, intptr_t length) {
  // The usual IPv4 text with nothing around it, before anything else.
  if (text && out && size >= 4 && length >= 7 && length <= 15 &&
      dotted_quad(reinterpret_cast<const unsigned char *>(text),
                  reinterpret_cast<const unsigned char *>(text + length),
                  static_cast<unsigned char *>(out)))
    return XP_ADDR_IPV4;
  return read_address(out, size, text, length);
}

}  // extern "C"

namespace {

int read_address(void *out, intptr_t size, const char *text, intptr_t length) {
  if (!text) return -1;
  bool terminated = length < 0;
  size_t len = terminated ? std::strlen(text) : static_cast<size_t>(length);
  const char *end = text + len;
  while (text < end && (*text == ' ' || *text == '\t'))
    ++text;
  while (end > text && (end[-1] == ' ' || end[-1] == '\t'))
    --end;
  len = static_cast<size_t>(end - text);
  if (len == 0) return -1;
  auto *dst = static_cast<unsigned char *>(out);
  size_t room = dst && size > 0 ? static_cast<size_t>(size) : 0;
  if (room >= 4 && dotted_quad(reinterpret_cast<const unsigned char *>(text),
                               reinterpret_cast<const unsigned char *>(end), dst))
    return XP_ADDR_IPV4;

  if (len == 23 && text[0] == '0' && text[1] == 'x' && text[10] == '/' && text[11] == '0' &&
      text[12] == 'x') {
    if (dst) {
      // Explicit length: the two characters behind the 23 belong to the text.
      // Zero-terminated: what lies before the terminator (trailing blanks),
      // and the terminator itself, which reads as a 0 digit.
      size_t readable = terminated ? len + std::strlen(end) : 25;
      read_netnode_hex(dst, room, text, readable);
    }
    return XP_ADDR_NETNODE_HEX;
  }
  if (len == 8 && text[0] == '$' && text[5] == '.') {
    if (dst) {
      size_t n = xp_fmt_getdata(dst, room < 2 ? room : 2, text + 1, 4);
      xp_fmt_getdata(dst + n, room - n, text + 6, 2);
    }
    return XP_ADDR_NETNODE;
  }

  size_t dots = 0;
  for (const char *p = text; p < end; ++p)
    dots += *p == '.';
  Fields fields{reinterpret_cast<const unsigned char *>(text),
                reinterpret_cast<const unsigned char *>(end)};
  bool dot;
  if (dots > 1) {
    for (size_t i = 0; i < 4 && i < room; ++i)
      dst[i] = static_cast<unsigned char>(fields.next(&dot));
    return XP_ADDR_IPV4;
  }
  if (!dst) return XP_ADDR_NETNODE;
  unsigned char bytes[3] = {0, 0, 0};
  unsigned first = fields.next(&dot);
  if (dot) {
    bytes[0] = static_cast<unsigned char>(first >> 8);
    bytes[1] = static_cast<unsigned char>(first);
    bytes[2] = static_cast<unsigned char>(fields.next(&dot));
  } else {
    bytes[2] = static_cast<unsigned char>(first);
  }
  std::memcpy(dst, bytes, room < 3 ? room : 3);
  return XP_ADDR_NETNODE;
}

}  // namespace
