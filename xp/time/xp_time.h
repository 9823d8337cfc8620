/** @file
 * xp time: time values, zone offset and daylight saving, calendar conversion, time texts.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_TIME_H
#define XP_TIME_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------
 * Time values and calendar records
 *
 * A time value counts whole seconds since 1904-01-01 00:00:00. A utc value
 * counts UTC seconds; a local value counts seconds of the local wall clock
 * (the utc value plus the zone offset in force at that instant). Which kind a
 * value is, is told by the name of the function that takes or gives it.
 *
 * A calendar record names a wall-clock time field by field. Producers fill
 * every field including the weekday; consumers ignore the weekday. Records
 * that are read accept short years: 0...69 mean 2000...2069, 70...1899 are
 * years since 1900, 1900 and above are full years; anything after 2038 is out
 * of range.
 * ------------------------------------------------------------------------- */

/** Seconds since 1904-01-01 00:00:00; as wide as long. */
typedef unsigned long xp_seconds;

/** A calendar record: a wall-clock time field by field. */
typedef struct xp_dtr {
  uint16_t year;    /**< full year as produced; short forms accepted on input */
  uint16_t month;   /**< 1...12 */
  uint16_t day;     /**< 1...31 */
  uint16_t hour;    /**< 0...23 */
  uint16_t minute;  /**< 0...59 */
  uint16_t second;  /**< 0...59 */
  uint16_t weekday; /**< 0 = Sunday ... 6 = Saturday */
} xp_dtr;

/** Seconds from 1904-01-01 to 1970-01-01: a time value is POSIX time plus this. */
#define XP_TIME_POSIX_DELTA 2082844800UL
/** The answer of xp_time_dtrtolocal for a record out of range (all ones in 32
 * bits, also where long is wider). */
#define XP_TIME_OUT_OF_RANGE 4294967295UL
/** The daylight-saving amount of the common one-hour daylight saving. */
#define XP_TIME_DST_AMOUNT 3600L

/* ---------------------------------------------------------------------------
 * Clock, zone offset and daylight saving
 *
 * Offsets are seconds east of UTC with daylight saving included: at every
 * instant from 1904 to 2040 the offset the system's zone data gives (earlier
 * standard offsets, changed or abolished rules included). They come from a
 * table of the zone's changes, built once per zone and rebuilt when the zone
 * changes (another TZ, or an offset now that the table does not hold, seen
 * within a second); later instants are asked of the system.
 *
 * A daylight-saving amount is 0 in standard time; in daylight saving time it
 * is the offset minus the standard offset in force nearest before (after,
 * when there is none before). So it is 3600 or 0 wherever daylight saving is
 * one hour, and otherwise what the zone shifts by: 1800 on Lord Howe Island,
 * -3600 in Irish winter time (the zone's summer time is its standard time),
 * 7200 in double summer time. Offset = standard offset + amount always holds,
 * so xp_time_gettz() answers the standard offset now.
 *
 * A wall-clock time (a local value or a record) is read at the instant whose
 * offset reads it, as mktime does; a time repeated by a change is the first of
 * its two instants, a time skipped by a change is read with the offset before
 * the change (02:30 in a one-hour spring-forward gap is 03:30 daylight time).
 * Safe to call from several threads.
 * ------------------------------------------------------------------------- */

/** The utc value now. */
XP_API xp_seconds xp_time_getutc(void);
/** The local value now. */
XP_API xp_seconds xp_time_getlocal(void);
/** Sets the system clock (whole seconds); a refusal is ignored. Returns the
 * clock as read afterwards. */
XP_API xp_seconds xp_time_setutc(xp_seconds utc);

/** Zone offset now, daylight saving included. */
XP_API long xp_time_getgmto(void);
/** The daylight-saving amount now: 0 in standard time. */
XP_API long xp_time_getdst(void);
/** Seconds WEST of UTC of the zone's standard time now: getdst() - getgmto(). */
XP_API long xp_time_gettz(void);
/** The abbreviation of the zone in force now. Without a buffer, answers its
 * length; with one, copies at most size - 1 bytes, terminates, and answers the
 * number copied. An unknown name gives an empty text and 0. */
