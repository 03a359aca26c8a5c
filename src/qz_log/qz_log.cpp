// qz_log stand-in: process-wide, thread-safe logging.
//
// Sessions: every qz_log_init that succeeds counts one session, every qz_log_uninit
// removes one (never below 0). The log file is opened by the init that finds the count at
// 0 and closed by the uninit that brings it back to 0; the arguments of inits made while
// the file is open are ignored.
//
// File: <path>/log/qz.log, where <path> is the directory given to qz_log_init (the
// folder "log" is created). When that cannot be opened for appending, the system's
// temporary directory is used instead (<tmp>/log/qz.log; $TMPDIR or /tmp on POSIX,
// GetTempPath on Windows). qz_log_init returns false only when neither can be opened.
// Rotation: when a line would make qz.log exceed `size` MiB, qz.log becomes qz.1.log,
// qz.1.log becomes qz.2.log, ... and the oldest beyond `keep` files in all is deleted;
// keep < 1 is taken as 1 (only qz.log, truncated on rotation), size < 1 as 1 MiB.
//
// Line: "2026-11-23 04:36:28.123 INFO net_dev_setting src/x.cpp:42 Class::method: text"
// (local time with milliseconds, level name, module, file:line, function, message). One
// trailing newline ("\n" or "\r\n") of the message is dropped, so it is not doubled.
// Level names: 0 DEBUG, 1 INFO, 2 NOTICE, 3 WARN, 4 ERROR, any other value L<n>.
//
// QZ_LOG_STDERR=1 in the environment (read when the library is loaded and at every
// qz_log_init) mirrors every line to the standard error stream. Records printed while no
// session has the log open go to the sink and to the stderr mirror, if any, only.
//
// Test hook (qz_log_sink.h): the sink receives every record with the formatted message
// (without the dropped trailing newline). It is called under the log's mutex, so it must
// not call qz_log itself; once qz_log_set_sink returns, the previous sink is no longer
// called.
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

#include "qz_log.h"
#include "qz_log_sink.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *kFileStem = "qz";
constexpr const char *kFileExt = ".log";
constexpr unsigned kHasFile = 1u;
constexpr unsigned kHasSink = 2u;
constexpr unsigned kHasStderr = 4u;

bool env_stderr_enabled() {
  const char *value = std::getenv("QZ_LOG_STDERR");
  return value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
}

struct LogState {
  std::mutex mutex;
  int sessions = 0;
  std::FILE *file = nullptr;
  fs::path dir;  // the log folder of the open file
  int keep = 1;
  std::uint64_t max_bytes = 1u << 20;
  std::uint64_t written = 0;
  qz_log_sink_fn sink = nullptr;
  void *sink_user = nullptr;
  bool mirror_stderr = false;
  // Mirrors which destinations exist, for the cheap early exit of qz_log_print.
  std::atomic<unsigned> destinations{0};

  LogState() {
    mirror_stderr = env_stderr_enabled();
    update_destinations();
  }

  void update_destinations() {
    unsigned d = 0;
    if (file != nullptr) d |= kHasFile;
    if (sink != nullptr) d |= kHasSink;
    if (mirror_stderr) d |= kHasStderr;
    destinations.store(d, std::memory_order_release);
  }
};

LogState &state() {
  static LogState *s = new LogState();  // never destroyed: usable during exit
  return *s;
}

// Initialised at load so that QZ_LOG_STDERR applies before any init.
[[maybe_unused]] const bool g_loaded = (state(), true);

fs::path file_path(const fs::path &dir, int index) {
  char name[64];
  if (index > 0) {
    std::snprintf(name, sizeof(name), "%s.%d%s", kFileStem, index, kFileExt);
  } else {
    std::snprintf(name, sizeof(name), "%s%s", kFileStem, kFileExt);
  }
  return dir / name;
}

std::FILE *open_append(const fs::path &path) {
#ifdef _WIN32
  return _wfopen(path.wstring().c_str(), L"ab");
#elif defined(__linux__)
  return std::fopen(path.string().c_str(), "abe");  // e: close on exec
#else
  return std::fopen(path.string().c_str(), "ab");
#endif
}

