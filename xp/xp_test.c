/* The umbrella header used from plain C11: it compiles, and the library
 * links and works from C. */
#include "xp/xp.h"

#include <stdio.h>
#include <string.h>

int main(void) {
  static const uint32_t tags[] = {XP_TYPE_STR,  XP_TYPE_DATA, XP_TYPE_NTLD, XP_TYPE_FMTR,
                                  XP_TYPE_INTL, XP_TYPE_CRIT, XP_TYPE_SEMA};
  static const char *names[] = {"xstr", "data", "ntld", "fmtr", "intl", "crit", "sema"};
  for (size_t i = 0; i < sizeof tags / sizeof tags[0]; i++) {
    if (memcmp(&tags[i], names[i], 4) != 0 || xp_tag(names[i]) != tags[i]) {
      fprintf(stderr, "tag %s is not in memory order\n", names[i]);
      return 1;
    }
  }
  xp_obj *o = xp_new(XP_TYPE_DATA, 0);
  if (!o || xp_refs(o) != 1 || xp_type(o) != XP_TYPE_DATA) return 1;
  xp_retain(o);
  xp_release(o);
  if (xp_refs(o) != 1) return 1;
  xp_release(o);
  puts("C header test passed");
  return 0;
}
