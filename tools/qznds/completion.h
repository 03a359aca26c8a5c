// Shell completion for qznds, generated from the command line's own
// definition and the settings table, so that it lists what the tool takes.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qznds {

// A bash completion script: the options and commands, the setting names after
// get (readable ones) and set (writable ones), and each command's options.
std::string bash_completion(const CLI::App &app);

}  // namespace qznds
