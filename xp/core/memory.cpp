// Zero-filling allocation, resizing that never leaves a stale block, the
// byte-block routines, and the test-only allocation-failure switch.
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "xp/core/xp_core_internal.h"

namespace {

// Allocations left before the forced failure; 0 when none is set.
std::atomic<long> g_fail_countdown{0};

// True when this allocation is the one a test asked to fail.
bool forced_failure() {
  long left = g_fail_countdown.load(std::memory_order_relaxed);
  while (left > 0) {
    if (g_fail_countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed))
      return left == 1;
  }
  return false;
}

}  // namespace

namespace xpc {

void fail_alloc_after(long k) {
  g_fail_countdown.store(k > 0 ? k : 0);
}
bool alloc_failure_pending() {
  return g_fail_countdown.load() > 0;
}

}  // namespace xpc

extern "C" {

void *xp_alloc(size_t size) {
  if (forced_failure()) return nullptr;
  return std::calloc(size ? size : 1, 1);
}

void *xp_realloc(void *block, size_t size) {
  if (!block) return xp_alloc(size);
  if (forced_failure()) {
    std::free(block);
    return nullptr;
  }
  void *grown = std::realloc(block, size ? size : 1);
  if (!grown) std::free(block);
  return grown;
}

void xp_free(void *block) {
  std::free(block);
}
void xp_delete(void *block) {
  std::free(block);
}

void *xp_memcpy(void *dst, const void *src, size_t n) {
  return std::memcpy(dst, src, n);
}
void *xp_memmov(void *dst, const void *src, size_t n) {
  return std::memmove(dst, src, n);
}
void *xp_memset(void *dst, int byte, size_t n) {
  return std::memset(dst, byte, n);
}
void *xp_memclr(void *dst, size_t n) {
  return std::memset(dst, 0, n);
}
int xp_memcmp(const void *a, const void *b, size_t n) {
  return std::memcmp(a, b, n);
}

void xp_memdump(const void *, size_t) {}

}  // extern "C"
