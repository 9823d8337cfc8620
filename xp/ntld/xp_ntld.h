/** @file
 * xp ntld: the NTLD tagged container: writers and readers, and object
 * serialisation built on them.
 *
 * An item is a 12-byte header (tag in host order, four-character type,
 * big-endian length) followed by its data, zero-padded to a multiple of 4.
 * A container is an item whose data is a run of whole items.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_NTLD_H
#define XP_NTLD_H

#include <string.h>

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The size argument that puts a writer in dynamic mode. */
#define XP_NTLD_DYNAMIC 0xFFFFFFFFu

/* Item types written by the library. */
#define XP_NTLD_TEXT XP_TAG('t', 'e', 'x', 't') /**< text: bytes without terminator */
#define XP_NTLD_LONG XP_TAG('l', 'o', 'n', 'g') /**< long: signed 32 bits, big-endian */
#define XP_NTLD_CTAG XP_TAG('c', 't', 'a', 'g') /**< ctag: a four-character code */

/** The writer object (type tag "ntld"). Three modes, chosen by the two
 * arguments of xp_ntld_new and xp_ntld_reset:
 *   - dynamic: size XP_NTLD_DYNAMIC; store is a data object whose bytes the
 *     tree starts from (it is never changed itself) or null to start empty.
 *     The finished tree is taken with xp_ntld_dyndata.
 *   - fixed: any other size and a non-null buffer of that many bytes; an
 *     item that does not fit is refused and nothing of it is written.
 *   - sizing: any other size and a null buffer; nothing is written, the
 *     writer only counts the bytes that the tree needs. */
typedef struct xp_ntld xp_ntld;
typedef struct xp_data xp_data; /**< the data object of xp/str */

/** A new writer on store in the mode that size chooses (see xp_ntld), or
 * null when memory runs out. */
XP_API xp_ntld *xp_ntld_new(void *store, uint32_t size);
/** Drops what the writer holds and sets it up again as xp_ntld_new would.
 * Returns 0 (and leaves a writer that refuses every item) when store is
 * not a data object in dynamic mode, else 1. */
XP_API int xp_ntld_reset(xp_ntld *w, void *store, uint32_t size);
/** The release operation: closes every open container first. */
XP_API void xp_ntld_release(void *w);

/* Writing. Each adder returns the total size of what it wrote (header, data
 * and padding), 0 when it was refused. */
/** Begins a container item of the given tag and type; the items added next
 * are its children until xp_ntld_close. */
XP_API void xp_ntld_open(xp_ntld *w, uint32_t tag, uint32_t type);
/** Ends the innermost open container; its total size, or 0 if none was
 * open. */
XP_API uint32_t xp_ntld_close(xp_ntld *w);
/** One item of length bytes; bytes may be null: the data is then zeros. */
XP_API uint32_t xp_ntld_add(xp_ntld *w, uint32_t tag, uint32_t type, uint32_t length,
                            const void *bytes);
/** A ctag item holding code. */
XP_API uint32_t xp_ntld_add_tag(xp_ntld *w, uint32_t tag, uint32_t code);
/** A long item holding value. */
XP_API uint32_t xp_ntld_add_number(xp_ntld *w, uint32_t tag, int32_t value);
/* The two 16-byte adders are inline where the item fits: a writer's head
 * (below; not for callers' use) tells where the next item goes and how far
 * items may go there without the library. Anything else, a null writer
 * included, goes to the functions above, as does a call through their
 * names in parentheses or their addresses. */
/** \cond */
struct xp_ntld_head_ {
  xp_obj obj;
  unsigned char *next;
  unsigned char *stop;
};

static inline uint32_t xp_ntld_word_(xp_ntld *w, uint32_t tag, uint32_t type,
                                     const unsigned char value[4]) {
  struct xp_ntld_head_ *h = (struct xp_ntld_head_ *)(void *)w;
  unsigned char *p = h->next;
  /* One addition for the test and the new next (no block ends within 16
   * bytes of the top of the address space). */
  uintptr_t end = (uintptr_t)p + 16;
  if (end > (uintptr_t)h->stop) return 0;
  memcpy(p, &tag, 4);
  memcpy(p + 4, &type, 4);
  p[8] = 0;
  p[9] = 0;
  p[10] = 0;
  p[11] = 4;
  memcpy(p + 12, value, 4);
  h->next = p + 16;
  return 16;
}

