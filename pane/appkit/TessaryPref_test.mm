// Tests of the built Tessary.prefPane on a real (virtual) display: the bundle
// is loaded with NSBundle, its controller made and its view loaded from the
// interface file, the lifecycle methods called as the host calls them, and
// the real controls read through the outlets. The local agent's state file
// and call log (TESSARY_AGENT_STATE) stand for the agent.
#import <AppKit/AppKit.h>
#import <PreferencePanes/PreferencePanes.h>

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TessaryPref.h"
#include "pane_bundle_test.h"

namespace fs = std::filesystem;

namespace {

std::string str(NSString *s) {
  return s != nil ? std::string([s UTF8String]) : std::string();
}

const char kConnected[] = "version = 5.2.1.3\n"
                          "session-state = 1\n"
                          "server = 192.0.2.7\n"
                          "configured = \"domarc.example\"\n"
                          "identifier = \"C0FFEE-01\"\n"
                          "trust = 1\n"
                          "options = 0x80\n"
                          "mask = 0x40000080\n"
                          "ipv4-backups = 10.0.0.1\n"
                          "ipv6-backups = 2001:db8::1\n";

// Every view under `root`, the lock view's own included.
std::vector<NSView *> AllViews(NSView *root) {
  std::vector<NSView *> views = {root};
  for (std::size_t i = 0; i < views.size(); ++i)
    for (NSUInteger j = 0; j < [[views[i] subviews] count]; ++j)
      views.push_back([[views[i] subviews] objectAtIndex:j]);
  return views;
}

class PaneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("tessary-pane-test-" + std::to_string(getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_ / "apps");
    state_ = (dir_ / "agent-state").string();
    setenv("TESSARY_AGENT_STATE", state_.c_str(), 1);
    setenv("TESSARY_LIBRARY_DIR", (dir_ / "apps").c_str(), 1);
    WriteState(kConnected);
  }

  void TearDown() override {
    if (pref_ != nil) {
      if (selected_) Unselect();
      [window_ orderOut:nil];
      [window_ release];
      [pref_ release];
    }
    fs::remove_all(dir_);
  }

  void WriteState(const std::string &text) { std::ofstream(state_, std::ios::trunc) << text; }

