// Runs the qznds binary as a subprocess and a simulated device for it to talk to.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device_sim.h"

namespace qz::cli_test {

struct RunResult {
  int exit_code = -1;
  std::string out;
  std::string err;
  std::chrono::milliseconds elapsed{0};

  // stdout as JSON (a test failure and null when it does not parse).
  nlohmann::json json() const;
};

// Runs qznds with `args`; stdout and stderr are captured whole.
RunResult run_qznds(const std::vector<std::string> &args);

// A file under the test's temporary directory with `content`; returns its path.
std::string write_temp_file(const std::string &name, const std::string &content);

// Waits (bounded) until `done` holds; false when it did not within `limit`.
bool eventually(const std::function<bool()> &done, std::chrono::milliseconds limit = std::chrono::seconds(3));

// A simulated device on 127.0.0.1 with a free port, and qznds pointed at it.
class CliTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override { sim.stop(); }

  // qznds --device 127.0.0.1:PORT --json ARGS...
  RunResult run_json(const std::vector<std::string> &args);
  std::string device_address() const;

  qz::sim::DeviceSim sim{qz::sim::SimOptions{.address = "127.0.0.1", .port = 0}};
};

}  // namespace qz::cli_test
