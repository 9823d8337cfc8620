// The local agent's files: where they live, the advisory lock, reading the
// state, saving it so that a crash leaves the old or the new one, and the
// line-complete logs.
#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "pane/agent/agent_state.h"

namespace tessary::agent {
namespace {

std::string home_directory() {
  const char *home = std::getenv("HOME");
  if (home && *home) return home;
  struct passwd *pw = getpwuid(getuid());
  return pw && pw->pw_dir ? pw->pw_dir : "";
}

// Creates the directory of `path` (and its parent) when missing.
void make_parent_directory(const std::string &path) {
  std::size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) return;
  std::string dir = path.substr(0, slash);
  if (mkdir(dir.c_str(), 0700) == 0 || errno == EEXIST) return;
  if (errno == ENOENT) {
    make_parent_directory(dir);
    mkdir(dir.c_str(), 0700);
  }
}

// Writes everything; false with errno set (ENOSPC for a write that makes
// no progress).
bool write_all(int fd, const std::string &data) {
  std::size_t done = 0;
  while (done < data.size()) {
    ssize_t n = save_calls.write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n == 0) errno = ENOSPC;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

int fsync_retrying(int fd) {
  int rc;
  do {
    rc = save_calls.fsync(fd);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

std::string directory_of(const std::string &path) {
  std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

constexpr const char *kTempInfix = ".tmp-";

// Removes temporary files of this state file that a killed writer left
// (writers hold the lock, so none is being written now).
void remove_stale_temporaries(const std::string &state) {
  std::string dir = directory_of(state);
  std::size_t slash = state.rfind('/');
  std::string prefix = (slash == std::string::npos ? state : state.substr(slash + 1)) + kTempInfix;
  DIR *d = opendir(dir.c_str());
  if (!d) return;
  while (struct dirent *e = readdir(d)) {
    std::string name = e->d_name;
    if (name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0)
      unlinkat(dirfd(d), name.c_str(), 0);
  }
  closedir(d);
}

}  // namespace

std::string default_state_path() {
  const char *env = std::getenv(kStateEnv);
  if (env && *env) return env;
  const char *xdg = std::getenv("XDG_STATE_HOME");
  if (xdg && *xdg == '/') return std::string(xdg) + "/tessary/agent-state";
  return home_directory() + "/.local/state/tessary/agent-state";
}

AgentPaths::AgentPaths(const std::string &state_path)
    : state(state_path),
      calls(state_path + ".calls"),
      messages(state_path + ".messages"),
      lock(state_path + ".lock") {}

StateLock::StateLock(const AgentPaths &paths, bool create_directory) {
  if (create_directory) make_parent_directory(paths.lock);
  fd_ = open(paths.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) return;
  int rc;
  do {
    rc = flock(fd_, LOCK_EX);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    close(fd_);
    fd_ = -1;
  }
}

StateLock::~StateLock() {
  if (fd_ >= 0) close(fd_);  // closing releases the lock
}

std::int16_t load_state(const AgentPaths &paths, AgentState *state, std::string *error) {
  int fd = open(paths.state.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (error) *error = paths.state + ": " + std::strerror(errno);
    return kErrNoState;
  }
  std::string text;
  char buf[4096];
  for (;;) {
    ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      if (error) *error = paths.state + ": " + std::strerror(errno);
      close(fd);
      return kErrNoState;
    }
    if (n == 0) break;
    text.append(buf, static_cast<std::size_t>(n));
    if (text.size() > (1u << 20)) {
      if (error) *error = paths.state + ": too large for a state file";
      close(fd);
      return kErrBadState;
    }
  }
  close(fd);
  std::string why;
  auto parsed = parse_state(text, &why);
  if (!parsed) {
    if (error) *error = paths.state + ": " + why;
    return kErrBadState;
  }
  *state = std::move(*parsed);
  return 0;
}

std::int16_t store_state(const AgentPaths &paths, const AgentState &state, std::string *error) {
  auto fail = [&](const std::string &temp) {
    int saved = errno;
    if (!temp.empty()) unlink(temp.c_str());
    if (error) *error = "cannot save " + paths.state + ": " + std::strerror(saved);
    return kErrWrite;
  };
  remove_stale_temporaries(paths.state);
  std::string temp = paths.state + kTempInfix + "XXXXXX";
  int fd = mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0) return fail("");
  if (!write_all(fd, format_state(state)) || fsync_retrying(fd) != 0) {
    int saved = errno;
    close(fd);
    errno = saved;
    return fail(temp);
  }
  if (close(fd) != 0 || save_calls.rename(temp.c_str(), paths.state.c_str()) != 0)
    return fail(temp);
  // The rename is only lasting once the folder's entry is on the disk.
  int dir = open(directory_of(paths.state).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return fail("");
  int rc = fsync_retrying(dir);
  int saved = errno;
  close(dir);
  errno = saved;
  // Some file systems cannot flush a folder (EINVAL); the rename stands.
  if (rc != 0 && errno != EINVAL) return fail("");
  return 0;
}

bool append_line(const std::string &path, const std::string &line) {
  int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  int rc;
  do {
    rc = flock(fd, LOCK_EX);
  } while (rc != 0 && errno == EINTR);
  struct stat before;
  bool ok = rc == 0 && fstat(fd, &before) == 0;
  if (ok && !write_all(fd, line + "\n")) {
    ok = false;
    // No torn line stays behind for the next writer to continue.
    int cut = ftruncate(fd, before.st_size);
    (void)cut;
  }
  return close(fd) == 0 && ok;  // closing releases the lock
}

SaveCalls save_calls = {::write, ::fsync, ::rename};

}  // namespace tessary::agent
