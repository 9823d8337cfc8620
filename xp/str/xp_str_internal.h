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

// A data object made in place: a block from xp_alloc of kDataLead + len
// bytes whose last len bytes are already the data becomes an object that
// holds them inline (no copy; freed with it as one block).
constexpr size_t kDataLead = sizeof(xp_data);
xp_data *data_in_place(void *block, size_t len);

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

// UTF-16 to UTF-8 kernels. A kernel sizes n units read from p (byte
// swapped when swap is set): 1 UTF-8 byte per unit below 0x80, 2 below
// 0x800, else 3, surrogates included, each unit alone; and encodes them
// into out, whose size is exactly that. The scalar kernel (wide_scalar.cpp)
// is the definition; each vector kernel, in its own file, must give the
// same sizes and bytes.
struct WideKernel {
  const char *name;
  size_t (*size)(const unsigned char *p, size_t n, bool swap);
  void (*encode)(const unsigned char *p, size_t n, bool swap, char *out, size_t size);
};
extern const WideKernel wide_scalar;
#if defined(__x86_64__) || defined(__i386__)
#define XPS_WIDE_X86 1
extern const WideKernel wide_sse4;  // SSE4.1 (wide_sse4.cpp)
extern const WideKernel wide_avx2;  // AVX2 (wide_avx2.cpp)
#endif

// The kernels that this processor runs, fastest first (*count of them),
// and the fastest, chosen once by asking the processor.
const WideKernel *const *wide_kernels(size_t *count);
const WideKernel &wide_best();

// The vector kernels spread each unit into a 32-bit lane holding, in byte order: the unit's
// low byte (all of a one-byte unit); the last continuation byte; the lead
// byte of a three-byte unit; the middle byte of a three-byte unit or the
// lead byte of a two-byte one (the two differ by the bit 0x40 only). A
// shuffle then takes from every lane the bytes its unit needs: [0], [3, 1]
// or [2, 3, 1]. Four units make one shuffle of at most 12 bytes, chosen by
// their classes: bit 2k set when unit k takes one byte, bit 2k + 1 when it
// takes at most two.
struct WideSpread {
  unsigned char shuffle[256][16];
  unsigned char length[256];
};

constexpr WideSpread make_wide_spread() {
  WideSpread t{};
  for (int m = 0; m < 256; m++) {
    int o = 0;
    for (int k = 0; k < 4; k++) {
      int base = 4 * k;
      if (m >> (2 * k) & 1) {
        t.shuffle[m][o++] = static_cast<unsigned char>(base);
      } else if (m >> (2 * k + 1) & 1) {
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 3);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 1);
      } else {
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 2);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 3);
        t.shuffle[m][o++] = static_cast<unsigned char>(base + 1);
      }
    }
    t.length[m] = static_cast<unsigned char>(o);
    while (o < 16)
      t.shuffle[m][o++] = 0x80;
  }
  return t;
}

inline constexpr WideSpread kWideSpread = make_wide_spread();

// Scalar pieces the vector kernels finish their tails with.
size_t wide_size_tail(const unsigned char *p, size_t n, bool swap);
char *wide_encode_tail(const unsigned char *p, size_t n, bool swap, char *out);

// The serialise operation of strings and data objects: one item of type
// "xstr" or "data" with the given tag, added to the NTLD writer w; returns
// the item's size, 0 when it was refused (serialize.cpp).
xp_word serialize_str(void *s, xp_word tag, xp_word w);
xp_word serialize_data(void *d, xp_word tag, xp_word w);

}  // namespace xps

#endif  // XP_STR_INTERNAL_H
