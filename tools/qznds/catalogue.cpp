#include "catalogue.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>

#include "errors.h"
#include "files.h"
#include "qz_nds_config.h"

namespace qznds {

namespace {

constexpr std::size_t kFileMax = std::size_t{1} << 20;

std::vector<CatalogueEntry> load() {
  std::vector<CatalogueEntry> out;
  for (const Json &item : Json::parse(qz_ndsx_settings_catalogue())) {
    CatalogueEntry e{item["name"], item["family"],   item["form"],  item["help"], item["type"],
                     {},           item["readable"], item["secret"]};
    for (const Json &f : item.value("fields", Json::array())) e.fields.emplace_back(f["name"], f["type"]);
    out.push_back(std::move(e));
  }
  return out;
}

[[noreturn]] void bad_word(const std::string &label, const std::string &word, std::string_view expected) {
  throw ToolError(ErrorKind::bad_value,
                  "bad value for " + label + ": \"" + word + "\" is not " + std::string(expected));
}

bool on_off(const std::string &word, const std::string &label) {
  std::string w = word;
  std::transform(w.begin(), w.end(), w.begin(), [](unsigned char c) { return std::tolower(c); });
  if (w == "on" || w == "1" || w == "true" || w == "yes") return true;
  if (w == "off" || w == "0" || w == "false" || w == "no") return false;
  bad_word(label, word, "on or off");
}

// A decimal or 0x integer; the library checks its range.
Json number(const std::string &word, const std::string &label) {
  std::string_view digits = word;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    base = 16;
    digits.remove_prefix(2);
  }
  unsigned long long magnitude = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  if (digits.empty() || ec != std::errc{} || end != digits.data() + digits.size() || magnitude > (1ULL << 40))
    bad_word(label, word, "an integer");
  return negative ? Json(-static_cast<long long>(magnitude)) : Json(magnitude);
}

Json scalar(const std::string &type, const std::string &word, const std::string &label) {
  if (type == "boolean") return on_off(word, label);
  if (type == "integer") return number(word, label);
  return word;
}

std::string hex(const std::string &bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out.push_back(kDigits[c >> 4]);
    out.push_back(kDigits[c & 0x0F]);
  }
  return out;
}

void expect_count(const CatalogueEntry &e, const Args &words, std::size_t lo, std::size_t hi) {
  if (words.size() >= lo && words.size() <= hi) return;
  throw ToolError(ErrorKind::bad_value, "bad value for " + e.name + ": expected " + e.form + ", got " +
                                            std::to_string(words.size()) + " value" +
                                            (words.size() == 1 ? "" : "s"));
}

}  // namespace

const std::vector<CatalogueEntry> &catalogue() {
  static const std::vector<CatalogueEntry> entries = load();
  return entries;
}

const CatalogueEntry *find_entry(std::string_view name) {
  std::string key(name);
  std::replace(key.begin(), key.end(), '-', '_');
  for (const auto &e : catalogue()) {
    if (e.name == key) return &e;
  }
  return nullptr;
}

Json value_from_words(const CatalogueEntry &e, const Args &words) {
  if (e.type == "bytes") {
    expect_count(e, words, 1, 1);
    return Json{{"hex", hex(read_user_file(words[0], kFileMax, "bad value for " + e.name + ": the file"))}};
  }
  if (e.type != "object") {
    expect_count(e, words, 1, 1);
    return scalar(e.type, words[0], e.name);
  }
  // Members in the order of the form; trailing ones may be left out where
  // the setting allows it (ip_info 0, gb28181 off).
  expect_count(e, words, 1, e.fields.size());
  Json value = Json::object();
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto &[name, type] = e.fields[i];
    value[name] = scalar(type, words[i], e.name + "." + name);
  }
  return value;
}

}  // namespace qznds
