// Text lengths and the comparison family: one rule set (null first, the
// common part compared up to a zero byte, then the longer text is greater)
// over zero-terminated, counted and length-prefixed texts.
#include "xp/str/xp_str_internal.h"

namespace {

int order(const char *a, intptr_t alen, const char *b, intptr_t blen, bool cs) {
  if (!a) return b ? -1 : 0;
  if (!b) return 1;
  alen = xps::measure(a, alen);
  blen = xps::measure(b, blen);
  size_t common = static_cast<size_t>(alen < blen ? alen : blen);
  int r = cs ? xps::ncmp(a, b, common) : xps::nicmp(a, b, common);
  if (r != 0) return r;
  return alen > blen ? 1 : alen < blen ? -1 : 0;
}

int porder(const unsigned char *a, const unsigned char *b, bool cs) {
  if (!a) return b ? -1 : 0;
  if (!b) return 1;
  return order(reinterpret_cast<const char *>(a + 1), a[0], reinterpret_cast<const char *>(b + 1),
               b[0], cs);
}

}  // namespace

namespace xps {

int ncmp(const char *a, const char *b, size_t n) {
  return n ? std::strncmp(a, b, n) : 0;
}

int nicmp(const char *a, const char *b, size_t n) {
  auto *x = reinterpret_cast<const unsigned char *>(a);
  auto *y = reinterpret_cast<const unsigned char *>(b);
  for (size_t i = 0; i < n; i++) {
    int d = lower(x[i]) - lower(y[i]);
    if (d != 0 || x[i] == 0) return d;
  }
  return 0;
}

}  // namespace xps

extern "C" {

intptr_t xp_str_strlen(const char *text) {
  return xps::measure(text, -1);
}

intptr_t xp_str_txtlen(const char *text, intptr_t len) {
  if (len >= 0) return len;
  return xps::measure(text, -1);
}

int xp_str_strcmp(const char *a, const char *b) {
  return order(a, -1, b, -1, true);
}
int xp_str_stricmp(const char *a, const char *b) {
  return order(a, -1, b, -1, false);
}

// Both texts are taken as n bytes long: two texts that agree in their first
// n bytes are equal whatever their real lengths.
int xp_str_strncmp(const char *a, const char *b, intptr_t n) {
  return order(a, n, b, n, true);
}
int xp_str_strnicmp(const char *a, const char *b, intptr_t n) {
  return order(a, n, b, n, false);
}

int xp_str_strpcmp(const unsigned char *a, const unsigned char *b) {
  return porder(a, b, true);
}
int xp_str_strpicmp(const unsigned char *a, const unsigned char *b) {
  return porder(a, b, false);
}

int xp_str_txtcmp(const char *a, intptr_t alen, const char *b, intptr_t blen) {
  return order(a, alen, b, blen, true);
}
int xp_str_txticmp(const char *a, intptr_t alen, const char *b, intptr_t blen) {
  return order(a, alen, b, blen, false);
}

}  // extern "C"
