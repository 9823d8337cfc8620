// TessaryPref: the AppKit side of the pane. Every host callback, control
// action and delegate call is handed to tessary::PaneLogic; the services the
// logic asks for (controls, localisation, application launcher, status timer,
// alert, lock) are answered here with the outlets and AppKit.
#import "TessaryPref.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "pane/pane_logic.h"
#import "TessaryFont.h"

#ifndef GNUSTEP
#include <CoreServices/CoreServices.h>
#endif

@interface TessaryPref ()
- (id)controlNamed:(tessary::PaneControl)control;
- (BOOL)startStatusTimer:(double)seconds;
- (void)fireStatusTimer;
- (void)stopStatusTimer;
- (SFAuthorizationView *)authorizationView;
- (void)syncAddress;
- (void)syncCompanions;
- (void)setAddressEditable:(BOOL)editable;
- (void)closeUpCompanionRows;
@end

namespace tessary_appkit {

namespace {

NSString *ns(const std::string &utf8) {
  NSString *s = [NSString stringWithUTF8String:utf8.c_str()];
  return s != nil ? s : @"";
}

std::string utf8(NSString *s) {
  const char *p = s != nil ? [s UTF8String] : nullptr;
  return p != nullptr ? std::string(p) : std::string();
}

// Where the companion applications live. The logic names them under the
// agent's folder of macOS; elsewhere that folder is chosen at build time and
// TESSARY_LIBRARY_DIR in the environment overrides it.
std::string installed_path(const std::string &path) {
#ifdef GNUSTEP
  static const char kFixed[] = "/Library/Tessary";
  if (path.compare(0, sizeof kFixed - 1, kFixed) != 0) return path;
  const char *env = std::getenv("TESSARY_LIBRARY_DIR");
  std::string folder = env != nullptr && *env != '\0' ? env : TESSARY_LIBRARY_DIR;
  return folder + path.substr(sizeof kFixed - 1);
#else
  return path;
#endif
}

#ifdef GNUSTEP
// A four-character code from the info dictionary; 0 when absent or not four
// characters.
std::uint32_t four_cc_value(id value) {
  if (![value isKindOfClass:[NSString class]]) return 0;
  const char *s = [value UTF8String];
  if (s == nullptr || std::strlen(s) != 4) return 0;
  return std::uint32_t(std::uint8_t(s[0])) << 24 | std::uint32_t(std::uint8_t(s[1])) << 16 |
         std::uint32_t(std::uint8_t(s[2])) << 8 | std::uint32_t(std::uint8_t(s[3]));
}

// The info dictionary of the application bundle at `path`, read from disk
// each time (NSBundle keeps the first one it read for a path, which would
// miss an application replaced while the host runs); nil when there is none.
NSDictionary *info_dictionary(NSString *path) {
  static const char *const kFiles[] = {"Resources/Info-gnustep.plist", "Resources/Info.plist",
                                       "Contents/Info.plist", "Info.plist"};
  for (const char *file : kFiles) {
    NSDictionary *info = [NSDictionary
        dictionaryWithContentsOfFile:
            [path stringByAppendingPathComponent:[NSString stringWithUTF8String:file]]];
    if (info != nil) return info;
  }
  return nil;
}
#endif

}  // namespace

class PaneBridge final : public tessary::PaneControls,
                         public tessary::PaneLocalizer,
                         public tessary::AppLauncher,
                         public tessary::StatusTimer,
                         public tessary::AlertPanel,
                         public tessary::AuthorizationView {
 public:
  explicit PaneBridge(TessaryPref *pane)
      : pane_(pane), logic(tessary::PaneServices{*this, *this, *this, *this, *this, *this}) {}

  // PaneControls
  std::string text(tessary::PaneControl c) override {
    id control = [pane_ controlNamed:c];
    if ([control isKindOfClass:[NSButton class]]) return utf8([control title]);
    return utf8([control stringValue]);
  }
  void set_text(tessary::PaneControl c, const std::string &text) override {
    id control = [pane_ controlNamed:c];
    if ([control isKindOfClass:[NSButton class]])
      [control setTitle:ns(text)];
    else
      [control setStringValue:ns(text)];
    TessaryFitFont(control);
  }
  void set_enabled(tessary::PaneControl c, bool enabled) override {
    id control = [pane_ controlNamed:c];
    // The address field is editable, selectable and focusable only while it
    // is enabled; disabling it drops an edit in progress and its focus.
    if (c == tessary::PaneControl::txt_address) [pane_ setAddressEditable:enabled ? YES : NO];
    [control setEnabled:enabled ? YES : NO];
  }
  bool can_hide(tessary::PaneControl c) override {
    return [[pane_ controlNamed:c] respondsToSelector:@selector(setHidden:)];
  }
  void set_hidden(tessary::PaneControl c, bool hidden) override {
    [[pane_ controlNamed:c] setHidden:hidden ? YES : NO];
  }
  bool checked(tessary::PaneControl c) override {
    return [[pane_ controlNamed:c] state] == NSOnState;
  }
  void set_checked(tessary::PaneControl c, bool on) override {
    [[pane_ controlNamed:c] setState:on ? NSOnState : NSOffState];
  }
  void set_text_colour(tessary::PaneControl c, tessary::TextColour colour) override {
    id control = [pane_ controlNamed:c];
    if ([control respondsToSelector:@selector(setTextColor:)])
      [control setTextColor:colour == tessary::TextColour::black ? [NSColor blackColor]
                                                                 : [NSColor lightGrayColor]];
  }
  void select_all(tessary::PaneControl c) override { [[pane_ controlNamed:c] selectText:nil]; }
  void attach_delegate(tessary::PaneControl c) override {
    id control = [pane_ controlNamed:c];
    if ([control respondsToSelector:@selector(setDelegate:)]) [control setDelegate:pane_];
  }

  bool fits(tessary::PaneControl c, const std::string &text) override {
    id control = [pane_ controlNamed:c];
    NSCell *cell = [[[control cell] copy] autorelease];
    [cell setStringValue:ns(text)];
    [cell setFont:TessaryFontCovering([cell font], [cell stringValue])];
    return [cell cellSize].width <= NSWidth([control frame]);
  }
  void set_tooltip(tessary::PaneControl c, const std::string &text) override {
    [[pane_ controlNamed:c] setToolTip:text.empty() ? nil : ns(text)];
  }

  // PaneLocalizer
  std::string localized(const std::string &english) override {
    return utf8([[pane_ bundle] localizedStringForKey:ns(english) value:nil table:nil]);
  }

  // AppLauncher
  bool type_and_creator(const std::string &path, std::uint32_t *type,
                        std::uint32_t *creator) override {
#ifdef GNUSTEP
    NSString *where = ns(installed_path(path));
    BOOL folder = NO;
    if (![[NSFileManager defaultManager] fileExistsAtPath:where isDirectory:&folder] || !folder)
      return false;
    NSDictionary *info = info_dictionary(where);
    if (info == nil) return false;
    *type = four_cc_value([info objectForKey:@"CFBundlePackageType"]);
    *creator = four_cc_value([info objectForKey:@"CFBundleSignature"]);
    return true;
#else
    NSURL *url = [NSURL fileURLWithPath:ns(path)];
    LSItemInfoRecord record;
    if (LSCopyItemInfoForURL((CFURLRef)url, kLSRequestTypeCreator, &record) != noErr) return false;
    *type = record.filetype;
    *creator = record.creator;
    return true;
#endif
  }
  bool open(const std::string &path) override {
#ifdef GNUSTEP
    return [[NSWorkspace sharedWorkspace] launchApplication:ns(installed_path(path))];
#else
    NSURL *url = [NSURL fileURLWithPath:ns(path)];
    return LSOpenCFURLRef((CFURLRef)url, nullptr) == noErr;
#endif
  }

  // StatusTimer
  bool start(double seconds) override {
    return [pane_ startStatusTimer:seconds];
  }
  void fire() override {
    [pane_ fireStatusTimer];
  }
  void stop() override {
    [pane_ stopStatusTimer];
  }

  // AlertPanel
  void run(const std::string &message, const std::string &button) override {
    NSRunAlertPanel(nil, @"%@", ns(button), nil, nil, ns(message));
  }

  // AuthorizationView
  void set_right(const char *right) override {
    AuthorizationItem item = {right, 0, nullptr, 0};
    AuthorizationRights rights = {1, &item};
    [[pane_ authorizationView] setAuthorizationRights:&rights];
  }
  void attach_delegate() override {
    [[pane_ authorizationView] setDelegate:pane_];
  }
  void detach_delegate() override {
    [[pane_ authorizationView] setDelegate:nil];
  }
  void update() override {
    [[pane_ authorizationView] updateStatus:nil];
  }
  bool unlocked() override {
    return [[pane_ authorizationView] authorizationState] == SFAuthorizationViewUnlockedState;
  }

 private:
  TessaryPref *pane_;  // owns the bridge

 public:
  tessary::PaneLogic logic;
};

}  // namespace tessary_appkit

