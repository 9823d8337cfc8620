// Runs a format both writing and measuring, for comparison.
#ifndef XP_FMT_TEST_UTIL_H
#define XP_FMT_TEST_UTIL_H

#include <gtest/gtest.h>
#include <stdarg.h>
#include <string.h>

#include <string>

#include "xp/fmt/xp_fmt.h"

struct Formatted {
  std::string text;
  size_t written, measured;
};

inline Formatted run(const char *format, ...) {
  va_list ap, ap2;
  va_start(ap, format);
  va_copy(ap2, ap);
  char buf[2048];
  memset(buf, 0x55, sizeof buf);
  Formatted f;
  f.written = xp_fmt_vformat(buf, sizeof buf, format, ap);
  f.measured = xp_fmt_vformat(nullptr, 0, format, ap2);
  va_end(ap2);
  va_end(ap);
  f.text.assign(buf, strnlen(buf, sizeof buf));
  return f;
}

// The text, the written count equal to its length, and the measured count
// equal to it (EXPECT_FMT) or at least it (EXPECT_FMT_OVER).
#define XP_EXPECT_FMT_(cmp, expected, ...)     \
  do {                                         \
    Formatted f_ = run(__VA_ARGS__);           \
    EXPECT_EQ(std::string(expected), f_.text); \
    EXPECT_EQ(f_.text.size(), f_.written);     \
    cmp(f_.measured, f_.written) << f_.text;   \
  } while (0)
#define EXPECT_FMT(...) XP_EXPECT_FMT_(EXPECT_EQ, __VA_ARGS__)
#define EXPECT_FMT_OVER(...) XP_EXPECT_FMT_(EXPECT_GE, __VA_ARGS__)

#endif  // XP_FMT_TEST_UTIL_H
