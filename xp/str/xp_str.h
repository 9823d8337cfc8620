/** @file
 * xp str: strings and byte data: the immutable string object, string operations and the data
 * object.
 *
 * Strings hold UTF-8 text with a byte length and are always followed by a
 * zero byte; data objects hold a length and that many bytes. Neither ever
 * changes after it is made: every derivation returns a new object, or a
 * further reference to the given one when nothing would change. Every
 * returned object is a new reference for the caller to release.
 *
 * Lengths and positions are signed and pointer-wide; a negative length
 * means that the text is zero-terminated and is measured. Null objects and
 * null texts are accepted everywhere.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_STR_H
#define XP_STR_H

#include <stdarg.h>

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The string object (tag "xstr"): immutable UTF-8 text, zero-terminated. */
typedef struct xp_str xp_str;
/** The data object (tag "data"): an immutable block of bytes. */
typedef struct xp_data xp_data;

/** Identifiers of xp_str_encmake. The bytes are copied unchanged in this
 * build whatever the identifier; they name what the source is. */
enum { XP_ENC_MACROMAN = 1, XP_ENC_MACROMAN2 = 2, XP_ENC_WINLATIN1 = 3 };

/* ---- String object ------------------------------------------------------ */

/** The type tag "xstr" (XP_TYPE_STR). */
XP_API uint32_t xp_str_type(void);
/** Adds a reference; returns s. */
XP_API xp_str *xp_str_retain(xp_str *s);
/** Drops a reference; the string goes with the last. */
XP_API void xp_str_release(xp_str *s);

/** A copy of a zero-terminated text; null gives an empty string. */
XP_API xp_str *xp_str_new(const char *text);
/** @{ */
/** The output of the format engine (xp_fmt_vformat) for format and the
 * arguments. */
XP_API xp_str *xp_str_format(const char *format, ...);
XP_API xp_str *xp_str_vformat(const char *format, va_list args);
/** @} */
/** A copy of exactly len bytes (negative: measured). With a null source the
 * string is empty but has room for len bytes. */
XP_API xp_str *xp_str_make(const char *bytes, intptr_t len);
/** @{ */
/** UTF-16 text to UTF-8. A leading U+FEFF in host order is dropped; one that
 * reads U+FFFE means the opposite byte order; text without a mark is
 * big-endian. Every unit is encoded alone (surrogate halves too). units is
 * counted in 16-bit units; negative: up to the first zero unit. */
XP_API xp_str *xp_str_wnew(const uint16_t *text);
XP_API xp_str *xp_str_wmake(const uint16_t *text, intptr_t units);
/** @} */
/** The string form of a platform object: null in this build. */
XP_API xp_str *xp_str_cfmake(const void *object);
/** A string of len bytes (negative: measured) in the named 8-bit encoding
 * (XP_ENC_MACROMAN, ...): copied unchanged in this build. */
XP_API xp_str *xp_str_encmake(int encoding, const char *bytes, intptr_t len);
/** A string that points at the caller's text, which must outlive it. */
XP_API xp_str *xp_str_const(const char *text);
/** A string that owns text, a block from xp_alloc, and frees it with xp_free
 * when the last reference goes. The block is given up in every case: if the
 * string cannot be made, it is freed at once and null returned. */
XP_API xp_str *xp_str_alloc(char *text);
/** a's text followed by b's; a further reference to a when b is null, to b
 * when a is null or empty. */
XP_API xp_str *xp_str_concat(xp_str *a, xp_str *b);
/** s's text followed by len bytes (negative: measured). */
XP_API xp_str *xp_str_append(xp_str *s, const char *bytes, intptr_t len);
/** Bytes from start, count of them (negative: to the end). */
XP_API xp_str *xp_str_substr(xp_str *s, intptr_t start, intptr_t count);

/** Byte length; 0 for null. */
XP_API intptr_t xp_str_length(const xp_str *s);
/** The text, zero-terminated; a static empty text for null, never null. */
XP_API const char *xp_str_getptr(const xp_str *s);
/** Copy the longest prefix of whole UTF-8 sequences that fits in size bytes;
 * no terminator. Returns the bytes copied; a null buffer returns the length. */
XP_API intptr_t xp_str_get(const xp_str *s, char *buf, intptr_t size);
/** As xp_str_get, keeping room for and writing a terminator. */
XP_API intptr_t xp_str_cget(const xp_str *s, char *buf, intptr_t size);
/** Length-prefixed form: buf[0] holds the count (modulo 256), the text
 * follows. Pass a size of at most 256. */
XP_API intptr_t xp_str_pget(const xp_str *s, unsigned char *buf, intptr_t size);
/** UTF-16 form, each unit stored big-endian (high byte first), at most max
 * units. Returns units produced; a null buffer only counts. */
XP_API intptr_t xp_str_wget(const xp_str *s, uint16_t *buf, intptr_t max);

/** @{ */
/** Type operations (the object's slots). compare: case-insensitive order of
 * the texts up to their zero bytes. textify(s, buf, size, unused): as
 * xp_str_get. control: code 1 (deserialise) with a = tag (0: any) and
 * b = pointer to a tagged-container item of type "xstr" or "text" gives a
 * new string of the item's data, null when the item is refused. */
XP_API int xp_str_compare(const void *a, const void *b);
XP_API xp_word xp_str_textify(void *s, xp_word buf, xp_word size, xp_word unused);
XP_API xp_word xp_str_control(void *s, int code, xp_word a, xp_word b);
/** @} */