  // Makes a controller with its view in a window, as the host does.
  void Load() {
    NSBundle *bundle = TessaryPaneBundle();
    ASSERT_TRUE(bundle != nil);
    Class cls = [bundle principalClass];
    ASSERT_STREQ([NSStringFromClass(cls) UTF8String], "TessaryPref");
    pref_ = [(TessaryPref *)[cls alloc] initWithBundle:bundle];
    NSView *view = [pref_ loadMainView];
    ASSERT_TRUE(view != nil);
    window_ = [[NSWindow alloc] initWithContentRect:NSMakeRect(100, 100, 572, 390)
                                          styleMask:NSTitledWindowMask
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    [window_ setContentView:view];
    [window_ makeKeyAndOrderFront:nil];
  }

  void Select() {
    [pref_ willSelect];
    [pref_ didSelect];
    selected_ = true;
  }

  void Unselect() {
    [pref_ willUnselect];
    [pref_ didUnselect];
    selected_ = false;
  }

  id Outlet(const char *name) { return [pref_ valueForKey:[NSString stringWithUTF8String:name]]; }
  std::string Text(const char *name) { return str([Outlet(name) stringValue]); }
  SFAuthorizationView *Lock() { return Outlet("view_auth"); }
  NSTextField *Address() { return Outlet("txt_address"); }

  // The call log since the last call, one line a call.
  std::string Calls() {
    std::ifstream in(state_ + ".calls");
    std::stringstream text;
    text << in.rdbuf();
    std::ofstream(state_ + ".calls", std::ios::trunc);
    return text.str();
  }
  // How many calls that change the agent were made since the last look.
  int SettingCalls() {
    std::istringstream lines(Calls());
    int n = 0;
    for (std::string line; std::getline(lines, line);)
      for (const char *op : {"QuilSetTransport(", "QuilSetOptions(", "QuilAuthenticate("})
        n += line.rfind(op, 0) == 0;
    return n;
  }

  void ClickLock() { [[Lock() lockButton] performClick:nil]; }

  // The field editor of the address field once it has the focus, or nil.
  NSText *Focus() {
    [window_ makeFirstResponder:Address()];
    return [Address() currentEditor];
  }

  fs::path dir_;
  std::string state_;
  TessaryPref *pref_ = nil;
  NSWindow *window_ = nil;
  bool selected_ = false;
};

TEST_F(PaneTest, OutletsActionsAndTheHostsLifecycle) {
  Load();
  for (const char *name : {"chk_messages", "button_logon", "button_lu", "button_tarrow",
                           "txt_address", "txt_maid", "txt_status", "txt_vers", "txt_shadow",
                           "txt_lu", "txt_tarrow", "view_auth"})
    EXPECT_TRUE(Outlet(name) != nil) << name;
  struct {
    const char *button;
    SEL action;
  } actions[] = {{"chk_messages", @selector(checkboxClicked:)},
                 {"button_logon", @selector(logonClicked:)},
                 {"button_lu", @selector(luClicked:)},
                 {"button_tarrow", @selector(tarrowClicked:)}};
  for (const auto &a : actions) {
    EXPECT_EQ([Outlet(a.button) target], pref_) << a.button;
    EXPECT_TRUE(sel_isEqual([Outlet(a.button) action], a.action)) << a.button;
  }
  EXPECT_EQ([Address() delegate], pref_);
  const AuthorizationRights *rights = [Lock() authorizationRights];
  ASSERT_TRUE(rights != nullptr && rights->count == 1);
  EXPECT_STREQ(rights->items[0].name, "system.privilege.admin");

  Calls();
  Select();
  EXPECT_EQ(Calls(), "QuilVersion(ptr, ptr) = 0\nQuilGetOptions(0, ptr, ptr) = 0\n"
                     "QuilGetSessionEx(0, 0, ptr, null, ptr, 0) = 0\n"
                     "QuilGetPrefData(0, 0x70647573, 0, 512, ptr, 0) = 0\n"
                     "QuilGetPrefData(0, 0x36706973, 0, 512, ptr, 0) = 0\n"
                     "QuilGetSessionStatus(0, ptr, ptr, ptr) = 0\n"
                     "QuilGetSessionEx(0, 0, null, ptr, null, 0) = 0\n"
                     "QuilAuditInfo(ptr, 0, 0) = 0\nQuilGetSessionTrust(0, ptr) = 0\n");
  EXPECT_EQ(Text("txt_vers"), "5.2.1.3");
  EXPECT_EQ(Text("txt_maid"), "Tessary ID: C0FFEE-01");
  EXPECT_EQ(Text("txt_status"), "Connected to Domarc 192.0.2.7 (Trusted)");
  EXPECT_EQ(str([Outlet("txt_status") toolTip]), "Connected to Domarc 192.0.2.7 (Trusted)");
  EXPECT_EQ(Text("txt_shadow"), "10.0.0.1, 2001:db8::1");
  EXPECT_EQ([Lock() delegate], pref_);
  NSTimer *timer = Outlet("statusTimer");
  ASSERT_TRUE([timer isValid]);
  EXPECT_DOUBLE_EQ([timer timeInterval], 10.0);

  Unselect();
  EXPECT_FALSE([timer isValid]);
  EXPECT_TRUE(Outlet("statusTimer") == nil && [Lock() delegate] == nil);
}

// Locked, no path reaches the agent: not the field, not a click, not an edit
// left open from before locking. Unlocked, the same paths do.
TEST_F(PaneTest, TheLockHoldsForEveryInputPath) {
  Load();
  Select();
  NSTextField *field = Address();
  ASSERT_EQ([Lock() authorizationState], SFAuthorizationViewLockedState);
  EXPECT_FALSE([field isEnabled] || [field isEditable] || [field isSelectable]);
  EXPECT_FALSE([Outlet("button_logon") isEnabled] || [Outlet("chk_messages") isEnabled]);
  Calls();
  EXPECT_TRUE(Focus() == nil);
  [Outlet("button_logon") performClick:nil];
  [Outlet("chk_messages") performClick:nil];
  [pref_ logonClicked:nil];
  [pref_ checkboxClicked:nil];
  NSDictionary *byReturn = [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:16]
                                                       forKey:@"NSTextMovement"];
  [[NSNotificationCenter defaultCenter] postNotificationName:NSControlTextDidEndEditingNotification
                                                      object:field
                                                    userInfo:byReturn];
  EXPECT_EQ(SettingCalls(), 0);
  EXPECT_EQ([Outlet("chk_messages") state], NSOnState);

