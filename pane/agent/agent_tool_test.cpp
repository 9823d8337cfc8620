// The tessary-agent command: its changes reach the state file, bad command
// lines are refused with a message and leave the file as it was.
#include "pane/agent/agent_tool.h"

#include <gtest/gtest.h>

#include "pane/agent/agent_test_support.h"

namespace tessary::agent {
namespace {

using testing::read_file;

class AgentTool : public testing::AgentDir {};

TEST_F(AgentTool, InitShowAndChanges) {
  EXPECT_EQ(run("show"), kExitFailed);
  EXPECT_NE(err_.find(state_path_), std::string::npos) << err_;
  ASSERT_EQ(run("init"), kExitOk) << err_;
  EXPECT_EQ(run("init"), kExitFailed);  // an existing state is kept
  for (const char *line :
       {"connect backup 192.0.2.1 vantor-1", "configure domarc.example", "options 0x80 0x40000080",
        "backup add 10.0.0.1 2001:db8::1 10.0.0.2", "fail GetOptions", "fail QuilVersion -9",
        "set ipv4-count 300", "backup clear ipv6"})
    ASSERT_EQ(run(line) == kExitOk && err_.empty(), true) << line << ": " << err_;
  // Addresses past what the agent's preference block holds are named.
  std::string many = "backup add";
  for (int i = 0; i < 130; ++i)
    many += " 10.1.0." + std::to_string(i);
  ASSERT_EQ(run(many), kExitOk);
  EXPECT_EQ(err_,
            "tessary-agent: backup add: only the first 127 IPv4 backup servers fit the "
            "agent's preference block; 10.1.0.125 and 4 more will not be reported\n");
  ASSERT_EQ(run("backup clear ipv4"), kExitOk);
  ASSERT_EQ(run("backup add 10.0.0.1 10.0.0.2"), kExitOk);
  AgentState s = load();
  EXPECT_TRUE(s.backup && s.session_state == 1 && s.name == "vantor-1");
  EXPECT_EQ(s.configured, "domarc.example");
  EXPECT_EQ(s.mask, 0x40000080);
  EXPECT_EQ(s.ipv4_backups.size() * 10 + s.ipv6_backups.size(), 20u);
  EXPECT_EQ(s.ipv4_count, 300);
  EXPECT_EQ(s.fail[static_cast<int>(Op::GetOptions)], -1);
  EXPECT_EQ(s.fail[static_cast<int>(Op::Version)], -9);
  ASSERT_EQ(run("show"), kExitOk);
  EXPECT_EQ(out_, format_state(s));
  ASSERT_EQ(run("init --force"), kExitOk);
  EXPECT_EQ(load().fail[static_cast<int>(Op::Version)], 0);
}

TEST_F(AgentTool, BadCommandLinesChangeNothing) {
  ASSERT_EQ(run("init"), kExitOk);
  ASSERT_EQ(run("connect main 10.0.0.1 domarc-1"), kExitOk);
  const std::string before = read_file(state_path_), long_text(256, 'x');
  for (const std::string &line :
       {std::string(), std::string("launch"), std::string("--bogus show"), std::string("--state"),
        std::string("show extra"), std::string("connect sideways 10.0.0.1"),
        std::string("connect main 10.0.0.256"), "connect main 10.0.0.1 " + long_text,
        "configure " + long_text, std::string("version 5.2.1"), std::string("options 0x80"),
        std::string("backup add 10.0.0.9 not-an-address"), std::string("backup remove 10.0.0.1"),
        std::string("fail QuilNothing"), std::string("fail QuilVersion 0"),
        std::string("set name unquoted"), std::string("init --gently")}) {
    EXPECT_EQ(run(line), kExitUsage) << line;
    EXPECT_EQ(err_.compare(0, 15, "tessary-agent: "), 0) << line << " -> " << err_;
    EXPECT_EQ(read_file(state_path_), before) << line;
  }
}

TEST_F(AgentTool, MalformedStateStateOptionAndLogs) {
  testing::write_file(state_path_, "trust = lots\n");
  EXPECT_EQ(run("trust 1"), kExitFailed);
  EXPECT_NE(err_.find("line 1: trust"), std::string::npos) << err_;
  EXPECT_EQ(read_file(state_path_), "trust = lots\n");

  std::string other = dir_ + "/sub/dir/other-state";  // the directories are made
  ASSERT_EQ(run("--state " + other + " init"), kExitOk) << err_;
  EXPECT_NE(read_file(other).find("version ="), std::string::npos);
  testing::write_file(paths().calls, "QuilAuthenticate(0) = 0\n");
  EXPECT_EQ(run("calls"), kExitOk);
  EXPECT_EQ(out_, "QuilAuthenticate(0) = 0\n");
  EXPECT_EQ(run("clear-logs"), kExitOk);
  EXPECT_EQ(read_file(paths().calls), "");
}

}  // namespace
}  // namespace tessary::agent
