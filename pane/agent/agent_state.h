// The local agent's state: its record, the text file that holds it, the
// advisory lock that serialises changes, and the call and message logs.
//
// The state file is a list of "key = value" lines ('#' starts a comment):
//
//   version = 5.2.1.3              four fields 0-15; the version word
//   version-extra = 0              the second word of QuilVersion
//   session-state = 1              non-zero: connected
//   backup = no                    yes: connected to the backup server
//   server = 192.0.2.7             IPv4 address of the server, or none
//   configured = "domarc.example"  texts: quoted, \\ \" \xHH escapes,
//   name = ""                        at most 255 bytes each
//   identifier = "C0FFEE-01"
//   audit = 0
//   trust = 1
//   options = 0x80                 words: decimal or 0x hexadecimal
//   mask = 0x40000080
//   ipv4-backups = 10.0.0.1, 10.0.0.2
//   ipv6-backups = 2001:db8::1
//   ipv4-count = 300               optional: the count the block reports
//   ipv6-count = -1                  instead of the list's length
//   refuse-new-server = no         yes: QuilSetTransport answers -10000
//   fail.QuilVersion = -1          the operation fails with this code
//
// Missing keys take the defaults of AgentState; unknown keys, repeated keys
// and values that do not parse make the whole file malformed.
#ifndef TESSARY_AGENT_STATE_H
#define TESSARY_AGENT_STATE_H

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessary::agent {

// Result codes of the local agent (besides the operations' own -10000).
inline constexpr std::int16_t kErrNoState = -1;   // no state file, or unreadable
inline constexpr std::int16_t kErrBadState = -2;  // the state file is malformed
inline constexpr std::int16_t kErrWrite = -3;     // the state could not be saved
inline constexpr std::int16_t kErrParam = -4;     // a bad argument
inline constexpr std::int16_t kErrRefused = -5;   // an option the mask does not allow
inline constexpr std::int16_t kErrNoServer = -6;  // logon without a configured server

// The eleven operations, in a fixed order (failure switch, call log).
enum class Op {
  Version,
  GetSessionStatus,
  GetSessionEx,
  AuditInfo,
  GetSessionTrust,
  GetOptions,
  SetOptions,
  GetPrefData,
  SetTransport,
  Authenticate,
  MessageEx,
};
inline constexpr int kOpCount = 11;
const char *op_name(Op op);  // "QuilVersion", ...
std::optional<Op> op_from_name(const std::string &name);

inline constexpr std::size_t kMaxText = 255;

struct AgentState {
  std::uint16_t version = 0x5213;
  std::uint16_t version_extra = 0;
  long session_state = 0;
  bool backup = false;
  std::array<std::uint8_t, 4> server{};  // all zero: none
  std::string configured;
  std::string name;
  std::string identifier;
  long audit = 0;
  long trust = 0;
  long options = 0;
  long mask = 0;
  std::vector<std::array<std::uint8_t, 4>> ipv4_backups;
  std::vector<std::array<std::uint8_t, 16>> ipv6_backups;
  std::optional<int> ipv4_count;
  std::optional<int> ipv6_count;
  bool refuse_new_server = false;
  std::array<std::int16_t, kOpCount> fail{};  // 0: the operation works

  bool operator==(const AgentState &) const = default;
};

// The state as file text, and back. parse_state() gives nothing for a
// malformed text and, when `error` is given, says why ("line 3: ...").
std::string format_state(const AgentState &state);
std::optional<AgentState> parse_state(const std::string &text, std::string *error = nullptr);
// Applies one "key = value" line to `state`; false (and `error`) when it
// does not parse. `state` is unchanged then.
bool apply_setting(AgentState &state, const std::string &line, std::string *error);

// Quoted text with escapes, as the state file and the logs write it.
std::string quote_text(const std::string &bytes);
// Address text: IPv4 dotted, IPv6 in its usual short form.
std::string ipv4_text(const std::array<std::uint8_t, 4> &address);
std::string ipv6_text(const std::array<std::uint8_t, 16> &address);
bool parse_ipv4(const std::string &text, std::array<std::uint8_t, 4> *address);
bool parse_ipv6(const std::string &text, std::array<std::uint8_t, 16> *address);

// Where the files live: TESSARY_AGENT_STATE, else
// $XDG_STATE_HOME/tessary/agent-state, else ~/.local/state/tessary/agent-state.
// The call log, message log and lock file sit beside the state file with the
// suffixes ".calls", ".messages" and ".lock".
inline constexpr const char *kStateEnv = "TESSARY_AGENT_STATE";
std::string default_state_path();
struct AgentPaths {
  std::string state, calls, messages, lock;
  explicit AgentPaths(const std::string &state_path);
};

// Holds the advisory lock (exclusive) of a state file while it lives.
class StateLock {
 public:
  explicit StateLock(const AgentPaths &paths, bool create_directory = false);
  ~StateLock();
  StateLock(const StateLock &) = delete;
  StateLock &operator=(const StateLock &) = delete;
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// Reads the state file (call with the lock held). kErrNoState when it is
// missing or unreadable, kErrBadState when it is malformed, else 0.
std::int16_t load_state(const AgentPaths &paths, AgentState *state, std::string *error = nullptr);
// Writes the state file so that a crash at any point leaves the old state
// or the new one: a temporary file beside it (".tmp-" and six characters),
// written and flushed, renamed over the state file, then the folder
// flushed. Call with the lock held; temporary files that a killed writer
// left behind are removed first. 0, or kErrWrite with the reason in
// `error` ("cannot save PATH: No space left on device"); after a failure
// before the rename the old state is intact and no temporary file is left.
std::int16_t store_state(const AgentPaths &paths, const AgentState &state,
                         std::string *error = nullptr);
// Appends one line (a newline is added) to a log file under the file's own
// lock, so that concurrent writers never interleave or tear lines; a write
// that fails part-way is cut back. False on failure.
bool append_line(const std::string &path, const std::string &line);

// The system calls that saving goes through; tests put failing ones here.
struct SaveCalls {
  ssize_t (*write)(int fd, const void *data, std::size_t size);
  int (*fsync)(int fd);
  int (*rename)(const char *from, const char *to);
};
extern SaveCalls save_calls;

}  // namespace tessary::agent

#endif  // TESSARY_AGENT_STATE_H
