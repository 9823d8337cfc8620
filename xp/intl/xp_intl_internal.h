// Library-private parts of the locale settings: the settings object's
// layout, the load step, the on-demand platform formatters (date and number
// formatters of the platform's locale services, reached at run time by name
// and never linked), the currency table, and test hooks. Not installed.
#ifndef XP_INTL_INTERNAL_H
#define XP_INTL_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "xp/intl/xp_intl.h"
#include "xp/time/xp_time.h"

// The settings object. Every text is UTF-8 and zero-terminated inside its
// field. Readers copy out through the accessors only.
//
// The settings (grouping_span to the end) are published whole: a load fills a
// private copy, then stores it here under the sequence counter, which is odd
// while a store is under way. Readers copy what they need and retry when the
// counter moved, so they see the old settings or the new, never a mix.
struct xp_intl {
  xp_obj obj;
  uint16_t overrides;  // while any of the low 13 bits is set, never reloaded
  uint32_t seq;        // publication counter, see above (in the padding)
  uint64_t expiry;     // utc seconds until which the fields are fresh; 0 forces a load
  // Published with the settings: the bytes that the grouping accessors
  // measure, from the grouping to its first 0xFF byte or the object's end.
  uint64_t grouping_span;
  int32_t dateorder;  // 0 month-day-year, 1 day-month-year, 2 year-month-day
  int32_t timeclock;  // 1: 24-hour clock, 0: 12-hour clock
  char datesep[16];
  char timesep[16];
  char am[16];
  char pm[16];
  char months[12][64];  // January first
  char abbrevmonths[12][64];
  char days[7][64];  // Sunday first
  char abbrevdays[7][64];
  char plus[16];
  char minus[16];
  char decimal[16];
  char thousep[16];
  char grouping[16];  // sizes from the decimal separator leftwards; 0xFF or 0 ends
  char mdecimal[16];
  char mthousep[16];
  char mgrouping[16];
  char currency[16];
  uint64_t isocurrency;  // ISO 4217 number of the local currency, 0 when unknown
};

#define XPI_OVERRIDE_MASK 0x1FFFu

// The load step: brings the object (null: the shared default) up to date
// and answers the object it worked on.
xp_intl *xpi_reload(xp_intl *intl);
// The 16-byte text field at `field` (an offset in xp_intl) of the object
// brought up to date (null: the shared default), copied to out16 as far as
// its terminator; answers its length. The formatters' short way to the
// separators and signs.
size_t xpi_text16(xp_intl *intl, size_t field, char *out16);
// Publishes the settings of `from` in `to` (null: the shared default) in one
// step, as a load does; the override flags and expiry of `to` stay. The
// only way to change the settings of an object that readers may share.
void xpi_publish(xp_intl *to, const xp_intl *from);
// A consistent copy of the settings of `from` (null: the shared default)
// into `to`, as of one publication; no load.
void xpi_snapshot(const xp_intl *from, xp_intl *to);

// ---- Currency table -------------------------------------------------------

struct xpi_currency {
  uint16_t number;
  char code[4];
};
// Ascending by number, (999, "XXX") last, then a pair whose number is 0.
extern const xpi_currency xpi_currencies[];
// The number of a three-letter code (exact match), or 0.
uint16_t xpi_currency_number(const char *code);

// ---- On-demand platform formatters ---------------------------------------
//
// Kinds: 1 month name, 2 abbreviated month name, 3 AM/PM marker, 4 short
// date, 5 full date, 6 short time, 7 medium time, 8 weekday name,
// 9 abbreviated weekday name, 10 decimal number, 11 currency number.

enum {
  XPI_MONTH = 1,
  XPI_ABBREVMONTH = 2,
  XPI_AMPM = 3,
  XPI_SHORTDATE = 4,
  XPI_FULLDATE = 5,
  XPI_SHORTTIME = 6,
  XPI_MEDIUMTIME = 7,
  XPI_DAY = 8,
  XPI_ABBREVDAY = 9,
  XPI_DECIMAL = 10,
  XPI_CURRENCY = 11
};

