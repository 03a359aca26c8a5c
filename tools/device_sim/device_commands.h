// The simulated device's command handling: one request payload in, one
// response code and payload out, against the device state. Pure code, no I/O.
//
// Response codes:
//   0  accepted
//   1  unknown or unsupported command (also a request whose package type is not 0)
//   2  bad request: wrong payload length, a value out of range, a text too
//      long, a serial key that is not the device's, a broken frame trailer
// A refused request leaves the state as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device_state.h"

namespace qz::sim {

inline constexpr uint8_t kCodeOk = 0;
inline constexpr uint8_t kCodeUnsupported = 1;
inline constexpr uint8_t kCodeBadPayload = 2;

struct Reply {
  uint8_t code = kCodeOk;
  std::vector<uint8_t> payload;
  bool reboot = false;  // the device restarts once this answer is out
  // Sub command of the answer when it is not the request's own: the device
  // confirms account and passive wireless writes with the read's answer.
  std::optional<uint8_t> answer_sub;
  // What the request changed, for the log, where the bytes do not say it.
  std::string note;
};

// Handles one request. Set commands validate and store; queries answer from
// `state`. The answers to main 164 and 168 never carry a payload. With
// `strict` off only lengths and structure are checked: flags and small
// numbers store any byte and ports of 0 pass (for tests that carry odd values
// through to a query).
Reply handle_request(DeviceState &state, uint8_t main, uint8_t sub, const uint8_t *payload, std::size_t size,
                     bool strict = true);

// The machine configuration record (answer to 174/130): 267 bytes plus the
// channel name.
std::vector<uint8_t> build_machine_record(const DeviceState &state);

}  // namespace qz::sim