// Opens <base>/log/qz.log for appending; sets the state's file, dir and written size.
bool open_in(LogState &s, const fs::path &base) {
  if (base.empty()) return false;
  std::error_code ec;
  const fs::path dir = base / "log";
  fs::create_directories(dir, ec);
  if (!fs::is_directory(dir, ec)) return false;
  std::FILE *f = open_append(file_path(dir, 0));
  if (f == nullptr) return false;
  std::fseek(f, 0, SEEK_END);
  const long size = std::ftell(f);
  s.file = f;
  s.dir = dir;
  s.written = size > 0 ? static_cast<std::uint64_t>(size) : 0;
  return true;
}

fs::path temp_dir() {
#ifdef _WIN32
  char buffer[MAX_PATH + 1];
  const DWORD n = GetTempPathA(sizeof(buffer), buffer);
  if (n > 0 && n < sizeof(buffer)) return fs::path(std::string(buffer, n));
  return {};
#else
  std::error_code ec;
  fs::path p = fs::temp_directory_path(ec);  // $TMPDIR (and the like) or /tmp
  if (ec) return {};
  return p;
#endif
}

void rotate(LogState &s) {
  std::fclose(s.file);
  s.file = nullptr;
  std::error_code ec;
  if (s.keep > 1) {
    fs::remove(file_path(s.dir, s.keep - 1), ec);
    for (int i = s.keep - 2; i >= 0; --i) {
      const fs::path from = file_path(s.dir, i);
      if (fs::exists(from, ec)) fs::rename(from, file_path(s.dir, i + 1), ec);
    }
  } else {
    fs::remove(file_path(s.dir, 0), ec);
  }
  s.file = open_append(file_path(s.dir, 0));
  s.written = 0;
  if (s.file != nullptr) {
    std::fseek(s.file, 0, SEEK_END);
    const long size = std::ftell(s.file);
    s.written = size > 0 ? static_cast<std::uint64_t>(size) : 0;
  }
}

// Levels without a name are shown as L<number>.
const char *level_name(int level, char (&buffer)[16]) {
  if (const char *name = qz_log_level_name(level)) return name;
  std::snprintf(buffer, sizeof(buffer), "L%d", level);
  return buffer;
}

void format_time(char (&buffer)[32]) {
  const auto now = std::chrono::system_clock::now();
  const std::time_t secs = std::chrono::system_clock::to_time_t(now);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm tm{};
#ifdef _WIN32
  localtime_s(&tm, &secs);
#else
  localtime_r(&secs, &tm);
#endif
  char base[24];
  std::strftime(base, sizeof(base), "%Y-%m-%d %H:%M:%S", &tm);
  std::snprintf(buffer, sizeof(buffer), "%s.%03d", base, static_cast<int>(millis < 0 ? 0 : millis));
}

}  // namespace

