// The local agent: the eleven agent operations over the state file. Every
// call takes the lock, re-reads the state, answers (saving the state when it
// changed it), appends itself to the call log and releases the lock.
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "pane/agent/agent_state.h"
#include "pane/agent/quil.h"

namespace tessary::agent {
namespace {

std::string pointer_arg(const void *p) {
  return p ? "ptr" : "null";
}

std::string pascal_arg(const unsigned char *text) {
  if (!text) return "null";
  return quote_text(std::string(reinterpret_cast<const char *>(text + 1), text[0]));
}

std::string word_arg(long w) {
  return std::to_string(w);
}

std::string selector_arg(const void *selector) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%#lx",
                static_cast<unsigned long>(reinterpret_cast<uintptr_t>(selector)));
  return selector ? buf : "0";
}

void put_text(unsigned char *buffer, const std::string &text) {
  std::size_t n = text.size() < kMaxText ? text.size() : kMaxText;
  buffer[0] = static_cast<unsigned char>(n);
  std::memcpy(buffer + 1, text.data(), n);
}

// One call: the lock, the state, the operation's body and the log line.
// `body` returns the result code and sets `changed` when the state is to be
// saved.
template <typename Body>
QuilResult call(Op op, const std::string &args, Body body) {
  AgentPaths paths(default_state_path());
  StateLock lock(paths);
  if (!lock.held()) return kErrNoState;
  AgentState state;
  QuilResult rc = load_state(paths, &state);
  if (rc == 0) rc = state.fail[static_cast<int>(op)];
  if (rc == 0) {
    bool changed = false;
    rc = body(state, paths, changed);
    if (changed) {
      QuilResult saved = store_state(paths, state);
      if (rc == 0) rc = saved;
    }
  }
  append_line(paths.calls, std::string(op_name(op)) + "(" + args + ") = " + std::to_string(rc));
  return rc;
}

}  // namespace
}  // namespace tessary::agent

using namespace tessary::agent;

extern "C" {

QuilResult QuilVersion(uint16_t *version, uint16_t *extra) {
  return call(Op::Version, pointer_arg(version) + ", " + pointer_arg(extra),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (!version) return kErrParam;
                *version = s.version;
                if (extra) *extra = s.version_extra;
                return 0;
              });
}

QuilResult QuilGetSessionStatus(void *selector, long *flags, long *address, long *state) {
  return call(Op::GetSessionStatus,
              selector_arg(selector) + ", " + pointer_arg(flags) + ", " + pointer_arg(address) +
                  ", " + pointer_arg(state),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (!flags || !address || !state) return kErrParam;
                *flags = s.backup ? QUIL_FLAG_BACKUP : 0;
                // The IPv4 address in the word's first four bytes in memory.
                long word = 0;
                std::memcpy(&word, s.server.data(), 4);
                *address = word;
                *state = s.session_state;
                return 0;
              });
}

QuilResult QuilGetSessionEx(void *selector, long reserved, unsigned char *configured,
                            unsigned char *name, unsigned char *identifier, long reserved2) {
  return call(Op::GetSessionEx,
              selector_arg(selector) + ", " + word_arg(reserved) + ", " + pointer_arg(configured) +
                  ", " + pointer_arg(name) + ", " + pointer_arg(identifier) + ", " +
                  word_arg(reserved2),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (configured) put_text(configured, s.configured);
                if (name) put_text(name, s.name);
                if (identifier) put_text(identifier, s.identifier);
                return 0;
              });
}

QuilResult QuilAuditInfo(long *audit, long reserved, long reserved2) {
  return call(Op::AuditInfo,
              pointer_arg(audit) + ", " + word_arg(reserved) + ", " + word_arg(reserved2),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (!audit) return kErrParam;
                *audit = s.audit;
                return 0;
              });
}

QuilResult QuilGetSessionTrust(void *selector, long *trust) {
  return call(Op::GetSessionTrust, selector_arg(selector) + ", " + pointer_arg(trust),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (!trust) return kErrParam;
                *trust = s.trust;
                return 0;
              });
}

QuilResult QuilGetOptions(void *selector, long *options, long *mask) {
  return call(Op::GetOptions,
              selector_arg(selector) + ", " + pointer_arg(options) + ", " + pointer_arg(mask),
              [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
                if (!options && !mask) return kErrParam;
                if (options) *options = s.options;
                if (mask) *mask = s.mask;
                return 0;
              });
}

