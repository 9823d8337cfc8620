// The string object: construction from bytes, borrowed and owned texts,
// concatenation and substrings, the accessors with whole-character
// truncation, and the object's type operations.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

namespace {

const char kEmpty[xps::kSpare] = {};

// Release operation of strings that own a caller's buffer.
void xps_release(void *obj) {
  if (!xp_prerelease(obj)) return;
  auto *s = static_cast<xp_str *>(obj);
  xp_free(const_cast<char *>(s->text));
  xp_free(s);
}

xp_str *init(xp_obj *obj) {
  if (!obj) return nullptr;
  obj->compare = xp_str_compare;
  obj->textify = xp_str_textify;
  obj->control = xp_str_control;
  return reinterpret_cast<xp_str *>(obj);
}

// A string whose text lies outside the object.
xp_str *outside(const char *text) {
  xp_str *s = init(xp_new(XP_TYPE_STR, sizeof(xp_str)));
  if (!s) return nullptr;
  s->text = text ? text : kEmpty;
  s->length = static_cast<intptr_t>(std::strlen(s->text));
  return s;
}

uint32_t be32(const unsigned char *p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

}  // namespace

namespace xps {

xp_str *alloc(intptr_t len) {
  if (len < 0 || static_cast<uintptr_t>(len) > SIZE_MAX / 2 - sizeof(xp_str) - kSpare)
    return nullptr;
  xp_str *s = init(xp_new(XP_TYPE_STR, sizeof(xp_str) + static_cast<size_t>(len) + kSpare));
  if (s) s->text = room(s);
  return s;
}

xp_str *copy(const char *bytes, intptr_t len) {
  xp_str *s = alloc(len);
  if (s && len > 0) {
    std::memcpy(room(s), bytes, static_cast<size_t>(len));
    s->length = len;
  }
  return s;
}

intptr_t whole_prefix(const char *text, intptr_t len, intptr_t limit) {
  if (len <= limit) return len;
  intptr_t at = 0;
  for (;;) {
    intptr_t next = at + seqlen(static_cast<unsigned char>(text[at]));
    if (next > limit) return at;
    at = next;
  }
}

}  // namespace xps

extern "C" {

uint32_t xp_str_type(void) {
  return XP_TYPE_STR;
}
xp_str *xp_str_retain(xp_str *s) {
  return static_cast<xp_str *>(xp_retain(s));
}
void xp_str_release(xp_str *s) {
  xp_release(s);
}

xp_str *xp_str_make(const char *bytes, intptr_t len) {
  if (len < 0) len = xps::measure(bytes, len);
  xp_str *s = xps::alloc(len);
  if (s && bytes && len > 0) {
    std::memcpy(xps::room(s), bytes, static_cast<size_t>(len));
    s->length = len;
  }
  return s;
}

xp_str *xp_str_new(const char *text) {
  return xp_str_make(text, -1);
}

xp_str *xp_str_cfmake(const void *) {
  return nullptr;
}

xp_str *xp_str_encmake(int, const char *bytes, intptr_t len) {
  return xp_str_make(bytes, len);
}

xp_str *xp_str_const(const char *text) {
  return outside(text);
}

xp_str *xp_str_alloc(char *text) {
  if (!text) return xp_str_new(nullptr);
  xp_str *s = outside(text);
  if (!s) {
    xp_free(text);
    return nullptr;
  }
  s->obj.release = xps_release;
  return s;
}

xp_str *xp_str_append(xp_str *s, const char *bytes, intptr_t len) {
  if (!s || s->length == 0) return xp_str_make(bytes, len);
  if (len < 0) {
    if (!bytes || !*bytes) return xps::again(s);
    len = static_cast<intptr_t>(std::strlen(bytes));
  }
  if (len == 0) return xps::again(s);
  if (len > INTPTR_MAX - s->length) return nullptr;
  xp_str *r = xps::alloc(s->length + len);
  if (!r) return nullptr;
  char *out = xps::room(r);
  std::memcpy(out, s->text, static_cast<size_t>(s->length));
  // A null source of stated length leaves that many zero bytes.
  if (bytes) std::memcpy(out + s->length, bytes, static_cast<size_t>(len));
  r->length = s->length + len;
  return r;
}

xp_str *xp_str_concat(xp_str *a, xp_str *b) {
  if (!b) return xps::again(a);
  if (a && a->length != 0) return xp_str_append(a, b->text, b->length);
  return xps::again(b);
}

xp_str *xp_str_substr(xp_str *s, intptr_t start, intptr_t count) {
  if (!s) return nullptr;
  if (start <= 0 && count >= s->length) return xps::again(s);
  if (start < 0) start = 0;
  if (start > s->length) start = s->length;
  intptr_t rest = s->length - start;
  if (count < 0 || count > rest) count = rest;
  return xps::copy(s->text + start, count);
}

intptr_t xp_str_length(const xp_str *s) {
  return s ? s->length : 0;
}

const char *xp_str_getptr(const xp_str *s) {
  return s ? s->text : kEmpty;
}

intptr_t xp_str_get(const xp_str *s, char *buf, intptr_t size) {
  if (!s) return 0;
  if (!buf) return s->length;
  intptr_t n = xps::whole_prefix(s->text, s->length, size);
  if (n > 0) std::memcpy(buf, s->text, static_cast<size_t>(n));
  return n;
}

intptr_t xp_str_cget(const xp_str *s, char *buf, intptr_t size) {
  if (!buf) return xp_str_length(s);
  if (size < 1) return 0;
  intptr_t n = s ? xps::whole_prefix(s->text, s->length, size - 1) : 0;
  if (n > 0) std::memcpy(buf, s->text, static_cast<size_t>(n));
  buf[n] = 0;
  return n;
}

intptr_t xp_str_pget(const xp_str *s, unsigned char *buf, intptr_t size) {
  if (!buf) return xp_str_length(s);
  if (size < 1) return 0;
  intptr_t n = s ? xps::whole_prefix(s->text, s->length, size - 1) : 0;
  buf[0] = static_cast<unsigned char>(n);
  if (n > 0) std::memcpy(buf + 1, s->text, static_cast<size_t>(n));
  return n;
}

int xp_str_compare(const void *a, const void *b) {
  const char *x = xp_str_getptr(static_cast<const xp_str *>(a));
  const char *y = xp_str_getptr(static_cast<const xp_str *>(b));
  size_t lx = std::strlen(x), ly = std::strlen(y);
  int r = xps::nicmp(x, y, lx < ly ? lx : ly);
  if (r != 0) return r;
  return lx > ly ? 1 : lx < ly ? -1 : 0;
}

xp_word xp_str_textify(void *s, xp_word buf, xp_word size, xp_word) {
  return xp_str_get(static_cast<const xp_str *>(s), reinterpret_cast<char *>(buf), size);
}

xp_word xp_str_control(void *s, int code, xp_word a, xp_word b) {
  if (code == XP_CONTROL_SERIALIZE) return xps::serialize_str(s, a, b);
  if (code != XP_CONTROL_DESERIALIZE || !b) return 0;
  // A tagged-container item: tag (host order), type, big-endian length, data.
  const auto *item = reinterpret_cast<const unsigned char *>(b);
  uint32_t tag, type;
  std::memcpy(&tag, item, 4);
  std::memcpy(&type, item + 4, 4);
  if (type != XP_TYPE_STR && type != XP_TAG('t', 'e', 'x', 't')) return 0;
  if (a != 0 && tag != static_cast<uint32_t>(a)) return 0;
  intptr_t len = static_cast<intptr_t>(be32(item + 8));
  return reinterpret_cast<xp_word>(xps::copy(reinterpret_cast<const char *>(item + 12), len));
}

}  // extern "C"
