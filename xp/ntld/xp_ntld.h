/* xp ntld: the NTLD tagged container: writers and readers.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_NTLD_H
#define XP_NTLD_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* XP_NTLD_H */
