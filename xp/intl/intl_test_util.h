// Test helper: run a test in a named locale, with or without the platform's
// locale services, and put the environment back afterwards.
#ifndef XP_INTL_TEST_UTIL_H
#define XP_INTL_TEST_UTIL_H

#include <locale.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace xpi_test {

enum class Platform { on, off };

class Locale {
 public:
  Locale(const char *name, Platform platform) {
    for (int i = 0; i < 3; i++) {
      if (const char *v = getenv(kVars[i])) saved_[i] = v;
    }
    setenv("LC_ALL", name, 1);
    setenv("LANG", name, 1);
    if (platform == Platform::off)
      setenv("XP_INTL_NO_PLATFORM", "1", 1);
    else
      unsetenv("XP_INTL_NO_PLATFORM");
    EXPECT_NE(setlocale(LC_ALL, name), nullptr) << "locale " << name << " is not installed";
  }
  ~Locale() {
    setlocale(LC_ALL, "C");
    for (int i = 0; i < 3; i++) {
      if (saved_[i])
        setenv(kVars[i], saved_[i]->c_str(), 1);
      else
        unsetenv(kVars[i]);
    }
  }

 private:
  static constexpr const char *kVars[3] = {"LC_ALL", "LANG", "XP_INTL_NO_PLATFORM"};
  std::optional<std::string> saved_[3];
};

}  // namespace xpi_test

#endif  // XP_INTL_TEST_UTIL_H
