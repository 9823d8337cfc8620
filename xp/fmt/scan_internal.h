// Character helpers shared by the text scanners and the address reader.
#ifndef XP_FMT_SCAN_INTERNAL_H
#define XP_FMT_SCAN_INTERNAL_H

#include "xp/fmt/xp_fmt.h"

namespace xpf::scan {

inline bool is_digit(unsigned char c) {
  return c >= '0' && c <= '9';
}

inline bool is_alpha(unsigned char c) {
  return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
}

// Value of a hexadecimal digit, or -1 for any other character.
inline int hex_value(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace xpf::scan

#endif  // XP_FMT_SCAN_INTERNAL_H
