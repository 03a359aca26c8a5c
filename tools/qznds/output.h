// What the tool prints: results and errors as text for people or, with
// --json, as one JSON document on stdout; and the help texts built from the
// settings table and the exit codes.
#pragma once

#include <string>
#include <string_view>

#include "errors.h"
#include "values.h"

namespace qznds {

class Output {
 public:
  explicit Output(bool json) : json_(json) {}

  // A result document: {"command": ..., ...}; JSON gets "ok": true in front.
  void success(const Json &doc) const;
  // JSON: {"ok": false, "command": ..., "error": {...}} on stdout; text: stderr.
  void failure(std::string_view command, const ToolError &error) const;
  // A line of progress (text mode only).
  void progress(const std::string &line) const;

 private:
  bool json_;
};

// Text of --help after the options: every setting with its value form, then
// the exit codes.
std::string help_footer();
// Every setting with its family, form, help and whether it reads and writes.
Json settings_list();

}  // namespace qznds