@implementation TessaryPref

- (id)initWithBundle:(NSBundle *)bundle {
  if ((self = [super initWithBundle:bundle]) != nil) bridge = new tessary_appkit::PaneBridge(self);
  return self;
}

- (void)dealloc {
  [statusTimer invalidate];
  [statusTimer release];
  [luURL release];
  [tarrowURL release];
  [baseFrames release];
  delete bridge;
  [super dealloc];
}

// The interface file holds English texts: show them in the user's language.
// Only the address field can be edited, and only once the lock is open; the
// agent's facts (identifier, version, status, backups) can be selected and
// copied; labels neither.
- (void)awakeFromNib {
  NSBundle *bundle = [self bundle];
  NSArray *selectable = [NSArray arrayWithObjects:txt_maid, txt_vers, txt_status, txt_shadow, nil];
  NSMutableArray *pending = [NSMutableArray arrayWithObject:[_window contentView]];
  while ([pending count] > 0) {
    NSView *view = [pending lastObject];
    [pending removeLastObject];
    if ([view isKindOfClass:[SFAuthorizationView class]]) continue;  // localises itself
    [pending addObjectsFromArray:[view subviews]];
    if ([view isKindOfClass:[NSButton class]]) {
      NSString *title = [(NSButton *)view title];
      if ([title length] > 0)
        [(NSButton *)view setTitle:[bundle localizedStringForKey:title value:nil table:nil]];
      TessaryFitFont((NSButton *)view);
    } else if ([view isKindOfClass:[NSTextField class]]) {
      NSTextField *field = (NSTextField *)view;
      NSString *text = [field stringValue];
      if ([text length] > 0)
        [field setStringValue:[bundle localizedStringForKey:text value:nil table:nil]];
      TessaryFitFont(field);
      if (field != txt_address) {
        [field setEditable:NO];
        [field setSelectable:[selectable indexOfObjectIdenticalTo:field] != NSNotFound];
      }
    }
  }
  // The interface loader ignores the bold system font: the title (tag 1) gets
  // it here.
  NSView *title = [[_window contentView] viewWithTag:1];
  if ([title isKindOfClass:[NSTextField class]]) {
    NSFont *font = [(NSTextField *)title font];
    [(NSTextField *)title
        setFont:[NSFont boldSystemFontOfSize:font != nil ? [font pointSize] : 15]];
    TessaryFitFont((NSTextField *)title);
  }
  [self setAddressEditable:NO];
  [txt_address setEnabled:NO];
  [button_logon setEnabled:NO];
}

