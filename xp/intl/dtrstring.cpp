// The platform path of the locale time texts: one date formatted for the
// current locale with the style or pattern of a text kind.
#include <string.h>

#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"

namespace {

struct TextKind {
  int date_style;
  int time_style;
  const char *pattern;  // set after creation; its two-digit day is skipped
};

const TextKind kTextKinds[8] = {
    {xpi::DS_SHORT, xpi::DS_MEDIUM, nullptr},  // any other kind
    {xpi::DS_NONE, xpi::DS_NONE, "ddMMM"},    {xpi::DS_NONE, xpi::DS_NONE, "dda"},
    {xpi::DS_SHORT, xpi::DS_NONE, nullptr},   {xpi::DS_FULL, xpi::DS_NONE, nullptr},
    {xpi::DS_NONE, xpi::DS_SHORT, nullptr},   {xpi::DS_NONE, xpi::DS_MEDIUM, nullptr},
    {xpi::DS_NONE, xpi::DS_NONE, "ddE"},
};

}  // namespace

namespace xpi {

long dtrstring_system(const xp_dtr *dtr, int kind, char *buf, long size) {
  if (buf && size > 0) buf[0] = 0;
  if (!xpi_load_framework(nullptr)) return -1;
  if (!dtr) return 0;
  const TextKind &k = kTextKinds[kind >= 1 && kind <= 7 ? kind : 0];
  char locale[64];
  current_locale(locale, sizeof locale);
  ustatus st = 0;
  void *fmt;
  if (k.pattern) {
    uchar pattern[8];
    int32_t n = 0;
    for (; k.pattern[n]; n++)
      pattern[n] = (uchar)k.pattern[n];
    fmt = xpi_udat_open(DS_PATTERN, DS_PATTERN, locale[0] ? locale : nullptr, nullptr, -1, pattern,
                        n, &st);
  } else {
    fmt = xpi_udat_open(k.time_style, k.date_style, locale[0] ? locale : nullptr, nullptr, -1,
                        nullptr, 0, &st);
  }
  if (!fmt || failed(st)) {
    xpi_udat_close(fmt);
    return 0;
  }
  int year = dtr->year < 1900 ? dtr->year + 1900 : dtr->year;
  udate when;
  char text[64];
  bool ok = instant_of(year, dtr->month, dtr->day, dtr->hour, dtr->minute, dtr->second, &when) &&
            format_date(fmt, when, text, sizeof text);
  xpi_udat_close(fmt);
  if (!ok) return 0;
  const char *p = text;
  // The day in front of a pattern's part: two characters.
  for (int skip = k.pattern ? 2 : 0; skip > 0 && *p; skip--) {
    p++;
    while ((*p & 0xC0) == 0x80)
      p++;
  }
  long n = (long)strlen(p);
  if (!buf) return n;
  if (size <= 0) return 0;
  if (n > size - 1) {
    n = size - 1;
    // Never end on part of a character.
    while (n > 0 && (p[n] & 0xC0) == 0x80)
      n--;
  }
  memcpy(buf, p, (size_t)n);
  buf[n] = 0;
  return n;
}

}  // namespace xpi
