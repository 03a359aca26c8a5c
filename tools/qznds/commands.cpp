#include "commands.h"

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "device.h"
#include "errors.h"
#include "files.h"
#include "fleet.h"
#include "output.h"
#include "sdk_log.h"
#include "secrets.h"
#include "server.h"
#include "simulator.h"

namespace qznds {

namespace {

// A rebooting device drops the connection; the tool stays this long to see it
// (and so that its own close does not cut the request short).
constexpr std::chrono::milliseconds kRebootWait{3000};
constexpr std::size_t kDocumentFileMax = std::size_t{8} << 20;

// A reboot typed at a terminal is asked about first; scripts (stdin not a
// terminal) and --yes go ahead.
void confirm_reboot(const CommandLine &line, const std::vector<Target> &targets) {
  if (line.yes || !is_terminal(stdin)) return;
  const std::string what = line.simulate         ? "the simulated device"
                           : targets.size() == 1 ? targets.front().address
                                                 : std::to_string(targets.size()) + " devices";
  std::cerr << "Reboot " << what << "? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return;
  throw ToolError(ErrorKind::failed, "reboot not confirmed: nothing was sent");
}

Json read_json_file(const std::string &path, const std::string &what) {
  const std::string text = read_user_file(path, kDocumentFileMax, what);
  Json doc = Json::parse(text, nullptr, false);
  if (doc.is_discarded() || !doc.is_object())
    throw ToolError(ErrorKind::bad_value, what + " " + path + " is not a JSON object");
  return doc;
}

// Writes a file readable by its owner only when it holds secrets.
void write_file(const std::string &path, const std::string &text, bool secret) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) throw ToolError(ErrorKind::failed, "cannot write " + path);
  if (secret) {
    std::error_code ec;  // best effort: a file system without modes keeps its own
    std::filesystem::permissions(path,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::replace, ec);
  }
  file << text << '\n';
  if (!file.flush()) throw ToolError(ErrorKind::failed, "cannot write " + path);
}

std::string file_name_for(const Target &target) {
  std::string name = target.name;
  for (char &c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '.') c = '_';
  }
  return name + ".json";
}

// What a command does on one device, checked as far as can be before any
// device is contacted.
struct Plan {
  DeviceWork work;
  ResultCheck check = [](const Json &, const Target &) {};
};

// Checks a document as the library will before writing anything, so that a
// mistake costs no connection: ToolError(bad_value) with every problem.
void check_document(const Json &document, const std::string &where) {
  char *raw = nullptr;
  const bool ok = qz_ndsx_check_config(document.dump().c_str(), &raw);
  const std::unique_ptr<char, void (*)(char *)> text(raw, qz_ndsx_free);
  if (ok) return;
  const Json report = text ? Json::parse(text.get(), nullptr, false) : Json();
  std::string message;
  const Json problems = report.is_object() ? report["error"].value("problems", Json::array()) : Json::array();
  for (const Json &p : problems) message += (message.empty() ? "" : "; ") + p.get<std::string>();
  if (message.empty() && report.is_object()) message = report["error"].value("message", "");
  throw ToolError(ErrorKind::bad_value, where + message);
}

