// The locale settings object: the shared default, creation and reset, the
// load step that learns the settings by formatting known dates and numbers
// with the platform formatters, and completes them from localeconv and
// fixed defaults, and the publication of loaded settings to readers.
#include <locale.h>
#include <sched.h>
#include <string.h>

#include <atomic>

#include "xp/fmt/xp_fmt.h"
#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"

namespace {

xp_intl g_default;
std::atomic<unsigned long> g_loads{0};

const char *const kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char *const kDays[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

const unsigned char kNoMoreGroups = 0xFF;

uint64_t expiry_of(xp_intl *o) {
  return std::atomic_ref<uint64_t>(o->expiry).load(std::memory_order_relaxed);
}
void set_expiry(xp_intl *o, uint64_t v) {
  std::atomic_ref<uint64_t>(o->expiry).store(v, std::memory_order_relaxed);
}
uint16_t overrides_of(xp_intl *o) {
  return std::atomic_ref<uint16_t>(o->overrides).load(std::memory_order_relaxed);
}

// ---- Publication ------------------------------------------------------------
//
// The settings run from grouping_span to the end of the object and move in
// 8-byte words, each an atomic access, under the sequence counter `seq`:
// a writer makes it odd, stores, and makes it even again; a reader copies
// between two reads of an even, unchanged counter. Words are stored with
// release and loaded with acquire (no fences; plain moves on x86), so a
// reader that sees a new word also sees the odd counter behind it.

const size_t kBody = offsetof(xp_intl, grouping_span);
const size_t kEnd = sizeof(xp_intl);
static_assert(kBody % 8 == 0 && kEnd % 8 == 0 && alignof(xp_intl) >= 8 &&
                  offsetof(xp_intl, grouping) % 8 == 0 && offsetof(xp_intl, mgrouping) % 8 == 0 &&
                  offsetof(xp_intl, decimal) % 8 == 0,
              "the settings move in aligned 8-byte words");

typedef uint64_t __attribute__((may_alias)) word_t;

word_t *word_at(const xp_intl *o, size_t offset) {
  return reinterpret_cast<word_t *>(reinterpret_cast<char *>(const_cast<xp_intl *>(o)) + offset);
}

void pause_briefly(unsigned spins) {
  if (spins % 64 == 63) sched_yield();  // a writer that lost its core
}

uint32_t read_begin(const xp_intl *o) {
  for (unsigned spins = 0;; spins++) {
    uint32_t s = __atomic_load_n(&o->seq, __ATOMIC_ACQUIRE);
    if (!(s & 1)) return s;
    pause_briefly(spins);
  }
}

bool read_end(const xp_intl *o, uint32_t s) {
  return __atomic_load_n(&o->seq, __ATOMIC_RELAXED) == s;
}

// Whether a word holds a zero byte.
bool has_zero(uint64_t w) {
  return ((w - 0x0101010101010101u) & ~w & 0x8080808080808080u) != 0;
}

// Copies the settings' words at `offset` into out, at most `n` bytes (a
// multiple of 8), up to and including the first word in which `stop` is
// true; answers the bytes copied. All from one publication.
template <typename Stop>
size_t read_until(const xp_intl *o, size_t offset, void *out, size_t n, Stop stop) {
  char *dst = static_cast<char *>(out);
  for (unsigned spins = 0;; spins++) {
    uint32_t s = read_begin(o);
    size_t i = 0;
    while (i < n) {
      uint64_t w = __atomic_load_n(word_at(o, offset + i), __ATOMIC_ACQUIRE);
      memcpy(dst + i, &w, 8);
      i += 8;
      if (stop(w)) break;
    }
    if (read_end(o, s)) return i;
    pause_briefly(spins);
  }
}

void read_settings(const xp_intl *o, size_t offset, void *out, size_t n) {
  read_until(o, offset, out, n, [](uint64_t) { return false; });
}

// Stores the settings of `from` (private to the caller) in `to`. Writers
// take turns on the odd counter; readers never wait for a load, only for
// this copy.
void publish_settings(xp_intl *to, xp_intl *from) {
  const unsigned char *grouping = reinterpret_cast<const unsigned char *>(from->grouping);
  const size_t rest = kEnd - offsetof(xp_intl, grouping);
  const void *mark = memchr(grouping, kNoMoreGroups, rest);
  from->grouping_span =
      mark ? (uint64_t)(static_cast<const unsigned char *>(mark) - grouping) + 1 : rest;
  uint32_t s = __atomic_load_n(&to->seq, __ATOMIC_RELAXED);
  for (unsigned spins = 0;; spins++) {
    if (!(s & 1) &&
        __atomic_compare_exchange_n(&to->seq, &s, s + 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
      break;
    pause_briefly(spins);
    s = __atomic_load_n(&to->seq, __ATOMIC_RELAXED);
  }
  for (size_t i = kBody; i < kEnd; i += 8) {
    uint64_t w;
    memcpy(&w, reinterpret_cast<const char *>(from) + i, 8);
    __atomic_store_n(word_at(to, i), w, __ATOMIC_RELEASE);
  }
  __atomic_store_n(&to->seq, s + 2, __ATOMIC_RELEASE);
}

// Weekday (0 = Sunday) of a Gregorian date.
uint16_t weekday_of(int y, int m, int d) {
  static const int t[12] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  if (m < 3) y--;
  return (uint16_t)((y + y / 4 - y / 100 + y / 400 + t[m - 1] + d) % 7);
}

xp_dtr record(int y, int m, int d, int hh, int mm, int ss) {
  xp_dtr r;
  r.year = (uint16_t)y;
  r.month = (uint16_t)m;
  r.day = (uint16_t)d;
  r.hour = (uint16_t)hh;
  r.minute = (uint16_t)mm;
  r.second = (uint16_t)ss;
  r.weekday = weekday_of(y, m, d);
  return r;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// A marker as the formatter gives it, without surrounding blanks, at most
// 15 bytes; the default when nothing is left.
void load_marker(xpi_formatter *f, const xp_dtr &at, char *field, const char *fallback) {
  char text[64];
  intptr_t n = xpi_formatter_date(f, &at, text, sizeof text);
  while (n > 0 && text[n - 1] == ' ')
    n--;
  intptr_t start = 0;
  while (start < n && text[start] == ' ')
    start++;
  if (n - start > 0)
    xp_fmt_text(field, 16, text + start, n - start);
  else
    xp_fmt_string(field, 16, fallback);
}

void load_time(xp_intl *o, xpi_formatter *f, const xp_dtr &at) {
  o->timeclock = 0;
  xp_fmt_string(o->timesep, sizeof o->timesep, ":");
  char text[64];
  intptr_t n = xpi_formatter_date(f, &at, text, sizeof text);
  if (n >= 2 && text[0] == '2' && text[1] == '2') o->timeclock = 1;
  if (n >= 4 && text[3] == '3') {
    o->timesep[0] = text[2];
    o->timesep[1] = 0;
  }
}

void load_date(xp_intl *o, xpi_formatter *f, const xp_dtr &at) {
  char text[64];
  intptr_t n = xpi_formatter_date(f, &at, text, sizeof text);
  o->dateorder = xpi::date_order(text, n, o->datesep);
}

void load_names(xpi_formatter *f, char (*names)[64], int count, int year, int month, int day,
                int step_month, int step_day, const char *const *fallbacks) {
  for (int i = 0; i < count; i++) {
    xp_dtr at = record(year, month + i * step_month, day + i * step_day, 12, 0, 0);
    if (xpi_formatter_date(f, &at, names[i], 64) <= 0) xp_fmt_string(names[i], 64, fallbacks[i]);
  }
}

void load_grouping(xpi_formatter *f, char *grouping) {
  char pattern[32];
  intptr_t n = xpi_formatter_number(f, XPI_PATTERN_REQUEST, pattern, sizeof pattern);
  xpi::grouping_of_pattern(pattern, n, grouping);
}

void from_localeconv(const char *value, char *field) {
  if (!field[0] && value) xp_fmt_string(field, 16, value);
}

void grouping_from_localeconv(const char *value, char *field) {
  if (field[0]) return;
  int n = 0;
  while (value && n < 15 && value[n] && value[n] != 127) {
    field[n] = value[n];
    n++;
  }
  field[n] = (char)kNoMoreGroups;
}

void load(xp_intl *o) {
  g_loads.fetch_add(1, std::memory_order_relaxed);
  const xp_dtr morning = record(2006, 2, 15, 6, 34, 56);
  const xp_dtr evening = record(2006, 2, 15, 22, 34, 56);

  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_AMPM);
  load_marker(f, morning, o->am, "AM");
  load_marker(f, evening, o->pm, "PM");
  xp_release(f);

  f = xpi_formatter_new(nullptr, XPI_MEDIUMTIME);
  load_time(o, f, evening);
  xp_release(f);

  f = xpi_formatter_new(nullptr, XPI_SHORTDATE);
  load_date(o, f, morning);
  xp_release(f);

  f = xpi_formatter_new(nullptr, XPI_MONTH);
  load_names(f, o->months, 12, 2006, 1, 15, 1, 0, kMonths);
  xp_release(f);
  f = xpi_formatter_new(nullptr, XPI_ABBREVMONTH);
  load_names(f, o->abbrevmonths, 12, 2006, 1, 15, 1, 0, kMonths);
  xp_release(f);
  f = xpi_formatter_new(nullptr, XPI_DAY);
  load_names(f, o->days, 7, 2006, 2, 12, 0, 1, kDays);
  xp_release(f);
  f = xpi_formatter_new(nullptr, XPI_ABBREVDAY);
  load_names(f, o->abbrevdays, 7, 2006, 2, 12, 0, 1, kDays);
  xp_release(f);

  xpi_formatter *number = xpi_formatter_new(nullptr, XPI_DECIMAL);
  xpi_formatter *money = xpi_formatter_new(nullptr, XPI_CURRENCY);
  // Separators, currency symbol and currency code of the locale.
  xpi::formatter_symbol(number, xpi::SYM_DECIMAL, o->decimal, sizeof o->decimal);
  xpi::formatter_symbol(number, xpi::SYM_GROUPING, o->thousep, sizeof o->thousep);
  xpi::formatter_symbol(money, xpi::SYM_CURRENCY, o->currency, sizeof o->currency);
  char code[8];
  xpi::formatter_symbol(money, xpi::SYM_INTL_CURRENCY, code, sizeof code);
  uint16_t iso = xpi_currency_number(code);
  if (iso) o->isocurrency = iso;

  load_grouping(number, o->grouping);
  xpi_formatter_getprop(number, '+', o->plus, sizeof o->plus);
  xpi_formatter_getprop(number, '-', o->minus, sizeof o->minus);
  load_grouping(money, o->mgrouping);
  xpi_formatter_getprop(money, '.', o->mdecimal, sizeof o->mdecimal);
  xpi_formatter_getprop(money, ',', o->mthousep, sizeof o->mthousep);
  xp_release(number);
  xp_release(money);

  if (!o->plus[0] || !o->minus[0] || !o->decimal[0] || !o->thousep[0] || !o->currency[0] ||
      !o->grouping[0] || !o->mdecimal[0] || !o->mthousep[0] || !o->mgrouping[0]) {
    const struct lconv *lc = localeconv();
    if (lc) {
      from_localeconv(lc->positive_sign, o->plus);
      from_localeconv(lc->negative_sign, o->minus);
      from_localeconv(lc->decimal_point, o->decimal);
      from_localeconv(lc->thousands_sep, o->thousep);
      from_localeconv(lc->currency_symbol, o->currency);
      from_localeconv(lc->mon_decimal_point, o->mdecimal);
      from_localeconv(lc->mon_thousands_sep, o->mthousep);
      grouping_from_localeconv(lc->grouping, o->grouping);
      grouping_from_localeconv(lc->mon_grouping, o->mgrouping);
    }
    if (!o->plus[0]) xp_fmt_string(o->plus, 16, "+");
    if (!o->minus[0]) xp_fmt_string(o->minus, 16, "-");
    if (!o->decimal[0]) xp_fmt_string(o->decimal, 16, ".");
    if (!o->thousep[0]) xp_fmt_string(o->thousep, 16, ",");
    if (!o->currency[0]) xp_fmt_string(o->currency, 16, "$");
    if (!o->mdecimal[0]) memcpy(o->mdecimal, o->decimal, 16);
    if (!o->mthousep[0]) memcpy(o->mthousep, o->thousep, 16);
    if (!o->mgrouping[0]) memcpy(o->mgrouping, o->grouping, 16);
  }

  if (!o->isocurrency) {
    static const struct {
      const char *symbol;
      uint16_t number;
    } kSymbols[] = {{"$", 840},
                    {"\xC2\xA3", 826},
                    {"\xC2\xA5", 392},
                    {"\xE2\x82\xA8", 356},
                    {"\xE2\x82\xAC", 978}};
    for (const auto &s : kSymbols)
      if (strcmp(o->currency, s.symbol) == 0) o->isocurrency = s.number;
  }
}

// A load fills a private copy of the current settings (fields are
// overwritten or completed, as if in place) and publishes it whole.
void load_and_publish(xp_intl *o) {
  xp_intl fresh;
  read_settings(o, kBody, reinterpret_cast<char *>(&fresh) + kBody, kEnd - kBody);
  load(&fresh);
  publish_settings(o, &fresh);
}

xp_intl *shared() {
  // The first load happens once, whichever thread comes first.
  static xp_intl *const loaded = [] {
    // A static object: counted, typed, and never freed (no release).
    g_default.obj.refs = 1;
    g_default.obj.type = XP_TYPE_INTL;
    set_expiry(&g_default, (uint64_t)xp_time_getutc() + 600);
    load_and_publish(&g_default);
    return &g_default;
  }();
  return loaded;
}

// Copies grouping bytes: the count is measured from the plain grouping up
// to and including its first 0xFF byte, never past the object (the span
// found at publication), and taken from the field at offset `from`.
intptr_t copy_grouping(xp_intl *intl, size_t from, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  xp_intl *o = xpi_reload(intl);
  if (!o) return 0;
  uint64_t bytes[(kEnd - kBody) / 8];
  size_t n = 0;
  for (unsigned spins = 0;; spins++) {
    uint32_t s = read_begin(o);
    n = (size_t)__atomic_load_n(&o->grouping_span, __ATOMIC_ACQUIRE);
    if (n > kEnd - from) n = kEnd - from;
    size_t want = buf ? (n < size ? n : size) : 0;
    for (size_t i = 0; i < want; i += 8)
      bytes[i / 8] = __atomic_load_n(word_at(o, from + i), __ATOMIC_ACQUIRE);
    if (read_end(o, s)) {
      if (want) memcpy(buf, bytes, want);
      return (intptr_t)(buf ? want : n);
    }
    pause_briefly(spins);
  }
}

// Reads a text field of `length` bytes (16 or 64) into out, only the words
// up to its terminator; answers the text's length.
size_t read_text(const xp_intl *o, size_t field, size_t length, char *out) {
  size_t got = read_until(o, field, out, length, has_zero);
  size_t n = got - 8;
  while (n < got && out[n])
    n++;
  return n;
}

// Copies a text field of `length` bytes (16 or 64).
intptr_t copy_text(xp_intl *intl, size_t field, size_t length, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  xp_intl *o = xpi_reload(intl);
  if (!o) return 0;
  char text[64];
  return xp_fmt_text(buf, size, text, (intptr_t)read_text(o, field, length, text));
}

template <typename T>
T read_value(xp_intl *intl, size_t field) {
  static_assert(sizeof(T) <= 8, "one or two words");
  xp_intl *o = xpi_reload(intl);
  // The aligned words that hold the field.
  size_t start = field & ~(size_t)7;
  uint64_t words[2];
  read_settings(o, start, words, field + sizeof(T) - start > 8 ? 16 : 8);
  T value;
  memcpy(&value, reinterpret_cast<const char *>(words) + (field - start), sizeof value);
  return value;
}

}  // namespace

xp_intl *xpi_reload(xp_intl *intl) {
  xp_intl *o = intl ? intl : shared();
  if (overrides_of(o) & XPI_OVERRIDE_MASK) return o;
  uint64_t now = (uint64_t)xp_time_getutc();
  if (expiry_of(o) >= now) return o;
  // Another thread that finds the object stale at the same moment loads
  // too; each publishes a whole set, and readers go on reading meanwhile.
  set_expiry(o, now + 600);
  load_and_publish(o);
  return o;
}

size_t xpi_text16(xp_intl *intl, size_t field, char *out16) {
  xp_intl *o = xpi_reload(intl);
  return o ? read_text(o, field, 16, out16) : 0;
}

void xpi_snapshot(const xp_intl *from, xp_intl *to) {
  const xp_intl *o = from ? from : xpi_reload(nullptr);
  read_settings(o, kBody, reinterpret_cast<char *>(to) + kBody, kEnd - kBody);
}

void xpi_publish(xp_intl *to, const xp_intl *from) {
  xp_intl copy;
  xpi_snapshot(from, &copy);
  publish_settings(to ? to : shared(), &copy);
}

namespace xpi {

// Numbers are counted until the day (15) turns up; the first lone byte
// between two numbers is the separator.
int32_t date_order(const char *text, intptr_t n, char *sep) {
  sep[0] = 0;
  int32_t order = 1;
  if (n > 0) {
    int count = 3;
    long number = 0;
    intptr_t i = 0;
    while (i < n) {
      if (is_digit(text[i])) {
        number = number * 10 + (text[i] - '0');
        if (number > 100000) number = 100000;  // no date field is that long
        i++;
        continue;
      }
      intptr_t run = i;
      while (i < n && !is_digit(text[i]))
        i++;
      if (i - run == 1 && i < n && !sep[0]) {
        sep[0] = text[run];
        sep[1] = 0;
      }
      if (number == 15) break;
      number = 0;
      if (--count == 0) break;
    }
    order = count == 3 ? 1 : count == 2 ? 0 : count == 1 ? 2 : 0;
  }
  if (!sep[0]) xp_fmt_string(sep, 16, "/");
  return order;
}

void grouping_of_pattern(const char *pattern, intptr_t n, char *grouping) {
  if (n <= 0) {
    grouping[0] = 0;
    return;
  }
  unsigned char sizes[15];
  int entries = 0;
  unsigned count = 0;
  for (intptr_t i = n - 1; i >= 0; i--) {
    char c = pattern[i];
    if (c == ',') {
      if (entries < 15) sizes[entries++] = (unsigned char)(count > 127 ? 127 : count);
      count = 0;
    } else if (c == '.' || c == ';') {
      entries = 0;
      count = 0;
    } else {
      count++;
    }
  }
  memcpy(grouping, sizes, (size_t)entries);
  grouping[entries] = entries ? 0 : (char)kNoMoreGroups;
}

unsigned long load_count() {
  return g_loads.load(std::memory_order_relaxed);
}
}  // namespace xpi

uint32_t xp_intl_type(void) {
  return XP_TYPE_INTL;
}

xp_intl *xp_intl_new(void) {
  auto *o = reinterpret_cast<xp_intl *>(xp_new(XP_TYPE_INTL, sizeof(xp_intl)));
  if (!o) {
    xp_intl_reset(nullptr);
    return nullptr;
  }
  return xpi_reload(o);
}

xp_intl *xp_intl_reset(xp_intl *intl) {
  xp_intl *o = intl ? intl : shared();
  std::atomic_ref<uint16_t>(o->overrides).store(0, std::memory_order_relaxed);
  set_expiry(o, 0);
  return xpi_reload(o);
}

#define XPI_TEXT(name, field)                                        \
  intptr_t xp_intl_##name(xp_intl *intl, char *buf, size_t size) {   \
    return copy_text(intl, offsetof(xp_intl, field), 16, buf, size); \
  }

XPI_TEXT(datesep, datesep)
XPI_TEXT(timesep, timesep)
XPI_TEXT(am, am)
XPI_TEXT(pm, pm)
XPI_TEXT(plus, plus)
XPI_TEXT(minus, minus)
XPI_TEXT(decimal, decimal)
XPI_TEXT(thousep, thousep)
XPI_TEXT(mdecimal, mdecimal)
XPI_TEXT(mthousep, mthousep)
XPI_TEXT(currency, currency)

intptr_t xp_intl_month(xp_intl *intl, int month, char *buf, size_t size) {
  if (month < 1 || month > 12) {
    if (buf && size) buf[0] = 0;
    return 0;
  }
  return copy_text(intl, offsetof(xp_intl, months) + 64 * (size_t)(month - 1), 64, buf, size);
}

intptr_t xp_intl_abbrevmonth(xp_intl *intl, int month, char *buf, size_t size) {
  if (month < 1 || month > 12) {
    if (buf && size) buf[0] = 0;
    return 0;
  }
  return copy_text(intl, offsetof(xp_intl, abbrevmonths) + 64 * (size_t)(month - 1), 64, buf, size);
}

intptr_t xp_intl_day(xp_intl *intl, int weekday, char *buf, size_t size) {
  if (weekday < 0 || weekday > 6) {
    if (buf && size) buf[0] = 0;
    return 0;
  }
  return copy_text(intl, offsetof(xp_intl, days) + 64 * (size_t)weekday, 64, buf, size);
}

intptr_t xp_intl_abbrevday(xp_intl *intl, int weekday, char *buf, size_t size) {
  if (weekday < 0 || weekday > 6) {
    if (buf && size) buf[0] = 0;
    return 0;
  }
  return copy_text(intl, offsetof(xp_intl, abbrevdays) + 64 * (size_t)weekday, 64, buf, size);
}

intptr_t xp_intl_grouping(xp_intl *intl, char *buf, size_t size) {
  return copy_grouping(intl, offsetof(xp_intl, grouping), buf, size);
}

intptr_t xp_intl_mgrouping(xp_intl *intl, char *buf, size_t size) {
  return copy_grouping(intl, offsetof(xp_intl, mgrouping), buf, size);
}

int32_t xp_intl_datefmt(xp_intl *intl) {
  return read_value<int32_t>(intl, offsetof(xp_intl, dateorder));
}
int32_t xp_intl_timefmt(xp_intl *intl) {
  return read_value<int32_t>(intl, offsetof(xp_intl, timeclock));
}
uint64_t xp_intl_isocurrency(xp_intl *intl) {
  return read_value<uint64_t>(intl, offsetof(xp_intl, isocurrency));
}
