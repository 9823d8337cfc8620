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

// On lock and unlock the controls follow the lock alone; the agent's option
// mask is applied again at the next gather_settings. Locking also drops an
// edit that can no longer be handed to the agent.
void PaneLogic::apply_lock_state() {
  bool unlocked = isUnlocked();
  ui_.controls.set_enabled(PaneControl::chk_messages, unlocked);
  ui_.controls.set_enabled(PaneControl::txt_address, unlocked);
  ui_.controls.set_enabled(PaneControl::button_logon, unlocked);
  if (unlocked) {
    ui_.controls.select_all(PaneControl::txt_address);
  } else if (ui_.controls.text(PaneControl::txt_address) != addr_from_ty_) {
    ui_.controls.set_text(PaneControl::txt_address, addr_from_ty_);
    fire_timer();
  }
}

void PaneLogic::authorizationViewDidAuthorize() {
  apply_lock_state();
}
void PaneLogic::authorizationViewDidDeauthorize() {
  apply_lock_state();
}

namespace {

// Byte offsets of the character boundaries of well-formed `text`, its end
// included.
std::vector<std::size_t> boundaries(const std::string &text) {
  std::vector<std::size_t> at;
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) at.push_back(i);
  at.push_back(text.size());
  return at;
}

// The longest cut of `text` to its first n characters (then "…") for which
// `fits` holds; "…" alone when none does.
template <typename Fits>
std::string cut_to_fit(const std::string &text, Fits fits) {
  static const std::string kEllipsis = "\u2026";
  std::vector<std::size_t> at = boundaries(text);
  // Characters kept: none at least, all but one at most (all did not fit).
  std::size_t lo = 0, hi = at.size() >= 2 ? at.size() - 2 : 0;
  while (lo < hi) {
    std::size_t mid = (lo + hi + 1) / 2;
    if (fits(text.substr(0, at[mid]) + kEllipsis))
      lo = mid;
    else
      hi = mid - 1;
  }
  return text.substr(0, at[lo]) + kEllipsis;
}

}  // namespace

// The text in full when it fits the control's line; else the middle part is
// cut short so that the head and tail (the trust or audit mark) stay, or,
// when even that does not fit, the whole text. The tooltip has it in full.
void PaneLogic::show_fitted(PaneControl control, const std::string &head, const std::string &middle,
                            const std::string &tail) {
  PaneControls &controls = ui_.controls;
  std::string full = head + middle + tail;
  controls.set_tooltip(control, full);
  auto fits = [&](const std::string &text) { return controls.fits(control, text); };
  if (full.empty() || fits(full)) {
    controls.set_text(control, full);
  } else if (!middle.empty() && fits(head + "\u2026" + tail)) {
    controls.set_text(control, head + cut_to_fit(middle, [&](const std::string &m) {
                                 return fits(head + m + tail);
                               }) + tail);
  } else {
    controls.set_text(control, cut_to_fit(full, fits));
  }
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
