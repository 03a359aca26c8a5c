#include "log_capture.h"

#include "qz_log_sink.h"

namespace qz::test {

namespace {

void sink(void *user, int level, const char *, const char *, int, const char *function, const char *message) {
  std::string text = message ? message : "";
  while (!text.empty() && text.back() == '\n') text.pop_back();
  static_cast<LogCapture *>(user)->add({level, function ? function : "", std::move(text)});
}

}  // namespace

LogCapture::LogCapture() {
  qz_log_set_sink(&sink, this);
}

LogCapture::~LogCapture() {
  qz_log_set_sink(nullptr, nullptr);
}

void LogCapture::add(LogLine line) {
  std::lock_guard lock(mutex_);
  lines_.push_back(std::move(line));
}

std::vector<LogLine> LogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> LogCapture::messages() const {
  std::vector<std::string> out;
  for (const LogLine &line : lines()) out.push_back(line.message);
  return out;
}

bool LogCapture::contains(std::string_view message) const {
  for (const LogLine &line : lines())
    if (line.message == message) return true;
  return false;
}

bool LogCapture::contains(int level, std::string_view function, std::string_view message) const {
  for (const LogLine &line : lines())
    if (line.level == level && line.function == function && line.message == message) return true;
  return false;
}

bool LogCapture::mentions(std::string_view text) const {
  for (const LogLine &line : lines())
    if (line.message.find(text) != std::string::npos) return true;
  return false;
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace qz::test
