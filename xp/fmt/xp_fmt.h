/** @file
 * xp fmt: the format engine, number and text writers, text scanners and network-address text.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_FMT_H
#define XP_FMT_H

#include <stdarg.h>

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @{ */
/** Format flag word: built by the directive parser and handed unchanged to
 * every writer (and to an object's textify operation for %O). */
#define XPF_ALT 0x0001u      /**< '#': alternate form */
#define XPF_LEFT 0x0002u     /**< '-': pad on the right */
#define XPF_PLUS 0x0004u     /**< '+': plus sign (floating point); percent-encoding (texts) */
#define XPF_GROUP 0x0008u    /**< '\'': digit grouping */
#define XPF_SPACE 0x0010u    /**< ' ': blank sign (floating point); blank between hex bytes */
#define XPF_ZERO 0x0020u     /**< '0': zero fill (texts and integers) */
#define XPF_LONG 0x0040u     /**< 'l': long argument; 16-bit text with s, S, c */
#define XPF_LONGLONG 0x0080u /**< 'll' or 'I64': 64-bit argument */
#define XPF_PTRDIFF 0x0100u  /**< 't': pointer-difference argument */
#define XPF_MONEY 0x0200u    /**< ',' or '$' option: monetary grouping */
#define XPF_UPPER 0x0400u    /**< E, F, G: upper-case letters */
#define XPF_GSTYLE 0x0800u   /**< %g: drop trailing fraction zeros */
#define XPF_QUOTE1 0x1000u   /**< backslash before apostrophe and backslash */
#define XPF_QUOTE2 0x2000u   /**< apostrophe doubled */
#define XPF_QUOTE3 0x4000u   /**< backslash before double quote and backslash */
#define XPF_BACKTICK 0x8000u /**< apostrophe to backquote, control bytes to blanks */
/** @} */

/** @{ */
/** The format engine. Writes at most size - 1 bytes and a terminator into
 * buf; a null buf only measures. Returns the number of bytes produced
 * (terminator not counted). A buffer with a size of 0 is left untouched. */
XP_API size_t xp_fmt_vformat(char *buf, size_t size, const char *format, va_list args);
XP_API size_t xp_fmt_format(char *buf, size_t size, const char *format, ...);
/** @} */
/** Formats behind the first `used` bytes of buf; returns the new total
 * length (size - 1 when used >= size, nothing written). */
XP_API size_t xp_fmt_append(char *buf, size_t size, size_t used, const char *format, ...);
/** @{ */
/** Bounded, terminated copy that never splits a UTF-8 character; a negative
 * len means up to the zero byte. Returns the bytes copied (len when buf is
 * null). */
XP_API intptr_t xp_fmt_text(char *buf, size_t size, const char *text, intptr_t len);
XP_API intptr_t xp_fmt_string(char *buf, size_t size, const char *text);
/** @} */

/** @{ */
/** One number, terminated, cut to size - 1; a null buf measures. */
XP_API size_t xp_fmt_long(char *buf, size_t size, long value);
XP_API size_t xp_fmt_quad(char *buf, size_t size, int64_t value);
XP_API size_t xp_fmt_ulong(char *buf, size_t size, unsigned long value);
XP_API size_t xp_fmt_uquad(char *buf, size_t size, uint64_t value);
/** @} */
/** Upper-case hexadecimal, at least 8 digits. */
XP_API size_t xp_fmt_xlong(char *buf, size_t size, unsigned long value);

/** @{ */
/** Upper-case hex text of count bytes (not terminated), with an optional
 * separator byte between the pairs (0: none). */
XP_API size_t xp_fmt_data(char *buf, size_t room, const void *data, size_t count);
XP_API size_t xp_fmt_data_ex(char *buf, size_t room, const void *data, size_t count,
                             int32_t separator);
/** @} */
/** The 36-character text of a 16-byte UUID, terminated; needs size >= 37
 * and count == 16, otherwise returns (size_t)-1 and writes nothing. A
 * null buf returns 36. */
XP_API size_t xp_fmt_uuid(char *buf, size_t size, const void *bytes, size_t count);

/* ---- Network-address text ------------------------------------------------
 *
 * An address is a run of bytes in network order; its kind tells its length
 * and its text form:
 *   -1  IPv6, 16 bytes: lower-case hexadecimal groups joined by ":", the
 *       first run of zero groups (even a single one) shortened to "::".
 *    0  network.node, 3 bytes: 16-bit network (big-endian), 8-bit node, as
 *       decimal "network.node".
 *    1  IPv4, 4 bytes: dotted decimal.
 *    2  network/node, 10 bytes: 32-bit network, 48-bit node, as
 *       "0x" + 8 upper-case hex digits + "/0x" + 12 upper-case hex digits.
 * Neither function allocates, locks or writes a terminating zero. */
/** The address kinds above, by name. */
enum { XP_ADDR_IPV6 = -1, XP_ADDR_NETNODE = 0, XP_ADDR_IPV4 = 1, XP_ADDR_NETNODE_HEX = 2 };

