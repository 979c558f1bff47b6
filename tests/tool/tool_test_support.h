// What the rx tool's tests share: a folder of the test's own for files,
// and rx run in process (as main() runs it) or started as a program.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tool.h"

namespace rxtest {

struct ToolRun {
  int status;
  std::string out, err;
};

// The words of a command line, "rx" first; the tests' paths hold no spaces.
inline std::vector<std::string> words_of(const std::string& command_line) {
  std::vector<std::string> words{"rx"};
  std::istringstream in(command_line);
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("rx-tool-test-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string at(const std::string& name) const { return (dir_ / name).string(); }

  // rx run in this process, as main() runs it.
  ToolRun rx(const std::string& arguments) const {
    std::ostringstream out, err;
    const int status = rxtool::run(words_of(arguments), {out, err});
    return {status, out.str(), err.str()};
  }

  // The rx program started as a process of its own.
  ToolRun rx_program(const std::string& arguments) const {
    const std::string out = at("stdout.txt"), err = at("stderr.txt");
    const std::string command = std::string(RX_TOOL_PATH) + " " + arguments + " > " + out + " 2> " + err;
    const int raw = std::system(command.c_str());
    auto slurp = [](const std::string& path) {
      std::ifstream in(path);
      std::stringstream text;
      text << in.rdbuf();
      return text.str();
    };
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
  }

  std::filesystem::path dir_;
};

}  // namespace rxtest
