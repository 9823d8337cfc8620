// The pane's lock view where the system has no authorization view of its own
// (GNUstep): the same class name and the part of the interface the pane uses.
// Clicking its lock unlocks only for an administrator (see
// TessaryAdministrator.h), never when TESSARY_LOCK_DENIED=1 is in the
// environment (for tests), and locks again on the next click.
#ifndef TESSARY_SF_AUTHORIZATION_VIEW_H
#define TESSARY_SF_AUTHORIZATION_VIEW_H

#import <AppKit/AppKit.h>
#include <stddef.h>
#include <stdint.h>

typedef const char *AuthorizationString;

typedef struct {
  AuthorizationString name;
  size_t valueLength;
  void *value;
  uint32_t flags;
} AuthorizationItem;

typedef struct {
  uint32_t count;
  AuthorizationItem *items;
} AuthorizationRights;

typedef enum {
  SFAuthorizationStartupState = 0,
  SFAuthorizationViewLockedState = 1,
  SFAuthorizationViewInProgressState = 2,
  SFAuthorizationViewUnlockedState = 3
} SFAuthorizationViewState;

@interface SFAuthorizationView : NSView {
  NSButton *_lockButton;
  NSTextField *_hint;
  id _delegate;
  AuthorizationRights _rights;
  SFAuthorizationViewState _state;
}

// Copies the rights (names and values); the view asks for them on unlock.
- (void)setAuthorizationRights:(const AuthorizationRights *)rights;
- (const AuthorizationRights *)authorizationRights;
// One right with no value and no flags.
- (void)setString:(AuthorizationString)rightName;

// The delegate is not retained.
- (void)setDelegate:(id)delegate;
- (id)delegate;

// Leaves the start-up state for the locked one; answers whether unlocked.
- (BOOL)updateStatus:(id)sender;
- (SFAuthorizationViewState)authorizationState;

// What a click on the lock does: authorize: when locked, deauthorize: when
// unlocked. Each tells the delegate when the state changed.
- (BOOL)authorize:(id)sender;
- (BOOL)deauthorize:(id)sender;

- (NSButton *)lockButton;
@end

@interface NSObject (SFAuthorizationViewDelegate)
- (void)authorizationViewDidAuthorize:(SFAuthorizationView *)view;
- (void)authorizationViewDidDeauthorize:(SFAuthorizationView *)view;
@end

#endif
