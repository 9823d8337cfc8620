// Reading dates and clock times as the locale writes them or a user types
// them: the locale's separators, order, markers and month names are
// measured from its own texts and cached (refreshed every 10000 calls);
// texts are read after a normalisation that makes every Unicode space a
// blank, drops direction marks and reads native decimal digits as digits.
#include <sched.h>
#include <string.h>

#include <atomic>

#include "xp/intl/xp_intl_internal.h"
#include "xp/time/xp_time_internal.h"

namespace xpt {

std::atomic<int32_t> xt_locale_counter{0};
std::atomic<int32_t> xt_cm_counter{0};

}  // namespace xpt

namespace {

constexpr int32_t kRefreshEvery = 10000;

// ---- Characters -------------------------------------------------------------

// One character of a zero-terminated UTF-8 text: its code point and
// length. A byte that starts no valid character stands for itself.
uint32_t decode(const char *text, size_t *len) {
  const auto *p = reinterpret_cast<const unsigned char *>(text);
  uint32_t c = p[0];
  size_t n = c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 0;
  if (n <= 1) {
    *len = 1;
    return c;
  }
  c &= 0x3F >> (n - 1);
  for (size_t i = 1; i < n; ++i) {
    if ((p[i] & 0xC0) != 0x80) {
      *len = 1;
      return p[0];
    }
    c = c << 6 | (p[i] & 0x3F);
  }
  *len = n;
  return c;
}

// The zero of the decimal digits that a code point belongs to, or 0.
uint32_t digit_zero(uint32_t c) {
  static const uint32_t kZeros[] = {0x0660, 0x06F0, 0x07C0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66,
                                    0x0BE6, 0x0C66, 0x0CE6, 0x0D66, 0x0DE6, 0x0E50, 0x0ED0, 0x0F20,
                                    0x1040, 0x1090, 0x17E0, 0x1810, 0x1946, 0x19D0, 0x1A80, 0x1A90,
                                    0x1B50, 0x1BB0, 0x1C40, 0x1C50, 0xA620, 0xA8D0, 0xA900, 0xA9D0,
                                    0xA9F0, 0xAA50, 0xABF0, 0xFF10};
  if (c < 0x660) return 0;
  for (uint32_t z : kZeros)
    if (c >= z && c <= z + 9) return z;
  return 0;
}

bool unicode_space(uint32_t c) {
  return c == '\t' || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x202F ||
         c == 0x205F || c == 0x3000;
}

// Marks that only steer the direction of the text or join nothing.
bool invisible(uint32_t c) {
  return c == 0x200B || c == 0x200E || c == 0x200F || c == 0x061C || c == 0xFEFF ||
         (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

// Copies a text into out (at most size - 1 bytes, whole characters,
// terminated): spaces as ' ', native digits as ASCII digits, direction
// marks dropped. Returns the length.
size_t normalise(const char *in, char *out, size_t size) {
  size_t n = 0;
  while (*in) {
    size_t len;
    uint32_t c = decode(in, &len);
    const char *bytes = in;
    char ascii;
    in += len;
    if (invisible(c)) continue;
    if (unicode_space(c)) {
      ascii = ' ';
      bytes = &ascii, len = 1;
    } else if (uint32_t z = digit_zero(c)) {
      ascii = static_cast<char>('0' + (c - z));
      bytes = &ascii, len = 1;
    }
    if (n + len >= size) break;
    memcpy(out + n, bytes, len);
    n += len;
  }
  out[n] = 0;
  return n;
}

// Lower case of the scripts whose letters come in simple pairs.
uint32_t fold(uint32_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) ||
      (c >= 0x391 && c <= 0x3AB) || (c >= 0x410 && c <= 0x42F))
    return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  if (c >= 0x100 && c <= 0x17F && c % 2 == 0 && c != 0x138) return c + 1;
  return c;
}

bool digit(char c) {
  return c >= '0' && c <= '9';
}

// A character that belongs to a word: letters, and anything outside ASCII
// but spaces and a few punctuation marks.
bool word_char(const char *p) {
  size_t len;
  uint32_t c = decode(p, &len);
  if (c < 0x80) return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  return !(c == 0x060C || c == 0x061B || (c >= 0x2010 && c <= 0x2015) || c == 0x3001 ||
           c == 0x3002 || c == 0xFF0C || c == 0xFF0E);
}

const char *next_char(const char *p) {
  size_t len;
  decode(p, &len);
  return p + len;
}

// Bytes of text taken by `word` at its start (case ignored), 0 when it
// does not start there or ends inside a word of the text.
size_t match_word(const char *text, const char *word) {
  if (!word[0]) return 0;
  const char *t = text, *last = text;
  while (*word) {
    size_t a, b;
    if (!*t || fold(decode(t, &a)) != fold(decode(word, &b))) return 0;
    last = t;
    t += a, word += b;
  }
  if (*t && word_char(last) && word_char(t)) return 0;
  return static_cast<size_t>(t - text);
}

// ---- What the locale writes -----------------------------------------------

struct Marker {
  char text[48];
  int8_t pm;  // 0 morning, 1 afternoon, -1 both (not a marker)
};

struct LocaleData {
  char datesep[16] = "/";
  char timesep[16] = ":";
  char ampm[2][16] = {"AM", "PM"};
  int32_t order = -1;
  Marker markers[32];
  int marker_count = 0;
};

struct MonthNames {
  char names[12][3][64];  // abbreviated, full (as in a date), the C library's
  char days[7][2][64];    // weekdays: abbreviated, full
};

// One lock over both caches: refreshing writes them in place.
std::atomic<bool> g_cache_lock{false};
struct CacheLock {
  CacheLock() {
    while (g_cache_lock.exchange(true, std::memory_order_acquire))
      sched_yield();
  }
  ~CacheLock() { g_cache_lock.store(false, std::memory_order_release); }
  CacheLock(const CacheLock &) = delete;
  CacheLock &operator=(const CacheLock &) = delete;
};

LocaleData g_data;
MonthNames g_months;

// Counts a call; true when the count says to refresh.
bool due(std::atomic<int32_t> &counter) {
  int32_t n = counter.fetch_add(1, std::memory_order_relaxed);
  return n % kRefreshEvery == 0;
}

// The sample moment of the measurements: Wednesday 2006-02-15 06:34:56.
xp_dtr sample(int hour) {
  return xp_dtr{2006, 2, 15, static_cast<uint16_t>(hour), 34, 56, 3};
}

// A locale text of the sample, normalised.
size_t measure(int kind, int hour, char *out, size_t size) {
  xp_dtr r = sample(hour);
  char raw[256];
  if (xpt::xt_dtrstring(&r, kind, raw, sizeof raw) <= 0) raw[0] = 0;
  return normalise(raw, out, size);
}

// Copies text[0, n) without surrounding blanks, cut at a whole character.
void trimmed(const char *text, size_t n, char *out, size_t size) {
  while (n > 0 && text[n - 1] == ' ')
    --n;
  while (n > 0 && text[0] == ' ')
    ++text, --n;
  if (n >= size) {
    n = size - 1;
    while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
      --n;
  }
  memcpy(out, text, n);
  out[n] = 0;
}

void add_marker(LocaleData &d, const char *text, int pm) {
  if (!text[0]) return;
  for (int i = 0; i < d.marker_count; ++i)
    if (!strcmp(d.markers[i].text, text)) {
      if (d.markers[i].pm != pm) d.markers[i].pm = -1;
      return;
    }
  if (d.marker_count == 32) return;
  Marker &m = d.markers[d.marker_count++];
  trimmed(text, strlen(text), m.text, sizeof m.text);
  m.pm = static_cast<int8_t>(pm);
}

// The markers of a clock time: the words before its first digit and after
// its last one. Text that every hour shows ("Uhr", "ч.") is no marker.
void hour_markers(LocaleData &d) {
  for (int hour = 0; hour < 24; ++hour) {
    char text[256], part[48];
    size_t n = measure(xpt::XT_TIME, hour, text, sizeof text);
    size_t first = 0, last = n;
    while (first < n && !digit(text[first]))
      ++first;
    while (last > first && !digit(text[last - 1]))
      --last;
    trimmed(text, first, part, sizeof part);
    add_marker(d, part, hour >= 12);
    trimmed(text + last, n - last, part, sizeof part);
    add_marker(d, part, hour >= 12);
  }
}

// Date order and separator: the numbers of the short date up to the day
// (15), and the first character between two of them; time separator: the
// text between the hours and minutes of 22:34:56.
void refresh_chars() {
  LocaleData d;
  char text[256];
  for (int half = 0; half < 2; ++half) {
    size_t n = measure(xpt::XT_AMPM, half ? 22 : 6, text, sizeof text);
    trimmed(text, n, d.ampm[half], sizeof d.ampm[half]);
    if (!d.ampm[half][0]) strcpy(d.ampm[half], half ? "PM" : "AM");
    add_marker(d, d.ampm[half], half);
  }
  add_marker(d, "AM", 0);
  add_marker(d, "PM", 1);
  hour_markers(d);

  size_t n = measure(xpt::XT_TIMESECONDS, 22, text, sizeof text);
  const char *hours = strstr(text, "22"), *minutes = hours ? strstr(hours, "34") : nullptr;
  if (minutes && minutes > hours + 2)
    trimmed(hours + 2, static_cast<size_t>(minutes - hours - 2), d.timesep, sizeof d.timesep);
  if (!d.timesep[0]) strcpy(d.timesep, ":");

  n = measure(xpt::XT_SHORTDATE, 6, text, sizeof text);
  d.datesep[0] = 0;
  if (n == 0) d.order = 1;
  static const int32_t kOrderOfPosition[3] = {1, 0, 2};
  size_t i = 0;
  for (int position = 0; position < 3 && i < n; ++position) {
    long number = 0;
    while (i < n && digit(text[i]))
      number = number * 10 + (text[i++] - '0');
    size_t gap = i;
    while (i < n && !digit(text[i]))
      ++i;
    if (!d.datesep[0] && number && i < n) trimmed(text + gap, i - gap, d.datesep, 2);
    if (number == 15) {
      d.order = kOrderOfPosition[position];
      break;
    }
  }
  if (!d.datesep[0] || d.datesep[0] == ' ') strcpy(d.datesep, "/");
  if (d.order < 0) d.order = g_data.order;
  g_data = d;
}

void refresh_months() {
  xp_dtr r = sample(12);
  xpi_formatter *full = xpi_formatter_new(nullptr, XPI_MONTH);
  for (int m = 1; m <= 12; ++m) {
    r.month = static_cast<uint16_t>(m);
    char text[256];
    if (xpt::xt_dtrstring(&r, xpt::XT_ABBREVMONTH, text, sizeof text) <= 0) text[0] = 0;
    normalise(text, g_months.names[m - 1][0], 64);
    if (xpi_formatter_date(full, &r, text, sizeof text) <= 0) text[0] = 0;
    normalise(text, g_months.names[m - 1][1], 64);
    if (xpt::dtrstring_fallback(&r, xpt::XT_ABBREVMONTH, text, sizeof text) <= 0) text[0] = 0;
    normalise(text, g_months.names[m - 1][2], 64);
  }
  xp_release(full);
  xpi_formatter *day = xpi_formatter_new(nullptr, XPI_DAY);
  r = sample(12);
  for (int w = 0; w < 7; ++w) {
    r.day = static_cast<uint16_t>(12 + w);  // 12 February 2006 was a Sunday
    r.weekday = static_cast<uint16_t>(w);
    char text[256];
    if (xpt::xt_dtrstring(&r, xpt::XT_ABBREVDAY, text, sizeof text) <= 0) text[0] = 0;
    normalise(text, g_months.days[w][0], 64);
    if (xpi_formatter_date(day, &r, text, sizeof text) <= 0) text[0] = 0;
    normalise(text, g_months.days[w][1], 64);
  }
  xp_release(day);
}

// ---- The parser -------------------------------------------------------------

const char *const kEnglishMonths[12] = {"January",   "February", "March",    "April",
                                        "May",       "June",     "July",     "August",
                                        "September", "October",  "November", "December"};

// A name without a closing dot, for matching.
size_t match_name(const char *p, const char *name) {
  char bare[64];
  size_t n = strlen(name);
  if (n && name[n - 1] == '.') --n;
  if (!n || n >= sizeof bare) return 0;
  memcpy(bare, name, n);
  bare[n] = 0;
  return match_word(p, bare);
}

// Length of the longest of the names that stands at p.
size_t longest(const char *p, const char *const *names, int count) {
  size_t best = 0;
  for (int i = 0; i < count; ++i) {
    size_t n = match_name(p, names[i]);
    if (n > best) best = n;
  }
  return best;
}

// The month named by the word at p (1...12), 0 when none; *len is the
// length of the name. A word that is as much a weekday's name sets
// *weekday; a longer weekday's name wins. Failing a whole word, a full
// name of four or more characters that ends the word, or any of the
// locale's names of three or more that starts it, is taken (inflected
// forms: "urtarrilaren", "בינואר", "urtren").
int month_at(const char *p, const MonthNames &names, size_t *len, bool *weekday) {
  int best = 0;
  *len = 0;
  for (int m = 1; m <= 12; ++m) {
    const char *candidates[5] = {names.names[m - 1][0], names.names[m - 1][1],
                                 names.names[m - 1][2], xpt::xt_strs_mons[m - 1],
                                 kEnglishMonths[m - 1]};
    size_t n = longest(p, candidates, 5);
    if (n > *len) *len = n, best = m;
  }
  const char *days[14];
  for (int w = 0; w < 7; ++w)
    days[2 * w] = names.days[w][0], days[2 * w + 1] = names.days[w][1];
  size_t day = longest(p, days, 14);
  *weekday = day && day == *len;
  if (day > *len) {
    *len = day;
    return 0;
  }
  if (best || day) return best;
  const char *end = p;
  while (*end && word_char(end))
    end = next_char(end);
  for (const char *q = next_char(p); q < end; q = next_char(q))
    for (int m = 1; m <= 12; ++m) {
      const char *name = names.names[m - 1][1];
      size_t n = strlen(name);
      if (n >= 4 && n <= static_cast<size_t>(end - q) && match_name(q, name) == n) {
        *len = static_cast<size_t>(end - p);
        return m;
      }
    }
  // Or a name of the locale's own at the start of the word ("urtren").
  for (int m = 1; m <= 12; ++m)
    for (const char *name : names.names[m - 1]) {
      size_t n = strlen(name);
      if (n >= 3 && n < static_cast<size_t>(end - p) && !strncmp(p, name, n)) {
        *len = static_cast<size_t>(end - p);
        return m;
      }
    }
  return 0;
}

enum Half { kNone, kAm, kPm };

// A marker at p: its length and which half of the day; the longest wins.
size_t marker_at(const char *p, const LocaleData &d, Half *which) {
  size_t best = 0;
  for (int i = 0; i < d.marker_count; ++i) {
    if (d.markers[i].pm < 0) continue;
    size_t n = match_word(p, d.markers[i].text);
    if (n > best) best = n, *which = d.markers[i].pm ? kPm : kAm;
  }
  return best;
}

struct Item {
  uint32_t value;
  bool named;
  bool weekday;      // a name that is also a weekday's
  bool long_number;  // three digits or more: a year
};

uint32_t read_number(const char **p, bool *long_number) {
  uint32_t v = 0;
  *long_number = digit((*p)[0]) && digit((*p)[1]) && digit((*p)[2]);
  while (digit(**p)) {
    v = v * 10 + static_cast<uint32_t>(**p - '0');
    if (v > 0xFFFF) v = 0xFFFF;
    ++*p;
  }
  return v;
}

bool clock_separator(const char *p, const char *timesep, const char *datesep) {
  if (*p == ':') return true;
  return strcmp(timesep, datesep) != 0 && match_word(p, timesep) > 0;
}

// The parser. A date of up to three numbers or month names joined by
// anything (separators, blanks, words such as weekday names), then a clock
// time of up to three numbers, with a marker before or after it. A number
// followed by ":" or the time separator starts the clock time; so does the
// first number after a complete date, which tells the two apart where both
// use one separator. time_only reads a clock time alone.
int parse(const char *input, int32_t order, const char *datesep, xp_dtr *dtr, bool time_only) {
  LocaleData d;
  MonthNames names;
  {
    CacheLock guard;
    if (due(xpt::xt_locale_counter)) refresh_chars();
    if (due(xpt::xt_cm_counter)) refresh_months();
    d = g_data;
    names = g_months;
  }
  xp_dtr now;
  xp_time_getdtr(&now);
  if (dtr) *dtr = now;
  if (!input || !dtr) return 0;
  char text[512];
  normalise(input, text, sizeof text);

  Item items[3];
  int nitems = 0, ntime = 0, numbers = 0;
  uint32_t clock[3] = {0, 0, 0};
  Half mark = kNone;
  bool in_time = time_only, joined = false, date_seps = false, closed = false;
  const char *p = text;
  while (*p) {
    if (digit(*p)) {
      if (in_time && (ntime == 3 || closed)) break;  // what follows the time is not read
      bool was_joined = joined;
      bool long_number;
      uint32_t v = read_number(&p, &long_number);
      ++numbers;
      joined = false;
      if (!in_time && clock_separator(p, d.timesep, datesep)) {
        if (nitems > 0 && was_joined) return 0;  // a date run into a clock time
        in_time = true;
      } else if (!in_time && nitems == 3) {
        in_time = true;
      }
      if (in_time)
        clock[ntime++] = v;
      else
        items[nitems++] = Item{v, false, false, long_number};
      continue;
    }
    if (*p == ' ') {
      ++p;
      joined = false;
      continue;
    }
    Half which = kNone;
    if (size_t n = marker_at(p, d, &which)) {
      if (mark == kNone) mark = which;
      closed = ntime > 0;
      p += n;
      in_time = true;
      joined = false;
      continue;
    }
    if (word_char(p)) {
      size_t n = 0;
      bool weekday = false;
      int m = in_time || nitems == 3 ? 0 : month_at(p, names, &n, &weekday);
      // Two names: one of them was the weekday's.
      for (int i = 0; m && weekday && i < nitems; ++i)
        if (items[i].named) m = 0;
      for (int i = 0; m && i < nitems; ++i)
        if (items[i].named && items[i].weekday) {
          memmove(items + i, items + i + 1, sizeof(Item) * static_cast<size_t>(nitems - i - 1));
          --nitems, --numbers;
          break;
        }
      if (m) {
        items[nitems++] = Item{static_cast<uint32_t>(m), true, weekday, false};
        ++numbers;
        p += n;
      } else {
        p += n;
        while (*p && word_char(p))
          p = next_char(p);
      }
      joined = false;
      continue;
    }
    bool sep = *p == '/' || match_word(p, datesep) > 0;
    if (!in_time && sep) date_seps = true;
    joined = sep;
    p = next_char(p);
  }

  // A lone number before a marker ("6 pm") is the hour.
  if (nitems == 1 && ntime == 0 && !items[0].named && !date_seps) {
    clock[ntime++] = items[0].value;
    nitems = 0;
  }
  if (numbers < 2 && mark == kNone) return 0;
  if (mark == kPm) clock[0] = clock[0] % 12 + 12;
  if (mark == kAm) clock[0] = clock[0] % 12;

  uint32_t year = now.year, month = now.month, day = now.day;
  int named = -1;
  for (int i = 0; i < nitems; ++i)
    if (items[i].named) named = i;
  if (named >= 0 && nitems == 3) {
    // The month by name; of the other two the year is the one that cannot
    // be a day, else they stand in the locale's order.
    const Item &ia = items[named == 0 ? 1 : 0], &ib = items[named == 2 ? 1 : 2];
    uint32_t a = ia.value, b = ib.value;
    bool a_year = a > 31 || ia.long_number || (b <= 31 && !ib.long_number && order == 2);
    month = items[named].value;
    year = a_year ? a : b;
    day = a_year ? b : a;
  } else if (nitems > 0) {
    uint32_t w[3] = {0, 0, 0};
    for (int i = 0; i < nitems; ++i)
      w[i] = items[i].value;
    // A year first is year-month-day whatever the short date's order.
    if (order == 2 || (nitems == 3 && (w[0] > 31 || items[0].long_number)))
      year = w[0], month = w[1], day = w[2];
    else if (order == 1)
      day = w[0], month = w[1], year = w[2];
    else
      month = w[0], day = w[1], year = w[2];
    if (nitems < 3) year = now.year;
  }
  if (month < 1 || month > 12 || day < 1 || day > 31 || clock[0] > 23 || clock[1] > 59 ||
      clock[2] > 59)
    return 0;
  xp_dtr r{static_cast<uint16_t>(year),
           static_cast<uint16_t>(month),
           static_cast<uint16_t>(day),
           static_cast<uint16_t>(clock[0]),
           static_cast<uint16_t>(clock[1]),
           static_cast<uint16_t>(clock[2]),
           0};
  // Carries an overflowing day into the next month; a year after 2038 gives
  // the record of the out-of-range marker.
  xp_time_localtodtr(xp_time_dtrtolocal(&r), dtr);
  return 1;
}

}  // namespace

