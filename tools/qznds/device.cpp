#include "device.h"

#include <chrono>

#include "errors.h"

namespace qznds {

Device::Device(SdkLog &log) : log_(log) {
  if (!qz_nds_init(&handle_)) {
    if (handle_ != nullptr) qz_nds_uninit(&handle_);
    throw ToolError(ErrorKind::failed, "the SDK could not start a session (see the lines above)");
  }
}

Device::~Device() {
  if (handle_ != nullptr) qz_nds_uninit(&handle_);
}

void Device::connect(const std::string &address) {
  address_ = address;
  if (!qz_nds_connect(handle_, address.c_str())) {
    throw ToolError(ErrorKind::unreachable, "cannot connect to " + address + ": the device is unreachable");
  }
}

void Device::call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn) {
  const std::size_t mark = log_.mark();
  const auto start = std::chrono::steady_clock::now();
  const bool returned = fn(handle_);
  const auto elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  const auto lines = log_.lines_since(mark);
  if (auto failure = classify_call(returned, lines, elapsed)) {
    throw ToolError(failure->kind, std::string(what) + ": " + failure->reason, failure->response_code);
  }
}

void Device::read_record() {
  if (record_read_) return;
  call("read the configuration", [](qz_nds_handle h) { return qz_nds_get_machine_config_info(h); });
  record_read_ = true;
}

bool Device::reboot(std::chrono::milliseconds limit) {
  const std::size_t mark = log_.mark();
  // The device may drop the connection as soon as the frame is out: that
  // disconnect is the reboot itself, so only a refused send is a failure.
  if (!qz_nds_reboot(handle_)) {
    if (auto failure = classify_call(false, log_.lines_since(mark), std::chrono::milliseconds(0))) {
      throw ToolError(failure->kind, "reboot: " + failure->reason, failure->response_code);
    }
  }
  return log_.wait_for(mark, "NetDevSetting::on_disconnected", limit);
}

}  // namespace qznds