Plan plan_for(const CommandLine &line, const std::vector<Target> &targets, bool fleet) {
  const std::string &cmd = line.command;
  if (cmd == "info") {
    return {[](Device &d, const Target &t) {
      Json doc = d.export_config(false);
      doc["device"]["address"] = t.address;
      return doc;
    }};
  }
  if (cmd == "get") {
    const CatalogueEntry *e = find_entry(line.setting);
    if (e == nullptr)
      throw ToolError(ErrorKind::usage,
                      "unknown setting \"" + line.setting + "\" (qznds settings lists them)");
    if (!e->readable)
      throw ToolError(ErrorKind::usage, e->name + " cannot be read: the device has no query for it");
    return {[name = e->name](Device &d, const Target &) {
      return Json{{"setting", name}, {"value", d.get(name)}};
    }};
  }
  if (cmd == "set") {
    const CatalogueEntry *e = find_entry(line.setting);
    if (e == nullptr)
      throw ToolError(ErrorKind::usage,
                      "unknown setting \"" + line.setting + "\" (qznds settings lists them)");
    Json value;
    // A block is read from a file named on the command line; only the name is there.
    if (e->secret && e->type != "bytes") {
      if (!line.values.empty()) {
        throw ToolError(ErrorKind::usage,
                        e->name +
                            " is a secret and is never taken from the command line: give it "
                            "with --secrets env|FILE|-");
      }
      if (line.secrets.empty()) throw ToolError(ErrorKind::usage, e->name + " needs --secrets env|FILE|-");
      const Json secrets = load_secrets(line.secrets);
      if (!secrets.contains(e->name))
        throw ToolError(ErrorKind::bad_value, "the secrets give no value for " + e->name);
      value = secrets[e->name];
    } else {
      if (line.values.empty())
        throw ToolError(ErrorKind::usage, "set " + e->name + " needs a value: " + e->form);
      value = value_from_words(*e, line.values);
    }
    const Json doc{{"settings", {{e->name, value}}}};
    check_document(doc, "");
    return {[doc, name = e->name](Device &d, const Target &) {
              const Json report = d.apply(doc, QZ_NDSX_FORCE);
              Json result{{"setting", name}, {"value", nullptr}, {"report", report}};
              if (!report["settings"].empty()) result["value"] = report["settings"][0].value("after", Json());
              return result;
            },
            check_report};
  }
  if (cmd == "export") {
    if (line.with_secrets && line.output.empty())
      throw ToolError(ErrorKind::usage,
                      "--with-secrets writes only to a file: add -o FILE (secrets are never echoed)");
    // -o names a file for one device, a folder (one file a device) for
    // several, or when it is a folder or ends in '/'.
    const bool to_folder = !line.output.empty() && (targets.size() > 1 || line.output.ends_with('/') ||
                                                    std::filesystem::is_directory(line.output));
    if (to_folder) {
      std::error_code ec;
      std::filesystem::create_directories(line.output, ec);
      if (!std::filesystem::is_directory(line.output))
        throw ToolError(ErrorKind::bad_value,
                        "-o " + line.output + ": the folder for the devices' files cannot be made");
    }
    return {[&line, fleet, to_folder](Device &d, const Target &t) {
      Json doc = d.export_config(line.with_secrets);
      doc["device"]["address"] = t.address;
      if (fleet) doc["device"]["name"] = t.name;
      if (line.output.empty()) return doc;
      const std::string path =
          to_folder ? (std::filesystem::path(line.output) / file_name_for(t)).string() : line.output;
      write_file(path, doc.dump(2), line.with_secrets);
      return Json{{"file", path}, {"settings", doc["settings"].size()}};
    }};
  }
  if (cmd == "apply") {
    const Json document = read_json_file(line.document, "the document");
    const Json secrets = line.secrets.empty() ? Json::object() : load_secrets(line.secrets);
    // Every device's own document, checked before any device is contacted.
    for (const Target &t : targets.empty() ? std::vector<Target>{Target{}} : targets)
      check_document(document_for(document, t, secrets),
                     line.document + (fleet ? " for " + t.name : "") + ": ");
    const unsigned flags = line.dry_run ? QZ_NDSX_DRY_RUN : 0;
    return {[document, secrets, flags](Device &d, const Target &t) {
              return Json{{"report", d.apply(document_for(document, t, secrets), flags)}};
            },
            check_report};
  }
  if (cmd == "reboot") {
    return {[](Device &d, const Target &) { return Json{{"connection_closed", d.reboot(kRebootWait)}}; }};
  }
  if (cmd == "keep-alive") {
    return {[&line](Device &d, const Target &) {
      const auto pause = std::chrono::duration<double>(line.interval);
      for (int i = 1; i <= line.count; ++i) {
        if (i > 1) std::this_thread::sleep_for(pause);
        d.call("keep-alive", qz_nds_keep_alive);
      }
      return Json{{"sent", line.count}, {"interval", line.interval}};
    }};
  }
  throw ToolError(ErrorKind::usage, "unknown command \"" + cmd + "\"");
}

std::vector<Target> targets_of(const CommandLine &line) {
  std::vector<Target> targets;
  if (!line.inventory.empty()) targets = load_inventory(line.inventory, line.limits);
  for (const auto &address : line.devices) targets.push_back(Target{address, address});
  return targets;
}

// The exit code of a run: 0 when every device succeeded, else the code of
// the failures' kind when they share one, else that of a plain failure.
int fleet_exit_code(const std::vector<DeviceOutcome> &outcomes) {
  std::optional<ErrorKind> kind;
  bool mixed = false;
  for (const auto &o : outcomes) {
    if (o.ok) continue;
    if (kind && *kind != o.error->kind()) mixed = true;
    kind = o.error->kind();
  }
  if (!kind) return kExitOk;
  return mixed ? exit_code(ErrorKind::failed) : exit_code(*kind);
}

// `before_output` runs once every device is done, before anything is printed.
int run_on(const CommandLine &line, const std::vector<Target> &targets, bool fleet, const Plan &plan,
           const std::function<void()> &before_output) {
  const Output out(line.json);
  std::vector<DeviceOutcome> outcomes(targets.size());
  std::optional<ProgressBar> bar;
  if (fleet) bar.emplace(targets.size(), line.command);
  std::size_t finished = 0, failed = 0;
  const auto start = std::chrono::steady_clock::now();
  run_fleet(targets, line.jobs, plan.work, plan.check, [&](std::size_t i, const DeviceOutcome &o) {
    outcomes[i] = o;
    ++finished;
    if (!o.ok) ++failed;
    if (fleet && line.json) {
      if (bar) bar->finish();
      out.device_line(line.command, targets[i], o);
    }
    if (bar) bar->update(finished, failed);
  });
  if (bar) bar->finish();
  before_output();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (fleet) {
    out.fleet_summary(line.command, targets, outcomes, seconds);
  } else if (outcomes.front().ok) {
    out.success(line.command, targets.front(), outcomes.front().result);
  } else {
    out.failure(line.command, *outcomes.front().error, outcomes.front().result);
  }
  return fleet_exit_code(outcomes);
}

