#include "files.h"

#include <fstream>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "errors.h"

namespace qznds {

std::string read_user_file(const std::string &path, std::size_t max, const std::string &what) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw ToolError(ErrorKind::bad_value, what + " " + path + " cannot be read");
  std::string bytes;
  char chunk[65536];
  while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
    bytes.append(chunk, static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > max) {
      throw ToolError(ErrorKind::bad_value,
                      what + " " + path + " is larger than " + std::to_string(max) + " bytes");
    }
  }
  return bytes;
}

bool is_terminal(std::FILE *stream) {
#ifdef _WIN32
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

}  // namespace qznds
