// The pane's lifecycle, version text and status line against the local
// agent.
#include <gtest/gtest.h>

#include "pane/agent/quil.h"
#include "pane/pane_test_support.h"
#include "pane/utf8.h"

namespace tessary::testing {
namespace {

using agent::AgentState;
using agent::Op;

class PaneStatus : public PaneTest {};

TEST_F(PaneStatus, LifecycleStartsAndStopsTheTimer) {
  logic->mainViewDidLoad();
  EXPECT_EQ(auth.right, "system.privilege.admin");
  EXPECT_TRUE(auth.delegate);
  EXPECT_EQ(auth.updates, 1);

  show(connected_state());
  EXPECT_TRUE(controls[PaneControl::txt_address].delegate);
  EXPECT_EQ(auth.updates, 2);
  EXPECT_EQ(timer.starts, std::vector<double>{10.0});
  EXPECT_EQ(timer.fires, 1);  // the line is filled at once
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "5.2.1.3");

  logic->willUnselect();
  EXPECT_FALSE(auth.delegate);
  logic->didUnselect();
  EXPECT_EQ(timer.stops, 1);
  EXPECT_FALSE(logic->timer_running());
  logic->controlTextDidChange();  // no timer: nothing fires
  EXPECT_EQ(timer.fires, 1);
  logic->didUnselect();
  EXPECT_EQ(timer.stops, 1);
}

TEST_F(PaneStatus, NoTimerMeansNoFirstLine) {
  timer.can_start = false;
  controls[PaneControl::txt_status].text = "from the view";
  show(connected_state());
  EXPECT_EQ(timer.fires, 0);
  EXPECT_EQ(status(), "from the view");
  logic->updateStatus();
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");
}

TEST_F(PaneStatus, VersionTextOrTheViewsOwn) {
  AgentState s = connected_state();
  s.version = 0xA0F1;
  show(s);
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "10.0.15.1");

  controls[PaneControl::txt_vers].text = "-";
  s.fail[static_cast<int>(Op::Version)] = -1;
  show(s);
  EXPECT_EQ(controls[PaneControl::txt_vers].text, "-");
}

TEST_F(PaneStatus, ConnectedLines) {
  struct Case {
    bool backup;
    std::string name;
    std::array<std::uint8_t, 4> server;
    long audit, trust;
    std::int16_t audit_fails, trust_fails;
    const char *line;
  } cases[] = {
      {false, "domarc-1", {192, 0, 2, 7}, 0, 0, 0, 0, "Connected to Domarc domarc-1"},
      {true, "vantor-2", {192, 0, 2, 7}, 0, 1, 0, 0, "Connected to Vantor vantor-2 (Trusted)"},
      {true, "", {198, 51, 100, 254}, 0, 0, 0, 0, "Connected to Vantor 198.51.100.254"},
      {false, "", {0, 0, 0, 1}, 0, 7, 0, 0, "Connected to Domarc 0.0.0.1 (Trusted)"},
      {false, "", {0, 0, 0, 0}, 0, 0, 0, 0, "Connected to Domarc"},
      {true, "", {0, 0, 0, 0}, 1, 1, 0, 0, "Connected to Vantor (Audit in progress)"},
      {false, "n", {10, 0, 0, 1}, -5, 1, 0, 0, "Connected to Domarc n (Audit in progress)"},
      {false, "n", {10, 0, 0, 1}, 1, 1, -1, 0, "Connected to Domarc n (Trusted)"},
      {false, "n", {10, 0, 0, 1}, 0, 1, 0, -1, "Connected to Domarc n"},
      {false, "n", {10, 0, 0, 1}, 0, -3, 0, 0, "Connected to Domarc n"},
  };
  for (const Case &c : cases) {
    AgentState s = connected_state();
    s.backup = c.backup;
    s.name = c.name;
    s.server = c.server;
    s.audit = c.audit;
    s.trust = c.trust;
    s.fail[static_cast<int>(Op::AuditInfo)] = c.audit_fails;
    s.fail[static_cast<int>(Op::GetSessionTrust)] = c.trust_fails;
    save(s);
    logic->gather_settings();
    logic->updateStatus();
    EXPECT_EQ(status(), c.line);
  }
}

