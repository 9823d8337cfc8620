// The on-demand formatter object: one platform date or number formatter of
// a kind, made for the current locale at creation, with the C library's
// strftime (dates) and the library's own number formatting as fallbacks.
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <string.h>
#include <strings.h>
#include <time.h>

#include "xp/fmt/xp_fmt.h"
#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"

namespace {

struct KindInfo {
  bool number;
  int style;            // number style, or date style
  int time_style;       // date kinds only
  const char *pattern;  // custom pattern behind a two-digit day, or null
  const char *fallback;
};

// Indexed by kind; entry 0 is unused.
const KindInfo kKinds[12] = {
    {false, 0, 0, nullptr, nullptr},
    {false, xpi::DS_NONE, xpi::DS_NONE, "ddMMMM", "%B"},
    {false, xpi::DS_NONE, xpi::DS_NONE, "ddMMM", "%b"},
    {false, xpi::DS_NONE, xpi::DS_NONE, "dda", "%p"},
    {false, xpi::DS_SHORT, xpi::DS_NONE, nullptr, "%x"},
    {false, xpi::DS_FULL, xpi::DS_NONE, nullptr, "%x"},
    {false, xpi::DS_NONE, xpi::DS_SHORT, nullptr, "%X"},
    {false, xpi::DS_NONE, xpi::DS_MEDIUM, nullptr, "%X"},
    {false, xpi::DS_NONE, xpi::DS_NONE, "ddEEEE", "%A"},
    {false, xpi::DS_NONE, xpi::DS_NONE, "ddE", "%a"},
    {true, xpi::NS_DECIMAL, 0, nullptr, nullptr},
    {true, xpi::NS_CURRENCY, 0, nullptr, nullptr},
};

bool valid_kind(uintptr_t kind) {
  return kind >= 1 && kind <= 11;
}

bool is_number(const xpi_formatter *f) {
  return valid_kind(f->kind) && kKinds[f->kind].number;
}

// A text of ASCII letters as UTF-16.
int32_t widen(const char *text, xpi::uchar *out, int32_t room) {
  int32_t n = 0;
  while (text[n] && n < room) {
    out[n] = (xpi::uchar)(unsigned char)text[n];
    n++;
  }
  return n;
}

void *open_platform(uintptr_t kind) {
  char locale[96];
  const KindInfo &k = kKinds[kind];
  if (k.number)
    xpi::current_locale(locale, sizeof locale);
  else
    xpi::date_locale(locale, sizeof locale);
  const char *loc = locale[0] ? locale : nullptr;
  xpi::ustatus st = 0;
  void *p;
  if (k.number) {
    p = xpi_unum_open(k.style, nullptr, 0, loc, nullptr, &st);
  } else if (k.pattern) {
    xpi::uchar pattern[16];
    int32_t n = widen(k.pattern, pattern, 16);
    p = xpi_udat_open(xpi::DS_PATTERN, xpi::DS_PATTERN, loc, xpi::kZone, 3, pattern, n, &st);
  } else {
    p = xpi_udat_open(k.time_style, k.style, loc, xpi::kZone, 3, nullptr, 0, &st);
  }
  if (p && xpi::failed(st)) {
    if (k.number)
      xpi_unum_close(p);
    else
      xpi_udat_close(p);
    p = nullptr;
  }
  return p;
}

// Passes over n UTF-8 characters of a terminated text.
const char *skip_chars(const char *s, int n) {
  while (n-- > 0 && *s) {
    s++;
    while ((*s & 0xC0) == 0x80)
      s++;
  }
  return s;
}

intptr_t strftime_of(const char *conversion, const xp_dtr *dtr, char *buf, size_t size) {
  struct tm tm;
  memset(&tm, 0, sizeof tm);
  // Short years count from 1900; 0 to 69 mean 2000 to 2069, and so do
  // (as they always have) 1900 to 1969.
  tm.tm_year = dtr->year < 1970 ? dtr->year + 100 : dtr->year - 1900;
  tm.tm_mon = dtr->month - 1;
  tm.tm_mday = dtr->day;
  tm.tm_hour = dtr->hour;
  tm.tm_min = dtr->minute;
  tm.tm_sec = dtr->second;
  tm.tm_wday = dtr->weekday;
  tm.tm_isdst = -1;
  char scratch[256];
  size_t n = xpi::strftime_utf8(scratch, sizeof scratch, conversion, &tm);
  if (!buf) return (intptr_t)n;
  // As strftime itself: a text that does not fit gives nothing.
  if (!size) return 0;
  if (n >= size) n = 0;
  memcpy(buf, scratch, n);
  buf[n] = 0;
  return (intptr_t)n;
}

bool ascii(const char *s, size_t n) {
  for (size_t i = 0; i < n; i++)
    if ((unsigned char)s[i] >= 0x80) return false;
  return true;
}

// The text of a codeset other than UTF-8, converted; false when it cannot
// be.
bool to_utf8(const char *codeset, const char *in, size_t n, char *out, size_t size) {
  iconv_t cd = iconv_open("UTF-8", codeset);
  if (cd == (iconv_t)-1) return false;
  char *src = const_cast<char *>(in), *dst = out;
  size_t left = n, room = size - 1;
  bool ok = iconv(cd, &src, &left, &dst, &room) != (size_t)-1 && left == 0;
  iconv_close(cd);
  if (ok) *dst = 0;
  return ok;
}

}  // namespace

