#include "output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "system_time.h"

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

// A titled block of "key  value" lines.
void print_section(const std::string &title, const Json &object) {
  std::cout << title << '\n';
  std::size_t width = 0;
  for (const auto &[key, item] : object.items()) width = std::max(width, key.size());
  for (const auto &[key, item] : object.items())
    std::cout << "  " << padded(key, width) << "  " << inline_text(item) << '\n';
}

// info: the identity, then the settings family by family.
void print_info(const std::string &address, const Json &doc) {
  std::cout << "Device " << address << '\n';
  print_section("Identity", doc["device"]);
  std::string family;
  Json group = Json::object();
  const auto flush = [&] {
    if (!group.empty()) print_section(family, group);
    group = Json::object();
  };
  for (const auto &e : catalogue()) {
    if (!doc["settings"].contains(e.name)) continue;
    if (e.family != family) {
      flush();
      family = e.family;
    }
    group[e.name] = doc["settings"][e.name];
  }
  flush();
  if (doc.contains("unreadable")) print_section("Not reported by the device", doc["unreadable"]);
}

std::string counts_text(const Json &report) {
  std::string out;
  const Json counts = report.value("counts", Json::object());
  for (const auto &[status, n] : counts.items()) {
    if (n.get<int>() == 0) continue;
    if (!out.empty()) out += ", ";
    std::string word = status;
    std::replace(word.begin(), word.end(), '_', ' ');
    out += std::to_string(n.get<int>()) + " " + word;
  }
  return out.empty() ? "nothing to do" : out;
}

// The settings of a report that did not end unchanged, one line each.
void print_changes(const std::string &prefix, const Json &report) {
  for (const Json &s : report.value("settings", Json::array())) {
    const std::string status = s["status"];
    if (status == "unchanged") continue;
    std::string line = prefix + padded(s["setting"], 28) + " ";
    if (status == "changed" || status == "would_change") {
      line += (s.contains("before") ? inline_text(s["before"]) + " -> " : "") + inline_text(s["after"]);
      line += status == "changed" ? "  (changed)" : "  (would change)";
    } else {
      line += status + ": " + s.value("message", "");
    }
    std::cout << line << '\n';
  }
}

void print_report(const std::string &address, const Json &report) {
  std::cout << address << ": " << counts_text(report) << (report.value("dry_run", false) ? " (dry run)" : "")
            << '\n';
  print_changes("  ", report);
}

// A result in one short cell of the fleet table.
std::string detail(const std::string &command, const Json &r) {
  if (command == "info") {
    return "serial " + inline_text(r["device"].value("serial_number", Json())) + ", " +
           std::to_string(r["settings"].size()) + " settings";
  }
  if (command == "get") return inline_text(r["value"]);
  if (command == "set") return "set to " + inline_text(r["value"]);
  if (command == "export")
    return r.contains("file") ? r["file"].get<std::string>()
                              : std::to_string(r["settings"].size()) + " settings";
  if (command == "apply") return counts_text(r["report"]);
  if (command == "reboot")
    return r.value("connection_closed", false) ? "restarting" : "connection stayed open";
  if (command == "keep-alive") return std::to_string(r.value("sent", 0)) + " sent";
  return r.dump();
}

void print_json(const Json &doc, int indent) {
  std::cout << doc.dump(indent, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
}

}  // namespace

Json error_json(const ToolError &error) {
  Json out{
      {"kind", kind_name(error.kind())}, {"exit_code", exit_code(error.kind())}, {"message", error.what()}};
  if (error.response_code()) out["response_code"] = *error.response_code();
  return out;
}

Json outcome_json(const Target &target, const DeviceOutcome &o) {
  Json line{{"device", target.address},
            {"name", target.name},
            {"ok", o.ok},
            {"seconds", o.elapsed.count() / 1000.0}};
  if (!o.result.is_null()) line["result"] = o.result;
  if (o.error) line["error"] = error_json(*o.error);
  return line;
}

void Output::success(const std::string &command, const Target &target, const Json &result) const {
  if (command == "export" && !result.contains("file")) {
    print_json(result, 2);  // the document itself, whatever the mode
    return;
  }
  if (json_) {
    Json out{{"ok", true}, {"command", command}, {"device", target.address}};
    out.update(result);
    print_json(out, 2);
    return;
  }
  if (command == "info") {
    print_info(target.address, result);
  } else if (command == "get") {
    const Json &value = result["value"];
    if (value.is_object() && !is_hex_text(value)) {
      print_section(result["setting"], value);
    } else {
      std::cout << result["setting"].get<std::string>() << ": " << inline_text(value) << '\n';
    }
  } else if (command == "set") {
    std::cout << result["setting"].get<std::string>() << " set to " << inline_text(result["value"]) << '\n';
  } else if (command == "apply") {
    print_report(target.address, result["report"]);
  } else if (command == "reboot") {
    std::cout << "reboot requested on " << target.address
              << (result.value("connection_closed", false) ? "; the device closed the connection"
                                                           : "; the connection stayed open for 3 s")
              << '\n';
  } else if (command == "keep-alive") {
    std::cout << result["sent"].get<int>() << " keep-alive message(s) sent to " << target.address << '\n';
  } else {
    std::cout << detail(command, result) << '\n';
  }
}

