// Test scopes for the locale texts: strftime in a chosen C library locale
// (the platform's formatter switched off), or the platform's formatter for
// a chosen locale. Both reload the locale settings and the time parsers'
// caches on entry and on exit.
#ifndef XP_TIME_TEST_UTIL_H
#define XP_TIME_TEST_UTIL_H

#include <locale.h>
#include <stdlib.h>

#include <string>

#include "xp/intl/xp_intl.h"
#include "xp/intl/xp_intl_internal.h"
#include "xp/time/xp_time_internal.h"

namespace xpt_test {

inline void reload_locale_caches() {
  xp_intl_reset(nullptr);
  xpt::xt_locale_counter = 0;
  xpt::xt_cm_counter = 0;
}

// Locale texts from strftime in the C library's locale `name`; ok() is
// false when that locale is not installed (the scope then uses "C").
class StrftimeTexts {
 public:
  explicit StrftimeTexts(const char *name = "C") {
    setenv("XP_INTL_NO_PLATFORM", "1", 1);
    ok_ = setlocale(LC_ALL, name) != nullptr;
    if (!ok_) setlocale(LC_ALL, "C");
    reload_locale_caches();
  }
  ~StrftimeTexts() {
    unsetenv("XP_INTL_NO_PLATFORM");
    setlocale(LC_ALL, "C");
    reload_locale_caches();
  }
  bool ok() const { return ok_; }
  StrftimeTexts(const StrftimeTexts &) = delete;
  StrftimeTexts &operator=(const StrftimeTexts &) = delete;

 private:
  bool ok_;
};

// Locale texts from the platform's formatter for the locale `name`; ok()
// is false when the platform has no formatter.
class PlatformTexts {
 public:
  explicit PlatformTexts(const char *name) {
    const char *old = getenv("LC_ALL");
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv("LC_ALL", name, 1);
    ok_ = xpi_load_framework(nullptr) != nullptr;
    reload_locale_caches();
  }
  ~PlatformTexts() {
    if (had_)
      setenv("LC_ALL", old_.c_str(), 1);
    else
      unsetenv("LC_ALL");
    reload_locale_caches();
  }
  bool ok() const { return ok_; }
  PlatformTexts(const PlatformTexts &) = delete;
  PlatformTexts &operator=(const PlatformTexts &) = delete;

 private:
  bool ok_;
  bool had_;
  std::string old_;
};

}  // namespace xpt_test

#endif  // XP_TIME_TEST_UTIL_H