XP_API long xp_time_gettzname(char *buffer, long size);

/** @{ */
/** Daylight-saving amount at a local value, a utc value, or the wall-clock
 * time of a record. The plain forms answer from the zone table; the _raw
 * forms and xp_time_dtrdst ask the system every time (the same answers). A
 * time value of 0 drops the table (it is rebuilt on the next lookup). */
XP_API long xp_time_localdst(xp_seconds local);
XP_API long xp_time_localdst_raw(xp_seconds local);
XP_API long xp_time_utcdst(xp_seconds utc);
XP_API long xp_time_utcdst_raw(xp_seconds utc);
XP_API long xp_time_dtrdst(const xp_dtr *dtr);
/** @} */

/** @{ */
/** Zone offset at the wall-clock time of a record, at a local value, or at a
 * utc value. */
XP_API long xp_time_dtrgmto(const xp_dtr *dtr);
XP_API long xp_time_localgmto(xp_seconds local);
XP_API long xp_time_utcgmto(xp_seconds utc);
/** @} */

/* ---------------------------------------------------------------------------
 * Calendar conversion and comparison
 *
 * The calendar is the library's own (every fourth year is a leap year, which
 * holds throughout 1904...2040). A record's day, hour, minute and second are
 * not range-checked and carry into the next unit (day 0 is the last day of the
 * previous month); a month outside 1...12 or a null record is out of range.
 * Local values and records convert with the offset of their own instant (see
 * above for times repeated or skipped by a change).
 * ------------------------------------------------------------------------- */

/** Fills the record (when given) from a local value; answers the value. */
XP_API xp_seconds xp_time_localtodtr(xp_seconds local, xp_dtr *dtr);
/** Fills the record (when given) with the local time of a utc value; answers
 * the utc value. */
XP_API xp_seconds xp_time_utctodtr(xp_seconds utc, xp_dtr *dtr);
/** Local value of a record; XP_TIME_OUT_OF_RANGE when it is out of range. */
XP_API xp_seconds xp_time_dtrtolocal(const xp_dtr *dtr);
/** Utc value of a record's wall-clock time; 0 when it is out of range. */
XP_API xp_seconds xp_time_dtrtoutc(const xp_dtr *dtr);
/** The local value of a utc value: plus the zone offset at that instant. */
XP_API xp_seconds xp_time_utctolocal(xp_seconds utc);
/** The utc value of a local value: less the zone offset at that wall-clock
 * time. */
XP_API xp_seconds xp_time_localtoutc(xp_seconds local);

/** Fills the record (when given) with the local time now and answers the utc
 * value now; when the system cannot tell the local time the record is all
 * zero and the answer 0. */
XP_API xp_seconds xp_time_getdtr(xp_dtr *dtr);
/** Sets the system clock to the record's wall-clock time (a refusal is
 * ignored, a record out of range leaves the clock alone). Returns the utc
 * value read afterwards. */
XP_API xp_seconds xp_time_setdtr(const xp_dtr *dtr);

/** @{ */
/** 0-based day of the year (1 January gives 0); a record out of range gives
 * 0. xp_time_utcdoy answers for the local date of the instant. */
XP_API int xp_time_dtrdoy(const xp_dtr *dtr);
XP_API int xp_time_localdoy(xp_seconds local);
XP_API int xp_time_utcdoy(xp_seconds utc);
/** @} */

/** Orders two records by year, month, day, hour, minute and second as stored
 * (no year normalisation, weekday ignored): 1, -1 or 0. A null record orders
 * before any other. */
XP_API int xp_time_comparedtr(const xp_dtr *a, const xp_dtr *b);

/** @{ */
/** 1 when both arguments fall on the same calendar day (month, year) of the
 * local wall clock, else 0. A time value of 0 or a null record stands for
 * now. */
