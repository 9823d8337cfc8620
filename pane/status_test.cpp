// The pane's lifecycle, version text and status line against the local agent.
#include <gtest/gtest.h>

#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

using agent::AgentState;
using agent::Op;

class PaneStatus : public PaneTest {};

TEST_F(PaneStatus, LifecycleAndVersion) {
  logic->mainViewDidLoad();
  EXPECT_EQ(auth.right, "system.privilege.admin");
  show(connected_state());
  EXPECT_TRUE(controls[PaneControl::txt_address].delegate);
  EXPECT_EQ(timer.fires, 1);  // the line is filled at once
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "5.2.1.3");
  logic->didUnselect();
  logic->didUnselect();
  EXPECT_EQ(timer.stops, 1);
  logic->controlTextDidChange();  // no timer: nothing fires
  EXPECT_EQ(timer.fires, 1);
  AgentState s = connected_state();
  s.version = 0xA0F1;
  show(s);
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "10.0.15.1");
  controls[PaneControl::txt_vers].text = "-";
  s.fail[static_cast<int>(Op::Version)] = -1;
  show(s);
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "-");  // the view's own text stays
}

// Every kind of line; on a short line the server is cut, never the mark.
TEST_F(PaneStatus, Lines) {
  struct Case {
    long state;
    bool backup;
    std::string name;
    std::array<std::uint8_t, 4> server;
    long audit, trust;
    std::int16_t status_fails, audit_fails, trust_fails;
    std::size_t width;
    const char *typed, *line;
  } cases[] = {
      // clang-format off
      {1, false, "domarc-1", {192, 0, 2, 7}, 0, 0, 0, 0, 0, 99, "", "Connected to Domarc domarc-1"},
      {1, true, "vantor-2", {192, 0, 2, 7}, 0, 1, 0, 0, 0, 99, "",
       "Connected to Vantor vantor-2 (Trusted)"},
      {1, true, "", {198, 51, 100, 254}, 0, 0, 0, 0, 0, 99, "", "Connected to Vantor 198.51.100.254"},
      {1, false, "", {0, 0, 0, 0}, 0, 0, 0, 0, 0, 99, "", "Connected to Domarc"},
      {1, true, "", {0, 0, 0, 0}, 1, 1, 0, 0, 0, 99, "", "Connected to Vantor (Audit in progress)"},
      {1, false, "n", {10, 0, 0, 1}, 1, 1, 0, -1, 0, 99, "", "Connected to Domarc n (Trusted)"},
      {1, false, "n", {10, 0, 0, 1}, 0, 1, 0, 0, -1, 99, "", "Connected to Domarc n"},
      {1, false, "n", {10, 0, 0, 1}, 0, -3, 0, 0, 0, 99, "", "Connected to Domarc n"},
      {1, false, "a\xc3\xa9\xc3\xa9" "bcdef", {}, 0, 1, 0, 0, 0, 34, "",
       "Connected to Domarc a\xc3\xa9\xc3\xa9\xe2\x80\xa6 (Trusted)"},
      {1, false, std::string(255, 'x'), {}, 1, 0, 0, 0, 0, 42, "",
       "Connected to Domarc x\xe2\x80\xa6 (Audit in progress)"},
      {1, false, "abc", {}, 0, 1, 0, 0, 0, 20, "", "Connected to Domarc\xe2\x80\xa6"},  // no room
      {0, false, "n", {}, 0, 1, 0, 0, 0, 99, "", "Not connected. Click Logon to attempt reconnect."},
      {1, false, "n", {}, 0, 1, 0, 0, 0, 99, "domarc.exampl", "Click Logon to connect to new Domarc."},
      {1, false, "n", {}, 0, 1, -1, 0, 0, 99, "", "Tessary Error! Try re-installing the Orrin Client."},
      // clang-format on
  };
  for (const Case &c : cases) {
    AgentState s = connected_state();
    s.session_state = c.state;
    s.backup = c.backup;
    s.name = c.name;
    s.server = c.server;
    s.audit = c.audit;
    s.trust = c.trust;
    s.fail[static_cast<int>(Op::GetSessionStatus)] = c.status_fails;
    s.fail[static_cast<int>(Op::AuditInfo)] = c.audit_fails;
    s.fail[static_cast<int>(Op::GetSessionTrust)] = c.trust_fails;
    save(s);
    controls[PaneControl::txt_status].width = c.width;
    logic->gather_settings();
    if (*c.typed) type(c.typed);
    logic->updateStatus();
    EXPECT_EQ(status(), c.line);
    EXPECT_EQ(controls[PaneControl::txt_status].tooltip.substr(0, 10), std::string(c.line, 10));
    EXPECT_EQ(controls[PaneControl::txt_address].enabled, c.status_fails == 0) << c.line;
  }
  std::filesystem::remove(state_path_);  // the agent gone altogether reads as an error
  logic->updateStatus();
  EXPECT_EQ(status(), "Tessary Error! Try re-installing the Orrin Client.");
  logic->gather_settings();
  controls[PaneControl::txt_address].text.clear();
  logic->updateStatus();  // a cleared field gets the agent's address back
  EXPECT_EQ(controls[PaneControl::txt_address].text, "domarc.example");
}

TEST_F(PaneStatus, HostileTextsStayInBoundsAndReadable) {
  AgentState s = connected_state();
  auto line = [&](const std::string &name) {
    s.name = name;
    save(s);
    logic->updateStatus();
    return status();
  };
  std::string replaced;
  for (int i = 0; i < 255; ++i)
    replaced += "\xEF\xBF\xBD";
  EXPECT_EQ(line(std::string(255, '\xff')), "Connected to Domarc " + replaced);
  EXPECT_EQ(line(std::string("abc\0def", 7)), "Connected to Domarc abc");
  // An address that is not UTF-8 is shown repaired and still matches the field;
  // a long identifier is cut on the line, whole in the tooltip.
  s.configured = "srv\xc3";
  s.identifier = std::string(200, 'i');
  save(s);
  controls[PaneControl::txt_maid].width = 20;
  logic->gather_settings();
  logic->updateStatus();
  EXPECT_EQ(controls[PaneControl::txt_address].text, "srv\xEF\xBF\xBD");
  EXPECT_EQ(status(), "Connected to Domarc abc");
  EXPECT_EQ(controls[PaneControl::txt_maid].text, "Tessary ID: iiiiiii\xe2\x80\xa6");
  EXPECT_EQ(controls[PaneControl::txt_maid].tooltip, "Tessary ID: " + s.identifier);
}

}  // namespace
}  // namespace tessary::testing