extern "C" {

QZ_LOG_API bool qz_log_init(const char *path, int keep, int size) {
  LogState &s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.mirror_stderr = env_stderr_enabled();
  if (s.sessions > 0 && s.file != nullptr) {
    ++s.sessions;
    s.update_destinations();
    return true;
  }
  s.keep = keep < 1 ? 1 : keep;
  s.max_bytes = static_cast<std::uint64_t>(size < 1 ? 1 : size) << 20;
  bool opened = false;
  if (path != nullptr && path[0] != '\0') opened = open_in(s, fs::path(path));
  if (!opened) opened = open_in(s, temp_dir());
  if (opened) ++s.sessions;
  s.update_destinations();
  return opened;
}

QZ_LOG_API void qz_log_uninit(void) {
  LogState &s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (s.sessions <= 0) return;
  if (--s.sessions == 0 && s.file != nullptr) {
    std::fclose(s.file);
    s.file = nullptr;
  }
  s.update_destinations();
}

QZ_LOG_API const char *qz_log_level_name(int level) {
  static const char *const kNames[] = {"DEBUG", "INFO", "NOTICE", "WARN", "ERROR"};
  return level >= 0 && level < 5 ? kNames[level] : nullptr;
}

QZ_LOG_API void qz_log_set_sink(qz_log_sink_fn sink, void *user) {
  LogState &s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.sink = sink;
  s.sink_user = sink != nullptr ? user : nullptr;
  s.update_destinations();
}

QZ_LOG_API void qz_log_print(int level, const char *module, const char *file, int line, const char *function,
                             const char *format, ...) {
  LogState &s = state();
  if (s.destinations.load(std::memory_order_acquire) == 0) return;

  // The message: a stack buffer, the heap for longer texts.
  char stack_buffer[1024];
  std::vector<char> heap_buffer;
  const char *message = "";
  std::size_t message_length = 0;
  if (format != nullptr) {
    va_list args;
    va_start(args, format);
    va_list args_copy;
    va_copy(args_copy, args);
    const int n = std::vsnprintf(stack_buffer, sizeof(stack_buffer), format, args);
    va_end(args);
    if (n >= 0 && static_cast<std::size_t>(n) < sizeof(stack_buffer)) {
      message = stack_buffer;
      message_length = static_cast<std::size_t>(n);
    } else if (n >= 0) {
      heap_buffer.resize(static_cast<std::size_t>(n) + 1);
      std::vsnprintf(heap_buffer.data(), heap_buffer.size(), format, args_copy);
      message = heap_buffer.data();
      message_length = static_cast<std::size_t>(n);
    }
    va_end(args_copy);
  }
  // Drop one trailing newline (so that it is not doubled).
  char *writable = const_cast<char *>(message);
  if (message_length > 0 && message[message_length - 1] == '\n') {
    --message_length;
    if (message_length > 0 && message[message_length - 1] == '\r') --message_length;
    writable[message_length] = '\0';
  }

  if (module == nullptr) module = "-";
  if (file == nullptr) file = "-";
  if (function == nullptr) function = "-";

  char level_buffer[16];
  const char *level_text = level_name(level, level_buffer);

  std::lock_guard<std::mutex> lock(s.mutex);
  if (s.sink != nullptr) s.sink(s.sink_user, level, module, file, line, function, message);
  if (s.file == nullptr && !s.mirror_stderr) return;

  char time_text[32];
  format_time(time_text);
  char prefix_stack[512];
  int prefix_length = std::snprintf(prefix_stack, sizeof(prefix_stack), "%s %s %s %s:%d %s: ", time_text,
                                    level_text, module, file, line, function);
  std::string prefix_heap;
  const char *prefix = prefix_stack;
  if (prefix_length < 0) {
    prefix_length = 0;
    prefix_stack[0] = '\0';
  } else if (static_cast<std::size_t>(prefix_length) >= sizeof(prefix_stack)) {
    prefix_heap.resize(static_cast<std::size_t>(prefix_length) + 1);
    std::snprintf(prefix_heap.data(), prefix_heap.size(), "%s %s %s %s:%d %s: ", time_text, level_text,
                  module, file, line, function);
    prefix = prefix_heap.c_str();
  }
  const std::uint64_t line_length = static_cast<std::uint64_t>(prefix_length) + message_length + 1;

  if (s.file != nullptr) {
    if (s.written > 0 && s.written + line_length > s.max_bytes) rotate(s);
    if (s.file != nullptr) {
      std::fwrite(prefix, 1, static_cast<std::size_t>(prefix_length), s.file);
      std::fwrite(message, 1, message_length, s.file);
      std::fputc('\n', s.file);
      std::fflush(s.file);
      s.written += line_length;
    } else {
      s.update_destinations();
    }
  }
  if (s.mirror_stderr) {
    std::fwrite(prefix, 1, static_cast<std::size_t>(prefix_length), stderr);
    std::fwrite(message, 1, message_length, stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
  }
}

}  // extern "C"
