// Library-private parts of the NTLD container: the writer's layout, byte
// order helpers and the reader's argument test. Not installed.
#ifndef XP_NTLD_INTERNAL_H
#define XP_NTLD_INTERNAL_H

#include <cstddef>
#include <cstring>

#include "xp/ntld/xp_ntld.h"

// The library defines (and calls) the adders themselves.
#undef xp_ntld_add_tag
#undef xp_ntld_add_number

namespace xpn {

constexpr uint32_t kNone = 0xFFFFFFFFu;  // no open container
constexpr uint32_t kHeader = 12;
constexpr uint32_t kSizingDepth = 64;

enum Mode : uint32_t { kSizing = 0, kFixed = 1, kDynamic = 2 };

}  // namespace xpn

struct xp_ntld {
  xp_obj obj;
  // The head shared with the inline adders of the public header (same
  // layout as xp_ntld_head_): where the next item goes, and the end of the
  // bytes that items may take there without the library's help. Whenever
  // `buffer` is set, `next` is buffer + the true offset; without a buffer
  // both point at a spare byte.
  uint8_t *next;
  uint8_t *stop;
  // Dynamic mode: the data object whose bytes `buffer` points at (the
  // caller's store before the first write, or the object last handed out
  // by xp_ntld_dyndata). Null while the writer writes into its own block.
  void *data;
  uint8_t *buffer;
  // Usable bytes; in dynamic mode, the length of the tree's data object,
  // which items added inline at its end extend (see tree_capacity).
  uint32_t capacity;
  // Bytes written (or counted, in sizing mode); while items are added
  // inline only `next` moves, and the library's entry points bring this
  // up to date first (Settled).
  uint32_t offset;
  uint32_t head;                      // offset of the innermost open container's header, or kNone
  uint32_t depth;                     // open containers in sizing mode
  uint32_t stack[xpn::kSizingDepth];  // their start offsets
  // Dynamic mode only: the writer's own block, grown geometrically: a data
  // object's header (so that handing the tree out takes no allocation) and
  // `room` bytes at `buffer`, of which the first `capacity` are the tree's.
  uint8_t *block;
  size_t room;
  uint32_t mode;
  bool lost;  // growth failed: the bytes are gone and every item is refused
};
static_assert(offsetof(xp_ntld, next) == offsetof(xp_ntld_head_, next) &&
                  offsetof(xp_ntld, stop) == offsetof(xp_ntld_head_, stop),
              "the inline adders' view of a writer");

namespace xpn {

inline uint32_t load32(const void *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline void store32(void *p, uint32_t v) {
  std::memcpy(p, &v, 4);
}

// Host order <-> big-endian.
inline uint32_t swap_be(uint32_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return v;
#else
  return __builtin_bswap32(v);
#endif
}
inline uint32_t load_be(const void *p) {
  return swap_be(load32(p));
}
inline void store_be(void *p, uint32_t v) {
  store32(p, swap_be(v));
}

// Data length rounded up to the next multiple of 4.
inline uint64_t padded(uint64_t length) {
  return (length + 3) & ~uint64_t{3};
}

// An item's data length, and the address just past it and its padding.
inline uint32_t length_of(const uint8_t *item) {
  return load_be(item + 8);
}
inline const uint8_t *next_of(const uint8_t *item) {
  return item + kHeader + padded(length_of(item));
}

// What a reader was given: the root item of a finished writer, the item
// itself when the argument is not a writer, or null (null argument, or a
// writer without a finished tree).
const uint8_t *item_of(const void *arg);

// The tree's length as a reader sees it: items added inline at the end of
// a dynamic tree have moved only `next`.
inline uint32_t tree_capacity(const xp_ntld *w) {
  if (w->buffer && w->next > w->buffer + w->capacity) return uint32_t(w->next - w->buffer);
  return w->capacity;
}

// Sets `next` and `stop` from the library's fields: items fit inline up to
// the capacity in fixed mode, and in dynamic mode up to the tree's length
// or, at its end, up to the block's room. Elsewhere nothing fits inline.
void publish(xp_ntld *w);

// Brings `offset` and `capacity` up to date with the items added inline on
// entry to the library, and publishes the writer's state again on the way
// out.
class Settled {
 public:
  explicit Settled(xp_ntld *w) : w_(w) {
    if (w && w->buffer) {
      w->offset = uint32_t(w->next - w->buffer);
      if (w->offset > w->capacity) w->capacity = w->offset;
    }
  }
  ~Settled() {
    if (w_) publish(w_);
  }
  Settled(const Settled &) = delete;
  Settled &operator=(const Settled &) = delete;

 private:
  xp_ntld *w_;
};

// True when the writer has room for `total` more bytes at its offset,
// growing the tree in dynamic mode; the bytes there may then be written.
bool make_room(xp_ntld *w, uint32_t total);

// Dynamic mode: takes the bytes of the data object `store` as the tree's
// starting bytes (false when store is not a data object), and hands out
// the tree as a data object (a new reference, or null).
bool adopt_store(xp_ntld *w, void *store);
xp_data *hand_out(xp_ntld *w);

}  // namespace xpn

#endif  // XP_NTLD_INTERNAL_H
