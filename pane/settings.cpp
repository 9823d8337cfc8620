// Settings between the agent and the controls: gather_settings reads the
// options, server address, identifier and backup servers into the controls;
// scatter_settings writes the messages option back and logs on.
#include <cstring>

#include "pane/agent/quil.h"
#include "pane/pane_internal.h"
#include "pane/pane_logic.h"
#include "pane/utf8.h"
#include "xp/fmt/xp_fmt.h"

namespace tessary {
namespace pane {

std::string agent_text(const unsigned char *buffer) {
  const char *bytes = reinterpret_cast<const char *>(buffer + 1);
  std::size_t n = buffer[0];
  const void *zero = std::memchr(bytes, 0, n);
  if (zero) n = static_cast<std::size_t>(static_cast<const char *>(zero) - bytes);
  return utf8::repaired(bytes, n);
}

void put_agent_text(unsigned char *buffer, const std::string &utf8) {
  std::size_t n = utf8::bounded_length(utf8, QUIL_TEXT_SIZE - 1);
  buffer[0] = static_cast<unsigned char>(n);
  std::memcpy(buffer + 1, utf8.data(), n);
}

std::size_t render_address(char *buffer, std::size_t room, int kind, const void *address) {
  intptr_t n = xp_fmt_addr(buffer, static_cast<intptr_t>(room), kind, address);
  if (n <= 0) return 0;
  return static_cast<std::size_t>(n) < room ? static_cast<std::size_t>(n) : room;
}

void append_backup_list(std::vector<std::string> &list, const std::uint8_t *block,
                        std::size_t block_size, std::size_t entry_size, int kind) {
  if (block_size < 2) return;
  // The count is read high byte first with each byte taken as signed, so a
  // low byte of 128 or more makes the count negative.
  int count = static_cast<int>(static_cast<std::int8_t>(block[0])) * 256 |
              static_cast<int>(static_cast<std::int8_t>(block[1]));
  if (count < 1) return;
  std::size_t fit = (block_size - 2) / entry_size;
  std::size_t entries =
      static_cast<std::size_t>(count) < fit ? static_cast<std::size_t>(count) : fit;
  for (std::size_t i = 0; i < entries; ++i) {
    // Every address but the first of the whole text is rendered after ", "
    // in the 64-byte scratch buffer, so it has two bytes less room.
    char scratch[64];
    std::size_t n =
        render_address(scratch, list.empty() ? 63 : 61, kind, block + 2 + i * entry_size);
    if (n > 0) list.push_back(utf8::repaired(scratch, n));
  }
}

}  // namespace pane

void PaneLogic::gather_settings() {
  PaneControls &controls = ui_.controls;
  bool unlocked = isUnlocked();

  long options = 0, mask = 0;
  if (QuilGetOptions(nullptr, &options, &mask) != 0) options = mask = 0;
  controls.set_checked(PaneControl::chk_messages, (options & QUIL_OPTION_MESSAGES) != 0);
  controls.set_enabled(PaneControl::chk_messages, unlocked && (mask & QUIL_OPTION_MESSAGES) != 0);

  unsigned char configured[QUIL_TEXT_SIZE], identifier[QUIL_TEXT_SIZE];
  configured[0] = identifier[0] = 0;
  if (QuilGetSessionEx(nullptr, 0, configured, nullptr, identifier, 0) == 0) {
    addr_from_ty_ = pane::agent_text(configured);
    controls.set_text(PaneControl::txt_address, addr_from_ty_);
    show_fitted(PaneControl::txt_maid, L("Tessary ID: "), pane::agent_text(identifier), "");
  }
  bool editable = unlocked && (mask & QUIL_MASK_SERVER) != 0;
  controls.set_enabled(PaneControl::txt_address, editable);
  // Logon stays usable whatever the agent's mask says, but never while the
  // pane is locked: the lock rule wins, a locked pane changes nothing.
  controls.set_enabled(PaneControl::button_logon, unlocked);
  // Only an editable field takes the keyboard focus that selecting gives.
  if (editable) controls.select_all(PaneControl::txt_address);

  std::vector<std::string> list;
  std::uint8_t block[QUIL_PREF_SIZE];
  std::memset(block, 0, sizeof block);
  if (QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, sizeof block, block, 0) == 0) {
    pane::append_backup_list(list, block, sizeof block, 4, 1);
  }
  std::memset(block, 0, sizeof block);
  if (QuilGetPrefData(nullptr, QUIL_PREF_IPV6_BACKUPS, 0, sizeof block, block, 0) == 0) {
    pane::append_backup_list(list, block, sizeof block, 16, -1);
  }
  show_backups(list);
}

