#include "commands.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "device.h"
#include "errors.h"
#include "output.h"
#include "sdk_log.h"
#include "settings.h"
#include "simulator.h"

namespace qznds {

namespace {

constexpr std::size_t kIdentityBuffer = 32;
constexpr std::size_t kSerialBuffer = 64;
// A rebooting device drops the connection; the tool stays this long to see it
// (and so that its own close does not cut the request short).
constexpr std::chrono::milliseconds kRebootWait{3000};

Json identity(Device &d) {
  uint16_t value1 = 0, value2 = 0;
  char texts[3][kIdentityBuffer + 1] = {};
  d.call("get machine-info", [&](qz_nds_handle h) {
    return qz_nds_get_machine_info(h, &value1, &value2, nullptr, texts[0], texts[1], texts[2]);
  });
  char sn[kSerialBuffer] = {};
  uint32_t len = 0;
  d.call("get sn", [&](qz_nds_handle h) { return qz_nds_get_sn(h, sn, &len); });
  return Json{{"serial_number", text_json(std::string_view(sn, std::min<std::size_t>(len, kSerialBuffer)))},
              {"text1", text_json(std::string(texts[0], strnlen(texts[0], kIdentityBuffer)))},
              {"text2", text_json(std::string(texts[1], strnlen(texts[1], kIdentityBuffer)))},
              {"text3", text_json(std::string(texts[2], strnlen(texts[2], kIdentityBuffer)))},
              {"value1", value1},
              {"value2", value2}};
}

// The named settings (or those of one family) as one object.
Json read_group(Device &d, std::initializer_list<std::string_view> names) {
  Json group = Json::object();
  for (auto name : names) group[std::string(name)] = read_setting(d, *find_setting(name));
  return group;
}

Json read_family(Device &d, std::string_view family) {
  Json group = Json::object();
  for (const auto &s : settings()) {
    if (s.family == family && s.readable()) group[s.name] = read_setting(d, s);
  }
  return group;
}

Json info(Device &d) {
  d.read_record();
  Json doc{{"command", "info"}, {"device", d.address()}};
  doc["identity"] = identity(d);
  doc["ip_settings"] = read_setting(d, *find_setting("ip-info"));
  doc["feature_switches"] = read_family(d, kFamilySwitches);
  doc["link_counts"] =
      read_group(d, {"ps-link-count", "ad-link-count", "visual-link-count", "ptz-link-count"});
  doc["image"] = read_group(d, {"default-palette", "framerate", "len-adjust-method"});
  doc["osd"] = read_family(d, kFamilyOsd);
  return doc;
}

Json keep_alive(Device &d, const CommandLine &line, const Output &out) {
  const auto pause = std::chrono::duration<double>(line.interval);
  for (int i = 1; i <= line.count; ++i) {
    if (i > 1) std::this_thread::sleep_for(pause);
    d.call("keep-alive", qz_nds_keep_alive);
    out.progress("keep-alive " + std::to_string(i) + "/" + std::to_string(line.count) + " sent");
  }
  return Json{
      {"command", "keep-alive"}, {"device", d.address()}, {"sent", line.count}, {"interval", line.interval}};
}

bool stdin_is_terminal() {
#ifdef _WIN32
  return _isatty(_fileno(stdin)) != 0;
#else
  return isatty(STDIN_FILENO) != 0;
#endif
}

// A reboot typed at a terminal is asked about first; scripts (stdin not a
// terminal) and --yes go ahead.
void confirm_reboot(const CommandLine &line) {
  if (line.yes || !stdin_is_terminal()) return;
  const std::string target = line.simulate ? "the simulated device" : line.device;
  std::cerr << "Reboot " << target << "? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return;
  throw ToolError(ErrorKind::failed, "reboot not confirmed: nothing was sent");
}

// The setting of get/set, checked before any device is contacted.
const Setting &chosen_setting(const CommandLine &line) {
  const Setting *s = find_setting(line.setting);
  if (s == nullptr) {
    throw ToolError(ErrorKind::usage, "unknown setting \"" + line.setting + "\" (qznds settings lists them)");
  }
  if (line.command == "get" && !s->readable()) {
    throw ToolError(ErrorKind::usage, s->name + " cannot be read: the device has no query for it");
  }
  if (line.command == "set" && !s->writable())
    throw ToolError(ErrorKind::usage, s->name + " cannot be written");
  return *s;
}

Json execute(Device &d, const CommandLine &line, const Setting *setting, const PreparedWrite *write,
             const Output &out) {
  if (line.command == "info") return info(d);
  if (line.command == "get") {
    return Json{{"command", "get"}, {"setting", setting->name}, {"value", read_setting(d, *setting)}};
  }
  if (line.command == "set") {
    write_setting(d, *setting, *write);
    return Json{{"command", "set"}, {"setting", setting->name}, {"value", write->value}};
  }
  if (line.command == "reboot") {
    const bool closed = d.reboot(kRebootWait);
    return Json{{"command", "reboot"}, {"device", d.address()}, {"connection_closed", closed}};
  }
  if (line.command == "keep-alive") return keep_alive(d, line, out);
  throw ToolError(ErrorKind::usage, "unknown command \"" + line.command + "\"");
}

}  // namespace

int run(const CommandLine &line) {
  const Output out(line.json);
  try {
    if (line.command == "settings") {
      out.success(Json{{"command", "settings"}, {"settings", settings_list()}});
      return kExitOk;
    }
    // Everything that can be checked without a device is checked first, so a
    // mistake costs no connection and sends nothing.
    const bool uses_setting = line.command == "get" || line.command == "set";
    const Setting *setting = uses_setting ? &chosen_setting(line) : nullptr;
    if (line.device.empty() && !line.simulate) {
      throw ToolError(ErrorKind::usage, "no device given: use --device HOST[:PORT] or --simulate");
    }
    std::optional<PreparedWrite> write;
    if (line.command == "set") write = setting->prepare(line.values);
    if (line.command == "reboot") confirm_reboot(line);

    SdkLog log(line.verbose);
    std::optional<Simulator> sim;
    if (line.simulate) sim.emplace(line.sim_state);
    Json doc;
    {
      Device device;
      device.connect(sim ? sim->address() : line.device);
      doc = execute(device, line, setting, write ? &*write : nullptr, out);
    }
    if (sim) sim->finish();
    out.success(doc);
    return kExitOk;
  } catch (const ToolError &error) {
    out.failure(line.command, error);
    return exit_code(error.kind());
  }
}

}  // namespace qznds
