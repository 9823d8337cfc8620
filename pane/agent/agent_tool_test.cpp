// The tessary-agent command: its changes reach the state file, bad command
// lines are refused with a message and leave the file as it was.
#include "pane/agent/agent_tool.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "pane/agent/agent_test_support.h"

namespace tessary::agent {
namespace {

using testing::read_file;

class AgentTool : public testing::AgentDir {
 protected:
  // Runs the command; its output and error text land in out_ and err_.
  int run(const std::vector<const char *> &words) {
    std::vector<const char *> argv = {"tessary-agent"};
    argv.insert(argv.end(), words.begin(), words.end());
    std::FILE *out = std::tmpfile(), *err = std::tmpfile();
    int rc = run_tool(static_cast<int>(argv.size()), argv.data(), out, err);
    out_ = slurp(out);
    err_ = slurp(err);
    return rc;
  }
  static std::string slurp(std::FILE *f) {
    std::string text;
    std::rewind(f);
    char buf[512];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
      text.append(buf, n);
    std::fclose(f);
    return text;
  }
  std::string out_, err_;
};

TEST_F(AgentTool, InitShowAndEveryChange) {
  EXPECT_EQ(run({"show"}), kExitFailed);
  EXPECT_NE(err_.find(state_path_), std::string::npos) << err_;
  ASSERT_EQ(run({"init"}), kExitOk) << err_;
  EXPECT_EQ(run({"init"}), kExitFailed);  // an existing state is kept
  EXPECT_NE(err_.find("exists"), std::string::npos);

  for (const auto &words : std::vector<std::vector<const char *>>{
           {"connect", "backup", "192.0.2.1", "vantor-1"},
           {"configure", "domarc.example"},
           {"identifier", "C0FFEE"},
           {"version", "1.2.3.4"},
           {"audit", "on"},
           {"trust", "2"},
           {"options", "0x80", "0x40000080"},
           {"backup", "add", "10.0.0.1", "2001:db8::1", "10.0.0.2"},
           {"refuse", "on"},
           {"fail", "GetOptions"},
           {"fail", "QuilVersion", "-9"},
           {"set", "ipv4-count", "300"},
       }) {
    ASSERT_EQ(run(words), kExitOk) << *words.begin() << ": " << err_;
  }
  ASSERT_EQ(run({"show"}), kExitOk);
  EXPECT_EQ(out_,
            "# Tessary local agent state\n"
            "version = 1.2.3.4\n"
            "version-extra = 0\n"
            "session-state = 1\n"
            "backup = yes\n"
            "server = 192.0.2.1\n"
            "configured = \"domarc.example\"\n"
            "name = \"vantor-1\"\n"
            "identifier = \"C0FFEE\"\n"
            "audit = 1\n"
            "trust = 2\n"
            "options = 0x80\n"
            "mask = 0x40000080\n"
            "ipv4-backups = 10.0.0.1, 10.0.0.2\n"
            "ipv6-backups = 2001:db8::1\n"
            "ipv4-count = 300\n"
            "refuse-new-server = yes\n"
            "fail.QuilVersion = -9\n"
            "fail.QuilGetOptions = -1\n");

  ASSERT_EQ(run({"disconnect"}), kExitOk);
  ASSERT_EQ(run({"backup", "clear", "ipv6"}), kExitOk);
  ASSERT_EQ(run({"fail", "QuilVersion", "off"}), kExitOk);
  ASSERT_EQ(run({"audit", "off"}), kExitOk);
  AgentState s = load();
  EXPECT_EQ(s.session_state, 0);
  EXPECT_EQ(s.ipv4_backups.size(), 2u);
  EXPECT_TRUE(s.ipv6_backups.empty());
  EXPECT_EQ(s.fail[static_cast<int>(Op::Version)], 0);
  EXPECT_EQ(s.audit, 0);
  ASSERT_EQ(run({"backup", "clear"}), kExitOk);
  EXPECT_TRUE(load().ipv4_backups.empty());

  ASSERT_EQ(run({"init", "--force"}), kExitOk);
  EXPECT_EQ(load().fail[static_cast<int>(Op::GetOptions)], 0);
}

TEST_F(AgentTool, BadCommandLinesChangeNothing) {
  ASSERT_EQ(run({"init"}), kExitOk);
  ASSERT_EQ(run({"connect", "main", "10.0.0.1", "domarc-1"}), kExitOk);
  const std::string before = read_file(state_path_);
  const std::string long_text(256, 'x');
  std::vector<std::vector<const char *>> bad = {
      {},
      {"launch"},
      {"--bogus", "show"},
      {"--state"},
      {"show", "extra"},
      {"connect", "sideways", "10.0.0.1"},
      {"connect", "main", "10.0.0.256"},
      {"connect", "main"},
      {"connect", "main", "10.0.0.1", long_text.c_str()},
      {"configure", long_text.c_str()},
      {"audit", "maybe"},
      {"trust", "high"},
      {"version", "5.2.1"},
      {"options", "0x80"},
      {"options", "0x80", "mask"},
      {"backup", "add"},
      {"backup", "add", "10.0.0.9", "not-an-address"},
      {"backup", "clear", "ipv5"},
      {"backup", "remove", "10.0.0.1"},
      {"refuse", "yes please"},
      {"fail", "QuilNothing"},
      {"fail", "QuilVersion", "0"},
      {"fail", "QuilVersion", "-40000"},
      {"set", "colour", "blue"},
      {"set", "name", "unquoted"},
      {"init", "--gently"},
  };
  for (const auto &words : bad) {
    std::vector<const char *> argv = {"tessary-agent"};
    argv.insert(argv.end(), words.begin(), words.end());
    std::FILE *out = std::tmpfile(), *err = std::tmpfile();
    int rc = run_tool(static_cast<int>(argv.size()), argv.data(), out, err);
    std::string message = slurp(err);
    std::fclose(out);
    std::string line;
    for (const char *w : words)
      line += std::string(w) + " ";
    EXPECT_EQ(rc, kExitUsage) << line;
    EXPECT_EQ(message.compare(0, 15, "tessary-agent: "), 0) << line << "-> " << message;
    EXPECT_EQ(read_file(state_path_), before) << line;
  }
}

TEST_F(AgentTool, MalformedStateIsReportedAndKept) {
  testing::write_file(state_path_, "trust = lots\n");
  EXPECT_EQ(run({"trust", "1"}), kExitFailed);
  EXPECT_NE(err_.find("line 1: trust"), std::string::npos) << err_;
  EXPECT_EQ(read_file(state_path_), "trust = lots\n");
}

TEST_F(AgentTool, StateOptionAndLogs) {
  std::string other = dir_ + "/sub/dir/other-state";
  ASSERT_EQ(run({"--state", other.c_str(), "init"}), kExitOk) << err_;  // makes the directories
  ASSERT_EQ(run({"--state", other.c_str(), "trust", "4"}), kExitOk);
  AgentState s;
  ASSERT_EQ(load_state(AgentPaths(other), &s), 0);
  EXPECT_EQ(s.trust, 4);

  EXPECT_EQ(run({"calls"}), kExitOk);  // nothing logged yet
  EXPECT_EQ(out_, "");
  testing::write_file(paths().calls, "QuilAuthenticate(0) = 0\n");
  testing::write_file(paths().messages, "\"hello\"\n");
  EXPECT_EQ(run({"calls"}), kExitOk);
  EXPECT_EQ(out_, "QuilAuthenticate(0) = 0\n");
  EXPECT_EQ(run({"messages"}), kExitOk);
  EXPECT_EQ(out_, "\"hello\"\n");
  EXPECT_EQ(run({"clear-logs"}), kExitOk);
  EXPECT_EQ(read_file(paths().calls) + read_file(paths().messages), "");
  EXPECT_EQ(run({"--help"}), kExitOk);
  EXPECT_NE(out_.find("usage: tessary-agent"), std::string::npos);
}

TEST_F(AgentTool, ConcurrentWritersLoseNothing) {
  ASSERT_EQ(run({"init"}), kExitOk);
  constexpr int kThreads = 6, kRounds = 20;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int r = 0; r < kRounds; ++r) {
        std::string address = "10.0." + std::to_string(t) + "." + std::to_string(r);
        const char *argv[] = {"tessary-agent", "backup", "add", address.c_str()};
        std::FILE *sink = std::tmpfile();
        EXPECT_EQ(run_tool(4, argv, sink, sink), kExitOk);
        std::fclose(sink);
      }
    });
  }
  for (auto &t : threads)
    t.join();
  AgentState s = load();
  ASSERT_EQ(s.ipv4_backups.size(), std::size_t(kThreads * kRounds));
  for (int t = 0; t < kThreads; ++t) {
    for (int r = 0; r < kRounds; ++r) {
      std::array<std::uint8_t, 4> a = {10, 0, std::uint8_t(t), std::uint8_t(r)};
      EXPECT_NE(std::find(s.ipv4_backups.begin(), s.ipv4_backups.end(), a), s.ipv4_backups.end());
    }
  }
}

}  // namespace
}  // namespace tessary::agent
