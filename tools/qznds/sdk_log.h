// Collects the SDK's log lines through the qz_log sink, so that a failed call
// can be explained (and, with --verbose, shows them on stderr).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string_view>
#include <vector>

#include "errors.h"

namespace qznds {

class SdkLog {
 public:
  // Installs the process-wide sink; `echo` copies every line to stderr.
  explicit SdkLog(bool echo);
  ~SdkLog();
  SdkLog(const SdkLog &) = delete;
  SdkLog &operator=(const SdkLog &) = delete;

  // Number of lines seen so far: a mark for lines_since.
  std::size_t mark() const;
  std::vector<LogLine> lines_since(std::size_t mark) const;
  // Waits until a line from `function` arrives after `mark`, at most `limit`.
  bool wait_for(std::size_t mark, std::string_view function, std::chrono::milliseconds limit) const;

 private:
  static void sink(void *user, int level, const char *module, const char *file, int line,
                   const char *function, const char *message);
  void add(int level, const char *function, const char *message);

  // Only the newest lines are kept; a call never needs more than a few.
  static constexpr std::size_t kMaxLines = 4096;

  mutable std::mutex mutex_;
  mutable std::condition_variable added_;
  std::deque<LogLine> lines_;
  std::size_t dropped_ = 0;  // lines removed from the front
  bool echo_;
};

}  // namespace qznds
