// The process-wide critical section (created once, on first use) and the
// two lock objects: the critical section "crit" and the recursive mutex
// "sema".
#include "xp/core/xp_core_internal.h"

namespace {

pthread_once_t g_global_once = PTHREAD_ONCE_INIT;
pthread_mutex_t g_global_mutex;
bool g_global_ready = false;

void create_global() {
  g_global_ready = pthread_mutex_init(&g_global_mutex, nullptr) == 0;
}

thread_local char t_thread_marker;

}  // namespace

namespace xpc {

uintptr_t thread_id() {
  return reinterpret_cast<uintptr_t>(&t_thread_marker);
}

}  // namespace xpc

extern "C" {

void xp_enter(void) {
  pthread_once(&g_global_once, create_global);
  if (g_global_ready) pthread_mutex_lock(&g_global_mutex);
}

void xp_leave(void) {
  pthread_once(&g_global_once, create_global);
  if (g_global_ready) pthread_mutex_unlock(&g_global_mutex);
}

xp_crit *xp_crit_new(void) {
  auto *cs = reinterpret_cast<xp_crit *>(xp_new(XP_TYPE_CRIT, sizeof(xp_crit)));
  if (!cs) return nullptr;
  if (pthread_mutex_init(&cs->mutex, nullptr) != 0) {
    xp_free(cs);
    return nullptr;
  }
  cs->obj.release = xp_crit_release;
  return cs;
}

void xp_crit_enter(xp_crit *cs) {
  if (cs) pthread_mutex_lock(&cs->mutex);
}

void xp_crit_leave(xp_crit *cs) {
  if (cs) pthread_mutex_unlock(&cs->mutex);
}

int xp_crit_try(xp_crit *cs) {
  return cs && pthread_mutex_trylock(&cs->mutex) == 0 ? 1 : 0;
}

void xp_crit_release(void *obj) {
  auto *cs = static_cast<xp_crit *>(obj);
  if (!cs || !xp_prerelease(cs)) return;
  pthread_mutex_destroy(&cs->mutex);
  xp_free(cs);
}

xp_mux *xp_mux_new(void) {
  auto *m = reinterpret_cast<xp_mux *>(xp_new(XP_TYPE_SEMA, sizeof(xp_mux)));
  if (!m) return nullptr;
  if (pthread_mutex_init(&m->mutex, nullptr) != 0) {
    xp_free(m);
    return nullptr;
  }
  m->obj.release = xp_mux_release;
  return m;
}

// The owner is read without the mutex: a thread can only ever find its own
// identifier there while it holds the lock. The field is accessed
// atomically so that the unlocked read is well defined.
void xp_mux_lock(xp_mux *m) {
  if (!m) return;
  uintptr_t me = xpc::thread_id();
  if (__atomic_load_n(&m->owner, __ATOMIC_RELAXED) != me) {
    pthread_mutex_lock(&m->mutex);
    __atomic_store_n(&m->owner, me, __ATOMIC_RELAXED);
  }
  ++m->depth;
}

void xp_mux_unlock(xp_mux *m) {
  if (!m) return;
  if (m->depth-- == 1) {
    __atomic_store_n(&m->owner, uintptr_t{0}, __ATOMIC_RELAXED);
    pthread_mutex_unlock(&m->mutex);
  }
}

void xp_mux_release(void *obj) {
  auto *m = static_cast<xp_mux *>(obj);
  if (!m || !xp_prerelease(m)) return;
  pthread_mutex_destroy(&m->mutex);
  xp_free(m);
}

}  // extern "C"
