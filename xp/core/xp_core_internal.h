// Library-private helpers of the object runtime: the lock objects' layouts
// (for the family's own code and tests) and the allocation-failure switch
// that tests use to sweep every constructor. Not installed.
#ifndef XP_CORE_INTERNAL_H
#define XP_CORE_INTERNAL_H

#include <pthread.h>

#include "xp/core/xp_core.h"

struct xp_crit {
  xp_obj obj;
  pthread_mutex_t mutex;
};

struct xp_mux {
  xp_obj obj;
  uintptr_t owner;  // the owning thread's identifier, 0 when unowned
  int depth;
  pthread_mutex_t mutex;
};

namespace xpc {

// A non-zero identifier of the calling thread, stable for its life.
uintptr_t thread_id();

// Makes the k-th allocation from now (xp_alloc or xp_realloc, k >= 1) fail,
// once; 0 turns the switch off. Process-wide.
void fail_alloc_after(long k);
// True while a failure set by fail_alloc_after is still to come.
bool alloc_failure_pending();

// Makes the start of a block from xp_alloc an object header of the given
// type, as xp_new does (count 1, default operations, the rest zero).
xp_obj *object_in(void *block, uint32_t type);

}  // namespace xpc

#endif  // XP_CORE_INTERNAL_H
