// The object header: counting (also across threads), the five-step order,
// and dispatch of textify, control, duplicate and instance tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "xp/core/xp_core_internal.h"

using Ints = std::vector<int>;
static int g_freed = 0;

TEST(Object, CountsAcrossThreadsAndFreesOnlyAtTheLastReference) {
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);  // smaller than a header: gets one
  o->release = [](void *p) {
    if (xp_prerelease(p)) ++g_freed, xp_free(p);
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([o] {
      for (int i = 0; i < 1000000; ++i)
        xp_retain(o), xp_release(o);
    });
  for (auto &th : threads)
    th.join();
  EXPECT_EQ(g_freed + 10 * xp_refs(o), 10);
  xp_release(o);
  EXPECT_EQ(g_freed, 1);
  o = xp_new(XP_TYPE_DATA, 0);
  o->refs = 2;  // "destroy" when the count was 1, and still when it was 0
  EXPECT_EQ(Ints({xp_prerelease(o), xp_prerelease(o), xp_prerelease(o)}), Ints({0, 1, 1}));
  xp_free(o);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_new(XP_TYPE_DATA, 0), nullptr);
}

TEST(Object, OrderFollowsTheFiveSteps) {
  xp_obj *x = xp_new(XP_TYPE_DATA, 0), *y = xp_new(XP_TYPE_DATA, 0);
  xp_obj *s = xp_new(XP_TYPE_STR, 0), *top = xp_new(0xFFFFFFFFu, 0);
  xp_obj *lo = std::min(x, y), *hi = std::max(x, y);
  int tag = XP_TYPE_STR < XP_TYPE_DATA ? -1 : 1, ctx = 7;  // the context is ignored
  EXPECT_EQ(
      Ints({xp_compare(x, x), xp_compare(nullptr, x), xp_compare(x, nullptr), xp_compare(lo, hi),
            xp_order(&ctx, hi, lo), xp_compare(top, s), xp_match(nullptr, s, x)}),
      Ints({0, -1, 1, -1, 1, 1, tag}));
  // A shared compare decides; different ones fall back to addresses; the
  // tags are compared before either.
  x->compare = y->compare = s->compare = [](const void *, const void *) { return 42; };
  EXPECT_EQ(Ints({xp_compare(x, y), xp_compare(x, x), xp_compare(s, x)}), Ints({42, 0, tag}));
  y->compare = [](const void *, const void *) { return -42; };
  EXPECT_EQ(xp_compare(lo, hi), -1);
  for (xp_obj *o : {x, y, s, top})
    xp_release(o);
}

TEST(Object, DispatchDuplicateAndInstanceOf) {
  xp_obj *o = xp_new(XP_TYPE_FMTR, 0), *copy = xp_new(XP_TYPE_DATA, 0);
  auto state = [o] {  // textify, deserialise, instance of "base", of "xstr", of its own
    return Ints({int(xp_textify(o, 1, 2, 30)), xp_deserialize(o, 0, 0) == xp_word(o),
                 xp_instanceof(o, XP_TAG('b', 'a', 's', 'e')), xp_instanceof(o, XP_TYPE_STR),
                 xp_instanceof(o, XP_TYPE_FMTR)});
  };
  EXPECT_EQ(state(), Ints({0, 0, 0, 0, 1}));
  EXPECT_EQ(xp_duplicate(o, xp_word(copy)), o);  // no control: shared
  o->textify = [](void *, xp_word a, xp_word b, xp_word c) { return a + b + c; };
  o->control = [](void *obj, int code, xp_word a, xp_word) -> xp_word {
    if (code == XP_CONTROL_INSTANCEOF) return a == XP_TAG('b', 'a', 's', 'e');
    return code == XP_CONTROL_DUPLICATE ? a : code == XP_CONTROL_DESERIALIZE ? xp_word(obj) : -1;
  };
  EXPECT_EQ(state(), Ints({33, 1, 1, 0, 1}));
  EXPECT_EQ(xp_duplicate(o, 0), o);  // control declines: shared
  EXPECT_EQ(xp_duplicate(o, xp_word(copy)), copy);
  EXPECT_EQ(xp_refs(o) * 10 + xp_refs(copy), 31);
  for (xp_obj *x : {o, o, o, copy})
    xp_release(x);
}
