// Data object: layout, construction, appending as a longer copy, the
// accessors and deserialisation from a tagged-container item.
#include <gtest/gtest.h>

#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const xp_data *d) {
  auto *p = static_cast<const unsigned char *>(xp_data_getptr(d));
  return Bytes(p, p + xp_data_length(d));
}

TEST(Data, ConstructAppendGetAndDeserialise) {
  xp_data *d = xp_data_new("abcdef", 6);
  EXPECT_EQ(std::memcmp(&d->obj.type, "data", 4), 0);
  EXPECT_EQ(d->bytes, reinterpret_cast<const unsigned char *>(d) + sizeof(xp_data));
  static const unsigned char fixed[] = {1, 2, 3};
  xp_data *c = xp_data_const(fixed, 3);
  EXPECT_EQ(xp_data_getptr(c), fixed);
  // Appending copies, zero-filling for null bytes; the source is untouched.
  xp_data *grown = xp_data_append(d, nullptr, 12);
  EXPECT_EQ(bytes_of(grown),
            (Bytes{'a', 'b', 'c', 'd', 'e', 'f', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(xp_data_length(d), 6u);
  xp_data *same = xp_data_append(d, "zz", 0);
  EXPECT_EQ(same, d);
  xp_data *empty = xp_data_new(nullptr, 0), *fresh = xp_data_append(empty, "abc", 3);
  EXPECT_NE(fresh, empty);
  EXPECT_EQ(bytes_of(fresh), (Bytes{'a', 'b', 'c'}));

  unsigned char buf[10];
  std::memset(buf, 0xEE, sizeof buf);
  EXPECT_EQ(xp_data_get(d, nullptr, 2), 6u);
  EXPECT_EQ(xp_data_get(d, buf, 4), 4u);
  EXPECT_EQ(std::memcmp(buf, "abcd\xee", 5), 0);
  EXPECT_EQ(xp_data_get(d, buf, 10), 6u);

  // Deserialising: the tag must match and the item must hold data.
  Bytes item{5, 0, 0, 0, 'd', 'a', 't', 'a', 0, 0, 0, 3, 1, 0, 2, 0};
  auto *r =
      reinterpret_cast<xp_data *>(xp_deserialize(d, 5, reinterpret_cast<xp_word>(item.data())));
  EXPECT_EQ(bytes_of(r), (Bytes{1, 0, 2}));
  EXPECT_EQ(xp_deserialize(d, 6, reinterpret_cast<xp_word>(item.data())), 0);
  std::memcpy(item.data() + 4, "xstr", 4);
  EXPECT_EQ(xp_deserialize(d, 0, reinterpret_cast<xp_word>(item.data())), 0);
  for (xp_data *x : {d, c, grown, same, empty, fresh, r})
    xp_release(x);
}

}  // namespace
