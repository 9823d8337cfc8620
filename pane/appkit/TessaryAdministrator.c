// Administrator check behind the lock view on systems without an
// authorization service: the user and group databases decide.
#define _GNU_SOURCE
#include "TessaryAdministrator.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int tessary_is_administrator_group(const char *name) {
  if (name == NULL) return 0;
  return strcmp(name, "sudo") == 0 || strcmp(name, "admin") == 0 || strcmp(name, "wheel") == 0;
}

// Non-zero when the group with this id is an administrator group; 0 when
// it is not, does not exist, or memory runs out.
static int group_is_administrator(gid_t gid) {
  long size = sysconf(_SC_GETGR_R_SIZE_MAX);
  size_t len = size > 0 ? (size_t)size : 4096;
  for (int attempt = 0; attempt < 8; attempt++, len *= 2) {
    char *buf = malloc(len);
    if (buf == NULL) return 0;
    struct group grp, *found = NULL;
    int rc = getgrgid_r(gid, &grp, buf, len, &found);
    if (rc == ERANGE) {
      free(buf);
      continue;
    }
    int admin = rc == 0 && found != NULL && tessary_is_administrator_group(found->gr_name);
    free(buf);
    return admin;
  }
  return 0;
}

int tessary_user_is_administrator(uid_t uid) {
  if (uid == 0) return 1;

  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  size_t len = size > 0 ? (size_t)size : 4096;
  char *buf = NULL;
  struct passwd pw, *found = NULL;
  for (int attempt = 0; attempt < 8; attempt++, len *= 2) {
    free(buf);
    buf = malloc(len);
    if (buf == NULL) return 0;
    int rc = getpwuid_r(uid, &pw, buf, len, &found);
    if (rc != ERANGE) break;
    found = NULL;
  }
  if (found == NULL) {
    free(buf);
    return 0;
  }

  int admin = 0;
  int count = 32;
  gid_t *groups = NULL;
  for (int attempt = 0; attempt < 8; attempt++) {
    gid_t *grown = realloc(groups, (size_t)count * sizeof *groups);
    if (grown == NULL) break;
    groups = grown;
    int n = count;
    if (getgrouplist(pw.pw_name, pw.pw_gid, groups, &n) >= 0) {
      for (int i = 0; i < n && !admin; i++)
        admin = group_is_administrator(groups[i]);
      break;
    }
    // Too small: n now holds the number needed (glibc); grow at least twofold.
    count = n > count ? n : count * 2;
  }
  free(groups);
  free(buf);
  return admin;
}
