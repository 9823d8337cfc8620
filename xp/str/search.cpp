// Searches in texts and strings: pattern search (exact or ignoring ASCII
// case) and search for any byte of a set. A candidate filter on the
// pattern's first and last bytes (sixteen positions at a time with SSE2)
// picks the positions that are then compared in full; the first position
// that matches is the answer, as if every position were tried in turn.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

bool equal_fold(const unsigned char *a, const unsigned char *b, size_t n) {
  for (size_t i = 0; i < n; i++)
    if (xps::lower(a[i]) != xps::lower(b[i])) return false;
  return true;
}

// Position-by-position search from at up to last (inclusive).
intptr_t scan_scalar(const unsigned char *t, size_t at, size_t last, const unsigned char *pat,
                     size_t m, bool cs) {
  if (cs) {
    while (at <= last) {
      auto *hit = static_cast<const unsigned char *>(std::memchr(t + at, pat[0], last - at + 1));
      if (!hit) return -1;
      at = static_cast<size_t>(hit - t);
      if (std::memcmp(hit + 1, pat + 1, m - 1) == 0) return static_cast<intptr_t>(at);
      at++;
    }
    return -1;
  }
  unsigned char first = xps::lower(pat[0]);
  for (; at <= last; at++)
    if (xps::lower(t[at]) == first && equal_fold(t + at + 1, pat + 1, m - 1))
      return static_cast<intptr_t>(at);
  return -1;
}

// The first match at or after at, in time linear in the text: the C
// library's search, on case-folded copies when case is ignored. -2 when the
// copies cannot be made.
intptr_t search_rest(const unsigned char *t, size_t at, size_t len, const unsigned char *pat,
                     size_t m, bool cs) {
  if (cs) {
    const void *found = memmem(t + at, len - at, pat, m);
    return found ? static_cast<const unsigned char *>(found) - t : -1;
  }
  size_t n = len - at;
  auto *text = static_cast<unsigned char *>(xp_alloc(n));
  auto *fold = static_cast<unsigned char *>(xp_alloc(m));
  intptr_t r = -2;
  if (text && fold) {
    for (size_t i = 0; i < n; i++)
      text[i] = xps::lower(t[at + i]);
    for (size_t i = 0; i < m; i++)
      fold[i] = xps::lower(pat[i]);
    const void *found = memmem(text, n, fold, m);
    r = found ? static_cast<intptr_t>(at) + (static_cast<const unsigned char *>(found) - text) : -1;
  }
  xp_free(text);
  xp_free(fold);
  return r;
}

#if defined(__SSE2__)

// Lanes equal to either of two bytes (the two cases of a letter, or the
// same byte twice).
inline __m128i either(__m128i v, __m128i x, __m128i y) {
  return _mm_or_si128(_mm_cmpeq_epi8(v, x), _mm_cmpeq_epi8(v, y));
}

intptr_t scan_sse2(const unsigned char *t, size_t len, const unsigned char *pat, size_t m,
                   bool cs) {
  size_t last = len - m;  // last position that can hold a match
  unsigned char f = pat[0], l = pat[m - 1];
  unsigned char f2 = cs ? f : xps::upper(f), l2 = cs ? l : xps::upper(l);
  if (!cs) f = xps::lower(f), l = xps::lower(l);
  const __m128i vf = _mm_set1_epi8(static_cast<char>(f)),
                vf2 = _mm_set1_epi8(static_cast<char>(f2));
  const __m128i vl = _mm_set1_epi8(static_cast<char>(l)),
                vl2 = _mm_set1_epi8(static_cast<char>(l2));
  size_t at = 0;
  // Bytes compared by candidates that failed. When a text defeats the
  // filter (long runs of the pattern's edge bytes), the rest is searched in
  // linear time.
  size_t wasted = 0;
  bool linear = true;
  while (at <= last && last - at >= 15) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(t + at));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(t + at + m - 1));
    unsigned mask = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_and_si128(either(a, vf, vf2), either(b, vl, vl2))));
    while (mask) {
      size_t pos = at + static_cast<size_t>(__builtin_ctz(mask));
      bool hit = cs ? std::memcmp(t + pos + 1, pat + 1, m - 2) == 0
                    : equal_fold(t + pos + 1, pat + 1, m - 2);
      if (hit) return static_cast<intptr_t>(pos);
      wasted += m;
      mask &= mask - 1;
    }
    at += 16;
    if (linear && wasted > 4 * at + 4096) {
      intptr_t r = search_rest(t, at, len, pat, m, cs);
      if (r != -2) return r;
      linear = false;  // no memory for it: carry on here
    }
  }
  return at <= last ? scan_scalar(t, at, last, pat, m, cs) : -1;
}

