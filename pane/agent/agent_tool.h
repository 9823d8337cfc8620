// The tessary-agent command: shows and changes the local agent's state file
// and prints its logs.
#ifndef TESSARY_AGENT_TOOL_H
#define TESSARY_AGENT_TOOL_H

#include <cstdio>

namespace tessary::agent {

// Exit codes of the command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // the state could not be read or saved
inline constexpr int kExitUsage = 2;   // a bad command line; nothing was changed

// Runs the command line `argv` (argv[0] is the program's name), printing to
// `out` and reporting errors on `err`.
int run_tool(int argc, const char *const *argv, std::FILE *out, std::FILE *err);

}  // namespace tessary::agent

#endif  // TESSARY_AGENT_TOOL_H
