// Runs the command-line programs as subprocesses, and a simulated device for
// qznds to talk to.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device_sim.h"

extern char **environ;

namespace qz::cli_test {

struct RunResult {
  int exit_code = -1;
  std::string out;
  std::string err;
  std::chrono::milliseconds elapsed{0};

  // stdout as JSON (a test failure and null when it does not parse).
  nlohmann::json json() const {
    auto doc = nlohmann::json::parse(out, nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << "stdout is no JSON document:\n" << out << "\nstderr:\n" << err;
    return doc.is_discarded() ? nlohmann::json() : doc;
  }
};

// A file under the test's temporary directory with `content`; returns its path.
inline std::string write_temp_file(const std::string &name, const std::string &content) {
  const std::string path = ::testing::TempDir() + "qznds_" + std::to_string(getpid()) + "_" + name;
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

// A program running with stdin on /dev/null, as in scripts (reboot asks on a
// terminal), and stdout and stderr going to files. Killed if still running
// when it goes.
class RunningProgram {
 public:
  RunningProgram(const std::string &program, const std::vector<std::string> &args) {
    static int counter = 0;
    ++counter;
    paths_[0] = write_temp_file("out" + std::to_string(counter), "");
    paths_[1] = write_temp_file("err" + std::to_string(counter), "");
    std::vector<std::string> argv_text = {program};
    argv_text.insert(argv_text.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &arg : argv_text) argv.push_back(arg.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    for (int fd : {1, 2}) posix_spawn_file_actions_addopen(&actions, fd, paths_[fd - 1].c_str(), O_WRONLY, 0);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~RunningProgram() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    finish();
  }
  RunningProgram(const RunningProgram &) = delete;
  RunningProgram &operator=(const RunningProgram &) = delete;

  void signal(int number) const {
    if (pid_ > 0) kill(pid_, number);
  }

  // Waits for the end; stdout and stderr whole.
  RunResult finish() {
    RunResult result;
    if (pid_ > 0) {
      int status = 0;
      waitpid(pid_, &status, 0);
      result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      pid_ = 0;
    }
    result.elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_);
    for (std::string *text : {&result.out, &result.err}) {
      const std::string &path = paths_[text == &result.err];
      *text = std::string(std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {});
      unlink(path.c_str());
    }
    return result;
  }

 private:
  std::string paths_[2];
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  pid_t pid_ = 0;
};

// Runs `program` with `args` to its end.
inline RunResult run_program(const std::string &program, const std::vector<std::string> &args) {
  return RunningProgram(program, args).finish();
}

inline RunResult run_qznds(const std::vector<std::string> &args) {
  return run_program(QZNDS_BINARY, args);
}

// A simulated device on 127.0.0.1 with a free port, and qznds pointed at it.
class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(sim.start(&error)) << error;
  }
  void TearDown() override { sim.stop(); }

  std::string device_address() const { return "127.0.0.1:" + std::to_string(sim.port()); }
  // qznds --device 127.0.0.1:PORT --json ARGS...
  RunResult run_json(const std::vector<std::string> &args) {
    std::vector<std::string> full = {"--device", device_address(), "--json"};
    full.insert(full.end(), args.begin(), args.end());
    return run_qznds(full);
  }

  qz::sim::DeviceSim sim{qz::sim::SimOptions{.address = "127.0.0.1", .port = 0}};
};

}  // namespace qz::cli_test
