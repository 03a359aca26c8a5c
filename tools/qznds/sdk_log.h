// Shows the SDK's log lines on stderr (--verbose), through its log
// callback.
#pragma once

#include <mutex>

namespace qznds {

class SdkLog {
 public:
  // Installs the process-wide callback when `echo` is set.
  explicit SdkLog(bool echo);
  ~SdkLog();
  SdkLog(const SdkLog &) = delete;
  SdkLog &operator=(const SdkLog &) = delete;

 private:
  static void receive(int level, const char *module, const char *function, const char *text, void *user);

  std::mutex mutex_;  // one line at a time on stderr
  bool echo_;
};

}  // namespace qznds
