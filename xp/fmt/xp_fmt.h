/* xp fmt: the format engine, number and text writers, text scanners and network-address text.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_FMT_H
#define XP_FMT_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* XP_FMT_H */
