// Test helpers of the time texts: records, and a scope that takes the locale
// texts from strftime in a C library locale or from the platform's formatter.
#ifndef XP_TIME_TEST_UTIL_H
#define XP_TIME_TEST_UTIL_H

#include <locale.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "xp/intl/xp_intl_internal.h"
#include "xp/time/xp_time_internal.h"

namespace xpt_test {

// A record with its weekday filled.
inline xp_dtr record(int y, int mo, int d, int h, int mi, int s) {
  xp_dtr r{uint16_t(y), uint16_t(mo), uint16_t(d), uint16_t(h), uint16_t(mi), uint16_t(s), 0};
  xp_time_localtodtr(xp_time_dtrtolocal(&r), &r);
  return r;
}

inline std::string fields(const xp_dtr &r) {
  char buf[64];
  snprintf(buf, sizeof buf, "%04u-%02u-%02u %02u:%02u:%02u", r.year, r.month, r.day, r.hour,
           r.minute, r.second);
  return buf;
}

// The locale's texts from strftime (the platform turned off) or from the
// platform's formatter, all caches reloaded, until the scope ends; ok() is
// false when the locale or the platform is missing.
class LocaleTexts {
 public:
  static LocaleTexts strftime(const char *name = "C") { return LocaleTexts(name, false); }
  static LocaleTexts platform(const char *name) { return LocaleTexts(name, true); }
  ~LocaleTexts() { use(nullptr, false); }
  bool ok() const { return ok_; }

 private:
  LocaleTexts(const char *name, bool platform) : ok_(use(name, platform)) {}
  static bool use(const char *name, bool platform) {
    name &&platform ? setenv("LC_ALL", name, 1) : unsetenv("LC_ALL");
    name && !platform ? setenv("XP_INTL_NO_PLATFORM", "1", 1) : unsetenv("XP_INTL_NO_PLATFORM");
    bool ok =
        (platform ? xpi_load_framework(nullptr) : setlocale(LC_ALL, name ? name : "C")) != nullptr;
    xp_intl_reset(nullptr);
    xpt::xt_locale_counter = 0;
    xpt::xt_cm_counter = 0;
    return ok;
  }
  bool ok_;
};

}  // namespace xpt_test

#endif  // XP_TIME_TEST_UTIL_H
