// The time directives of the engine (D and z in local time, Z in UTC).
// Their texts come from the time library's writers, which this build does
// not have yet: the directive's argument has been taken by the engine, and
// the directive produces nothing.
#include "xp/fmt/xp_fmt_internal.h"

namespace xpf {

size_t time_text(char *, size_t, int, uint32_t, uint64_t, const char *, size_t) {
  return 0;
}

}  // namespace xpf
