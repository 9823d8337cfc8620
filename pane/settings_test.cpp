// Settings between the agent and the controls: options and masks, the lock
// on every input path, the identifier, the backup-server list and logon.
#include <gtest/gtest.h>

#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

using agent::AgentState;
using agent::Op;
using P = PaneControl;

class PaneSettings : public PaneTest {
 protected:
  static bool logged(const std::string &log, const std::string &call) {
    return log.find(call) != std::string::npos;
  }
};

TEST_F(PaneSettings, OptionsMasksAndTheLock) {
  struct Case {
    long options, mask;
    bool unlocked;
    std::int16_t options_fail;
    bool checked, checkbox, address, logon;
  } cases[] = {
      {0x80, 0x40000080, true, 0, true, true, true, true},
      {0x80, 0x40000080, false, 0, true, false, false, false},
      {0x00, 0x80, true, 0, false, true, false, true},
      {0x80, 0x40000000, true, 0, true, false, true, true},
      {~0x80L, ~0x40000080L, true, 0, false, false, false, true},
      {0x80, 0x40000080, true, -1, false, false, false, true},  // unreadable: both zero
  };
  for (const Case &c : cases) {
    AgentState s = connected_state();
    s.options = c.options;
    s.mask = c.mask;
    s.fail[static_cast<int>(Op::GetOptions)] = c.options_fail;
    save(s);
    auth.is_unlocked = c.unlocked;
    controls[P::txt_address].selected = false;
    logic->gather_settings();
    EXPECT_EQ(controls[P::chk_messages].checked, c.checked) << c.options;
    EXPECT_EQ(controls[P::chk_messages].enabled, c.checkbox) << c.mask;
    EXPECT_EQ(controls[P::txt_address].enabled, c.address) << c.mask;
    EXPECT_EQ(controls[P::txt_address].selected, c.address) << "focus only when editable";
    EXPECT_EQ(controls[P::button_logon].enabled, c.logon) << c.unlocked;
  }
  // Unlocking enables the controls without asking the mask; a refused option
  // then springs back at the refill and the mask applies again.
  AgentState s = connected_state();
  s.mask = 0;
  show(s);
  logic->authorizationViewDidAuthorize();
  EXPECT_TRUE(controls[P::chk_messages].enabled && controls[P::txt_address].enabled);
  new_calls();
  controls[P::chk_messages].checked = true;
  logic->checkboxClicked();
  std::string log = new_calls();
  EXPECT_TRUE(logged(log, "QuilSetOptions(0, 0x80, 0x80) = -")) << log;  // refused
  EXPECT_FALSE(logged(log, "QuilSetTransport") || logged(log, "QuilAuthenticate")) << log;
  EXPECT_FALSE(controls[P::chk_messages].checked || controls[P::chk_messages].enabled);
}

// Locked, no path changes the agent, whatever state the controls were left
// in; locking drops a typed address and unlocking gives the field the focus.
TEST_F(PaneSettings, LockedNothingReachesTheAgent) {
  show(connected_state());
  type("typed.example");
  auth.is_unlocked = false;
  logic->authorizationViewDidDeauthorize();
  EXPECT_FALSE(controls[P::txt_address].enabled || controls[P::chk_messages].enabled ||
               controls[P::button_logon].enabled);
  EXPECT_EQ(controls[P::txt_address].text, "domarc.example");
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");
  new_calls();
  // Every input the pane takes, each with a field editor left open and the
  // box ticked by the toolkit, and editing ended every way.
  for (auto input : {&PaneLogic::logonClicked, &PaneLogic::luClicked, &PaneLogic::tarrowClicked,
                     &PaneLogic::controlTextDidChange, &PaneLogic::checkboxClicked}) {
    type("typed.example");
    controls[P::chk_messages].checked = true;
    (logic.get()->*input)();
  }
  for (long movement : {0L, 17L, 18L, kReturnTextMovement}) {
    type("typed.example");
    logic->controlTextDidEndEditing(movement);
  }
  std::string log = new_calls();
  EXPECT_FALSE(logged(log, "QuilSet") || logged(log, "QuilAuthenticate") ||
               logged(log, "QuilMessageEx"))
      << log;
  EXPECT_FALSE(controls[P::chk_messages].checked);  // the agent's value shown again
  auth.is_unlocked = true;
  controls[P::txt_address].selected = false;
  logic->authorizationViewDidAuthorize();
  EXPECT_TRUE(controls[P::txt_address].selected && controls[P::button_logon].enabled);
}

