// qznds: reads and changes the settings of a networked infrared camera
// through the qz_nds SDK, or of a simulated one (--simulate).
#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <string_view>

#include "commands.h"
#include "completion.h"
#include "errors.h"
#include "output.h"
#include "qz_nds_ext.h"
#include "usage_message.h"

#ifndef QZNDS_PROJECT_VERSION
#error "QZNDS_PROJECT_VERSION comes from the project version (tools/qznds/CMakeLists.txt)"
#endif
#ifdef QZ_NDS_VERSION_STRING
static_assert(std::string_view(QZ_NDS_VERSION_STRING) == QZNDS_PROJECT_VERSION,
              "the version in qz_net_dev_setting.h differs from the project version");
#endif

namespace {

using qznds::CommandLine;

void add_commands(CLI::App &app, CommandLine &line) {
  app.add_subcommand("info", "Read the identity and every readable setting, shown by family");
  auto *get = app.add_subcommand("get", "Read one setting");
  get->add_option("name", line.setting, "Setting name (listed below)")->required();
  auto *set = app.add_subcommand("set", "Change one setting");
  set->add_option("name", line.setting, "Setting name (listed below)")->required();
  set->add_option("values", line.values, "The new value(s), in the setting's form (secrets: --secrets)");
  set->add_option("--secrets", line.secrets,
                  "Where secret values come from: env (QZNDS_<SETTING>), FILE or -")
      ->type_name("SOURCE");
  auto *exp = app.add_subcommand("export", "Write the whole configuration as one JSON document");
  exp->add_option("-o,--output", line.output, "A file (one device) or a folder (several); default stdout")
      ->type_name("PATH");
  exp->add_flag("--with-secrets", line.with_secrets, "Include passwords and account info (only with -o)");
  auto *apply =
      app.add_subcommand("apply", "Make the devices match a document: only what differs is written");
  apply->add_option("document", line.document, "The document (a whole export or any part of it)")
      ->required()
      ->type_name("FILE");
  apply->add_flag("--diff,--dry-run", line.dry_run, "Show what would change; write nothing");
  apply
      ->add_option("--secrets", line.secrets,
                   "Where secret values come from: env (QZNDS_<SETTING>), FILE or -")
      ->type_name("SOURCE");
  app.add_subcommand("reboot", "Ask the device to restart (not waited for)")
      ->add_flag("-y,--yes", line.yes, "Do not ask first (the tool asks only when stdin is a terminal)");
  auto *keep_alive = app.add_subcommand("keep-alive", "Send keep-alive messages");
  auto *monitor = app.add_subcommand("monitor", "Watch devices: up, down and drift from a document");
  auto *serve =
      app.add_subcommand("serve", "The fleet console: a page and a JSON API for the inventory's devices");
  serve
      ->add_option("--listen", line.listen,
                   "HOST:PORT to serve on; another address than loopback needs the token")
      ->capture_default_str();
  serve
      ->add_option(
          "--token-file", line.token_file,
          "The token every API call needs (default: generated and printed once when not on loopback)")
      ->type_name("FILE");
  for (auto *sub : {keep_alive, monitor, serve}) {
    sub->add_option("--interval", line.interval, "Seconds between rounds (0 to 3600)")
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str();
  }
  keep_alive->add_option("--count", line.count, "Number of messages (1 to 100000)")
      ->check(CLI::Range(1, 100000))
      ->capture_default_str();
  monitor->add_option("--count", line.count, "Number of rounds (0: until interrupted)")
      ->check(CLI::Range(0, 1000000))
      ->default_val(0);
  monitor->add_option("--against", line.document, "Report drift from this document")->type_name("FILE");
  app.add_subcommand("settings", "Describe every setting: value form and meaning (no device needed)");
  app.add_subcommand("schema", "Print the JSON Schema of exported documents (no device needed)");
  get->footer(qznds::help_footer());
  set->footer(qznds::help_footer());
}

bool wants_json(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) return true;
  }
  return false;
}

int usage_error(const std::string &message, bool json) {
  const qznds::ToolError tool_error(qznds::ErrorKind::usage, message);
  if (json) {
    qznds::Output(true).failure("", tool_error, qznds::Json());
  } else {
    std::cerr << "qznds: " << message << "\nRun 'qznds --help' for the commands and settings.\n";
  }
  return qznds::exit_code(qznds::ErrorKind::usage);
}

}  // namespace

int main(int argc, char **argv) {
  CommandLine line;
  CLI::App app{"qznds: read and change the settings of a networked infrared camera."};
  app.fallthrough();
  app.require_subcommand(1);
  // The library's version is the one loaded at run time, which a swapped
  // shared library can make differ from the tool's.
  app.set_version_flag(
      "--version", std::string("qznds ") + QZNDS_PROJECT_VERSION + " (library " + qz_ndsx_version() + ")");
  auto *device = app.add_option("--device", line.devices,
                                "Camera address HOST[:PORT] (port 63201 by default); repeatable")
                     ->type_name("HOST[:PORT]");
  auto *inventory =
      app.add_option("--inventory", line.inventory, "A file listing the devices (JSON or lines)")
          ->type_name("FILE");
  app.add_option("--limit", line.limits,
                 "Only the inventory's devices whose name or address matches (* and ?; !PATTERN leaves "
                 "them out); repeatable")
      ->type_name("PATTERN")
      ->needs(inventory);
  app.add_option("--jobs", line.jobs, "Devices worked on at once (1 to 1024)")
      ->check(CLI::Range(1, 1024))
      ->capture_default_str();
  auto *simulate = app.add_flag("--simulate", line.simulate,
                                "Use a simulated camera started in this process on 127.0.0.1");
  simulate->excludes(device);
  simulate->excludes(inventory);
  app.add_option(
         "--sim-state", line.sim_state,
         "With --simulate: load the simulated camera's settings from FILE when it exists, save them there "
         "on exit")
      ->type_name("FILE")
      ->needs(simulate);
  app.add_flag("--json", line.json, "Machine-readable output: one JSON document on stdout, errors included");
  app.add_flag("-v,--verbose", line.verbose, "Show the SDK's log lines on stderr");
  add_commands(app, line);
  app.footer(qznds::help_footer());

  // Hidden: the build writes the installed completion script with it.
  if (argc == 3 && std::strcmp(argv[1], "--completion") == 0) {
    if (std::strcmp(argv[2], "bash") != 0)
      return usage_error(std::string("no completion for ") + argv[2], false);
    std::cout << qznds::bash_completion(app);
    return qznds::kExitOk;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
      return app.exit(error);  // help, version
    return usage_error(qz::sim::usage_message(error, app), wants_json(argc, argv));
  }
  line.command = app.get_subcommands().front()->get_name();
  return qznds::run(line);
}
