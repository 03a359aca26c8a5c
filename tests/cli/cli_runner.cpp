#include "cli_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

extern char **environ;

namespace qz::cli_test {

namespace {

std::string read_all(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string temp_path(const std::string &name) {
  return ::testing::TempDir() + "qznds_" + name;
}

}  // namespace

nlohmann::json RunResult::json() const {
  auto doc = nlohmann::json::parse(out, nullptr, false);
  EXPECT_FALSE(doc.is_discarded()) << "stdout is no JSON document:\n" << out << "\nstderr:\n" << err;
  return doc.is_discarded() ? nlohmann::json() : doc;
}

RunResult run_qznds(const std::vector<std::string> &args) {
  static int counter = 0;
  const std::string tag = std::to_string(getpid()) + "_" + std::to_string(++counter);
  const std::string out_path = temp_path("out_" + tag);
  const std::string err_path = temp_path("err_" + tag);

  std::vector<std::string> argv_text = {QZNDS_BINARY};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char *> argv;
  for (auto &arg : argv_text) argv.push_back(arg.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  RunResult result;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  result.elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  posix_spawn_file_actions_destroy(&actions);
  result.out = read_all(out_path);
  result.err = read_all(err_path);
  unlink(out_path.c_str());
  unlink(err_path.c_str());
  return result;
}

std::string write_temp_file(const std::string &name, const std::string &content) {
  const std::string path = temp_path(std::to_string(getpid()) + "_" + name);
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

bool eventually(const std::function<bool()> &done, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

void CliTest::SetUp() {
  std::string error;
  ASSERT_TRUE(sim.start(&error)) << error;
}

std::string CliTest::device_address() const {
  return "127.0.0.1:" + std::to_string(sim.port());
}

RunResult CliTest::run_json(const std::vector<std::string> &args) {
  std::vector<std::string> full = {"--device", device_address(), "--json"};
  full.insert(full.end(), args.begin(), args.end());
  return run_qznds(full);
}

}  // namespace qz::cli_test
