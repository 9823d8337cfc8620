// Test helpers: run a test in a named locale, with or without the
// platform's locale services, and put everything back afterwards.
#ifndef XP_INTL_TEST_UTIL_H
#define XP_INTL_TEST_UTIL_H

#include <locale.h>
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

namespace xpi_test {

enum class Platform { on, off };

// Names the locale in the environment (where the platform services read
// it) and, for the C library fallbacks, selects it with setlocale.
class Locale {
 public:
  Locale(const char *name, Platform platform) {
    save("LC_ALL", &all_, &had_all_);
    save("LANG", &lang_, &had_lang_);
    save("XP_INTL_NO_PLATFORM", &off_, &had_off_);
    setenv("LC_ALL", name, 1);
    setenv("LANG", name, 1);
    if (platform == Platform::off)
      setenv("XP_INTL_NO_PLATFORM", "1", 1);
    else
      unsetenv("XP_INTL_NO_PLATFORM");
    ok_ = setlocale(LC_ALL, name) != nullptr;
    EXPECT_TRUE(ok_) << "locale " << name << " is not installed";
  }
  ~Locale() {
    setlocale(LC_ALL, "C");
    restore("LC_ALL", all_, had_all_);
    restore("LANG", lang_, had_lang_);
    restore("XP_INTL_NO_PLATFORM", off_, had_off_);
  }
  bool ok() const { return ok_; }

 private:
  static void save(const char *var, std::string *value, bool *had) {
    const char *v = getenv(var);
    *had = v != nullptr;
    if (v) *value = v;
  }
  static void restore(const char *var, const std::string &value, bool had) {
    if (had)
      setenv(var, value.c_str(), 1);
    else
      unsetenv(var);
  }
  std::string all_, lang_, off_;
  bool had_all_, had_lang_, had_off_, ok_;
};

}  // namespace xpi_test

#endif  // XP_INTL_TEST_UTIL_H
