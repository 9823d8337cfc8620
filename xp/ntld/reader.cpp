// The NTLD readers: telling a finished writer from an item pointer, one
// level of verification, and the child lookups by position and by tag.
#include "xp/ntld/xp_ntld_internal.h"

namespace xpn {
namespace {

// Bytes that must be readable at a writer for its two operation slots to be
// looked at.
constexpr uint64_t kWriterProbe = offsetof(xp_obj, release) + sizeof(xp_release_op);

// Resolves a reader's argument; for a writer, *limit receives its capacity.
// `readable` is how many bytes the caller vouches for at `arg`: with fewer
// than a writer's slots need, the argument can only be an item.
const uint8_t *resolve(const void *arg, uint64_t *limit, uint64_t readable) {
  if (!arg) return nullptr;
  const auto *p = static_cast<const uint8_t *>(arg);
  // A writer shows a plausible reference count and the type "ntld" where an
  // item has its tag and type. Only then is the retain slot looked at, and
  // first its leading four bytes, which lie within an item's 12-byte header;
  // when they match a writer's, an item would read them as its length,
  // which is then far beyond the header, so the rest of the two slots lies
  // within the item's data and may be read.
  auto refs = static_cast<int32_t>(load32(p));
  if (readable >= kWriterProbe && refs >= 1 && refs <= 0xFFFFFF && load32(p + 4) == XP_TYPE_NTLD) {
    xp_retain_op retain = xp_obj_retain;
    if (std::memcmp(p + offsetof(xp_obj, retain), &retain, 4) == 0) {
      xp_release_op release;
      std::memcpy(&release, p + offsetof(xp_obj, release), sizeof release);
      if (release == xp_ntld_release) {
        const auto *w = reinterpret_cast<const xp_ntld *>(arg);
        if (!w->buffer || tree_capacity(w) < kHeader || w->head != kNone) return nullptr;
        if (limit) *limit = tree_capacity(w);
        return w->buffer;
      }
    }
  }
  return p;
}

uintptr_t addr(const uint8_t *p) {
  return reinterpret_cast<uintptr_t>(p);
}

// The first child and the end of an item's data; false for an empty item.
bool children(const uint8_t *item, const uint8_t **first, uintptr_t *end) {
  uint32_t length = length_of(item);
  if (!length) return false;
  *first = item + kHeader;
  *end = addr(item) + kHeader + length;
  return true;
}

const uint8_t *next_child(const uint8_t *child) {
  return reinterpret_cast<const uint8_t *>(addr(child) + kHeader + padded(length_of(child)));
}

const uint8_t *by_name(const void *arg, uint32_t tag) {
  const uint8_t *item = item_of(arg);
  const uint8_t *c;
  uintptr_t end;
  if (!item || !children(item, &c, &end)) return nullptr;
  for (; addr(c) < end; c = next_child(c))
    if (load32(c) == tag) return c;
  return nullptr;
}

const uint8_t *by_index(const void *arg, intptr_t index) {
  const uint8_t *item = item_of(arg);
  const uint8_t *c;
  uintptr_t end;
  if (!item || !children(item, &c, &end)) return nullptr;
  for (intptr_t i = 0; i < index; ++i) {
    c = next_child(c);
    if (addr(c) >= end) return nullptr;
  }
  return c;
}

intptr_t bytes_of(const uint8_t *child, void *buffer, intptr_t size) {
  if (!child) return 0;
  uint32_t length = length_of(child);
  if (!buffer) return intptr_t(length);
  size_t n = size < 0 ? 0 : size_t(size);
  if (n > length) n = length;
  std::memcpy(buffer, child + kHeader, n);
  return intptr_t(n);
}

// A 4-byte value of the given type; items too short to hold one give 0.
bool word_of(const uint8_t *child, uint32_t type, uint32_t *word) {
  if (!child || load32(child + 4) != type || length_of(child) < 4) return false;
  *word = load32(child + kHeader);
  return true;
}

uint32_t tag_value(const uint8_t *child) {
  uint32_t v;
  return word_of(child, XP_NTLD_CTAG, &v) ? v : 0;
}

int32_t long_value(const uint8_t *child) {
  uint32_t v;
  return word_of(child, XP_NTLD_LONG, &v) ? static_cast<int32_t>(swap_be(v)) : 0;
}

}  // namespace

const uint8_t *item_of(const void *arg) {
  return resolve(arg, nullptr, UINT64_MAX);
}

}  // namespace xpn

using namespace xpn;

extern "C" {

const void *xp_ntld_next(const void *item) {
  const uint8_t *p = item_of(item);
  return p ? next_child(p) : nullptr;
}

uint32_t xp_ntld_verify(const void *item, intptr_t available) {
  if (!item || available < intptr_t{kHeader}) return 0;
  uint64_t limit = uint64_t(available);
  uint64_t capacity = limit;
  const uint8_t *p = resolve(item, &capacity, limit);
  if (!p) return 0;
  if (capacity < limit) limit = capacity;
  uint64_t length = length_of(p);
  if (length + kHeader > limit || length + kHeader > 0xFFFFFFFFu) return 0;
  // The children must tile the data: each whole and padded, except that
  // the last may end unpadded exactly at the parent's end.
  uint64_t rest = length;
  const uint8_t *c = p + kHeader;
  while (rest) {
    if (rest < kHeader) return 0;
    uint64_t child = length_of(c);
    if (child + kHeader == rest) break;
    uint64_t size = kHeader + padded(child);
    if (rest < size) return 0;
    rest -= size;
    c += size;
  }
  return static_cast<uint32_t>(length + kHeader);
}

intptr_t xp_ntld_count(const void *item) {
  const uint8_t *p = item_of(item);
  const uint8_t *c;
  uintptr_t end;
  if (!p || !children(p, &c, &end)) return 0;
  intptr_t n = 0;
  for (; addr(c) < end; c = next_child(c))
    ++n;
  return n;
}

const void *xp_ntld_getbyname(const void *item, uint32_t tag) {
  return by_name(item, tag);
}

const void *xp_ntld_getbyindex(const void *item, intptr_t index) {
  return by_index(item, index);
}

intptr_t xp_ntld_getbytesbyname(const void *item, uint32_t tag, void *buffer, intptr_t size) {
  return bytes_of(by_name(item, tag), buffer, size);
}

intptr_t xp_ntld_getbytesbyindex(const void *item, intptr_t index, void *buffer, intptr_t size) {
  return bytes_of(by_index(item, index), buffer, size);
}

uint32_t xp_ntld_gettagbyname(const void *item, uint32_t tag) {
  return tag_value(by_name(item, tag));
}

uint32_t xp_ntld_gettagbyindex(const void *item, intptr_t index) {
  return tag_value(by_index(item, index));
}

int32_t xp_ntld_getlongbyname(const void *item, uint32_t tag) {
  return long_value(by_name(item, tag));
}

int32_t xp_ntld_getlongbyindex(const void *item, intptr_t index) {
  return long_value(by_index(item, index));
}

}  // extern "C"
