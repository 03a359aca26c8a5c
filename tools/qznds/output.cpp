#include "output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>

#include "settings.h"

namespace qznds {

namespace {

constexpr std::size_t kNameColumn = 36;

// Device texts may hold any byte; control bytes are shown escaped.
std::string printable(const std::string &text) {
  if (text.empty()) return "\"\"";
  std::string out;
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
      out += escaped;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out;
}

bool is_hex_text(const Json &value) {
  return value.is_object() && value.size() == 1 && value.contains("hex");
}

// One value on one line: on/off for switches, k=v pairs for records.
std::string inline_text(const Json &value) {
  if (value.is_boolean()) return value.get<bool>() ? "on" : "off";
  if (value.is_string()) return printable(value.get<std::string>());
  if (value.is_null()) return "-";
  if (is_hex_text(value)) return "hex:" + value["hex"].get<std::string>();
  if (value.is_object()) {
    std::string out;
    for (const auto &[key, item] : value.items()) {
      if (!out.empty()) out += ' ';
      out += key + "=" + inline_text(item);
    }
    return out;
  }
  if (value.is_array()) {
    std::string out;
    for (const auto &item : value) out += (out.empty() ? "" : ", ") + inline_text(item);
    return out;
  }
  return value.dump();
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// "serial_number" -> "serial number"; setting names keep their hyphens.
std::string label_of(std::string key) {
  std::replace(key.begin(), key.end(), '_', ' ');
  return key;
}

// A titled block of "key  value" lines.
void print_section(const std::string &title, const Json &object) {
  std::cout << title << '\n';
  std::size_t width = 0;
  for (const auto &[key, item] : object.items()) width = std::max(width, key.size());
  for (const auto &[key, item] : object.items()) {
    std::cout << "  " << padded(label_of(key), width) << "  " << inline_text(item) << '\n';
  }
}

std::string section_title(const std::string &key) {
  static const std::map<std::string, std::string> kTitles = {
      {"identity", "Identity and serial number"}, {"ip_settings", "IP settings"},
      {"feature_switches", "Feature switches"},   {"link_counts", "Link counts"},
      {"image", "Palette, frame rate and lens"},  {"osd", "OSD items and channel name"},
  };
  auto it = kTitles.find(key);
  return it != kTitles.end() ? it->second : key;
}

void print_info(const Json &doc) {
  std::cout << "Device " << doc.value("device", "") << '\n';
  for (const auto &[key, item] : doc.items()) {
    if (item.is_object()) print_section(section_title(key), item);
  }
}

void print_value(const std::string &name, const Json &value) {
  if (value.is_object() && !is_hex_text(value)) {
    print_section(name, value);
  } else {
    std::cout << name << ": " << inline_text(value) << '\n';
  }
}

void print_settings(const Json &list) {
  std::string family;
  for (const auto &s : list) {
    if (s["family"] != family) {
      family = s["family"].get<std::string>();
      std::cout << family << '\n';
    }
    std::string access = s["readable"].get<bool>() ? "" : " (write only)";
    std::cout << "  " << padded(s["name"].get<std::string>(), kNameColumn) << s["form"].get<std::string>()
              << '\n'
              << "  " << padded("", kNameColumn) << s["help"].get<std::string>() << access << '\n';
  }
}

void print_text(const Json &doc) {
  const std::string command = doc.value("command", "");
  if (command == "info") {
    print_info(doc);
  } else if (command == "get") {
    print_value(doc["setting"].get<std::string>(), doc["value"]);
  } else if (command == "set") {
    std::cout << doc["setting"].get<std::string>() << " set to " << inline_text(doc["value"]) << '\n';
  } else if (command == "reboot") {
    std::cout << "reboot requested on " << doc.value("device", "")
              << (doc.value("connection_closed", false) ? "; the device closed the connection"
                                                        : "; the connection stayed open for 3 s")
              << '\n';
  } else if (command == "keep-alive") {
    std::cout << doc["sent"].get<int>() << " keep-alive message(s) sent to " << doc.value("device", "")
              << '\n';
  } else if (command == "settings") {
    print_settings(doc["settings"]);
  } else {
    std::cout << doc.dump(2) << '\n';
  }
}

}  // namespace

void Output::success(const Json &doc) const {
  if (!json_) {
    print_text(doc);
    return;
  }
  Json out{{"ok", true}};
  out.update(doc);
  std::cout << out.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
}

void Output::failure(std::string_view command, const ToolError &error) const {
  if (!json_) {
    std::cerr << "qznds: " << error.what() << '\n';
    return;
  }
  Json detail{
      {"kind", kind_name(error.kind())}, {"exit_code", exit_code(error.kind())}, {"message", error.what()}};
  if (error.response_code()) detail["response_code"] = *error.response_code();
  Json out{{"ok", false}, {"command", command.empty() ? Json(nullptr) : Json(command)}, {"error", detail}};
  std::cout << out.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
}

void Output::progress(const std::string &line) const {
  if (!json_) std::cout << line << std::endl;
}

std::string help_footer() {
  std::string text = "Settings (get NAME, set NAME VALUE...):\n";
  std::string family;
  for (const auto &s : settings()) {
    if (s.family != family) {
      family = s.family;
      text += "  " + family + "\n";
    }
    text += "    " + padded(s.name, kNameColumn) + s.form + (s.readable() ? "" : "  (write only)") + "\n";
  }
  text += "  on|off also takes 1|0, true|false, yes|no; numbers may be given as 0x hex.\n";
  text += "  'qznds settings' describes each setting.\n\nExit codes:\n";
  text += "  0  success\n";
  for (const auto &info : exit_codes()) {
    text += "  " + std::to_string(info.code) + "  " + padded(std::string(info.name), 13) +
            std::string(info.meaning) + "\n";
  }
  return text;
}

Json settings_list() {
  Json list = Json::array();
  for (const auto &s : settings()) {
    list.push_back(Json{{"name", s.name},
                        {"family", s.family},
                        {"form", s.form},
                        {"help", s.help},
                        {"readable", s.readable()},
                        {"writable", s.writable()}});
  }
  return list;
}

}  // namespace qznds
