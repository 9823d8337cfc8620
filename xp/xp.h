/* The xp library: every public header in one. Plain C (C11 and C++). */
#ifndef XP_XP_H
#define XP_XP_H

#include "xp/core/xp_core.h"
#include "xp/str/xp_str.h"
#include "xp/ntld/xp_ntld.h"
#include "xp/fmt/xp_fmt.h"
#include "xp/intl/xp_intl.h"
#include "xp/time/xp_time.h"

#endif /* XP_XP_H */
