// Tests of the built Tessary.prefPane on a real (virtual) display: the bundle
// is loaded with NSBundle, its controller made and its view loaded from the
// interface file, the lifecycle methods called as the host calls them, and
// the real controls read through the outlets. The local agent's state file
// (TESSARY_AGENT_STATE) stands for the agent. What the user's input does with
// the lock open or closed is driven through the real host
// (testing/system_preferences_test).
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

const char kConnected[] = "version = 5.2.1.3\nsession-state = 1\nserver = 192.0.2.7\n"
                          "configured = \"domarc.example\"\nidentifier = \"C0FFEE-01\"\n"
                          "trust = 1\noptions = 0x80\nmask = 0x40000080\n"
                          "ipv4-backups = 10.0.0.1\nipv6-backups = 2001:db8::1\n";

class PaneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("tessary-pane-test-" + std::to_string(getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_ / "apps");
    state_ = (dir_ / "agent-state").string();
    setenv("TESSARY_AGENT_STATE", state_.c_str(), 1);
    setenv("TESSARY_LIBRARY_DIR", (dir_ / "apps").c_str(), 1);
    WriteState(kConnected);
  }
  void TearDown() override {
    if (pref_ != nil) {
      [pref_ willUnselect];
      [pref_ didUnselect];
      [window_ orderOut:nil];
      [window_ release];
      [pref_ release];
    }
    fs::remove_all(dir_);
  }
  void WriteState(const std::string &text) { std::ofstream(state_, std::ios::trunc) << text; }

  // Makes the controller with its view in a window and shows it, as the host
  // does.
  void LoadAndSelect() {
    NSBundle *bundle = TessaryPaneBundle();
    ASSERT_TRUE(bundle != nil);
    ASSERT_STREQ([NSStringFromClass([bundle principalClass]) UTF8String], "TessaryPref");
    pref_ = [(TessaryPref *)[[bundle principalClass] alloc] initWithBundle:bundle];
    window_ = [[NSWindow alloc] initWithContentRect:NSMakeRect(100, 100, 572, 390)
                                          styleMask:NSTitledWindowMask
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    [window_ setContentView:[pref_ loadMainView]];
    [window_ makeKeyAndOrderFront:nil];
    [pref_ willSelect];
    [pref_ didSelect];
  }

  id Outlet(const char *name) { return [pref_ valueForKey:[NSString stringWithUTF8String:name]]; }
  std::string Text(const char *name) { return str([Outlet(name) stringValue]); }
  NSTextField *Address() { return Outlet("txt_address"); }
  SFAuthorizationView *Lock() { return Outlet("view_auth"); }

  fs::path dir_;
  std::string state_;
  TessaryPref *pref_ = nil;
  NSWindow *window_ = nil;
};

TEST_F(PaneTest, OutletsActionsAndTheHostsLifecycle) {
  LoadAndSelect();
  for (const char *outlet : {"txt_address", "txt_maid", "txt_status", "txt_vers", "txt_shadow",
                             "txt_lu", "txt_tarrow", "view_auth"})
    EXPECT_TRUE(Outlet(outlet) != nil) << outlet;
  std::pair<const char *, SEL> actions[] = {{"chk_messages", @selector(checkboxClicked:)},
                                            {"button_logon", @selector(logonClicked:)},
                                            {"button_lu", @selector(luClicked:)},
                                            {"button_tarrow", @selector(tarrowClicked:)}};
  for (const auto &[button, action] : actions) {
    EXPECT_EQ([Outlet(button) target], pref_) << button;
    EXPECT_TRUE(sel_isEqual([Outlet(button) action], action)) << button;
  }
  EXPECT_EQ([Address() delegate], pref_);
  EXPECT_EQ([Lock() delegate], pref_);
  EXPECT_STREQ([Lock() authorizationRights]->items[0].name, "system.privilege.admin");
  EXPECT_EQ(Text("txt_vers"), "5.2.1.3");
  EXPECT_EQ(Text("txt_maid"), "Tessary ID: C0FFEE-01");
  EXPECT_EQ(Text("txt_status"), "Connected to Domarc 192.0.2.7 (Trusted)");
  EXPECT_EQ(str([Outlet("txt_status") toolTip]), Text("txt_status"));
  EXPECT_EQ(Text("txt_shadow"), "10.0.0.1, 2001:db8::1");
  NSTimer *timer = Outlet("statusTimer");
  ASSERT_TRUE([timer isValid]);
  EXPECT_DOUBLE_EQ([timer timeInterval], 10.0);
  [pref_ willUnselect];
  [pref_ didUnselect];
  EXPECT_FALSE([timer isValid]);
  EXPECT_TRUE(Outlet("statusTimer") == nil && [Lock() delegate] == nil);
}

