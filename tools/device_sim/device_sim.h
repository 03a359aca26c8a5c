// A simulated camera device on TCP: it answers every command of the device
// protocol from its own state, for tests, tools and benchmarks. It serves
// many connections at once from one I/O thread, its own or one it shares
// with other devices (see fleet.h), and can show faults on demand (delays,
// lost, cut, split or merged answers, garbage, dropped or refused
// connections, arbitrary bytes).
//
//   qz::sim::DeviceSim sim({.port = 0});
//   sim.start();
//   connect to 127.0.0.1:sim.port() ...
//   sim.set_fault(qz::sim::FaultKey::command(169, 159), {.code = 3});
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device_commands.h"
#include "device_state.h"
#include "sim_faults.h"
#include "wire_frame.h"

namespace qz::sim {

inline constexpr uint16_t kDefaultPort = 63201;

struct SimOptions {
  std::string address = "127.0.0.1";
  uint16_t port = kDefaultPort;  // 0: a free port, reported by DeviceSim::port()
  std::chrono::milliseconds reboot_time{2000};
  // A request that announces a larger total length is treated as garbage
  // (see wire::FrameSplitter).
  std::size_t max_request_size = wire::kMaxFrameSize;
  // One line per exchange and per connection event; nullptr keeps it quiet.
  std::ostream *log = nullptr;
  // Put before every log line, to tell devices apart in a shared log.
  std::string log_prefix{};
  // Refuse values out of range (code 2); off checks only lengths and structure.
  bool strict = true;
};

enum class Direction { request, response };

// Bytes seen on the wire: each request frame as received, each answer as
// sent (after faults, garbage included, cut where the connection was closed).
struct RecordedFrame {
  uint64_t connection = 0;
  Direction direction = Direction::request;
  std::vector<uint8_t> bytes;
};

struct SimStats {
  uint64_t accepted = 0;       // connections accepted and served
  uint64_t refused = 0;        // connections closed at once (RefuseMode::close_on_accept)
  uint64_t active = 0;         // connections open now
  uint64_t requests = 0;       // request frames received
  uint64_t responses = 0;      // answers queued for sending
  uint64_t garbage_bytes = 0;  // received bytes skipped as no frame
  uint64_t reboots = 0;
};

// One thread that runs the sockets and timers of the devices given it.
class IoThread {
 public:
  IoThread();
  ~IoThread();  // stops
  IoThread(const IoThread &) = delete;
  IoThread &operator=(const IoThread &) = delete;

  void start();
  // Joins the thread; work still queued waits for the next start.
  void stop();
  bool running() const;

  struct Impl;

 private:
  friend class DeviceSim;
  std::unique_ptr<Impl> impl_;
};

class DeviceSim {
 public:
  // A device with an I/O thread of its own, started and stopped with it.
  explicit DeviceSim(SimOptions options = {}, DeviceState state = {});
  // A device on a shared thread, which must outlive it and run whenever the
  // device starts or stops (both wait for that thread).
  DeviceSim(IoThread &thread, SimOptions options = {}, DeviceState state = {});
  ~DeviceSim();
  DeviceSim(const DeviceSim &) = delete;
  DeviceSim &operator=(const DeviceSim &) = delete;

  // Binds and listens (starting the own I/O thread). False (with a message)
  // when the address cannot be bound.
  bool start(std::string *error = nullptr);
  // Closes every connection and the listening socket (and joins the own I/O
  // thread).
  void stop();
  bool running() const;
  uint16_t port() const;  // the bound port once started

  // Device state, guarded by the simulator's lock.
  DeviceState state() const;
  void set_state(const DeviceState &state);
  void update_state(const std::function<void(DeviceState &)> &change);
  nlohmann::json to_json() const;
  bool load_state(const std::string &path, std::string *error = nullptr);
  bool save_state(const std::string &path, std::string *error = nullptr) const;

  // Faults apply to requests received after the call.
  void set_fault(const FaultKey &key, Fault fault);
  void clear_fault(const FaultKey &key);
  void clear_faults();
  // Takes effect before the call returns.
  void set_refuse(RefuseMode mode);

  // Restarts the device as a reboot request does: every connection is
  // dropped and connects are refused for the reboot time.
  void reboot();
  bool rebooting() const;
  void set_reboot_time(std::chrono::milliseconds time);

  // Recording of frames, off by default; keeps the first `max_frames`.
  void set_recording(bool on, std::size_t max_frames = 4096);
  std::vector<RecordedFrame> recorded() const;
  void clear_recorded();

  void set_log(std::ostream *log);
  void set_strict(bool strict);
  SimStats stats() const;

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// State files: the JSON of state_to_json, written with indentation. On
// failure `error` is one line, "state file PATH: " and the problem (cannot
// read or write and why, not valid JSON, a bad or unknown key).
bool load_state_file(const std::string &path, DeviceState &state, std::string &error);
bool save_state_file(const std::string &path, const DeviceState &state, std::string &error);

}  // namespace qz::sim
