// Who may unlock the pane's lock on a system without an authorization
// service: the superuser and members of the sudo, admin or wheel group.
#ifndef TESSARY_ADMINISTRATOR_H
#define TESSARY_ADMINISTRATOR_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Non-zero when the account with this user id is an administrator: uid 0, or
// an account whose groups (primary and supplementary, from the user and group
// databases) include one named "sudo", "admin" or "wheel". An unknown user id
// is never an administrator.
int tessary_user_is_administrator(uid_t uid);

// Non-zero when the group name is one of the administrator groups.
int tessary_is_administrator_group(const char *name);

#ifdef __cplusplus
}
#endif

#endif
