// The files a user names (documents, inventories, secrets, account blocks),
// read whole with a cap on their size.
#pragma once

#include <cstddef>
#include <string>

namespace qznds {

// The file's bytes; ToolError(bad_value) "WHAT PATH cannot be read" or "...
// is larger than MAX bytes".
std::string read_user_file(const std::string &path, std::size_t max, const std::string &what);

}  // namespace qznds
