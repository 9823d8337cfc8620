// Tests of the lock view stand-in and of who counts as an administrator.
#import <AppKit/AppKit.h>

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include "SFAuthorizationView.h"
#include "TessaryAdministrator.h"
#include "pane_bundle_test.h"

@interface LockDelegate : NSObject {
 @public
  int authorized, deauthorized;
}
@end

@implementation LockDelegate
- (void)authorizationViewDidAuthorize:(SFAuthorizationView *)view {
  (void)view;
  authorized++;
}
- (void)authorizationViewDidDeauthorize:(SFAuthorizationView *)view {
  (void)view;
  deauthorized++;
}
@end

namespace {

TEST(Administrator, OnlyRootAndTheAdministratorGroups) {
  EXPECT_TRUE(tessary_user_is_administrator(0));
  struct passwd *nobody = getpwnam("nobody");
  ASSERT_TRUE(nobody != nullptr);
  EXPECT_FALSE(tessary_user_is_administrator(nobody->pw_uid));
  EXPECT_FALSE(tessary_user_is_administrator(3999999));  // no such user
  for (const char *name : {"sudo", "admin", "wheel"})
    EXPECT_TRUE(tessary_is_administrator_group(name));
  for (const char *name : {"", "users", "nogroup", "sudoers", "Wheel", "adm"})
    EXPECT_FALSE(tessary_is_administrator_group(name)) << name;
  EXPECT_FALSE(tessary_is_administrator_group(nullptr));
}

TEST(AuthorizationView, LockClicksUnlockAndLockForAnAdministratorOnly) {
  Class viewClass = [TessaryPaneBundle() classNamed:@"SFAuthorizationView"];
  ASSERT_TRUE(viewClass != nil);
  SFAuthorizationView *view =
      [[[viewClass alloc] initWithFrame:NSMakeRect(0, 0, 300, 36)] autorelease];
  LockDelegate *delegate = [[LockDelegate new] autorelease];
  [view setDelegate:delegate];
  EXPECT_EQ([view authorizationState], SFAuthorizationStartupState);
  EXPECT_FALSE([view updateStatus:nil]);
  [[view lockButton] performClick:nil];  // no right asked for: nothing to unlock
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);

  AuthorizationItem item = {"system.privilege.admin", 0, nullptr, 0};
  AuthorizationRights rights = {1, &item};
  [view setAuthorizationRights:&rights];
  EXPECT_STREQ([view authorizationRights]->items[0].name, "system.privilege.admin");
  EXPECT_NE([view authorizationRights]->items[0].name, item.name);  // a copy
  setenv("TESSARY_LOCK_DENIED", "1", 1);                            // refused as for anyone else
  [[view lockButton] performClick:nil];
  unsetenv("TESSARY_LOCK_DENIED");
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);

  bool admin = tessary_user_is_administrator(getuid());
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view updateStatus:nil], admin);
  EXPECT_EQ(delegate->authorized, admin ? 1 : 0);
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);
  EXPECT_EQ(delegate->deauthorized, admin ? 1 : 0);
}

}  // namespace
