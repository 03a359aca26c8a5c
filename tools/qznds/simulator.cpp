#include "simulator.h"

#include <filesystem>

#include "errors.h"

namespace qznds {

namespace {

qz::sim::SimOptions loopback_options() {
  qz::sim::SimOptions options;
  options.address = "127.0.0.1";
  options.port = 0;
  return options;
}

}  // namespace

Simulator::Simulator(std::string state_file) : state_file_(std::move(state_file)), sim_(loopback_options()) {
  std::string error;
  // A file that is not there yet is written on exit; any other problem with
  // it (a directory, unreadable, bad JSON, a bad or unknown key) is a bad
  // --sim-state value, found before anything runs.
  std::error_code ec;
  const bool exists = std::filesystem::exists(state_file_, ec);
  if (!state_file_.empty() && (exists || ec) && !sim_.load_state(state_file_, &error)) {
    throw ToolError(ErrorKind::bad_value, error);
  }
  if (!sim_.start(&error)) throw ToolError(ErrorKind::failed, "simulated device: " + error);
}

std::string Simulator::address() const {
  return "127.0.0.1:" + std::to_string(sim_.port());
}

void Simulator::finish() {
  sim_.stop();
  std::string error;
  if (!state_file_.empty() && !sim_.save_state(state_file_, &error))
    throw ToolError(ErrorKind::failed, error);
}

}  // namespace qznds
