// What the tool prints: results and errors as text for people or, with
// --json, as JSON on stdout (one document for one device; one line per
// device and a summary for many); and the help texts built from the
// settings catalogue and the exit codes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue.h"
#include "errors.h"
#include "fleet.h"

namespace qznds {

class Output {
 public:
  explicit Output(bool json) : json_(json) {}

  // One device's result.
  void success(const std::string &command, const Target &target, const Json &result) const;
  // JSON: {"ok": false, "command": ..., "error": {...}} on stdout, with the
  // apply report when there is one; text: the report, then stderr.
  void failure(std::string_view command, const ToolError &error, const Json &result) const;
  // Many devices: a JSON line as each finishes, and the summary (JSON) or
  // the table (text) at the end.
  void device_line(const std::string &command, const Target &target, const DeviceOutcome &outcome) const;
  void fleet_summary(const std::string &command, const std::vector<Target> &targets,
                     const std::vector<DeviceOutcome> &outcomes, double seconds) const;
  // monitor: a device's new state.
  void monitor_line(const Target &target, const Json &state) const;
  // Every setting of the catalogue.
  void settings() const;

 private:
  bool json_;
};

// An error as in the JSON output: {"kind", "exit_code", "message",
// "response_code"}.
Json error_json(const ToolError &error);
// One device's outcome as in a fleet's JSON lines: {"device", "name", "ok",
// "seconds", "result", "error"}.
Json outcome_json(const Target &target, const DeviceOutcome &outcome);

// Text of --help after the options: every setting with its value form, then
// the exit codes.
std::string help_footer();

}  // namespace qznds
