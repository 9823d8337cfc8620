/** @file
 * xp intl: the locale settings cache and the on-demand platform formatters.
 *
 * A locale settings object holds the user's regional settings that the
 * format engine and the time texts need: date and time separators and
 * orders, AM and PM markers, month and weekday names, number signs and
 * separators, digit grouping, currency symbol and currency number. It is
 * filled from the platform's locale services (loaded at run time when
 * present; XP_INTL_NO_PLATFORM=1 in the environment makes the library act
 * as if they were absent), completed from the C library's localeconv and
 * then from fixed defaults, and reloaded at most every 600 seconds, by the
 * first accessor call that finds it stale.
 *
 * Every accessor takes an object or null; null is the shared default
 * object, loaded on first use and kept for the life of the process. Text
 * accessors store a zero byte in buf (when buf is given), bring the object
 * up to date, then copy the text as a bounded, terminated text and return
 * its length (a null buf measures).
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_INTL_H
#define XP_INTL_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The locale settings object (tag "intl"). */
typedef struct xp_intl xp_intl;

/** The type tag "intl". */
XP_API uint32_t xp_intl_type(void);
/** A new object, loaded now. When it cannot be allocated, the shared default
 * object is reloaded instead and null is returned. */
XP_API xp_intl *xp_intl_new(void);
/** Loads the object (null: the shared default) again now, whatever its age;
 * returns the object loaded. */
XP_API xp_intl *xp_intl_reset(xp_intl *intl);

/** The date separator ("/" in en_US). */
XP_API intptr_t xp_intl_datesep(xp_intl *intl, char *buf, size_t size);
/** The time separator (":" in most locales). */
XP_API intptr_t xp_intl_timesep(xp_intl *intl, char *buf, size_t size);
/** The marker of times before noon ("AM" in en_US). */
XP_API intptr_t xp_intl_am(xp_intl *intl, char *buf, size_t size);
/** The marker of times after noon ("PM" in en_US). */
XP_API intptr_t xp_intl_pm(xp_intl *intl, char *buf, size_t size);
/* Month names, month 1 to 12; weekday names, 0 (Sunday) to 6. Outside the
 * range: 0 and an empty buffer. */
/** The full name of month 1 to 12. */
XP_API intptr_t xp_intl_month(xp_intl *intl, int month, char *buf, size_t size);
/** The abbreviated name of month 1 to 12. */
XP_API intptr_t xp_intl_abbrevmonth(xp_intl *intl, int month, char *buf, size_t size);
/** The full name of weekday 0 (Sunday) to 6. */
XP_API intptr_t xp_intl_day(xp_intl *intl, int weekday, char *buf, size_t size);
/** The abbreviated name of weekday 0 (Sunday) to 6. */
XP_API intptr_t xp_intl_abbrevday(xp_intl *intl, int weekday, char *buf, size_t size);

/** The plus sign of numbers. */
XP_API intptr_t xp_intl_plus(xp_intl *intl, char *buf, size_t size);
/** The minus sign of numbers. */
XP_API intptr_t xp_intl_minus(xp_intl *intl, char *buf, size_t size);
/** The decimal separator of numbers. */
XP_API intptr_t xp_intl_decimal(xp_intl *intl, char *buf, size_t size);
/** The thousands separator of numbers. */
XP_API intptr_t xp_intl_thousep(xp_intl *intl, char *buf, size_t size);
/** The decimal separator of amounts of money. */
XP_API intptr_t xp_intl_mdecimal(xp_intl *intl, char *buf, size_t size);
/** The thousands separator of amounts of money. */
XP_API intptr_t xp_intl_mthousep(xp_intl *intl, char *buf, size_t size);
/** The local currency symbol. */
XP_API intptr_t xp_intl_currency(xp_intl *intl, char *buf, size_t size);

/** @{ */
/** Digit grouping: group sizes from the decimal separator leftwards, ended
 * by 0xFF (no further groups) or 0 (the last size repeats). The count is
 * measured up to and including the first 0xFF byte of the grouping, which
 * may lie beyond the grouping's own bytes (a grouping that ends with 0 is
 * followed by other settings); copies that many bytes, at most size, and
 * returns the count copied (a null buf returns the count). The monetary
 * form measures on the plain grouping and copies the monetary grouping;
 * take the result as an upper limit and stop at the first 0 or 0xFF. */
XP_API intptr_t xp_intl_grouping(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_mgrouping(xp_intl *intl, char *buf, size_t size);
/** @} */

/** Date order: 0 month-day-year, 1 day-month-year, 2 year-month-day. */
XP_API int32_t xp_intl_datefmt(xp_intl *intl);
/** Clock: 1 for a 24-hour clock, 0 for a 12-hour clock. */
XP_API int32_t xp_intl_timefmt(xp_intl *intl);
/** ISO 4217 number of the local currency, 0 when unknown. */
XP_API uint64_t xp_intl_isocurrency(xp_intl *intl);

#ifdef __cplusplus
}
#endif

#endif /* XP_INTL_H */