TEST_F(PaneStatus, NameFailureFallsBackToTheAddress) {
  AgentState s = connected_state();
  show(s);
  s.fail[static_cast<int>(Op::GetSessionEx)] = -1;
  save(s);
  logic->updateStatus();
  EXPECT_EQ(status(), "Connected to Domarc 192.0.2.7");
}

TEST_F(PaneStatus, NotConnectedAndAgentError) {
  AgentState s = connected_state();
  s.session_state = 0;
  show(s);
  EXPECT_EQ(status(), "Not connected. Click Logon to attempt reconnect.");
  EXPECT_TRUE(controls[PaneControl::txt_address].enabled);

  s.fail[static_cast<int>(Op::GetSessionStatus)] = -1;
  save(s);
  logic->updateStatus();
  EXPECT_EQ(status(), "Tessary Error! Try re-installing the Orrin Client.");
  EXPECT_FALSE(controls[PaneControl::txt_address].enabled);
  EXPECT_TRUE(controls[PaneControl::chk_messages].enabled);  // left as gathered

  // The agent gone altogether reads the same.
  std::filesystem::remove(state_path_);
  controls[PaneControl::txt_status].text.clear();
  logic->updateStatus();
  EXPECT_EQ(status(), "Tessary Error! Try re-installing the Orrin Client.");
}

TEST_F(PaneStatus, TypingAndClearingTheAddress) {
  show(connected_state());
  type("domarc.exampl");
  EXPECT_EQ(status(), "Click Logon to connect to new Domarc.");
  type("domarc.example");
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");

  // A cleared field gets the agent's address back at the next tick.
  controls[PaneControl::txt_address].text.clear();
  logic->updateStatus();
  EXPECT_EQ(controls[PaneControl::txt_address].text, "domarc.example");
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");
}

TEST_F(PaneStatus, EveryTextIsLocalised) {
  localizer.table = {{"Connected to Vantor", "Verbunden mit Vantor"},
                     {" (Trusted)", " (vertraut)"},
                     {"Click Logon to connect to new Domarc.", "Neu anmelden."}};
  AgentState s = connected_state();
  s.backup = true;
  s.trust = 1;
  show(s);
  EXPECT_EQ(status(), "Verbunden mit Vantor domarc-1 (vertraut)");
  type("x");
  EXPECT_EQ(status(), "Neu anmelden.");
}

TEST_F(PaneStatus, HostileNamesStayInBoundsAndReadable) {
  AgentState s = connected_state();
  s.name = std::string(255, '\xff');
  show(s);
  std::string line = status();
  std::string expected = "Connected to Domarc ";
  for (int i = 0; i < 255; ++i)
    expected += "\xEF\xBF\xBD";
  EXPECT_EQ(line, expected);

  // A name of 255 well-formed bytes comes through whole; a zero byte ends it.
  s.name = std::string(253, 'a') + "\xc3\xa9";
  save(s);
  logic->updateStatus();
  EXPECT_EQ(status(), "Connected to Domarc " + s.name);
  s.name = std::string("abc\0def", 7);
  save(s);
  logic->updateStatus();
  EXPECT_EQ(status(), "Connected to Domarc abc");

  // An address that is not UTF-8 is shown repaired and still matches the
  // field, so the line is the connected one.
  s.configured = "srv\xc3";
  save(s);
  logic->gather_settings();
  logic->updateStatus();
  EXPECT_EQ(controls[PaneControl::txt_address].text, "srv\xEF\xBF\xBD");
  EXPECT_EQ(status(), "Connected to Domarc abc");
}

}  // namespace
}  // namespace tessary::testing
