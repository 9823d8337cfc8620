// Data object: layout, construction and ownership, appending as a longer
// copy, the accessors and deserialisation from a tagged-container item.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const xp_data *d) {
  auto *p = static_cast<const unsigned char *>(xp_data_getptr(d));
  return Bytes(p, p + xp_data_length(d));
}

TEST(Data, LayoutConstructionAndOwnership) {
  EXPECT_EQ(offsetof(xp_data, length), sizeof(xp_obj));
  EXPECT_EQ(offsetof(xp_data, bytes), sizeof(xp_obj) + sizeof(void *));
  xp_data *d = xp_data_new("abc", 3);
  EXPECT_EQ(std::memcmp(&d->obj.type, "data", 4), 0);
  EXPECT_EQ(d->bytes, reinterpret_cast<const unsigned char *>(d) + sizeof(xp_data));
  EXPECT_EQ(bytes_of(d), (Bytes{'a', 'b', 'c'}));
  xp_release(d);
  d = xp_data_new(nullptr, 8);
  EXPECT_EQ(bytes_of(d), Bytes(8, 0));
  xp_data_release(d);  // safe on any data object
  EXPECT_EQ(xp_data_length(nullptr), 0u);
  EXPECT_EQ(*static_cast<const unsigned char *>(xp_data_getptr(nullptr)), 0);

  static const unsigned char fixed[] = {1, 2, 3};
  d = xp_data_const(fixed, 3);
  EXPECT_EQ(xp_data_getptr(d), fixed);
  xp_release(d);
  auto *block = static_cast<unsigned char *>(xp_alloc(5));
  d = xp_data_alloc(block, 5);
  EXPECT_EQ(xp_data_getptr(d), block);
  xp_retain(d);
  xp_data_release(d);
  EXPECT_EQ(xp_refs(d), 1);
  xp_release(d);  // frees the block with it (leak checker)
}

TEST(Data, AppendMakesALongerCopy) {
  Bytes twenty(20);
  for (size_t i = 0; i < 20; i++)
    twenty[i] = static_cast<unsigned char>(i + 1);
  xp_data *d = xp_data_new(twenty.data(), 20);
  xp_data *grown = xp_data_append(d, nullptr, 12);
  Bytes expect = twenty;
  expect.resize(32, 0);
  EXPECT_EQ(bytes_of(grown), expect);
  EXPECT_EQ(bytes_of(d), twenty);
  xp_data *more = xp_data_append(grown, "xy", 2);
  EXPECT_EQ(bytes_of(more).back(), 'y');
  xp_data *same = xp_data_append(d, "zz", 0);
  EXPECT_EQ(same, d);
  xp_data *empty = xp_data_new(nullptr, 0);
  xp_data *fresh = xp_data_append(empty, "abc", 3);
  EXPECT_NE(fresh, empty);
  EXPECT_EQ(bytes_of(fresh), (Bytes{'a', 'b', 'c'}));
  EXPECT_EQ(xp_refs(empty), 1);
  xp_data *fromnull = xp_data_append(nullptr, nullptr, 4);
  EXPECT_EQ(bytes_of(fromnull), Bytes(4, 0));
  for (xp_data *x : {d, grown, more, same, empty, fresh, fromnull})
    xp_release(x);
}

TEST(Data, GetAndDeserialise) {
  xp_data *d = xp_data_new("abcdef", 6);
  unsigned char buf[10];
  std::memset(buf, 0xEE, sizeof buf);
  EXPECT_EQ(xp_data_get(d, buf, 0), 0u);
  EXPECT_EQ(xp_data_get(d, nullptr, 2), 6u);
  EXPECT_EQ(xp_data_get(d, buf, 4), 4u);
  EXPECT_EQ(std::memcmp(buf, "abcd\xee", 5), 0);
  EXPECT_EQ(xp_data_get(d, buf, 10), 6u);
  EXPECT_EQ(xp_data_get(nullptr, buf, 10), 0u);

  auto item = [](const char *type, uint32_t tag) {
    Bytes v(16);
    std::memcpy(v.data(), &tag, 4);
    std::memcpy(v.data() + 4, type, 4);
    v[11] = 3;  // big-endian length
    v[12] = 1, v[13] = 0, v[14] = 2;
    return v;
  };
  auto ok = item("data", 5);
  auto *r = reinterpret_cast<xp_data *>(xp_deserialize(d, 5, reinterpret_cast<xp_word>(ok.data())));
  EXPECT_EQ(bytes_of(r), (Bytes{1, 0, 2}));
  xp_release(r);
  EXPECT_EQ(xp_deserialize(d, 6, reinterpret_cast<xp_word>(ok.data())), 0);
  EXPECT_EQ(xp_deserialize(d, 0, reinterpret_cast<xp_word>(item("xstr", 5).data())), 0);
  EXPECT_EQ(xp_data_control(d, 7, 0, 0), 0);
  xp_release(d);
}

}  // namespace
