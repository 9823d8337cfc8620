// Number signs, separators and grouping of the locale settings. These are
// the settings' fixed defaults, which hold wherever the platform and the C
// library give nothing; loading the user's own values completes them.
#include <string.h>

#include "xp/fmt/xp_fmt.h"
#include "xp/intl/xp_intl.h"

namespace {

// Grouping bytes as the settings keep them: 0xFF ends them (no grouping).
const char kNoGrouping[] = "\xFF";

intptr_t copy_grouping(const char *grouping, char *buf, size_t size) {
  if (buf && size) buf[0] = 0;
  if (!buf) return 0;
  size_t n = 0;
  while ((unsigned char)grouping[n] != 0xFF)
    n++;
  n++;
  if (n > size) n = size;
  memcpy(buf, grouping, n);
  return (intptr_t)n;
}

}  // namespace

intptr_t xp_intl_plus(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, "+");
}
intptr_t xp_intl_minus(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, "-");
}
intptr_t xp_intl_decimal(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, ".");
}
intptr_t xp_intl_thousep(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, ",");
}
intptr_t xp_intl_mdecimal(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, ".");
}
intptr_t xp_intl_mthousep(xp_intl *, char *buf, size_t size) {
  return xp_fmt_string(buf, size, ",");
}
intptr_t xp_intl_grouping(xp_intl *, char *buf, size_t size) {
  return copy_grouping(kNoGrouping, buf, size);
}
intptr_t xp_intl_mgrouping(xp_intl *, char *buf, size_t size) {
  return copy_grouping(kNoGrouping, buf, size);
}
