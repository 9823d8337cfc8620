// Tests of the lock view stand-in and of who counts as an administrator.
#import <AppKit/AppKit.h>

#include <gtest/gtest.h>
#include <pwd.h>
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

TEST(AuthorizationView, LockClicksUnlockAndLockForAnAdministrator) {
  Class viewClass = [TessaryPaneBundle() classNamed:@"SFAuthorizationView"];
  ASSERT_TRUE(viewClass != nil);
  SFAuthorizationView *view =
      [[[viewClass alloc] initWithFrame:NSMakeRect(0, 0, 300, 36)] autorelease];
  LockDelegate *delegate = [[LockDelegate new] autorelease];
  [view setDelegate:delegate];
  EXPECT_EQ([view authorizationState], SFAuthorizationStartupState);
  EXPECT_FALSE([view updateStatus:nil]);
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);

  // No right asked for: nothing to unlock.
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);
  EXPECT_EQ(delegate->authorized, 0);

  AuthorizationItem item = {"system.privilege.admin", 0, nullptr, 0};
  AuthorizationRights rights = {1, &item};
  [view setAuthorizationRights:&rights];
  ASSERT_TRUE([view authorizationRights] != nullptr);
  EXPECT_STREQ([view authorizationRights]->items[0].name, "system.privilege.admin");
  EXPECT_NE([view authorizationRights]->items[0].name, item.name);  // a copy

  bool admin = tessary_user_is_administrator(getuid());
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view authorizationState],
            admin ? SFAuthorizationViewUnlockedState : SFAuthorizationViewLockedState);
  EXPECT_EQ(delegate->authorized, admin ? 1 : 0);
  EXPECT_EQ([view updateStatus:nil], admin);
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);
  EXPECT_EQ(delegate->deauthorized, admin ? 1 : 0);

  // Without a delegate the clicks still work.
  [view setDelegate:nil];
  [[view lockButton] performClick:nil];
  [[view lockButton] performClick:nil];
  EXPECT_EQ([view authorizationState], SFAuthorizationViewLockedState);
}

}  // namespace
