#include "errors.h"

#include <array>
#include <cstdio>

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

// A call that fails this long after it started waited the SDK's whole wait
// time; sooner means the answer came and was turned down.
constexpr std::chrono::milliseconds kTimeoutThreshold = kDeviceWait - std::chrono::milliseconds(500);

constexpr std::string_view kNotConnected = "device is not connected";
constexpr std::string_view kCheckoutFailed = "'s response failed";
constexpr std::string_view kConnectFailed = "connect server ";

constexpr int kLogError = 4;

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// "cmd [169,147]'s response code = 3 is not successed" -> 3.
std::optional<int> response_code_of(const std::string &message) {
  int main = 0, sub = 0, code = 0;
  if (std::sscanf(message.c_str(), "cmd [%d,%d]'s response code = %d is not successed", &main, &sub, &code) ==
      3) {
    return code;
  }
  return std::nullopt;
}

// The first error line that is not one of the transaction's own summaries,
// which say only that something failed.
const LogLine *first_cause(std::span<const LogLine> lines) {
  for (const auto &line : lines) {
    if (line.level != kLogError) continue;
    if (contains(line.message, kCheckoutFailed) || line.function == "NetDevSetting::send_cmd") continue;
    return &line;
  }
  return nullptr;
}

}  // namespace

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

std::optional<CallFailure> classify_call(bool returned, std::span<const LogLine> lines,
                                         std::chrono::milliseconds elapsed) {
  bool not_connected = false;
  bool lost = false;
  bool checkout_failed = false;
  for (const auto &line : lines) {
    if (auto code = response_code_of(line.message)) {
      return CallFailure{ErrorKind::refused,
                         "the device refused the command (response code " + std::to_string(*code) + ")",
                         code};
    }
    if (line.level == kLogError && contains(line.message, kNotConnected)) not_connected = true;
    if (line.function == "NetDevSetting::on_disconnected" || line.function == "NetDevSetting::on_exception") {
      lost = true;
    }
    if (contains(line.message, kCheckoutFailed)) checkout_failed = true;
    if (contains(line.message, kConnectFailed)) not_connected = true;
  }
  if (not_connected || lost) {
    return CallFailure{ErrorKind::unreachable, "the connection to the device was lost", std::nullopt};
  }
  if (checkout_failed && elapsed >= kTimeoutThreshold) {
    return CallFailure{ErrorKind::timeout, "no answer from the device within 10 s", std::nullopt};
  }
  const LogLine *cause = first_cause(lines);
  if (checkout_failed) {
    std::string reason = "the device's answer was not accepted";
    if (cause != nullptr) reason += " (" + cause->message + ")";
    return CallFailure{ErrorKind::bad_answer, reason, std::nullopt};
  }
  if (!returned) {
    std::string reason = "the SDK reported a failure";
    if (cause != nullptr) reason += " (" + cause->message + ")";
    return CallFailure{ErrorKind::failed, reason, std::nullopt};
  }
  return std::nullopt;
}

}  // namespace qznds
