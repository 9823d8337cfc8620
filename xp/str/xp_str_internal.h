// Library-private parts of the string family: the layouts of the string
// and data objects, the build configuration of the string services, and
// the helpers that the family's files share. Not installed.
#ifndef XP_STR_INTERNAL_H
#define XP_STR_INTERNAL_H

#include <cstring>

#include "xp/core/xp_core_internal.h"
#include "xp/str/xp_str.h"

// Configuration of the string services. Only the self-contained services
// are built: the library converts UTF-16 itself, compares bytes and changes
// case in ASCII. A configuration that routes conversions, comparisons and
// case changes through the platform's string services would be selected
// here (XP_STR_PLATFORM) and would replace the bodies in wide.cpp,
// compare.cpp and derive.cpp; none is provided.
#if defined(XP_STR_PLATFORM) && XP_STR_PLATFORM
#error "the platform string services are not part of this build"
#endif

// String object: the header, then the text pointer, the byte length and the
// inline text, which is followed by a pointer's width of zero bytes. The
// text pointer leads to the inline text, or to the caller's buffer for
// borrowed (xp_str_const) and owned (xp_str_alloc) texts.
struct xp_str {
  xp_obj obj;
  const char *text;
  intptr_t length;
};

// Data object: the header, then (reversed against the string) the length,
// the byte pointer and exactly length inline bytes.
struct xp_data {
  xp_obj obj;
  uintptr_t length;
  const unsigned char *bytes;
};

namespace xps {

// Spare zero bytes behind a string's inline text.
constexpr size_t kSpare = sizeof(void *);

// A string with room for len inline bytes (len >= 0), its text pointer set
// to that room and its length 0. Null when memory runs out or len is
// beyond what can be allocated.
xp_str *alloc(intptr_t len);
// The inline room of a string made by alloc.
inline char *room(xp_str *s) {
  return reinterpret_cast<char *>(s + 1);
}
// A new string of len bytes copied from bytes (len >= 0, bytes non-null
// unless len is 0).
xp_str *copy(const char *bytes, intptr_t len);
// A further reference (null stays null).
inline xp_str *again(xp_str *s) {
  return static_cast<xp_str *>(xp_retain(s));
}

// Length of a text: len when not negative, else measured (null: 0).
inline intptr_t measure(const char *text, intptr_t len) {
  if (len >= 0) return len;
  return text ? static_cast<intptr_t>(std::strlen(text)) : 0;
}

// Length of a UTF-8 sequence read from its lead byte alone (1 to 6).
inline intptr_t seqlen(unsigned char lead) {
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF8) return 4;
  if (lead < 0xFC) return 5;
  return 6;
}

// Bytes of text (len of them) that fit in limit without cutting a sequence.
intptr_t whole_prefix(const char *text, intptr_t len, intptr_t limit);

// ASCII case folding.
inline unsigned char lower(unsigned char c) {
  return static_cast<unsigned>(c - 'A') < 26u ? static_cast<unsigned char>(c + 32) : c;
}
inline unsigned char upper(unsigned char c) {
  return static_cast<unsigned>(c - 'a') < 26u ? static_cast<unsigned char>(c - 32) : c;
}

// Compare at most n bytes, stopping after a zero byte that both share:
// strncmp, and the same with ASCII case ignored.
int ncmp(const char *a, const char *b, size_t n);
int nicmp(const char *a, const char *b, size_t n);

// First occurrence of the m-byte pattern (m >= 1) in text[0, len), exact or
// with ASCII case ignored; -1 when none.
intptr_t find(const char *text, intptr_t len, const char *pattern, intptr_t m, bool cs);

// Encoding pass: n units from p into out, whose size is exactly their
// UTF-8 size. path selects the encoder (0 scalar, 1 SSE2, 2 SSSE3; -1 the
// fastest one available); false when that encoder is not available here.
bool utf8_encode(int path, const void *p, size_t n, bool swap, char *out, size_t size);

// UTF-16 sizing pass: the UTF-8 bytes needed for n units read from p, byte
// swapped when swap is set: 1 per unit below 0x80, 2 below 0x800, else 3.
// The scalar form is the definition; the vectorised one (where the target
// has it) must give the same sum.
size_t utf8_size_scalar(const void *p, size_t n, bool swap);
size_t utf8_size_vector(const void *p, size_t n, bool swap);
size_t utf8_size(const void *p, size_t n, bool swap);

// The serialise operation of strings and data objects: one item of type
// "xstr" or "data" with the given tag, added to the NTLD writer w; returns
// the item's size, 0 when it was refused (serialize.cpp).
xp_word serialize_str(void *s, xp_word tag, xp_word w);
xp_word serialize_data(void *d, xp_word tag, xp_word w);

}  // namespace xps

#endif  // XP_STR_INTERNAL_H
