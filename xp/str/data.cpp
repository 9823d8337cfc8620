// The data object: an immutable byte block held inline, borrowed from the
// caller or owned, with appending (a longer copy), the accessors and the
// object's type operations.
#include <cstdint>

#include "xp/str/xp_str_internal.h"

namespace {

const unsigned char kZero[1] = {0};

// The fields of a data object with len inline bytes, past its header.
xp_data *inline_bytes(xp_data *d, size_t len) {
  d->obj.textify = xp_data_textify;
  d->obj.control = xp_data_control;
  d->length = len;
  d->bytes = reinterpret_cast<const unsigned char *>(d + 1);
  return d;
}

xp_data *make(size_t len) {
  if (len > SIZE_MAX / 2 - sizeof(xp_data)) return nullptr;
  auto *d = reinterpret_cast<xp_data *>(xp_new(XP_TYPE_DATA, sizeof(xp_data) + len));
  return d ? inline_bytes(d, len) : nullptr;
}

xp_data *outside(const void *bytes, size_t len) {
  auto *d = reinterpret_cast<xp_data *>(xp_new(XP_TYPE_DATA, sizeof(xp_data)));
  if (!d) return nullptr;
  d->obj.textify = xp_data_textify;
  d->obj.control = xp_data_control;
  d->length = len;
  d->bytes = bytes ? static_cast<const unsigned char *>(bytes) : kZero;
  return d;
}

uint32_t be32(const unsigned char *p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

}  // namespace

namespace xps {

xp_data *data_in_place(void *block, size_t len) {
  return inline_bytes(reinterpret_cast<xp_data *>(xpc::object_in(block, XP_TYPE_DATA)), len);
}

}  // namespace xps

extern "C" {

uint32_t xp_data_type(void) {
  return XP_TYPE_DATA;
}

xp_data *xp_data_new(const void *bytes, size_t len) {
  xp_data *d = make(len);
  if (d && bytes && len) std::memcpy(reinterpret_cast<unsigned char *>(d + 1), bytes, len);
  return d;
}

xp_data *xp_data_const(const void *bytes, size_t len) {
  return outside(bytes, bytes ? len : 0);
}

xp_data *xp_data_alloc(void *block, size_t len) {
  if (!block) return xp_data_new(nullptr, 0);
  xp_data *d = outside(block, len);
  if (!d) {
    xp_free(block);
    return nullptr;
  }
  d->obj.release = xp_data_release;
  return d;
}

void xp_data_release(void *obj) {
  if (!obj) return;
  auto *d = static_cast<xp_data *>(obj);
  if (d->obj.release != xp_data_release) {
    xp_release(obj);
    return;
  }
  if (!xp_prerelease(obj)) return;
  xp_free(const_cast<unsigned char *>(d->bytes));
  xp_free(d);
}

xp_data *xp_data_append(xp_data *d, const void *bytes, size_t count) {
  if (!d || d->length == 0) return xp_data_new(bytes, count);
  if (count == 0) return static_cast<xp_data *>(xp_retain(d));
  if (count > SIZE_MAX / 2 - d->length) return nullptr;
  xp_data *r = make(d->length + count);
  if (!r) return nullptr;
  auto *out = reinterpret_cast<unsigned char *>(r + 1);
  std::memcpy(out, d->bytes, d->length);
  // A null source leaves count zero bytes at the end: room for a writer.
  if (bytes) std::memcpy(out + d->length, bytes, count);
  return r;
}

const void *xp_data_getptr(const xp_data *d) {
  return d ? d->bytes : kZero;
}

size_t xp_data_length(const xp_data *d) {
  return d ? d->length : 0;
}

size_t xp_data_get(const xp_data *d, void *buf, size_t size) {
  if (!d) return 0;
  if (!buf) return d->length;
  size_t n = size < d->length ? size : d->length;
  if (n) std::memcpy(buf, d->bytes, n);
  return n;
}

xp_word xp_data_control(void *d, int code, xp_word a, xp_word b) {
  if (code == XP_CONTROL_SERIALIZE) return xps::serialize_data(d, a, b);
  if (code != XP_CONTROL_DESERIALIZE || !b) return 0;
  // A tagged-container item: tag (host order), type, big-endian length, data.
  const auto *item = reinterpret_cast<const unsigned char *>(b);
  uint32_t tag, type;
  std::memcpy(&tag, item, 4);
  std::memcpy(&type, item + 4, 4);
  if (type != XP_TYPE_DATA) return 0;
  if (a != 0 && tag != static_cast<uint32_t>(a)) return 0;
  return reinterpret_cast<xp_word>(xp_data_new(item + 12, be32(item + 8)));
}

}  // extern "C"
