// Derivations of strings: replacement of every occurrence of a pattern,
// extraction of a marked span, trimming, and ASCII case changes. Each gives
// a new string, or a further reference to the given one when nothing would
// change or memory runs out.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

namespace {

xp_str *change_case(xp_str *s, unsigned char (*change)(unsigned char)) {
  if (!s) return nullptr;
  xp_str *r = xps::copy(s->text, s->length);
  if (!r) return xps::again(s);
  auto *p = reinterpret_cast<unsigned char *>(xps::room(r));
  for (intptr_t i = 0; i < r->length; i++)
    p[i] = change(p[i]);
  return r;
}

}  // namespace

extern "C" {

xp_str *xp_str_replace(xp_str *s, const char *pattern, int cs, const char *rep, intptr_t replen) {
  if (!s) return nullptr;
  if (!pattern || !*pattern) return xps::again(s);
  intptr_t m = static_cast<intptr_t>(std::strlen(pattern));
  intptr_t count = 0;
  for (intptr_t at = xp_str_find(s, pattern, cs, 0); at >= 0;
       at = xp_str_find(s, pattern, cs, at + m))
    count++;
  if (count == 0) return xps::again(s);
  replen = xps::measure(rep, replen);
  intptr_t growth, length;
  if (__builtin_mul_overflow(replen - m, count, &growth) ||
      __builtin_add_overflow(s->length, growth, &length))
    return xps::again(s);
  xp_str *r = xps::alloc(length);
  if (!r) return xps::again(s);
  char *out = xps::room(r);
  intptr_t from = 0;
  for (intptr_t at = xp_str_find(s, pattern, cs, 0); at >= 0;
       at = xp_str_find(s, pattern, cs, at + m)) {
    std::memcpy(out, s->text + from, static_cast<size_t>(at - from));
    out += at - from;
    // A null replacement of stated length leaves zero bytes in its place.
    if (rep && replen > 0) std::memcpy(out, rep, static_cast<size_t>(replen));
    out += replen;
    from = at + m;
  }
  std::memcpy(out, s->text + from, static_cast<size_t>(s->length - from));
  r->length = length;
  return r;
}

xp_str *xp_str_extract(xp_str *s, const char *startmark, const char *endmark, char *buf,
                       intptr_t size) {
  if (buf && size > 0) buf[0] = 0;
  if (!s) return nullptr;
  if (!startmark || !*startmark || !endmark || !*endmark) return xps::again(s);
  intptr_t a = xp_str_find(s, startmark, 1, 0);
  if (a < 0) return xps::again(s);
  intptr_t inner = a + static_cast<intptr_t>(std::strlen(startmark));
  intptr_t b = xp_str_find(s, endmark, 1, inner);
  if (b < 0) return xps::again(s);
  if (buf && size > 0) {
    intptr_t n = b - inner < size - 1 ? b - inner : size - 1;
    std::memcpy(buf, s->text + inner, static_cast<size_t>(n));
    buf[n] = 0;
  }
  intptr_t tail = b + static_cast<intptr_t>(std::strlen(endmark));
  xp_str *r = xps::alloc(a + s->length - tail);
  if (!r) return xps::again(s);
  std::memcpy(xps::room(r), s->text, static_cast<size_t>(a));
  std::memcpy(xps::room(r) + a, s->text + tail, static_cast<size_t>(s->length - tail));
  r->length = a + s->length - tail;
  return r;
}

xp_str *xp_str_trim(xp_str *s) {
  if (!s) return nullptr;
  // From the left every byte that reads as signed at most 32 goes (so the
  // bytes of a leading non-ASCII character go too); from the right only
  // controls and spaces.
  intptr_t from = 0, to = s->length;
  while (from < to && static_cast<signed char>(s->text[from]) <= 32)
    from++;
  while (to > from && static_cast<unsigned char>(s->text[to - 1]) <= 32)
    to--;
  if (from == to) return nullptr;
  if (from == 0 && to == s->length) return xps::again(s);
  return xps::copy(s->text + from, to - from);
}

xp_str *xp_str_upper(xp_str *s) {
  return change_case(s, xps::upper);
}
xp_str *xp_str_lower(xp_str *s) {
  return change_case(s, xps::lower);
}

}  // extern "C"
