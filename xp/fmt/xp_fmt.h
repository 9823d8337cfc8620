/* xp fmt: the format engine, number and text writers, text scanners and network-address text.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_FMT_H
#define XP_FMT_H

#include <stdarg.h>

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Format flag word: built by the directive parser and handed unchanged to
 * every writer (and to an object's textify operation for %O). */
#define XPF_ALT 0x0001u      /* '#': alternate form */
#define XPF_LEFT 0x0002u     /* '-': pad on the right */
#define XPF_PLUS 0x0004u     /* '+': plus sign (floating point); percent-encoding (texts) */
#define XPF_GROUP 0x0008u    /* '\'': digit grouping */
#define XPF_SPACE 0x0010u    /* ' ': blank sign (floating point); blank between hex bytes */
#define XPF_ZERO 0x0020u     /* '0': zero fill (texts and integers) */
#define XPF_LONG 0x0040u     /* 'l': long argument; 16-bit text with s, S, c */
#define XPF_LONGLONG 0x0080u /* 'll' or 'I64': 64-bit argument */
#define XPF_PTRDIFF 0x0100u  /* 't': pointer-difference argument */
#define XPF_MONEY 0x0200u    /* ',' or '$' option: monetary grouping */
#define XPF_UPPER 0x0400u    /* E, F, G: upper-case letters */
#define XPF_GSTYLE 0x0800u   /* %g: drop trailing fraction zeros */
#define XPF_QUOTE1 0x1000u   /* backslash before apostrophe and backslash */
#define XPF_QUOTE2 0x2000u   /* apostrophe doubled */
#define XPF_QUOTE3 0x4000u   /* backslash before double quote and backslash */
#define XPF_BACKTICK 0x8000u /* apostrophe to backquote, control bytes to blanks */

/* The format engine. Writes at most size - 1 bytes and a terminator into
 * buf; a null buf only measures. Returns the number of bytes produced
 * (terminator not counted). A buffer with a size of 0 is left untouched. */
XP_API size_t xp_fmt_vformat(char *buf, size_t size, const char *format, va_list args);
XP_API size_t xp_fmt_format(char *buf, size_t size, const char *format, ...);
/* Formats behind the first `used` bytes of buf; returns the new total
 * length (size - 1 when used >= size, nothing written). */
XP_API size_t xp_fmt_append(char *buf, size_t size, size_t used, const char *format, ...);
/* Bounded, terminated copy that never splits a UTF-8 character; a negative
 * len means up to the zero byte. Returns the bytes copied (len when buf is
 * null). */
XP_API intptr_t xp_fmt_text(char *buf, size_t size, const char *text, intptr_t len);
XP_API intptr_t xp_fmt_string(char *buf, size_t size, const char *text);

/* One number, terminated, cut to size - 1; a null buf measures. */
XP_API size_t xp_fmt_long(char *buf, size_t size, long value);
XP_API size_t xp_fmt_quad(char *buf, size_t size, int64_t value);
XP_API size_t xp_fmt_ulong(char *buf, size_t size, unsigned long value);
XP_API size_t xp_fmt_uquad(char *buf, size_t size, uint64_t value);
/* Upper-case hexadecimal, at least 8 digits. */
XP_API size_t xp_fmt_xlong(char *buf, size_t size, unsigned long value);

/* Upper-case hex text of count bytes (not terminated), with an optional
 * separator byte between the pairs (0: none). */
XP_API size_t xp_fmt_data(char *buf, size_t room, const void *data, size_t count);
XP_API size_t xp_fmt_data_ex(char *buf, size_t room, const void *data, size_t count,
                             int32_t separator);
/* The 36-character text of a 16-byte UUID, terminated; needs size >= 37
 * and count == 16, otherwise returns (size_t)-1 and writes nothing. A
 * null buf returns 36. */
XP_API size_t xp_fmt_uuid(char *buf, size_t size, const void *bytes, size_t count);

#ifdef __cplusplus
}
#endif

#endif /* XP_FMT_H */
