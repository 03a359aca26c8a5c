// The sub-commands: what the command line asked for, and running it on one
// device or on many.
#pragma once

#include <string>
#include <vector>

#include "catalogue.h"

namespace qznds {

struct CommandLine {
  std::string command;  // info, get, set, export, apply, reboot, keep-alive, monitor, serve, settings, schema
  std::vector<std::string> devices;
  std::string inventory;
  std::vector<std::string> limits;  // --limit: patterns choosing devices of the inventory
  int jobs = 32;
  bool simulate = false;
  std::string sim_state;
  bool json = false;
  bool verbose = false;
  std::string setting;
  Args values;
  std::string document;  // apply: the wanted configuration; monitor: drift against it
  std::string output;    // export: a file (one device) or a folder (many)
  bool with_secrets = false;
  std::string secrets;                    // env, - or FILE
  bool dry_run = false;                   // apply --diff / --dry-run
  double interval = 10.0;                 // keep-alive, monitor: seconds between rounds
  int count = 1;                          // keep-alive: messages; monitor: rounds (0: until stopped)
  bool yes = false;                       // reboot: no question on a terminal
  std::string listen = "127.0.0.1:8080";  // serve: HOST:PORT
  std::string token_file;                 // serve: the API's bearer token
};

// Runs the command, prints its result or error, returns the exit code.
int run(const CommandLine &line);

}  // namespace qznds
