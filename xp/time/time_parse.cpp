// Reading the machine time forms: general time (YYYYMMDDhhmmss with a zone
// designator) and combined ISO 8601, which is rebuilt as general time.
#include <string.h>

#include "xp/time/xp_time_internal.h"

namespace {

enum { kCentury, kYear, kMonth, kDay, kHour, kMinute, kSecond };

// Largest value of each field (month and day 0-based), then of the offset's
// hours and minutes.
constexpr int32_t xt_ceiling[9] = {99, 99, 11, 31, 23, 59, 59, 13, 59};

bool blank(char c) {
  return c == ' ' || c == '\t';
}

bool digit(char c) {
  return static_cast<unsigned char>(c) - 48u <= 9;
}

bool ends_fields(char c) {
  return c == 0 || c == '+' || c == '-' || c == 'L' || c == 'Z';
}

// Two decimal digits at p, or -1 when either is not a digit.
int32_t two_digits(const char *p) {
  unsigned hi = static_cast<unsigned char>(p[0]) - 48u;
  if (hi > 9) return -1;
  unsigned lo = static_cast<unsigned char>(p[1]) - 48u;
  if (lo > 9) return -1;
  return static_cast<int32_t>(hi * 10 + lo);
}

// Weekday of a record, when its year is in range.
void fill_weekday(xp_dtr *r) {
  xp_seconds v = xp_time_dtrtolocal(r);
  if (v == XP_TIME_OUT_OF_RANGE) return;
  long long days =
      (static_cast<long long>(v) - static_cast<long long>(XP_TIME_POSIX_DELTA)) / 86400;
  if (static_cast<long long>(v) < static_cast<long long>(XP_TIME_POSIX_DELTA) &&
      (static_cast<long long>(v) - static_cast<long long>(XP_TIME_POSIX_DELTA)) % 86400)
    --days;
  r->weekday = static_cast<uint16_t>(((days + 4) % 7 + 7) % 7);
}

// Moves every field back into its range after an offset was applied, from
// the seconds up: a field above its largest value carries into the one
// above, a negative one borrows from it. A day's range is that of the month
// it stands in before the month itself moves.
void normalise(int32_t f[7]) {
  for (int i = kSecond; i > kCentury; --i) {
    int32_t limit = i == kDay     ? xpt::xt_mdays[f[kMonth]] - 1
                    : i == kMonth ? 11
                    : i == kYear  ? 99
                    : i == kHour  ? 23
                                  : 59;
    if (f[i] > limit) {
      f[i] -= limit + 1;
      ++f[i - 1];
    } else if (f[i] < 0) {
      f[i] += limit + 1;
      --f[i - 1];
    }
  }
}

// A general-time text taken apart: the fields (month and day 0-based) with
// any offset already taken off, and whether the text named UTC.
struct General {
  int32_t f[7];
  bool utc;
};

// Reads a general-time text; false when it is malformed. Digits are tested
// by one unsigned comparison each, two at a time.
bool read_general(const char *text, General *g) {
  if (!text || !*text) return false;
  const char *p = text;
  while (blank(*p))
    ++p;
  int32_t *f = g->f;
  for (int i = 0; i < 7; ++i)
    f[i] = 0;
  for (int i = kCentury; i <= kSecond; ++i) {
    if (ends_fields(*p)) break;
    int32_t v = two_digits(p);
    if (v < 0) return false;
    if (i == kMonth || i == kDay) --v;
    if (v < 0 || v > xt_ceiling[i]) return false;
    f[i] = v;
    p += 2;
    if (f[kDay] >= xpt::xt_mdays[f[kMonth]]) return false;
    if (f[kMonth] == 1 && f[kDay] > 27 && f[kYear] % 4 != 0) return false;
  }

  // Zone designator.
  int sign = 0;
  int32_t off_hours = 0, off_minutes = 0;
  if (*p == 'Z') {
    g->utc = true;
    ++p;
  } else if (*p == 0 || *p == 'L') {
    g->utc = false;
    if (*p) ++p;
  } else if (*p == '+' || *p == '-') {
    sign = *p == '+' ? 1 : -1;
    off_hours = two_digits(p + 1);
    if (off_hours < 0) return false;
    off_minutes = two_digits(p + 3);
    if (off_minutes < 0) return false;
    if (off_hours > xt_ceiling[7] || off_minutes > xt_ceiling[8]) return false;
    g->utc = true;
    p += 5;
  } else {
    return false;
  }
  while (blank(*p))
    ++p;
  if (*p) return false;

  // A +hhmm text is ahead of UTC by the offset: take it off.
  if (sign && (off_hours || off_minutes)) {
    f[kHour] -= sign * off_hours;
    f[kMinute] -= sign * off_minutes;
    normalise(f);
  }
  return true;
}

// The record of a parsed text, without its weekday.
void record_of(const General &g, xp_dtr *r) {
  const int32_t *f = g.f;
  r->year = static_cast<uint16_t>(f[kCentury] * 100 + f[kYear]);
  r->month = static_cast<uint16_t>(f[kMonth] + 1);
  r->day = static_cast<uint16_t>(f[kDay] + 1);
  r->hour = static_cast<uint16_t>(f[kHour]);
  r->minute = static_cast<uint16_t>(f[kMinute]);
  r->second = static_cast<uint16_t>(f[kSecond]);
  r->weekday = 0;
}

// The value of a general-time text as utc (want_local false) or local
// time; 0 when it is malformed. A text already in the wanted reckoning
// needs no weekday and no shift: its record's value is the answer.
xp_seconds general_value(const char *text, bool want_local) {
  General g;
  if (!read_general(text, &g)) return 0;
  if (g.utc == !want_local) {
    xp_dtr r;
    record_of(g, &r);
    return xp_time_dtrtolocal(&r);
  }
  xp_dtr r;
  if (!xpt::xt_gentimetodtr(text, &r, want_local)) return 0;
  return xp_time_dtrtolocal(&r);
}

xp_seconds iso8601(const char *text, bool local) {
  if (!text) return 0;
  size_t len = strnlen(text, 64);
  if (len < 20) return 0;
  if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':')
    return 0;
  char c = text[19];
  if (c != '+' && c != '-' && c != '.' && c != 'Z') return 0;
  char g[24];
  size_t n = 0;
  static const unsigned char kDigits[14] = {0, 1, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18};
  for (unsigned char at : kDigits) {
    if (!digit(text[at])) return 0;
    g[n++] = text[at];
  }
  size_t at = 19;
  if (c == '.') {
    // Exactly three fraction digits, not read.
    if (len < 24) return 0;
    len -= 4;
    at = 23;
    c = text[at];
    if (c != '+' && c != '-' && c != 'Z') return 0;
  }
  g[n++] = c;
  if (c != 'Z') {
    if (len < 24) return 0;
    g[n++] = text[at + 1];
    g[n++] = text[at + 2];
    size_t m = at + 3;
    if (text[m] == ':') {
      if (len < 25) return 0;
      ++m;
    }
    g[n++] = text[m];
    g[n++] = text[m + 1];
  }
  g[n] = 0;
  return general_value(g, local);
}

}  // namespace

