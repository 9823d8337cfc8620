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

// Collects the texts of the modal window that is up and dismisses it by
// clicking its button titled `dismiss` with the X pointer (xdotool), as the
// user would: the modal loop only wakes up for real window-system events.
@interface AlertCatcher : NSObject {
 @public
  std::vector<std::string> *texts;
  NSString *dismiss;
}
- (void)catchAlert:(NSTimer *)timer;
@end

@implementation AlertCatcher
- (void)catchAlert:(NSTimer *)timer {
  NSWindow *panel = [NSApp modalWindow];
  if (panel == nil) return;
  NSButton *button = nil;
  NSMutableArray *pending = [NSMutableArray arrayWithObject:[panel contentView]];
  while ([pending count] > 0) {
    NSView *view = [pending lastObject];
    [pending removeLastObject];
    [pending addObjectsFromArray:[view subviews]];
    if ([view isKindOfClass:[NSTextField class]]) {
      texts->push_back([[(NSTextField *)view stringValue] UTF8String]);
    } else if ([view isKindOfClass:[NSButton class]] &&
               [[(NSButton *)view title] isEqualToString:dismiss]) {
      texts->push_back(std::string("button:") + [[(NSButton *)view title] UTF8String]);
      button = (NSButton *)view;
    }
  }
  [timer invalidate];
  if (button == nil) return;
  NSRect frame = [button convertRect:[button bounds] toView:nil];
  NSPoint centre = [panel convertBaseToScreen:NSMakePoint(NSMidX(frame), NSMidY(frame))];
  int x = (int)centre.x;
  int y = (int)(NSHeight([[panel screen] frame]) - centre.y);
  char command[160];
  snprintf(command, sizeof command,
           "xdotool mousemove %d %d mousedown 1 sleep 0.2 mouseup 1 >/dev/null 2>&1 &", x, y);
  if (system(command) != 0) texts->push_back("xdotool failed");
}
@end

namespace {

std::string str(NSString *s) {
  return s != nil ? std::string([s UTF8String]) : std::string();
}

void spin(double seconds) {
  [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:seconds]];
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

  void Install(const char *app, const char *as) {
    fs::copy(fs::path(TESSARY_DEMO_APPS) / app, dir_ / "apps" / as, fs::copy_options::recursive);
  }

