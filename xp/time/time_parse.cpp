// Reading the machine time forms: general time (YYYYMMDDhhmmss with a zone
// designator) and combined ISO 8601, both taken apart into the same fields
// in one pass, digits two at a time.
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

inline bool ends_fields(char c) {
  switch (c) {
    case 0:
    case '+':
    case '-':
    case 'L':
    case 'Z':
      return true;
    default:
      return false;
  }
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
  int32_t f[7] = {0, 0, 0, 0, 0, 0, 0};
  bool utc = false;
};

// Takes field i with value v (-1: not two digits); false when it is out of
// range.
inline bool put_field(int32_t *f, int i, int32_t v) {
  if (i == kMonth || i == kDay) --v;
  if (v < 0 || v > xt_ceiling[i]) return false;
  f[i] = v;
  return true;
}

// Whether the day exists in its month (every fourth two-digit year is a
// leap year). Fields not read are 0, which always passes.
inline bool date_ok(const int32_t *f) {
  if (f[kDay] >= xpt::xt_mdays[f[kMonth]]) return false;
  return !(f[kMonth] == 1 && f[kDay] > 27 && f[kYear] % 4 != 0);
}

// Takes an offset of hours and minutes (-1: not two digits) ahead of UTC
// by its sign off the fields.
bool put_offset(General *g, int sign, int32_t hours, int32_t minutes) {
  if (hours < 0 || minutes < 0 || hours > xt_ceiling[7] || minutes > xt_ceiling[8]) return false;
  g->utc = true;
  if (hours || minutes) {
    g->f[kHour] -= sign * hours;
    g->f[kMinute] -= sign * minutes;
    normalise(g->f);
  }
  return true;
}

// Reads a general-time text; false when it is malformed.
bool read_general(const char *text, General *g) {
  if (!text || !*text) return false;
  const char *p = text;
  while (blank(*p))
    ++p;
  for (int i = kCentury; i <= kSecond; ++i) {
    if (ends_fields(*p)) break;
    if (!put_field(g->f, i, two_digits(p))) return false;
    p += 2;
  }
  if (!date_ok(g->f)) return false;
  // Zone designator.
  if (*p == 'Z') {
    g->utc = true;
    ++p;
  } else if (*p == 0 || *p == 'L') {
    if (*p) ++p;
  } else if (*p == '+' || *p == '-') {
    // The minutes are read only after whole hours: a short text ends there.
    int32_t hours = two_digits(p + 1);
    if (hours < 0 || !put_offset(g, *p == '+' ? 1 : -1, hours, two_digits(p + 3))) return false;
    p += 5;
  } else {
    return false;
  }
  while (blank(*p))
    ++p;
  return *p == 0;
}

// Reads a combined ISO 8601 text (YYYY-MM-DDThh:mm:ss, three fraction
// digits that are not read, Z or an offset with or without a colon);
// characters after it are not looked at. False when it is malformed.
bool read_iso8601(const char *text, General *g) {
  if (!text) return false;
  size_t len = strnlen(text, 29);  // no test below looks further
  if (len < 20) return false;
  if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':')
    return false;
  static const unsigned char kAt[7] = {0, 2, 5, 8, 11, 14, 17};
  for (int i = kCentury; i <= kSecond; ++i)
    if (!put_field(g->f, i, two_digits(text + kAt[i]))) return false;
  if (!date_ok(g->f)) return false;
  size_t at = 19;
  char c = text[at];
  if (c == '.') {
    if (len < 24) return false;
    len -= 4;
    at = 23;
    c = text[at];
    if (c == '.') return false;
  }
  if (c == 'Z') {
    g->utc = true;
    return true;
  }
  if ((c != '+' && c != '-') || len < 24) return false;
  int32_t hours = two_digits(text + at + 1);
  size_t m = at + 3;
  if (text[m] == ':') {
    if (len < 25) return false;
    ++m;
  }
  return put_offset(g, c == '+' ? 1 : -1, hours, two_digits(text + m));
}

// The parsed fields as a record, as written (no weekday yet).
xp_dtr fields_of(const General &g) {
  const int32_t *f = g.f;
  xp_dtr r;
  r.year = static_cast<uint16_t>(f[kCentury] * 100 + f[kYear]);
  r.month = static_cast<uint16_t>(f[kMonth] + 1);
  r.day = static_cast<uint16_t>(f[kDay] + 1);
  r.hour = static_cast<uint16_t>(f[kHour]);
  r.minute = static_cast<uint16_t>(f[kMinute]);
  r.second = static_cast<uint16_t>(f[kSecond]);
  r.weekday = 0;
  return r;
}

// The record of a parsed text in the wanted reckoning, weekday included.
void record_of(const General &g, bool want_local, xp_dtr *out) {
  xp_dtr r = fields_of(g);
  fill_weekday(&r);
  if (g.utc != !want_local) {
    xp_seconds v = xp_time_dtrtolocal(&r);
    if (v != XP_TIME_OUT_OF_RANGE) {
      xp_seconds shifted =
          g.utc ? xp_time_utctolocal(v) : v - static_cast<xp_seconds>(xp_time_dtrgmto(&r));
      if (shifted != v) xp_time_localtodtr(shifted, &r);
    }
  }
  *out = r;
}

// The value of a parsed text as utc or local time. A text already in the
// wanted reckoning needs neither weekday nor shift: the value of its
// fields is the answer.
xp_seconds value_of(const General &g, bool want_local) {
  xp_dtr r;
  if (g.utc == !want_local) {
    r = fields_of(g);
  } else {
    record_of(g, want_local, &r);
  }
  return xp_time_dtrtolocal(&r);
}

}  // namespace

namespace xpt {

int xt_gentimetodtr(const char *text, xp_dtr *out, int want_local) {
  General g;
  if (!out || !read_general(text, &g)) return 0;
  record_of(g, want_local != 0, out);
  return 1;
}

}  // namespace xpt

extern "C" {

int xp_time_generaltimetodtr(const char *text, xp_dtr *dtr) {
  return xpt::xt_gentimetodtr(text, dtr, 1);
}

xp_seconds xp_time_generaltimetoutc(const char *text) {
  General g;
  return read_general(text, &g) ? value_of(g, false) : 0;
}

xp_seconds xp_time_generaltimetolocal(const char *text) {
  General g;
  return read_general(text, &g) ? value_of(g, true) : 0;
}

xp_seconds xp_time_iso8601combinedtoutc(const char *text) {
  General g;
  return read_iso8601(text, &g) ? value_of(g, false) : 0;
}

xp_seconds xp_time_iso8601combinedtolocal(const char *text) {
  General g;
  return read_iso8601(text, &g) ? value_of(g, true) : 0;
}

}  // extern "C"
