/* A small C program that uses an installed libxp. */
#include <xp/xp.h>

#include <stdio.h>

int main(void) {
  xp_obj *a = xp_new(XP_TYPE_STR, 0);
  xp_obj *b = xp_new(XP_TYPE_DATA, 0);
  int ok = a && b && xp_compare(a, b) > 0 && xp_compare(b, a) < 0;
  xp_release(a);
  xp_release(b);
  xp_crit *cs = xp_crit_new();
  ok = ok && xp_crit_try(cs) == 1;
  xp_crit_leave(cs);
  xp_release(cs);
  puts(ok ? "consumer ok" : "consumer FAILED");
  return ok ? 0 : 1;
}
