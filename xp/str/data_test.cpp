// Data object: construction, appending as a longer copy, the accessors and
// the text form (deserialising is tested with the tagged container).
#include <gtest/gtest.h>

#include <vector>

#include "xp/str/xp_str.h"
#include "xp/xp_test_util.h"

using xpt::Bytes;
static Bytes bytes_of(const xp_data *d) {
  return xpt::bytes(xp_data_getptr(d), xp_data_length(d));
}

TEST(Data, ConstructAppendGetAndDeserialise) {
  xp_data *d = xp_data_new("abcdef", 6);
  EXPECT_EQ(xp_type(d), xp_tag("data"));
  static const unsigned char fixed[] = {1, 2, 3};
  xp_data *c = xp_data_const(fixed, 3);
  EXPECT_EQ(xp_data_getptr(c), fixed);
  EXPECT_EQ(xpt::take(xp_str_format("%O", c)), "010203");
  // Appending copies, zero-filling for null bytes; the source is untouched.
  xp_data *grown = xp_data_append(d, nullptr, 12), *same = xp_data_append(d, "zz", 0);
  EXPECT_EQ(bytes_of(grown),
            (Bytes{'a', 'b', 'c', 'd', 'e', 'f', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(bytes_of(d), (Bytes{'a', 'b', 'c', 'd', 'e', 'f'}));
  EXPECT_EQ(same, d);
  xp_data *empty = xp_data_new(nullptr, 0), *fresh = xp_data_append(empty, "abc", 3);
  EXPECT_EQ(bytes_of(fresh), (Bytes{'a', 'b', 'c'}));
  unsigned char buf[10];
  std::memset(buf, 0xEE, sizeof buf);
  EXPECT_EQ(xp_data_get(d, nullptr, 2) * 100 + xp_data_get(d, buf, 4), 604u);
  EXPECT_EQ(std::memcmp(buf, "abcd\xee", 5), 0);
  EXPECT_EQ(xp_data_get(d, buf, 10), 6u);
  for (xp_data *x : {d, c, grown, same, empty, fresh})
    xp_release(x);
}

TEST(Data, TextIsUpperCaseHexCutToTheRoom) {
  xp_data *d = xp_data_new("\x01\xab\x00\xff", 4);
  for (intptr_t room : {-1, 0, 3, 8, 16}) {
    xpt::Guarded g(room < 0 ? 0 : size_t(room));
    xp_word n = xp_textify(d, xp_word(g.data()), room, 0);
    EXPECT_EQ(std::string(g.chars(), size_t(n)), std::string("01AB00FF").substr(0, n)) << room;
    EXPECT_EQ(n, room < 0 ? 0 : std::min<intptr_t>(room, 8));
    EXPECT_TRUE(g.clean_from(size_t(n)));
  }
  EXPECT_EQ(xp_textify(d, 0, 0, 0), 8);
  EXPECT_EQ(xpt::take(xp_str_format("[%O]", d)), "[01AB00FF]");
  xp_release(d);
}
