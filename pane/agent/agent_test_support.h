// A scratch directory holding the local agent's state file, with
// TESSARY_AGENT_STATE pointing at it.
#ifndef TESSARY_AGENT_TEST_SUPPORT_H
#define TESSARY_AGENT_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "pane/agent/agent_state.h"

namespace tessary::agent::testing {

inline std::string read_file(const std::string &path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void write_file(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

class AgentDir : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string templ = (std::filesystem::temp_directory_path() / "tessary-agent-XXXXXX").string();
    ASSERT_NE(mkdtemp(templ.data()), nullptr);
    dir_ = templ;
    state_path_ = dir_ + "/state";
    setenv(kStateEnv, state_path_.c_str(), 1);
  }
  void TearDown() override {
    unsetenv(kStateEnv);
    std::filesystem::remove_all(dir_);
  }
  AgentPaths paths() const { return AgentPaths(state_path_); }
  void save(const AgentState &state) { ASSERT_EQ(store_state(paths(), state), 0); }
  AgentState load() {
    AgentState state;
    std::string error;
    EXPECT_EQ(load_state(paths(), &state, &error), 0) << error;
    return state;
  }
  std::string calls() const { return read_file(paths().calls); }
  std::string messages() const { return read_file(paths().messages); }

  std::string dir_, state_path_;
};

}  // namespace tessary::agent::testing

#endif  // TESSARY_AGENT_TEST_SUPPORT_H