  // Makes a controller with its view in a window, as the host does.
  void Load() {
    NSBundle *bundle = TessaryPaneBundle();
    ASSERT_TRUE(bundle != nil);
    Class cls = [bundle principalClass];
    ASSERT_TRUE(cls != nil);
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
  bool Enabled(const char *name) { return [Outlet(name) isEnabled]; }
  bool Hidden(const char *name) { return [Outlet(name) isHidden]; }
  SFAuthorizationView *Lock() { return Outlet("view_auth"); }

  // The operations the agent saw since the last call, in order.
  std::vector<std::string> Calls() {
    std::vector<std::string> ops;
    std::ifstream in(state_ + ".calls");
    std::string line;
    while (std::getline(in, line)) {
      calls_.push_back(line);
      ops.push_back(line.substr(0, line.find('(')));
    }
    std::ofstream(state_ + ".calls", std::ios::trunc);
    return ops;
  }
  // Every call line read by Calls() so far.
  std::vector<std::string> calls_;

  void Unlock() {
    [[Lock() lockButton] performClick:nil];
    ASSERT_EQ([Lock() authorizationState], SFAuthorizationViewUnlockedState)
        << "the tests run as an administrator";
  }

  // Types into the address field as the user does: the field gets the focus
  // and the field editor receives the text.
  NSText *Focus() {
    NSTextField *field = Outlet("txt_address");
    [window_ makeFirstResponder:field];
    NSText *editor = [field currentEditor];
    EXPECT_TRUE(editor != nil);
    return editor;
  }

  std::vector<std::string> RunCatchingAlert(SEL action) {
    std::vector<std::string> texts;
    AlertCatcher *catcher = [[AlertCatcher new] autorelease];
    catcher->texts = &texts;
    catcher->dismiss = @"OK";
    NSTimer *timer = [NSTimer timerWithTimeInterval:0.3
                                             target:catcher
                                           selector:@selector(catchAlert:)
                                           userInfo:nil
                                            repeats:YES];
    [[NSRunLoop currentRunLoop] addTimer:timer forMode:NSModalPanelRunLoopMode];
    [pref_ performSelector:action withObject:nil];
    [timer invalidate];
    return texts;
  }

  fs::path dir_;
  std::string state_;
  TessaryPref *pref_ = nil;
  NSWindow *window_ = nil;
  bool selected_ = false;
};

using Ops = std::vector<std::string>;

TEST_F(PaneTest, ShowingFillsTheControlsFromTheAgentAndStartsTheTimer) {
  Load();
  EXPECT_EQ(Text("txt_vers"), "Unknown");
  // The view loaded: the lock asks for the administrator right alone.
  const AuthorizationRights *rights = [Lock() authorizationRights];
  ASSERT_TRUE(rights != nullptr);
  ASSERT_EQ(rights->count, 1u);
  EXPECT_STREQ(rights->items[0].name, "system.privilege.admin");
  EXPECT_EQ(rights->items[0].valueLength, 0u);
  EXPECT_EQ(rights->items[0].flags, 0u);
  Calls();
  Select();
  EXPECT_EQ(Calls(), (Ops{"QuilVersion", "QuilGetOptions", "QuilGetSessionEx", "QuilGetPrefData",
                          "QuilGetPrefData", "QuilGetSessionStatus", "QuilGetSessionEx",
                          "QuilAuditInfo", "QuilGetSessionTrust"}));
  EXPECT_EQ(Text("txt_vers"), "5.2.1.3");
  EXPECT_EQ(Text("txt_maid"), "Tessary ID: C0FFEE-01");
  EXPECT_EQ(Text("txt_address"), "domarc.example");
  EXPECT_EQ(Text("txt_status"), "Connected to Domarc 192.0.2.7 (Trusted)");
  EXPECT_EQ(Text("txt_shadow"), "10.0.0.1, 2001:db8::1");
  EXPECT_EQ([Outlet("chk_messages") state], NSOnState);
  // Locked: nothing may be changed whatever the agent allows.
  EXPECT_EQ([Lock() authorizationState], SFAuthorizationViewLockedState);
  EXPECT_FALSE(Enabled("chk_messages"));
  EXPECT_FALSE(Enabled("txt_address"));
  EXPECT_EQ([Lock() delegate], pref_);
  EXPECT_EQ([Outlet("txt_address") delegate], pref_);

  NSTimer *timer = Outlet("statusTimer");
  ASSERT_TRUE(timer != nil);
  EXPECT_TRUE([timer isValid]);
  EXPECT_DOUBLE_EQ([timer timeInterval], 10.0);

  Unselect();
  EXPECT_FALSE([timer isValid]);
  EXPECT_TRUE(Outlet("statusTimer") == nil);
  EXPECT_TRUE(Outlet("luURL") == nil);
  EXPECT_TRUE(Outlet("tarrowURL") == nil);
  EXPECT_TRUE([Lock() delegate] == nil);
  // Shown again: the same view is filled again.
  Select();
  EXPECT_EQ(Text("txt_vers"), "5.2.1.3");
  EXPECT_TRUE([Outlet("statusTimer") isValid]);
}

TEST_F(PaneTest, StatusLineFollowsTheAgent) {
  Load();
  Select();
  struct Case {
    const char *state;
    const char *line;
  } cases[] = {
      {"session-state = 1\nbackup = yes\nserver = 198.51.100.4\nname = \"vantor-2\"\n"
       "configured = \"domarc.example\"\naudit = 1\ntrust = 2\n",
       "Connected to Vantor vantor-2 (Audit in progress)"},
      {"session-state = 1\nconfigured = \"domarc.example\"\n", "Connected to Domarc"},
      {"session-state = 1\nserver = 203.0.113.9\nconfigured = \"domarc.example\"\n",
       "Connected to Domarc 203.0.113.9"},
      {"session-state = 0\nconfigured = \"domarc.example\"\n",
       "Not connected. Click Logon to attempt reconnect."},
  };
  for (const Case &c : cases) {
    WriteState(c.state);
    [pref_ updateStatus:nil];
    EXPECT_EQ(Text("txt_status"), c.line) << c.state;
  }

  Unlock();
  EXPECT_TRUE(Enabled("txt_address"));
  WriteState(std::string(kConnected) + "fail.QuilGetSessionStatus = -1\n");
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"), "Tessary Error! Try re-installing the Orrin Client.");
  EXPECT_FALSE(Enabled("txt_address"));
  // No state at all: the same.
  fs::remove(state_);
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"), "Tessary Error! Try re-installing the Orrin Client.");
}

TEST_F(PaneTest, TypingFollowsTheFieldAndAClearedFieldIsRestored) {
  Load();
  Select();
  Unlock();
  NSText *editor = Focus();
  [editor insertText:@"x"];  // the field editor posts controlTextDidChange:
  EXPECT_NE(Text("txt_address"), "domarc.example");
  EXPECT_EQ(Text("txt_status"), "Click Logon to connect to new Domarc.");

  // Set the field and post the change as the field would.
  NSTextField *field = Outlet("txt_address");
  [window_ makeFirstResponder:nil];
  [field setStringValue:@"domarc.example"];
  [[NSNotificationCenter defaultCenter] postNotificationName:NSControlTextDidChangeNotification
                                                      object:field];
  EXPECT_EQ(Text("txt_status"), "Connected to Domarc 192.0.2.7 (Trusted)");

  [field setStringValue:@""];
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_address"), "domarc.example");
  EXPECT_EQ(Text("txt_status"), "Connected to Domarc 192.0.2.7 (Trusted)");
}

TEST_F(PaneTest, ReturnLogsOnAndTabDoesNot) {
  Load();
  Select();
  Unlock();

  // Tab leaves the field without touching the agent's server.
  NSText *editor = Focus();
  [editor setString:@"tab.example"];
  Calls();
  [editor insertTab:nil];
  for (const std::string &op : Calls()) {
    EXPECT_NE(op, "QuilSetTransport");
    EXPECT_NE(op, "QuilAuthenticate");
  }

  // Return hands the typed address to the agent and logs on.
  editor = Focus();
  [editor setString:@"new.example"];
  Calls();
  [editor insertNewline:nil];
  Ops ops = Calls();
  auto transport = std::find(ops.begin(), ops.end(), "QuilSetTransport");
  ASSERT_NE(transport, ops.end());
  EXPECT_EQ(*(transport + 1), "QuilAuthenticate");
  bool typed = false;
  for (const std::string &line : calls_)
    typed |=
        line.rfind("QuilSetTransport", 0) == 0 && line.find("new.example") != std::string::npos;
  EXPECT_TRUE(typed);
  EXPECT_EQ(Text("txt_address"), "new.example");

  // Return with the unchanged address logs on again, without a new server.
  editor = Focus();
  Calls();
  [editor insertNewline:nil];
  ops = Calls();
  EXPECT_EQ(std::count(ops.begin(), ops.end(), "QuilSetTransport"), 0);
  EXPECT_EQ(std::count(ops.begin(), ops.end(), "QuilAuthenticate"), 1);
}

TEST_F(PaneTest, ARefusedServerHandsTheLocalisedMessageToTheAgent) {
  WriteState(std::string(kConnected) + "refuse-new-server = yes\n");
  Load();
  Select();
  Unlock();
  NSText *editor = Focus();
  [editor setString:@"busy.example"];
  [editor insertNewline:nil];
  std::ifstream in(state_ + ".messages");
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, "\"You must close all Domarc controlled programs before selecting a new Domarc."
                  "[.TY-480.]\"");
  // The agent kept its server, and so does the field.
  EXPECT_EQ(Text("txt_address"), "domarc.example");
}

