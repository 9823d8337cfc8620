// The tessary-agent command: parses the command line into a change of the
// state (or a report), then applies it under the state file's lock. A
// command line that does not parse changes nothing.
#include "pane/agent/agent_tool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "pane/agent/agent_state.h"
#include "pane/agent/quil.h"

namespace tessary::agent {
namespace {

constexpr const char *kUsage =
    "usage: tessary-agent [--state PATH] COMMAND [ARGUMENT...]\n"
    "\n"
    "  init [--force]                  write a fresh state file\n"
    "  show                            print the state\n"
    "  connect main|backup ADDRESS [NAME]\n"
    "                                  connect to a server (ADDRESS: IPv4 or none)\n"
    "  disconnect                      drop the session\n"
    "  configure TEXT                  the server address as configured\n"
    "  identifier TEXT                 this computer's identifier\n"
    "  version A.B.C.D                 the agent's version (fields 0-15)\n"
    "  audit on|off                    an audit in progress\n"
    "  trust LEVEL                     the session's trust level\n"
    "  options VALUE MASK              the options word and its mask\n"
    "  backup add ADDRESS...           add backup servers (IPv4 or IPv6)\n"
    "  backup clear [ipv4|ipv6]        forget backup servers\n"
    "  refuse on|off                   refuse a new server with -10000\n"
    "  fail OPERATION [CODE|off]       make an operation fail (CODE: -1)\n"
    "  set KEY VALUE                   any setting, in the state file's syntax\n"
    "  calls                           print the call log\n"
    "  messages                        print the message log\n"
    "  clear-logs                      empty both logs\n"
    "\n"
    "The state file is PATH, else $TESSARY_AGENT_STATE, else\n"
    "$XDG_STATE_HOME/tessary/agent-state or ~/.local/state/tessary/agent-state.\n";

using Change = std::function<bool(AgentState &, std::string *)>;

struct Command {
  enum Kind { kChange, kInit, kShow, kPrintLog, kClearLogs } kind = kChange;
  Change change;
  bool force = false;
  bool messages = false;  // kPrintLog: which log
  std::string warning;    // kChange: said on the error stream once the change is made
};

// Backup servers beyond what a preference block of the pane's size holds are
// never reported: the warning that says which, or nothing.
std::string unreported_backups(const AgentState &s) {
  constexpr std::size_t kFit4 = (QUIL_PREF_SIZE - 2) / 4, kFit6 = (QUIL_PREF_SIZE - 2) / 16;
  std::string warning;
  auto check = [&](std::size_t have, std::size_t fit, const char *kind, const std::string &first) {
    if (have <= fit) return;
    warning += "tessary-agent: backup add: only the first " + std::to_string(fit) + " " + kind +
               " backup servers fit the agent's preference block; " + first;
    if (have - fit > 1) warning += " and " + std::to_string(have - fit - 1) + " more";
    warning += " will not be reported\n";
  };
  if (s.ipv4_backups.size() > kFit4)
    check(s.ipv4_backups.size(), kFit4, "IPv4", ipv4_text(s.ipv4_backups[kFit4]));
  if (s.ipv6_backups.size() > kFit6)
    check(s.ipv6_backups.size(), kFit6, "IPv6", ipv6_text(s.ipv6_backups[kFit6]));
  return warning;
}

bool parse_on_off(const std::string &word, bool *on) {
  if (word == "on") {
    *on = true;
    return true;
  }
  if (word == "off") {
    *on = false;
    return true;
  }
  return false;
}

// A setting in the state file's own syntax.
Change setting(const std::string &key, const std::string &value) {
  std::string line = key + " = " + value;
  return [line](AgentState &s, std::string *error) { return apply_setting(s, line, error); };
}

bool text_fits(const std::string &text, std::string *error) {
  if (text.size() <= kMaxText) return true;
  *error = "a text holds at most 255 bytes (this one has " + std::to_string(text.size()) + ")";
  return false;
}

// Builds the command from the arguments after the command's name; false with
// a message when they are not right.
bool parse_command(const std::string &name, const std::vector<std::string> &args, Command *cmd,
                   std::string *error) {
  auto count = [&](std::size_t lo, std::size_t hi) {
    if (args.size() >= lo && args.size() <= hi) return true;
    *error = "'" + name + "' takes " +
             (lo == hi ? std::to_string(lo) : std::to_string(lo) + " to " + std::to_string(hi)) +
             " argument" + (hi == 1 ? "" : "s");
    return false;
  };
  if (name == "init") {
    if (!count(0, 1)) return false;
    if (args.size() == 1 && args[0] != "--force") {
      *error = "init: unknown option '" + args[0] + "'";
      return false;
    }
    cmd->kind = Command::kInit;
    cmd->force = args.size() == 1;
    return true;
  }
  if (name == "show" || name == "calls" || name == "messages") {
    if (!count(0, 0)) return false;
    cmd->kind = name == "show" ? Command::kShow : Command::kPrintLog;
    cmd->messages = name == "messages";
    return true;
  }
  if (name == "clear-logs") {
    if (!count(0, 0)) return false;
    cmd->kind = Command::kClearLogs;
    return true;
  }
  if (name == "connect") {
    if (!count(2, 3)) return false;
    if (args[0] != "main" && args[0] != "backup") {
      *error = "connect: expected main or backup, not '" + args[0] + "'";
      return false;
    }
    std::array<std::uint8_t, 4> server{};
    if (args[1] != "none" && !parse_ipv4(args[1], &server)) {
      *error = "connect: '" + args[1] + "' is not an IPv4 address (or none)";
      return false;
    }
    std::string server_name = args.size() == 3 ? args[2] : "";
    if (!text_fits(server_name, error)) return false;
    bool backup = args[0] == "backup";
    cmd->change = [=](AgentState &s, std::string *) {
      s.session_state = 1;
      s.backup = backup;
      s.server = server;
      s.name = server_name;
      return true;
    };
    return true;
  }
  if (name == "disconnect") {
    if (!count(0, 0)) return false;
    cmd->change = [](AgentState &s, std::string *) {
      s.session_state = 0;
      return true;
    };
    return true;
  }
  if (name == "configure" || name == "identifier") {
    if (!count(1, 1) || !text_fits(args[0], error)) return false;
    std::string text = args[0];
    bool configure = name == "configure";
    cmd->change = [=](AgentState &s, std::string *) {
      (configure ? s.configured : s.identifier) = text;
      return true;
    };
    return true;
  }
  if (name == "version" || name == "trust") {
    if (!count(1, 1)) return false;
    cmd->change = setting(name, args[0]);
    return true;
  }
  if (name == "audit" || name == "refuse") {
    bool on;
    if (!count(1, 1)) return false;
    if (!parse_on_off(args[0], &on)) {
      *error = name + ": expected on or off, not '" + args[0] + "'";
      return false;
    }
    cmd->change = name == "audit" ? setting("audit", on ? "1" : "0")
                                  : setting("refuse-new-server", on ? "yes" : "no");
    return true;
  }
  if (name == "options") {
    if (!count(2, 2)) return false;
    Change value = setting("options", args[0]), mask = setting("mask", args[1]);
    cmd->change = [=](AgentState &s, std::string *e) { return value(s, e) && mask(s, e); };
    return true;
  }
  if (name == "backup") {
    if (args.empty() || (args[0] != "add" && args[0] != "clear")) {
      *error = "backup: expected add or clear";
      return false;
    }
    if (args[0] == "clear") {
      if (args.size() > 2 || (args.size() == 2 && args[1] != "ipv4" && args[1] != "ipv6")) {
        *error = "backup clear: expected nothing, ipv4 or ipv6";
        return false;
      }
      bool v4 = args.size() == 1 || args[1] == "ipv4";
      bool v6 = args.size() == 1 || args[1] == "ipv6";
      cmd->change = [=](AgentState &s, std::string *) {
        if (v4) s.ipv4_backups.clear();
        if (v6) s.ipv6_backups.clear();
        return true;
      };
      return true;
    }
    if (args.size() < 2) {
      *error = "backup add: expected at least one address";
      return false;
    }
    std::vector<std::array<std::uint8_t, 4>> v4;
    std::vector<std::array<std::uint8_t, 16>> v6;
    for (std::size_t i = 1; i < args.size(); ++i) {
      std::array<std::uint8_t, 4> a4;
      std::array<std::uint8_t, 16> a6;
      if (parse_ipv4(args[i], &a4)) {
        v4.push_back(a4);
      } else if (parse_ipv6(args[i], &a6)) {
        v6.push_back(a6);
      } else {
        *error = "backup add: '" + args[i] + "' is neither an IPv4 nor an IPv6 address";
        return false;
      }
    }
    std::string *warning = &cmd->warning;
    cmd->change = [=](AgentState &s, std::string *) {
      s.ipv4_backups.insert(s.ipv4_backups.end(), v4.begin(), v4.end());
      s.ipv6_backups.insert(s.ipv6_backups.end(), v6.begin(), v6.end());
      *warning = unreported_backups(s);
      return true;
    };
    return true;
  }
  if (name == "fail") {
    if (!count(1, 2)) return false;
    std::string op = args[0];
    if (!op_from_name(op) && op_from_name("Quil" + op)) op = "Quil" + op;
    if (!op_from_name(op)) {
      *error = "fail: unknown operation '" + args[0] + "'";
      return false;
    }
    std::string code = args.size() == 2 ? args[1] : "-1";
    if (code == "0") {
      *error = "fail: 0 is success; use off to make the operation work again";
      return false;
    }
    cmd->change = setting("fail." + op, code);
    return true;
  }
  if (name == "set") {
    if (!count(2, 2)) return false;
    cmd->change = setting(args[0], args[1]);
    return true;
  }
  *error = "unknown command '" + name + "'";
  return false;
}

bool print_file(const std::string &path, std::FILE *out, std::FILE *err) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return true;  // nothing logged yet
  char buf[4096];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0)
    std::fwrite(buf, 1, static_cast<std::size_t>(n), out);
  close(fd);
  if (n < 0) {
    std::fprintf(err, "tessary-agent: %s: cannot read\n", path.c_str());
    return false;
  }
  return true;
}

}  // namespace

