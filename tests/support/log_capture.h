// Records the log lines written while it lives, through the qz_log sink.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qz::test {

struct LogLine {
  int level;
  std::string function;
  std::string message;
};

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  std::vector<LogLine> lines() const;
  std::vector<std::string> messages() const;
  bool contains(std::string_view message) const;
  bool contains(int level, std::string_view function, std::string_view message) const;
  // True when any line's message contains `text` anywhere (secrets checks).
  bool mentions(std::string_view text) const;
  void clear();

  void add(LogLine line);

 private:
  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
};

}  // namespace qz::test
