// UTF-8 helpers shared by the pane and the local agent: the length of a
// well-formed sequence, repair of ill-formed text and cutting at a character
// boundary.
#ifndef TESSARY_UTF8_H
#define TESSARY_UTF8_H

#include <cstddef>
#include <string>

namespace tessary::utf8 {

// Length (1-4) of the well-formed UTF-8 sequence at the start of `p` (of `n`
// bytes, n > 0), or 0 when it is ill-formed (stray continuation byte, overlong
// form, surrogate, value above U+10FFFF, or cut short).
inline std::size_t sequence_length(const unsigned char *p, std::size_t n) {
  unsigned char b = p[0];
  if (b < 0x80) return 1;
  std::size_t len;
  unsigned char lo = 0x80, hi = 0xBF;  // bounds of the second byte
  if (b >= 0xC2 && b <= 0xDF) {
    len = 2;
  } else if (b >= 0xE0 && b <= 0xEF) {
    len = 3;
    if (b == 0xE0) lo = 0xA0;
    if (b == 0xED) hi = 0x9F;
  } else if (b >= 0xF0 && b <= 0xF4) {
    len = 4;
    if (b == 0xF0) lo = 0x90;
    if (b == 0xF4) hi = 0x8F;
  } else {
    return 0;
  }
  if (n < len) return 0;
  if (p[1] < lo || p[1] > hi) return 0;
  for (std::size_t i = 2; i < len; ++i) {
    if (p[i] < 0x80 || p[i] > 0xBF) return 0;
  }
  return len;
}

// `bytes` with every ill-formed byte replaced by U+FFFD.
inline std::string repaired(const char *bytes, std::size_t n) {
  std::string out;
  out.reserve(n);
  const auto *p = reinterpret_cast<const unsigned char *>(bytes);
  std::size_t i = 0;
  while (i < n) {
    std::size_t len = sequence_length(p + i, n - i);
    if (len == 0) {
      out += "\xEF\xBF\xBD";
      ++i;
    } else {
      out.append(bytes + i, len);
      i += len;
    }
  }
  return out;
}

// The longest prefix of well-formed `text` of at most `limit` bytes that
// ends at a character boundary.
inline std::size_t bounded_length(const std::string &text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  std::size_t end = limit;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return end;
}

}  // namespace tessary::utf8

#endif  // TESSARY_UTF8_H
