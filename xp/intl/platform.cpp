// Run-time access to the platform's locale services: the library is opened
// by name on first use (never linked), its functions are looked up with the
// library's version suffix, and each wrapper keeps its function in a
// process-wide slot. Also the small conversions that every user of the
// services needs: UTF-16 to UTF-8, wall-clock fields to an instant, and
// one date formatted into UTF-8.
#include "xp/intl/platform.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "xp/intl/xp_intl_internal.h"

namespace {

// The opened library, and the version suffix of its functions (0: plain
// names). The suffix is stored before the handle is published.
std::atomic<void *> g_library{nullptr};
std::atomic<int> g_version{0};

bool platform_disabled() {
  const char *s = getenv("XP_INTL_NO_PLATFORM");
  return s && *s && strcmp(s, "0") != 0;
}

void *open_library() {
  // The unversioned name exists where development files are installed;
  // otherwise the highest installed version wins.
  void *h = dlopen("libicui18n.so", RTLD_NOW | RTLD_LOCAL);
  char name[32];
  for (int v = 99; !h && v >= 50; v--) {
    snprintf(name, sizeof name, "libicui18n.so.%d", v);
    h = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  }
  return h;
}

// The version suffix under which the library exports its functions: -1
// when it exports none that this family knows.
int find_version(void *h) {
  if (dlsym(h, "udat_open")) return 0;
  char name[32];
  for (int v = 99; v >= 40; v--) {
    snprintf(name, sizeof name, "udat_open_%d", v);
    if (dlsym(h, name)) return v;
  }
  return -1;
}

template <typename Fn>
Fn resolve(std::atomic<void *> &slot, const char *name) {
  void *p = slot.load(std::memory_order_acquire);
  if (p) return reinterpret_cast<Fn>(p);
  if (!xpi_load_framework(nullptr)) return nullptr;
  // A missing function leaves the slot empty, so the next call looks again.
  p = xpi_get_func(name);
  slot.store(p, std::memory_order_release);
  return reinterpret_cast<Fn>(p);
}

}  // namespace

void *xpi_load_framework(const char *) {
  if (platform_disabled()) return nullptr;
  void *h = g_library.load(std::memory_order_acquire);
  if (h) return h;
  h = open_library();
  if (!h) return nullptr;
  int v = find_version(h);
  if (v < 0) {
    dlclose(h);
    return nullptr;
  }
  g_version.store(v, std::memory_order_relaxed);
  void *expected = nullptr;
  if (!g_library.compare_exchange_strong(expected, h, std::memory_order_acq_rel)) {
    // Another thread got there first with the same library.
    dlclose(h);
    return expected;
  }
  return h;
}

void *xpi_get_func(const char *name) {
  void *h = g_library.load(std::memory_order_acquire);
  if (!h || !name) return nullptr;
  int v = g_version.load(std::memory_order_relaxed);
  if (v == 0) return dlsym(h, name);
  char full[96];
  int n = snprintf(full, sizeof full, "%s_%d", name, v);
  if (n < 0 || (size_t)n >= sizeof full) return nullptr;
  return dlsym(h, full);
}

#define XPI_SLOT(name)                      \
  static std::atomic<void *> slot{nullptr}; \
  auto fn = resolve<name##_fn>(slot, #name)

