/* xp intl: the locale settings cache and the on-demand platform formatters.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef XP_INTL_H
#define XP_INTL_H

#include "xp/core/xp_core.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct xp_intl xp_intl;

/* Number signs and separators of a locale settings object (null: the
 * shared default). Each copies its text into buf as a bounded, terminated
 * text and returns its length. */
XP_API intptr_t xp_intl_plus(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_minus(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_decimal(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_thousep(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_mdecimal(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_mthousep(xp_intl *intl, char *buf, size_t size);
/* Digit grouping: group sizes from the decimal separator leftwards, ended
 * by 0xFF (no further groups) or 0 (the last size repeats). Copies the
 * bytes up to and including the first 0xFF, at most size, and returns the
 * count copied. */
XP_API intptr_t xp_intl_grouping(xp_intl *intl, char *buf, size_t size);
XP_API intptr_t xp_intl_mgrouping(xp_intl *intl, char *buf, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* XP_INTL_H */
