// The status line, recomputed at every tick of the status timer.
#include <cstring>

#include "pane/agent/quil.h"
#include "pane/pane_internal.h"
#include "pane/pane_logic.h"
#include "pane/utf8.h"

namespace tessary {

void PaneLogic::updateStatus() {
  PaneControls &controls = ui_.controls;
  // A field that the user cleared gets the agent's address back.
  if (controls.text(PaneControl::txt_address).empty() && !addr_from_ty_.empty()) {
    controls.set_text(PaneControl::txt_address, addr_from_ty_);
  }

  long flags = 0, address = 0, state = 0;
  if (QuilGetSessionStatus(nullptr, &flags, &address, &state) != 0) {
    controls.set_enabled(PaneControl::txt_address, false);
    show_fitted(PaneControl::txt_status, L("Tessary Error! Try re-installing the Orrin Client."),
                "", "");
    return;
  }
  if (addr_from_ty_ != controls.text(PaneControl::txt_address)) {
    show_fitted(PaneControl::txt_status, L("Click Logon to connect to new Domarc."), "", "");
    return;
  }
  if (state == 0) {
    show_fitted(PaneControl::txt_status, L("Not connected. Click Logon to attempt reconnect."), "",
                "");
    return;
  }

  // The line is head, server and mark; a server too long for the line is cut
  // so that the mark always shows.
  std::string head = L((flags & QUIL_FLAG_BACKUP) ? "Connected to Vantor" : "Connected to Domarc");
  std::string server, mark;
  unsigned char name[QUIL_TEXT_SIZE];
  name[0] = 0;
  if (QuilGetSessionEx(nullptr, 0, nullptr, name, nullptr, 0) == 0) server = pane::agent_text(name);
  if (!server.empty()) {
    head += ' ';
  } else if (address != 0) {
    // The IPv4 address sits in the word's first four bytes.
    unsigned char octets[4];
    std::memcpy(octets, &address, sizeof octets);
    char text[QUIL_TEXT_SIZE];
    std::size_t n = pane::render_address(text, sizeof text - 2, 1, octets);
    head += ' ';
    server = utf8::repaired(text, n);
  }

  long audit = 0, trust = 0;
  if (QuilAuditInfo(&audit, 0, 0) == 0 && audit != 0) {
    mark = L(" (Audit in progress)");
  } else if (QuilGetSessionTrust(nullptr, &trust) == 0 && trust >= 1) {
    mark = L(" (Trusted)");
  }
  show_fitted(PaneControl::txt_status, head, server, mark);
}

}  // namespace tessary