TEST_F(PaneTest, TheCheckboxWritesTheOptionOnly) {
  Load();
  Select();
  Unlock();
  ASSERT_TRUE(Enabled("chk_messages"));
  Calls();
  [Outlet("chk_messages") performClick:nil];
  Ops ops = Calls();
  EXPECT_EQ(ops.front(), "QuilSetOptions");
  EXPECT_EQ(std::count(ops.begin(), ops.end(), "QuilSetTransport"), 0);
  EXPECT_EQ(std::count(ops.begin(), ops.end(), "QuilAuthenticate"), 0);
  // The agent now holds the option off, and the refill shows it.
  EXPECT_EQ([Outlet("chk_messages") state], NSOffState);
  std::ifstream in(state_);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_NE(text.str().find("options = 0"), std::string::npos) << text.str();
}

TEST_F(PaneTest, LockAndUnlockEnableTheControls) {
  Load();
  Select();
  EXPECT_FALSE(Enabled("chk_messages"));
  Unlock();
  EXPECT_TRUE(Enabled("chk_messages"));
  EXPECT_TRUE(Enabled("txt_address"));
  [[Lock() lockButton] performClick:nil];
  EXPECT_EQ([Lock() authorizationState], SFAuthorizationViewLockedState);
  EXPECT_FALSE(Enabled("chk_messages"));
  EXPECT_FALSE(Enabled("txt_address"));

  // The agent forbids changes: unlocked, the next refill disables them again.
  WriteState("session-state = 1\nconfigured = \"domarc.example\"\noptions = 0x80\nmask = 0\n");
  Unlock();
  EXPECT_TRUE(Enabled("chk_messages"));
  [pref_ gather_settings];
  EXPECT_FALSE(Enabled("chk_messages"));
  EXPECT_FALSE(Enabled("txt_address"));
}