QuilResult QuilSetOptions(void *selector, long value, long mask) {
  char args[96];
  std::snprintf(args, sizeof args, "%s, %#lx, %#lx", selector_arg(selector).c_str(),
                static_cast<unsigned long>(value), static_cast<unsigned long>(mask));
  return call(Op::SetOptions, args,
              [&](AgentState &s, const AgentPaths &, bool &changed) -> QuilResult {
                // Only the bits that the agent's own mask lets the user change move; a
                // request to change any other bit is refused (the allowed ones still
                // take effect).
                long allowed = mask & s.mask;
                long updated = (s.options & ~allowed) | (value & allowed);
                long refused = (s.options ^ value) & mask & ~s.mask;
                if (updated != s.options) {
                  s.options = updated;
                  changed = true;
                }
                return refused ? kErrRefused : 0;
              });
}

QuilResult QuilGetPrefData(void *selector, uint32_t tag, long reserved, long size, void *buffer,
                           long reserved2) {
  char args[160];
  std::snprintf(args, sizeof args, "%s, %#x, %ld, %ld, %s, %ld", selector_arg(selector).c_str(),
                tag, reserved, size, pointer_arg(buffer).c_str(), reserved2);
  return call(Op::GetPrefData, args, [&](AgentState &s, const AgentPaths &, bool &) -> QuilResult {
    if (!buffer || size < 2) return kErrParam;
    std::size_t entry;
    std::size_t entries;
    int count;
    std::optional<int> forced;  // a count set in the state, however wrong
    if (tag == QUIL_PREF_IPV4_BACKUPS) {
      entry = 4;
      entries = s.ipv4_backups.size();
      forced = s.ipv4_count;
    } else if (tag == QUIL_PREF_IPV6_BACKUPS) {
      entry = 16;
      entries = s.ipv6_backups.size();
      forced = s.ipv6_count;
    } else {
      return kErrParam;
    }
    auto *out = static_cast<std::uint8_t *>(buffer);
    std::size_t room = static_cast<std::size_t>(size);
    std::memset(out, 0, room);
    // The block holds the entries that fit the caller's size, and its count
    // says exactly how many (unless the state forces another count).
    std::size_t fit = (room - 2) / entry;
    if (entries > fit) entries = fit;
    count = forced ? *forced : static_cast<int>(entries);
    // The count as the block carries it: 16 bits, high byte first.
    std::uint16_t word = static_cast<std::uint16_t>(count);
    out[0] = static_cast<std::uint8_t>(word >> 8);
    out[1] = static_cast<std::uint8_t>(word);
    for (std::size_t i = 0; i < entries; ++i) {
      const std::uint8_t *a = entry == 4 ? s.ipv4_backups[i].data() : s.ipv6_backups[i].data();
      std::memcpy(out + 2 + i * entry, a, entry);
    }
    return 0;
  });
}

QuilResult QuilSetTransport(long kind, const unsigned char *address) {
  return call(Op::SetTransport, word_arg(kind) + ", " + pascal_arg(address),
              [&](AgentState &s, const AgentPaths &, bool &changed) -> QuilResult {
                if (kind != 1 || !address || address[0] == 0) return kErrParam;
                if (s.refuse_new_server) return QUIL_ERR_SERVER_BUSY;
                s.configured.assign(reinterpret_cast<const char *>(address + 1), address[0]);
                changed = true;
                return 0;
              });
}

QuilResult QuilAuthenticate(void *selector) {
  return call(Op::Authenticate, selector_arg(selector),
              [&](AgentState &s, const AgentPaths &, bool &changed) -> QuilResult {
                if (s.configured.empty()) return kErrNoServer;
                // Log on to the configured server: a numeric address becomes
                // the session's address, anything else its name.
                std::array<std::uint8_t, 4> ip;
                if (parse_ipv4(s.configured, &ip)) {
                  s.server = ip;
                  s.name.clear();
                } else {
                  s.server = {};
                  s.name = s.configured;
                }
                s.session_state = 1;
                s.backup = false;
                changed = true;
                return 0;
              });
}

QuilResult QuilMessageEx(const unsigned char *text, long reserved, long reserved2, long reserved3) {
  return call(Op::MessageEx,
              pascal_arg(text) + ", " + word_arg(reserved) + ", " + word_arg(reserved2) + ", " +
                  word_arg(reserved3),
              [&](AgentState &, const AgentPaths &paths, bool &) -> QuilResult {
                if (!text) return kErrParam;
                std::string message(reinterpret_cast<const char *>(text + 1), text[0]);
                return append_line(paths.messages, quote_text(message)) ? 0 : kErrWrite;
              });
}

}  // extern "C"