// The list as far as it fits, then "and N more"; the whole list, a few
// addresses a line, in the tooltip.
void PaneLogic::show_backups(const std::vector<std::string> &addresses) {
  PaneControls &controls = ui_.controls;
  if (addresses.empty()) {
    controls.set_text(PaneControl::txt_shadow, L("N/A"));
    controls.set_tooltip(PaneControl::txt_shadow, "");
    return;
  }
  // The first n addresses, ", " between them and a line break after every
  // `per_line` of them (0: one line).
  auto joined = [&](std::size_t n, std::size_t per_line) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) {
      if (i > 0) text += per_line != 0 && i % per_line == 0 ? ",\n" : ", ";
      text += addresses[i];
    }
    return text;
  };
  std::string all = joined(addresses.size(), 0);
  controls.set_tooltip(PaneControl::txt_shadow, joined(addresses.size(), 4));
  if (controls.fits(PaneControl::txt_shadow, all)) {
    controls.set_text(PaneControl::txt_shadow, all);
    return;
  }
  std::string more = L("and %d more");
  auto shown = [&](std::size_t n) {
    std::string tail = more;
    std::size_t at = tail.find("%d");
    std::string count = std::to_string(addresses.size() - n);
    if (at == std::string::npos)
      tail += " " + count;
    else
      tail.replace(at, 2, count);
    return n == 0 ? tail : joined(n, 0) + " " + tail;
  };
  // The most addresses that fit with the remainder counted after them.
  std::size_t lo = 0, hi = addresses.size() - 1;
  while (lo < hi) {
    std::size_t mid = (lo + hi + 1) / 2;
    if (controls.fits(PaneControl::txt_shadow, shown(mid)))
      lo = mid;
    else
      hi = mid - 1;
  }
  controls.set_text(PaneControl::txt_shadow, shown(lo));
}

void PaneLogic::scatter_settings(bool logon) {
  // Locked, nothing reaches the agent by any path (a click, Return, a field
  // or checkbox left active from before locking): show its values again.
  if (!isUnlocked()) {
    gather_settings();
    return;
  }
  bool messages = ui_.controls.checked(PaneControl::chk_messages);
  // A change the agent could not keep (its disk full, its folder read-only)
  // is said at once: the refill alone would silently undo the user's edit.
  QuilResult failed =
      QuilSetOptions(nullptr, messages ? QUIL_OPTION_MESSAGES : 0, QUIL_OPTION_MESSAGES);

  if (logon) {
    unsigned char buffer[QUIL_TEXT_SIZE];
    buffer[0] = 0;
    bool have_configured = QuilGetSessionEx(nullptr, 0, buffer, nullptr, nullptr, 0) == 0;
    std::string configured = have_configured ? pane::agent_text(buffer) : std::string();
    std::string typed = ui_.controls.text(PaneControl::txt_address);
    if (have_configured && configured == typed) {
      QuilAuthenticate(nullptr);  // the same server: log on again
      fire_timer();
    } else {
      pane::put_agent_text(buffer, typed);
      QuilResult rc = QuilSetTransport(1, buffer);
      if (rc == QUIL_ERR_SERVER_BUSY) {
        std::string message =
            L("You must close all Domarc controlled programs before selecting a new "
              "Domarc.[.TY-480.]");
        pane::put_agent_text(buffer, message.empty() ? std::string("failed") : message);
        QuilMessageEx(buffer, 0, 0, 0);
      } else if (rc == 0) {
        QuilAuthenticate(nullptr);
        fire_timer();
      } else if (!failed) {
        failed = rc;
      }
    }
  }
  if (failed)
    ui_.alert.run(
        L("The Tessary agent could not save the change.") + " (" + std::to_string(failed) + ")",
        L("OK"));

  gather_settings();
  fire_timer();
}

}  // namespace tessary
