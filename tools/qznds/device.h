// One SDK session with one device: init, connect, checked calls, uninit.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "errors.h"
#include "qz_net_dev_setting.h"

namespace qznds {

class Device {
 public:
  // Creates the session; ToolError when the SDK cannot start.
  Device();
  ~Device();
  Device(const Device &) = delete;
  Device &operator=(const Device &) = delete;

  // HOST[:PORT]; ToolError(unreachable) when no connection stands.
  void connect(const std::string &address);

  // Runs one SDK call and throws ToolError, naming `what` ("set framerate"),
  // when it failed. A call whose exchange failed fails even when it returned
  // true (the MQTT exports and the IP settings query do); an argument the SDK
  // refused counts only when `fn` returned false, so that `fn` can accept a
  // buffer it sized to learn the needed size.
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
  // The outcome of this thread's last call on the session, and the
  // ToolError for it, naming `what`.
  qz_ndsx_error last_error() const;
  ToolError failure(std::string_view what) const;

  qz_nds_handle handle_ = nullptr;
  std::string address_;
  bool record_read_ = false;
};

}  // namespace qznds
