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

// The usual IPv4 text, four fields of one to three digits joined by dots
// and nothing else, in one pass: the general reader would give the same
// bytes. False for anything else.
bool dotted_quad(const unsigned char *p, const unsigned char *end, unsigned char out[4]) {
  if (end - p < 7 || end - p > 15) return false;
  // The bytes gather in a register (in memory order), stored once.
  uint32_t word = 0;
  for (int i = 0;; ++i) {
    unsigned v = xpf::scan::decimal_value(*p);
    if (v > 9) return false;
    ++p;
    for (int k = 0; k < 2 && p < end; ++k) {
      unsigned d = xpf::scan::decimal_value(*p);
      if (d > 9) break;
      v = v * 10 + d;
      ++p;
    }
    int shift = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 8 * i : 24 - 8 * i;
    word |= (v & 0xFFu) << shift;
    if (i == 3) break;
    if (p == end || *p != '.') return false;
    ++p;
    if (p == end) return false;
  }
  if (p != end) return false;
  std::memcpy(out, &word, 4);
  return true;
}

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

}  // extern "C"
