// Reading dates and clock times as a user types them in the order and with
// the separators, markers and month names of the current locale; the
// locale's characters and month names are measured from its own texts and
// cached, refreshed every 10000 calls.
#include <sched.h>
#include <string.h>

#include <atomic>

#include "xp/time/xp_time_internal.h"

namespace xpt {

std::atomic<int32_t> xt_locale_counter{0};
std::atomic<int32_t> xt_cm_counter{0};

}  // namespace xpt

namespace {

constexpr int32_t kRefreshEvery = 10000;

// One small lock over both caches: refreshing writes them in place.
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

char xt_datesep[16] = "/";
char xt_timesep[16] = ":";
char xt_ampm[2][16] = {"AM", "PM"};
int32_t xt_datefmt = -1;
char xt_months[12][64];

// Counts a call; true when the count says to refresh.
bool due(std::atomic<int32_t> &counter) {
  int32_t n = counter.fetch_add(1, std::memory_order_relaxed);
  return n % kRefreshEvery == 0;
}

// The sample moment of the measurements: Wednesday 2006-02-15 06:34:56.
xp_dtr sample() {
  xp_dtr r;
  r.year = 2006;
  r.month = 2;
  r.day = 15;
  r.hour = 6;
  r.minute = 34;
  r.second = 56;
  r.weekday = 3;
  return r;
}

bool blank(char c) {
  return c == ' ' || c == '\t';
}

bool digit(char c) {
  return c >= '0' && c <= '9';
}

// The locale's marker of the record's half of the day, without surrounding
// blanks, at most 15 bytes; the default when empty.
void marker(const xp_dtr *r, char out[16], const char *fallback) {
  char text[64];
  long len = xpt::xt_dtrstring(r, xpt::XT_AMPM, text, sizeof text);
  while (len > 0 && blank(text[len - 1]))
    --len;
  long start = 0;
  while (start < len && blank(text[start]))
    ++start;
  len -= start;
  if (len > 15) len = 15;
  if (len <= 0) {
    strcpy(out, fallback);
    return;
  }
  memcpy(out, text + start, static_cast<size_t>(len));
  out[len] = 0;
}

void refresh_chars() {
  xp_dtr r = sample();
  marker(&r, xt_ampm[0], "AM");
  r.hour = 22;
  marker(&r, xt_ampm[1], "PM");
  r.hour = 6;

  // A clock time of 06:34:56 shows its separator between the hour and the
  // tens of the minute.
  char text[64];
  strcpy(xt_timesep, ":");
  long len = xpt::xt_dtrstring(&r, xpt::XT_TIMESECONDS, text, sizeof text);
  if (len >= 4 && text[3] == '3') {
    xt_timesep[0] = text[2];
    xt_timesep[1] = 0;
  }

  // The short date: its first separator, and where the day (15) stands.
  xt_datesep[0] = 0;
  len = xpt::xt_dtrstring(&r, xpt::XT_SHORTDATE, text, sizeof text);
  if (len <= 0) {
    xt_datefmt = 1;
  } else {
    static const int32_t kOrderOfPosition[3] = {1, 0, 2};
    long i = 0;
    for (int position = 0; position < 3 && i < len;) {
      long number = 0;
      while (i < len && digit(text[i]))
        number = number * 10 + (text[i++] - '0');
      if (i < len) {
        if (i + 1 < len && digit(text[i + 1])) {
          if (!xt_datesep[0]) {
            xt_datesep[0] = text[i];
            xt_datesep[1] = 0;
          }
          ++i;
        } else {
          while (i < len && !digit(text[i]))
            ++i;
        }
      }
      if (number == 15) {
        xt_datefmt = kOrderOfPosition[position];
        break;
      }
      ++position;
    }
  }
  if (!xt_datesep[0]) strcpy(xt_datesep, "/");
}

void refresh_months() {
  xp_dtr r = sample();
  r.hour = 12;
  r.minute = 0;
  r.second = 0;
  for (int m = 1; m <= 12; ++m) {
    r.month = static_cast<uint16_t>(m);
    if (xpt::xt_dtrstring(&r, xpt::XT_ABBREVMONTH, xt_months[m - 1], 64) <= 0)
      xt_months[m - 1][0] = 0;
  }
}

// ---- The parser -------------------------------------------------------------

char fold(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Length of `word` when the text starts with it (ASCII case ignored), else 0.
size_t starts_with(const char *text, const char *word, size_t len) {
  if (len == 0) return 0;
  for (size_t i = 0; i < len; ++i)
    if (fold(text[i]) != fold(word[i])) return 0;  // stops at the text's zero byte
  return len;
}

// A separator: the plain character or the locale's text.
size_t separator(const char *p, char plain, const char *local) {
  if (*p == plain) return 1;
  return local[0] ? starts_with(p, local, strlen(local)) : 0;
}

enum Marker { kNone, kAm, kPm };

// An AM/PM marker at p: its length and which one.
size_t match_marker(const char *p, const char *am, const char *pm, Marker *which) {
  size_t n;
  if ((n = starts_with(p, pm, strlen(pm))) || (n = starts_with(p, "PM", 2))) {
    *which = kPm;
    return n;
  }
  if ((n = starts_with(p, am, strlen(am))) || (n = starts_with(p, "AM", 2))) {
    *which = kAm;
    return n;
  }
  return 0;
}

const char *skip_blanks(const char *p) {
  while (blank(*p))
    ++p;
  return p;
}

// Work fields: 1...3 the date numbers (read from 3 down), 4 hour, 5 minute,
// 6 second.
constexpr int kHour = 4, kMinute = 5, kSecond = 6;

void accumulate(uint16_t *field, char c) {
  uint32_t v = *field * 10u + static_cast<uint32_t>(c - '0');
  *field = static_cast<uint16_t>(v > 0xFFFF ? 0xFFFF : v);
}

}  // namespace

namespace xpt {

void xt_getinternationalchars(char *datesep, char *timesep, char *am, char *pm, int32_t *datefmt) {
  CacheLock guard;
  if (due(xt_locale_counter)) refresh_chars();
  if (datesep) memcpy(datesep, xt_datesep, 16);
  if (timesep) memcpy(timesep, xt_timesep, 16);
  if (am) memcpy(am, xt_ampm[0], 16);
  if (pm) memcpy(pm, xt_ampm[1], 16);
  if (datefmt) *datefmt = xt_datefmt;
}

void xt_monthname(char months[12][64]) {
  CacheLock guard;
  if (due(xt_cm_counter)) refresh_months();
  memcpy(months, xt_months, sizeof xt_months);
}

}  // namespace xpt

extern "C" {

int xp_time_datetimefmttodtr(const char *text, int32_t order, char separator_char, xp_dtr *dtr) {
  char datesep[16], timesep[16], am[16], pm[16];
  xpt::xt_getinternationalchars(datesep, timesep, am, pm, nullptr);
  if (separator_char) {
    datesep[0] = separator_char;
    datesep[1] = 0;
  }
  xp_dtr now;
  xp_time_getdtr(&now);
  if (dtr) *dtr = now;
  if (!text || !dtr) return 0;

  uint16_t w[7] = {0, 0, 0, 0, 0, 0, 0};
  bool got[7] = {false, false, false, false, false, false, false};
  int separators = 0;
  const char *p = skip_blanks(text);

  // Date phase.
  int f = 3;
  char months[12][64];
  bool months_loaded = false;
  while (*p) {
    size_t n = separator(p, '/', datesep);
    if (n) {
      if (f == 1) break;
      --f;
      ++separators;
      p += n;
      continue;
    }
    if (digit(*p)) {
      accumulate(&w[f], *p++);
      got[f] = true;
      continue;
    }
    if (w[f]) break;
    if (!months_loaded) {
      xpt::xt_monthname(months);
      months_loaded = true;
    }
    int m;
    for (m = 12; m >= 1; --m) {
      n = starts_with(p, months[m - 1], strlen(months[m - 1]));
      if (!n) n = starts_with(p, xpt::xt_strs_mons[m - 1], 3);
      if (n) break;
    }
    if (m < 1) break;
    w[f] = static_cast<uint16_t>(m);
    got[f] = true;
    p += n;
  }

  Marker mark = kNone;
  int t;  // the time field being read
  size_t colon = separator(p, ':', timesep);
  if (f == 3 || colon) {
    if (f != 3) return 0;  // a date followed directly by a clock time
    w[kHour] = w[3];
    got[3] = false;
    // Today, in the reading order of the date numbers.
    uint16_t y = now.year, m = now.month, d = now.day;
    if (order == 2) {
      w[3] = y, w[2] = m, w[1] = d;
    } else if (order == 1) {
      w[3] = d, w[2] = m, w[1] = y;
    } else {
      w[3] = m, w[2] = d, w[1] = y;
    }
    if (colon) {
      ++separators;
      p += colon;
    }
    t = kMinute;
  } else {
    p = skip_blanks(p);
    if (*p) p += match_marker(p, am, pm, &mark);
    p = skip_blanks(p);
    t = kHour;
  }

  // Time phase.
  while (*p) {
    size_t n = separator(p, ':', timesep);
    if (n) {
      if (t == kSecond) break;
      ++t;
      ++separators;
      p += n;
      continue;
    }
    if (!digit(*p)) break;
    accumulate(&w[t], *p++);
  }
  p = skip_blanks(p);
  if (mark == kNone && *p) match_marker(p, am, pm, &mark);

  if (separators == 0 && mark == kNone) return 0;
  if (mark == kPm) w[kHour] = static_cast<uint16_t>(w[kHour] % 12 + 12);
  if (mark == kAm) w[kHour] = static_cast<uint16_t>(w[kHour] % 12);

  uint16_t year, month, day;
  if (order == 2) {
    year = w[3], month = w[2], day = w[1];
  } else if (order == 1) {
    day = w[3], month = w[2], year = w[1];
  } else {
    month = w[3], day = w[2], year = w[1];
  }
  if (month < 1 || month > 12 || day < 1 || day > 31 || w[kHour] > 23 || w[kMinute] > 59 ||
      w[kSecond] > 59)
    return 0;
  // The year comes from the text only when all three date numbers were read.
  bool all_three = got[1] && got[2] && got[3];
  xp_dtr r;
  r.year = all_three ? year : now.year;
  r.month = month;
  r.day = day;
  r.hour = w[kHour];
  r.minute = w[kMinute];
  r.second = w[kSecond];
  r.weekday = 0;
  // Carries an overflowing day into the next month; a year after 2038 gives
  // the record of the out-of-range marker.
  xp_time_localtodtr(xp_time_dtrtolocal(&r), dtr);
  return 1;
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

unsigned long xp_time_timetoseconds(const char *text) {
  xp_dtr r;
  if (!xp_time_datetimetodtr(text, &r)) return 0;
  return (static_cast<unsigned long>(r.hour) * 60 + r.minute) * 60 + r.second;
}

}  // extern "C"
