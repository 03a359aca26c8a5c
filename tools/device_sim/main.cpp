// qznds-sim: the simulated device as a program, for manual tests and for
// tools that need a device to talk to.
#ifndef _WIN32
#include <sys/resource.h>
#endif

#include <CLI/CLI.hpp>
#include <algorithm>
#include <asio.hpp>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "device_sim.h"
#include "fleet.h"
#include "qz_net_dev_setting.h"
#include "usage_message.h"

namespace {

using namespace qz::sim;

// Most cameras one process serves.
constexpr std::size_t kMaxCameras = 5000;

// Exit codes (tools/device_sim/README.md).
constexpr int kExitFailure = 1;  // cannot listen or write the inventory or states, too few open files
constexpr int kExitUsage = 2;    // a bad command line, or a state file that cannot be used

// One line on stderr; returns the exit code.
int fail(int code, const std::string &message) {
  std::cerr << "qznds-sim: " << message << '\n';
  return code;
}

// "ADDR:PORT", "ADDR", ":PORT" or "[V6ADDR]:PORT".
bool parse_listen(const std::string &text, std::string &address, uint16_t &port) {
  std::string host = text;
  std::string port_text;
  if (!text.empty() && text.front() == '[') {
    const auto close = text.find(']');
    if (close == std::string::npos) return false;
    host = text.substr(1, close - 1);
    if (close + 1 < text.size()) {
      if (text[close + 1] != ':') return false;
      port_text = text.substr(close + 2);
    }
  } else if (const auto colon = text.rfind(':'); colon != std::string::npos) {
    host = text.substr(0, colon);
    port_text = text.substr(colon + 1);
  }
  if (!host.empty()) address = host;
  if (port_text.empty()) return true;
  unsigned value = 0;
  auto [end, ec] = std::from_chars(port_text.data(), port_text.data() + port_text.size(), value);
  if (ec != std::errc{} || end != port_text.data() + port_text.size() || value > 65535) return false;
  port = static_cast<uint16_t>(value);
  return true;
}

// Thousands of connections need more descriptors than the usual soft limit:
// raises it to the hard limit and returns it. (Windows has no such
// per-process limit on sockets.)
std::optional<uint64_t> raise_descriptor_limit() {
#ifndef _WIN32
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return std::nullopt;
  if (limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
  }
  return static_cast<uint64_t>(limit.rlim_cur);
#else
  return std::nullopt;
#endif
}

// Camera numbers as the command line gives them: "5" or "3-7", 1-based,
// within 1..count. Sets the 0-based range [first, last].
bool parse_camera_numbers(std::string_view text, std::size_t count, std::size_t &first, std::size_t &last,
                          std::string &error) {
  const auto number = [](std::string_view digits, std::size_t &out) {
    auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), out);
    return ec == std::errc{} && end == digits.data() + digits.size() && !digits.empty();
  };
  const auto dash = text.find('-');
  std::size_t from = 0, to = 0;
  const bool ok = dash == std::string_view::npos
                      ? number(text, from)
                      : number(text.substr(0, dash), from) && number(text.substr(dash + 1), to);
  if (dash == std::string_view::npos) to = from;
  if (!ok || from == 0 || to < from) {
    error = "bad camera number \"" + std::string(text) + "\" (N or FIRST-LAST, counted from 1)";
    return false;
  }
  if (to > count) {
    error = "no camera " + std::to_string(to) + " among " + std::to_string(count);
    return false;
  }
  first = from - 1;
  last = to - 1;
  return true;
}

// A fault of some cameras: the 0-based range and the fault.
struct CameraFault {
  std::size_t first = 0, last = 0;
  FaultKey key;
  Fault fault;
};

bool parse_camera_fault(std::string_view text, std::size_t count, CameraFault &out, std::string &error) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) {
    error = "expected CAMERA:FAULT";
    return false;
  }
  return parse_camera_numbers(text.substr(0, colon), count, out.first, out.last, error) &&
         parse_fault_spec(text.substr(colon + 1), out.key, out.fault, error);
}

// Writes beside `path` and renames, so that a reader sees the whole file or none.
bool write_whole_file(const std::string &path, const std::string &text, std::string &error) {
  const std::string temporary = path + ".tmp";
  std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  std::error_code ec;
  if (out) std::filesystem::rename(temporary, path, ec);
  if (out && !ec) return true;
  std::filesystem::remove(temporary, ec);
  error = "cannot write " + path;
  return false;
}

