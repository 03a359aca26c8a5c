// One SDK session with one device: init, connect, checked calls, the
// configuration documents, uninit.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "catalogue.h"
#include "errors.h"
#include "qz_nds_config.h"

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
  bool connected() const;

  // Runs one SDK call and throws ToolError, naming `what` ("keep-alive"),
  // when it failed.
  void call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn);

  // One setting's value, the whole configuration, or a document applied
  // (its report, whatever the outcome of each setting).
  Json get(const std::string &name);
  Json export_config(bool with_secrets);
  Json apply(const Json &document, unsigned flags);

  // Sends the reboot request and waits, at most `limit`, for the device to
  // close the connection as it restarts; true when it did.
  bool reboot(std::chrono::milliseconds limit);

  const std::string &address() const { return address_; }

 private:
  qz_ndsx_error last_error() const;
  ToolError failure(std::string_view what) const;
  // The library's text from `fn`, parsed; ToolError naming `what` when the
  // call failed and gave no text.
  Json text_call(std::string_view what, const std::function<bool(qz_nds_handle, char **)> &fn);

  qz_nds_handle handle_ = nullptr;
  std::string address_;
};

// The failure a report stands for: what ended the apply, else its first
// setting that did not end unchanged or changed.
ToolError report_failure(const Json &report);
// Throws report_failure() unless the report (or result["report"]) is ok.
void check_report(const Json &result);

}  // namespace qznds