/* ---- String operations ------------------------------------------------- */

/** @{ */
/** Searches answer a byte offset, or -1. cs non-zero: exact; 0: ASCII case
 * ignored. */
XP_API intptr_t xp_str_find(const xp_str *s, const char *pattern, int cs, intptr_t start);
XP_API intptr_t xp_str_any(const xp_str *s, const char *set, intptr_t start);
XP_API intptr_t xp_str_txtfind(const char *text, intptr_t len, const char *pattern, int cs,
                               intptr_t start);
XP_API intptr_t xp_str_strfind(const char *text, const char *pattern, int cs, intptr_t start);
XP_API const char *xp_str_strstr(const char *text, const char *pattern);
XP_API const char *xp_str_stristr(const char *text, const char *pattern);
XP_API intptr_t xp_str_txtany(const char *text, intptr_t len, const char *set, intptr_t start);
XP_API intptr_t xp_str_strany(const char *text, const char *set, intptr_t start);
/** @} */

/** Every non-overlapping occurrence of pattern, left to right, replaced by
 * replen bytes (negative: measured). A null replacement with a positive
 * length leaves zero bytes in place of each match. */
XP_API xp_str *xp_str_replace(xp_str *s, const char *pattern, int cs, const char *rep,
                              intptr_t replen);
/** Cut out the first span from startmark to endmark (markers included); the
 * text between the markers goes to buf (size - 1 bytes at most, then a
 * terminator; buf[0] is cleared at once). */
XP_API xp_str *xp_str_extract(xp_str *s, const char *startmark, const char *endmark, char *buf,
                              intptr_t size);
/** Leading bytes that read as signed are at most 32 (controls, space and all
 * of 0x80-0xFF) and trailing controls and spaces removed; null when nothing
 * remains. */
XP_API xp_str *xp_str_trim(xp_str *s);
/** @{ */
/** ASCII letters changed in case; every other byte kept. */
XP_API xp_str *xp_str_upper(xp_str *s);
XP_API xp_str *xp_str_lower(xp_str *s);
/** @} */

/** Bytes before the zero byte; 0 for null. */
XP_API intptr_t xp_str_strlen(const char *text);
/** len when it is not negative (the text is not looked at), else the
 * measured length; 0 for a null text. */
XP_API intptr_t xp_str_txtlen(const char *text, intptr_t len);
/** @{ */
/** Comparisons: null sorts first; the common part is compared up to a zero
 * byte (exact, or ASCII case ignored in the i forms), then the longer text
 * is greater. The sign of the result is what counts. A negative count in
 * the n forms compares the whole texts. The p forms take length-prefixed
 * texts. */
XP_API int xp_str_strcmp(const char *a, const char *b);
XP_API int xp_str_stricmp(const char *a, const char *b);
XP_API int xp_str_strncmp(const char *a, const char *b, intptr_t n);
XP_API int xp_str_strnicmp(const char *a, const char *b, intptr_t n);
XP_API int xp_str_strpcmp(const unsigned char *a, const unsigned char *b);
XP_API int xp_str_strpicmp(const unsigned char *a, const unsigned char *b);
XP_API int xp_str_txtcmp(const char *a, intptr_t alen, const char *b, intptr_t blen);
XP_API int xp_str_txticmp(const char *a, intptr_t alen, const char *b, intptr_t blen);
/** @} */

/* ---- Data object ------------------------------------------------------- */

/** The type tag "data" (XP_TYPE_DATA). */
XP_API uint32_t xp_data_type(void);
/** A copy of len bytes, or len zero bytes when bytes is null. */
XP_API xp_data *xp_data_new(const void *bytes, size_t len);
/** Refers to the caller's bytes, which must outlive it. */
XP_API xp_data *xp_data_const(const void *bytes, size_t len);
/** Owns block (from xp_alloc) and frees it with the last reference. The block
 * is given up in every case: freed at once if the object cannot be made. */
XP_API xp_data *xp_data_alloc(void *block, size_t len);
/** The release operation: frees an owned block with the object. Safe on any
 * data object (others are released by their own operation). */
XP_API void xp_data_release(void *d);
/** d's bytes followed by count bytes (zeros when bytes is null). Null when
 * memory runs out; d is never changed. */
XP_API xp_data *xp_data_append(xp_data *d, const void *bytes, size_t count);
/** The bytes (valid while d lives); for null a static zero byte, never
 * null. */
XP_API const void *xp_data_getptr(const xp_data *d);
/** Null buffer: the length; otherwise copies min(size, length) bytes. */
XP_API size_t xp_data_get(const xp_data *d, void *buf, size_t size);
/** The number of bytes; 0 for null. */
XP_API size_t xp_data_length(const xp_data *d);
/** Type operation textify(d, buf, size, unused): the bytes as upper-case
 * hexadecimal text (xp_fmt_data), not terminated; a null buf measures. */
XP_API xp_word xp_data_textify(void *d, xp_word buf, xp_word size, xp_word unused);
/** Type operation control: code 1 (deserialise) with a = tag (0: any) and
 * b = pointer to an item of type "data" gives a new data object. */
XP_API xp_word xp_data_control(void *d, int code, xp_word a, xp_word b);

#ifdef __cplusplus
}
#endif

#endif /* XP_STR_H */