// "qznds-sim: 1000 cameras listening on 127.0.0.1:40000-40999", and which are down.
std::string fleet_summary(const Fleet &fleet, const SimOptions &options, std::size_t down) {
  std::string line = "qznds-sim: " + std::to_string(fleet.size()) + " cameras listening on ";
  if (options.port != 0) {
    line += fleet.address(0) + '-' + std::to_string(fleet.port(fleet.size() - 1));
  } else {
    line += options.address + ", free ports (--verbose or --inventory-out lists them)";
  }
  if (down != 0) line += ", " + std::to_string(down) + " of them down";
  return line;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"Simulated qz_nds camera device: answers every command of the device protocol over TCP."};
  app.footer(fault_grammar_help());
  // Built with the library's sources and version; it does not load the library.
  app.set_version_flag("--version",
                       std::string("qznds-sim " QZ_NDS_VERSION_STRING " (library " QZ_NDS_VERSION_STRING ")"),
                       "Print the version and exit");
  std::string listen = "127.0.0.1:" + std::to_string(kDefaultPort);
  std::size_t cameras = 1;
  std::string state_file;
  std::string save_file;
  std::string state_dir;
  std::string inventory_file;
  long long reboot_ms = 2000;
  bool quiet = false;
  bool verbose = false;
  bool print_state = false;
  bool lenient = false;
  std::vector<std::string> fault_specs;
  std::vector<std::string> camera_fault_specs;
  std::vector<std::string> camera_down_specs;
  std::string refuse = "none";
  app.add_option(
         "--listen", listen,
         "Address and port to listen on (port 0 picks a free one); camera I of several takes PORT+I-1")
      ->capture_default_str();
  app.add_option("--cameras", cameras, "Simulate this many cameras, all served by one thread")
      ->capture_default_str()
      ->check(CLI::Range(std::size_t{1}, kMaxCameras));
  app.add_option("--state", state_file, "Load the device state (of every camera) from this JSON file");
  auto *save_option = app.add_option("--save-state", save_file,
                                     "Write the device state to this JSON file on exit (one camera)");
  app.add_option("--state-dir", state_dir,
                 "One state file per camera, DIR/camera-0001.json ...: loaded when present, written on exit");
  app.add_option("--reboot-time", reboot_ms, "Milliseconds the device stays away after a reboot")
      ->capture_default_str()
      ->check(CLI::Range(0LL, 3'600'000LL));
  auto *quiet_flag = app.add_flag("--quiet", quiet, "No line per exchange");
  app.add_flag("--verbose", verbose,
               "With several cameras: one line per camera on start and one per exchange, named by camera")
      ->excludes(quiet_flag);
  app.add_option("--fault", fault_specs, "A fault every camera shows (repeatable); grammar below");
  app.add_option("--camera-fault", camera_fault_specs,
                 "I:FAULT, a fault of camera I only, or of cameras I-J (repeatable; e.g. 5:silent)");
  app.add_option("--camera-down", camera_down_specs, "Camera I (or I-J) does not listen (repeatable)");
  app.add_option("--refuse", refuse, "Connection handling: none, close or stop")->capture_default_str();
  app.add_option("--inventory-out", inventory_file,
                 "Once all listen, write the cameras' names and addresses to this JSON file");
  app.add_flag("--lenient", lenient,
               "Accept any value for flags, small numbers and ports (lengths still checked)");
  app.add_flag("--print-state", print_state, "Print the (loaded) device state as JSON and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(e);  // help, version
    return fail(kExitUsage, usage_message(e, app) + " (see qznds-sim --help)");
  }

  // Everything given is checked before anything starts.
  SimOptions options;
  if (!parse_listen(listen, options.address, options.port))
    return fail(kExitUsage, "bad --listen \"" + listen + "\"");
  if (options.port != 0 && options.port + cameras > 65536) {
    return fail(kExitUsage, std::to_string(cameras) + " cameras from port " + std::to_string(options.port) +
                                " go past port 65535 (--listen)");
  }
  if (cameras > 1 && *save_option) return fail(kExitUsage, "--save-state keeps one camera; use --state-dir");
  options.reboot_time = std::chrono::milliseconds(reboot_ms);
  // A line per exchange of a thousand cameras would flood the output.
  const bool log_exchanges = cameras == 1 ? !quiet : verbose;
  options.log = log_exchanges ? &std::cout : nullptr;
  options.strict = !lenient;
  RefuseMode mode = RefuseMode::none;
  if (!parse_refuse_mode(refuse, mode))
    return fail(kExitUsage, "bad --refuse \"" + refuse + "\" (none, close or stop)");
  std::string error;
  std::vector<CameraFault> faults;
  for (const auto &text : fault_specs) {
    // Filled in place: GCC 12 at -O2 takes a moved temporary's empty payload
    // for uninitialised (-Wmaybe-uninitialized).
    auto &fault = faults.emplace_back();
    fault.last = cameras - 1;
    if (!parse_fault_spec(text, fault.key, fault.fault, error))
      return fail(kExitUsage, "--fault " + text + ": " + error);
  }
  for (const auto &text : camera_fault_specs) {
    if (!parse_camera_fault(text, cameras, faults.emplace_back(), error))
      return fail(kExitUsage, "--camera-fault " + text + ": " + error);
  }
  std::vector<bool> down(cameras, false);
  for (const auto &text : camera_down_specs) {
    std::size_t first = 0, last = 0;
    if (!parse_camera_numbers(text, cameras, first, last, error))
      return fail(kExitUsage, "--camera-down " + text + ": " + error);
    std::fill(down.begin() + first, down.begin() + last + 1, true);
  }
  DeviceState state;
  if (!state_file.empty() && !load_state_file(state_file, state, error)) return fail(kExitUsage, error);
  if (print_state) {
    std::cout << state_to_json(state).dump(2) << '\n';
    return 0;
  }

  Fleet fleet(cameras, options, state);
  if (!state_dir.empty() && !fleet.load_states(state_dir, &error)) return fail(kExitUsage, error);
  for (std::size_t i = 0; i < cameras; ++i) {
    DeviceSim &camera = fleet.camera(i);
    for (auto &[first, last, key, fault] : faults)
      if (first <= i && i <= last) camera.set_fault(key, fault);
    camera.set_refuse(down[i] ? RefuseMode::stop_listening : mode);
  }

  // Each camera listens and may hold a connection or more; stdio, the signal
  // handling and a few files take some more descriptors.
  constexpr std::size_t kSpareDescriptors = 32;
  if (const auto limit = raise_descriptor_limit()) {
    const uint64_t listeners = cameras + kSpareDescriptors;
    if (*limit < listeners) {
      return fail(kExitFailure, std::to_string(cameras) + " cameras need at least " +
                                    std::to_string(listeners) + " open files, the limit is " +
                                    std::to_string(*limit) + " (ulimit -Hn; raising it takes root)");
    }
    if (*limit < listeners + cameras) {
      std::cerr << "qznds-sim: warning: the open file limit " << *limit << " leaves room for about "
                << *limit - listeners << " connections at once, fewer than one per camera" << std::endl;
    }
  }
  if (!fleet.start(&error)) return fail(kExitFailure, error);
  if (!inventory_file.empty() && !write_whole_file(inventory_file, fleet.inventory().dump(2) + '\n', error))
    return fail(kExitFailure, "--inventory-out: " + error);
  if (cameras == 1) {
    std::cout << "qznds-sim listening on " << fleet.address(0) << std::endl;
  } else {
    for (std::size_t i = 0; verbose && i < cameras; ++i) {
      std::cout << "qznds-sim: " << fleet.name(i) << (down[i] ? " down at " : " listening on ")
                << fleet.address(i) << '\n';
    }
    std::cout << fleet_summary(fleet, options, std::count(down.begin(), down.end(), true)) << std::endl;
  }

  asio::io_context main_io;
  asio::signal_set signals(main_io, SIGINT, SIGTERM);
  signals.async_wait([](const asio::error_code &, int) {});
  main_io.run();

  fleet.stop();
  if (!save_file.empty() && !fleet.camera(0).save_state(save_file, &error)) return fail(kExitFailure, error);
  if (!state_dir.empty() && !fleet.save_states(state_dir, &error)) return fail(kExitFailure, error);
  std::cout << "qznds-sim stopped" << std::endl;
  return 0;
}
