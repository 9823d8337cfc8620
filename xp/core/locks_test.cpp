// The global critical section and the two lock objects.
#include <gtest/gtest.h>

#include <thread>

#include "xp/core/xp_core_internal.h"

namespace {

TEST(Locks, CritTryFromAnotherThread) {
  xp_crit *cs = xp_crit_new();
  ASSERT_NE(cs, nullptr);
  xp_crit_enter(cs);
  int got = -1;
  std::thread([&] { got = xp_crit_try(cs); }).join();  // fails at once
  EXPECT_EQ(got, 0);
  xp_crit_leave(cs);
  std::thread([&] {
    if ((got = xp_crit_try(cs))) xp_crit_leave(cs);
  }).join();
  EXPECT_EQ(got, 1);
  xp_release(cs);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_crit_new(), nullptr);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_mux_new(), nullptr);
}

TEST(Locks, MuxNestsOnOneThreadAndExcludesOthers) {
  xp_mux *m = xp_mux_new();
  xp_mux_lock(m);
  xp_mux_lock(m);
  xp_mux_unlock(m);
  EXPECT_EQ(m->depth, 1);
  EXPECT_EQ(m->owner, xpc::thread_id());
  bool other_got_it = true;  // still held underneath
  std::thread([&] {
    if ((other_got_it = pthread_mutex_trylock(&m->mutex) == 0)) pthread_mutex_unlock(&m->mutex);
  }).join();
  EXPECT_FALSE(other_got_it);
  xp_mux_unlock(m);
  EXPECT_EQ(m->depth, 0);
  EXPECT_EQ(m->owner, 0u);
  long counter = 0, global = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      xp_mux_lock(m), xp_mux_lock(m);
      ++counter;
      xp_mux_unlock(m), xp_mux_unlock(m);
      xp_enter();
      ++global;
      xp_leave();
    }
  };
  std::thread a(work), b(work), c(work);
  a.join(), b.join(), c.join();
  EXPECT_EQ(counter, 60000);
  EXPECT_EQ(global, 60000);
  xp_release(m);
}

}  // namespace