// The value that asks a number formatter for its format pattern.
#define XPI_PATTERN_REQUEST INT64_MIN

struct xpi_formatter {
  xp_obj obj;
  uintptr_t kind;
  void *platform;        // the platform's date or number formatter, or null
  const char *fallback;  // strftime conversion of the kind, or null
};

// A new formatter of a kind (the first argument is not used), or null when
// it cannot be allocated. An unknown kind gives a formatter that answers 0.
xpi_formatter *xpi_formatter_new(void *unused, uintptr_t kind);
void xpi_formatter_release(void *formatter);
// The date of the record as the kind renders it; returns the length.
intptr_t xpi_formatter_date(xpi_formatter *f, const xp_dtr *dtr, char *buf, size_t size);
// The value as a number, or for XPI_PATTERN_REQUEST the format pattern.
intptr_t xpi_formatter_number(xpi_formatter *f, int64_t value, char *buf, size_t size);
// A number formatter property: '+' plus sign, '-' minus sign, '.' currency
// decimal separator, ',' currency grouping separator.
intptr_t xpi_formatter_getprop(xpi_formatter *f, int selector, char *buf, size_t size);

// ---- Platform entry points -------------------------------------------------
//
// The locale services are loaded at run time by name. One process-wide slot
// keeps the library handle and one each resolved function; a failed load is
// tried again on the next call. XP_INTL_NO_PLATFORM=1 in the environment makes
// every load fail, so that the fallbacks take over.

// The loaded library, or null. The name is a hint; one handle serves all.
void *xpi_load_framework(const char *name);
// A function of the library by its plain name (the library's version
// suffix is found by itself), or null.
void *xpi_get_func(const char *name);

namespace xpi {

// The locale to format for: from LC_ALL, else LANG, without the codeset or
// modifier ("de_DE.UTF-8@euro" gives "de_DE"); empty when neither is set.
void current_locale(char *out, size_t size);
// The same for date formatters, asking for the Gregorian calendar.
void date_locale(char *out, size_t size);

// A number symbol of a number formatter's locale (a symbol number of the
// platform, see platform.h); 0 and an empty buffer without a platform
// formatter.
intptr_t formatter_symbol(xpi_formatter *f, int symbol, char *buf, size_t size);

// strftime in the C library's locale, as UTF-8 (at most size - 1 bytes,
// terminated): converted from the locale's codeset, or the C locale's
// English text where that cannot be done. Returns the length.
size_t strftime_utf8(char *out, size_t size, const char *conversion, const struct tm *tm);

// The system path of the locale time texts. Kinds: 1 abbreviated month,
// 2 AM/PM marker, 3 short date, 4 full date, 5 short time, 6 medium time,
// 7 abbreviated weekday; any other kind gives short date and medium time.
// Copies at most size - 1 bytes and terminates (a null buf measures) and
// returns the length; 0 when the platform could not format; -1 when the
// platform's services are absent (the caller then takes its own fallback).
long dtrstring_system(const xp_dtr *dtr, int kind, char *buf, long size);

// The date order (0 month-day-year, 1 day-month-year, 2 year-month-day)
// of the short date text of 15 February 2006 (n bytes), and its separator
// into sep (16 bytes; "/" when none shows). An empty text gives 1.
int32_t date_order(const char *text, intptr_t n, char *sep);

// Group sizes of a number pattern (n bytes) into grouping (16 bytes): the
// pattern is walked from its end, a "," closes a group, a "." or ";"
// forgets the groups so far; at most 15 sizes, then 0 (the last repeats),
// or 0xFF alone when there are none. An empty pattern leaves the grouping
// empty, so that the C library's grouping completes it.
void grouping_of_pattern(const char *pattern, intptr_t n, char *grouping);

// Test hooks: loads done by xpi_reload so far (each counts, whatever object).
unsigned long load_count();

}  // namespace xpi

#endif  // XP_INTL_INTERNAL_H
