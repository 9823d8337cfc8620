/** @file
 * xp core: the object header and its generic operations, memory routines,
 * the process-wide critical section, and the two lock objects (critical
 * section "crit" and recursive mutex "sema").
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_CORE_H
#define XP_CORE_H

#include <stddef.h>
#include <stdint.h>

/** Marks a public function: exported from the shared library. */
#if defined(XP_BUILDING_SHARED)
#define XP_API __attribute__((visibility("default")))
#else
#define XP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A type tag made from four characters so that its bytes in memory read as
 * the characters in order: XP_TAG('x','s','t','r') is stored as "xstr". A
 * constant expression, usable in switch labels. */
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define XP_TAG(a, b, c, d)                                                                     \
  ((uint32_t)(uint8_t)(a) << 24 | (uint32_t)(uint8_t)(b) << 16 | (uint32_t)(uint8_t)(c) << 8 | \
   (uint32_t)(uint8_t)(d))
#else
#define XP_TAG(a, b, c, d)                                                               \
  ((uint32_t)(uint8_t)(a) | (uint32_t)(uint8_t)(b) << 8 | (uint32_t)(uint8_t)(c) << 16 | \
   (uint32_t)(uint8_t)(d) << 24)
#endif

#define XP_TYPE_NULL 0u                         /**< tag of the null object (xp_null_new) */
#define XP_TYPE_STR XP_TAG('x', 's', 't', 'r')  /**< string (xp_str) */
#define XP_TYPE_DATA XP_TAG('d', 'a', 't', 'a') /**< byte data (xp_data) */
#define XP_TYPE_NTLD XP_TAG('n', 't', 'l', 'd') /**< NTLD writer (xp_ntld) */
#define XP_TYPE_FMTR XP_TAG('f', 'm', 't', 'r') /**< platform formatter */
#define XP_TYPE_INTL XP_TAG('i', 'n', 't', 'l') /**< locale settings (xp_intl) */
#define XP_TYPE_CRIT XP_TAG('c', 'r', 'i', 't') /**< critical section (xp_crit) */
#define XP_TYPE_SEMA XP_TAG('s', 'e', 'm', 'a') /**< recursive mutex (xp_mux) */

/** The same tag from a text of (at least) four bytes, read in memory order. */
XP_API uint32_t xp_tag(const char *four);

/** An argument or result word of the object operations: wide enough for a
 * pointer or a length. */
typedef intptr_t xp_word;

/** Operation codes of the control slot. */
enum {
  XP_CONTROL_SERIALIZE = 0,   /**< a: caller's argument, b: tagged container to write into */
  XP_CONTROL_DESERIALIZE = 1, /**< a, b: caller's arguments */
  XP_CONTROL_DUPLICATE = 2,   /**< a: caller's argument; result: new object or 0 to share */
  XP_CONTROL_INSTANCEOF = 3   /**< a: type tag; result: non-zero if of or derived from it */
};

/** The retain slot: adds a reference, returns the object. */
typedef void *(*xp_retain_op)(void *obj);
/** The release slot: drops a reference, destroys the object with the last. */
typedef void (*xp_release_op)(void *obj);
/** The compare slot: the order of two objects of one kind (sign counts). */
typedef int (*xp_compare_op)(const void *a, const void *b);
/** The textify slot: the object's text; the arguments' meaning is the kind's. */
typedef xp_word (*xp_textify_op)(void *obj, xp_word a, xp_word b, xp_word c);
/** The control slot: operations by code (XP_CONTROL_SERIALIZE, ...). */
typedef xp_word (*xp_control_op)(void *obj, int code, xp_word a, xp_word b);

/** The header that every library object starts with. A kind lays its own
 * fields directly behind it. The count is changed only through the calls
 * below. */
typedef struct xp_obj {
  int32_t refs;          /**< reference count; 1 when made */
  uint32_t type;         /**< type tag, e.g. XP_TYPE_STR */
  xp_retain_op retain;   /**< adds a reference (default xp_obj_retain) */
  xp_release_op release; /**< drops a reference (default xp_obj_release) */
  xp_compare_op compare; /**< order within the kind, or null */
  xp_textify_op textify; /**< text of the object, or null */
  xp_control_op control; /**< serialise, deserialise, duplicate, instance-of; or null */
} xp_obj;

/* Object creation and counting. Every generic call accepts null and then
 * does nothing and returns 0 or null. */
/** A zero-filled object of size bytes (at least the header) with count 1,
 * the given tag and the default retain and release; null when memory runs
 * out. The kind's creator fills the other slots. */
XP_API xp_obj *xp_new(uint32_t type, size_t size);
/** An object of tag 0 with only the default operations: stands for no
 * value where an object is required. */
