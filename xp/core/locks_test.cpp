// The global critical section and the two lock objects.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "xp/core/xp_core_internal.h"

namespace {

TEST(Locks, NullIsAccepted) {
  xp_crit_enter(nullptr);
  xp_crit_leave(nullptr);
  EXPECT_EQ(xp_crit_try(nullptr), 0);
  xp_crit_release(nullptr);
  xp_mux_lock(nullptr);
  xp_mux_unlock(nullptr);
  xp_mux_release(nullptr);
}

TEST(Locks, ObjectsCarryTheirTagsAndRelease) {
  xp_crit *cs = xp_crit_new();
  xp_mux *m = xp_mux_new();
  ASSERT_TRUE(cs && m);
  EXPECT_EQ(xp_type(cs), XP_TYPE_CRIT);
  EXPECT_EQ(xp_type(m), XP_TYPE_SEMA);
  EXPECT_EQ(cs->obj.release, &xp_crit_release);
  EXPECT_EQ(m->obj.release, &xp_mux_release);
  EXPECT_EQ(m->owner, 0u);
  EXPECT_EQ(m->depth, 0);
  xp_retain(cs);
  xp_release(cs);
  EXPECT_EQ(xp_refs(cs), 1);
  xp_release(cs);
  xp_release(m);
}

TEST(Locks, ConstructorsReportAllocationFailure) {
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_crit_new(), nullptr);
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xp_mux_new(), nullptr);
}

TEST(Locks, CritTryFromAnotherThreadFailsAtOnce) {
  xp_crit *cs = xp_crit_new();
  xp_crit_enter(cs);
  int got = -1;
  auto start = std::chrono::steady_clock::now();
  std::thread([&] { got = xp_crit_try(cs); }).join();
  EXPECT_EQ(got, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  xp_crit_leave(cs);
  std::thread([&] {
    got = xp_crit_try(cs);
    if (got) xp_crit_leave(cs);
  }).join();
  EXPECT_EQ(got, 1);
  xp_release(cs);
}

TEST(Locks, MuxNestsOnOneThread) {
  xp_mux *m = xp_mux_new();
  xp_mux_lock(m);
  xp_mux_lock(m);
  EXPECT_EQ(m->depth, 2);
  EXPECT_EQ(m->owner, xpc::thread_id());
  xp_mux_unlock(m);
  EXPECT_EQ(m->depth, 1);
  EXPECT_EQ(m->owner, xpc::thread_id());
  // Still held: another thread cannot take the mutex underneath.
  bool other_got_it = true;
  std::thread([&] {
    other_got_it = pthread_mutex_trylock(&m->mutex) == 0;
    if (other_got_it) pthread_mutex_unlock(&m->mutex);
  }).join();
  EXPECT_FALSE(other_got_it);
  xp_mux_unlock(m);
  EXPECT_EQ(m->depth, 0);
  EXPECT_EQ(m->owner, 0u);
  std::thread([&] {
    xp_mux_lock(m);
    EXPECT_EQ(m->owner, xpc::thread_id());
    xp_mux_unlock(m);
  }).join();
  xp_release(m);
}

TEST(Locks, MuxExcludesOtherThreads) {
  xp_mux *m = xp_mux_new();
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      xp_mux_lock(m);
      xp_mux_lock(m);
      ++counter;
      xp_mux_unlock(m);
      xp_mux_unlock(m);
    }
  };
  std::thread a(work), b(work), c(work);
  a.join(), b.join(), c.join();
  EXPECT_EQ(counter, 60000);
  xp_release(m);
}

TEST(Locks, GlobalSectionExcludes) {
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      xp_enter();
      ++counter;
      xp_leave();
    }
  };
  std::thread a(work), b(work);
  a.join(), b.join();
  EXPECT_EQ(counter, 40000);
}

}  // namespace
