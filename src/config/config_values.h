// Values of the configuration documents: checked reading of JSON values into
// what the exports take (a failure is a Failure of kind bad argument naming
// the setting and the accepted form), and the JSON form of device texts.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "system_time.h"

namespace qz::config {

using Json = nlohmann::ordered_json;

// Why a setting could not be read or written: a qz_ndsx_error_kind, the
// device's response code for a refusal, and a sentence for people.
class Failure : public std::runtime_error {
 public:
  Failure(int kind, const std::string &message, int response_code = 0)
      : std::runtime_error(message), kind_(kind), response_code_(response_code) {}
  int kind() const { return kind_; }
  int response_code() const { return response_code_; }

 private:
  int kind_;
  int response_code_;
};

// A caller's value that does not have the accepted form.
[[noreturn]] void bad_value(std::string_view label, const Json &value, std::string_view expected);

bool bool_value(const Json &value, std::string_view label);
long long integer_value(const Json &value, long long lo, long long hi, std::string_view label);
// A text (a JSON string, or {"hex": "..."} for bytes that are not UTF-8) of
// at most max_bytes bytes.
std::string text_value(const Json &value, std::size_t max_bytes, std::string_view label);

// A device text: a JSON string when it is valid UTF-8, else {"hex": "..."}.
Json text_json(std::string_view bytes);
std::string to_hex(const uint8_t *data, std::size_t size);
bool from_hex(std::string_view text, std::string &out);

// The system time block for "now" (the local clock), "YYYY-MM-DDTHH:MM:SS"
// or "hex:" and 40 hex digits (a block of any layout). `shown` receives the
// time as text ("" for a hex block).
wire::SystemTimeBlock system_time_value(const Json &value, std::string_view label, std::string &shown);

// The kind's name in documents and reports ("timeout", "refused", ...).
const char *kind_name(int kind);
// The kind of a name kind_name gives; QZ_NDSX_BAD_ARGUMENT for another name.
int kind_of(std::string_view name);

}  // namespace qz::config
