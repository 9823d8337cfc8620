// Test helpers for the format engine: run a format both measuring and
// writing, and compare.
#ifndef XP_FMT_TEST_UTIL_H
#define XP_FMT_TEST_UTIL_H

#include <gtest/gtest.h>
#include <stdarg.h>
#include <string.h>

#include <string>

#include "xp/fmt/xp_fmt.h"

struct Formatted {
  std::string text;
  size_t written;
  size_t measured;
};

inline Formatted vrun(const char *format, va_list ap) {
  va_list ap2;
  va_copy(ap2, ap);
  char buf[2048];
  memset(buf, 0x55, sizeof buf);
  Formatted f;
  f.written = xp_fmt_vformat(buf, sizeof buf, format, ap);
  f.measured = xp_fmt_vformat(nullptr, 0, format, ap2);
  va_end(ap2);
  f.text.assign(buf, strnlen(buf, sizeof buf));
  return f;
}

inline Formatted run(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  Formatted f = vrun(format, ap);
  va_end(ap);
  return f;
}

// The text, the written count equal to its length, and the measured count
// equal to it.
#define EXPECT_FMT(expected, ...)                  \
  do {                                             \
    Formatted f_ = run(__VA_ARGS__);               \
    EXPECT_EQ(std::string(expected), f_.text);     \
    EXPECT_EQ(f_.text.size(), f_.written);         \
    EXPECT_EQ(f_.written, f_.measured) << f_.text; \
  } while (0)

// As EXPECT_FMT where measuring may over-estimate.
#define EXPECT_FMT_OVER(expected, ...)             \
  do {                                             \
    Formatted f_ = run(__VA_ARGS__);               \
    EXPECT_EQ(std::string(expected), f_.text);     \
    EXPECT_EQ(f_.text.size(), f_.written);         \
    EXPECT_GE(f_.measured, f_.written) << f_.text; \
  } while (0)

#endif  // XP_FMT_TEST_UTIL_H
