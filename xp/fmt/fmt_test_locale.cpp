// The engine's tests expect the locale settings' fixed defaults ("." as
// decimal separator, no digit grouping): whatever the locale of the
// machine that runs them, they run in the C locale without the platform's
// locale services.
#include <stdlib.h>

#include <gtest/gtest.h>

#include "xp/intl/xp_intl.h"

namespace {

class CLocale : public ::testing::Environment {
 public:
  void SetUp() override {
    setenv("LC_ALL", "C", 1);
    setenv("XP_INTL_NO_PLATFORM", "1", 1);
    xp_intl_reset(nullptr);
  }
};

::testing::Environment *const kCLocale = ::testing::AddGlobalTestEnvironment(new CLocale);

}  // namespace
