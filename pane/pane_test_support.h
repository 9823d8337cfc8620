// Fakes of the pane's user-interface services and a fixture that runs the
// pane logic against the local agent in a scratch directory.
#ifndef TESSARY_PANE_TEST_SUPPORT_H
#define TESSARY_PANE_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pane/agent/agent_test_support.h"
#include "pane/agent/quil.h"
#include "pane/pane_logic.h"
#include "pane/utf8.h"

namespace tessary::testing {

struct ControlState {
  std::string text, tooltip;
  std::size_t width = 10000;  // characters that fit the control's line
  bool enabled = true, hidden = false, checked = false, can_hide = true, delegate = false,
       selected = false;
  TextColour colour = TextColour::black;
};

class FakeControls : public PaneControls {
 public:
  ControlState &operator[](PaneControl c) { return state_[static_cast<int>(c)]; }
  std::string text(PaneControl c) override { return (*this)[c].text; }
  void set_text(PaneControl c, const std::string &utf8) override {
    // The logic promises well-formed UTF-8 to the toolkit.
    EXPECT_EQ(utf8::repaired(utf8.data(), utf8.size()), utf8) << pane_control_name(c);
    (*this)[c].text = utf8;
  }
  void set_enabled(PaneControl c, bool enabled) override { (*this)[c].enabled = enabled; }
  bool can_hide(PaneControl c) override { return (*this)[c].can_hide; }
  void set_hidden(PaneControl c, bool hidden) override {
    EXPECT_TRUE((*this)[c].can_hide) << pane_control_name(c) << " cannot hide";
    (*this)[c].hidden = hidden;
  }
  bool checked(PaneControl c) override { return (*this)[c].checked; }
  void set_checked(PaneControl c, bool on) override { (*this)[c].checked = on; }
  void set_text_colour(PaneControl c, TextColour colour) override { (*this)[c].colour = colour; }
  void select_all(PaneControl c) override { (*this)[c].selected = true; }
  void attach_delegate(PaneControl c) override { (*this)[c].delegate = true; }
  bool fits(PaneControl c, const std::string &utf8) override {
    std::size_t chars = 0;
    for (char b : utf8)
      chars += (static_cast<unsigned char>(b) & 0xC0) != 0x80;
    return chars <= (*this)[c].width;
  }
  void set_tooltip(PaneControl c, const std::string &utf8) override { (*this)[c].tooltip = utf8; }

 private:
  std::array<ControlState, kPaneControlCount> state_{};
};

// The text itself, or what `table` maps it to.
class FakeLocalizer : public PaneLocalizer {
 public:
  std::string localized(const std::string &english) override {
    auto it = table.find(english);
    return it == table.end() ? english : it->second;
  }
  std::map<std::string, std::string> table;
};

struct FakeApp {
  std::uint32_t type = kApplicationType, creator = 0;
  bool opens = true;
};

class FakeLauncher : public AppLauncher {
 public:
  bool type_and_creator(const std::string &path, std::uint32_t *type,
                        std::uint32_t *creator) override {
    auto it = apps.find(path);
    if (it == apps.end()) return false;
    *type = it->second.type;
    *creator = it->second.creator;
    return true;
  }
  bool open(const std::string &path) override {
    opened.push_back(path);
    return apps.count(path) && apps[path].opens;
  }
  std::map<std::string, FakeApp> apps;  // what is installed
  std::vector<std::string> opened;
};

class FakeTimer : public StatusTimer {
 public:
  bool start(double) override { return true; }  // the interval is the bundle test's
  void fire() override {
    ++fires;
    if (logic) logic->updateStatus();
  }
  void stop() override { ++stops; }
  PaneLogic *logic = nullptr;
  int fires = 0, stops = 0;
};

class FakeAlert : public AlertPanel {
 public:
  void run(const std::string &message, const std::string &button) override {
    shown.push_back(message + " | " + button);
  }
  std::vector<std::string> shown;
};

class FakeAuth : public AuthorizationView {
 public:
  void set_right(const char *r) override { right = r; }
  void attach_delegate() override {}
  void detach_delegate() override {}
  void update() override {}
  bool unlocked() override { return is_unlocked; }
  std::string right;
  bool is_unlocked = true;
};

class PaneTest : public agent::testing::AgentDir {
 protected:
  void SetUp() override {
    AgentDir::SetUp();
    logic = std::make_unique<PaneLogic>(
        PaneServices{controls, localizer, launcher, timer, alert, auth});
    timer.logic = logic.get();
  }
  void show(const agent::AgentState &state) {  // saves the state, then shows the pane
    save(state);
    logic->didSelect();
  }
  std::string status() { return controls[PaneControl::txt_status].text; }
  void type(const std::string &text) {  // the field's delegate hears of it
    controls[PaneControl::txt_address].text = text;
    logic->controlTextDidChange();
  }
  std::string new_calls() {  // the agent's call log since the last call
    std::string all = calls();
    std::string fresh = all.substr(std::min(calls_seen_, all.size()));
    calls_seen_ = all.size();
    return fresh;
  }

  FakeControls controls;
  FakeLocalizer localizer;
  FakeLauncher launcher;
  FakeTimer timer;
  FakeAlert alert;
  FakeAuth auth;
  std::unique_ptr<PaneLogic> logic;
  std::size_t calls_seen_ = 0;
};

// A connected agent that lets the user change everything.
inline agent::AgentState connected_state() {
  agent::AgentState s;
  s.session_state = 1;
  s.server = {192, 0, 2, 7};
  s.configured = "domarc.example";
  s.name = "domarc-1";
  s.identifier = "C0FFEE-01";
  s.mask = QUIL_MASK_SERVER | QUIL_OPTION_MESSAGES;
  return s;
}

}  // namespace tessary::testing

#endif  // TESSARY_PANE_TEST_SUPPORT_H
