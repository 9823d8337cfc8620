// The object header: creation, counting, the five-step order, and dispatch
// of textify, control, duplicate and instance tests.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "xp/core/xp_core_internal.h"

namespace {

int g_freed = 0;
void counting_release(void *obj) {
  if (xp_prerelease(obj)) {
    ++g_freed;
    xp_free(obj);
  }
}

int compare_a(const void *, const void *) {
  return 42;
}
int compare_b(const void *, const void *) {
  return -42;
}

xp_word textify_echo(void *, xp_word a, xp_word b, xp_word c) {
  return a + b + c;
}

xp_obj *g_copy = nullptr;
xp_word control_kind(void *obj, int code, xp_word a, xp_word) {
  switch (code) {
    case XP_CONTROL_DUPLICATE:
      return a ? reinterpret_cast<xp_word>(g_copy) : 0;
    case XP_CONTROL_INSTANCEOF:
      return static_cast<uint32_t>(a) == XP_TAG('b', 'a', 's', 'e') ? 1 : 0;
    case XP_CONTROL_DESERIALIZE:
      return reinterpret_cast<xp_word>(obj);
    default:
      return -1;
  }
}

TEST(Object, NewGivesWholeZeroedHeader) {
  for (size_t size : {size_t{0}, size_t{1}, sizeof(xp_obj) - 1}) {
    xp_obj *o = xp_new(XP_TYPE_DATA, size);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->refs, 1);
    EXPECT_EQ(o->type, XP_TYPE_DATA);
    EXPECT_EQ(o->retain, &xp_obj_retain);
    EXPECT_EQ(o->release, &xp_obj_release);
    EXPECT_EQ(o->compare, nullptr);
    EXPECT_EQ(o->textify, nullptr);
    EXPECT_EQ(o->control, nullptr);
    xp_release(o);
  }
  auto *big = reinterpret_cast<unsigned char *>(xp_new(XP_TYPE_STR, 256));
  ASSERT_NE(big, nullptr);
  for (size_t i = sizeof(xp_obj); i < 256; ++i)
    ASSERT_EQ(big[i], 0) << i;
  xp_release(big);
}

TEST(Object, TagsReadInMemoryOrder) {
  uint32_t t = XP_TYPE_NTLD;
  EXPECT_EQ(std::memcmp(&t, "ntld", 4), 0);
  EXPECT_EQ(xp_tag("sema"), XP_TYPE_SEMA);
  EXPECT_EQ(xp_tag(nullptr), 0u);
  xp_obj *n = xp_null_new();
  EXPECT_EQ(xp_type(n), XP_TYPE_NULL);
  EXPECT_EQ(xp_refs(n), 1);
  xp_release(n);
}

TEST(Object, GenericCallsAcceptNull) {
  EXPECT_EQ(xp_retain(nullptr), nullptr);
  xp_release(nullptr);
  EXPECT_EQ(xp_obj_retain(nullptr), nullptr);
  xp_obj_release(nullptr);
  EXPECT_EQ(xp_prerelease(nullptr), 0);
  EXPECT_EQ(xp_type(nullptr), 0u);
  EXPECT_EQ(xp_refs(nullptr), 0);
  EXPECT_EQ(xp_textify(nullptr, 1, 2, 3), 0);
  EXPECT_EQ(xp_control(nullptr, 0, 1, 2), 0);
  EXPECT_EQ(xp_deserialize(nullptr, 1, 2), 0);
  EXPECT_EQ(xp_duplicate(nullptr, 1), nullptr);
  EXPECT_EQ(xp_instanceof(nullptr, XP_TYPE_NULL), 0);
  EXPECT_EQ(xp_compare(nullptr, nullptr), 0);
  xp_free(nullptr);
  xp_delete(nullptr);
}

TEST(Object, ReleaseFreesOnlyAtTheLastReference) {
  g_freed = 0;
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  o->release = counting_release;
  EXPECT_EQ(xp_retain(o), o);
  EXPECT_EQ(xp_refs(o), 2);
  xp_release(o);
  EXPECT_EQ(g_freed, 0);
  EXPECT_EQ(xp_refs(o), 1);
  xp_release(o);
  EXPECT_EQ(g_freed, 1);
}

TEST(Object, PrereleaseDecidesOnCountsOfOneOrBelow) {
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  o->refs = 3;
  EXPECT_EQ(xp_prerelease(o), 0);
  EXPECT_EQ(xp_prerelease(o), 0);
  EXPECT_EQ(xp_prerelease(o), 1);  // was 1
  EXPECT_EQ(xp_prerelease(o), 1);  // was 0: still "destroy"
  xp_free(o);
}

