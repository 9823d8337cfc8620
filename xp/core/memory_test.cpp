// Allocation and resizing: zero fill, kept contents, and a failed resize that
// gives the old block back.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>

#include "xp/core/xp_core_internal.h"

static size_t held() {  // bytes the C library's allocator has handed out
  struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

TEST(Memory, ResizeKeepsContentsAndAFailedOneFreesTheOldBlock) {
  auto *p = static_cast<char *>(xp_realloc(xp_realloc(nullptr, 64), 1 << 20));
  EXPECT_EQ(std::count(p, p + 64, 0), 64);  // zero-filled, and kept when grown
  xp_free(p);
  // A resize that fails, forced or for want of memory, returns null and the
  // old block is freed: what the allocator holds drops back.
  for (size_t want : {size_t(1) << 23, ~size_t(0) / 4}) {
    size_t before = held();
    void *block = xp_alloc(1 << 22);
    if (held() < before + (1 << 22)) {  // an interposed allocator: its own leak check applies
      xp_free(block);
      GTEST_SKIP();
    }
    xpc::fail_alloc_after(want >> 30 ? 0 : 1);
    EXPECT_EQ(xp_realloc(block, want), nullptr);
    EXPECT_LT(held(), before + (1 << 20)) << want;
  }
}
