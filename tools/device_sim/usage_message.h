// The one-line message of a command-line mistake, shared by qznds and
// qznds-sim: an argument that no command or option took is named as an
// unknown option or command rather than reported as a missing subcommand.
// Header-only, for the programs that use CLI11.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qz::sim {

inline std::string usage_message(const CLI::ParseError &error, const CLI::App &app) {
  const std::vector<std::string> rest = app.remaining(true);
  if (rest.empty()) return error.what();
  const std::string &first = rest.front();
  if (first.size() > 1 && first.front() == '-') return "unknown option: " + first;
  const bool takes_commands = !app.get_subcommands({}).empty();
  if (takes_commands && app.get_subcommands().empty()) return "unknown command: " + first;
  return "unexpected argument: " + first;
}

}  // namespace qz::sim
