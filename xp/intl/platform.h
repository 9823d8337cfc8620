// The platform's locale services as this family sees them: the few types
// and constants of the date, number and calendar functions that the
// formatters use, and one wrapper per function. A wrapper resolves its
// function on first use (see xpi_get_func), keeps it in a process-wide slot
// and answers 0 (or does nothing) when the function cannot be had.
#ifndef XP_INTL_PLATFORM_H
#define XP_INTL_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

namespace xpi {

using uchar = char16_t;
using ustatus = int;   // <= 0: success
using udate = double;  // milliseconds since 1970-01-01 UTC

inline bool failed(ustatus s) {
  return s > 0;
}

// Date and time styles.
enum { DS_FULL = 0, DS_LONG = 1, DS_MEDIUM = 2, DS_SHORT = 3, DS_NONE = -1, DS_PATTERN = -2 };
// Number styles.
enum { NS_DECIMAL = 1, NS_CURRENCY = 2 };
// Number symbols.
enum {
  SYM_DECIMAL = 0,
  SYM_GROUPING = 1,
  SYM_MINUS = 6,
  SYM_PLUS = 7,
  SYM_CURRENCY = 8,
  SYM_INTL_CURRENCY = 9,
  SYM_MONETARY_DECIMAL = 10,
  SYM_MONETARY_GROUPING = 17
};
// Calendar type: Gregorian.
enum { CAL_GREGORIAN = 1 };

// Converts UTF-16 to UTF-8: at most size - 1 bytes, never a split
// character, terminated when size > 0. A negative n means up to a zero
// unit. Unpaired surrogates become U+FFFD. Returns the bytes written.
size_t utf8_from_utf16(char *out, size_t size, const uchar *in, intptr_t n);

// Dates are formatted in this zone: a record names wall-clock fields, and
// in a zone without gaps every record is a time that exists.
inline constexpr uchar kZone[] = u"GMT";

// Whole wall-clock fields to an instant in kZone; false when the platform
// cannot tell.
bool instant_of(int year, int month, int day, int hour, int minute, int second, udate *out);

// Formats an instant with a date formatter into UTF-8 (at most size - 1
// bytes, terminated); false on failure.
bool format_date(void *fmt, udate when, char *out, size_t size);

}  // namespace xpi

// Wrappers. Formatter and calendar handles are opaque.
void *xpi_udat_open(int time_style, int date_style, const char *locale, const xpi::uchar *zone,
                    int32_t zone_len, const xpi::uchar *pattern, int32_t pattern_len,
                    xpi::ustatus *status);
int32_t xpi_udat_format(const void *fmt, xpi::udate when, xpi::uchar *out, int32_t capacity,
                        void *pos, xpi::ustatus *status);
void xpi_udat_close(void *fmt);
void *xpi_unum_open(int style, const xpi::uchar *pattern, int32_t pattern_len, const char *locale,
                    void *parse_error, xpi::ustatus *status);
int32_t xpi_unum_formatInt64(const void *fmt, int64_t value, xpi::uchar *out, int32_t capacity,
                             void *pos, xpi::ustatus *status);
int32_t xpi_unum_toPattern(const void *fmt, int8_t localized, xpi::uchar *out, int32_t capacity,
                           xpi::ustatus *status);
int32_t xpi_unum_getSymbol(const void *fmt, int symbol, xpi::uchar *out, int32_t capacity,
                           xpi::ustatus *status);
void xpi_unum_close(void *fmt);
void *xpi_ucal_open(const xpi::uchar *zone, int32_t zone_len, const char *locale, int type,
                    xpi::ustatus *status);
void xpi_ucal_clear(void *cal);
void xpi_ucal_setDateTime(void *cal, int32_t year, int32_t month, int32_t day, int32_t hour,
                          int32_t minute, int32_t second, xpi::ustatus *status);
xpi::udate xpi_ucal_getMillis(const void *cal, xpi::ustatus *status);
void xpi_ucal_close(void *cal);

#endif  // XP_INTL_PLATFORM_H
