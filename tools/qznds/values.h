// Values on the command line and in the output: parsing with range and form
// checks (failures are ToolError(bad_value) naming the accepted form), and the
// JSON form of device texts and byte blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "system_time.h"

namespace qznds {

using Json = nlohmann::ordered_json;
using Args = std::vector<std::string>;

// "on", "off", "1", "0", "true", "false", "yes", "no".
bool parse_on_off(const std::string &text, std::string_view label);
// A decimal integer (or 0x hexadecimal) within [lo, hi].
long long parse_integer(const std::string &text, long long lo, long long hi, std::string_view label);
// A text of at most max_bytes bytes.
std::string parse_text(const std::string &text, std::size_t max_bytes, std::string_view label);
// Throws unless there are `count` values, saying the form.
void expect_count(const Args &args, std::size_t count, std::string_view setting, std::string_view form);

// A device text: a JSON string when it is valid UTF-8, else {"hex": "..."}.
Json text_json(std::string_view bytes);
// The bytes of a text_json value.
std::string text_bytes(const Json &value);
std::string to_hex(const uint8_t *data, std::size_t size);

// The 20-byte system time block, in the tools' layout (system_time.h) for
// "now" (the local clock) and "YYYY-MM-DDTHH:MM:SS"; "hex:" and 40 hex
// digits give any other layout.
using qz::wire::CivilTime;
using qz::wire::kSystemTimeSize;
using qz::wire::SystemTimeBlock;

// "now", "YYYY-MM-DDTHH:MM:SS" or "hex:" + 40 hex digits. `shown` receives
// the time as text ("" for a hex block).
SystemTimeBlock parse_system_time(const std::string &text, std::string_view label, std::string &shown);

}  // namespace qznds
