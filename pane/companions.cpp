// The companion applications: whether each is installed (checked each time
// the pane is shown) and opening it from its button.
#include "pane/pane_logic.h"

namespace tessary {
namespace {

struct Companion {
  const char *path;
  std::uint32_t creator;
  PaneControl button;
  PaneControl label;
};

constexpr Companion kLumet = {kLumetPath, kLumetCreator, PaneControl::button_lu,
                              PaneControl::txt_lu};
constexpr Companion kTarrow = {kTarrowPath, kTarrowCreator, PaneControl::button_tarrow,
                               PaneControl::txt_tarrow};

// Looks for one application and sets its button and label; its location
// when it is there.
std::optional<std::string> find_companion(const Companion &app, AppLauncher &launcher,
                                          PaneControls &controls) {
  std::string path = app.path;
  std::uint32_t type = 0, creator = 0;
  bool present = launcher.type_and_creator(path, &type, &creator) && type == kApplicationType &&
                 creator == app.creator;
  for (PaneControl control : {app.button, app.label}) {
    if (controls.can_hide(control)) controls.set_hidden(control, !present);
  }
  controls.set_enabled(app.button, present);
  controls.set_text_colour(app.label, present ? TextColour::black : TextColour::light_grey);
  if (!present) return std::nullopt;
  return path;
}

}  // namespace

void PaneLogic::check_companions() {
  lu_url_ = find_companion(kLumet, ui_.launcher, ui_.controls);
  tarrow_url_ = find_companion(kTarrow, ui_.launcher, ui_.controls);
}

void PaneLogic::open_companion(const std::optional<std::string> &url, const char *not_found,
                               const char *not_opened) {
  const char *message = not_found;
  if (url) {
    if (ui_.launcher.open(*url)) return;
    message = not_opened;
  }
  ui_.alert.run(L(message), L("OK"));
}

void PaneLogic::luClicked() {
  open_companion(lu_url_, "Lumet could not be found. Try re-installing the Orrin Client.",
                 "Lumet could not be opened. Try re-installing the Orrin Client.");
}

void PaneLogic::tarrowClicked() {
  open_companion(tarrow_url_, "Tarrow could not be found. Try re-installing the Orrin Client.",
                 "Tarrow could not be opened. Try re-installing the Orrin Client.");
}

}  // namespace tessary
