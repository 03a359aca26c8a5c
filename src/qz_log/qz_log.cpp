// qz_log stand-in: process-wide, thread-safe logging.
//
// Sessions: every qz_log_init counts one session, every qz_log_uninit removes one (never
// below 0). The init that finds the count at 0 chooses the folder and opens the log file;
// the uninit that brings it back to 0 closes it. Inits made while a session is open change
// nothing but the count (and the stderr mirror, below). qz_log_init always succeeds: a log
// that cannot be written leaves the process without file logging, not without sessions.
//
// Folder, chosen from the environment at the first session (the path argument of
// qz_log_init, the executable's folder, is not used):
//   1. QZ_LOG_DIR, when set and not empty;
//   2. Windows: %LOCALAPPDATA%\qz_nds;
//   3. $XDG_STATE_HOME/qz_nds, when XDG_STATE_HOME is an absolute path;
//   4. $HOME/.local/state/qz_nds (HOME when absolute, else the user database).
// Missing folders are created (mode 0700 on POSIX). Nothing else is tried: a log is never
// put into a folder shared with other users. When the folder cannot be created or the file
// cannot be opened, file logging is off until the next first session, and one line on
// stderr says why (once per process). QZ_LOG=off (or 0, false, no; any case) turns file
// logging off without a message.
//
// File: <folder>/qz.log. Rotation: when a line would make qz.log exceed `size` MiB, qz.log
// becomes qz.1.log, qz.1.log becomes qz.2.log, ... and the oldest beyond `keep` files in
// all is deleted; keep < 1 is taken as 1 (only qz.log, truncated on rotation), size < 1 as
// 1 MiB.
//
// Line: "2026-11-23 04:36:28.123 INFO net_dev_setting src/x.cpp:42 Class::method: text"
// (local time with milliseconds, level name, module, file:line, function, message). One
// trailing newline ("\n" or "\r\n") of the message is dropped, so it is not doubled.
// Level names: 0 DEBUG, 1 INFO, 2 NOTICE, 3 WARN, 4 ERROR, any other value L<n>.
//
// QZ_LOG_STDERR=1 in the environment (read when the library is loaded and at every
// qz_log_init) mirrors every line to the standard error stream, whether or not a file is
// written. Records printed while no session is open go to the sink and to the stderr
// mirror, if any, only.
//
// Test hook (qz_log_sink.h): the sink receives every record with the formatted message
// (without the dropped trailing newline). It is called under the log's mutex, so it must
// not call qz_log itself; once qz_log_set_sink returns, the previous sink is no longer
// called.
#include <atomic>
#include <cctype>
#include <cerrno>
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
#else
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
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

// QZ_LOG=off, 0, false or no (any case) turns file logging off.
bool env_file_logging_off() {
  const char *value = std::getenv("QZ_LOG");
  if (value == nullptr) return false;
  std::string lower;
  for (const char *c = value; *c != '\0'; ++c)
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
  return lower == "off" || lower == "0" || lower == "false" || lower == "no";
}

// An environment variable as a path; empty when unset or empty.
fs::path env_path(const char *name) {
#ifdef _WIN32
  // The wide environment keeps folder names outside the ANSI code page intact.
  const std::wstring wide_name(name, name + std::strlen(name));
  std::wstring value(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n =
        GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (n == 0) return {};
    if (n < value.size()) return fs::path(value.substr(0, n));
    value.resize(n);  // n counts the terminating null here
  }
#else
  const char *value = std::getenv(name);
  return value != nullptr ? fs::path(value) : fs::path();
#endif
}

#ifndef _WIN32
// $HOME when it is an absolute path, else the home folder of the user database.
fs::path home_dir() {
  fs::path home = env_path("HOME");
  if (home.is_absolute()) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd *found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/') {
    return fs::path(found->pw_dir);
  }
  return {};
}
#endif

// The per-user log folder, or QZ_LOG_DIR; empty with `why` set when there is none.
fs::path choose_folder(std::string &why) {
  if (fs::path dir = env_path("QZ_LOG_DIR"); !dir.empty()) return dir;
#ifdef _WIN32
  const fs::path local = env_path("LOCALAPPDATA");
  if (local.is_absolute()) return local / "qz_nds";
  why = "LOCALAPPDATA is not set (set QZ_LOG_DIR to choose a folder)";
#else
  const fs::path state = env_path("XDG_STATE_HOME");
  if (state.is_absolute()) return state / "qz_nds";
  const fs::path home = home_dir();
  if (!home.empty()) return home / ".local" / "state" / "qz_nds";
  why = "no home folder (set QZ_LOG_DIR to choose a folder)";
#endif
  return {};
}

// Creates the missing folders of `dir`, readable by the owner only.
bool make_private_dirs(const fs::path &dir, std::error_code &ec) {
  if (fs::is_directory(dir, ec)) return true;
  const fs::path parent = dir.parent_path();
  if (!parent.empty() && parent != dir && !make_private_dirs(parent, ec)) return false;
#ifdef _WIN32
  fs::create_directory(dir, ec);  // the folders of %LOCALAPPDATA% are private already
#else
  if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
    ec.assign(errno, std::generic_category());
    return false;
  }
#endif
  if (fs::is_directory(dir, ec)) return true;
  if (!ec) ec = std::make_error_code(std::errc::not_a_directory);
  return false;
}

std::string display(const fs::path &path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
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
  bool warned = false;  // the "no log file" line was printed
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

// (Re)opens <dir>/qz.log of the state for appending; sets the state's file and written size.
bool open_file(LogState &s) {
  s.file = open_append(file_path(s.dir, 0));
  s.written = 0;
  if (s.file == nullptr) return false;
  std::fseek(s.file, 0, SEEK_END);
  const long size = std::ftell(s.file);
  s.written = size > 0 ? static_cast<std::uint64_t>(size) : 0;
  return true;
}

// Opens the log file in the chosen folder; returns why there is none ("" when open, or off
// by request).
std::string open_log(LogState &s) {
  if (env_file_logging_off()) return {};
  std::string why;
  const fs::path chosen = choose_folder(why);
  if (chosen.empty()) return why;
  std::error_code ec;
  // Absolute, so that rotation does not follow a later change of the working directory.
  s.dir = fs::absolute(chosen, ec);
  if (ec) s.dir = chosen;
  if (!make_private_dirs(s.dir, ec)) return "cannot create \"" + display(s.dir) + "\": " + ec.message();
  if (!open_file(s)) {
    const int error = errno;
    return "cannot open \"" + display(file_path(s.dir, 0)) + "\": " + std::generic_category().message(error);
  }
  return {};
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
  open_file(s);
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

// The path (the executable's folder) is not used: the environment chooses the folder.
QZ_LOG_API bool qz_log_init(const char * /*path*/, int keep, int size) {
  LogState &s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.mirror_stderr = env_stderr_enabled();
  if (s.sessions++ == 0) {
    s.keep = keep < 1 ? 1 : keep;
    s.max_bytes = static_cast<std::uint64_t>(size < 1 ? 1 : size) << 20;
    const std::string why = open_log(s);
    if (!why.empty() && !s.warned) {
      s.warned = true;
      std::fprintf(stderr, "qz_log: file logging is off: %s\n", why.c_str());
    }
  }
  s.update_destinations();
  return true;
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