  ClickLock();
  ASSERT_EQ([Lock() authorizationState], SFAuthorizationViewUnlockedState)
      << "the tests run as an administrator";
  EXPECT_TRUE([field isEnabled] && [field isEditable] && [Outlet("button_logon") isEnabled]);
  NSText *editor = Focus();
  ASSERT_TRUE(editor != nil);
  [editor insertText:@"x"];  // the field's delegate follows the typing
  EXPECT_EQ(Text("txt_status"), "Click Logon to connect to new Domarc.");
  ClickLock();  // locked while editing: the edit and the focus go
  EXPECT_TRUE([field currentEditor] == nil);
  EXPECT_EQ(Text("txt_address"), "domarc.example");
  [editor insertText:@"y"];
  [editor insertNewline:nil];
  EXPECT_EQ(SettingCalls(), 0);

  ClickLock();
  editor = Focus();
  [editor setString:@"tab.example"];
  [editor insertTab:nil];  // Tab leaves the field and changes nothing
  EXPECT_EQ(SettingCalls(), 0);
  editor = Focus();
  [editor setString:@"new.example"];
  [editor insertNewline:nil];
  std::string log = Calls();
  EXPECT_NE(log.find("QuilSetTransport(1, \"new.example\") = 0\nQuilAuthenticate(0) = 0\n"),
            std::string::npos)
      << log;
  [Outlet("chk_messages") performClick:nil];
  EXPECT_NE(Calls().find("QuilSetOptions(0, 0, 0x80) = 0\n"), std::string::npos);
}

TEST_F(PaneTest, CompanionButtonsFollowTheInstalledApplications) {
  fs::copy(fs::path(TESSARY_DEMO_APPS) / "Lumet.app", dir_ / "apps" / "Lumet.app",
           fs::copy_options::recursive);
  fs::copy(fs::path(TESSARY_DEMO_APPS) / "Impostor.app", dir_ / "apps" / "Tarrow.app",
           fs::copy_options::recursive);  // right place, wrong creator
  Load();
  Select();
  EXPECT_TRUE([Outlet("button_lu") isEnabled] && ![Outlet("button_lu") isHidden]);
  EXPECT_TRUE([[Outlet("txt_lu") textColor] isEqual:[NSColor blackColor]]);
  EXPECT_TRUE(![Outlet("button_tarrow") isEnabled] && [Outlet("button_tarrow") isHidden]);
  EXPECT_TRUE([Outlet("txt_tarrow") isHidden]);
  EXPECT_TRUE(Outlet("luURL") != nil && Outlet("tarrowURL") == nil);
  // Lumet opens for real; it notes its start in the display harness's log.
  const char *log_path = getenv("TESSARY_COMPANION_LOG");
  ASSERT_TRUE(log_path != nullptr) << "run under testing/with-display";
  fs::remove(log_path);
  [Outlet("button_lu") performClick:nil];
  std::string name;
  int pid = 0;
  for (int i = 0; i < 100 && name.empty(); i++) {
    [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:0.1]];
    std::ifstream(log_path) >> name >> pid;
  }
  EXPECT_EQ(name, "Lumet");
  if (pid > 0) kill(pid, SIGKILL);  // it may have SIGTERM blocked
}

