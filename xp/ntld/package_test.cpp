// Objects through the container: strings and data objects serialised with
// xp_serialize and xp_ntld_package and read back by their deserialise
// operation, a composite object packaged exactly, and allocation failure.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/ntld/xp_ntld_internal.h"
#include "xp/str/xp_str.h"

namespace {

constexpr uint32_t kTag = XP_TAG('n', 'a', 'm', 'e');

TEST(NtldPackage, StringAndDataRoundTrip) {
  const char raw[] = "hello\0world";
  xp_str *s = xp_str_make(raw, 11);
  xp_data *d = xp_ntld_package(s, kTag);
  ASSERT_EQ(xp_data_length(d), 24u);
  const auto *item = static_cast<const uint8_t *>(xp_data_getptr(d));
  EXPECT_EQ(xpn::load32(item), kTag);
  EXPECT_EQ(std::memcmp(item + 4, "xstr", 4), 0);
  EXPECT_EQ(xpn::load_be(item + 8), 11u);
  EXPECT_EQ(std::memcmp(item + 12, raw, 12), 0) << "the text, then zero padding";
  auto *back = reinterpret_cast<xp_str *>(xp_deserialize(s, kTag, xp_word(item)));
  ASSERT_EQ(xp_str_length(back), 11);
  EXPECT_EQ(std::memcmp(xp_str_getptr(back), raw, 11), 0);
  xp_release(back);
  // The same item into a caller's buffer, measured, and refused for room.
  uint8_t buf[32];
  std::memset(buf, 0xAA, sizeof buf);
  EXPECT_EQ(xp_serialize(s, kTag, buf, sizeof buf), 24);
  EXPECT_EQ(std::memcmp(buf, item, 24), 0);
  EXPECT_EQ(buf[24], 0xAA);
  EXPECT_EQ(xp_serialize(s, kTag, nullptr, 0), 24);
  EXPECT_EQ(xp_serialize(s, kTag, buf, 23), 0);
  xp_release(d);

  std::vector<uint8_t> bytes(1001);
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = uint8_t(i * 7);
  xp_data *src = xp_data_new(bytes.data(), bytes.size());
  d = xp_ntld_package(src, kTag);
  ASSERT_EQ(xp_data_length(d), 12u + 1004);
  auto *dback = reinterpret_cast<xp_data *>(xp_deserialize(src, 0, xp_word(xp_data_getptr(d))));
  ASSERT_EQ(xp_data_length(dback), bytes.size());
  EXPECT_EQ(std::memcmp(xp_data_getptr(dback), bytes.data(), bytes.size()), 0);
  EXPECT_EQ(xp_deserialize(s, 0, xp_word(xp_data_getptr(d))), 0) << "a string refuses data";
  for (void *x : std::initializer_list<void *>{s, src, d, dback})
    xp_release(x);
}

// A composite kind: a name and many numbers, written as nested containers.
struct Record {
  xp_obj obj;
  const char *name;
  int count;
};

xp_word record_control(void *obj, int code, xp_word tag, xp_word arg) {
  auto *r = static_cast<Record *>(obj);
  if (code != XP_CONTROL_SERIALIZE) return 0;
  auto *w = reinterpret_cast<xp_ntld *>(arg);
  xp_ntld_open(w, uint32_t(tag), XP_TAG('r', 'e', 'c', 'd'));
  xp_ntld_add_string(w, 1, r->name);
  xp_ntld_open(w, 2, XP_TAG('n', 'u', 'm', 's'));
  for (int i = 0; i < r->count; ++i)
    xp_ntld_add_number(w, uint32_t(i), i * 3);
  xp_ntld_close(w);
  return xp_ntld_close(w);
}

TEST(NtldPackage, CompositeObjectIsExact) {
  auto *r = reinterpret_cast<Record *>(xp_new(XP_TAG('r', 'e', 'c', 'd'), sizeof(Record)));
  r->obj.control = record_control;
  r->name = "numbers";
  r->count = 1000;
  xp_data *d = xp_ntld_package(r, 9);
  uint32_t size = 12 + 20 + 12 + 1000 * 16;
  ASSERT_EQ(xp_data_length(d), size);
  const void *root = xp_data_getptr(d);
  ASSERT_EQ(xp_ntld_verify(root, intptr_t(size)), size);
  const void *nums = xp_ntld_getbyname(root, 2);
  EXPECT_EQ(xp_ntld_count(nums), 1000);
  EXPECT_EQ(xp_ntld_getlongbyname(nums, 999), 2997);
  xp_release(d);

  // Allocation failure anywhere gives null and leaks nothing.
  for (long k = 1;; ++k) {
    xpc::fail_alloc_after(k);
    xp_data *p = xp_ntld_package(r, 9);
    bool pending = xpc::alloc_failure_pending();
    xpc::fail_alloc_after(0);
    if (pending) {
      EXPECT_EQ(xp_data_length(p), size);
      xp_release(p);
      break;
    }
    EXPECT_EQ(p, nullptr) << k;
    ASSERT_LT(k, 20);
  }

  EXPECT_EQ(xp_ntld_package(nullptr, 1), nullptr);  // nothing to write
  r->obj.control = nullptr;
  EXPECT_EQ(xp_ntld_package(r, 1), nullptr);
  EXPECT_EQ(xp_serialize(r, 1, nullptr, 0), 0);
  xp_release(r);
}

}  // namespace