- (void)mainViewDidLoad {
  bridge->logic.mainViewDidLoad();
}

- (void)didSelect {
  bridge->logic.didSelect();
  [self syncCompanions];
  [self closeUpCompanionRows];
  [self syncAddress];
}

- (void)willUnselect {
  bridge->logic.willUnselect();
}

- (void)didUnselect {
  bridge->logic.didUnselect();
  [self syncCompanions];
}

- (IBAction)checkboxClicked:(id)sender {
  (void)sender;
  bridge->logic.checkboxClicked();
  [self syncAddress];
}

- (IBAction)logonClicked:(id)sender {
  (void)sender;
  bridge->logic.logonClicked();
  [self syncAddress];
}

- (IBAction)luClicked:(id)sender {
  (void)sender;
  bridge->logic.luClicked();
}

- (IBAction)tarrowClicked:(id)sender {
  (void)sender;
  bridge->logic.tarrowClicked();
}

- (BOOL)isUnlocked {
  return bridge->logic.isUnlocked() ? YES : NO;
}

- (void)controlTextDidChange:(NSNotification *)notification {
  (void)notification;
  bridge->logic.controlTextDidChange();
}

- (void)controlTextDidEndEditing:(NSNotification *)notification {
  id movement = [[notification userInfo] objectForKey:@"NSTextMovement"];
  bridge->logic.controlTextDidEndEditing(movement != nil ? [movement integerValue] : 0);
  [self syncAddress];
}

- (void)authorizationViewDidAuthorize:(SFAuthorizationView *)view {
  (void)view;
  bridge->logic.authorizationViewDidAuthorize();
}

- (void)authorizationViewDidDeauthorize:(SFAuthorizationView *)view {
  (void)view;
  bridge->logic.authorizationViewDidDeauthorize();
}

- (void)updateStatus:(NSTimer *)timer {
  (void)timer;
  bridge->logic.updateStatus();
  [self syncAddress];
}

- (void)gather_settings {
  bridge->logic.gather_settings();
  [self syncAddress];
}

