// The global critical section and the two lock objects.
#include <gtest/gtest.h>

#include <thread>

#include "xp/core/xp_core_internal.h"

// Which of the two locks another thread can take at once: 1 crit, 2 mux.
static int free_elsewhere(xp_crit *cs, xp_mux *m) {
  int got = 0;
  std::thread([&] {
    if (xp_crit_try(cs)) got |= 1, xp_crit_leave(cs);
    if (pthread_mutex_trylock(&m->mutex) == 0) got |= 2, pthread_mutex_unlock(&m->mutex);
  }).join();
  return got;
}

TEST(Locks, CritAndMuxExcludeOtherThreadsAndMuxNests) {
  xp_crit *cs = xp_crit_new();
  xp_mux *m = xp_mux_new();
  xp_crit_enter(cs);
  xp_mux_lock(m), xp_mux_lock(m), xp_mux_unlock(m);  // still held underneath
  EXPECT_EQ(free_elsewhere(cs, m), 0);
  xp_crit_leave(cs), xp_mux_unlock(m);
  EXPECT_EQ(free_elsewhere(cs, m), 3);
  long counter = 0, global = 0;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      xp_mux_lock(m), xp_mux_lock(m), ++counter, xp_mux_unlock(m), xp_mux_unlock(m);
      xp_enter(), ++global, xp_leave();
    }
  };
  std::thread a(work), b(work), c(work);
  a.join(), b.join(), c.join();
  EXPECT_EQ(counter + global, 120000);
  xp_release(m), xp_release(cs);
  xpc::fail_alloc_after(1);
  cs = xp_crit_new();
  xpc::fail_alloc_after(1);
  EXPECT_TRUE(cs == nullptr && xp_mux_new() == nullptr);
}
