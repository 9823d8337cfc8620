// The controller logic's lifecycle: loading, showing and hiding the pane,
// the version text, the lock rule, the timer and the control actions.
#include "pane/pane_logic.h"

#include <cstdio>

#include "pane/agent/quil.h"

namespace tessary {

const char *pane_control_name(PaneControl control) {
  static constexpr const char *kNames[kPaneControlCount] = {
      "chk_messages", "button_logon", "button_lu",  "button_tarrow", "txt_address", "txt_maid",
      "txt_status",   "txt_vers",     "txt_shadow", "txt_lu",        "txt_tarrow",
  };
  int i = static_cast<int>(control);
  return i >= 0 && i < kPaneControlCount ? kNames[i] : nullptr;
}

PaneLogic::PaneLogic(const PaneServices &services) : ui_(services) {}

std::string PaneLogic::L(const char *english) {
  return ui_.localizer.localized(english);
}

void PaneLogic::mainViewDidLoad() {
  ui_.auth.set_right(kAdminRight);
  ui_.auth.attach_delegate();
  ui_.auth.update();
}

void PaneLogic::didSelect() {
  check_companions();
  show_version();
  gather_settings();
  ui_.controls.attach_delegate(PaneControl::txt_address);
  ui_.auth.attach_delegate();
  ui_.auth.update();
  if (timer_running_) ui_.timer.stop();  // shown twice without being hidden
  timer_running_ = ui_.timer.start(kStatusInterval);
  if (timer_running_) ui_.timer.fire();
}

void PaneLogic::willUnselect() {
  ui_.auth.detach_delegate();
}

void PaneLogic::didUnselect() {
  lu_url_.reset();
  tarrow_url_.reset();
  if (timer_running_) {
    ui_.timer.stop();
    timer_running_ = false;
  }
}

void PaneLogic::show_version() {
  std::uint16_t version = 0, extra = 0;
  if (QuilVersion(&version, &extra) != 0) return;  // keep the text the view came with
  char text[32];
  std::snprintf(text, sizeof text, "%d.%d.%d.%d", version >> 12 & 15, version >> 8 & 15,
                version >> 4 & 15, version & 15);
  ui_.controls.set_text(PaneControl::txt_vers, text);
}

bool PaneLogic::isUnlocked() {
  return ui_.auth.unlocked();
}

// On lock and unlock the two controls follow the lock alone; the agent's
// option mask is applied again at the next gather_settings.
void PaneLogic::apply_lock_state() {
  bool unlocked = isUnlocked();
  ui_.controls.set_enabled(PaneControl::chk_messages, unlocked);
  ui_.controls.set_enabled(PaneControl::txt_address, unlocked);
}

void PaneLogic::authorizationViewDidAuthorize() {
  apply_lock_state();
}
void PaneLogic::authorizationViewDidDeauthorize() {
  apply_lock_state();
}

void PaneLogic::fire_timer() {
  if (timer_running_) ui_.timer.fire();
}

void PaneLogic::controlTextDidChange() {
  fire_timer();
}

void PaneLogic::controlTextDidEndEditing(long text_movement) {
  // Only Return logs on; leaving the field with Tab or a click does nothing.
  if (text_movement == kReturnTextMovement) scatter_settings(true);
}

void PaneLogic::checkboxClicked() {
  scatter_settings(false);
}
void PaneLogic::logonClicked() {
  scatter_settings(true);
}

}  // namespace tessary
