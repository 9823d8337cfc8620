// The local agent's state-file reader on arbitrary text: what it accepts
// writes back in the canonical form, which reads back to the same state
// and the same text; single settings never half-apply.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_util.h"
#include "pane/agent/agent_state.h"

using fuzz::check;
using tessary::agent::AgentState;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  std::string error;
  auto state = tessary::agent::parse_state(text, &error);
  if (!state) {
    check(error.compare(0, 5, "line ") == 0);
  } else {
    std::string canonical = tessary::agent::format_state(*state);
    auto back = tessary::agent::parse_state(canonical, &error);
    check(back && *back == *state);
    check(tessary::agent::format_state(*back) == canonical);
  }
  // The text's first line as one setting on a busy state.
  AgentState s;
  s.name = "x";
  s.ipv4_backups = {{10, 0, 0, 1}};
  AgentState before = s;
  std::string line = text.substr(0, text.find('\n'));
  if (!tessary::agent::apply_setting(s, line, &error)) check(s == before);
  return 0;
}