namespace xpt {

int xt_gentimetodtr(const char *text, xp_dtr *out, int want_local) {
  General g;
  if (!out || !read_general(text, &g)) return 0;
  xp_dtr r;
  record_of(g, &r);
  fill_weekday(&r);
  if (g.utc == !want_local) {
    *out = r;
    return 1;
  }
  xp_seconds v = xp_time_dtrtolocal(&r);
  if (v != XP_TIME_OUT_OF_RANGE) {
    xp_seconds shifted =
        g.utc ? xp_time_utctolocal(v) : v - static_cast<xp_seconds>(xp_time_dtrgmto(&r));
    if (shifted != v) xp_time_localtodtr(shifted, &r);
  }
  *out = r;
  return 1;
}

}  // namespace xpt

extern "C" {

int xp_time_generaltimetodtr(const char *text, xp_dtr *dtr) {
  return xpt::xt_gentimetodtr(text, dtr, 1);
}

xp_seconds xp_time_generaltimetoutc(const char *text) {
  return general_value(text, false);
}

xp_seconds xp_time_generaltimetolocal(const char *text) {
  return general_value(text, true);
}

xp_seconds xp_time_iso8601combinedtoutc(const char *text) {
  return iso8601(text, false);
}

xp_seconds xp_time_iso8601combinedtolocal(const char *text) {
  return iso8601(text, true);
}

}  // extern "C"
