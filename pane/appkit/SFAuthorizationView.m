// The lock view stand-in: a padlock button and a hint beside it. Unlocking
// needs rights to have been set and the user to be an administrator.
#import "SFAuthorizationView.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "TessaryAdministrator.h"
#import "TessaryFont.h"

static NSString *LockText(NSString *text) {
  return [[NSBundle bundleForClass:[SFAuthorizationView class]] localizedStringForKey:text
                                                                                value:nil
                                                                                table:nil];
}

// A padlock drawn into an image: closed, or with the shackle lifted.
static NSImage *PadlockImage(BOOL open) {
  NSImage *image = [[NSImage alloc] initWithSize:NSMakeSize(22, 28)];
  [image lockFocus];
  [[NSColor colorWithCalibratedWhite:0.35 alpha:1.0] set];
  NSRectFill(NSMakeRect(3, 2, 16, 13));
  NSBezierPath *shackle = [NSBezierPath bezierPath];
  [shackle setLineWidth:2.5];
  CGFloat lift = open ? 5 : 0;
  [shackle moveToPoint:NSMakePoint(7, 15 + lift)];
  [shackle lineToPoint:NSMakePoint(7, 20 + lift)];
  [shackle appendBezierPathWithArcWithCenter:NSMakePoint(11, 20 + lift)
                                      radius:4
                                  startAngle:180
                                    endAngle:0
                                   clockwise:YES];
  [shackle lineToPoint:NSMakePoint(15, 15)];
  [shackle stroke];
  [image unlockFocus];
  return [image autorelease];
}

@interface SFAuthorizationView ()
- (void)showState;
@end

@implementation SFAuthorizationView

- (void)setUpLock {
  _state = SFAuthorizationStartupState;
  NSRect bounds = [self bounds];
  _lockButton = [[NSButton alloc] initWithFrame:NSMakeRect(0, (NSHeight(bounds) - 32) / 2, 32, 32)];
  [_lockButton setButtonType:NSMomentaryChangeButton];
  [_lockButton setBordered:NO];
  [_lockButton setImagePosition:NSImageOnly];
  [_lockButton setTarget:self];
  [_lockButton setAction:@selector(lockClicked:)];
  [self addSubview:_lockButton];

  _hint = [[NSTextField alloc]
      initWithFrame:NSMakeRect(38, (NSHeight(bounds) - 18) / 2, MAX(NSWidth(bounds) - 38, 10), 18)];
  [_hint setEditable:NO];
  [_hint setSelectable:NO];
  [_hint setBezeled:NO];
  [_hint setBordered:NO];
  [_hint setDrawsBackground:NO];
  [_hint setFont:[NSFont systemFontOfSize:12]];
  [_hint setAutoresizingMask:NSViewWidthSizable];
  [self addSubview:_hint];
  [self showState];
}

- (id)initWithFrame:(NSRect)frame {
  if ((self = [super initWithFrame:frame]) != nil) [self setUpLock];
  return self;
}

- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) != nil) [self setUpLock];
  return self;
}

static void FreeRights(AuthorizationRights *rights) {
  for (uint32_t i = 0; i < rights->count; i++) {
    free((void *)rights->items[i].name);
    free(rights->items[i].value);
  }
  free(rights->items);
  rights->items = NULL;
  rights->count = 0;
}

- (void)dealloc {
  FreeRights(&_rights);
  [_lockButton release];
  [_hint release];
  [super dealloc];
}

- (void)showState {
  BOOL open = _state == SFAuthorizationViewUnlockedState;
  [_lockButton setImage:PadlockImage(open)];
  [_hint setStringValue:LockText(open ? @"Click the lock to prevent further changes."
                                      : @"Click the lock to make changes.")];
  TessaryFitFont(_hint);
  [self setNeedsDisplay:YES];
}

- (void)setAuthorizationRights:(const AuthorizationRights *)rights {
  FreeRights(&_rights);
  if (rights == NULL || rights->count == 0 || rights->items == NULL) return;
  AuthorizationItem *items = calloc(rights->count, sizeof *items);
  if (items == NULL) return;
  _rights.items = items;
  for (uint32_t i = 0; i < rights->count; i++) {
    const AuthorizationItem *from = &rights->items[i];
    items[i].flags = from->flags;
    items[i].name = from->name != NULL ? strdup(from->name) : NULL;
    if (from->value != NULL && from->valueLength > 0) {
      items[i].value = malloc(from->valueLength);
      if (items[i].value != NULL) {
        memcpy(items[i].value, from->value, from->valueLength);
        items[i].valueLength = from->valueLength;
      }
    }
    _rights.count = i + 1;
  }
}

- (const AuthorizationRights *)authorizationRights {
  return _rights.count > 0 ? &_rights : NULL;
}

- (void)setString:(AuthorizationString)rightName {
  AuthorizationItem item = {rightName, 0, NULL, 0};
  AuthorizationRights rights = {1, &item};
  [self setAuthorizationRights:rightName != NULL ? &rights : NULL];
}

- (void)setDelegate:(id)delegate {
  _delegate = delegate;
}

- (id)delegate {
  return _delegate;
}

- (SFAuthorizationViewState)authorizationState {
  return _state;
}

- (BOOL)updateStatus:(id)sender {
  (void)sender;
  if (_state == SFAuthorizationStartupState || _state == SFAuthorizationViewInProgressState) {
    _state = SFAuthorizationViewLockedState;
    [self showState];
  }
  return _state == SFAuthorizationViewUnlockedState;
}

- (BOOL)authorize:(id)sender {
  (void)sender;
  if (_state == SFAuthorizationViewUnlockedState) return YES;
  // TESSARY_LOCK_DENIED=1 in the environment refuses every unlock, as for a
  // user who is not an administrator (for tests).
  const char *denied = getenv("TESSARY_LOCK_DENIED");
  BOOL deny = denied != NULL && *denied != '\0' && strcmp(denied, "0") != 0;
  if (_rights.count == 0 || deny || !tessary_user_is_administrator(getuid())) {
    _state = SFAuthorizationViewLockedState;
    [self showState];
    NSBeep();
    return NO;
  }
  _state = SFAuthorizationViewUnlockedState;
  [self showState];
  if ([_delegate respondsToSelector:@selector(authorizationViewDidAuthorize:)])
    [_delegate authorizationViewDidAuthorize:self];
  return YES;
}

- (BOOL)deauthorize:(id)sender {
  (void)sender;
  if (_state != SFAuthorizationViewUnlockedState) return YES;
  _state = SFAuthorizationViewLockedState;
  [self showState];
  if ([_delegate respondsToSelector:@selector(authorizationViewDidDeauthorize:)])
    [_delegate authorizationViewDidDeauthorize:self];
  return YES;
}

- (void)lockClicked:(id)sender {
  if (_state == SFAuthorizationViewUnlockedState)
    [self deauthorize:sender];
  else
    [self authorize:sender];
}

- (NSButton *)lockButton {
  return _lockButton;
}

@end