namespace {
using udat_open_fn = void *(*)(int, int, const char *, const xpi::uchar *, int32_t,
                               const xpi::uchar *, int32_t, xpi::ustatus *);
using udat_format_fn = int32_t (*)(const void *, xpi::udate, xpi::uchar *, int32_t, void *,
                                   xpi::ustatus *);
using udat_close_fn = void (*)(void *);
using unum_open_fn = void *(*)(int, const xpi::uchar *, int32_t, const char *, void *,
                               xpi::ustatus *);
using unum_formatInt64_fn = int32_t (*)(const void *, int64_t, xpi::uchar *, int32_t, void *,
                                        xpi::ustatus *);
using unum_toPattern_fn = int32_t (*)(const void *, int8_t, xpi::uchar *, int32_t, xpi::ustatus *);
using unum_getSymbol_fn = int32_t (*)(const void *, int, xpi::uchar *, int32_t, xpi::ustatus *);
using unum_close_fn = void (*)(void *);
using ucal_open_fn = void *(*)(const xpi::uchar *, int32_t, const char *, int, xpi::ustatus *);
using ucal_clear_fn = void (*)(void *);
using ucal_setDateTime_fn = void (*)(void *, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                                     xpi::ustatus *);
using ucal_getMillis_fn = xpi::udate (*)(const void *, xpi::ustatus *);
using ucal_close_fn = void (*)(void *);
}  // namespace

void *xpi_udat_open(int time_style, int date_style, const char *locale, const xpi::uchar *zone,
                    int32_t zone_len, const xpi::uchar *pattern, int32_t pattern_len,
                    xpi::ustatus *status) {
  XPI_SLOT(udat_open);
  return fn ? fn(time_style, date_style, locale, zone, zone_len, pattern, pattern_len, status)
            : nullptr;
}

int32_t xpi_udat_format(const void *fmt, xpi::udate when, xpi::uchar *out, int32_t capacity,
                        void *pos, xpi::ustatus *status) {
  XPI_SLOT(udat_format);
  return fn ? fn(fmt, when, out, capacity, pos, status) : 0;
}

void xpi_udat_close(void *fmt) {
  XPI_SLOT(udat_close);
  if (fn && fmt) fn(fmt);
}

void *xpi_unum_open(int style, const xpi::uchar *pattern, int32_t pattern_len, const char *locale,
                    void *parse_error, xpi::ustatus *status) {
  XPI_SLOT(unum_open);
  return fn ? fn(style, pattern, pattern_len, locale, parse_error, status) : nullptr;
}

int32_t xpi_unum_formatInt64(const void *fmt, int64_t value, xpi::uchar *out, int32_t capacity,
                             void *pos, xpi::ustatus *status) {
  XPI_SLOT(unum_formatInt64);
  return fn ? fn(fmt, value, out, capacity, pos, status) : 0;
}

int32_t xpi_unum_toPattern(const void *fmt, int8_t localized, xpi::uchar *out, int32_t capacity,
                           xpi::ustatus *status) {
  XPI_SLOT(unum_toPattern);
  return fn ? fn(fmt, localized, out, capacity, status) : 0;
}

int32_t xpi_unum_getSymbol(const void *fmt, int symbol, xpi::uchar *out, int32_t capacity,
                           xpi::ustatus *status) {
  XPI_SLOT(unum_getSymbol);
  return fn ? fn(fmt, symbol, out, capacity, status) : 0;
}

void xpi_unum_close(void *fmt) {
  XPI_SLOT(unum_close);
  if (fn && fmt) fn(fmt);
}

void *xpi_ucal_open(const xpi::uchar *zone, int32_t zone_len, const char *locale, int type,
                    xpi::ustatus *status) {
  XPI_SLOT(ucal_open);
  return fn ? fn(zone, zone_len, locale, type, status) : nullptr;
}

void xpi_ucal_clear(void *cal) {
  XPI_SLOT(ucal_clear);
  if (fn && cal) fn(cal);
}

void xpi_ucal_setDateTime(void *cal, int32_t year, int32_t month, int32_t day, int32_t hour,
                          int32_t minute, int32_t second, xpi::ustatus *status) {
  XPI_SLOT(ucal_setDateTime);
  if (fn && cal)
    fn(cal, year, month, day, hour, minute, second, status);
  else if (status)
    *status = 1;
}

xpi::udate xpi_ucal_getMillis(const void *cal, xpi::ustatus *status) {
  XPI_SLOT(ucal_getMillis);
  if (fn && cal) return fn(cal, status);
  if (status) *status = 1;
  return 0;
}

void xpi_ucal_close(void *cal) {
  XPI_SLOT(ucal_close);
  if (fn && cal) fn(cal);
}

