// The NTLD writer: construction in its three modes, room making (a fixed
// buffer, the dynamic mode's own growing block, or only counting), items,
// containers chained through their length fields, and finishing.
#include <cstdint>

#include "xp/ntld/xp_ntld_internal.h"
#include "xp/str/xp_str_internal.h"

namespace xpn {
namespace {

uint8_t g_empty[4];  // what an empty dynamic writer's data pointer shows
uint8_t g_spare[1];  // where next and stop point without a buffer

void setup(xp_ntld *w, void *store, uint32_t size, bool *ok) {
  w->data = nullptr;
  w->buffer = nullptr;
  w->capacity = 0;
  w->offset = 0;
  w->head = kNone;
  w->depth = 0;
  w->block = nullptr;
  w->room = 0;
  w->lost = false;
  *ok = true;
  if (size == XP_NTLD_DYNAMIC) {
    w->mode = kDynamic;
    if (store) *ok = adopt_store(w, store);
  } else if (store) {
    w->mode = kFixed;
    w->buffer = static_cast<uint8_t *>(store);
    w->capacity = size;
  } else {
    w->mode = kSizing;
  }
  publish(w);
}

void drop(xp_ntld *w) {
  xp_release(w->data);
  w->data = nullptr;
  xp_free(w->block);
  w->block = nullptr;
}

// Dynamic mode: makes the writer's own block hold at least `need` bytes of
// tree, starting with the tree's current bytes. Growth is geometric so that
// a tree costs linear time however it is written.
bool grow_block(xp_ntld *w, uint64_t need) {
  uint64_t want = w->room ? uint64_t{w->room} * 2 : 256;
  if (want < need) want = need;
  if (want > SIZE_MAX - xps::kDataLead) return false;
  size_t size = xps::kDataLead + static_cast<size_t>(want);
  if (w->block) {
    auto *p = static_cast<uint8_t *>(xp_realloc(w->block, size));
    if (!p) {
      // The old block is gone with the failed resize.
      w->block = nullptr;
      w->buffer = nullptr;
      w->room = 0;
      w->capacity = 0;
      w->offset = 0;
      w->head = kNone;
      w->lost = true;
      return false;
    }
    w->block = p;
  } else {
    // First write: copy the starting bytes (the caller's store, or a data
    // object already handed out) so that the object itself is never changed.
    auto *p = static_cast<uint8_t *>(xp_alloc(size));
    if (!p) return false;
    if (w->capacity) std::memcpy(p + xps::kDataLead, w->buffer, w->capacity);
    xp_release(w->data);
    w->data = nullptr;
    w->block = p;
  }
  w->room = static_cast<size_t>(want);
  w->buffer = w->block + xps::kDataLead;
  return true;
}

// How far from the buffer's start items may go without room being made:
// fixed mode's capacity; in dynamic mode with the writer's own block, the
// tree's length or, at its end, the block's room; elsewhere nothing.
uint64_t free_limit(const xp_ntld *w) {
  if (w->mode == kFixed) return w->capacity;
  if (w->mode != kDynamic || !w->block || w->lost) return w->offset;
  if (w->offset < w->capacity) return w->capacity;
  return w->room < 0xFFFFFFFFu ? w->room : 0xFFFFFFFFu;
}

// Where the next `total` bytes go, or null when they are refused. A
// dynamic tree that grows at its end within the block's room grows by just
// the item, which fills the new bytes, so they need no zeroing.
inline uint8_t *reserve(xp_ntld *w, uint32_t total) {
  uint64_t end = uint64_t{w->offset} + total;
  if (w->buffer && end <= free_limit(w)) {
    if (end > w->capacity) w->capacity = static_cast<uint32_t>(end);
    return w->buffer + w->offset;
  }
  if (w->mode != kDynamic || !make_room(w, total)) return nullptr;
  return w->buffer + w->offset;
}

// Sizing mode: counts an item of `total` bytes.
uint32_t count(xp_ntld *w, uint64_t total) {
  if (w->offset + total > 0xFFFFFFFFu) return 0;
  w->offset += static_cast<uint32_t>(total);
  return static_cast<uint32_t>(total);
}

// A 16-byte item with a 4-byte value, written as whole words.
constexpr uint32_t kWordItem = kHeader + 4;

// The adders' way when the public header's inline path could not take the
// item (or was not used): room made as for any other item.
uint32_t add_word(xp_ntld *w, uint32_t tag, uint32_t type, uint32_t value) {
  if (!w) return 0;
  Settled settled(w);
  if (w->mode == kSizing) return count(w, kWordItem);
  uint8_t *p = reserve(w, kWordItem);
  if (!p) return 0;
  store32(p, tag);
  store32(p + 4, type);
  store_be(p + 8, 4);
  store32(p + 12, value);
  w->offset += kWordItem;
  return kWordItem;
}

void close_all(xp_ntld *w) {
  while (xp_ntld_close(w)) {
  }
}

void put_header(uint8_t *p, uint32_t tag, uint32_t type, uint32_t length) {
  store32(p, tag);
  store32(p + 4, type);
  store_be(p + 8, length);
}

}  // namespace

void publish(xp_ntld *w) {
  if (!w->buffer) {
    w->next = w->stop = g_spare;
    return;
  }
  w->next = w->buffer + w->offset;
  w->stop = w->buffer + free_limit(w);
}

bool make_room(xp_ntld *w, uint32_t total) {
  if (w->mode == kFixed) return w->capacity - w->offset >= total;
  if (w->mode != kDynamic || w->lost) return false;
  // The tree's length grows by the whole item when the rest does not hold
  // it, as if a data object were extended by that many zero bytes.
  uint64_t capacity = w->capacity;
  if (capacity - w->offset < total) capacity += total;
  if (capacity > 0xFFFFFFFFu) return false;
  if ((!w->block || capacity > w->room) && !grow_block(w, capacity)) return false;
  if (capacity > w->capacity) {
    uint64_t end = w->offset + uint64_t{total};
    uint64_t from = end > w->capacity ? end : w->capacity;
    std::memset(w->buffer + from, 0, capacity - from);
    w->capacity = static_cast<uint32_t>(capacity);
  }
  return true;
}

}  // namespace xpn

