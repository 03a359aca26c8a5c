// Collects the SDK's log lines through the qz_log sink, so that a failed call
// can be explained (and, with --verbose, shows them on stderr).
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
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

 private:
  static void sink(void *user, int level, const char *module, const char *file, int line,
                   const char *function, const char *message);
  void add(int level, const char *function, const char *message);

  // Only the newest lines are kept; a call never needs more than a few.
  static constexpr std::size_t kMaxLines = 4096;

  mutable std::mutex mutex_;
  std::deque<LogLine> lines_;
  std::size_t dropped_ = 0;  // lines removed from the front
  bool echo_;
};

}  // namespace qznds