// What fits the line, then "and N more"; every address in the tooltip. Counts
// the block cannot hold are read as far as the block goes, bad ones not at all.
TEST_F(PaneSettings, BackupList) {
  AgentState s = connected_state();
  auto shown = [&](int v4, int v6, std::optional<int> v4_count = std::nullopt) {
    s.ipv4_backups.clear();
    s.ipv6_backups.clear();
    for (int i = 0; i < v4; ++i)
      s.ipv4_backups.push_back({10, 0, 0, std::uint8_t(i)});
    for (int i = 0; i < v6; ++i)
      s.ipv6_backups.push_back(
          {0x20, 1, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, std::uint8_t(i)});
    s.ipv4_count = v4_count;
    save(s);
    logic->gather_settings();
    return controls[P::txt_shadow].text;
  };
  EXPECT_EQ(shown(0, 0), "N/A");
  EXPECT_EQ(controls[P::txt_shadow].tooltip, "");
  EXPECT_EQ(shown(2, 1), "10.0.0.0, 10.0.0.1, 2001:db8::");
  EXPECT_EQ(controls[P::txt_shadow].tooltip, "10.0.0.0, 10.0.0.1, 2001:db8::");
  controls[P::txt_shadow].width = 36;
  localizer.table["and %d more"] = "+%d";
  EXPECT_EQ(shown(5, 0), "10.0.0.0, 10.0.0.1, 10.0.0.2 +2");
  EXPECT_EQ(controls[P::txt_shadow].tooltip, "10.0.0.0, 10.0.0.1, 10.0.0.2, 10.0.0.3,\n10.0.0.4");
  controls[P::txt_shadow].width = 3;
  EXPECT_EQ(shown(5, 0), "+5");
  controls[P::txt_shadow].width = 10000;
  auto entries = [](const std::string &text) {
    return text == "N/A" ? 0 : 1 + static_cast<int>(std::count(text.begin(), text.end(), ','));
  };
  EXPECT_EQ(entries(shown(3, 0, 2)), 2);
  EXPECT_EQ(entries(shown(3, 40, 300)), 127 + 31);  // as far as each block goes
  for (int bad : {128, 0x1FF, -5, 0})
    EXPECT_EQ(shown(3, 0, bad), "N/A") << bad;  // a low byte of 128 or more reads negative
  EXPECT_EQ(entries(shown(3, 0, 0x100)), 127);
}

TEST_F(PaneSettings, ReturnTabLogonAndRefusal) {
  show(connected_state());
  new_calls();
  int fires = timer.fires;
  logic->controlTextDidEndEditing(17);  // Tab
  logic->controlTextDidEndEditing(0);   // a click elsewhere
  EXPECT_EQ(new_calls(), "");
  logic->controlTextDidEndEditing(kReturnTextMovement);  // the same address: log on again
  std::string log = new_calls();
  EXPECT_TRUE(logged(log, "QuilAuthenticate(0) = 0\n") && !logged(log, "QuilSetTransport")) << log;
  EXPECT_EQ(timer.fires, fires + 2);  // after the logon and after the refill
  type("203.0.113.5");
  logic->logonClicked();
  log = new_calls();
  std::size_t transport = log.find("QuilSetTransport(1, \"203.0.113.5\") = 0\n");
  ASSERT_NE(transport, std::string::npos) << log;
  EXPECT_NE(log.find("QuilAuthenticate(0) = 0\n", transport), std::string::npos);
  EXPECT_EQ(status(), "Connected to Domarc 203.0.113.5");
  std::string typed;  // bounded to 255 bytes at a character boundary
  for (int i = 0; i < 200; ++i)
    typed += "\xc3\xa9";
  type(typed);
  logic->logonClicked();
  EXPECT_EQ(load().configured, typed.substr(0, 254));

  // A refused server: the agent shows the localised message, or "failed"
  // when the localisation yields nothing, and the field gets its address back.
  const std::string refusal =
      "You must close all Domarc controlled programs before selecting a new Domarc.[.TY-480.]";
  AgentState s = connected_state();
  s.refuse_new_server = true;
  show(s);
  for (const char *localised : {refusal.c_str(), ""}) {
    localizer.table[refusal] = localised;
    type("203.0.113.5");
    new_calls();
    logic->logonClicked();
    log = new_calls();
    EXPECT_TRUE(logged(log, "QuilSetTransport(1, \"203.0.113.5\") = -10000\n")) << log;
    EXPECT_FALSE(logged(log, "QuilAuthenticate"));
    EXPECT_EQ(controls[P::txt_address].text, "domarc.example");
  }
  EXPECT_EQ(messages(), "\"" + refusal + "\"\n\"failed\"\n");
}

// A change that the agent could not save is said, once per attempt.
TEST_F(PaneSettings, UnsavedChangeIsSaid) {
  AgentState s = connected_state();
  for (Op op : {Op::SetTransport, Op::SetOptions}) {
    s.fail[static_cast<int>(op)] = agent::kErrWrite;
    show(s);
    type("203.0.113.7");
    logic->logonClicked();
    EXPECT_EQ(alert.shown,
              std::vector<std::string>{"The Tessary agent could not save the change. (-3) | OK"});
    alert.shown.clear();
    s.fail[static_cast<int>(op)] = 0;
  }
}

}  // namespace
}  // namespace tessary::testing
