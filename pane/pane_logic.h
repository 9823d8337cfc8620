// The pane's controller logic, free of any window toolkit.
//
// PaneLogic does everything the pane's controller class does: the lifecycle
// steps, the status line, the version text, reading settings from the agent
// into the controls and writing them back, the lock rule and the companion
// applications. It calls the agent operations of agent/quil.h directly and
// reaches the user interface only through the small interfaces below.
//
// What an adapter (the toolkit's controller class) must implement:
//   PaneControls   - the controls, addressed by PaneControl: text (UTF-8),
//                    enabled, hidden (only where the control can hide),
//                    checkbox state, text colour, select-all, tooltip,
//                    whether a text fits the control's one line, and making
//                    the controller the delegate of a control;
//   PaneLocalizer  - L(text): the bundle's localised text, the English text
//                    being its own key;
//   AppLauncher    - the type/creator query of an application bundle and
//                    opening it;
//   StatusTimer    - the repeating ten-second timer whose tick calls
//                    PaneLogic::updateStatus();
//   AlertPanel     - a modal alert with no title and one button;
//   AuthorizationView - the lock: its right, its delegate, a refresh of its
//                    state and whether it is unlocked.
// The adapter forwards every host callback and control action to the
// PaneLogic method of the same name, on the main thread.
#ifndef TESSARY_PANE_LOGIC_H
#define TESSARY_PANE_LOGIC_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessary {

// The controls, named after the controller's outlets.
enum class PaneControl {
  chk_messages,
  button_logon,
  button_lu,
  button_tarrow,
  txt_address,
  txt_maid,
  txt_status,
  txt_vers,
  txt_shadow,
  txt_lu,
  txt_tarrow,
};
inline constexpr int kPaneControlCount = 11;

// The outlet's name ("txt_status" and so on); null for a value out of range.
const char *pane_control_name(PaneControl control);

enum class TextColour { black, light_grey };

class PaneControls {
 public:
  virtual ~PaneControls() = default;
  // The control's text as UTF-8 (empty when it has none).
  virtual std::string text(PaneControl control) = 0;
  // Sets the control's text; `utf8` is always valid UTF-8.
  virtual void set_text(PaneControl control, const std::string &utf8) = 0;
  virtual void set_enabled(PaneControl control, bool enabled) = 0;
  // Whether the control can be hidden (responds to setHidden:).
  virtual bool can_hide(PaneControl control) = 0;
  // Only called when can_hide() said yes.
  virtual void set_hidden(PaneControl control, bool hidden) = 0;
  virtual bool checked(PaneControl control) = 0;
  virtual void set_checked(PaneControl control, bool on) = 0;
  virtual void set_text_colour(PaneControl control, TextColour colour) = 0;
  // Selects the whole text of an editable field.
  virtual void select_all(PaneControl control) = 0;
  // Makes the controller the delegate of the control (txt_address).
  virtual void attach_delegate(PaneControl control) = 0;
  // Whether `utf8` drawn in the control's font fits its width on one line.
  virtual bool fits(PaneControl control, const std::string &utf8) = 0;
  // The control's tooltip; empty for none.
  virtual void set_tooltip(PaneControl control, const std::string &utf8) = 0;
};

class PaneLocalizer {
 public:
  virtual ~PaneLocalizer() = default;
  // The localised form of `english`; the key itself when there is none. May
  // be empty.
  virtual std::string localized(const std::string &english) = 0;
};

// Four-character codes as the launcher reports them, first character in the
// most significant byte: 'APPL' is 0x4150504C.
inline constexpr std::uint32_t four_cc(const char (&code)[5]) {
  return std::uint32_t(std::uint8_t(code[0])) << 24 | std::uint32_t(std::uint8_t(code[1])) << 16 |
         std::uint32_t(std::uint8_t(code[2])) << 8 | std::uint32_t(std::uint8_t(code[3]));
}
inline constexpr std::uint32_t kApplicationType = four_cc("APPL");
inline constexpr std::uint32_t kLumetCreator = four_cc("Lmet");
inline constexpr std::uint32_t kTarrowCreator = four_cc("Trrw");

