// Objects through the container: strings and data objects serialised with
// xp_serialize and xp_ntld_package and read back by their deserialise
// operation, a composite object packaged exactly, and allocation failure.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "xp/ntld/xp_ntld.h"
#include "xp/xp_test_util.h"

constexpr uint32_t kTag = XP_TAG('n', 'a', 'm', 'e');

TEST(NtldPackage, StringAndDataRoundTrip) {
  const char raw[] = "hello\0world";
  xp_str *s = xp_str_make(raw, 11);
  xp_data *d = xp_ntld_package(s, kTag);
  ASSERT_EQ(xp_data_length(d), 24u);
  const void *item = xp_data_getptr(d);  // the text, then zero padding
  EXPECT_EQ(std::memcmp(item, "namexstr\0\0\0\x0bhello\0world\0", 24), 0);
  // The same item into a caller's buffer, measured, and refused for room.
  xpt::Guarded g(32);
  EXPECT_EQ(xp_serialize(s, kTag, g.data(), 32), 24);
  EXPECT_TRUE(std::memcmp(g.data(), item, 24) == 0 && g.clean_from(24));
  EXPECT_EQ(xp_serialize(s, kTag, nullptr, 0) * 10 + xp_serialize(s, kTag, g.data(), 23), 240);
  std::vector<uint8_t> bytes(1001);
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = uint8_t(i * 7);
  xp_data *src = xp_data_new(bytes.data(), bytes.size()), *pd = xp_ntld_package(src, kTag);
  EXPECT_EQ(xp_data_length(pd), 12u + 1004);
  // Read back: the tag must match unless 0 is asked for, and the item must
  // be of the kind's own type ("text" too, for strings).
  uint8_t text[20];
  xp_ntld *w = xp_ntld_new(text, sizeof text);
  xp_ntld_add_string(w, 1, "plain");
  const struct {
    void *kind;
    uint32_t want;
    const void *item;
    std::string result;
  } cases[] = {{s, kTag, item, std::string(raw, 11)},
               {s, 0, item, std::string(raw, 11)},
               {s, kTag + 1, item, ""},
               {s, 1, text, "plain"},
               {s, 0, xp_data_getptr(pd), ""},
               {src, kTag, xp_data_getptr(pd), std::string(bytes.begin(), bytes.end())},
               {src, 0, xp_data_getptr(pd), std::string(bytes.begin(), bytes.end())},
               {src, kTag + 1, xp_data_getptr(pd), ""},
               {src, 0, item, ""}};
  for (const auto &c : cases) {
    void *back = reinterpret_cast<void *>(xp_deserialize(c.kind, c.want, xp_word(c.item)));
    char out[1100];
    size_t n = xp_type(back) == XP_TYPE_DATA ? xp_data_get((xp_data *)back, out, sizeof out)
                                             : size_t(xp_str_get((xp_str *)back, out, sizeof out));
    EXPECT_EQ(back ? std::string(out, n) : "", c.result) << c.want;
    EXPECT_EQ(back != nullptr, !c.result.empty());
    xp_release(back);
  }
  for (void *x : std::initializer_list<void *>{s, src, d, pd, w})
    xp_release(x);
}

// A composite kind: a name and many numbers, written as nested containers.
struct Record {
  xp_obj obj;
  const char *name;
  int count;
};

TEST(NtldPackage, CompositeObjectIsExactAndFailsCleanly) {
  auto *r = reinterpret_cast<Record *>(xp_new(XP_TAG('r', 'e', 'c', 'd'), sizeof(Record)));
  r->obj.control = [](void *obj, int code, xp_word tag, xp_word arg) -> xp_word {
    auto *w = reinterpret_cast<xp_ntld *>(arg);
    if (code != XP_CONTROL_SERIALIZE) return 0;
    xp_ntld_open(w, uint32_t(tag), XP_TAG('r', 'e', 'c', 'd'));
    xp_ntld_add_string(w, 1, static_cast<Record *>(obj)->name);
    xp_ntld_open(w, 2, XP_TAG('n', 'u', 'm', 's'));
    for (int i = 0; i < static_cast<Record *>(obj)->count; ++i)
      xp_ntld_add_number(w, uint32_t(i), i * 3);
    xp_ntld_close(w);
    return xp_ntld_close(w);
  };
  r->name = "numbers";
  r->count = 1000;
  const uint32_t size = 12 + 20 + 12 + 1000 * 16;
  // Allocation failure anywhere gives null and leaks nothing.
  xpt::alloc_sweep([r] { return xp_ntld_package(r, 9); },
                   [&](xp_data *p, bool failed) {
                     EXPECT_EQ(p ? xp_data_length(p) : 0, failed ? 0 : size);
                     if (p) {
                       const void *root = xp_data_getptr(p), *nums = xp_ntld_getbyname(root, 2);
                       EXPECT_EQ(xp_ntld_verify(root, intptr_t(size)), size);
                       EXPECT_EQ(xp_ntld_count(nums) * 10000 + xp_ntld_getlongbyname(nums, 999),
                                 10002997);
                     }
                     xp_release(p);
                   });
  EXPECT_EQ(xp_ntld_package(nullptr, 1), nullptr);  // nothing to write
  r->obj.control = nullptr;
  EXPECT_EQ(xp_ntld_package(r, 1), nullptr);
  EXPECT_EQ(xp_serialize(r, 1, nullptr, 0), 0);
  xp_release(r);
}
