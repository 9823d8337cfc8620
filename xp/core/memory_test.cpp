// Allocation, resizing and the failure switch.
#include <gtest/gtest.h>

#include "xp/core/xp_core_internal.h"

namespace {

TEST(Memory, ReallocZeroFillsAndKeepsContents) {
  auto *p = static_cast<char *>(xp_realloc(nullptr, 64));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 64; ++i)
    ASSERT_EQ(p[i], 0);
  xp_memcpy(p, "abc", 4);
  p = static_cast<char *>(xp_realloc(p, 1 << 20));
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p, "abc");
  xp_free(p);
}

// A failed resize frees the old block (the sanitizer build would report a
// leak otherwise) and returns null; the switch fires once.
TEST(Memory, FailedReallocLeavesNothingToFree) {
  void *p = xp_alloc(16);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_realloc(p, 32), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  xpc::fail_alloc_after(3);
  void *a = xp_alloc(1), *b = xp_alloc(1);
  EXPECT_TRUE(xpc::alloc_failure_pending());
  xpc::fail_alloc_after(0);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  void *c = xp_alloc(1);
  EXPECT_NE(c, nullptr);
  xp_free(a), xp_free(b), xp_free(c);
}

}  // namespace
