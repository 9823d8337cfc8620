// Helpers shared by the library's tests: strings and bytes taken out of
// objects, the installed locales and a scope that uses one, buffers fenced
// by guard bytes, and the allocation-failure sweep.
#ifndef XP_TEST_UTIL_H
#define XP_TEST_UTIL_H

#include <gtest/gtest.h>
#include <locale.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/intl/xp_intl_internal.h"
#include "xp/str/xp_str.h"
#include "xp/time/xp_time_internal.h"

namespace xpt {

using Bytes = std::vector<unsigned char>;

// The string's bytes, releasing the reference; "(null)" for null.
inline std::string take(xp_str *s) {
  if (!s) return "(null)";
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

inline Bytes bytes(const void *p, size_t n) {
  const auto *b = static_cast<const unsigned char *>(p);
  return Bytes(b, b + n);
}

// Every installed UTF-8 locale, as `locale -a` names it.
inline std::vector<std::string> utf8_locales() {
  std::vector<std::string> names;
  FILE *list = popen("locale -a", "r");
  for (char line[256]; list && fgets(line, sizeof line, list);)
    if (strcasestr(line, ".utf8") || strcasestr(line, ".utf-8"))
      names.emplace_back(line, strcspn(line, "\n"));
  if (list) pclose(list);
  return names;
}

// The locale `name` (LC_ALL, LANG and the C library's), with the platform's
// locale services or without them, every settings cache reloaded, until the
// scope ends and the environment is put back. A missing locale or platform
// fails the test.
enum class Platform { on, off };
class Locale {
 public:
  Locale(const char *name, Platform platform) {
    for (int i = 0; i < 3; i++)
      if (const char *v = getenv(kVars[i])) saved_[i] = v;
    setenv("LC_ALL", name, 1);
    setenv("LANG", name, 1);
    platform == Platform::on ? unsetenv(kVars[2]) : setenv(kVars[2], "1", 1);
    EXPECT_TRUE(setlocale(LC_ALL, name) &&
                (platform == Platform::off || xpi_load_framework(nullptr)))
        << "locale " << name << " or the platform is missing";
    reload();
  }
  Locale(const Locale &) = delete;
  ~Locale() {
    setlocale(LC_ALL, "C");
    for (int i = 0; i < 3; i++)
      saved_[i] ? setenv(kVars[i], saved_[i]->c_str(), 1) : unsetenv(kVars[i]);
    reload();
  }

 private:
  static void reload() {
    xp_intl_reset(nullptr);
    xpt::xt_locale_counter = 0;
    xpt::xt_cm_counter = 0;
  }
  static constexpr const char *kVars[3] = {"LC_ALL", "LANG", "XP_INTL_NO_PLATFORM"};
  std::optional<std::string> saved_[3];
};

// size usable bytes with 16 guard bytes on each side.
struct Guarded {
  static constexpr unsigned char kGuard = 0xA5;
  explicit Guarded(size_t size) : area(size + 32, kGuard) {}
  unsigned char *data() { return area.data() + 16; }
  char *chars() { return reinterpret_cast<char *>(data()); }
  // True when nothing before the buffer nor from byte `from` on was written.
  bool clean_from(size_t from) const {
    for (size_t i = 0; i < area.size(); ++i)
      if ((i < 16 || i >= 16 + from) && area[i] != kGuard) return false;
    return true;
  }
  Bytes area;
};

// Runs make() with its k-th allocation failing, k = 1, 2, ..., until a run
// completes without reaching the failure. check(result, failed) judges every
// run and releases the result. Returns the allocations a complete run makes.
template <class Make, class Check>
long alloc_sweep(Make make, Check check) {
  for (long k = 1; k < 200; ++k) {
    xpc::fail_alloc_after(k);
    auto r = make();
    bool failed = !xpc::alloc_failure_pending();
    xpc::fail_alloc_after(0);
    check(r, failed);
    if (!failed) return k - 1;
  }
  ADD_FAILURE() << "never completed";
  return -1;
}

}  // namespace xpt

#endif  // XP_TEST_UTIL_H
