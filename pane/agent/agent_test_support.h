// A scratch directory holding the local agent's state file, with
// TESSARY_AGENT_STATE pointing at it, and the tessary-agent command run
// in-process.
#ifndef TESSARY_AGENT_TEST_SUPPORT_H
#define TESSARY_AGENT_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "pane/agent/agent_state.h"
#include "pane/agent/agent_tool.h"

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
  // Runs tessary-agent with the words of `line`; its output and its error
  // text land in out_ and err_.
  int run(const std::string &line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string w; in >> w;)
      words.push_back(w);
    std::vector<const char *> argv = {"tessary-agent"};
    for (const std::string &w : words)
      argv.push_back(w.c_str());
    std::FILE *out = std::tmpfile(), *err = std::tmpfile();
    int rc = run_tool(static_cast<int>(argv.size()), argv.data(), out, err);
    out_ = slurp(out);
    err_ = slurp(err);
    return rc;
  }
  static std::string slurp(std::FILE *f) {
    std::string text(static_cast<std::size_t>(std::ftell(f)), '\0');
    std::rewind(f);
    text.resize(std::fread(text.data(), 1, text.size(), f));
    std::fclose(f);
    return text;
  }

  std::string dir_, state_path_, out_, err_;
};

}  // namespace tessary::agent::testing

#endif  // TESSARY_AGENT_TEST_SUPPORT_H
