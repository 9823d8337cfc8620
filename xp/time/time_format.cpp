// The time directive engine: a record written by a strftime-like format
// whose fields start with an escape character (xpf_time), and its entry
// points for time values.
#include <string.h>

#include "xp/intl/xp_intl.h"
#include "xp/time/xp_time_internal.h"

namespace {

// Output under the writers' contract: with a buffer, at most cap bytes are
// placed and the rest is dropped; without one, everything is counted.
struct Sink {
  char *out;
  size_t cap;
  size_t n = 0;

  bool cut = false;  // a text was cut short: nothing more is written

  bool full() const { return out && (cut || n >= cap); }

  // A text that does not fit is cut at a whole character.
  void put(const char *text, size_t len) {
    if (out) {
      if (cut) return;
      size_t left = cap - n;
      if (len > left) {
        len = left;
        while (len > 0 && (static_cast<unsigned char>(text[len]) & 0xC0) == 0x80)
          --len;
        cut = true;
      }
      memcpy(out + n, text, len);
    }
    n += len;
  }

  void ch(char c) {
    if (out) {
      if (full()) return;
      out[n] = c;
    }
    ++n;
  }

  // A decimal number with at least `width` places, padded on the left with
  // `pad` (negative numbers keep their minus sign in front of the digits).
  void num(long value, int width, char pad = '0') {
    char digits[24];
    char *end = digits + sizeof digits;
    char *p = end;
    unsigned long mag =
        value < 0 ? 0UL - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
    do {
      *--p = static_cast<char>('0' + mag % 10);
      mag /= 10;
    } while (mag);
    if (value < 0) *--p = '-';
    while (end - p < width)
      *--p = pad;
    put(p, static_cast<size_t>(end - p));
  }

  // Four digits with leading zeros (a larger number in full).
  void four(unsigned value) {
    if (value > 9999 || !out || cut || cap - n < 4) return num(value, 4);
    out[n] = static_cast<char>('0' + value / 1000);
    out[n + 1] = static_cast<char>('0' + value / 100 % 10);
    out[n + 2] = static_cast<char>('0' + value / 10 % 10);
    out[n + 3] = static_cast<char>('0' + value % 10);
    n += 4;
  }

  // Two digits with a leading zero: the common case, without the general
  // path.
  void two(unsigned value) {
    if (value > 99) return num(value, 2);
    char d[2] = {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)};
    if (out && !cut && cap - n >= 2) {
      out[n] = d[0];
      out[n + 1] = d[1];
      n += 2;
      return;
    }
    put(d, 2);
  }
};

// Names, markers and separators of the user's locale.
enum class Name { abbrevday, day, abbrevmonth, month, am, pm, datesep, timesep };

void put_name(Sink &s, Name which, int index) {
  char text[64];
  intptr_t len = 0;
  switch (which) {
    case Name::abbrevday:
      len = xp_intl_abbrevday(nullptr, index, text, sizeof text);
      break;
    case Name::day:
      len = xp_intl_day(nullptr, index, text, sizeof text);
      break;
    case Name::abbrevmonth:
      len = xp_intl_abbrevmonth(nullptr, index, text, sizeof text);
      break;
    case Name::month:
      len = xp_intl_month(nullptr, index, text, sizeof text);
      break;
    case Name::am:
      len = xp_intl_am(nullptr, text, sizeof text);
      break;
    case Name::pm:
      len = xp_intl_pm(nullptr, text, sizeof text);
      break;
    case Name::datesep:
      len = xp_intl_datesep(nullptr, text, sizeof text);
      break;
    case Name::timesep:
      len = xp_intl_timesep(nullptr, text, sizeof text);
      break;
  }
  if (len > 0) s.put(text, static_cast<size_t>(len));
}

int hour12(unsigned hour) {
  unsigned h = hour % 12;
  return h ? static_cast<int>(h) : 12;
}

// ISO 8601 week-based year and week number: week 1 is the week (Monday
// first) that holds the year's first Thursday.
void iso_week(const xp_dtr *dtr, long *year, long *week) {
  long y = dtr->year;
  long d = xp_time_dtrdoy(dtr);
  long w = dtr->weekday % 7;
  for (;;) {
    long len = 365 + (y % 4 == 0 ? 1 : 0);
    long bot = (d + 11 - w) % 7 - 3;  // day of the year on which week 1 begins
    long top = bot - len % 7;         // ... and week 1 of the next year
    if (top < -3) top += 7;
    top += len;
    if (d >= top) {
      *year = y + 1;
      *week = 1;
      return;
    }
    if (d >= bot) {
      *year = y;
      *week = (d - bot) / 7 + 1;
      return;
    }
    --y;
    d += 365 + (y % 4 == 0 ? 1 : 0);
  }
}

void run(Sink &s, const char *f, const char *end, const xp_dtr *dtr, char esc);

void sub(Sink &s, const char *format, const xp_dtr *dtr) {
  run(s, format, nullptr, dtr, '%');
}