TEST_F(PaneTest, CompanionButtonsFollowTheInstalledApplications) {
  for (const char *app : {"Lumet", "Impostor"})  // the impostor has the wrong creator
    fs::copy(fs::path(TESSARY_DEMO_APPS) / (std::string(app) + ".app"),
             dir_ / "apps" / (app[0] == 'L' ? "Lumet.app" : "Tarrow.app"),
             fs::copy_options::recursive);
  LoadAndSelect();
  EXPECT_TRUE([Outlet("button_lu") isEnabled] && ![Outlet("button_lu") isHidden]);
  EXPECT_TRUE(![Outlet("button_tarrow") isEnabled] && [Outlet("txt_tarrow") isHidden]);
  EXPECT_TRUE(Outlet("luURL") != nil && Outlet("tarrowURL") == nil);
  const char *log_path = getenv("TESSARY_COMPANION_LOG");  // Lumet notes its start there
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
  LoadAndSelect();
  NSBundle *bundle = TessaryPaneBundle();
  NSArray *keys =
      [[NSDictionary dictionaryWithContentsOfFile:[bundle pathForResource:@"Localizable"
                                                                   ofType:@"strings"
                                                              inDirectory:nil
                                                          forLocalization:@"English"]] allKeys];
  NSDictionary *own = [NSDictionary
      dictionaryWithContentsOfFile:[bundle pathForResource:@"Localizable" ofType:@"strings"]];
  ASSERT_TRUE([keys count] > 30 && own != nil);
  for (NSUInteger i = 0; i < [keys count]; ++i)
    EXPECT_TRUE([own objectForKey:[keys objectAtIndex:i]] != nil)
        << "untranslated: " << str([keys objectAtIndex:i]);
  NSArray *selectable = [NSArray arrayWithObjects:Outlet("txt_maid"), Outlet("txt_vers"),
                                                  Outlet("txt_status"), Outlet("txt_shadow"), nil];
  auto walk = [&](bool unlocked) {
    std::vector<NSView *> views = {[pref_ mainView]};
    for (std::size_t v = 0; v < views.size(); ++v) {
      for (NSUInteger j = 0; j < [[views[v] subviews] count]; ++j)
        views.push_back([[views[v] subviews] objectAtIndex:j]);
      if (![views[v] isKindOfClass:[NSControl class]] || [views[v] isHidden]) continue;
      NSControl *control = (NSControl *)views[v];
      bool button = [control isKindOfClass:[NSButton class]];
      NSString *text = button ? [(NSButton *)control title] : [control stringValue];
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
      if (button) continue;
      bool address = control == Address();
      EXPECT_EQ([(NSTextField *)control isEditable], address && unlocked) << what;
      EXPECT_EQ([(NSTextField *)control isSelectable],
                address ? unlocked : [selectable containsObject:control])
          << what;
    }
  };
  walk(false);
  // The mark stays after a server name cut short; the fixed lines fit whole.
  EXPECT_NE(Text("txt_status").find(str([own objectForKey:@" (Trusted)"])), std::string::npos);
  NSControl *status = Outlet("txt_status");
  for (NSString *line : {@"Not connected. Click Logon to attempt reconnect.",
                         @"Tessary Error! Try re-installing the Orrin Client.",
                         @"Click Logon to connect to new Domarc."}) {
    [status setStringValue:[own objectForKey:line]];
    EXPECT_LE([[status cell] cellSize].width, NSWidth([status frame])) << str(line);
  }
  [[Lock() lockButton] performClick:nil];
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
