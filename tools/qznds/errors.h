// Failures of the tool, their exit codes, and the tool's failure for a failed
// SDK call, from the SDK's record of why it failed (qz_ndsx_last_error).
#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "qz_nds_ext.h"

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

// The failure of the step `what` ("set framerate") whose SDK call ended as
// `error` says: the exit code of its kind, and a message naming what happened,
// the device's response code for a refusal, and the device's address.
ToolError sdk_failure(std::string_view what, const qz_ndsx_error &error);

// The tool's kind for a kind name of the library's reports ("timeout").
ErrorKind kind_named(std::string_view report_kind);

}  // namespace qznds
