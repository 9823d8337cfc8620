/* xp core: the object header and its generic operations, memory routines,
 * the process-wide critical section, and the two lock objects (critical
 * section "crit" and recursive mutex "sema").
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_CORE_H
#define XP_CORE_H

#include <stddef.h>
#include <stdint.h>

#if defined(XP_BUILDING_SHARED)
#define XP_API __attribute__((visibility("default")))
#else
#define XP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A type tag made from four characters so that its bytes in memory read as
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

#define XP_TYPE_NULL 0u
#define XP_TYPE_STR XP_TAG('x', 's', 't', 'r')
#define XP_TYPE_DATA XP_TAG('d', 'a', 't', 'a')
#define XP_TYPE_NTLD XP_TAG('n', 't', 'l', 'd')
#define XP_TYPE_FMTR XP_TAG('f', 'm', 't', 'r')
#define XP_TYPE_INTL XP_TAG('i', 'n', 't', 'l')
#define XP_TYPE_CRIT XP_TAG('c', 'r', 'i', 't')
#define XP_TYPE_SEMA XP_TAG('s', 'e', 'm', 'a')

/* The same tag from a text of (at least) four bytes, read in memory order. */
XP_API uint32_t xp_tag(const char *four);

/* An argument or result word of the object operations: wide enough for a
 * pointer or a length. */
typedef intptr_t xp_word;

/* Operation codes of the control slot. */
enum {
  XP_CONTROL_SERIALIZE = 0,   /* a: caller's argument, b: tagged container to write into */
  XP_CONTROL_DESERIALIZE = 1, /* a, b: caller's arguments */
  XP_CONTROL_DUPLICATE = 2,   /* a: caller's argument; result: new object or 0 to share */
  XP_CONTROL_INSTANCEOF = 3   /* a: type tag; result: non-zero if of or derived from it */
};

typedef void *(*xp_retain_op)(void *obj);
typedef void (*xp_release_op)(void *obj);
typedef int (*xp_compare_op)(const void *a, const void *b);
typedef xp_word (*xp_textify_op)(void *obj, xp_word a, xp_word b, xp_word c);
typedef xp_word (*xp_control_op)(void *obj, int code, xp_word a, xp_word b);

/* The header that every library object starts with. A kind lays its own
 * fields directly behind it. The count is changed only through the calls
 * below. */
typedef struct xp_obj {
  int32_t refs;
  uint32_t type;
  xp_retain_op retain;
  xp_release_op release;
  xp_compare_op compare;
  xp_textify_op textify;
  xp_control_op control;
} xp_obj;

/* Object creation and counting. Every generic call accepts null and then
 * does nothing and returns 0 or null. */
XP_API xp_obj *xp_new(uint32_t type, size_t size);
XP_API xp_obj *xp_null_new(void);
XP_API void *xp_obj_retain(void *obj);
XP_API void xp_obj_release(void *obj);
XP_API int xp_prerelease(void *obj);
XP_API void *xp_retain(void *obj);
XP_API void xp_release(void *obj);
XP_API uint32_t xp_type(const void *obj);
XP_API int32_t xp_refs(const void *obj);

/* Order of any two objects: identity, null first, the kind's own compare
 * when both share it, then type tag, then address. xp_order and xp_match
 * ignore their context and give the same order. */
XP_API int xp_compare(const void *a, const void *b);
XP_API int xp_order(void *context, const void *a, const void *b);
XP_API int xp_match(void *context, const void *a, const void *b);

XP_API xp_word xp_textify(void *obj, xp_word a, xp_word b, xp_word c);
XP_API xp_word xp_control(void *obj, int code, xp_word a, xp_word b);
XP_API xp_word xp_deserialize(void *obj, xp_word a, xp_word b);
/* A copy, or the same object with one more reference: treat it as shared. */
XP_API void *xp_duplicate(void *obj, xp_word arg);
XP_API int xp_instanceof(const void *obj, uint32_t type);

/* Memory. xp_alloc gives a zero-filled block or null. xp_realloc with a null
 * block allocates; when resizing fails it frees the old block and returns
 * null, so the caller never holds a stale block. */
XP_API void *xp_alloc(size_t size);
XP_API void *xp_realloc(void *block, size_t size);
XP_API void xp_free(void *block);
XP_API void xp_delete(void *block);
XP_API void *xp_memcpy(void *dst, const void *src, size_t n);
XP_API void *xp_memmov(void *dst, const void *src, size_t n);
XP_API void *xp_memset(void *dst, int byte, size_t n);
XP_API void *xp_memclr(void *dst, size_t n);
XP_API int xp_memcmp(const void *a, const void *b, size_t n);
/* An entry point only: does nothing. */
XP_API void xp_memdump(const void *block, size_t size);

/* The process-wide critical section: not recursive. */
XP_API void xp_enter(void);
XP_API void xp_leave(void);

/* Critical-section object (tag "crit"): a non-recursive mutex. */
typedef struct xp_crit xp_crit;
XP_API xp_crit *xp_crit_new(void);
XP_API void xp_crit_enter(xp_crit *cs);
XP_API void xp_crit_leave(xp_crit *cs);
XP_API int xp_crit_try(xp_crit *cs);
XP_API void xp_crit_release(void *cs);

/* Recursive mutex object (tag "sema"): owner thread and depth. Lock and
 * unlock must be balanced on one thread. */
typedef struct xp_mux xp_mux;
XP_API xp_mux *xp_mux_new(void);
XP_API void xp_mux_lock(xp_mux *m);
XP_API void xp_mux_unlock(xp_mux *m);
XP_API void xp_mux_release(void *m);

#ifdef __cplusplus
}
#endif

#endif /* XP_CORE_H */