void Output::failure(std::string_view command, const ToolError &error, const Json &result) const {
  const Json *report = result.is_object() && result.contains("report") ? &result["report"] : nullptr;
  if (!json_) {
    if (command == "apply" && report != nullptr) print_changes("  ", *report);
    std::cerr << "qznds: " << error.what() << '\n';
    return;
  }
  Json out{{"ok", false},
           {"command", command.empty() ? Json(nullptr) : Json(command)},
           {"error", error_json(error)}};
  if (report != nullptr) out["report"] = *report;
  print_json(out, 2);
}

void Output::device_line(const std::string &, const Target &target, const DeviceOutcome &o) const {
  print_json(outcome_json(target, o), -1);
}

void Output::fleet_summary(const std::string &command, const std::vector<Target> &targets,
                           const std::vector<DeviceOutcome> &outcomes, double seconds) const {
  const auto ok =
      static_cast<std::size_t>(std::count_if(outcomes.begin(), outcomes.end(), [](auto &o) { return o.ok; }));
  if (json_) {
    print_json(Json{{"summary",
                     {{"command", command},
                      {"devices", targets.size()},
                      {"ok", ok},
                      {"failed", targets.size() - ok},
                      {"seconds", seconds}}}},
               -1);
    return;
  }
  if (command == "apply") {
    for (std::size_t i = 0; i < targets.size(); ++i) {
      if (outcomes[i].result.contains("report"))
        print_changes(targets[i].name + "  ", outcomes[i].result["report"]);
    }
  }
  std::size_t name_width = 4, address_width = 7;
  for (const auto &t : targets) {
    name_width = std::max(name_width, t.name.size());
    address_width = std::max(address_width, t.address.size());
  }
  std::cout << padded("NAME", name_width) << "  " << padded("ADDRESS", address_width) << "  RESULT  DETAIL\n";
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const auto &o = outcomes[i];
    std::string cell =
        o.ok ? detail(command, o.result) : std::string(kind_name(o.error->kind())) + ": " + o.error->what();
    std::cout << padded(targets[i].name, name_width) << "  " << padded(targets[i].address, address_width)
              << "  " << (o.ok ? "ok    " : "FAILED") << "  " << cell << '\n';
  }
  char line[128];
  std::snprintf(line, sizeof line, "%zu device%s: %zu ok, %zu failed in %.2f s", targets.size(),
                targets.size() == 1 ? "" : "s", ok, targets.size() - ok, seconds);
  std::cout << line << '\n';
}

void Output::monitor_line(const Target &target, const Json &state) const {
  const std::string stamp = qz::wire::format_time(qz::wire::local_now(), false);
  if (json_) {
    Json line{{"time", stamp}, {"device", target.address}, {"name", target.name}};
    line.update(state);
    print_json(line, -1);
    return;
  }
  std::string text = state["state"];
  if (state.contains("framerate")) text += " (framerate " + inline_text(state["framerate"]) + ")";
  if (state.contains("settings")) text += ": " + inline_text(state["settings"]);
  if (state.contains("message")) text += ": " + state["message"].get<std::string>();
  std::cout << stamp << "  " << target.name << "  " << target.address << "  " << text << '\n' << std::flush;
}

void Output::settings() const {
  if (json_) {
    print_json(
        Json{{"ok", true}, {"command", "settings"}, {"settings", Json::parse(qz_ndsx_settings_catalogue())}},
        2);
    return;
  }
  std::string family;
  for (const auto &s : catalogue()) {
    if (s.family != family) {
      family = s.family;
      std::cout << family << '\n';
    }
    std::string notes = s.readable ? "" : " (write only)";
    if (s.secret) notes += " (secret: give it with --secrets)";
    std::cout << "  " << padded(s.name, kNameColumn) << s.form << '\n'
              << "  " << padded("", kNameColumn) << s.help << notes << '\n';
  }
}

std::string help_footer() {
  std::string text = "Settings (get NAME, set NAME VALUE...):\n";
  std::string family;
  for (const auto &s : catalogue()) {
    if (s.family != family) {
      family = s.family;
      text += "  " + family + "\n";
    }
    text += "    " + padded(s.name, kNameColumn) + s.form + (s.readable ? "" : "  (write only)") +
            (s.secret ? "  (secret)" : "") + "\n";
  }
  text += "  on|off also takes 1|0, true|false, yes|no; numbers may be given as 0x hex.\n";
  text += "  'qznds settings' describes each setting.\n\nExit codes:\n";
  text += "  0  success (every device, with several)\n";
  for (const auto &info : exit_codes()) {
    text += "  " + std::to_string(info.code) + "  " + padded(std::string(info.name), 13) +
            std::string(info.meaning) + "\n";
  }
  return text;
}

}  // namespace qznds
