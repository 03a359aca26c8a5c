// The sub-commands: what the command line asked for, and running it.
#pragma once

#include <string>

#include "values.h"

namespace qznds {

struct CommandLine {
  std::string command;  // info, get, set, reboot, keep-alive, settings
  std::string device;
  bool simulate = false;
  std::string sim_state;
  bool json = false;
  bool verbose = false;
  std::string setting;
  Args values;
  double interval = 10.0;  // keep-alive: seconds between messages
  int count = 1;           // keep-alive: messages to send
  bool yes = false;        // reboot: no question on a terminal
};

// Runs the command, prints its result or error, returns the exit code.
int run(const CommandLine &line);

}  // namespace qznds