XP_API xp_obj *xp_null_new(void);
/** The default retain operation: adds one to the count, returns obj. */
XP_API void *xp_obj_retain(void *obj);
/** The default release operation: drops one reference and frees the block
 * with the last. */
XP_API void xp_obj_release(void *obj);
/** Drops one reference; non-zero when that was the last, and the caller (a
 * kind's own release) must now destroy the contents and free the object. */
XP_API int xp_prerelease(void *obj);
/** Adds a reference through the object's retain slot; returns obj. */
XP_API void *xp_retain(void *obj);
/** Drops a reference through the object's release slot. */
XP_API void xp_release(void *obj);
/** The type tag; 0 for null. */
XP_API uint32_t xp_type(const void *obj);
/** The reference count; 0 for null. */
XP_API int32_t xp_refs(const void *obj);

/** @{ */
/** Order of any two objects: identity, null first, the kind's own compare
 * when both share it, then type tag, then address. xp_order and xp_match
 * ignore their context and give the same order. */
XP_API int xp_compare(const void *a, const void *b);
XP_API int xp_order(void *context, const void *a, const void *b);
XP_API int xp_match(void *context, const void *a, const void *b);
/** @} */

/** Calls the object's textify slot; 0 when it has none. */
XP_API xp_word xp_textify(void *obj, xp_word a, xp_word b, xp_word c);
/** Calls the object's control slot with code; 0 when it has none. */
XP_API xp_word xp_control(void *obj, int code, xp_word a, xp_word b);
/** Control code 1 (deserialise) with the kind's arguments; 0 when there is
 * no control slot. */
XP_API xp_word xp_deserialize(void *obj, xp_word a, xp_word b);
/** A copy, or the same object with one more reference: treat it as shared. */
XP_API void *xp_duplicate(void *obj, xp_word arg);
/** 1 when the object's tag is type or its control slot says it derives from
 * it, else 0. */
XP_API int xp_instanceof(const void *obj, uint32_t type);

/* Memory. */
/** A zero-filled block, or null. */
XP_API void *xp_alloc(size_t size);
/** Resizes a block, keeping its bytes; a null block allocates. When resizing
 * fails the old block is freed and null returned, so the caller never holds
 * a stale block. */
XP_API void *xp_realloc(void *block, size_t size);
/** Frees a block (null allowed). */
XP_API void xp_free(void *block);
/** Frees a block (null allowed); the same as xp_free. */
XP_API void xp_delete(void *block);
/** Copies n bytes between blocks that do not overlap; returns dst. */
XP_API void *xp_memcpy(void *dst, const void *src, size_t n);
/** Copies n bytes between blocks that may overlap; returns dst. */
XP_API void *xp_memmov(void *dst, const void *src, size_t n);
/** Fills n bytes with byte; returns dst. */
XP_API void *xp_memset(void *dst, int byte, size_t n);
/** Clears n bytes to zero; returns dst. */
XP_API void *xp_memclr(void *dst, size_t n);
/** Compares n bytes: the sign of the first differing byte, or 0. */
XP_API int xp_memcmp(const void *a, const void *b, size_t n);
/** An entry point only: does nothing. */
XP_API void xp_memdump(const void *block, size_t size);

/** Locks the process-wide critical section (made on first use); not
 * recursive. */
XP_API void xp_enter(void);
/** Unlocks the process-wide critical section. */
XP_API void xp_leave(void);

/** Critical-section object (tag "crit"): a non-recursive mutex. All its
 * calls accept null and then do nothing. */
typedef struct xp_crit xp_crit;
/** A new critical section (count 1), or null. */
XP_API xp_crit *xp_crit_new(void);
/** Locks it, waiting as long as needed. */
XP_API void xp_crit_enter(xp_crit *cs);
/** Unlocks it. */
XP_API void xp_crit_leave(xp_crit *cs);
/** Locks it without waiting: 1 when now held, 0 when busy (or null). */
XP_API int xp_crit_try(xp_crit *cs);
/** Its release operation: destroys it with the last reference. */
XP_API void xp_crit_release(void *cs);

/** Recursive mutex object (tag "sema"): owner thread and depth. Lock and
 * unlock must be balanced on one thread. All its calls accept null. */
typedef struct xp_mux xp_mux;
/** A new recursive mutex (count 1, unowned), or null. */
XP_API xp_mux *xp_mux_new(void);
/** Locks it unless the calling thread holds it already; one level deeper. */
XP_API void xp_mux_lock(xp_mux *m);
/** One level less; unlocks it when the depth reaches 0. */
XP_API void xp_mux_unlock(xp_mux *m);
/** Its release operation: destroys it with the last reference. */
XP_API void xp_mux_release(void *m);

#ifdef __cplusplus
}
#endif

#endif /* XP_CORE_H */