XP_API int xp_time_utcsameday(xp_seconds a, xp_seconds b);
XP_API int xp_time_localsameday(xp_seconds a, xp_seconds b);
XP_API int xp_time_dtrsameday(const xp_dtr *a, const xp_dtr *b);
XP_API int xp_time_utcsamemonth(xp_seconds a, xp_seconds b);
XP_API int xp_time_localsamemonth(xp_seconds a, xp_seconds b);
XP_API int xp_time_dtrsamemonth(const xp_dtr *a, const xp_dtr *b);
XP_API int xp_time_utcsameyear(xp_seconds a, xp_seconds b);
XP_API int xp_time_localsameyear(xp_seconds a, xp_seconds b);
XP_API int xp_time_dtrsameyear(const xp_dtr *a, const xp_dtr *b);
/** @} */

/* ---------------------------------------------------------------------------
 * Time texts
 *
 * Writers take a buffer (null: measure only) and its size and answer the
 * length of the text, terminator not counted; with a buffer they write at
 * most size - 1 bytes and terminate.
 *
 * Locale texts (dates and clock times as the user's locale writes them) are
 * cut to the buffer. The fixed forms (general time, RFC 822) are all or
 * nothing: a buffer below their full size gives 0.
 * ------------------------------------------------------------------------- */

/** @{ */
/** Clock time of the day, with or without seconds. */
XP_API long xp_time_utctotime(xp_seconds utc, char *buf, long size, int seconds);
XP_API long xp_time_localtotime(xp_seconds local, char *buf, long size, int seconds);
XP_API long xp_time_dtrtotime(const xp_dtr *dtr, char *buf, long size, int seconds);
/** @} */
/** @{ */
/** Date, short or long. */
XP_API long xp_time_utctodate(xp_seconds utc, char *buf, long size, int longdate);
XP_API long xp_time_localtodate(xp_seconds local, char *buf, long size, int longdate);
XP_API long xp_time_dtrtodate(const xp_dtr *dtr, char *buf, long size, int longdate);
/** @} */
/** @{ */
/** Date, a blank, clock time. When the date alone fills the buffer, only the
 * date is written. */
XP_API long xp_time_utctodatetime(xp_seconds utc, char *buf, long size, int longdate, int seconds);
XP_API long xp_time_localtodatetime(xp_seconds local, char *buf, long size, int longdate,
                                    int seconds);
XP_API long xp_time_dtrtodatetime(const xp_dtr *dtr, char *buf, long size, int longdate,
                                  int seconds);
/** @} */
/** Clock time of a count of seconds since midnight (hours are not reduced
 * to a day). */
XP_API long xp_time_secondstotime(unsigned long seconds, char *buf, long size, int withseconds);

/** @{ */
/** General time, YYYYMMDDhhmmss then "Z" (UTC, needs size 16) or the zone
 * offset as +hhmm / -hhmm (local, needs size 20). */
XP_API long xp_time_utctogeneraltime(xp_seconds utc, char *buf, long size);
XP_API long xp_time_localtogeneraltime(xp_seconds local, char *buf, long size);
XP_API long xp_time_dtrtogeneraltime(const xp_dtr *dtr, char *buf, long size);
/** @} */
/** @{ */
/** RFC 822 date-time with English names: "Thu, 01 Jan 1970 00:00:00 GMT"
 * (UTC, needs size 30) or with the zone offset instead of GMT (local, needs
 * size 32; the record's weekday must be filled). */
XP_API long xp_time_utctorfc822datetime(xp_seconds utc, char *buf, long size);
XP_API long xp_time_localtorfc822datetime(xp_seconds local, char *buf, long size);
XP_API long xp_time_dtrtorfc822datetime(const xp_dtr *dtr, char *buf, long size);
/** @} */

/** Writes a record by a strftime-like format whose fields start with the
 * escape character (0: '%'). A negative length means the format runs to its
 * zero byte. Output is cut at size - 1 bytes and terminated; a null buf
 * measures. Answers the bytes produced. Fields: a A b h B c C d D e F G g H
 * I j k l m M n p r R s S t T u U v V w W x X y Y z Z + / : and the escape
 * itself; any other character stands for itself; O and E modifiers are
 * skipped. Z gives "?"; s gives the record's local value. */