class AppLauncher {
 public:
  virtual ~AppLauncher() = default;
  // The file type and creator code of the item at `path`; false when they
  // cannot be had (nothing there, not a bundle, ...).
  virtual bool type_and_creator(const std::string &path, std::uint32_t *type,
                                std::uint32_t *creator) = 0;
  // Opens the application at `path`; false on failure.
  virtual bool open(const std::string &path) = 0;
};

class StatusTimer {
 public:
  virtual ~StatusTimer() = default;
  // Schedules a repeating timer of `seconds` on the main run loop whose tick
  // calls PaneLogic::updateStatus(); false when it could not be made.
  virtual bool start(double seconds) = 0;
  // Fires the running timer at once (synchronously calls updateStatus()).
  virtual void fire() = 0;
  // Invalidates and releases the timer.
  virtual void stop() = 0;
};

class AlertPanel {
 public:
  virtual ~AlertPanel() = default;
  // Shows a modal alert with no title, `message` as its text and one button
  // labelled `button`; returns when the user dismisses it.
  virtual void run(const std::string &message, const std::string &button) = 0;
};

class AuthorizationView {
 public:
  virtual ~AuthorizationView() = default;
  // Gives the view its one authorization right (no value, no flags).
  virtual void set_right(const char *right) = 0;
  // Makes the controller the view's delegate, or removes it.
  virtual void attach_delegate() = 0;
  virtual void detach_delegate() = 0;
  // Asks the view to refresh its authorization state.
  virtual void update() = 0;
  // True when the view's state is "unlocked".
  virtual bool unlocked() = 0;
};

inline constexpr const char *kAdminRight = "system.privilege.admin";
inline constexpr double kStatusInterval = 10.0;
// The text movement that ends an edit with Return.
inline constexpr long kReturnTextMovement = 16;
inline constexpr const char *kLumetPath = "/Library/Tessary/Lumet.app";
inline constexpr const char *kTarrowPath = "/Library/Tessary/Tarrow.app";

struct PaneServices {
  PaneControls &controls;
  PaneLocalizer &localizer;
  AppLauncher &launcher;
  StatusTimer &timer;
  AlertPanel &alert;
  AuthorizationView &auth;
};

class PaneLogic {
 public:
  explicit PaneLogic(const PaneServices &services);
  PaneLogic(const PaneLogic &) = delete;
  PaneLogic &operator=(const PaneLogic &) = delete;

  // Host lifecycle.
  void mainViewDidLoad();
  void didSelect();
  void willUnselect();
  void didUnselect();

  // Control actions.
  void checkboxClicked();
  void logonClicked();
  void luClicked();
  void tarrowClicked();

  // Delegate callbacks of txt_address; `text_movement` is the integer stored
  // under "NSTextMovement" in the notification (0 when absent).
  void controlTextDidChange();
  void controlTextDidEndEditing(long text_movement);

  // Delegate callbacks of the authorization view.
  void authorizationViewDidAuthorize();
  void authorizationViewDidDeauthorize();

  // The timer's tick: recomputes the status line.
  void updateStatus();

  bool isUnlocked();
  void gather_settings();
  void scatter_settings(bool logon);

  // State, for the adapter and for inspection.
  // The server address as the agent last reported it (UTF-8).
  const std::string &addr_from_ty() const { return addr_from_ty_; }
  // Locations of the companion applications; empty when missing.
  const std::optional<std::string> &lu_url() const { return lu_url_; }
  const std::optional<std::string> &tarrow_url() const { return tarrow_url_; }
  bool timer_running() const { return timer_running_; }

 private:
  std::string L(const char *english);
  void show_fitted(PaneControl control, const std::string &head, const std::string &middle,
                   const std::string &tail);
  void show_backups(const std::vector<std::string> &addresses);
  void check_companions();
  void show_version();
  void apply_lock_state();
  void fire_timer();
  void open_companion(const std::optional<std::string> &url, const char *not_found,
                      const char *not_opened);

  PaneServices ui_;
  std::string addr_from_ty_;
  std::optional<std::string> lu_url_;
  std::optional<std::string> tarrow_url_;
  bool timer_running_ = false;
};

}  // namespace tessary

#endif  // TESSARY_PANE_LOGIC_H
