// Strings made by the format engine, and data objects rendered as text.
#include <gtest/gtest.h>

#include <string>

#include "xp/str/xp_str_internal.h"

namespace {

std::string take(xp_str *s) {
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

TEST(StrFormat, MeasuresThenFormatsIntoTheNewString) {
  EXPECT_EQ(take(xp_str_format("%d-%s-%c", 42, "x", 'y')), "42-x-y");
  EXPECT_EQ(take(xp_str_format("")), "");
  xp_str *s = xp_str_format("%s", "plain");
  EXPECT_EQ(xp_str_getptr(s)[xp_str_length(s)], 0);
  // An object renders through its own textify operation.
  EXPECT_EQ(take(xp_str_format("[%O]", s)), "[plain]");
  xp_str_release(s);
  // Long output: the allocation is made from the measured size.
  std::string big(100000, 'q');
  EXPECT_EQ(take(xp_str_format("<%s>", big.c_str())), "<" + big + ">");
}

TEST(DataText, BytesAsUpperCaseHex) {
  xp_data *d = xp_data_new("\x01\xab\x00\xff", 4);
  char buf[16];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(xp_textify(d, 0, 0, 0), 8);
  EXPECT_EQ(xp_textify(d, reinterpret_cast<xp_word>(buf), sizeof buf, 0), 8);
  EXPECT_EQ(std::string(buf, 9), "01AB00FF#");
  // A short room keeps the beginning; nothing past it is written.
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(xp_textify(d, reinterpret_cast<xp_word>(buf), 3, 0), 3);
  EXPECT_EQ(std::string(buf, 4), "01A#");
  EXPECT_EQ(xp_textify(d, reinterpret_cast<xp_word>(buf), -1, 0), 0);
  EXPECT_EQ(buf[0], '0');
  xp_release(d);
  xp_data *c = xp_data_const("\x7f", 1);
  EXPECT_EQ(xp_textify(c, reinterpret_cast<xp_word>(buf), sizeof buf, 0), 2);
  EXPECT_EQ(std::string(buf, 2), "7F");
  xp_str *s = xp_str_format("%O", c);
  EXPECT_EQ(take(s), "7F");
  xp_release(c);
}

}  // namespace
