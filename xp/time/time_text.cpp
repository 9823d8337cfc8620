// Time texts: the locale texts of a record (dates and clock times from the
// platform's date formatter, or strftime), the date, time and date-and-time
// writers built on them, and the fixed machine forms (general time and
// RFC 822 date-times with English names).
#include <langinfo.h>
#include <string.h>
#include <time.h>

#include "xp/fmt/xp_fmt.h"
#include "xp/intl/xp_intl_internal.h"
#include "xp/time/xp_time_internal.h"

namespace xpt {

const char *const xt_strs_days[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char *const xt_strs_mons[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

namespace {

// strftime conversion of each kind.
const char *const kFallback[8] = {nullptr, "%b", "%p", "%x", "%x", "%X", "%X", "%a"};

// Bytes of text that fit in `room` without cutting a UTF-8 character.
size_t whole_chars(const char *text, size_t len, size_t room) {
  if (len <= room) return len;
  size_t n = room;
  // Step back over continuation bytes to the lead byte of the cut character.
  while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
    --n;
  return n;
}

// Copies a whole text into buf under the writers' contract.
long put_text(const char *text, size_t len, char *buf, long size) {
  if (!buf) return static_cast<long>(len);
  if (size <= 0) return 0;
  size_t n = whole_chars(text, len, static_cast<size_t>(size) - 1);
  memcpy(buf, text, n);
  buf[n] = 0;
  return static_cast<long>(n);
}

long empty_text(char *buf, long size) {
  if (buf && size > 0) buf[0] = 0;
  return 0;
}

// Years since 1900 of a record's year, by the calendar's rule but without
// its range limit.
int tm_year_of(unsigned year) {
  if (year < 70) return static_cast<int>(year) + 100;
  if (year < 1900) return static_cast<int>(year);
  return static_cast<int>(year) - 1900;
}

// The zone offset of a record's wall-clock time as a sign and hours and
// minutes.
struct Offset {
  const char *sign;
  long hours;
  long minutes;
};

Offset offset_of(const xp_dtr *dtr) {
  long off = xp_time_dtrgmto(dtr);
  long mag = off < 0 ? -off : off;
  return Offset{off < 0 ? "-" : "+", mag / 3600, mag / 60 % 60};
}

// The year of a record as the fixed forms print it.
int printed_year(unsigned year) {
  if (year < 70) return static_cast<int>(year) + 2000;
  if (year < 1900) return static_cast<int>(year) + 1900;
  return static_cast<int>(year);
}

// The conversion of a kind in the C library's locale. Dates are asked for
// without the locale's era (the Gregorian year, where th_TH would write the
// Buddhist one); a 12-hour clock without markers would read the same in the
// morning and the evening, so it is shown as a 24-hour clock.
const char *conversion(int kind, char *buf, size_t size) {
  const char *c = kFallback[kind];
  if (kind == XT_SHORTDATE || kind == XT_LONGDATE) {
    const char *f = nl_langinfo(D_FMT);
    size_t n = 0;
    for (; f && *f && n + 1 < size; ++f) {
      buf[n++] = *f;
      if (*f == '%' && f[1] == 'E') ++f;
    }
    buf[n] = 0;
    if (n) c = buf;
  } else if (kind == XT_TIME || kind == XT_TIMESECONDS) {
    const char *f = nl_langinfo(T_FMT);
    bool twelve = f && (strstr(f, "%I") || strstr(f, "%l") || strstr(f, "%r"));
    if (twelve && !*nl_langinfo(AM_STR)) c = "%H:%M:%S";
  }
  return c;
}

}  // namespace

long dtrstring_fallback(const xp_dtr *dtr, int kind, char *buf, long size) {
  if (!dtr || kind < 1 || kind > 7) return empty_text(buf, size);
  struct tm tm;
  memset(&tm, 0, sizeof tm);
  tm.tm_year = tm_year_of(dtr->year);
  tm.tm_mon = dtr->month - 1;
  tm.tm_mday = dtr->day;
  tm.tm_hour = dtr->hour;
  tm.tm_min = dtr->minute;
  tm.tm_sec = dtr->second;
  tm.tm_wday = dtr->weekday;
  tm.tm_yday = xp_time_dtrdoy(dtr);
  tm.tm_isdst = -1;
  char scratch[256], format[64];
  size_t len =
      xpi::strftime_utf8(scratch, sizeof scratch, conversion(kind, format, sizeof format), &tm);
  if (len == 0) return empty_text(buf, size);
  return put_text(scratch, len, buf, size);
}

long xt_dtrstring(const xp_dtr *dtr, int kind, char *buf, long size) {
  if (!dtr) return empty_text(buf, size);
  // The platform's date formatter for the user's locale: -1 when there is
  // none, 0 when it could not format.
  long r = xpi::dtrstring_system(dtr, kind, buf, size);
  if (r >= 0) return r;
  return dtrstring_fallback(dtr, kind, buf, size);
}

}  // namespace xpt

using xpt::xt_dtrstring;

namespace {

long datetime_text(const xp_dtr *dtr, char *buf, long size, int longdate, int seconds) {
  int date_kind = longdate ? xpt::XT_LONGDATE : xpt::XT_SHORTDATE;
  int time_kind = seconds ? xpt::XT_TIMESECONDS : xpt::XT_TIME;
  long date = xt_dtrstring(dtr, date_kind, buf, size);
  if (!buf) return date + 1 + xt_dtrstring(dtr, time_kind, nullptr, 0);
  if (date >= size - 2) return date;
  buf[date] = ' ';
  return date + 1 + xt_dtrstring(dtr, time_kind, buf + date + 1, size - date - 1);
}

xp_dtr utc_dtr(xp_seconds utc) {
  xp_dtr r;
  xp_time_utctodtr(utc, &r);
  return r;
}

xp_dtr local_dtr(xp_seconds local) {
  xp_dtr r;
  xp_time_localtodtr(local, &r);
  return r;
}

size_t fmt_size(long size) {
  return static_cast<size_t>(size);
}

}  // namespace

extern "C" {

long xp_time_dtrtotime(const xp_dtr *dtr, char *buf, long size, int seconds) {
  return xt_dtrstring(dtr, seconds ? xpt::XT_TIMESECONDS : xpt::XT_TIME, buf, size);
}

long xp_time_utctotime(xp_seconds utc, char *buf, long size, int seconds) {
  xp_dtr r = utc_dtr(utc);
  return xp_time_dtrtotime(&r, buf, size, seconds);
}

long xp_time_localtotime(xp_seconds local, char *buf, long size, int seconds) {
  xp_dtr r = local_dtr(local);
  return xp_time_dtrtotime(&r, buf, size, seconds);
}

long xp_time_dtrtodate(const xp_dtr *dtr, char *buf, long size, int longdate) {
  return xt_dtrstring(dtr, longdate ? xpt::XT_LONGDATE : xpt::XT_SHORTDATE, buf, size);
}

long xp_time_utctodate(xp_seconds utc, char *buf, long size, int longdate) {
  xp_dtr r = utc_dtr(utc);
  return xp_time_dtrtodate(&r, buf, size, longdate);
}

long xp_time_localtodate(xp_seconds local, char *buf, long size, int longdate) {
  xp_dtr r = local_dtr(local);
  return xp_time_dtrtodate(&r, buf, size, longdate);
}

long xp_time_dtrtodatetime(const xp_dtr *dtr, char *buf, long size, int longdate, int seconds) {
  if (!dtr) return buf && size > 0 ? (buf[0] = 0) : 0;
  return datetime_text(dtr, buf, size, longdate, seconds);
}

long xp_time_utctodatetime(xp_seconds utc, char *buf, long size, int longdate, int seconds) {
  xp_dtr r = utc_dtr(utc);
  return datetime_text(&r, buf, size, longdate, seconds);
}

long xp_time_localtodatetime(xp_seconds local, char *buf, long size, int longdate, int seconds) {
  xp_dtr r = local_dtr(local);
  return datetime_text(&r, buf, size, longdate, seconds);
}

long xp_time_secondstotime(unsigned long seconds, char *buf, long size, int withseconds) {
  xp_dtr r;
  xp_time_getdtr(&r);
  r.hour = static_cast<uint16_t>(seconds / 3600);
  r.minute = static_cast<uint16_t>(seconds / 60 % 60);
  r.second = static_cast<uint16_t>(seconds % 60);
  return xp_time_dtrtotime(&r, buf, size, withseconds);
}

long xp_time_utctogeneraltime(xp_seconds utc, char *buf, long size) {
  if (buf && size < 16) return 0;
  xp_dtr r = local_dtr(utc);  // pure calendar: the fields of UTC
  return static_cast<long>(xp_fmt_format(buf, fmt_size(size), "%04d%02d%02d%02d%02d%02dZ", r.year,
                                         r.month, r.day, r.hour, r.minute, r.second));
}

long xp_time_dtrtogeneraltime(const xp_dtr *dtr, char *buf, long size) {
  if (!dtr || (buf && size < 20)) return 0;
  xpt::Offset off = xpt::offset_of(dtr);
  return static_cast<long>(xp_fmt_format(
      buf, fmt_size(size), "%04d%02d%02d%02d%02d%02d%s%02ld%02ld", xpt::printed_year(dtr->year),
      dtr->month, dtr->day, dtr->hour, dtr->minute, dtr->second, off.sign, off.hours, off.minutes));
}

long xp_time_localtogeneraltime(xp_seconds local, char *buf, long size) {
  xp_dtr r = local_dtr(local);
  return xp_time_dtrtogeneraltime(&r, buf, size);
}

long xp_time_utctorfc822datetime(xp_seconds utc, char *buf, long size) {
  if (buf && size < 30) return 0;
  xp_dtr r = local_dtr(utc);  // pure calendar: the fields of UTC
  return static_cast<long>(xp_fmt_format(
      buf, fmt_size(size), "%s, %02d %s %04d %02d:%02d:%02d GMT", xpt::xt_strs_days[r.weekday],
      r.day, xpt::xt_strs_mons[r.month - 1], r.year, r.hour, r.minute, r.second));
}

long xp_time_dtrtorfc822datetime(const xp_dtr *dtr, char *buf, long size) {
  if (!dtr || (buf && size < 32)) return 0;
  if (dtr->weekday > 6 || dtr->month < 1 || dtr->month > 12) {
    if (buf) buf[0] = 0;
    return 0;
  }
  xpt::Offset off = xpt::offset_of(dtr);
  return static_cast<long>(
      xp_fmt_format(buf, fmt_size(size), "%s, %02d %s %04d %02d:%02d:%02d %s%02ld%02ld",
                    xpt::xt_strs_days[dtr->weekday], dtr->day, xpt::xt_strs_mons[dtr->month - 1],
                    xpt::printed_year(dtr->year), dtr->hour, dtr->minute, dtr->second, off.sign,
                    off.hours, off.minutes));
}

long xp_time_localtorfc822datetime(xp_seconds local, char *buf, long size) {
  xp_dtr r = local_dtr(local);
  return xp_time_dtrtorfc822datetime(&r, buf, size);
}

}  // extern "C"