/** Renders the address of the given kind into buffer, writing at most size
 * bytes and no terminator; returns the number of characters written (the
 * caller puts the zero byte at that index when it has room for it).
 *
 * A null buffer measures: 8 for kind 0, 15 for kind 1, 23 for kind 2, and
 * for kind -1 an upper bound for this address's text (four for the first
 * group, five for each later group written, one for the shortened run, plus
 * one), which as size is room enough for the whole text but not always for
 * a terminator as well ("::" measures 2).
 * Kinds 0, 1 and 2 require 8, 15 and 23 bytes of size; with less the result
 * is -1 and nothing is written. A kind outside -1..2 gives 0. A null address
 * gives -1 (except when measuring a kind whose length is fixed).
 *
 * Kind -1 never fails: a group's digits are written only while there is room
 * for four more digits and one more character; a group that does not fit is
 * left out (the text is then short and cannot be read back).
 *
 * Two counts are kept as they have always been: kind 0 can take 9 characters
 * ("65535.255") although only 8 bytes are required, and kind 2 takes 25
 * characters but requires 23 bytes and returns 23. The text is cut at size,
 * so with exactly 8 (or 23..24) bytes the last character(s) are lost. With
 * 25 bytes or more kind 2 is written whole; hand the returned 23 back to
 * xp_fmt_getaddr as the length together with the whole text (see there). */
XP_API intptr_t xp_fmt_addr(char *buffer, intptr_t size, int kind, const void *address);

/** Reads an address text and returns its kind, or -1. Blanks and tabs around
 * the text are ignored. A negative length means the text runs to its zero
 * byte; a null or empty text gives -1. A null out returns only the kind;
 * otherwise out receives at most size bytes.
 *
 *  - 23 characters of the form 0xNNNNNNNN/0xNNNNNNNNNNNN: kind 2, 10 bytes.
 *    Contract of this form: the length that xp_fmt_addr returns is 23 but
 *    its text has 25 characters, and this reader, given 23, reads all 25.
 *    With an explicit length the caller must therefore supply two readable
 *    bytes behind the 23 characters left after trimming (the rest of the
 *    writer's text; trailing blanks within length count toward them). With a
 *    zero-terminated text nothing past the terminator is read; digits not
 *    present are taken as 0.
 *  - 8 characters of the form $NNNN.NN (hexadecimal): kind 0, 3 bytes.
 *  - More than one dot: kind 1. Four decimal fields, each stored as its low
 *    8 bits (300 is stored as 44), missing fields as 0; a field ends at a
 *    dot, at the end, or at any other character, which is passed over.
 *  - Otherwise kind 0 in decimal: "network.node" or just "node" (the network
 *    is then 0). IPv6 text is not read: it falls to this case. */
XP_API int xp_fmt_getaddr(void *out, intptr_t size, const char *text, intptr_t length);

/* ---- Text scanning -------------------------------------------------------
 *
 * Small, strict readers of a text with an explicit length that need not be
 * terminated. They skip no white space, take no base prefix (except
 * xp_fmt_hexlong's "0x"), report no overflow (values wrap) and stop at the
 * first character that does not belong. A null text reads as empty. */

/** Decimal integer: one optional leading "+" or "-" (counted in len), then
 * digits. No digits gives 0. */
XP_API long xp_fmt_getlong(const char *text, size_t len);
/** The same, 64 bits wide on every platform. */
XP_API int64_t xp_fmt_getquad(const char *text, size_t len);

/** Decimal number with an optional fraction: digits, at most one ".", more
 * digits; no exponent, no "+", no "nan"/"inf". A leading "-" is NOT counted
 * in len: a negative number is read from len characters behind the sign, so
 * the text must then hold len + 1 bytes. A len below 1 gives 0 and reads
 * nothing. The digits are gathered in a 64-bit integer that wraps beyond 19
 * digits. */
XP_API double xp_fmt_getdouble(const char *text, int32_t len);

/** Four-character tag: up to four characters are taken, "-" and "_" are
 * passed over, a zero byte ends the text. The tag's bytes in memory are the
 * taken characters in text order (missing ones 0), as XP_TAG lays them. */
XP_API uint32_t xp_fmt_gettag(const char *text, size_t len);

/** Hexadecimal integer: one optional "+" or "-", an optional "0x"/"0X" (or a
 * single leading "0"), then every hex digit up to len is taken; any other
 * character is passed over, so separators ("12:ab", "de ad") are ignored. */
XP_API unsigned long xp_fmt_hexlong(const char *text, size_t len);

/** Bytes from hex text, two characters a byte, high digit first; a character
 * that is not a hex digit counts as 0, and an odd last character gives a byte
 * with a low digit of 0. Writes min(outsize, (hexlen + 1) / 2) bytes and
 * returns that count. A null out measures, and then returns hexlen / 2
 * rounded DOWN (so for an odd length measuring gives one less than
 * converting). A hexlen below 1 or an outsize of 0 gives 0. */
XP_API size_t xp_fmt_getdata(void *out, size_t outsize, const char *hex, intptr_t hexlen);

/** A 16-byte UUID from its text: 32 hex digits, with "-" allowed anywhere,
 * e.g. 00112233-4455-6677-8899-AABBCCDDEEFF or the digits alone. Returns 16
 * (also when measuring with a null out). Failures are told apart:
 *   0               a character other than a letter, a digit or "-"
 *                   (letters beyond F are accepted and read as 0);
 *   (size_t)-1      textlen below 32, outsize below 16, fewer than 32 digits,
 *                   or anything (even "-") left after the 32nd digit or
 *                   behind a zero byte within textlen. */
XP_API size_t xp_fmt_getuuid(void *out, size_t outsize, const char *text, intptr_t textlen);

#ifdef __cplusplus
}
#endif

#endif /* XP_FMT_H */
