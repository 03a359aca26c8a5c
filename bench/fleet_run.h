// The fleet figures, taken from the programs users run: qznds-sim serving a
// fleet of simulated cameras in one child process, and qznds working through
// the fleet's inventory in another, whose wall time, peak threads and peak
// resident memory are measured here.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qz::bench {

using Json = nlohmann::json;

// A child process running `argv` (argv[0] is the program's path) with its
// stdout in `out_file` (or /dev/null when empty) and its stderr in
// `err_file`, returned once its program runs (-1 and `error` when it
// cannot start). It is sent SIGTERM when this process dies.
pid_t spawn(const std::vector<std::string> &argv, const std::string &out_file, const std::string &err_file,
            std::string &error);

// How one run of a program went.
struct ProcessRun {
  int exit_code = -1;  // -1 when it could not start or was killed
  double seconds = 0;  // wall time from start to exit
  // Read from /proc/PID/status every millisecond: the most threads seen and
  // the last peak of resident memory (VmHWM) seen.
  std::size_t peak_threads = 0;
  std::size_t peak_resident_bytes = 0;
  std::string out;  // everything it wrote on stdout
  std::string err;  // and on stderr
};

// Runs a program to its end and measures it.
ProcessRun run_measured(const std::vector<std::string> &argv, const std::string &work_dir);

// qznds-sim serving `cameras` cameras on free loopback ports in a child
// process; the cameras numbered in `silent` (from 1) never answer. Stopped on
// destruction.
class SimFleet {
 public:
  SimFleet() = default;
  ~SimFleet();
  SimFleet(const SimFleet &) = delete;
  SimFleet &operator=(const SimFleet &) = delete;

  // Starts the program and waits until every camera listens and the
  // inventory is written.
  bool start(const std::string &program, int cameras, const std::vector<int> &silent,
             const std::string &work_dir, std::string &error);
  const std::string &inventory() const { return inventory_; }
  void stop();

 private:
  pid_t pid_ = -1;
  std::string inventory_;
};

// The qznds tool on a fleet: one command's run and what the tool reported.
struct FleetRun {
  ProcessRun process;
  std::vector<Json> devices;  // one line per device (--json)
  Json summary;               // the last line: devices, ok, failed, seconds
};

FleetRun run_fleet_command(const std::string &tool, const std::string &inventory, int jobs,
                           const std::vector<std::string> &command, const std::string &work_dir);

// One row of the fleet figures: a command of the tool on the whole fleet,
// with or without silent cameras among it, and its target in seconds.
struct FleetRow {
  const char *key;
  const char *label;
  bool apply;  // else export
  bool silent;
  double target_seconds;
};
inline constexpr FleetRow kFleetRows[] = {
    {"export", "export", false, false, 3},
    {"apply", "apply 10 settings", true, false, 5},
    {"export_silent", "export, 10 silent", false, true, 15},
    {"apply_silent", "apply 10 settings, 10 silent", true, true, 15},
};

struct FleetSetup {
  std::string tool;  // the qznds program
  std::string sim;   // the qznds-sim program
  int cameras = 1000;
  int jobs = 64;
  int silent = 10;       // cameras that never answer, in the rows that have them, spread over the fleet
  std::string work_dir;  // for the inventory, the document, the exports and the programs' output
};

// What one row measured: the tool's run, and for an apply the run of the
// same document once more (which must change nothing).
struct FleetMeasure {
  FleetRun run;
  std::optional<FleetRun> again;
};

// Starts the fleet, runs the row's command on it and checks the outcome:
// every camera that answers succeeds (and for an apply changes ten
// settings, then none), every silent one fails. False with the reason when
// a check fails.
bool measure_fleet_row(const FleetRow &row, const FleetSetup &setup, FleetMeasure &out, std::string &error);

// A document of ten settings that all differ from the simulated camera's
// factory settings.
Json ten_setting_change();

// Checks a fleet run: `ok` devices succeeded and the rest failed, and each
// successful apply report counts `changed` changed settings (-1: not an
// apply). Empty when it holds, else what is wrong.
std::string check_fleet_run(const FleetRun &run, std::size_t devices, std::size_t ok, int changed);

}  // namespace qz::bench
