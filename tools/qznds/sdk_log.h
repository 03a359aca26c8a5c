// Receives the SDK's log lines through its log callback: shows them on
// stderr with --verbose, and tells when the device closed the connection
// (a reboot waits for that).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace qznds {

class SdkLog {
 public:
  // Installs the process-wide callback; `echo` copies every line to stderr.
  explicit SdkLog(bool echo);
  ~SdkLog();
  SdkLog(const SdkLog &) = delete;
  SdkLog &operator=(const SdkLog &) = delete;

  // Connections closed so far: a mark for wait_for_close.
  std::size_t closes() const;
  // Waits until a connection closes after `mark`, at most `limit`.
  bool wait_for_close(std::size_t mark, std::chrono::milliseconds limit) const;

 private:
  static void receive(int level, const char *module, const char *function, const char *text, void *user);

  mutable std::mutex mutex_;
  mutable std::condition_variable closed_;
  std::size_t closes_ = 0;
  bool echo_;
};

}  // namespace qznds
