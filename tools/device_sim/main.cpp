// qznds-sim: the simulated device as a program, for manual tests and for
// tools that need a device to talk to.
#ifndef _WIN32
#include <sys/resource.h>
#endif

#include <CLI/CLI.hpp>
#include <asio.hpp>
#include <charconv>
#include <csignal>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "device_sim.h"
#include "qz_net_dev_setting.h"
#include "usage_message.h"

namespace {

// Exit codes (tools/device_sim/README.md).
constexpr int kExitFailure = 1;  // cannot listen, or cannot save the state on exit
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

// Thousands of connections need more descriptors than the usual soft limit.
// (Windows has no such per-process limit on sockets.)
void raise_descriptor_limit() {
#ifndef _WIN32
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
#endif
}

}  // namespace

int main(int argc, char **argv) {
  using namespace qz::sim;

  CLI::App app{"Simulated qz_nds camera device: answers every command of the device protocol over TCP."};
  app.footer(fault_grammar_help());
  // Built with the library's sources and version; it does not load the library.
  app.set_version_flag("--version",
                       std::string("qznds-sim " QZ_NDS_VERSION_STRING " (library " QZ_NDS_VERSION_STRING ")"),
                       "Print the version and exit");
  std::string listen = "127.0.0.1:" + std::to_string(kDefaultPort);
  std::string state_file;
  std::string save_file;
  long long reboot_ms = 2000;
  bool quiet = false;
  bool print_state = false;
  bool lenient = false;
  std::vector<std::string> fault_specs;
  std::string refuse = "none";
  app.add_option("--listen", listen, "Address and port to listen on (port 0 picks a free one)")
      ->capture_default_str();
  app.add_option("--state", state_file, "Load the device state from this JSON file");
  app.add_option("--save-state", save_file, "Write the device state to this JSON file on exit");
  app.add_option("--reboot-time", reboot_ms, "Milliseconds the device stays away after a reboot")
      ->capture_default_str()
      ->check(CLI::Range(0LL, 3'600'000LL));
  app.add_flag("--quiet", quiet, "No line per exchange");
  app.add_option("--fault", fault_specs, "A fault to show (repeatable); grammar below");
  app.add_option("--refuse", refuse, "Connection handling: none, close or stop")->capture_default_str();
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
  options.reboot_time = std::chrono::milliseconds(reboot_ms);
  options.log = quiet ? nullptr : &std::cout;
  options.strict = !lenient;
  RefuseMode mode = RefuseMode::none;
  if (!parse_refuse_mode(refuse, mode))
    return fail(kExitUsage, "bad --refuse \"" + refuse + "\" (none, close or stop)");
  std::string error;
  std::vector<std::pair<FaultKey, Fault>> faults;
  for (const auto &text : fault_specs) {
    auto &[key, fault] = faults.emplace_back();
    if (!parse_fault_spec(text, key, fault, error)) return fail(kExitUsage, "--fault " + text + ": " + error);
  }
  DeviceState state;
  if (!state_file.empty() && !load_state_file(state_file, state, error)) return fail(kExitUsage, error);
  if (print_state) {
    std::cout << state_to_json(state).dump(2) << '\n';
    return 0;
  }

  DeviceSim sim(options, state);
  for (auto &[key, fault] : faults) sim.set_fault(key, std::move(fault));
  sim.set_refuse(mode);

  raise_descriptor_limit();
  if (!sim.start(&error)) return fail(kExitFailure, error);
  std::cout << "qznds-sim listening on " << options.address << ':' << sim.port() << std::endl;

  asio::io_context main_io;
  asio::signal_set signals(main_io, SIGINT, SIGTERM);
  signals.async_wait([](const asio::error_code &, int) {});
  main_io.run();

  sim.stop();
  if (!save_file.empty() && !sim.save_state(save_file, &error)) return fail(kExitFailure, error);
  std::cout << "qznds-sim stopped" << std::endl;
  return 0;
}
