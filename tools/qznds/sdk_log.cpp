#include "sdk_log.h"

#include <cstdio>

#include "qz_nds_ext.h"

namespace qznds {

namespace {

constexpr int kLogError = 4;

}  // namespace

SdkLog::SdkLog(bool echo) : echo_(echo) {
  if (echo_) qz_ndsx_set_log_callback(&SdkLog::receive, this);
}

SdkLog::~SdkLog() {
  if (echo_) qz_ndsx_set_log_callback(nullptr, nullptr);
}

void SdkLog::receive(int level, const char * /*module*/, const char *function, const char *text, void *user) {
  auto &self = *static_cast<SdkLog *>(user);
  std::lock_guard guard(self.mutex_);
  std::fprintf(stderr, "qz_nds %s %s: %s\n", level >= kLogError ? "ERROR" : "NOTICE",
               function != nullptr ? function : "", text != nullptr ? text : "");
}

}  // namespace qznds
