#include "errors.h"

#include <array>
#include <utility>

namespace qznds {

namespace {

constexpr std::array<ExitCodeInfo, 7> kExitCodes = {{
    {ErrorKind::failed, 1, "failed",
     "the SDK or the simulated device failed, or the --sim-state file could not be written"},
    {ErrorKind::usage, 2, "usage", "bad command line: unknown command or setting, no --device/--simulate"},
    {ErrorKind::bad_value, 3, "bad_value",
     "a value (or the --sim-state file) is out of range or has the wrong form; nothing was sent"},
    {ErrorKind::unreachable, 4, "unreachable", "the device cannot be reached, or the connection was lost"},
    {ErrorKind::refused, 5, "refused", "the device refused the command (non-zero response code)"},
    {ErrorKind::timeout, 6, "timeout", "the device did not answer within 10 s"},
    {ErrorKind::bad_answer, 7, "bad_answer", "the device answered, but the answer was malformed"},
}};

// The tool's kind for each of the SDK's. An argument the SDK refused, a
// session being released or one that could not be set up are the SDK's own
// reasons: the tool checked the values before.
ErrorKind kind_of(int sdk_kind) {
  switch (sdk_kind) {
    case QZ_NDSX_NOT_CONNECTED:
    case QZ_NDSX_CONNECT_FAILED:
    case QZ_NDSX_SEND_FAILED:
    case QZ_NDSX_CONNECTION_LOST:
      return ErrorKind::unreachable;
    case QZ_NDSX_TIMEOUT:
      return ErrorKind::timeout;
    case QZ_NDSX_REFUSED:
      return ErrorKind::refused;
    case QZ_NDSX_BAD_ANSWER:
      return ErrorKind::bad_answer;
    default:
      return ErrorKind::failed;
  }
}

}  // namespace

ErrorKind kind_named(std::string_view report_kind) {
  static constexpr std::pair<std::string_view, ErrorKind> kNames[] = {
      {"bad_argument", ErrorKind::bad_value},
      {"not_connected", ErrorKind::unreachable},
      {"connect_failed", ErrorKind::unreachable},
      {"send_failed", ErrorKind::unreachable},
      {"connection_lost", ErrorKind::unreachable},
      {"timeout", ErrorKind::timeout},
      {"refused", ErrorKind::refused},
      {"bad_answer", ErrorKind::bad_answer}};
  for (const auto &[name, kind] : kNames) {
    if (name == report_kind) return kind;
  }
  return ErrorKind::failed;
}

std::span<const ExitCodeInfo> exit_codes() {
  return kExitCodes;
}

int exit_code(ErrorKind kind) {
  for (const auto &info : kExitCodes) {
    if (info.kind == kind) return info.code;
  }
  return 1;
}

std::string_view kind_name(ErrorKind kind) {
  for (const auto &info : kExitCodes) {
    if (info.kind == kind) return info.name;
  }
  return "failed";
}

ToolError sdk_failure(std::string_view what, const qz_ndsx_error &error) {
  std::string message = std::string(what) + ": ";
  // A failed call always names its cause; "no error" would only confuse.
  message += error.kind == QZ_NDSX_OK ? "the SDK reported a failure" : qz_ndsx_strerror(error.kind);
  std::optional<int> response_code;
  std::string details;
  if (error.kind == QZ_NDSX_REFUSED) {
    response_code = error.response_code;
    details = "response code " + std::to_string(error.response_code);
  } else if (error.kind == QZ_NDSX_TIMEOUT) {
    details = "waited 10 s";
  }
  const std::string_view address(error.address);  // NUL terminated
  if (!address.empty()) details += (details.empty() ? "device " : ", device ") + std::string(address);
  if (!details.empty()) message += " (" + details + ")";
  return ToolError(kind_of(error.kind), message, response_code);
}

}  // namespace qznds
