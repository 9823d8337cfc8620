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

// Character classes by table, one load per character: the value of a
// decimal or hexadecimal digit, kLetter for the other ASCII letters (which
// the UUID reader holds and reads as 0), kOther for everything else.
constexpr unsigned char kLetter = 0x10;
constexpr unsigned char kOther = 0x80;
struct Classes {
  unsigned char hex[256];
  constexpr Classes() : hex() {
    for (int c = 0; c < 256; ++c) {
      unsigned char v = kOther;
      if (c >= '0' && c <= '9') v = static_cast<unsigned char>(c - '0');
      if ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') v = kLetter;
      if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
        v = static_cast<unsigned char>((c | 0x20) - 'a' + 10);
      hex[c] = v;
    }
  }
};
inline constexpr Classes kClasses{};

// Value of a hexadecimal digit, or -1 for any other character.
inline int hex_value(unsigned char c) {
  unsigned v = kClasses.hex[c];
  return v < 16 ? static_cast<int>(v) : -1;
}

// Value of a decimal digit, or a value above 9 for any other character.
inline unsigned decimal_value(unsigned char c) {
  return static_cast<unsigned>(c) - '0';
}

}  // namespace xpf::scan

#endif  // XP_FMT_SCAN_INTERNAL_H