- (void)scatter_settings:(BOOL)logon {
  bridge->logic.scatter_settings(logon);
  [self syncAddress];
}

// The outlet of a control the logic names. (The control names are the
// outlets' names, which gcc takes for shadowing declarations.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow-ivar"
- (id)controlNamed:(tessary::PaneControl)control {
  switch (control) {
    case tessary::PaneControl::chk_messages:
      return chk_messages;
    case tessary::PaneControl::button_logon:
      return button_logon;
    case tessary::PaneControl::button_lu:
      return button_lu;
    case tessary::PaneControl::button_tarrow:
      return button_tarrow;
    case tessary::PaneControl::txt_address:
      return txt_address;
    case tessary::PaneControl::txt_maid:
      return txt_maid;
    case tessary::PaneControl::txt_status:
      return txt_status;
    case tessary::PaneControl::txt_vers:
      return txt_vers;
    case tessary::PaneControl::txt_shadow:
      return txt_shadow;
    case tessary::PaneControl::txt_lu:
      return txt_lu;
    case tessary::PaneControl::txt_tarrow:
      return txt_tarrow;
  }
  return nil;
}
#pragma GCC diagnostic pop

- (BOOL)startStatusTimer:(double)seconds {
  [self stopStatusTimer];
  statusTimer = [[NSTimer scheduledTimerWithTimeInterval:seconds
                                                  target:self
                                                selector:@selector(updateStatus:)
                                                userInfo:nil
                                                 repeats:YES] retain];
  return statusTimer != nil;
}

- (void)fireStatusTimer {
  [statusTimer fire];
}

- (void)stopStatusTimer {
  [statusTimer invalidate];
  [statusTimer release];
  statusTimer = nil;
}

- (void)setAddressEditable:(BOOL)editable {
  if (!editable && [txt_address currentEditor] != nil) {
    [txt_address abortEditing];
    [[txt_address window] makeFirstResponder:nil];
  }
  [txt_address setEditable:editable];
  [txt_address setSelectable:editable];
}

- (SFAuthorizationView *)authorizationView {
  return view_auth;
}

// The controller's own copy of the address the agent last reported.
- (void)syncAddress {
  const std::string &addr = bridge->logic.addr_from_ty();
  std::size_t n = addr.size() < sizeof addr_from_ty - 1 ? addr.size() : sizeof addr_from_ty - 1;
  std::memcpy(addr_from_ty, addr.data(), n);
  addr_from_ty[n] = '\0';
}

// The controller's own URLs of the companion applications found at the last
// showing (nil when missing or while hidden).
- (void)syncCompanions {
  const std::optional<std::string> &lu = bridge->logic.lu_url();
  const std::optional<std::string> &tarrow = bridge->logic.tarrow_url();
  [luURL release];
  luURL =
      lu ? [[NSURL fileURLWithPath:tessary_appkit::ns(tessary_appkit::installed_path(*lu))] retain]
         : nil;
  [tarrowURL release];
  tarrowURL =
      tarrow ? [[NSURL fileURLWithPath:tessary_appkit::ns(tessary_appkit::installed_path(*tarrow))]
                   retain]
             : nil;
}

// The row of a companion application that is hidden leaves no empty row
// between the others: the rows under it (the lock) move up. Laid out afresh
// from the interface file's frames each time.
- (void)closeUpCompanionRows {
  NSArray *subviews = [[self mainView] subviews];
  if (baseFrames == nil) {
    NSMutableArray *frames = [NSMutableArray array];
    for (NSUInteger i = 0; i < [subviews count]; i++)
      [frames addObject:[NSValue valueWithRect:[[subviews objectAtIndex:i] frame]]];
    baseFrames = [frames retain];
  }
  NSRect hidden[2];
  int n = 0;
  for (NSButton *button : {button_lu, button_tarrow}) {
    NSUInteger at = [subviews indexOfObjectIdenticalTo:button];
    if ([button isHidden] && at < [baseFrames count])
      hidden[n++] = [[baseFrames objectAtIndex:at] rectValue];
  }
  for (NSUInteger i = 0; i < [subviews count] && i < [baseFrames count]; i++) {
    NSRect frame = [[baseFrames objectAtIndex:i] rectValue];
    for (int r = 0; r < n; r++)
      if (NSMaxY(frame) <= NSMinY(hidden[r])) frame.origin.y += NSHeight(hidden[r]) + 4;
    [[subviews objectAtIndex:i] setFrame:frame];
  }
  [[self mainView] setNeedsDisplay:YES];
}

@end
