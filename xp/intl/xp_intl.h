/* xp intl: the locale settings cache and the on-demand platform formatters.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_INTL_H
#define XP_INTL_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* XP_INTL_H */