namespace xpi {

size_t utf8_from_utf16(char *out, size_t size, const uchar *in, intptr_t n) {
  if (!out || !size) return 0;
  size_t used = 0;
  for (intptr_t i = 0; in && (n < 0 ? in[i] != 0 : i < n); i++) {
    uint32_t c = in[i];
    if (c >= 0xD800 && c <= 0xDBFF && (n < 0 || i + 1 < n) && in[i + 1] >= 0xDC00 &&
        in[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (in[i + 1] - 0xDC00);
      i++;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    char b[4];
    size_t k;
    if (c < 0x80) {
      b[0] = (char)c;
      k = 1;
    } else if (c < 0x800) {
      b[0] = (char)(0xC0 | c >> 6);
      b[1] = (char)(0x80 | (c & 0x3F));
      k = 2;
    } else if (c < 0x10000) {
      b[0] = (char)(0xE0 | c >> 12);
      b[1] = (char)(0x80 | (c >> 6 & 0x3F));
      b[2] = (char)(0x80 | (c & 0x3F));
      k = 3;
    } else {
      b[0] = (char)(0xF0 | c >> 18);
      b[1] = (char)(0x80 | (c >> 12 & 0x3F));
      b[2] = (char)(0x80 | (c >> 6 & 0x3F));
      b[3] = (char)(0x80 | (c & 0x3F));
      k = 4;
    }
    if (used + k > size - 1) break;
    memcpy(out + used, b, k);
    used += k;
  }
  out[used] = 0;
  return used;
}

bool instant_of(int year, int month, int day, int hour, int minute, int second, udate *out) {
  // One calendar is kept; a caller takes it out of its slot for the time
  // it uses it.
  static std::atomic<void *> kept{nullptr};
  ustatus st = 0;
  void *cal = kept.exchange(nullptr, std::memory_order_acquire);
  if (!cal) cal = xpi_ucal_open(kZone, 3, "en_US_POSIX", CAL_GREGORIAN, &st);
  if (!cal || failed(st)) {
    xpi_ucal_close(cal);
    return false;
  }
  xpi_ucal_clear(cal);
  xpi_ucal_setDateTime(cal, year, month - 1, day, hour, minute, second, &st);
  udate when = failed(st) ? 0 : xpi_ucal_getMillis(cal, &st);
  xpi_ucal_close(kept.exchange(cal, std::memory_order_acq_rel));
  if (failed(st)) return false;
  *out = when;
  return true;
}

bool format_date(void *fmt, udate when, char *out, size_t size) {
  uchar text[256];
  ustatus st = 0;
  int32_t n =
      xpi_udat_format(fmt, when, text, (int32_t)(sizeof text / sizeof text[0]), nullptr, &st);
  if (failed(st) || n <= 0 || n > (int32_t)(sizeof text / sizeof text[0])) return false;
  utf8_from_utf16(out, size, text, n);
  return true;
}

void current_locale(char *out, size_t size) {
  if (!out || !size) return;
  out[0] = 0;
  const char *s = getenv("LC_ALL");
  if (!s || !*s) s = getenv("LANG");
  if (!s || !*s) return;
  if (strcmp(s, "C") == 0 || strcmp(s, "POSIX") == 0 || strncmp(s, "C.", 2) == 0) {
    s = "en_US_POSIX";
  }
  size_t n = strcspn(s, ".@");
  if (n >= size) n = size - 1;
  memcpy(out, s, n);
  out[n] = 0;
}

void date_locale(char *out, size_t size) {
  current_locale(out, size);
  // Dates are Gregorian in every locale: the platform would otherwise
  // write the Islamic year in ar_SA and the Buddhist one in th_TH.
  size_t n = strlen(out);
  static const char kGregorian[] = "@calendar=gregorian";
  if (n && n + sizeof kGregorian <= size) memcpy(out + n, kGregorian, sizeof kGregorian);
}

}  // namespace xpi