TEST_F(PaneTest, CompanionButtonsFollowTheInstalledApplications) {
  Install("Lumet.app", "Lumet.app");
  Install("Impostor.app", "Tarrow.app");  // right place, wrong creator
  Load();
  Select();
  EXPECT_FALSE(Hidden("button_lu"));
  EXPECT_TRUE(Enabled("button_lu"));
  EXPECT_FALSE(Hidden("txt_lu"));
  EXPECT_TRUE([[Outlet("txt_lu") textColor] isEqual:[NSColor blackColor]]);
  EXPECT_TRUE(Hidden("button_tarrow"));
  EXPECT_FALSE(Enabled("button_tarrow"));
  EXPECT_TRUE(Hidden("txt_tarrow"));
  EXPECT_TRUE([[Outlet("txt_tarrow") textColor] isEqual:[NSColor lightGrayColor]]);
  EXPECT_TRUE(Outlet("luURL") != nil);
  EXPECT_TRUE(Outlet("tarrowURL") == nil);

  // Lumet opens for real. Applications inherit the environment the process
  // started with, so the log's name comes from the display harness.
  const char *log_path = getenv("TESSARY_COMPANION_LOG");
  ASSERT_TRUE(log_path != nullptr) << "run under testing/with-display";
  fs::remove(log_path);
  [Outlet("button_lu") performClick:nil];
  std::string name;
  int pid = 0;
  for (int i = 0; i < 100 && name.empty(); i++) {
    spin(0.1);
    std::ifstream(log_path) >> name >> pid;
  }
  EXPECT_EQ(name, "Lumet");
  if (pid > 0) kill(pid, SIGKILL);  // it may have SIGTERM blocked

  // Tarrow is missing: an alert says so.
  std::vector<std::string> texts = RunCatchingAlert(@selector(tarrowClicked:));
  EXPECT_NE(std::find(texts.begin(), texts.end(),
                      "Tarrow could not be found. Try re-installing the Orrin Client."),
            texts.end());
  EXPECT_NE(std::find(texts.begin(), texts.end(), "button:OK"), texts.end());

  // Both installed the next time the pane is shown.
  Unselect();
  fs::remove_all(dir_ / "apps" / "Tarrow.app");
  Install("Tarrow.app", "Tarrow.app");
  Select();
  EXPECT_FALSE(Hidden("button_tarrow"));
  EXPECT_TRUE(Enabled("button_tarrow"));
  EXPECT_TRUE(Outlet("tarrowURL") != nil);
  // Removed while shown: it can no longer be opened.
  fs::remove_all(dir_ / "apps" / "Tarrow.app");
  texts = RunCatchingAlert(@selector(tarrowClicked:));
  EXPECT_NE(std::find(texts.begin(), texts.end(),
                      "Tarrow could not be opened. Try re-installing the Orrin Client."),
            texts.end());
}

// Runs with -NSLanguages "(German)".
TEST_F(PaneTest, GermanTextsUnderTheGermanLanguage) {
  WriteState("session-state = 1\nserver = 192.0.2.7\nconfigured = \"domarc.example\"\n"
             "identifier = \"C0FFEE-01\"\ntrust = 1\n");
  Load();
  Select();
  EXPECT_EQ(Text("txt_status"), "Verbunden mit Domarc 192.0.2.7 (vertrauenswürdig)");
  EXPECT_EQ(Text("txt_maid"), "Tessary-ID: C0FFEE-01");
  EXPECT_EQ(Text("txt_shadow"), "k. A.");
  EXPECT_EQ(str([Outlet("button_logon") title]), "Anmelden");
  EXPECT_EQ(str([Outlet("chk_messages") title]), "Meldungen des Tessary-Agenten anzeigen");
  WriteState("session-state = 0\nconfigured = \"domarc.example\"\n");
  [pref_ updateStatus:nil];
  EXPECT_EQ(Text("txt_status"),
            "Nicht verbunden. Klicken Sie auf „Anmelden“, um die Verbindung wiederherzustellen.");
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