namespace xpt {

void xt_getinternationalchars(char *datesep, char *timesep, char *am, char *pm, int32_t *datefmt) {
  CacheLock guard;
  if (due(xt_locale_counter)) refresh_chars();
  if (datesep) memcpy(datesep, g_data.datesep, 16);
  if (timesep) memcpy(timesep, g_data.timesep, 16);
  if (am) memcpy(am, g_data.ampm[0], 16);
  if (pm) memcpy(pm, g_data.ampm[1], 16);
  if (datefmt) *datefmt = g_data.order;
}

}  // namespace xpt

extern "C" {

int xp_time_datetimefmttodtr(const char *text, int32_t order, char separator_char, xp_dtr *dtr) {
  char datesep[16];
  xpt::xt_getinternationalchars(datesep, nullptr, nullptr, nullptr, nullptr);
  if (separator_char) {
    datesep[0] = separator_char;
    datesep[1] = 0;
  }
  return parse(text, order, datesep, dtr, false);
}

int xp_time_datetimetodtr(const char *text, xp_dtr *dtr) {
  int32_t order;
  xpt::xt_getinternationalchars(nullptr, nullptr, nullptr, nullptr, &order);
  return xp_time_datetimefmttodtr(text, order, 0, dtr);
}

int xp_time_datetodtr(const char *text, xp_dtr *dtr) {
  if (!xp_time_datetimetodtr(text, dtr)) return 0;
  dtr->hour = dtr->minute = dtr->second = 0;
  return 1;
}

xp_seconds xp_time_datetimetolocal(const char *text) {
  xp_dtr r;
  if (!xp_time_datetimetodtr(text, &r)) return 0;
  return xp_time_dtrtolocal(&r);
}

xp_seconds xp_time_datetolocal(const char *text) {
  xp_dtr r;
  if (!xp_time_datetodtr(text, &r)) return 0;
  return xp_time_dtrtolocal(&r);
}

xp_seconds xp_time_datetimetoutc(const char *text) {
  xp_dtr r;
  if (!xp_time_datetimetodtr(text, &r)) return 0;
  xp_seconds local = xp_time_dtrtolocal(&r);
  if (local == XP_TIME_OUT_OF_RANGE) return 0;
  return local - static_cast<xp_seconds>(xp_time_dtrgmto(&r));
}

xp_seconds xp_time_datetoutc(const char *text) {
  xp_dtr r;
  if (!xp_time_datetodtr(text, &r)) return 0;
  xp_seconds local = xp_time_dtrtolocal(&r);
  if (local == XP_TIME_OUT_OF_RANGE) return 0;
  return local - static_cast<xp_seconds>(xp_time_dtrgmto(&r));
}

// Where the clock and the date share a separator, a clock time alone
// would read as a date: it is read as a clock time.
unsigned long xp_time_timetoseconds(const char *text) {
  char datesep[16], timesep[16];
  int32_t order;
  xpt::xt_getinternationalchars(datesep, timesep, nullptr, nullptr, &order);
  xp_dtr r;
  if (!parse(text, order, datesep, &r, strcmp(datesep, timesep) == 0)) return 0;
  return (static_cast<unsigned long>(r.hour) * 60 + r.minute) * 60 + r.second;
}

}  // extern "C"
