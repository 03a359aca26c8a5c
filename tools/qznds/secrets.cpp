#include "secrets.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

#include "errors.h"
#include "files.h"

namespace qznds {

namespace {

constexpr std::size_t kSecretsFileMax = std::size_t{1} << 20;

std::string variable_of(const std::string &name) {
  std::string out = "QZNDS_" + name;
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::toupper(c); });
  return out;
}

Json from_environment() {
  Json out = Json::object();
  for (const auto &e : catalogue()) {
    if (!e.secret) continue;
    const char *value = std::getenv(variable_of(e.name).c_str());
    if (value == nullptr) continue;
    out[e.name] = e.type == "bytes" ? Json{{"text", value}} : Json(value);
  }
  return out;
}

}  // namespace

Json load_secrets(const std::string &source) {
  if (source == "env") return from_environment();
  std::string text;
  if (source == "-") {
    text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else {
    text = read_user_file(source, kSecretsFileMax, "secrets file");
  }
  const Json doc = Json::parse(text, nullptr, false);
  const std::string where = source == "-" ? "stdin" : source;
  if (doc.is_discarded() || !doc.is_object())
    throw ToolError(ErrorKind::bad_value, "secrets from " + where + ": not a JSON object");
  Json out = Json::object();
  for (const auto &[key, value] : doc.items()) {
    const CatalogueEntry *e = find_entry(key);
    if (e == nullptr || !e->secret)
      throw ToolError(ErrorKind::bad_value,
                      "secrets from " + where + ": \"" + key + "\" is no secret setting");
    out[e->name] = value;
  }
  return out;
}

}  // namespace qznds
