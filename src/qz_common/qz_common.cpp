// qz_common stand-in: process information.
//
// qz_get_exe_path writes the directory of the running executable (without a trailing
// separator, except for a root directory such as "/"), NUL-terminated, into buffer and
// sets *size to its length. Results: 0 success; -1 buffer or size is null; -2 the buffer
// (capacity *size on entry) cannot hold the text and its NUL (nothing is written and
// *size is left unchanged); -3 the operating system did not tell the path.
// Linux: /proc/self/exe; Windows: GetModuleFileNameA.
#include <cstring>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "qz_common.h"

namespace {

bool exe_file_path(std::string &out) {
#ifdef _WIN32
  std::vector<char> buffer(MAX_PATH);
  for (;;) {
    const DWORD n = GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return false;
    if (n < buffer.size()) {
      out.assign(buffer.data(), n);
      return true;
    }
    if (buffer.size() >= 32768) return false;
    buffer.resize(buffer.size() * 2);
  }
#elif defined(__linux__)
  std::vector<char> buffer(4096);
  for (;;) {
    const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n <= 0) return false;
    if (static_cast<std::size_t>(n) < buffer.size()) {
      out.assign(buffer.data(), static_cast<std::size_t>(n));
      return true;
    }
    if (buffer.size() >= (1u << 16)) return false;
    buffer.resize(buffer.size() * 2);
  }
#else
  (void)out;
  return false;
#endif
}

bool is_separator(char c) {
#ifdef _WIN32
  return c == '\\' || c == '/';
#else
  return c == '/';
#endif
}

}  // namespace

extern "C" QZ_COMMON_API int qz_get_exe_path(char *buffer, uint32_t *size) {
  if (buffer == nullptr || size == nullptr) return -1;
  std::string path;
  if (!exe_file_path(path)) return -3;
  std::size_t cut = path.size();
  while (cut > 0 && !is_separator(path[cut - 1])) --cut;  // strip the file name
  if (cut == 0) return -3;
  std::size_t end = cut;
  while (end > 1 && is_separator(path[end - 1])) --end;  // strip the separator(s)
#ifdef _WIN32
  if (end == 2 && path[1] == ':') end = 3;  // keep "C:\"
#endif
  path.resize(end);
  if (static_cast<std::uint64_t>(path.size()) + 1 > *size) return -2;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  *size = static_cast<uint32_t>(path.size());
  return 0;
}