static inline uint32_t xp_ntld_add_tag_(xp_ntld *w, uint32_t tag, uint32_t code) {
  unsigned char value[4];
  memcpy(value, &code, 4);
  if (w && xp_ntld_word_(w, tag, XP_NTLD_CTAG, value)) return 16;
  return (xp_ntld_add_tag)(w, tag, code);
}

static inline uint32_t xp_ntld_add_number_(xp_ntld *w, uint32_t tag, int32_t value) {
  uint32_t v = (uint32_t)value;
  unsigned char be[4] = {(unsigned char)(v >> 24), (unsigned char)(v >> 16),
                         (unsigned char)(v >> 8), (unsigned char)v};
  if (w && xp_ntld_word_(w, tag, XP_NTLD_LONG, be)) return 16;
  return (xp_ntld_add_number)(w, tag, value);
}

#define xp_ntld_add_tag(w, tag, code) xp_ntld_add_tag_(w, tag, code)
#define xp_ntld_add_number(w, tag, value) xp_ntld_add_number_(w, tag, value)
/** \endcond */

/** A text item of a zero-terminated text's bytes (terminator left out). */
XP_API uint32_t xp_ntld_add_string(xp_ntld *w, uint32_t tag, const char *text);
/** A text item from bytes in which a backslash makes the next byte literal
 * and is itself dropped. A negative length measures up to the zero byte. */
XP_API uint32_t xp_ntld_escapedtext(xp_ntld *w, uint32_t tag, intptr_t length, const void *bytes);

/* Finishing. Each closes every open container first. */
/** Where the tree lies (valid until the writer writes again or goes away). */
XP_API void *xp_ntld_data(xp_ntld *w);
/** A new reference to a data object holding the tree; null unless the
 * writer is in dynamic mode. */
XP_API xp_data *xp_ntld_dyndata(xp_ntld *w);
/** xp_ntld_check of the writer: the root's total size, or 0. */
XP_API uint32_t xp_ntld_length(xp_ntld *w);
/** Total size of the root item when it is complete and lies within the
 * writer's capacity, else 0 (also while a container is open). */
XP_API uint32_t xp_ntld_check(const xp_ntld *w);

/** Serialises obj (its control operation 0, with tag) into a new data object
 * of exactly the size needed; null when the object has nothing to write or
 * memory runs out. */
XP_API xp_data *xp_ntld_package(void *obj, uint32_t tag);

/** Runs obj's serialise operation on a writer made by xp_ntld_new(store,
 * mode), then releases the writer; returns the operation's result (for the
 * library's objects, the size of the item written), 0 if obj or its control
 * operation is null. With a buffer and its size the item lands there; with
 * a null buffer it is only measured. A tree written in dynamic mode goes
 * with the writer: xp_ntld_package keeps it. */
XP_API xp_word xp_serialize(void *obj, xp_word arg, void *store, uint32_t mode);

/* Readers. Each takes either a finished writer (meaning its root item) or a
 * pointer to an item in memory. They trust the lengths they find: pass data
 * from outside through xp_ntld_verify first, one level at a time. */
/** The address just past the item (its header, data and padding). */
XP_API const void *xp_ntld_next(const void *item);
/** Total size of the item if it lies within available bytes and its
 * children tile its data exactly (the last one need not be padded), else 0.
 * Only one level is checked. */
XP_API uint32_t xp_ntld_verify(const void *item, intptr_t available);
/** The number of children. */
XP_API intptr_t xp_ntld_count(const void *item);
/** The first child with that tag, or null. */
XP_API const void *xp_ntld_getbyname(const void *item, uint32_t tag);
/** The child at index (from 0), or null; a negative index gives the first
 * child. */
XP_API const void *xp_ntld_getbyindex(const void *item, intptr_t index);
/** @{ */
/** With a null buffer: the child's data length. Else copies min(size,
 * length) data bytes and returns that count. 0 if there is no such child. */
XP_API intptr_t xp_ntld_getbytesbyname(const void *item, uint32_t tag, void *buffer, intptr_t size);
XP_API intptr_t xp_ntld_getbytesbyindex(const void *item, intptr_t index, void *buffer,
                                        intptr_t size);
/** @} */
/** @{ */
/** The code of a ctag child, the value of a long child; 0 if the child is
 * missing or of another type. */
XP_API uint32_t xp_ntld_gettagbyname(const void *item, uint32_t tag);
XP_API uint32_t xp_ntld_gettagbyindex(const void *item, intptr_t index);
XP_API int32_t xp_ntld_getlongbyname(const void *item, uint32_t tag);
XP_API int32_t xp_ntld_getlongbyindex(const void *item, intptr_t index);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* XP_NTLD_H */