// One field; c is the character after the escape (and modifier).
void field(Sink &s, char c, const xp_dtr *dtr) {
  switch (c) {
    case 'a':
      return put_name(s, Name::abbrevday, dtr->weekday);
    case 'A':
      return put_name(s, Name::day, dtr->weekday);
    case 'b':
    case 'h':
      return put_name(s, Name::abbrevmonth, dtr->month);
    case 'B':
      return put_name(s, Name::month, dtr->month);
    case 'c':
      return sub(s, "%a %b %e %H:%M:%S %Y", dtr);
    case 'C':
      return s.num(dtr->year / 100, 2);
    case 'd':
      return s.two(dtr->day);
    case 'D':
      return sub(s, "%m/%d/%y", dtr);
    case 'e':
      return s.num(dtr->day, 2, ' ');
    case 'F':
      return sub(s, "%Y-%m-%d", dtr);
    case 'G':
    case 'g':
    case 'V': {
      long year, week;
      iso_week(dtr, &year, &week);
      if (c == 'G') return s.num(year, 4);
      if (c == 'g') return s.num((year % 100 + 100) % 100, 2);
      return s.num(week, 2);
    }
    case 'H':
      return s.two(dtr->hour);
    case 'I':
      return s.num(hour12(dtr->hour), 2);
    case 'j':
      return s.num(xp_time_dtrdoy(dtr) + 1, 3);
    case 'k':
      return s.num(dtr->hour, 2, ' ');
    case 'l':
      return s.num(hour12(dtr->hour), 2, ' ');
    case 'm':
      return s.two(dtr->month);
    case 'M':
      return s.two(dtr->minute);
    case 'n':
      return s.ch('\n');
    case 't':
      return s.ch('\t');
    case 'p':
      return put_name(s, dtr->hour > 11 ? Name::pm : Name::am, 0);
    case 'r':
      return sub(s, "%I:%M:%S %p", dtr);
    case 'R':
      return sub(s, "%H:%M", dtr);
    case 's': {
      char digits[24];
      char *end = digits + sizeof digits, *p = end;
      xp_seconds v = xp_time_dtrtolocal(dtr);
      do {
        *--p = static_cast<char>('0' + v % 10);
        v /= 10;
      } while (v);
      return s.put(p, static_cast<size_t>(end - p));
    }
    case 'S':
      return s.two(dtr->second);
    case 'T':
      return sub(s, "%H:%M:%S", dtr);
    case 'u':
      return s.num(dtr->weekday == 0 ? 7 : dtr->weekday, 1);
    case 'U':
      return s.num((xp_time_dtrdoy(dtr) + 7 - dtr->weekday % 7) / 7, 2);
    case 'v':
      return sub(s, "%e-%b-%Y", dtr);
    case 'w':
      return s.num(dtr->weekday, 1);
    case 'W':
      return s.num((xp_time_dtrdoy(dtr) + 7 - (dtr->weekday + 6) % 7) / 7, 2);
    case 'x':
    case 'X': {
      char text[128];
      long len = c == 'x' ? xp_time_dtrtodate(dtr, text, sizeof text, 1)
                          : xp_time_dtrtotime(dtr, text, sizeof text, 1);
      return s.put(text, static_cast<size_t>(len));
    }
    case 'y':
      return s.two(dtr->year % 100);
    case 'Y':
      return s.four(dtr->year);
    case 'z': {
      long off = xp_time_dtrgmto(dtr);
      long mag = off < 0 ? -off : off;
      s.ch(off < 0 ? '-' : '+');
      s.two(static_cast<unsigned>(mag / 3600));
      return s.two(static_cast<unsigned>(mag % 3600 / 60));
    }
    case 'Z':
      return s.ch('?');
    case '+':
      return sub(s, "%a, %d %b %Y %H:%M:%S %z", dtr);
    case '/':
      return put_name(s, Name::datesep, 0);
    case ':':
      return put_name(s, Name::timesep, 0);
    default:
      return s.ch(c);
  }
}

// Walks a format; end is null when it runs to its zero byte.
void run(Sink &s, const char *f, const char *end, const xp_dtr *dtr, char esc) {
  auto at_end = [end](const char *p) { return (end && p >= end) || *p == 0; };
  const char *p = f;
  while (!at_end(p) && !s.full()) {
    if (*p != esc) {
      const char *q = p + 1;
      while (!at_end(q) && *q != esc)
        ++q;
      if (q - p == 1)
        s.ch(*p);
      else
        s.put(p, static_cast<size_t>(q - p));
      p = q;
      continue;
    }
    ++p;
    if (at_end(p)) return;
    if (*p == 'O' || *p == 'E') {
      ++p;
      if (at_end(p)) return;
    }
    field(s, *p++, dtr);
  }
}

}  // namespace

extern "C" {

long xpf_time(char *buf, long size, const char *format, long length, const xp_dtr *dtr,
              int escape) {
  if (buf && size <= 0) return 0;
  if (buf) buf[0] = 0;
  if (!format || !dtr || length == 0 || !*format) return 0;
  Sink s{buf, buf ? static_cast<size_t>(size) - 1 : 0};
  run(s, format, length < 0 ? nullptr : format + length, dtr,
      escape ? static_cast<char>(escape) : '%');
  if (buf) buf[s.n] = 0;
  return static_cast<long>(s.n);
}

long xp_fmt_utctime(char *buf, long size, const char *format, xp_seconds utc) {
  xp_dtr r;
  xp_time_utctodtr(utc, &r);
  return xpf_time(buf, size, format ? format : "%x %X", -1, &r, '%');
}

long xp_fmt_localtime(char *buf, long size, const char *format, xp_seconds local) {
  xp_dtr r;
  xp_time_localtodtr(local, &r);
  return xpf_time(buf, size, format ? format : "%x %X", -1, &r, '%');
}

}  // extern "C"
