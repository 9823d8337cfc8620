// Settings between the agent and the controls: options and masks, the lock
// rule, the identifier, the backup-server list and the logon paths.
#include <gtest/gtest.h>

#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

using agent::AgentState;
using agent::Op;
using P = PaneControl;

class PaneSettings : public PaneTest {
 protected:
  bool logged(const std::string &log, const std::string &call) {
    return log.find(call) != std::string::npos;
  }
};

TEST_F(PaneSettings, OptionsMasksAndTheLock) {
  struct Case {
    long options, mask;
    bool unlocked;
    std::int16_t options_fail;
    bool checked, checkbox_enabled, address_enabled;
  } cases[] = {
      {0x80, 0x40000080, true, 0, true, true, true},
      {0x80, 0x40000080, false, 0, true, false, false},
      {0x00, 0x80, true, 0, false, true, false},
      {0x80, 0x40000000, true, 0, true, false, true},
      {~0x80L, ~0x40000080L, true, 0, false, false, false},
      {0x80, 0x40000080, true, -1, false, false, false},  // unreadable: both zero
  };
  for (const Case &c : cases) {
    AgentState s = connected_state();
    s.options = c.options;
    s.mask = c.mask;
    s.fail[static_cast<int>(Op::GetOptions)] = c.options_fail;
    save(s);
    auth.is_unlocked = c.unlocked;
    logic->gather_settings();
    EXPECT_EQ(controls[P::chk_messages].checked, c.checked) << c.options;
    EXPECT_EQ(controls[P::chk_messages].enabled, c.checkbox_enabled) << c.mask;
    EXPECT_EQ(controls[P::txt_address].enabled, c.address_enabled) << c.mask;
  }
  // Unlocking enables both without asking the mask; a refused option then
  // springs back at the refill and the mask applies again.
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
  EXPECT_EQ(load().options, 0);
}

TEST_F(PaneSettings, AddressIdentifierAndBackupList) {
  show(connected_state());
  EXPECT_EQ(controls[P::txt_address].text, "domarc.example");
  EXPECT_EQ(controls[P::txt_maid].text, "Tessary ID: C0FFEE-01");
  EXPECT_EQ(controls[P::txt_shadow].text, "N/A");
  AgentState s = connected_state();
  s.ipv4_backups = {{10, 0, 0, 1}, {10, 0, 0, 2}};
  s.ipv6_backups = {{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};
  save(s);
  logic->gather_settings();
  EXPECT_EQ(controls[P::txt_shadow].text, "10.0.0.1, 10.0.0.2, 2001:db8::1");
}

TEST_F(PaneSettings, HostileBackupCounts) {
  AgentState s = connected_state();
  s.ipv4_backups = {{10, 0, 0, 1}, {10, 0, 0, 2}, {10, 0, 0, 3}};
  auto shown = [&](std::optional<int> v4, std::optional<int> v6) {
    s.ipv4_count = v4;
    s.ipv6_count = v6;
    save(s);
    logic->gather_settings();
    return controls[P::txt_shadow].text;
  };
  auto entries = [](const std::string &text) {
    return text == "N/A" ? 0 : 1 + static_cast<int>(std::count(text.begin(), text.end(), ','));
  };
  EXPECT_EQ(shown(2, std::nullopt), "10.0.0.1, 10.0.0.2");
  // More than the block holds: only the 127 (IPv4) and 31 (IPv6) that fit.
  std::string many = shown(300, std::nullopt);
  EXPECT_EQ(entries(many), 127);
  EXPECT_EQ(many.substr(many.size() - 9), ", 0.0.0.0");
  EXPECT_EQ(entries(shown(0, 65535)), 0);  // 65535 reads as -1
  EXPECT_EQ(entries(shown(0, 800)), 31);
  // A low byte of 128 or more makes the count negative; 0 and below add nothing.
  for (int bad : {128, 0x1FF, -5})
    EXPECT_EQ(shown(bad, 0), "N/A") << bad;
  EXPECT_EQ(entries(shown(0x100, 0)), 127);
}

TEST_F(PaneSettings, ReturnLogsOnAgainTabDoesNot) {
  show(connected_state());
  new_calls();
  int fires = timer.fires;
  logic->controlTextDidEndEditing(17);  // Tab
  logic->controlTextDidEndEditing(0);   // a click elsewhere
  EXPECT_EQ(new_calls(), "");
  logic->controlTextDidEndEditing(kReturnTextMovement);  // the same address again
  std::string log = new_calls();
  EXPECT_TRUE(logged(log, "QuilAuthenticate(0) = 0\n")) << log;
  EXPECT_FALSE(logged(log, "QuilSetTransport"));
  EXPECT_EQ(timer.fires, fires + 2);  // after the logon and after the refill
}

TEST_F(PaneSettings, NewAddressGoesToTheAgentFirst) {
  show(connected_state());
  type("203.0.113.5");
  new_calls();
  logic->logonClicked();
  std::string log = new_calls();
  std::size_t transport = log.find("QuilSetTransport(1, \"203.0.113.5\") = 0\n");
  ASSERT_NE(transport, std::string::npos) << log;
  EXPECT_NE(log.find("QuilAuthenticate(0) = 0\n", transport), std::string::npos);
  EXPECT_EQ(status(), "Connected to Domarc 203.0.113.5");
  type("vantor.example");
  logic->controlTextDidEndEditing(kReturnTextMovement);
  EXPECT_EQ(status(), "Connected to Domarc vantor.example");
}

TEST_F(PaneSettings, RefusedOrFailedAddress) {
  const std::string refusal =
      "You must close all Domarc controlled programs before selecting a new Domarc.[.TY-480.]";
  AgentState s = connected_state();
  s.refuse_new_server = true;
  show(s);
  type("203.0.113.5");
  new_calls();
  logic->logonClicked();
  std::string log = new_calls();
  EXPECT_TRUE(logged(log, "QuilSetTransport(1, \"203.0.113.5\") = -10000\n")) << log;
  EXPECT_FALSE(logged(log, "QuilAuthenticate"));
  EXPECT_EQ(messages(), "\"" + refusal + "\"\n");
  EXPECT_EQ(controls[P::txt_address].text, "domarc.example");  // the refill puts it back
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");
  localizer.table[refusal] = "";  // with no localisation at all the agent is told "failed"
  type("203.0.113.6");
  logic->logonClicked();
  EXPECT_TRUE(logged(messages(), "\n\"failed\"\n")) << messages();
  EXPECT_TRUE(alert.shown.empty());
  // A change that the agent could not save is said, once.
  for (Op op : {Op::SetTransport, Op::SetOptions}) {
    s.refuse_new_server = false;
    s.fail[static_cast<int>(op)] = agent::kErrWrite;
    show(s);
    type("203.0.113.7");
    logic->logonClicked();
    EXPECT_EQ(alert.shown,
              std::vector<std::string>{"The Tessary agent could not save the change. (-3) | OK"});
    alert.shown.clear();
  }
}

TEST_F(PaneSettings, TypedAddressIsBoundedAtACharacterBoundary) {
  show(connected_state());
  std::string typed;
  for (int i = 0; i < 200; ++i)
    typed += "\xc3\xa9";
  type(typed);
  logic->logonClicked();
  EXPECT_EQ(load().configured, typed.substr(0, 254));
  type(std::string(300, 'a'));
  logic->logonClicked();
  EXPECT_EQ(load().configured, std::string(255, 'a'));
}

}  // namespace
}  // namespace tessary::testing