// Runs once for each language (-NSLanguages), with data at the limits: every
// text of every view is the language's own, fits its frame in its font and
// has glyphs in it; only the address field can be edited, and only unlocked.
TEST_F(PaneTest, EveryViewInTheLanguage) {
  std::string state = "session-state = 1\nserver = 192.0.2.7\nconfigured = \"domarc.example\"\n"
                      "trust = 1\nmask = 0x40000080\nidentifier = \"" +
                      std::string(255, 'I') + "\"\nname = \"" + std::string(255, 'n') +
                      "\"\nipv4-backups = 10.0.0.0";
  for (int i = 1; i < 127; ++i)
    state += ", 10.0." + std::to_string(i / 100) + "." + std::to_string(i % 100);
  WriteState(state + "\n");
  Load();
  Select();
  NSBundle *bundle = TessaryPaneBundle();
  NSDictionary *english = [NSDictionary
      dictionaryWithContentsOfFile:[bundle pathForResource:@"Localizable"
                                                    ofType:@"strings"
                                                   inDirectory:nil
                                               forLocalization:@"English"]];
  NSDictionary *own = [NSDictionary
      dictionaryWithContentsOfFile:[bundle pathForResource:@"Localizable" ofType:@"strings"]];
  ASSERT_TRUE([english count] > 30 && own != nil);
  for (NSUInteger i = 0; i < [[english allKeys] count]; ++i) {
    NSString *key = [[english allKeys] objectAtIndex:i];
    EXPECT_TRUE([own objectForKey:key] != nil) << "untranslated: " << str(key);
  }

  NSArray *selectable = [NSArray arrayWithObjects:Outlet("txt_maid"), Outlet("txt_vers"),
                                                  Outlet("txt_status"), Outlet("txt_shadow"), nil];
  auto walk = [&](bool unlocked) {
    for (NSView *view : AllViews([pref_ mainView])) {
      if (![view isKindOfClass:[NSControl class]] || [view isHidden]) continue;
      NSControl *control = (NSControl *)view;
      NSString *text = [control isKindOfClass:[NSButton class]] ? [(NSButton *)control title]
                                                                : [control stringValue];
      std::string what = str(text);
      NSString *translation = [own objectForKey:text];
      EXPECT_FALSE(translation != nil && ![translation isEqualToString:text])
          << "left in English: " << what;
      EXPECT_LE([[control cell] cellSize].width, NSWidth([control frame])) << "too wide: " << what;
      NSCharacterSet *glyphs = [[control font] coveredCharacterSet];
      for (NSUInteger i = 0; i < [text length]; ++i)
        EXPECT_TRUE([glyphs characterIsMember:[text characterAtIndex:i]] ||
                    [text characterAtIndex:i] == ' ')
            << "no glyph in " << str([[control font] fontName]) << ": " << what;
      if (![control isKindOfClass:[NSTextField class]]) continue;
      NSTextField *field = (NSTextField *)control;
      bool address = field == Address();
      EXPECT_EQ([field isEditable], address && unlocked) << what;
      EXPECT_EQ([field isSelectable], address ? unlocked : [selectable containsObject:field])
          << what;
    }
  };
  walk(false);
  // The marks stay after a server name cut short; the fixed lines are whole.
  EXPECT_NE(Text("txt_status").find(str([own objectForKey:@" (Trusted)"])), std::string::npos)
      << Text("txt_status");
  WriteState("session-state = 0\nconfigured = \"domarc.example\"\n");
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"),
            str([own objectForKey:@"Not connected. Click Logon to attempt reconnect."]));
  WriteState("fail.QuilGetSessionStatus = -1\n");
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"),
            str([own objectForKey:@"Tessary Error! Try re-installing the Orrin Client."]));
  walk(false);
  ClickLock();
  WriteState(kConnected);
  [pref_ gather_settings];
  [Address() setStringValue:@"other.example"];
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"), str([own objectForKey:@"Click Logon to connect to new Domarc."]));
  walk(true);
}

}  // namespace

NSBundle *TessaryPaneBundle() {
  static NSBundle *bundle = nil;
  if (bundle == nil) {
    bundle = [[NSBundle alloc] initWithPath:@TESSARY_PANE_PATH];
    if (![bundle load]) {
      [bundle release];
      bundle = nil;
    }
  }
  return bundle;
}

int main(int argc, char **argv) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  [NSApplication sharedApplication];
  ::testing::InitGoogleTest(&argc, argv);
  int rc = RUN_ALL_TESTS();
  [pool release];
  return rc;
}
