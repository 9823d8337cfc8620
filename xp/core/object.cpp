// The object header's generic operations: creation, atomic reference
// counting, the total order of objects, and dispatch to a kind's textify
// and control slots.
#include <atomic>
#include <cstring>

#include "xp/core/xp_core_internal.h"

namespace {

xp_obj *header(void *obj) {
  return static_cast<xp_obj *>(obj);
}
const xp_obj *header(const void *obj) {
  return static_cast<const xp_obj *>(obj);
}

int address_order(const void *a, const void *b) {
  return reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b) ? -1 : 1;
}

}  // namespace

namespace xpc {

xp_obj *object_in(void *block, uint32_t type) {
  auto *obj = static_cast<xp_obj *>(block);
  std::memset(obj, 0, sizeof *obj);
  obj->refs = 1;
  obj->type = type;
  obj->retain = xp_obj_retain;
  obj->release = xp_obj_release;
  return obj;
}

}  // namespace xpc

extern "C" {

uint32_t xp_tag(const char *four) {
  uint32_t tag = 0;
  if (four) std::memcpy(&tag, four, sizeof tag);
  return tag;
}

xp_obj *xp_new(uint32_t type, size_t size) {
  void *block = xp_alloc(size < sizeof(xp_obj) ? sizeof(xp_obj) : size);
  return block ? xpc::object_in(block, type) : nullptr;
}

xp_obj *xp_null_new(void) {
  return xp_new(XP_TYPE_NULL, sizeof(xp_obj));
}

void *xp_obj_retain(void *obj) {
  if (obj) std::atomic_ref<int32_t>(header(obj)->refs).fetch_add(1, std::memory_order_relaxed);
  return obj;
}

int xp_prerelease(void *obj) {
  if (!obj) return 0;
  // The decision is taken on the value seen by the decrement itself.
  int32_t before =
      std::atomic_ref<int32_t>(header(obj)->refs).fetch_sub(1, std::memory_order_acq_rel);
  return before <= 1;
}

void xp_obj_release(void *obj) {
  if (xp_prerelease(obj)) xp_free(obj);
}

void *xp_retain(void *obj) {
  if (!obj) return nullptr;
  xp_retain_op op = header(obj)->retain;
  return op ? op(obj) : obj;
}

void xp_release(void *obj) {
  if (!obj) return;
  xp_release_op op = header(obj)->release;
  if (op) op(obj);
}

uint32_t xp_type(const void *obj) {
  return obj ? header(obj)->type : 0;
}

int32_t xp_refs(const void *obj) {
  if (!obj) return 0;
  return std::atomic_ref<int32_t>(const_cast<xp_obj *>(header(obj))->refs)
      .load(std::memory_order_relaxed);
}

int xp_compare(const void *a, const void *b) {
  if (a == b) return 0;
  if (!a) return -1;
  if (!b) return 1;
  const xp_obj *x = header(a);
  const xp_obj *y = header(b);
  if (x->type == y->type && x->compare && x->compare == y->compare) return x->compare(a, b);
  if (x->type != y->type) return x->type < y->type ? -1 : 1;
  return address_order(a, b);
}

int xp_order(void *, const void *a, const void *b) {
  return xp_compare(a, b);
}
int xp_match(void *, const void *a, const void *b) {
  return xp_compare(a, b);
}

xp_word xp_textify(void *obj, xp_word a, xp_word b, xp_word c) {
  if (!obj || !header(obj)->textify) return 0;
  return header(obj)->textify(obj, a, b, c);
}

xp_word xp_control(void *obj, int code, xp_word a, xp_word b) {
  if (!obj || !header(obj)->control) return 0;
  return header(obj)->control(obj, code, a, b);
}

xp_word xp_deserialize(void *obj, xp_word a, xp_word b) {
  return xp_control(obj, XP_CONTROL_DESERIALIZE, a, b);
}

void *xp_duplicate(void *obj, xp_word arg) {
  if (!obj) return nullptr;
  auto copy = reinterpret_cast<void *>(xp_control(obj, XP_CONTROL_DUPLICATE, arg, 0));
  return copy ? copy : xp_retain(obj);
}

int xp_instanceof(const void *obj, uint32_t type) {
  if (!obj) return 0;
  if (header(obj)->type == type) return 1;
  xp_word r =
      xp_control(const_cast<void *>(obj), XP_CONTROL_INSTANCEOF, static_cast<xp_word>(type), 0);
  return r != 0 ? 1 : 0;
}

}  // extern "C"
