// Where the writer meets data objects: the dynamic mode's starting store and
// the data object it hands out, packaging an object into an exact data
// object, and the generic serialise entry point.
#include "xp/ntld/xp_ntld_internal.h"
#include "xp/str/xp_str_internal.h"

namespace xpn {

bool adopt_store(xp_ntld *w, void *store) {
  if (xp_type(store) != XP_TYPE_DATA) return false;
  auto *d = static_cast<xp_data *>(store);
  size_t length = xp_data_length(d);
  if (length > 0xFFFFFFFFu) return false;
  // The bytes are only read: the first write copies them into the writer's
  // own block, so the caller's object never changes.
  w->data = xp_retain(d);
  w->buffer = static_cast<uint8_t *>(const_cast<void *>(xp_data_getptr(d)));
  w->capacity = static_cast<uint32_t>(length);
  return true;
}

xp_data *hand_out(xp_ntld *w) {
  if (w->lost) return nullptr;
  if (!w->block) {
    // Nothing written since the store was taken or last handed out.
    if (!w->data) {
      w->data = xp_data_new(nullptr, 0);
      if (!w->data) return nullptr;
      w->buffer = static_cast<uint8_t *>(
          const_cast<void *>(xp_data_getptr(static_cast<xp_data *>(w->data))));
    }
    return static_cast<xp_data *>(xp_retain(w->data));
  }
  // The block becomes the data object itself. Growth by doubling
  // leaves at most as much spare room as the tree holds; a block with more
  // (a large store that was little used) is first traded for an exact one
  // when memory allows.
  if (w->room - w->capacity > w->capacity + 4096) {
    auto *exact = static_cast<uint8_t *>(xp_alloc(xps::kDataLead + w->capacity));
    if (exact) {
      std::memcpy(exact + xps::kDataLead, w->buffer, w->capacity);
      xp_free(w->block);
      w->block = exact;
      w->room = w->capacity;
    }
  }
  xp_data *d = xps::data_in_place(w->block, w->capacity);
  w->block = nullptr;
  w->room = 0;
  // Later writes copy again before they change anything.
  w->data = d;
  w->buffer = static_cast<uint8_t *>(const_cast<void *>(xp_data_getptr(d)));
  publish(w);
  return static_cast<xp_data *>(xp_retain(d));
}

}  // namespace xpn

using namespace xpn;

extern "C" {

xp_data *xp_ntld_package(void *obj, uint32_t tag) {
  xp_control_op control = obj ? static_cast<xp_obj *>(obj)->control : nullptr;
  if (!control) return nullptr;
  xp_ntld *w = xp_ntld_new(nullptr, 0);
  if (!w) return nullptr;
  xp_word size = control(obj, XP_CONTROL_SERIALIZE, xp_word(tag), reinterpret_cast<xp_word>(w));
  xp_data *d = nullptr;
  if (size >= 1 && uint64_t(size) <= 0xFFFFFFFFu) {
    // Second pass: write into a block of exactly the measured size, zeros
    // where the object writes less.
    xp_ntld_reset(w, nullptr, XP_NTLD_DYNAMIC);
    w->block = static_cast<uint8_t *>(xp_alloc(xps::kDataLead + size_t(size)));
    if (w->block) {
      w->room = size_t(size);
      w->buffer = w->block + xps::kDataLead;
      w->capacity = uint32_t(size);
      publish(w);
      control(obj, XP_CONTROL_SERIALIZE, xp_word(tag), reinterpret_cast<xp_word>(w));
      d = xp_ntld_dyndata(w);
    }
  }
  xp_ntld_release(w);
  return d;
}

xp_word xp_serialize(void *obj, xp_word arg, void *store, uint32_t mode) {
  xp_control_op control = obj ? static_cast<xp_obj *>(obj)->control : nullptr;
  if (!control) return 0;
  xp_ntld *w = xp_ntld_new(store, mode);
  if (!w) return 0;
  xp_word result = control(obj, XP_CONTROL_SERIALIZE, arg, reinterpret_cast<xp_word>(w));
  xp_ntld_release(w);
  return result;
}

}  // extern "C"
