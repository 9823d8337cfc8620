// The fakes' checks and the pane fixture's helpers.
#include "pane/pane_test_support.h"

#include "pane/utf8.h"

namespace tessary::testing {

void FakeControls::set_text(PaneControl c, const std::string &utf8) {
  // The logic promises well-formed UTF-8 to the toolkit.
  EXPECT_EQ(utf8::repaired(utf8.data(), utf8.size()), utf8) << pane_control_name(c);
  (*this)[c].text = utf8;
}

bool FakeControls::fits(PaneControl c, const std::string &utf8) {
  std::size_t chars = 0;
  for (char b : utf8)
    chars += (static_cast<unsigned char>(b) & 0xC0) != 0x80;
  return chars <= (*this)[c].width;
}

void FakeControls::set_hidden(PaneControl c, bool hidden) {
  EXPECT_TRUE((*this)[c].can_hide) << pane_control_name(c) << " cannot hide";
  (*this)[c].hidden = hidden;
}

bool FakeLauncher::type_and_creator(const std::string &path, std::uint32_t *type,
                                    std::uint32_t *creator) {
  auto it = apps.find(path);
  if (it == apps.end()) return false;
  *type = it->second.type;
  *creator = it->second.creator;
  return true;
}

bool FakeLauncher::open(const std::string &path) {
  opened.push_back(path);
  auto it = apps.find(path);
  return it != apps.end() && it->second.opens;
}

void PaneTest::SetUp() {
  AgentDir::SetUp();
  logic =
      std::make_unique<PaneLogic>(PaneServices{controls, localizer, launcher, timer, alert, auth});
  timer.logic = logic.get();
}

void PaneTest::show(const agent::AgentState &state) {
  save(state);
  logic->didSelect();
}

void PaneTest::type(const std::string &text) {
  controls[PaneControl::txt_address].text = text;
  logic->controlTextDidChange();
}

std::string PaneTest::new_calls() {
  std::string all = calls();
  std::string fresh = all.substr(std::min(calls_seen_, all.size()));
  calls_seen_ = all.size();
  return fresh;
}

agent::AgentState connected_state() {
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
