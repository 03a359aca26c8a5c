// The files a user names (documents, inventories, secrets, account blocks),
// read whole with a cap on their size, and whether a stream is a terminal.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace qznds {

// The file's bytes; ToolError(bad_value) "WHAT PATH cannot be read" or "...
// is larger than MAX bytes".
std::string read_user_file(const std::string &path, std::size_t max, const std::string &what);

// Whether `stream` (stdin, stderr) is a terminal rather than a file or pipe.
bool is_terminal(std::FILE *stream);

}  // namespace qznds
