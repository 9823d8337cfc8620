// Hex writers: byte dumps with an optional separator, the public data
// renderings, and the text form of a UUID.
#include "xp/fmt/xp_fmt_internal.h"

size_t xpf_hexify(char *buf, size_t room, const void *data, intptr_t count, int32_t separator,
                  const char *digits) {
  // With a separator and no bytes this comes to all ones, so that the
  // result is then the whole room.
  size_t full = separator ? (size_t)(3 * count - 1) : (size_t)(2 * count);
  if (!buf) return full;
  size_t result = full < room ? full : room;
  if (count < 1) return result;
  const auto *b = (const unsigned char *)data;
  size_t step = separator ? 3 : 2;
  size_t pos = 0;
  // Positions at or past the room are left out, so a short room keeps the
  // beginning of the dump.
  for (intptr_t i = 0; i < count; i++, pos += step) {
    if (i && separator) {
      if (pos - 1 >= room) break;
      buf[pos - 1] = (char)separator;
    }
    if (pos >= room) break;
    buf[pos] = digits[b[i] >> 4];
    if (pos + 1 < room) buf[pos + 1] = digits[b[i] & 15];
  }
  return result;
}

size_t xp_fmt_data(char *buf, size_t room, const void *data, size_t count) {
  return xpf_hexify(buf, room, data, (intptr_t)count, 0, xpf_upper_digits);
}

size_t xp_fmt_data_ex(char *buf, size_t room, const void *data, size_t count, int32_t separator) {
  return xpf_hexify(buf, room, data, (intptr_t)count, separator, xpf_upper_digits);
}

size_t xp_fmt_uuid(char *buf, size_t size, const void *bytes, size_t count) {
  if (!buf) return 36;
  if (size < 37 || count != 16 || !bytes) return (size_t)-1;
  const auto *b = (const unsigned char *)bytes;
  char *p = buf;
  for (int i = 0; i < 16; i++) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *p++ = '-';
    *p++ = xpf_upper_digits[b[i] >> 4];
    *p++ = xpf_upper_digits[b[i] & 15];
  }
  *p = 0;
  return 36;
}
