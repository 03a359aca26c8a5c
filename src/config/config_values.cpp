#include "config_values.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "qz_nds_ext.h"

namespace qz::config {

namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// "YYYY-MM-DDTHH:MM:SS" (a space instead of the T is accepted too).
bool parse_civil(const std::string &text, wire::CivilTime &out) {
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  char sep = 0;
  int consumed = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &y, &mo, &d, &sep, &h, &mi, &s, &consumed) !=
      7) {
    return false;
  }
  if (static_cast<std::size_t>(consumed) != text.size() || (sep != 'T' && sep != ' ')) return false;
  out = wire::CivilTime{y, mo, d, h, mi, s, 0};
  return wire::valid_time(out);
}

// A value as the message shows it: long texts are cut.
std::string shown(const Json &value) {
  constexpr std::size_t kShownMax = 40;
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (text.size() > kShownMax) text = text.substr(0, kShownMax) + "...";
  return text;
}

}  // namespace

void bad_value(std::string_view label, const Json &value, std::string_view expected) {
  throw Failure(QZ_NDSX_BAD_ARGUMENT, "bad value for " + std::string(label) + ": " + shown(value) +
                                          " is not " + std::string(expected));
}

bool bool_value(const Json &value, std::string_view label) {
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number_integer() && (value == 0 || value == 1)) return value == 1;
  bad_value(label, value, "true or false");
}

long long integer_value(const Json &value, long long lo, long long hi, std::string_view label) {
  const std::string expected = "an integer in " + std::to_string(lo) + ".." + std::to_string(hi);
  if (!value.is_number_integer()) bad_value(label, value, expected);
  // Unsigned values beyond the signed range are out of every range used.
  if (value.is_number_unsigned() && value.get<unsigned long long>() > static_cast<unsigned long long>(hi))
    bad_value(label, value, expected);
  const auto number = value.get<long long>();
  if (number < lo || number > hi) bad_value(label, value, expected);
  return number;
}

std::string text_value(const Json &value, std::size_t max_bytes, std::string_view label) {
  std::string bytes;
  if (value.is_string()) {
    bytes = value.get<std::string>();
  } else if (!(value.is_object() && value.size() == 1 && value.contains("hex") && value["hex"].is_string() &&
               from_hex(value["hex"].get<std::string>(), bytes))) {
    bad_value(label, value, "a text (or {\"hex\": HEXDIGITS})");
  }
  if (bytes.size() > max_bytes) {
    throw Failure(QZ_NDSX_BAD_ARGUMENT, "bad value for " + std::string(label) + ": " +
                                            std::to_string(bytes.size()) + " bytes, at most " +
                                            std::to_string(max_bytes) + " are accepted");
  }
  return bytes;
}

Json text_json(std::string_view bytes) {
  Json value = std::string(bytes);
  try {
    (void)value.dump();  // throws on bytes that are not UTF-8
    return value;
  } catch (const Json::type_error &) {
    return Json{{"hex", to_hex(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size())}};
  }
}

std::string to_hex(const uint8_t *data, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(size * 2);
  for (std::size_t i = 0; i < size; ++i) {
    out.push_back(kDigits[data[i] >> 4]);
    out.push_back(kDigits[data[i] & 0x0F]);
  }
  return out;
}

bool from_hex(std::string_view text, std::string &out) {
  if (text.size() % 2 != 0) return false;
  out.clear();
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = hex_digit(text[i]);
    const int low = hex_digit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    out.push_back(static_cast<char>(high * 16 + low));
  }
  return true;
}

wire::SystemTimeBlock system_time_value(const Json &value, std::string_view label, std::string &shown_time) {
  constexpr std::string_view kForm =
      "\"now\", \"YYYY-MM-DDTHH:MM:SS\" (1970..2099) or \"hex:\" and 40 hex digits";
  if (!value.is_string()) bad_value(label, value, kForm);
  const std::string text = value.get<std::string>();
  if (lower(text) == "now") {
    const wire::CivilTime now = wire::local_now();
    shown_time = wire::format_time(now, false);
    return wire::encode_system_time(now);
  }
  if (text.rfind("hex:", 0) == 0) {
    std::string bytes;
    if (!from_hex(std::string_view(text).substr(4), bytes) || bytes.size() != wire::kSystemTimeSize)
      bad_value(label, value, kForm);
    wire::SystemTimeBlock block{};
    std::copy(bytes.begin(), bytes.end(), block.begin());
    shown_time.clear();
    return block;
  }
  wire::CivilTime time{};
  if (!parse_civil(text, time)) bad_value(label, value, kForm);
  shown_time = wire::format_time(time, false);
  return wire::encode_system_time(time);
}

const char *kind_name(int kind) {
  switch (kind) {
    case QZ_NDSX_OK:
      return "ok";
    case QZ_NDSX_BAD_ARGUMENT:
      return "bad_argument";
    case QZ_NDSX_NOT_CONNECTED:
      return "not_connected";
    case QZ_NDSX_CONNECT_FAILED:
      return "connect_failed";
    case QZ_NDSX_SEND_FAILED:
      return "send_failed";
    case QZ_NDSX_TIMEOUT:
      return "timeout";
    case QZ_NDSX_REFUSED:
      return "refused";
    case QZ_NDSX_BAD_ANSWER:
      return "bad_answer";
    case QZ_NDSX_CONNECTION_LOST:
      return "connection_lost";
    case QZ_NDSX_CLOSING:
      return "closing";
    case QZ_NDSX_INIT_FAILED:
      return "init_failed";
    default:
      return "unknown";
  }
}

int kind_of(std::string_view name) {
  for (int kind = QZ_NDSX_OK; kind <= QZ_NDSX_INIT_FAILED; ++kind) {
    if (name == kind_name(kind)) return kind;
  }
  return QZ_NDSX_BAD_ARGUMENT;
}

}  // namespace qz::config
