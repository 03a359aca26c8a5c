#include "sdk_log.h"

#include <cstdio>
#include <string>

#include "qz_log_sink.h"

namespace qznds {

SdkLog::SdkLog(bool echo) : echo_(echo) {
  qz_log_set_sink(&SdkLog::sink, this);
}

SdkLog::~SdkLog() {
  qz_log_set_sink(nullptr, nullptr);
}

std::size_t SdkLog::mark() const {
  std::lock_guard guard(mutex_);
  return dropped_ + lines_.size();
}

std::vector<LogLine> SdkLog::lines_since(std::size_t mark) const {
  std::lock_guard guard(mutex_);
  const std::size_t first = mark > dropped_ ? mark - dropped_ : 0;
  if (first >= lines_.size()) return {};
  return {lines_.begin() + static_cast<std::ptrdiff_t>(first), lines_.end()};
}

bool SdkLog::wait_for(std::size_t mark, std::string_view function, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return added_.wait_for(lock, limit, [&] {
    for (std::size_t i = mark > dropped_ ? mark - dropped_ : 0; i < lines_.size(); ++i) {
      if (lines_[i].function == function) return true;
    }
    return false;
  });
}

void SdkLog::sink(void *user, int level, const char * /*module*/, const char * /*file*/, int /*line*/,
                  const char *function, const char *message) {
  static_cast<SdkLog *>(user)->add(level, function, message);
}

void SdkLog::add(int level, const char *function, const char *message) {
  LogLine line{level, function != nullptr ? function : "", message != nullptr ? message : ""};
  std::lock_guard guard(mutex_);
  if (echo_) {
    const char *name = qz_log_level_name(level);
    std::fprintf(stderr, "qz_nds %s %s: %s\n", name != nullptr ? name : "LOG", line.function.c_str(),
                 line.message.c_str());
  }
  if (lines_.size() == kMaxLines) {
    lines_.pop_front();
    ++dropped_;
  }
  lines_.push_back(std::move(line));
  added_.notify_all();
}

}  // namespace qznds