using namespace xpn;

extern "C" {

xp_ntld *xp_ntld_new(void *store, uint32_t size) {
  auto *w = reinterpret_cast<xp_ntld *>(xp_new(XP_TYPE_NTLD, sizeof(xp_ntld)));
  if (!w) return nullptr;
  w->obj.release = xp_ntld_release;
  bool ok;
  setup(w, store, size, &ok);
  if (!ok) {
    xp_free(w);
    return nullptr;
  }
  return w;
}

int xp_ntld_reset(xp_ntld *w, void *store, uint32_t size) {
  if (!w) return 0;
  Settled settled(w);
  drop(w);
  bool ok;
  setup(w, store, size, &ok);
  if (!ok) w->lost = true;
  return ok ? 1 : 0;
}

void xp_ntld_release(void *obj) {
  if (!obj) return;
  auto *w = static_cast<xp_ntld *>(obj);
  close_all(w);
  if (xp_prerelease(w)) {
    drop(w);
    xp_free(w);
  }
}

void xp_ntld_open(xp_ntld *w, uint32_t tag, uint32_t type) {
  if (!w) return;
  Settled settled(w);
  if (w->mode == kSizing) {
    // Deliberately ignored beyond the stack's depth: the offset stays too.
    if (w->depth >= kSizingDepth || w->offset > 0xFFFFFFFFu - kHeader) return;
    w->stack[w->depth++] = w->offset;
    w->offset += kHeader;
    return;
  }
  uint8_t *p = reserve(w, kHeader);
  if (!p) return;
  store32(p, tag);
  store32(p + 4, type);
  store32(p + 8, w->head);  // link to the enclosing open container
  w->head = w->offset;
  w->offset += kHeader;
}

uint32_t xp_ntld_close(xp_ntld *w) {
  if (!w) return 0;
  Settled settled(w);
  if (w->mode == kSizing) {
    if (!w->depth) return 0;
    return w->offset - w->stack[--w->depth];
  }
  if (w->head == kNone) return 0;
  uint8_t *p = w->buffer + w->head;
  uint32_t length = w->offset - w->head - kHeader;
  w->head = load32(p + 8);
  store_be(p + 8, length);
  return length + kHeader;
}

uint32_t xp_ntld_add(xp_ntld *w, uint32_t tag, uint32_t type, uint32_t length, const void *bytes) {
  if (!w) return 0;
  Settled settled(w);
  uint64_t total = kHeader + padded(length);
  if (total > 0xFFFFFFFFu) return 0;
  if (w->mode == kSizing) return count(w, total);
  uint8_t *p = reserve(w, static_cast<uint32_t>(total));
  if (!p) return 0;
  put_header(p, tag, type, length);
  // Padding first, as a whole zero word that the data then partly covers.
  if (length & 3) store32(p + kHeader + (length & ~3u), 0);
  if (bytes)
    std::memcpy(p + kHeader, bytes, length);
  else
    std::memset(p + kHeader, 0, length);
  w->offset += static_cast<uint32_t>(total);
  return static_cast<uint32_t>(total);
}

uint32_t xp_ntld_add_tag(xp_ntld *w, uint32_t tag, uint32_t code) {
  return add_word(w, tag, XP_NTLD_CTAG, code);
}

uint32_t xp_ntld_add_number(xp_ntld *w, uint32_t tag, int32_t value) {
  return add_word(w, tag, XP_NTLD_LONG, swap_be(static_cast<uint32_t>(value)));
}

uint32_t xp_ntld_add_string(xp_ntld *w, uint32_t tag, const char *text) {
  if (!text) return 0;
  size_t n = std::strlen(text);
  if (n > 0xFFFFFFFFu) return 0;
  return xp_ntld_add(w, tag, XP_NTLD_TEXT, static_cast<uint32_t>(n), text);
}

uint32_t xp_ntld_escapedtext(xp_ntld *w, uint32_t tag, intptr_t length, const void *bytes) {
  if (!w) return 0;
  Settled settled(w);
  const auto *in = static_cast<const uint8_t *>(bytes);
  size_t n = 0;
  if (in) n = length < 0 ? std::strlen(static_cast<const char *>(bytes)) : size_t(length);
  // Count the output first: a backslash and the byte after it give that
  // byte; a backslash at the very end is dropped.
  uint64_t out = 0;
  for (size_t i = 0; i < n;) {
    if (in[i] == '\\') {
      if (i + 1 == n) break;
      i += 2;
    } else {
      i += 1;
    }
    ++out;
  }
  uint64_t total = kHeader + padded(out);
  if (total > 0xFFFFFFFFu) return 0;
  if (w->mode == kSizing) return count(w, total);
  uint8_t *p = reserve(w, static_cast<uint32_t>(total));
  if (!p) return 0;
  put_header(p, tag, XP_NTLD_TEXT, static_cast<uint32_t>(out));
  uint8_t *o = p + kHeader;
  for (size_t i = 0; i < n;) {
    // Copy the run up to the next backslash in one piece.
    const void *bs = std::memchr(in + i, '\\', n - i);
    size_t run = bs ? size_t(static_cast<const uint8_t *>(bs) - (in + i)) : n - i;
    std::memcpy(o, in + i, run);
    o += run;
    i += run;
    if (i < n) {
      if (i + 1 == n) break;
      *o++ = in[i + 1];
      i += 2;
    }
  }
  std::memset(o, 0, total - kHeader - out);
  w->offset += static_cast<uint32_t>(total);
  return static_cast<uint32_t>(total);
}

void *xp_ntld_data(xp_ntld *w) {
  if (!w) return nullptr;
  Settled settled(w);
  close_all(w);
  if (!w->buffer && w->mode == kDynamic && !w->lost) return g_empty;
  return w->buffer;
}

xp_data *xp_ntld_dyndata(xp_ntld *w) {
  if (!w) return nullptr;
  Settled settled(w);
  close_all(w);
  if (w->mode != kDynamic) return nullptr;
  return hand_out(w);
}

uint32_t xp_ntld_length(xp_ntld *w) {
  if (!w) return 0;
  close_all(w);
  return xp_ntld_check(w);
}

uint32_t xp_ntld_check(const xp_ntld *w) {
  if (!w || !w->buffer || w->head != kNone) return 0;
  uint32_t capacity = tree_capacity(w);
  if (capacity < kHeader) return 0;
  uint64_t total = kHeader + uint64_t{length_of(w->buffer)};
  return total <= capacity ? static_cast<uint32_t>(total) : 0;
}

}  // extern "C"
