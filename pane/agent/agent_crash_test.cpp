// The state file under crashes, many processes and failing writes: a writer
// killed at any moment leaves the old or the new state, processes and
// threads that change it at once lose nothing, log lines never tear, and a
// write that fails leaves the old state and no temporary file, with the
// reason.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <set>
#include <thread>

#include "pane/agent/agent_test_support.h"
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
};

// Forking is slow under the sanitizers, which check the same paths with
// fewer rounds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

AgentState numbered(int n) {
  AgentState s;
  s.trust = n;
  s.name = std::string(200, static_cast<char>('a' + n % 26));
  for (int i = 0; i < 60; ++i)
    s.ipv4_backups.push_back({10, std::uint8_t(n), std::uint8_t(i >> 8), std::uint8_t(i)});
  return s;
}

TEST_F(AgentCrash, WriterKilledAnywhereLeavesOldOrNew) {
  constexpr int kRounds = kSanitized ? 100 : 1000;
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

// Each process adds addresses and log lines while a second thread of it sets
// and clears its own option bit: the lock holds between processes and
// between threads alike.
TEST_F(AgentCrash, ProcessesAndThreadsLoseNoChangeAndTearNoLine) {
  ASSERT_EQ(run("init"), kExitOk);
  ASSERT_EQ(run("options 0 0xff"), kExitOk);
  constexpr int kProcesses = 8, kRounds = kSanitized ? 100 : 500, kToggles = kRounds / 10;
  // Lines longer than a pipe's atomic write, of one letter each.
  auto line = [](int p, int r) {
    return std::string(1 + (std::size_t(r) * 997) % 9000, char('a' + p));
  };
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::atomic<int> failures = 0;
      std::thread options([&] {
        for (int r = 0; r < kToggles; ++r) {
          failures += QuilSetOptions(nullptr, r % 2 ? 0 : 1L << p, 1L << p) != 0;
          failures += QuilSetOptions(nullptr, 1L << p, 1L << p) != 0;
        }
      });
      for (int r = 0; r < kRounds; ++r) {
        std::string address = "10." + std::to_string(p) + "." + std::to_string(r / 256) + "." +
                              std::to_string(r % 256);
        failures += run("backup add " + address) != kExitOk;
        failures += !append_line(paths().messages, line(p, r));
      }
      options.join();
      _exit(failures ? 1 : 0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  std::multiset<std::array<std::uint8_t, 4>> want_backups;
  std::multiset<std::string> want_lines, lines;
  for (int p = 0; p < kProcesses; ++p)
    for (int r = 0; r < kRounds; ++r) {
      want_backups.insert({10, std::uint8_t(p), std::uint8_t(r / 256), std::uint8_t(r % 256)});
      want_lines.insert(line(p, r));
    }
  AgentState s = load();
  EXPECT_TRUE(decltype(want_backups)(s.ipv4_backups.begin(), s.ipv4_backups.end()) == want_backups);
  EXPECT_EQ(s.options, 0xff);
  std::string log = calls();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), kProcesses * kToggles * 2);
  log = messages();
  ASSERT_EQ(log.back(), '\n') << "the log ends inside a line";
  std::istringstream in(log);
  for (std::string l; std::getline(in, l);)
    lines.insert(l);
  EXPECT_TRUE(lines == want_lines) << "a line lost or torn";
}

// A system call of the save that fails, with its error.
struct Fault {
  const char *call;
  int error;
  bool partial;  // a write that gets half its bytes out first
};

thread_local const Fault *g_fault = nullptr;
thread_local bool g_wrote_half = false;

// True, with errno set, when the fault is in `call`.
bool fails(const char *call) {
  if (!g_fault || std::strcmp(g_fault->call, call)) return false;
  errno = g_fault->error;
  return true;
}
ssize_t faulty_write(int fd, const void *data, std::size_t size) {
  if (!fails("write")) return ::write(fd, data, size);
  if (!g_fault->partial || g_wrote_half) return -1;
  g_wrote_half = true;
  return ::write(fd, data, size / 2);
}
int faulty_fsync(int fd) {
  return fails("fsync") ? -1 : ::fsync(fd);
}
int faulty_rename(const char *from, const char *to) {
  return fails("rename") ? -1 : ::rename(from, to);
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
    EXPECT_EQ(run("trust 9"), kExitFailed);
    EXPECT_NE(err_.find(std::strerror(f.error)), std::string::npos) << err_;
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
