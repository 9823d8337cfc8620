// Settings between the agent and the controls: options and masks, the lock
// rule, the identifier, the backup-server list and the three action paths.
#include <gtest/gtest.h>

#include "pane/agent/quil.h"
#include "pane/pane_test_support.h"

namespace tessary::testing {
namespace {

using agent::AgentState;
using agent::Op;

class PaneSettings : public PaneTest {};

TEST_F(PaneSettings, OptionsAndMaskEnableTheControls) {
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
    EXPECT_EQ(controls[PaneControl::chk_messages].checked, c.checked) << c.options;
    EXPECT_EQ(controls[PaneControl::chk_messages].enabled, c.checkbox_enabled) << c.mask;
    EXPECT_EQ(controls[PaneControl::txt_address].enabled, c.address_enabled) << c.mask;
  }
}

TEST_F(PaneSettings, LockAndUnlockFollowTheLockAlone) {
  AgentState s = connected_state();
  s.mask = 0;
  auth.is_unlocked = true;
  show(s);
  EXPECT_FALSE(controls[PaneControl::chk_messages].enabled);
  EXPECT_FALSE(controls[PaneControl::txt_address].enabled);

  logic->authorizationViewDidAuthorize();  // the mask is not consulted here
  EXPECT_TRUE(controls[PaneControl::chk_messages].enabled);
  EXPECT_TRUE(controls[PaneControl::txt_address].enabled);
  auth.is_unlocked = false;
  logic->authorizationViewDidDeauthorize();
  EXPECT_FALSE(controls[PaneControl::chk_messages].enabled);
  EXPECT_FALSE(controls[PaneControl::txt_address].enabled);
  auth.is_unlocked = true;
  logic->authorizationViewDidDeauthorize();
  EXPECT_TRUE(controls[PaneControl::txt_address].enabled);

  // A refused option springs back at the refill and the mask applies again.
  controls[PaneControl::chk_messages].checked = true;
  logic->checkboxClicked();
  EXPECT_FALSE(controls[PaneControl::chk_messages].checked);
  EXPECT_FALSE(controls[PaneControl::chk_messages].enabled);
  EXPECT_FALSE(controls[PaneControl::txt_address].enabled);
  EXPECT_EQ(load().options, 0);
}

TEST_F(PaneSettings, AddressAndIdentifier) {
  show(connected_state());
  EXPECT_EQ(logic->addr_from_ty(), "domarc.example");
  EXPECT_EQ(controls[PaneControl::txt_address].text, "domarc.example");
  EXPECT_EQ(controls[PaneControl::txt_maid].text, "Tessary ID: C0FFEE-01");
  EXPECT_GE(controls[PaneControl::txt_address].selections, 1);

  // When the agent does not answer, neither field changes.
  AgentState s = connected_state();
  s.configured = "other";
  s.identifier = "other";
  s.fail[static_cast<int>(Op::GetSessionEx)] = -1;
  save(s);
  logic->gather_settings();
  EXPECT_EQ(logic->addr_from_ty(), "domarc.example");
  EXPECT_EQ(controls[PaneControl::txt_maid].text, "Tessary ID: C0FFEE-01");
}

TEST_F(PaneSettings, BackupServerList) {
  struct Case {
    std::vector<std::array<std::uint8_t, 4>> v4;
    std::vector<std::array<std::uint8_t, 16>> v6;
    const char *shown;
  } cases[] = {
      {{}, {}, "N/A"},
      {{{10, 0, 0, 1}},
       {{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
       "10.0.0.1, 2001:db8::1"},
      {{{10, 0, 0, 1}, {10, 0, 0, 2}}, {}, "10.0.0.1, 10.0.0.2"},
      {{}, {{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9}}, "fe80::9"},
  };
  for (const Case &c : cases) {
    AgentState s = connected_state();
    s.ipv4_backups = c.v4;
    s.ipv6_backups = c.v6;
    save(s);
    logic->gather_settings();
    EXPECT_EQ(controls[PaneControl::txt_shadow].text, c.shown);
  }
}

TEST_F(PaneSettings, HostileBackupCounts) {
  AgentState s = connected_state();
  s.ipv4_backups = {{10, 0, 0, 1}, {10, 0, 0, 2}, {10, 0, 0, 3}};
  auto shown = [&](std::optional<int> v4, std::optional<int> v6) {
    s.ipv4_count = v4;
    s.ipv6_count = v6;
    save(s);
    logic->gather_settings();
    return controls[PaneControl::txt_shadow].text;
  };
  auto entries = [](const std::string &text) {
    return text == "N/A" ? 0 : 1 + static_cast<int>(std::count(text.begin(), text.end(), ','));
  };
  EXPECT_EQ(shown(2, std::nullopt), "10.0.0.1, 10.0.0.2");
  // More than the block holds: only the 127 (IPv4) and 31 (IPv6) that fit.
  std::string many = shown(300, std::nullopt);
  EXPECT_EQ(entries(many), 127);
  EXPECT_EQ(many.substr(0, 30), "10.0.0.1, 10.0.0.2, 10.0.0.3, ");
  EXPECT_EQ(many.substr(many.size() - 9), ", 0.0.0.0");
  EXPECT_EQ(entries(shown(0, 65535)), 0);  // 65535 reads as -1
  EXPECT_EQ(entries(shown(0, 800)), 31);   // 0x0320
  // A low byte of 128 or more makes the count negative; 0 and below add nothing.
  EXPECT_EQ(shown(128, 0), "N/A");
  EXPECT_EQ(shown(0x1FF, 0), "N/A");
  EXPECT_EQ(shown(-5, -5), "N/A");
  EXPECT_EQ(entries(shown(0x100, 0)), 127);
}

TEST_F(PaneSettings, CheckboxWritesTheOptionOnly) {
  show(connected_state());
  new_calls();
  controls[PaneControl::chk_messages].checked = true;
  logic->checkboxClicked();
  std::string log = new_calls();
  EXPECT_NE(log.find("QuilSetOptions(0, 0x80, 0x80) = 0\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("QuilSetTransport"), std::string::npos);
  EXPECT_EQ(log.find("QuilAuthenticate"), std::string::npos);
  EXPECT_EQ(load().options, 0x80);
  EXPECT_TRUE(controls[PaneControl::chk_messages].checked);

  controls[PaneControl::chk_messages].checked = false;
  logic->checkboxClicked();
  EXPECT_NE(new_calls().find("QuilSetOptions(0, 0, 0x80) = 0\n"), std::string::npos);
  EXPECT_EQ(load().options, 0);
}

TEST_F(PaneSettings, ReturnLogsOnTabDoesNot) {
  show(connected_state());
  new_calls();
  int fires = timer.fires;
  logic->controlTextDidEndEditing(17);  // Tab
  logic->controlTextDidEndEditing(0);   // a click elsewhere
  EXPECT_EQ(new_calls(), "");
  EXPECT_EQ(timer.fires, fires);

  logic->controlTextDidEndEditing(kReturnTextMovement);
  std::string log = new_calls();
  EXPECT_NE(log.find("QuilAuthenticate(0) = 0\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("QuilSetTransport"), std::string::npos);
  EXPECT_EQ(timer.fires, fires + 2);  // after the logon and after the refill
}

TEST_F(PaneSettings, NewAddressGoesToTheAgentFirst) {
  AgentState s = connected_state();
  show(s);
  type("203.0.113.5");
  new_calls();
  logic->logonClicked();
  std::string log = new_calls();
  std::size_t transport = log.find("QuilSetTransport(1, \"203.0.113.5\") = 0\n");
  ASSERT_NE(transport, std::string::npos) << log;
  EXPECT_NE(log.find("QuilAuthenticate(0) = 0\n", transport), std::string::npos);
  EXPECT_EQ(logic->addr_from_ty(), "203.0.113.5");
  EXPECT_EQ(status(), "Connected to Domarc 203.0.113.5");

  // A named server: the agent reports the name.
  type("vantor.example");
  logic->controlTextDidEndEditing(kReturnTextMovement);
  EXPECT_EQ(status(), "Connected to Domarc vantor.example");
}

TEST_F(PaneSettings, RefusedAddressHandsTheMessageToTheAgent) {
  AgentState s = connected_state();
  s.refuse_new_server = true;
  show(s);
  type("203.0.113.5");
  EXPECT_EQ(status(), "Click Logon to connect to new Domarc.");
  new_calls();
  logic->logonClicked();
  std::string log = new_calls();
  EXPECT_NE(log.find("QuilSetTransport(1, \"203.0.113.5\") = -10000\n"), std::string::npos);
  EXPECT_EQ(log.find("QuilAuthenticate"), std::string::npos);
  EXPECT_EQ(messages(),
            "\"You must close all Domarc controlled programs before selecting a new "
            "Domarc.[.TY-480.]\"\n");
  // The refill puts the configured address back.
  EXPECT_EQ(controls[PaneControl::txt_address].text, "domarc.example");
  EXPECT_EQ(status(), "Connected to Domarc domarc-1");

  // With no localisation at all the agent is told "failed".
  localizer.table
      ["You must close all Domarc controlled programs before selecting a new Domarc.[.TY-480.]"] =
      "";
  type("203.0.113.6");
  logic->logonClicked();
  EXPECT_NE(messages().find("\n\"failed\"\n"), std::string::npos) << messages();
}

TEST_F(PaneSettings, OtherTransportFailuresDoNothingMore) {
  AgentState s = connected_state();
  s.fail[static_cast<int>(Op::SetTransport)] = -9;
  show(s);
  type("203.0.113.5");
  new_calls();
  logic->logonClicked();
  std::string log = new_calls();
  EXPECT_NE(log.find("QuilSetTransport(1, \"203.0.113.5\") = -9\n"), std::string::npos);
  EXPECT_EQ(log.find("QuilAuthenticate"), std::string::npos);
  EXPECT_EQ(log.find("QuilMessageEx"), std::string::npos);
}

TEST_F(PaneSettings, LogonWithoutAConfiguredAddressSendsTheTypedOne) {
  AgentState s = connected_state();
  s.fail[static_cast<int>(Op::GetSessionEx)] = -1;
  show(s);
  type("domarc.example");  // the same text, but the agent cannot confirm it
  new_calls();
  logic->logonClicked();
  EXPECT_NE(new_calls().find("QuilSetTransport(1, \"domarc.example\") = 0\n"), std::string::npos);
}

TEST_F(PaneSettings, TypedAddressIsBoundedAtACharacterBoundary) {
  show(connected_state());
  std::string typed;
  for (int i = 0; i < 200; ++i)
    typed += "\xc3\xa9";  // 400 bytes
  type(typed);
  logic->logonClicked();
  EXPECT_EQ(load().configured, typed.substr(0, 254));
  type(std::string(300, 'a'));
  logic->logonClicked();
  EXPECT_EQ(load().configured, std::string(255, 'a'));
}

}  // namespace
}  // namespace tessary::testing