int run_tool(int argc, const char *const *argv, std::FILE *out, std::FILE *err) {
  std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  std::string state_path;
  std::size_t i = 0;
  while (i < words.size() && words[i].compare(0, 2, "--") == 0) {
    if (words[i] == "--help") {
      std::fputs(kUsage, out);
      return kExitOk;
    }
    if (words[i] == "--state" && i + 1 < words.size() && !words[i + 1].empty()) {
      state_path = words[i + 1];
      i += 2;
      continue;
    }
    std::fprintf(err, "tessary-agent: bad option '%s'\n%s", words[i].c_str(), kUsage);
    return kExitUsage;
  }
  if (i == words.size()) {
    std::fprintf(err, "tessary-agent: no command given\n%s", kUsage);
    return kExitUsage;
  }
  std::string name = words[i];
  std::vector<std::string> args(words.begin() + static_cast<long>(i) + 1, words.end());
  Command cmd;
  std::string error;
  if (!parse_command(name, args, &cmd, &error)) {
    std::fprintf(err, "tessary-agent: %s\n", error.c_str());
    return kExitUsage;
  }

  AgentPaths paths(state_path.empty() ? default_state_path() : state_path);
  if (cmd.kind == Command::kPrintLog) {
    return print_file(cmd.messages ? paths.messages : paths.calls, out, err) ? kExitOk
                                                                             : kExitFailed;
  }
  StateLock lock(paths, cmd.kind == Command::kInit);
  if (!lock.held()) {
    std::fprintf(err, "tessary-agent: cannot lock %s\n", paths.lock.c_str());
    return kExitFailed;
  }
  if (cmd.kind == Command::kClearLogs) {
    for (const std::string &log : {paths.calls, paths.messages}) {
      if (truncate(log.c_str(), 0) != 0 && errno != ENOENT) {
        std::fprintf(err, "tessary-agent: cannot empty %s\n", log.c_str());
        return kExitFailed;
      }
    }
    return kExitOk;
  }
  AgentState state;
  if (cmd.kind == Command::kInit) {
    if (!cmd.force && access(paths.state.c_str(), F_OK) == 0) {
      std::fprintf(err, "tessary-agent: %s exists (init --force replaces it)\n",
                   paths.state.c_str());
      return kExitFailed;
    }
    // A fresh agent lets the user change both the server and the messages
    // option.
    state.mask = QUIL_MASK_SERVER | QUIL_OPTION_MESSAGES;
  } else if (load_state(paths, &state, &error) != 0) {
    std::fprintf(err, "tessary-agent: %s\n", error.c_str());
    return kExitFailed;
  }
  if (cmd.kind == Command::kShow) {
    std::fputs(format_state(state).c_str(), out);
    return kExitOk;
  }
  if (cmd.kind == Command::kChange && !cmd.change(state, &error)) {
    std::fprintf(err, "tessary-agent: %s\n", error.c_str());
    return kExitUsage;
  }
  std::fputs(cmd.warning.c_str(), err);
  if (store_state(paths, state, &error) != 0) {
    std::fprintf(err, "tessary-agent: %s (the state is as it was)\n", error.c_str());
    return kExitFailed;
  }
  return kExitOk;
}

}  // namespace tessary::agent
