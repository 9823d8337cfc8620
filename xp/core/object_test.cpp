// The object header: counting, the five-step order, and dispatch of
// textify, control, duplicate and instance tests.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "xp/core/xp_core_internal.h"

namespace {

int g_freed = 0;
void counting_release(void *obj) {
  if (xp_prerelease(obj)) ++g_freed, xp_free(obj);
}

xp_obj *g_copy = nullptr;
xp_word control_kind(void *obj, int code, xp_word a, xp_word) {
  if (code == XP_CONTROL_DUPLICATE) return a ? reinterpret_cast<xp_word>(g_copy) : 0;
  if (code == XP_CONTROL_INSTANCEOF) return (uint32_t)a == XP_TAG('b', 'a', 's', 'e');
  if (code == XP_CONTROL_DESERIALIZE) return reinterpret_cast<xp_word>(obj);
  return -1;
}

TEST(Object, NewZeroesAndCountsAndFreesOnlyAtTheLastReference) {
  auto *big = reinterpret_cast<unsigned char *>(xp_new(XP_TYPE_STR, 256));
  ASSERT_NE(big, nullptr);
  for (size_t i = sizeof(xp_obj); i < 256; ++i)
    ASSERT_EQ(big[i], 0) << i;
  xp_release(big);
  g_freed = 0;
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);  // smaller than a header: gets one
  EXPECT_EQ(o->refs, 1);
  EXPECT_EQ(o->compare, nullptr);
  o->release = counting_release;
  EXPECT_EQ(xp_retain(o), o);
  xp_release(o);
  EXPECT_EQ(g_freed, 0);
  EXPECT_EQ(xp_refs(o), 1);
  xp_release(o);
  EXPECT_EQ(g_freed, 1);
  o = xp_new(XP_TYPE_DATA, 0);
  o->refs = 2;
  EXPECT_EQ(xp_prerelease(o), 0);
  EXPECT_EQ(xp_prerelease(o), 1);  // was 1
  EXPECT_EQ(xp_prerelease(o), 1);  // was 0: still "destroy"
  xp_free(o);
}

TEST(Object, OrderFollowsTheFiveSteps) {
  xp_obj *x = xp_new(XP_TYPE_DATA, 0), *y = xp_new(XP_TYPE_DATA, 0);
  xp_obj *s = xp_new(XP_TYPE_STR, 0), *top = xp_new(0xFFFFFFFFu, 0);
  // 1, 2: identity, then null first.
  EXPECT_EQ(xp_compare(x, x), 0);
  EXPECT_EQ(xp_compare(nullptr, x), -1);
  EXPECT_EQ(xp_compare(x, nullptr), 1);
  // 5: same kind without compare: by address.
  xp_obj *lo = x < y ? x : y, *hi = x < y ? y : x;
  EXPECT_EQ(xp_compare(lo, hi), -1);
  EXPECT_EQ(xp_compare(hi, lo), 1);
  // 3: a shared compare decides; different ones fall back to addresses.
  x->compare = y->compare = s->compare = [](const void *, const void *) { return 42; };
  EXPECT_EQ(xp_compare(x, y), 42);
  EXPECT_EQ(xp_compare(x, x), 0);
  y->compare = [](const void *, const void *) { return -42; };
  EXPECT_EQ(xp_compare(lo, hi), -1);
  // 4: tags as unsigned numbers, even with a compare present.
  int expect = XP_TYPE_STR < XP_TYPE_DATA ? -1 : 1;
  EXPECT_EQ(xp_compare(s, x), expect);
  EXPECT_EQ(xp_compare(x, s), -expect);
  EXPECT_EQ(xp_compare(top, s), 1);
  int ctx = 7;  // the context is ignored
  EXPECT_EQ(xp_order(&ctx, lo, hi), -1);
  EXPECT_EQ(xp_match(nullptr, s, x), expect);
  for (xp_obj *o : {x, y, s, top})
    xp_release(o);
}

TEST(Object, DispatchDuplicateAndInstanceOf) {
  xp_obj *o = xp_new(XP_TYPE_FMTR, 0);
  EXPECT_EQ(xp_textify(o, 1, 2, 3), 0);
  EXPECT_EQ(xp_instanceof(o, XP_TYPE_FMTR), 1);
  EXPECT_EQ(xp_instanceof(o, XP_TAG('b', 'a', 's', 'e')), 0);
  EXPECT_EQ(xp_duplicate(o, 1), o);  // no control: shared
  EXPECT_EQ(xp_refs(o), 2);
  o->textify = [](void *, xp_word a, xp_word b, xp_word c) { return a + b + c; };
  o->control = control_kind;
  EXPECT_EQ(xp_textify(o, 1, 2, 3), 6);
  EXPECT_EQ(xp_deserialize(o, 0, 0), reinterpret_cast<xp_word>(o));
  EXPECT_EQ(xp_instanceof(o, XP_TAG('b', 'a', 's', 'e')), 1);
  EXPECT_EQ(xp_instanceof(o, XP_TYPE_STR), 0);
  EXPECT_EQ(xp_duplicate(o, 0), o);  // control declines: shared
  EXPECT_EQ(xp_refs(o), 3);
  g_copy = xp_new(XP_TYPE_DATA, 0);
  EXPECT_EQ(xp_duplicate(o, 1), g_copy);
  EXPECT_EQ(xp_refs(o), 3);
  xp_release(g_copy);
  for (int i = 0; i < 3; ++i)
    xp_release(o);
}

TEST(Object, NewReportsAllocationFailureOnce) {
  xpc::fail_alloc_after(2);
  xp_obj *first = xp_null_new();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(xp_new(XP_TYPE_DATA, 0), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  xp_obj *after = xp_null_new();  // the switch fires once only
  EXPECT_NE(after, nullptr);
  xp_release(first);
  xp_release(after);
}

// Many threads count one object up and down; it is freed exactly once.
TEST(Object, ConcurrentCountingFreesOnce) {
  g_freed = 0;
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  o->release = counting_release;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    xp_retain(o);
    threads.emplace_back([o] {
      for (int i = 0; i < 1000000; ++i)
        xp_retain(o), xp_release(o);
      xp_release(o);
    });
  }
  for (auto &th : threads)
    th.join();
  EXPECT_EQ(xp_refs(o), 1);
  EXPECT_EQ(g_freed, 0);
  xp_release(o);
  EXPECT_EQ(g_freed, 1);
}

}  // namespace
