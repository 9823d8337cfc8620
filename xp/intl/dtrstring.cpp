// The platform path of the locale time texts: one date formatted for the
// current locale with the style or pattern of a text kind.
#include <string.h>

#include <atomic>

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

// Formatters are kept, one per kind, for the locale they were made for.
// A caller takes one out of its slot and puts it back, so no two threads
// ever use one at once.
struct Formatter {
  void *fmt;
  char locale[96];
};
std::atomic<Formatter *> g_formatters[8];

void discard(Formatter *f) {
  if (!f) return;
  xpi_udat_close(f->fmt);
  xp_free(f);
}

Formatter *take(int index, const char *locale) {
  Formatter *f = g_formatters[index].exchange(nullptr, std::memory_order_acquire);
  if (f && strcmp(f->locale, locale) == 0) return f;
  discard(f);
  return nullptr;
}

void put_back(int index, Formatter *f) {
  discard(g_formatters[index].exchange(f, std::memory_order_acq_rel));
}

}  // namespace

namespace xpi {

long dtrstring_system(const xp_dtr *dtr, int kind, char *buf, long size) {
  if (buf && size > 0) buf[0] = 0;
  if (!xpi_load_framework(nullptr)) return -1;
  if (!dtr) return 0;
  int index = kind >= 1 && kind <= 7 ? kind : 0;
  const TextKind &k = kTextKinds[index];
  char locale[96];
  date_locale(locale, sizeof locale);
  Formatter *f = take(index, locale);
  if (!f) {
    ustatus st = 0;
    uchar pattern[8];
    int32_t n = 0;
    for (; k.pattern && k.pattern[n]; n++)
      pattern[n] = (uchar)k.pattern[n];
    void *fmt = xpi_udat_open(k.pattern ? DS_PATTERN : k.time_style,
                              k.pattern ? DS_PATTERN : k.date_style, locale[0] ? locale : nullptr,
                              kZone, 3, k.pattern ? pattern : nullptr, n, &st);
    if (!fmt || failed(st) || !(f = static_cast<Formatter *>(xp_alloc(sizeof(Formatter))))) {
      xpi_udat_close(fmt);
      return 0;
    }
    f->fmt = fmt;
    memcpy(f->locale, locale, sizeof locale);
  }
  int year = dtr->year < 1900 ? dtr->year + 1900 : dtr->year;
  udate when;
  char text[256];
  bool ok = instant_of(year, dtr->month, dtr->day, dtr->hour, dtr->minute, dtr->second, &when) &&
            format_date(f->fmt, when, text, sizeof text);
  put_back(index, f);
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