#endif

}  // namespace

namespace xps {

intptr_t find(const char *text, intptr_t len, const char *pattern, intptr_t m, bool cs) {
  if (m < 1 || len < m) return -1;
  auto *t = reinterpret_cast<const unsigned char *>(text);
  auto *p = reinterpret_cast<const unsigned char *>(pattern);
#if defined(__SSE2__)
  if (m >= 2) return scan_sse2(t, static_cast<size_t>(len), p, static_cast<size_t>(m), cs);
#endif
  return scan_scalar(t, 0, static_cast<size_t>(len - m), p, static_cast<size_t>(m), cs);
}

}  // namespace xps

extern "C" {

intptr_t xp_str_txtfind(const char *text, intptr_t len, const char *pattern, int cs,
                        intptr_t start) {
  if (!text) return -1;
  len = xps::measure(text, len);
  if (len <= start || start < 0 || !pattern || !*pattern) return -1;
  intptr_t m = static_cast<intptr_t>(std::strlen(pattern));
  if (start > len - m) return -1;
  intptr_t r = xps::find(text + start, len - start, pattern, m, cs != 0);
  return r < 0 ? -1 : start + r;
}

intptr_t xp_str_strfind(const char *text, const char *pattern, int cs, intptr_t start) {
  return xp_str_txtfind(text, -1, pattern, cs, start);
}

intptr_t xp_str_find(const xp_str *s, const char *pattern, int cs, intptr_t start) {
  if (!s) return -1;
  return xp_str_txtfind(s->text, s->length, pattern, cs, start);
}

const char *xp_str_strstr(const char *text, const char *pattern) {
  intptr_t r = xp_str_txtfind(text, -1, pattern, 1, 0);
  return r < 0 ? nullptr : text + r;
}

const char *xp_str_stristr(const char *text, const char *pattern) {
  intptr_t r = xp_str_txtfind(text, -1, pattern, 0, 0);
  return r < 0 ? nullptr : text + r;
}

intptr_t xp_str_txtany(const char *text, intptr_t len, const char *set, intptr_t start) {
  if (!text || !set || !*set) return -1;
  len = xps::measure(text, len);
  if (start < 0 || start >= len) return -1;
  auto *t = reinterpret_cast<const unsigned char *>(text);
  if (!set[1]) {
    const void *hit = std::memchr(t + start, set[0], static_cast<size_t>(len - start));
    return hit ? static_cast<const unsigned char *>(hit) - t : -1;
  }
  bool member[256] = {};
  for (auto *c = reinterpret_cast<const unsigned char *>(set); *c; c++)
    member[*c] = true;
  for (intptr_t i = start; i < len; i++)
    if (member[t[i]]) return i;
  return -1;
}

intptr_t xp_str_strany(const char *text, const char *set, intptr_t start) {
  return xp_str_txtany(text, -1, set, start);
}

intptr_t xp_str_any(const xp_str *s, const char *set, intptr_t start) {
  if (!s) return -1;
  return xp_str_txtany(s->text, s->length, set, start);
}

}  // extern "C"