// ---- monitor -------------------------------------------------------------------

volatile std::sig_atomic_t g_stop = 0;

// Each round: a keep-alive and one read of the configuration record per
// device over a session kept from round to round, and the drift from a
// document when one is given; a line for each device whose state changed.
int monitor(const CommandLine &line, const std::vector<Target> &targets) {
  const Output out(line.json);
  std::optional<Json> document;
  if (!line.document.empty()) document = read_json_file(line.document, "the document");
  std::vector<std::unique_ptr<Device>> sessions(targets.size());
  std::vector<std::string> states(targets.size());
  std::signal(SIGINT, [](int) { g_stop = 1; });
  std::signal(SIGTERM, [](int) { g_stop = 1; });
  std::mutex print_mutex;
  int down = 0;
  for (int round = 1; !g_stop && (line.count == 0 || round <= line.count); ++round) {
    if (round > 1) {
      const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(line.interval);
      while (!g_stop && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    down = 0;
    parallel_for(targets.size(), line.jobs, [&](std::size_t i) {
      Json state{{"state", "up"}};
      try {
        if (!sessions[i] || !sessions[i]->connected()) {
          sessions[i].reset();
          auto session = std::make_unique<Device>();
          session->connect(targets[i].address);
          sessions[i] = std::move(session);
        }
        Device &d = *sessions[i];
        d.call("keep-alive", qz_nds_keep_alive);
        state["framerate"] = d.get("framerate");
        if (document) {
          const Json drift = drift_from(d, *document, targets[i]);
          if (!drift.empty()) state = Json{{"state", "drift"}, {"settings", drift}};
        }
      } catch (const ToolError &error) {
        sessions[i].reset();
        state = Json{{"state", "down"}, {"kind", kind_name(error.kind())}, {"message", error.what()}};
      }
      const std::lock_guard<std::mutex> lock(print_mutex);
      if (state["state"] == "down") ++down;
      const std::string key = state.dump();
      if (key == states[i]) return;
      states[i] = key;
      out.monitor_line(targets[i], state);
    });
  }
  return down == 0 ? kExitOk : exit_code(ErrorKind::unreachable);
}

}  // namespace

int run(const CommandLine &line) {
  const Output out(line.json);
  try {
    if (line.command == "settings") {
      out.settings();
      return kExitOk;
    }
    if (line.command == "schema") {
      std::cout << qz_ndsx_config_schema() << '\n';
      return kExitOk;
    }
    if (line.command == "serve") {
      if (line.inventory.empty() || !line.devices.empty() || line.simulate)
        throw ToolError(ErrorKind::usage, "serve works on an inventory: give --inventory FILE (only)");
#ifdef QZNDS_CONSOLE
      SdkLog log(line.verbose);
      return serve(
          ServeOptions{line.inventory, line.limits, line.listen, line.token_file, line.interval, line.jobs});
#else
      throw ToolError(ErrorKind::usage, "this qznds was built without the console (serve)");
#endif
    }
    std::vector<Target> targets = targets_of(line);
    const bool fleet = !line.inventory.empty() || targets.size() > 1;
    if (targets.empty() && !line.simulate) {
      throw ToolError(
          ErrorKind::usage,
          "no device given: use --device HOST[:PORT] (repeatable), --inventory FILE or --simulate");
    }
    // Everything that can be checked without a device is checked first, so a
    // mistake costs no connection and sends nothing.
    const Plan plan = line.command == "monitor" ? Plan{} : plan_for(line, targets, fleet);
    if (line.command == "reboot") confirm_reboot(line, targets);

    SdkLog log(line.verbose);
    std::optional<Simulator> sim;
    if (line.simulate) {
      sim.emplace(line.sim_state);
      targets = {Target{sim->address(), "simulated"}};
    }
    // The simulated device's settings are saved before the result is shown,
    // so that a state file that cannot be written fails the command.
    const auto finish_sim = [&] {
      if (sim) sim->finish();
    };
    if (line.command == "monitor") {
      const int code = monitor(line, targets);
      finish_sim();
      return code;
    }
    return run_on(line, targets, fleet, plan, finish_sim);
  } catch (const ToolError &error) {
    out.failure(line.command, error, Json());
    return exit_code(error.kind());
  }
}

}  // namespace qznds