XP_API long xpf_time(char *buf, long size, const char *format, long length, const xp_dtr *dtr,
                     int escape);
/** @{ */
/** xpf_time of the local time of a utc value, or of a local value, with '%'
 * as escape; a null format means "%x %X". */
XP_API long xp_fmt_utctime(char *buf, long size, const char *format, xp_seconds utc);
XP_API long xp_fmt_localtime(char *buf, long size, const char *format, xp_seconds local);
/** @} */

/* ---------------------------------------------------------------------------
 * Reading time texts
 *
 * Texts are zero-terminated and never read past their terminator.
 * ------------------------------------------------------------------------- */

/** @{ */
/** General time: up to seven two-digit fields (century, year, month, day,
 * hour, minute, second; missing ones are 0), then "Z" (UTC), "L" or nothing
 * (local time), or +hhmm / -hhmm (UTC with that offset); blanks around are
 * allowed. The record comes out in local time; 1 on success, 0 on a
 * malformed text. The value forms answer 0 on a malformed text and
 * XP_TIME_OUT_OF_RANGE for a year out of range. */
XP_API int xp_time_generaltimetodtr(const char *text, xp_dtr *dtr);
XP_API xp_seconds xp_time_generaltimetoutc(const char *text);
XP_API xp_seconds xp_time_generaltimetolocal(const char *text);
/** @} */
/** @{ */
/** ISO 8601 combined: YYYY-MM-DDThh:mm:ss, optionally .fff, then "Z" or an
 * offset +hh:mm / +hhmm. 0 on failure. */
XP_API xp_seconds xp_time_iso8601combinedtoutc(const char *text);
XP_API xp_seconds xp_time_iso8601combinedtolocal(const char *text);
/** @} */

/** A date and time as the locale writes it or a user types it: up to three
 * date numbers in the given order (0 month-day-year, 1 day-month-year, 2
 * year-month-day; a leading year of three digits or more is read
 * year-month-day) or month names (the locale's or English, a year told by
 * its size), joined by "/", the separator (0: the locale's date separator),
 * blanks or words (weekday names, "de", "г."); then a clock time of up to
 * three numbers, begun by ":" or the locale's time separator after its
 * hour, or by the first number after a complete date; a marker of the
 * locale's (any it writes for some hour, or AM/PM; case ignored) before or
 * after it. Every Unicode space is a blank, direction marks are skipped,
 * native decimal digits read as digits. A missing date is today, a missing
 * year the current one, a missing time midnight. The record is filled with the current time first,
 * then on success with the normalised local time (a year after 2038 gives
 * the record of XP_TIME_OUT_OF_RANGE); non-zero on success. */
XP_API int xp_time_datetimefmttodtr(const char *text, int32_t order, char separator, xp_dtr *dtr);
/** The same in the locale's order and separator. */
XP_API int xp_time_datetimetodtr(const char *text, xp_dtr *dtr);
/** The same with the time of day set to 0; 1 on success. */
XP_API int xp_time_datetodtr(const char *text, xp_dtr *dtr);
/** @{ */
/** Local values of those: 0 on failure, XP_TIME_OUT_OF_RANGE for a year out
 * of range. */
XP_API xp_seconds xp_time_datetimetolocal(const char *text);
XP_API xp_seconds xp_time_datetolocal(const char *text);
/** @} */
/** @{ */
/** Utc values of those (the offset at the record's wall-clock time); 0 on
 * failure or out of range. */
XP_API xp_seconds xp_time_datetimetoutc(const char *text);
XP_API xp_seconds xp_time_datetoutc(const char *text);
/** @} */
/** Seconds since midnight of a clock time read as above (where the locale's
 * time and date separators are one, the text is read as a clock time
 * alone); 0 on failure. */
XP_API unsigned long xp_time_timetoseconds(const char *text);

#ifdef __cplusplus
}
#endif

#endif /* XP_TIME_H */
