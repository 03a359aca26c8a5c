// --simulate: a simulated camera in this process, on a free loopback port.
#pragma once

#include <string>

#include "device_sim.h"

namespace qznds {

class Simulator {
 public:
  // Loads the settings from `state_file` when it names an existing file, then
  // starts listening on 127.0.0.1 (port 0). ToolError when either fails.
  explicit Simulator(std::string state_file);
  Simulator(const Simulator &) = delete;
  Simulator &operator=(const Simulator &) = delete;

  std::string address() const;
  // Stops the device and writes its settings to the state file, if any.
  void finish();

 private:
  std::string state_file_;
  qz::sim::DeviceSim sim_;
};

}  // namespace qznds
