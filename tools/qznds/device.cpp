#include "device.h"

#include <thread>

#include "qz_nds_ext.h"

namespace qznds {

Device::Device() {
  if (!qz_nds_init(&handle_)) {
    qz_ndsx_error error{};
    qz_ndsx_last_error(nullptr, &error);
    if (handle_ != nullptr) qz_nds_uninit(&handle_);
    throw sdk_failure("start a session", error);
  }
}

Device::~Device() {
  if (handle_ != nullptr) qz_nds_uninit(&handle_);
}

qz_ndsx_error Device::last_error() const {
  qz_ndsx_error error{};
  qz_ndsx_last_error(handle_, &error);
  return error;
}

ToolError Device::failure(std::string_view what) const {
  return sdk_failure(what, last_error());
}

void Device::connect(const std::string &address) {
  address_ = address;
  if (!qz_nds_connect(handle_, address.c_str())) throw failure("connect");
}

void Device::call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn) {
  const bool returned = fn(handle_);
  const qz_ndsx_error error = last_error();
  if (!returned || (error.kind != QZ_NDSX_OK && error.kind != QZ_NDSX_BAD_ARGUMENT)) {
    throw sdk_failure(what, error);
  }
}

void Device::read_record() {
  if (record_read_) return;
  call("read the configuration", [](qz_nds_handle h) { return qz_nds_get_machine_config_info(h); });
  record_read_ = true;
}

bool Device::reboot(std::chrono::milliseconds limit) {
  // The device may drop the connection as soon as the frame is out: that
  // disconnect is the reboot itself, so only a refused send is a failure.
  if (!qz_nds_reboot(handle_)) throw failure("reboot");
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    bool connected = true;
    if (qz_ndsx_is_connected(handle_, &connected) && !connected) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace qznds
