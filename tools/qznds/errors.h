// Failures of the tool, their exit codes, and how a failed SDK call is told
// apart (refused, timed out, unreachable, bad answer) from the SDK's log lines.
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qznds {

enum class ErrorKind {
  failed,       // the SDK failed for a reason of its own
  usage,        // the command line is wrong
  bad_value,    // a value does not have the accepted form or range
  unreachable,  // no connection to the device, or it was lost
  refused,      // the device answered with a non-zero response code
  timeout,      // the device did not answer in time
  bad_answer,   // the device answered, but the SDK could not accept the answer
};

struct ExitCodeInfo {
  ErrorKind kind;
  int code;
  std::string_view name;     // as in the JSON error object
  std::string_view meaning;  // for --help and the README
};

inline constexpr int kExitOk = 0;
std::span<const ExitCodeInfo> exit_codes();
int exit_code(ErrorKind kind);
std::string_view kind_name(ErrorKind kind);

class ToolError : public std::runtime_error {
 public:
  ToolError(ErrorKind kind, const std::string &message, std::optional<int> response_code = std::nullopt)
      : std::runtime_error(message), kind_(kind), response_code_(response_code) {}
  ErrorKind kind() const { return kind_; }
  std::optional<int> response_code() const { return response_code_; }

 private:
  ErrorKind kind_;
  std::optional<int> response_code_;
};

// One record the SDK wrote to its log.
struct LogLine {
  int level = 0;
  std::string function;
  std::string message;
};

// Why one SDK call failed, in words.
struct CallFailure {
  ErrorKind kind;
  std::string reason;
  std::optional<int> response_code;
};

// Decides from the call's result, the log lines written while it ran and its
// duration whether it failed and why. Some exports (MQTT, the IP settings
// query) return true after a failed exchange; their failure shows only in the
// log, so the lines count even when `returned` is true.
std::optional<CallFailure> classify_call(bool returned, std::span<const LogLine> lines,
                                         std::chrono::milliseconds elapsed);

// The SDK's wait for an answer.
inline constexpr std::chrono::milliseconds kDeviceWait{10000};

}  // namespace qznds
