// Strings made by the format engine.
#include <gtest/gtest.h>

#include <string>

#include "xp/str/xp_str.h"
#include "xp/xp_test_util.h"

TEST(StrFormat, MeasuresThenFormatsIntoTheNewString) {
  EXPECT_EQ(xpt::take(xp_str_format("%d-%s-%c", 42, "x", 'y')), "42-x-y");
  EXPECT_EQ(xpt::take(xp_str_format("")), "");
  xp_str *s = xp_str_format("%s", "plain");
  EXPECT_EQ(xp_str_getptr(s)[xp_str_length(s)], 0);
  EXPECT_EQ(xpt::take(xp_str_format("[%O]", s)), "[plain]");  // through its own textify
  xp_str_release(s);
  std::string big(100000, 'q');  // the allocation is made from the measured size
  EXPECT_EQ(xpt::take(xp_str_format("<%s>", big.c_str())), "<" + big + ">");
}
