// Allocation, resizing and the byte-block routines.
#include <gtest/gtest.h>

#include <string>

#include "xp/core/xp_core_internal.h"

namespace {

TEST(Memory, AllocZeroFills) {
  auto *p = static_cast<unsigned char *>(xp_alloc(1000));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(p[i], 0);
  xp_free(p);
  void *empty = xp_alloc(0);
  EXPECT_NE(empty, nullptr);
  xp_delete(empty);
}

TEST(Memory, ReallocOfNullAllocatesZeroed) {
  auto *p = static_cast<unsigned char *>(xp_realloc(nullptr, 64));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 64; ++i)
    ASSERT_EQ(p[i], 0);
  xp_free(p);
}

TEST(Memory, ReallocKeepsContents) {
  auto *p = static_cast<char *>(xp_alloc(4));
  xp_memcpy(p, "abc", 4);
  p = static_cast<char *>(xp_realloc(p, 1 << 20));
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p, "abc");
  p = static_cast<char *>(xp_realloc(p, 2));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p[0], 'a');
  xp_free(p);
}

// A failed resize frees the old block (the sanitizer build would report a
// leak otherwise) and returns null.
TEST(Memory, FailedReallocLeavesNothingToFree) {
  void *p = xp_alloc(16);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_realloc(p, 32), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_realloc(nullptr, 32), nullptr);
  xpc::fail_alloc_after(3);
  void *a = xp_alloc(1), *b = xp_alloc(1);
  EXPECT_TRUE(xpc::alloc_failure_pending());
  xpc::fail_alloc_after(0);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  void *c = xp_alloc(1);
  EXPECT_NE(c, nullptr);
  xp_free(a), xp_free(b), xp_free(c);
}

TEST(Memory, ByteRoutinesReturnWhatTheSystemDoes) {
  char buf[16] = "0123456789";
  EXPECT_EQ(xp_memmov(buf + 2, buf, 8), buf + 2);  // overlapping
  EXPECT_STREQ(buf, "0101234567");
  EXPECT_EQ(xp_memset(buf, 'x', 3), buf);
  EXPECT_EQ(std::string(buf, 4), "xxx1");
  EXPECT_EQ(xp_memclr(buf, 16), buf);
  for (char c : buf)
    EXPECT_EQ(c, 0);
  char dst[4];
  EXPECT_EQ(xp_memcpy(dst, "abc", 4), dst);
  EXPECT_LT(xp_memcmp("abc", "abd", 3), 0);
  EXPECT_GT(xp_memcmp("ab\xff", "ab\x01", 3), 0);  // bytes compare unsigned
  EXPECT_EQ(xp_memcmp("abc", "abd", 2), 0);
  xp_memdump(buf, sizeof buf);
}

}  // namespace
