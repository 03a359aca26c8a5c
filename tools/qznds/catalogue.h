// The library's settings catalogue as the tool uses it: finding a setting by
// name, turning command-line words into a setting's JSON value, and the help
// text listing every setting.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qznds {

using Json = nlohmann::ordered_json;
using Args = std::vector<std::string>;

// One entry of qz_ndsx_settings_catalogue().
struct CatalogueEntry {
  std::string name;
  std::string family;
  std::string form;
  std::string help;
  std::string type;                                         // boolean, integer, text, object, time, bytes
  std::vector<std::pair<std::string, std::string>> fields;  // name, type of an object's members
  bool readable = false;
  bool secret = false;
};

const std::vector<CatalogueEntry> &catalogue();
// Null when there is no such setting; '-' and '_' are the same.
const CatalogueEntry *find_entry(std::string_view name);

// The JSON value of `set NAME WORDS...`: on/off words for booleans, decimal
// or 0x numbers, texts as given, an object's members in the order of the
// form, a file's bytes for a block. ToolError(bad_value) naming the form.
Json value_from_words(const CatalogueEntry &entry, const Args &words);

}  // namespace qznds
