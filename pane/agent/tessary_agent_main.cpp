// tessary-agent: the local agent's command-line tool.
#include <cstdio>

#include "pane/agent/agent_tool.h"

int main(int argc, char **argv) {
  return tessary::agent::run_tool(argc, argv, stdout, stderr);
}
