/* xp str: strings and byte data: the immutable string object, string operations and the data object.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_STR_H
#define XP_STR_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* XP_STR_H */