TEST(Object, OrderFollowsTheFiveSteps) {
  xp_obj *x = xp_new(XP_TYPE_DATA, 0);
  xp_obj *y = xp_new(XP_TYPE_DATA, 0);
  xp_obj *s = xp_new(XP_TYPE_STR, 0);
  // 1 and 2: identity, then null first.
  EXPECT_EQ(xp_compare(x, x), 0);
  EXPECT_EQ(xp_compare(nullptr, x), -1);
  EXPECT_EQ(xp_compare(x, nullptr), 1);
  // 5: same kind without compare: by address.
  xp_obj *lo = x < y ? x : y, *hi = x < y ? y : x;
  EXPECT_EQ(xp_compare(lo, hi), -1);
  EXPECT_EQ(xp_compare(hi, lo), 1);
  // 3: a shared compare decides.
  x->compare = y->compare = compare_a;
  EXPECT_EQ(xp_compare(x, y), 42);
  EXPECT_EQ(xp_compare(x, x), 0);
  // Different compare slots: back to addresses, neither compare is used.
  y->compare = compare_b;
  EXPECT_EQ(xp_compare(lo, hi), -1);
  // 4: tags as unsigned numbers, even with a compare present.
  s->compare = compare_a;
  int expect = XP_TYPE_STR < XP_TYPE_DATA ? -1 : 1;
  EXPECT_EQ(xp_compare(s, x), expect);
  EXPECT_EQ(xp_compare(x, s), -expect);
  xp_obj *top = xp_new(0xFFFFFFFFu, 0);
  EXPECT_EQ(xp_compare(top, s), 1);
  // xp_order and xp_match ignore the context.
  int ctx = 7;
  EXPECT_EQ(xp_order(&ctx, x, y), xp_compare(x, y));
  EXPECT_EQ(xp_match(nullptr, s, x), xp_compare(s, x));
  EXPECT_EQ(xp_order(&ctx, nullptr, x), -1);
  for (xp_obj *o : {x, y, s, top})
    xp_release(o);
}

TEST(Object, DispatchesTextifyAndControl) {
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  EXPECT_EQ(xp_textify(o, 1, 2, 3), 0);
  EXPECT_EQ(xp_control(o, 0, 1, 2), 0);
  o->textify = textify_echo;
  o->control = control_kind;
  EXPECT_EQ(xp_textify(o, 1, 2, 3), 6);
  EXPECT_EQ(xp_control(o, 9, 0, 0), -1);
  EXPECT_EQ(xp_deserialize(o, 0, 0), reinterpret_cast<xp_word>(o));
  xp_release(o);
}

TEST(Object, DuplicateSharesWhenThereIsNoCopy) {
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  EXPECT_EQ(xp_duplicate(o, 1), o);  // no control
  EXPECT_EQ(xp_refs(o), 2);
  o->control = control_kind;
  EXPECT_EQ(xp_duplicate(o, 0), o);  // control declines
  EXPECT_EQ(xp_refs(o), 3);
  g_copy = xp_new(XP_TYPE_DATA, 0);
  EXPECT_EQ(xp_duplicate(o, 1), g_copy);
  EXPECT_EQ(xp_refs(o), 3);
  xp_release(g_copy);
  for (int i = 0; i < 3; ++i)
    xp_release(o);
}

TEST(Object, InstanceOfOwnTagOrThroughControl) {
  xp_obj *o = xp_new(XP_TYPE_FMTR, 0);
  EXPECT_EQ(xp_instanceof(o, XP_TYPE_FMTR), 1);
  EXPECT_EQ(xp_instanceof(o, XP_TAG('b', 'a', 's', 'e')), 0);
  o->control = control_kind;
  EXPECT_EQ(xp_instanceof(o, XP_TAG('b', 'a', 's', 'e')), 1);
  EXPECT_EQ(xp_instanceof(o, XP_TYPE_STR), 0);
  xp_release(o);
}

TEST(Object, NewReportsAllocationFailure) {
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_new(XP_TYPE_DATA, 0), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  xp_obj *after = xp_null_new();  // the switch fires once only
  EXPECT_NE(after, nullptr);
  xp_release(after);
  xpc::fail_alloc_after(2);
  xp_obj *first = xp_null_new();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(xp_null_new(), nullptr);
  xp_release(first);
}

// Many threads count one object up and down; it ends at the right count and
// is freed exactly once.
TEST(Object, ConcurrentCountingFreesOnce) {
  g_freed = 0;
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  o->release = counting_release;
  constexpr int kThreads = 8, kRounds = 1000000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    xp_retain(o);
    threads.emplace_back([o] {
      for (int i = 0; i < kRounds; ++i) {
        xp_retain(o);
        xp_release(o);
      }
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
