/* xp time: time values, zone offset and daylight saving, calendar conversion, time texts.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_TIME_H
#define XP_TIME_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* XP_TIME_H */
