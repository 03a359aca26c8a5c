// A tiny device on 127.0.0.1 for end-to-end tests over real TCP: it reads
// request frames and answers each as a script says, with optional pauses,
// split writes and closes.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "frames.h"

namespace qz::test {

// One write of the device: its bytes after a pause; optionally the device
// closes the connection after it.
struct DeviceWrite {
  Bytes bytes;
  std::chrono::milliseconds pause{0};
  bool close_after = false;
};

class ScriptedDevice {
 public:
  using Script = std::function<std::vector<DeviceWrite>(const wire::FrameView &request)>;
  using Responder = std::function<std::vector<Bytes>(const wire::FrameView &request)>;

  ScriptedDevice();  // listens on 127.0.0.1, ephemeral port
  ~ScriptedDevice();
  ScriptedDevice(const ScriptedDevice &) = delete;
  ScriptedDevice &operator=(const ScriptedDevice &) = delete;

  uint16_t port() const;
  // "127.0.0.1:PORT", ready for qz_nds_connect.
  std::string address() const;

  void set_script(Script script);
  // Each answer frame is one write.
  void set_responder(Responder responder);
  // Requests received so far (whole frames), over every connection.
  std::vector<Bytes> requests() const;
  std::size_t connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qz::test
