#include "sdk_log.h"

#include <cstdio>
#include <string_view>

#include "qz_nds_ext.h"

namespace qznds {

namespace {

// The session logs this when its connection ends, whoever ended it.
constexpr std::string_view kOnDisconnected = "NetDevSetting::on_disconnected";
constexpr int kLogError = 4;

}  // namespace

SdkLog::SdkLog(bool echo) : echo_(echo) {
  qz_ndsx_set_log_callback(&SdkLog::receive, this);
}

SdkLog::~SdkLog() {
  qz_ndsx_set_log_callback(nullptr, nullptr);
}

std::size_t SdkLog::closes() const {
  std::lock_guard guard(mutex_);
  return closes_;
}

bool SdkLog::wait_for_close(std::size_t mark, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return closed_.wait_for(lock, limit, [&] { return closes_ > mark; });
}

void SdkLog::receive(int level, const char * /*module*/, const char *function, const char *text, void *user) {
  auto &self = *static_cast<SdkLog *>(user);
  const std::string_view name = function != nullptr ? function : "";
  std::lock_guard guard(self.mutex_);
  if (self.echo_) {
    std::fprintf(stderr, "qz_nds %s %.*s: %s\n", level >= kLogError ? "ERROR" : "NOTICE",
                 static_cast<int>(name.size()), name.data(), text != nullptr ? text : "");
  }
  if (name == kOnDisconnected) {
    ++self.closes_;
    self.closed_.notify_all();
  }
}

}  // namespace qznds
