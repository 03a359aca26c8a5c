// Many devices at once: the targets of a command (--device, --inventory),
// a bounded number of sessions working through them, and the progress bar.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "device.h"

namespace qznds {

// One device of a command: its address, a name for the output, and the
// settings of its own that apply lays over the document (its IP settings).
struct Target {
  std::string address;
  std::string name;
  Json settings = Json::object();
};

// An inventory file: JSON {"devices": [{"address": ..., "name": ...,
// "settings": {...}}, ...]}, or lines of "ADDRESS [NAME]" ('#' starts a
// comment). ToolError(bad_value) naming the file and the problem.
// With `limits` (--limit), only the devices whose name or address matches a
// pattern (`*` any run, `?` any one character): kept when no plain pattern
// is given or one matches, and no "!PATTERN" matches; ToolError(bad_value)
// when none is left.
std::vector<Target> load_inventory(const std::string &path, const std::vector<std::string> &limits = {});

// The document a device gets: the given one's settings, the device's own
// from the inventory over them, and `secrets` over both.
Json document_for(const Json &document, const Target &target, const Json &secrets);

// How one device's work ended.
struct DeviceOutcome {
  bool ok = false;
  Json result;                     // the work's result when ok (or a report that failed)
  std::optional<ToolError> error;  // why it failed
  std::chrono::milliseconds elapsed{0};
};

// Calls fn(0) .. fn(count - 1), at most `jobs` at a time, on as many
// threads; returns when all have returned.
void parallel_for(std::size_t count, int jobs, const std::function<void(std::size_t)> &fn);

using DeviceWork = std::function<Json(Device &, const Target &)>;
// Whether a result counts as a success (an apply report with "ok": false
// does not); a failure it names is thrown as ToolError.
using ResultCheck = std::function<void(const Json &, const Target &)>;

// Connects to each target and runs `work` on it, at most `jobs` at a time
// (one thread each; a silent device holds only its own). `done` is called
// once per device as it finishes, one call at a time.
void run_fleet(const std::vector<Target> &targets, int jobs, const DeviceWork &work, const ResultCheck &check,
               const std::function<void(std::size_t, const DeviceOutcome &)> &done);

// The settings of `document` (with the target's own) that the device does
// not hold, by a dry run: an array of names, empty when there is no drift.
Json drift_from(Device &device, const Json &document, const Target &target);

// Throws report_failure() unless the report (or result["report"]) is ok.
void check_report(const Json &result, const Target &target);

// run_fleet on one target: how its work ended.
DeviceOutcome run_one(const Target &target, const DeviceWork &work, const ResultCheck &check);

// Devices done, failed and the rate on stderr, redrawn in place; only when
// stderr is a terminal.
class ProgressBar {
 public:
  ProgressBar(std::size_t total, std::string verb);
  ~ProgressBar();
  void update(std::size_t done, std::size_t failed);
  void finish();

 private:
  void draw(std::size_t done, std::size_t failed, bool force);
  bool shown_;
  std::size_t total_;
  std::string verb_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point last_draw_{};
};

}  // namespace qznds
