// Helpers shared by the fuzz targets: a check that stops the run, and a
// heap copy of exactly the fuzzed length, so that any read past it is
// reported by the address sanitizer.
#ifndef XP_FUZZ_UTIL_H
#define XP_FUZZ_UTIL_H

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace fuzz {

inline void check(bool ok) {
  if (!ok) __builtin_trap();
}

// Free with free(); never null for a size of 0 (one byte is allocated then).
inline char *exact_copy(const uint8_t *data, size_t size) {
  auto *copy = static_cast<char *>(std::malloc(size ? size : 1));
  if (!copy) std::abort();
  if (size) std::memcpy(copy, data, size);
  return copy;
}

}  // namespace fuzz

#endif  // XP_FUZZ_UTIL_H
