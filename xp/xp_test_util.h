// Helpers shared by the library's tests: strings and bytes taken out of
// objects, the installed locales, buffers fenced by guard bytes, and the
// allocation-failure sweep.
#ifndef XP_TEST_UTIL_H
#define XP_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/str/xp_str.h"

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
