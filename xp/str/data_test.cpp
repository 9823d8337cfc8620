// Data object: layout, zero-filled and copied construction, borrowed and
// owned blocks, appending as a longer copy, the accessors and
// deserialisation from a tagged-container item.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

std::vector<unsigned char> bytes_of(const xp_data *d) {
  auto *p = static_cast<const unsigned char *>(xp_data_getptr(d));
  return std::vector<unsigned char>(p, p + xp_data_length(d));
}

TEST(Data, LayoutIsHeaderLengthPointerInlineBytes) {
  EXPECT_EQ(offsetof(xp_data, length), sizeof(xp_obj));
  EXPECT_EQ(offsetof(xp_data, bytes), sizeof(xp_obj) + sizeof(void *));
  xp_data *d = xp_data_new("abc", 3);
  ASSERT_TRUE(d);
  EXPECT_EQ(xp_type(d), xp_data_type());
  EXPECT_EQ(std::memcmp(&d->obj.type, "data", 4), 0);
  EXPECT_EQ(d->bytes, reinterpret_cast<const unsigned char *>(d) + sizeof(xp_data));
  EXPECT_EQ(d->length, 3u);
  xp_release(d);
}

TEST(Data, NewCopiesOrZeroFills) {
  xp_data *z = xp_data_new(nullptr, 8);
  EXPECT_EQ(bytes_of(z), std::vector<unsigned char>(8, 0));
  xp_data *e = xp_data_new(nullptr, 0);
  EXPECT_EQ(xp_data_length(e), 0u);
  EXPECT_EQ(xp_data_length(nullptr), 0u);
  EXPECT_EQ(*static_cast<const unsigned char *>(xp_data_getptr(nullptr)), 0);
  xp_release(z);
  xp_data_release(e);  // safe on any data object
}

TEST(Data, ConstBorrowsAndAllocOwns) {
  static const unsigned char fixed[] = {1, 2, 3};
  xp_data *c = xp_data_const(fixed, 3);
  EXPECT_EQ(xp_data_getptr(c), fixed);
  EXPECT_EQ(xp_data_length(c), 3u);
  xp_release(c);
  auto *block = static_cast<unsigned char *>(xp_alloc(5));
  block[4] = 9;
  xp_data *a = xp_data_alloc(block, 5);
  EXPECT_EQ(xp_data_getptr(a), block);
  xp_retain(a);
  xp_data_release(a);
  EXPECT_EQ(xp_refs(a), 1);
  EXPECT_EQ(bytes_of(a)[4], 9);
  xp_release(a);  // block freed with it (checked by the leak checker)
}

TEST(Data, AppendMakesALongerCopy) {
  std::vector<unsigned char> twenty(20);
  for (size_t i = 0; i < 20; i++)
    twenty[i] = static_cast<unsigned char>(i + 1);
  xp_data *d = xp_data_new(twenty.data(), 20);
  xp_data *grown = xp_data_append(d, nullptr, 12);
  ASSERT_TRUE(grown);
  std::vector<unsigned char> expect = twenty;
  expect.resize(32, 0);
  EXPECT_EQ(bytes_of(grown), expect);
  EXPECT_EQ(bytes_of(d), twenty);
  xp_data *more = xp_data_append(grown, "xy", 2);
  EXPECT_EQ(bytes_of(more).size(), 34u);
  EXPECT_EQ(bytes_of(more)[33], 'y');
  xp_data *same = xp_data_append(d, "zz", 0);
  EXPECT_EQ(same, d);
  EXPECT_EQ(xp_refs(d), 2);

  xp_data *empty = xp_data_new(nullptr, 0);
  xp_data *fresh = xp_data_append(empty, "abc", 3);
  EXPECT_NE(fresh, empty);
  EXPECT_EQ(bytes_of(fresh), (std::vector<unsigned char>{'a', 'b', 'c'}));
  EXPECT_EQ(xp_refs(empty), 1);
  xp_data *fromnull = xp_data_append(nullptr, nullptr, 4);
  EXPECT_EQ(bytes_of(fromnull), std::vector<unsigned char>(4, 0));
  for (xp_data *x : {d, grown, more, same, empty, fresh, fromnull})
    xp_release(x);
}

TEST(Data, GetCopiesAtMostTheSize) {
  xp_data *d = xp_data_new("abcdef", 6);
  unsigned char buf[10];
  std::memset(buf, 0xEE, sizeof buf);
  EXPECT_EQ(xp_data_get(d, buf, 0), 0u);
  EXPECT_EQ(buf[0], 0xEE);
  EXPECT_EQ(xp_data_get(d, nullptr, 0), 6u);
  EXPECT_EQ(xp_data_get(d, nullptr, 2), 6u);
  EXPECT_EQ(xp_data_get(d, buf, 4), 4u);
  EXPECT_EQ(std::memcmp(buf, "abcd", 4), 0);
  EXPECT_EQ(buf[4], 0xEE);
  EXPECT_EQ(xp_data_get(d, buf, 10), 6u);
  EXPECT_EQ(xp_data_get(nullptr, buf, 10), 0u);
  xp_release(d);
}

TEST(Data, DeserialiseTakesDataItemsOnly) {
  auto make_item = [](const char *type, uint32_t tag, const char *data, uint32_t n) {
    std::vector<unsigned char> v(12 + (n + 3) / 4 * 4);
    std::memcpy(v.data(), &tag, 4);
    std::memcpy(v.data() + 4, type, 4);
    v[8] = static_cast<unsigned char>(n >> 24), v[9] = static_cast<unsigned char>(n >> 16);
    v[10] = static_cast<unsigned char>(n >> 8), v[11] = static_cast<unsigned char>(n);
    std::memcpy(v.data() + 12, data, n);
    return v;
  };
  xp_data *proto = xp_data_new(nullptr, 0);
  auto ok = make_item("data", 5, "\x01\x00\x02", 3);
  auto *d =
      reinterpret_cast<xp_data *>(xp_deserialize(proto, 5, reinterpret_cast<xp_word>(ok.data())));
  ASSERT_TRUE(d);
  EXPECT_EQ(bytes_of(d), (std::vector<unsigned char>{1, 0, 2}));
  xp_release(d);
  EXPECT_EQ(xp_deserialize(proto, 6, reinterpret_cast<xp_word>(ok.data())), 0);
  auto str = make_item("xstr", 5, "abc", 3);
  EXPECT_EQ(xp_deserialize(proto, 0, reinterpret_cast<xp_word>(str.data())), 0);
  EXPECT_EQ(xp_data_control(proto, 7, 0, 0), 0);
  xp_release(proto);
}

}  // namespace
