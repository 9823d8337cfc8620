// Library-private parts of the NTLD container: the writer's layout, byte
// order helpers and the reader's argument test. Not installed.
#ifndef XP_NTLD_INTERNAL_H
#define XP_NTLD_INTERNAL_H

#include <cstring>

#include "xp/ntld/xp_ntld.h"

namespace xpn {

constexpr uint32_t kNone = 0xFFFFFFFFu;  // no open container
constexpr uint32_t kHeader = 12;
constexpr uint32_t kSizingDepth = 64;

enum Mode : uint32_t { kSizing = 0, kFixed = 1, kDynamic = 2 };

}  // namespace xpn

struct xp_ntld {
  xp_obj obj;
  // Dynamic mode: the data object whose bytes `buffer` points at (the
  // caller's store before the first write, or the object last handed out
  // by xp_ntld_dyndata). Null while the writer writes into its own block.
  void *data;
  uint8_t *buffer;
  uint32_t capacity;  // usable bytes; in dynamic mode, the length of the tree's data object
  uint32_t offset;    // bytes written (or counted, in sizing mode)
  uint32_t head;      // offset of the innermost open container's header, or kNone
  uint32_t depth;     // open containers in sizing mode
  uint32_t stack[xpn::kSizingDepth];  // their start offsets
  // Dynamic mode only: the writer's own block, grown geometrically, of
  // `room` bytes, of which the first `capacity` are the tree's bytes.
  uint8_t *block;
  size_t room;
  // Bytes from the buffer start that may be written without asking for
  // room: the capacity in fixed mode, the block's room in dynamic mode, 0
  // otherwise (see update_limit).
  uint32_t limit;
  uint32_t mode;
  bool lost;  // growth failed: the bytes are gone and every item is refused
};

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

inline void update_limit(xp_ntld *w) {
  if (w->mode == kFixed)
    w->limit = w->capacity;
  else if (w->mode == kDynamic && w->block)
    w->limit = w->room < 0xFFFFFFFFu ? uint32_t(w->room) : 0xFFFFFFFFu;
  else
    w->limit = 0;
}

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
