// Faults the simulated device can show on demand, and the small grammar the
// command line uses to describe them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::sim {

// Which requests a fault applies to: one command, every sub of one main
// command, or every request. The most specific matching key wins.
struct FaultKey {
  static constexpr int kAny = -1;
  int main = kAny;
  int sub = kAny;

  static FaultKey any() { return FaultKey{}; }
  static FaultKey command(uint8_t main, uint8_t sub) { return FaultKey{main, sub}; }
  static FaultKey main_command(uint8_t main) { return FaultKey{main, kAny}; }
  bool operator==(const FaultKey &) const = default;
  auto operator<=>(const FaultKey &) const = default;
};

// What a request looked like, for hooks that build their own answer.
struct RequestInfo {
  uint64_t connection = 0;
  uint8_t main = 0;
  uint8_t sub = 0;
  uint32_t seq = 0;
  std::vector<uint8_t> payload;
};

// One fault. The request is still handled by the device (so a set is stored)
// unless `code` is given; the fields shape the answer, in this order: code,
// payload, sub, truncate, raw / raw_hook, garbage; then the delivery: delay,
// coalesce, close_after, chunks.
struct Fault {
  // Answer with this response code and no payload; the request is not handled.
  std::optional<uint8_t> code{};
  // Replace the answer's payload (frame lengths follow it).
  std::optional<std::vector<uint8_t>> payload{};
  // Answer under this sub command.
  std::optional<uint8_t> sub{};
  // Cut the answer's payload to at most this many bytes (frame lengths follow).
  std::optional<std::size_t> truncate{};
  // Send these bytes instead of the answer frame (no framing at all).
  std::optional<std::vector<uint8_t>> raw{};
  // Like `raw`, computed from the request (to echo its seq into a hostile frame).
  std::function<std::vector<uint8_t>(const RequestInfo &)> raw_hook{};
  // Bytes that are no frame, sent right before the answer.
  std::size_t garbage = 0;
  // Wait this long before the answer goes out.
  std::chrono::milliseconds delay{0};
  // Send no answer at all.
  bool no_answer = false;
  // Hold the answer and send it in one write with the connection's next answer.
  bool coalesce = false;
  // Send only this many bytes of the answer, then close the connection.
  std::optional<std::size_t> close_after{};
  // Send the answer in pieces of this many bytes with a pause between them.
  std::size_t chunk_size = 0;
  std::chrono::milliseconds chunk_pause{0};
  // Apply to this many matching requests, then remove itself; 0 = until cleared.
  unsigned times = 0;
};

// How the device treats new connections.
enum class RefuseMode {
  none,             // accept and serve
  close_on_accept,  // accept, then close at once
  stop_listening,   // close the listening socket (connects are refused)
};

// Parses one command line fault: TARGET ':' ACTION { ',' ACTION }, or
// "silent" for a device that answers nothing (all:drop).
// Returns false with a message in `error` when the text does not parse.
bool parse_fault_spec(std::string_view text, FaultKey &key, Fault &fault, std::string &error);

// Parses "none", "close" or "stop".
bool parse_refuse_mode(std::string_view text, RefuseMode &mode);

// The grammar, for --help.
std::string fault_grammar_help();

// Short description of a fault for log lines ("delay=200,code=3").
std::string describe_fault(const Fault &fault);

}  // namespace qz::sim
