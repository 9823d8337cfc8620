// The state file under crashes, many processes and failing writes: a writer
// killed at any moment leaves the old or the new state, processes that
// change it at once lose nothing, log lines never tear, and a write that
// fails leaves the old state and no temporary file, with the reason.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "pane/agent/agent_test_support.h"
#include "pane/agent/agent_tool.h"
#include "pane/agent/quil.h"

namespace tessary::agent {
namespace {

namespace fs = std::filesystem;
using testing::read_file;

// A scratch folder in memory where there is one: these tests are about
// ordering, not the disk's speed.
class AgentCrash : public testing::AgentDir {
 protected:
  void SetUp() override {
    if (fs::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
    AgentDir::SetUp();
    unsetenv("TMPDIR");
  }
  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto &e : fs::directory_iterator(dir_))
      names.insert(e.path().filename().string());
    return names;
  }
  int tool(std::vector<const char *> args, std::string *err = nullptr) {
    args.insert(args.begin(), "tessary-agent");
    std::FILE *sink = std::tmpfile();
    int rc = run_tool(static_cast<int>(args.size()), args.data(), sink, sink);
    if (err) {
      std::rewind(sink);
      char buf[512] = {0};
      err->assign(buf, std::fread(buf, 1, sizeof buf - 1, sink));
    }
    std::fclose(sink);
    return rc;
  }
};

AgentState numbered(int n) {
  AgentState s;
  s.trust = n;
  s.name = std::string(200, static_cast<char>('a' + n % 26));
  for (int i = 0; i < 60; ++i)
    s.ipv4_backups.push_back({10, std::uint8_t(n), std::uint8_t(i >> 8), std::uint8_t(i)});
  return s;
}

TEST_F(AgentCrash, WriterKilledAnywhereLeavesOldOrNew) {
  // Forking is slow under the sanitizers, which check the same paths with
  // fewer kills.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr int kRounds = 100;
#else
  constexpr int kRounds = 1000;
#endif
  const AgentState old_state = numbered(1), new_state = numbered(2);
  save(old_state);
  std::mt19937 random(12345);
  int saw_new = 0;
  for (int round = 0; round < kRounds; ++round) {
    int started[2];
    ASSERT_EQ(pipe(started), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {  // writes without end, alternating, from the new state
      for (int i = 0;; ++i) {
        StateLock lock(paths());
        store_state(paths(), i % 2 ? old_state : new_state);
        if (i == 0 && write(started[1], "s", 1) != 1) _exit(1);
      }
    }
    char byte;
    close(started[1]);
    ASSERT_EQ(read(started[0], &byte, 1), 1);  // one write done: the next ones are under way
    close(started[0]);
    usleep(random() % 400);
    kill(child, SIGKILL);
    int status;
    waitpid(child, &status, 0);
    AgentState now;
    std::string error;
    ASSERT_EQ(load_state(paths(), &now, &error), 0) << "round " << round << ": " << error;
    ASSERT_TRUE(now == old_state || now == new_state) << "round " << round;
    saw_new += now == new_state;
  }
  EXPECT_GT(saw_new, kRounds / 10);  // the kills landed amid writes of both
  EXPECT_LT(saw_new, kRounds - kRounds / 10);
  save(old_state);  // the next writer clears what the killed ones left
  EXPECT_EQ(files(), (std::set<std::string>{"state", "state.lock"}));
}

TEST_F(AgentCrash, ProcessesLoseNoChangeAndTearNoLine) {
  ASSERT_EQ(tool({"init"}), kExitOk);
  // Every change re-reads and rewrites a growing file; the sanitizer builds
  // check the same paths with fewer rounds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr int kProcesses = 8, kRounds = 100;
#else
  constexpr int kProcesses = 8, kRounds = 500;
#endif
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      int failures = 0;
      for (int r = 0; r < kRounds; ++r) {
        std::string address = "10." + std::to_string(p) + "." + std::to_string(r / 256) + "." +
                              std::to_string(r % 256);
        failures += tool({"backup", "add", address.c_str()}) != kExitOk;
        // Lines longer than a pipe's atomic write, of one letter each.
        std::size_t length = 1 + (std::size_t(r) * 997) % 9000;
        failures += !append_line(paths().messages, std::string(length, char('a' + p)));
      }
      _exit(failures ? 1 : 0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  AgentState s = load();
  std::set<std::array<std::uint8_t, 4>> got(s.ipv4_backups.begin(), s.ipv4_backups.end());
  EXPECT_EQ(got.size(), std::size_t(kProcesses * kRounds));
  for (int p = 0; p < kProcesses; ++p)
    for (int r = 0; r < kRounds; ++r)
      ASSERT_TRUE(got.count({10, std::uint8_t(p), std::uint8_t(r / 256), std::uint8_t(r % 256)}));

  std::string log = messages();
  std::map<char, std::multiset<std::size_t>> lines;
  for (std::size_t pos = 0; pos < log.size();) {
    std::size_t end = log.find('\n', pos);
    ASSERT_NE(end, std::string::npos) << "the log ends inside a line";
    std::string line = log.substr(pos, end - pos);
    ASSERT_EQ(line.find_first_not_of(line[0]), std::string::npos) << "a torn line";
    lines[line[0]].insert(line.size());
    pos = end + 1;
  }
  for (int p = 0; p < kProcesses; ++p) {
    std::multiset<std::size_t> expected;
    for (int r = 0; r < kRounds; ++r)
      expected.insert(1 + (std::size_t(r) * 997) % 9000);
    EXPECT_EQ(lines[char('a' + p)], expected);
  }
}

// A system call of the save that fails, with its error.
struct Fault {
  const char *call;
  int error;
  bool partial;  // a write that gets half its bytes out first
};

thread_local const Fault *g_fault = nullptr;
thread_local bool g_wrote_half = false;

ssize_t faulty_write(int fd, const void *data, std::size_t size) {
  if (g_fault && !std::strcmp(g_fault->call, "write")) {
    if (g_fault->partial && !g_wrote_half) {
      g_wrote_half = true;
      return ::write(fd, data, size / 2);
    }
    errno = g_fault->error;
    return -1;
  }
  return ::write(fd, data, size);
}
int faulty_fsync(int fd) {
  if (g_fault && !std::strcmp(g_fault->call, "fsync")) {
    errno = g_fault->error;
    return -1;
  }
  return ::fsync(fd);
}
int faulty_rename(const char *from, const char *to) {
  if (g_fault && !std::strcmp(g_fault->call, "rename")) {
    errno = g_fault->error;
    return -1;
  }
  return ::rename(from, to);
}

TEST_F(AgentCrash, FailedWritesKeepTheOldStateAndSayWhy) {
  const Fault faults[] = {{"write", ENOSPC, false}, {"write", EIO, false},
                          {"write", ENOSPC, true},  {"fsync", EIO, false},
                          {"fsync", ENOSPC, false}, {"rename", EROFS, false}};
  AgentState old_state = numbered(3);
  old_state.mask = -1;
  save(old_state);
  const std::string before = read_file(paths().state);
  const SaveCalls real = save_calls;
  save_calls = {faulty_write, faulty_fsync, faulty_rename};
  for (const Fault &f : faults) {
    SCOPED_TRACE(std::string(f.call) + " " + std::strerror(f.error));
    g_fault = &f;
    g_wrote_half = false;
    std::string err;
    EXPECT_EQ(tool({"trust", "9"}, &err), kExitFailed);
    EXPECT_NE(err.find(std::strerror(f.error)), std::string::npos) << err;
    g_wrote_half = false;
    EXPECT_EQ(QuilSetOptions(nullptr, 0x80, 0x80), kErrWrite);
    g_fault = nullptr;
    EXPECT_EQ(read_file(paths().state), before);
    EXPECT_EQ(files(), (std::set<std::string>{"state", "state.lock", "state.calls"}));
  }
  save_calls = real;
  EXPECT_NE(calls().find("QuilSetOptions(0, 0x80, 0x80) = -3\n"), std::string::npos);
}

}  // namespace
}  // namespace tessary::agent
