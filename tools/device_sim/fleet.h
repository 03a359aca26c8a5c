// Many simulated cameras in one process, all served by one I/O thread: tests
// and benchmarks can talk to a thousand cameras on a small machine.
//
//   qz::sim::Fleet fleet(1000, {.port = 0});
//   fleet.start();
//   connect to fleet.address(i) ...            // "127.0.0.1:PORT"
//   fleet.camera(4).set_fault(qz::sim::FaultKey::any(), {.no_answer = true});
//
// Camera i is named cam-0001 for i = 0 (more digits past 9999 cameras) and
// has its own copy of the base state, with the camera number in the last
// digits of its serial number. A fleet of one is the base camera unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device_sim.h"

namespace qz::sim {

class Fleet {
 public:
  // Camera i listens on base.port + i, or on a free port each when base.port
  // is 0.
  Fleet(std::size_t count, SimOptions base = {}, DeviceState base_state = {});
  ~Fleet();
  Fleet(const Fleet &) = delete;
  Fleet &operator=(const Fleet &) = delete;

  // Starts every camera, or none: false with a message naming the camera
  // that cannot listen (or a port range past 65535).
  bool start(std::string *error = nullptr);
  void stop();

  std::size_t size() const { return cameras_.size(); }
  DeviceSim &camera(std::size_t i) { return *cameras_.at(i); }
  const DeviceSim &camera(std::size_t i) const { return *cameras_.at(i); }
  uint16_t port(std::size_t i) const { return camera(i).port(); }
  std::string address(std::size_t i) const;  // "127.0.0.1:PORT"
  std::string name(std::size_t i) const;     // "cam-0001"

  // {"devices": [{"address": "127.0.0.1:40000", "name": "cam-0001"}, ...]}
  nlohmann::ordered_json inventory() const;

  // One state file per camera, DIR/camera-0001.json ... Loading reads the
  // files that exist over the cameras' states; saving writes all of them,
  // creating DIR. False with the first problem (the others still saved).
  std::string state_path(const std::string &dir, std::size_t i) const;
  bool load_states(const std::string &dir, std::string *error = nullptr);
  bool save_states(const std::string &dir, std::string *error = nullptr) const;

 private:
  std::string numbered(std::size_t i) const;  // "0001"

  SimOptions base_;
  std::size_t number_width_;
  IoThread thread_;  // declared before the cameras, which it must outlive
  std::vector<std::unique_ptr<DeviceSim>> cameras_;
};

}  // namespace qz::sim
