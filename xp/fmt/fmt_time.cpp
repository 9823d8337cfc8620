// The time directives of the engine (D and z in local time, Z in UTC): a
// pattern of '#' fields through the time library's directive engine, or
// one of its fixed texts.
#include <limits.h>

#include "xp/fmt/xp_fmt_internal.h"
#include "xp/time/xp_time.h"

namespace xpf {

size_t time_text(char *buf, size_t room, int conv, uint32_t flags, uint64_t value,
                 const char *pattern, size_t patlen) {
  const bool utc = conv == 'Z';
  auto v = static_cast<xp_seconds>(value);
  if (v == 0) v = utc ? xp_time_getutc() : xp_time_getlocal();
  // The writers terminate: they get the room and the byte behind it.
  long size = 0;
  if (buf) {
    if (room >= static_cast<size_t>(LONG_MAX)) room = static_cast<size_t>(LONG_MAX) - 1;
    size = static_cast<long>(room) + 1;
  }
  long n;
  if (pattern && patlen > 0) {
    xp_dtr r;
    if (utc)
      xp_time_utctodtr(v, &r);
    else
      xp_time_localtodtr(v, &r);
    n = xpf_time(buf, size, pattern, static_cast<long>(patlen), &r, '#');
  } else if (flags & XPF_ALT) {
    n = utc ? xp_time_utctogeneraltime(v, buf, size) : xp_time_localtogeneraltime(v, buf, size);
  } else if (flags & XPF_PLUS) {
    n = utc ? xp_time_utctodatetime(v, buf, size, 0, 1)
            : xp_time_localtodatetime(v, buf, size, 0, 1);
  } else {
    n = utc ? xp_time_utctodate(v, buf, size, 0) : xp_time_localtodate(v, buf, size, 0);
  }
  if (n < 0) n = 0;
  if (buf && static_cast<size_t>(n) > room) n = static_cast<long>(room);
  return static_cast<size_t>(n);
}

}  // namespace xpf
