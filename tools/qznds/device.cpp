#include "device.h"

#include <memory>
#include <thread>

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

bool Device::connected() const {
  bool up = false;
  return qz_ndsx_is_connected(handle_, &up) && up;
}

void Device::call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn) {
  const bool returned = fn(handle_);
  const qz_ndsx_error error = last_error();
  if (!returned || (error.kind != QZ_NDSX_OK && error.kind != QZ_NDSX_BAD_ARGUMENT)) {
    throw sdk_failure(what, error);
  }
}

Json Device::text_call(std::string_view what, const std::function<bool(qz_nds_handle, char **)> &fn) {
  char *raw = nullptr;
  const bool ok = fn(handle_, &raw);
  const std::unique_ptr<char, void (*)(char *)> text(raw, qz_ndsx_free);
  if (text == nullptr) throw failure(what);
  Json out = Json::parse(text.get());
  if (!ok && !out.is_object()) throw failure(what);
  return out;
}

Json Device::get(const std::string &name) {
  return text_call("get " + name,
                   [&](qz_nds_handle h, char **out) { return qz_ndsx_get_setting(h, name.c_str(), out); });
}

Json Device::export_config(bool with_secrets) {
  return text_call("export", [&](qz_nds_handle h, char **out) {
    return qz_ndsx_export_config(h, with_secrets ? QZ_NDSX_WITH_SECRETS : 0, out);
  });
}

Json Device::apply(const Json &document, unsigned flags) {
  const std::string text = document.dump();
  return text_call("apply", [&](qz_nds_handle h, char **out) {
    return qz_ndsx_apply_config(h, text.c_str(), flags, out);
  });
}

bool Device::reboot(std::chrono::milliseconds limit) {
  // The device may drop the connection as soon as the frame is out: that
  // disconnect is the reboot itself, so only a refused send is a failure.
  if (!qz_nds_reboot(handle_)) throw failure("reboot");
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (!connected()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

ToolError report_failure(const Json &report) {
  const Json *why = report.contains("error") ? &report["error"] : nullptr;
  for (const Json &item : report.value("settings", Json::array())) {
    if (why == nullptr && item.contains("kind")) why = &item;
  }
  if (why == nullptr) return ToolError(ErrorKind::failed, "apply failed");
  std::optional<int> code;
  if (why->contains("code")) code = (*why)["code"].get<int>();
  return ToolError(kind_named(why->value("kind", "")), why->value("message", "apply failed"), code);
}

void check_report(const Json &result) {
  const Json &report = result.contains("report") ? result["report"] : result;
  if (!report.value("ok", false)) throw report_failure(report);
}

}  // namespace qznds
