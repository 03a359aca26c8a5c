#include "values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "errors.h"

namespace qznds {

namespace {

[[noreturn]] void bad_value(std::string_view label, const std::string &text, std::string_view expected) {
  throw ToolError(ErrorKind::bad_value, "bad value for " + std::string(label) + ": \"" + text + "\" is not " +
                                            std::string(expected));
}

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

CivilTime local_now() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm tm{};
#ifdef _WIN32
  localtime_s(&tm, &seconds);
#else
  localtime_r(&seconds, &tm);
#endif
  const auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  return CivilTime{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,          tm.tm_hour,
                   tm.tm_min,         tm.tm_sec,     static_cast<int>(ms)};
}

// "YYYY-MM-DDTHH:MM:SS" (a space instead of the T is accepted too).
bool parse_civil(const std::string &text, CivilTime &out) {
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  char sep = 0;
  int consumed = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &y, &mo, &d, &sep, &h, &mi, &s, &consumed) !=
      7) {
    return false;
  }
  if (static_cast<std::size_t>(consumed) != text.size() || (sep != 'T' && sep != ' ')) return false;
  out = CivilTime{y, mo, d, h, mi, s, 0};
  return qz::wire::valid_time(out);
}

}  // namespace

bool parse_on_off(const std::string &text, std::string_view label) {
  const std::string word = lower(text);
  if (word == "on" || word == "1" || word == "true" || word == "yes") return true;
  if (word == "off" || word == "0" || word == "false" || word == "no") return false;
  bad_value(label, text, "on or off");
}

long long parse_integer(const std::string &text, long long lo, long long hi, std::string_view label) {
  const std::string expected = "an integer in " + std::to_string(lo) + ".." + std::to_string(hi);
  std::string_view digits = text;
  bool negative = false;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
    negative = digits.front() == '-';
    digits.remove_prefix(1);
  }
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    base = 16;
    digits.remove_prefix(2);
  }
  unsigned long long magnitude = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  if (digits.empty() || ec != std::errc{} || end != digits.data() + digits.size())
    bad_value(label, text, expected);
  // Every range used fits in 33 bits; larger magnitudes are out of range anyway.
  if (magnitude > (1ULL << 40)) bad_value(label, text, expected);
  const long long value = negative ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
  if (value < lo || value > hi) bad_value(label, text, expected);
  return value;
}

std::string parse_text(const std::string &text, std::size_t max_bytes, std::string_view label) {
  if (text.size() > max_bytes) {
    throw ToolError(ErrorKind::bad_value, "bad value for " + std::string(label) + ": " +
                                              std::to_string(text.size()) + " bytes, at most " +
                                              std::to_string(max_bytes) + " are accepted");
  }
  return text;
}

void expect_count(const Args &args, std::size_t count, std::string_view setting, std::string_view form) {
  if (args.size() == count) return;
  throw ToolError(ErrorKind::bad_value, "bad value for " + std::string(setting) + ": expected " +
                                            std::string(form) + " (" + std::to_string(count) + " value" +
                                            (count == 1 ? "" : "s") + "), got " +
                                            std::to_string(args.size()));
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

std::string text_bytes(const Json &value) {
  if (value.is_string()) return value.get<std::string>();
  std::string bytes;
  if (value.is_object() && value.contains("hex")) from_hex(value["hex"].get<std::string>(), bytes);
  return bytes;
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

SystemTimeBlock parse_system_time(const std::string &text, std::string_view label, std::string &shown) {
  constexpr std::string_view kForm = "now, YYYY-MM-DDTHH:MM:SS (1970..2099) or hex: and 40 hex digits";
  if (lower(text) == "now") {
    const CivilTime now = local_now();
    shown = qz::wire::format_time(now, false);
    return qz::wire::encode_system_time(now);
  }
  if (text.rfind("hex:", 0) == 0) {
    std::string bytes;
    if (!from_hex(std::string_view(text).substr(4), bytes) || bytes.size() != kSystemTimeSize) {
      bad_value(label, text, kForm);
    }
    SystemTimeBlock block{};
    std::copy(bytes.begin(), bytes.end(), block.begin());
    shown.clear();
    return block;
  }
  CivilTime time{};
  if (!parse_civil(text, time)) bad_value(label, text, kForm);
  shown = qz::wire::format_time(time, false);
  return qz::wire::encode_system_time(time);
}

}  // namespace qznds