xpi_formatter *xpi_formatter_new(void *, uintptr_t kind) {
  auto *f = reinterpret_cast<xpi_formatter *>(xp_new(XP_TYPE_FMTR, sizeof(xpi_formatter)));
  if (!f) return nullptr;
  if (valid_kind(kind) && xpi_load_framework(nullptr)) f->platform = open_platform(kind);
  f->obj.release = xpi_formatter_release;
  f->kind = kind;
  f->fallback = valid_kind(kind) ? kKinds[kind].fallback : nullptr;
  return f;
}

void xpi_formatter_release(void *formatter) {
  auto *f = static_cast<xpi_formatter *>(formatter);
  if (!f || !xp_prerelease(f)) return;
  if (f->platform) {
    if (is_number(f))
      xpi_unum_close(f->platform);
    else
      xpi_udat_close(f->platform);
  }
  xp_free(f);
}

intptr_t xpi_formatter_date(xpi_formatter *f, const xp_dtr *dtr, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  if (!f || !dtr) return 0;
  if (f->platform && !is_number(f)) {
    int year = dtr->year < 1900 ? dtr->year + 1900 : dtr->year;
    xpi::udate when;
    char work[64];
    if (xpi::instant_of(year, dtr->month, dtr->day, dtr->hour, dtr->minute, dtr->second, &when) &&
        xpi::format_date(f->platform, when, work, sizeof work)) {
      const char *text = kKinds[f->kind].pattern ? skip_chars(work, 2) : work;
      return xp_fmt_string(buf, size, text);
    }
  }
  if (!f->fallback) return 0;
  return strftime_of(f->fallback, dtr, buf, size);
}

intptr_t xpi_formatter_number(xpi_formatter *f, int64_t value, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  if (!f) return 0;
  if (f->platform && is_number(f)) {
    xpi::uchar text[256];
    xpi::ustatus st = 0;
    int32_t n;
    if (value == XPI_PATTERN_REQUEST)
      n = xpi_unum_toPattern(f->platform, 0, text, 256, &st);
    else
      n = xpi_unum_formatInt64(f->platform, value, text, 256, nullptr, &st);
    if (!xpi::failed(st) && n >= 0 && n <= 256) {
      char work[256];
      xpi::utf8_from_utf16(work, sizeof work, text, n);
      return xp_fmt_string(buf, size, work);
    }
  }
  if (value != XPI_PATTERN_REQUEST)
    return (intptr_t)xp_fmt_format(buf, size, "%'lld{:$}", (long long)value);
  if (!f->fallback) return 0;
  return xp_fmt_string(buf, size, f->fallback);
}

intptr_t xpi_formatter_getprop(xpi_formatter *f, int selector, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  if (!f || !f->platform || !is_number(f)) return 0;
  int symbol;
  switch (selector) {
    case '+':
      symbol = xpi::SYM_PLUS;
      break;
    case '-':
      symbol = xpi::SYM_MINUS;
      break;
    case '.':
      symbol = xpi::SYM_MONETARY_DECIMAL;
      break;
    case ',':
      symbol = xpi::SYM_MONETARY_GROUPING;
      break;
    default:
      return 0;
  }
  xpi::uchar text[64];
  xpi::ustatus st = 0;
  int32_t n = xpi_unum_getSymbol(f->platform, symbol, text, 64, &st);
  if (xpi::failed(st) || n < 0 || n > 64) return 0;
  if (!buf) return n;
  return (intptr_t)xpi::utf8_from_utf16(buf, size, text, n);
}

namespace xpi {

size_t strftime_utf8(char *out, size_t size, const char *conversion, const struct tm *tm) {
  if (!out || !size) return 0;
  char text[256];
  size_t n = strftime(text, sizeof text, conversion, tm);
  const char *codeset = nl_langinfo(CODESET);
  bool utf8 = codeset && (!strcasecmp(codeset, "UTF-8") || !strcasecmp(codeset, "utf8"));
  if (!n)
    out[0] = 0;
  else if (utf8 || ascii(text, n))
    xp_fmt_string(out, size, text);
  else if (!to_utf8(codeset, text, n, out, size)) {
    // Not to be had in UTF-8: the C locale's English text instead.
    static locale_t c_locale = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    n = c_locale ? strftime_l(text, sizeof text, conversion, tm, c_locale) : 0;
    text[n] = 0;
    xp_fmt_string(out, size, text);
  }
  return strlen(out);
}

intptr_t formatter_symbol(xpi_formatter *f, int symbol, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  if (!f || !f->platform || !is_number(f) || !buf) return 0;
  uchar text[64];
  ustatus st = 0;
  int32_t n = xpi_unum_getSymbol(f->platform, symbol, text, 64, &st);
  if (failed(st) || n < 0 || n > 64) return 0;
  return (intptr_t)utf8_from_utf16(buf, size, text, n);
}

}  // namespace xpi
