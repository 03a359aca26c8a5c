// One SDK session with one device: init, connect, checked calls, uninit.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "qz_net_dev_setting.h"
#include "sdk_log.h"

namespace qznds {

class Device {
 public:
  // Creates the session; ToolError when the SDK cannot start.
  explicit Device(SdkLog &log);
  ~Device();
  Device(const Device &) = delete;
  Device &operator=(const Device &) = delete;

  // HOST[:PORT]; ToolError(unreachable) when no connection stands.
  void connect(const std::string &address);

  // Runs one SDK call and throws ToolError, naming `what` ("set framerate"),
  // when it failed or the log shows that its exchange failed.
  void call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn);

  // Reads the machine configuration record once per session: the cached
  // getters answer from it and the passive wireless requests need its serial
  // number.
  void read_record();

  // Sends the reboot request and waits, at most `limit`, for the device to
  // close the connection as it restarts; true when it did.
  bool reboot(std::chrono::milliseconds limit);

  const std::string &address() const { return address_; }

 private:
  SdkLog &log_;
  qz_nds_handle handle_ = nullptr;
  std::string address_;
  bool record_read_ = false;
};

}  // namespace qznds
