// info, reboot, keep-alive, --simulate and --version.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <thread>

#include "cli_runner.h"

namespace qz::cli_test {
namespace {

using nlohmann::json;
using qz::sim::DeviceState;

TEST_F(CliTest, InfoShowsTheDevicesConfigurationInSections) {
  sim.update_state([](DeviceState &s) {
    s.device_sn = "SN-0042";
    s.radar_enabled = 1;
    s.default_palette = 0xFE;  // a signed byte on the wire
    s.channel_name = "gate-7";
  });
  // Setting by setting, the values are SettingRoundTrip's (get) and the Python export test's.
  const json doc = run_json({"info"}).json();
  EXPECT_EQ(doc["device"]["address"], device_address());
  EXPECT_EQ(doc["device"]["serial_number"], "SN-0042");
  EXPECT_EQ(doc["settings"]["default_palette"], -2);
  EXPECT_FALSE(doc["settings"].contains("mqtt_passwd"));  // secrets only from export --with-secrets
  const RunResult text = run_qznds({"--device", device_address(), "info"});
  ASSERT_EQ(text.exit_code, 0) << text.err;
  for (const char *part : {"serial_number  SN-0042", "radar             on", "name=gate-7"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part << "\n" << text.out;
  }
}

// Without a terminal on stdin nothing is asked, with or without --yes.
TEST_F(CliTest, RebootReachesTheDevice) {
  EXPECT_EQ(run_json({"reboot"}).json()["connection_closed"], true);
  EXPECT_EQ(sim.stats().reboots, 1u);
  EXPECT_EQ(run_qznds({"--json", "--simulate", "reboot", "--yes"}).json()["connection_closed"], true);
}

TEST_F(CliTest, KeepAliveSendsTheAskedNumberOfMessages) {
  sim.set_recording(true);
  EXPECT_EQ(run_json({"keep-alive", "--interval", "0.05", "--count", "3"}).json()["sent"], 3);
  // Requests of main command 173; the device may still be reading the last.
  long seen = 0;
  for (int i = 0; i < 300 && seen != 3; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
    const auto frames = sim.recorded();
    seen = std::count_if(frames.begin(), frames.end(), [](const auto &f) {
      return f.direction == qz::sim::Direction::request && f.bytes.size() > 12 && f.bytes[12] == 173;
    });
  }
  EXPECT_EQ(seen, 3);
}

TEST(CliSimulate, SimulatedDeviceKeepsItsSettingsInTheStateFile) {
  const std::string state = ::testing::TempDir() + "qznds_sim_state.json";
  std::filesystem::remove(state);
  const RunResult set = run_qznds({"--json", "--simulate", "--sim-state", state, "set", "framerate", "42"});
  ASSERT_EQ(set.exit_code, 0) << set.err;
  const RunResult get = run_qznds({"--json", "--simulate", "--sim-state", state, "get", "framerate"});
  EXPECT_EQ(get.json()["value"], 42);
  // Without the file each run starts from the factory settings.
  EXPECT_EQ(run_qznds({"--json", "--simulate", "get", "framerate"}).json()["value"], DeviceState{}.framerate);
  std::filesystem::remove(state);
}

// qznds-sim --cameras: once all listen the inventory names every camera and
// its address; each answers with a serial number of its own, one that is
// down refuses, and on exit each keeps its settings in a file of its own.
TEST(CliSimulate, CameraFleetWritesItsInventoryAndAStateFilePerCamera) {
  const std::string dir = ::testing::TempDir() + "qznds_fleet_" + std::to_string(getpid());
  const std::string inventory = dir + ".json";
  std::filesystem::remove_all(dir);
  std::filesystem::remove(inventory);
  RunningProgram sim(QZNDS_SIM_BINARY, {"--cameras", "3", "--listen", "127.0.0.1:0", "--camera-down", "2",
                                        "--state-dir", dir, "--inventory-out", inventory});
  for (int i = 0; i < 500 && !std::filesystem::exists(inventory); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  const json devices = json::parse(std::ifstream(inventory))["devices"];
  ASSERT_EQ(devices.size(), 3u);
  EXPECT_EQ(devices[2]["name"], "cam-0003");
  // One JSON line per device as it finishes (then the summary); the exit code
  // is that of the one failure's kind.
  const auto lines_of = [&](const std::vector<std::string> &args) {
    std::vector<std::string> full = {"--inventory", inventory, "--json"};
    full.insert(full.end(), args.begin(), args.end());
    const RunResult run = run_qznds(full);
    EXPECT_EQ(run.exit_code, 4) << run.out << run.err;
    std::map<std::string, json> by_name;
    std::istringstream in(run.out);
    for (std::string line; std::getline(in, line);) {
      const json item = json::parse(line);
      by_name[item.contains("summary") ? "summary" : item["name"].get<std::string>()] = item;
    }
    return by_name;
  };
  auto info = lines_of({"info"});
  EXPECT_EQ(info["summary"]["summary"]["failed"], 1);
  EXPECT_EQ(info["cam-0002"]["error"]["kind"], "unreachable");
  const std::vector<std::string> serials = {info["cam-0001"]["result"]["device"]["serial_number"],
                                            info["cam-0003"]["result"]["device"]["serial_number"]};
  EXPECT_NE(serials[0], serials[1]);
  // --limit picks devices by name or address; -o then names the one device's file.
  const std::string one = dir + "-one.json";
  const RunResult limited =
      run_qznds({"--inventory", inventory, "--limit", "cam-000?", "--limit", "!cam-0002", "--limit",
                 "!" + devices[0]["address"].get<std::string>(), "export", "-o", one});
  EXPECT_EQ(limited.exit_code, 0) << limited.out << limited.err;
  EXPECT_EQ(json::parse(std::ifstream(one))["device"]["name"], "cam-0003");
  std::filesystem::remove(one);
  const RunResult none = run_qznds({"--inventory", inventory, "--limit", "gate-*", "info"});
  EXPECT_NE(none.err.find("--limit gate-*: no device of the inventory is left"), std::string::npos)
      << none.err;
  // monitor: one line per device for its first state; drift names the setting.
  const std::string wanted = write_temp_file("fleet_wanted.json", R"({"settings": {"framerate": 30}})");
  auto states = lines_of({"monitor", "--count", "1", "--against", wanted});
  EXPECT_EQ(states["cam-0001"]["state"], "drift");
  EXPECT_EQ(states["cam-0001"]["settings"], json::array({"framerate"}));
  EXPECT_EQ(states["cam-0002"]["state"], "down");

  sim.signal(SIGTERM);
  const RunResult end = sim.finish();
  EXPECT_EQ(end.exit_code, 0) << end.err;
  EXPECT_NE(end.out.find("qznds-sim: 3 cameras listening on 127.0.0.1, "), std::string::npos) << end.out;
  for (const auto &[file, serial] :
       {std::pair{"/camera-0001.json", serials[0]}, {"/camera-0003.json", serials[1]}})
    EXPECT_EQ(json::parse(std::ifstream(dir + file))["device_sn"], serial) << file;
  std::filesystem::remove_all(dir);
  std::filesystem::remove(inventory);
}

// The schema shipped in docs/ (and installed) is the one the library gives.
TEST(CliHelp, ShippedSchemaIsTheLibrarys) {
  const RunResult schema = run_qznds({"schema"});
  ASSERT_EQ(schema.exit_code, 0) << schema.err;
  EXPECT_EQ(json::parse(schema.out), json::parse(std::ifstream(QZNDS_SCHEMA_FILE)))
      << "docs/config.schema.json is stale: write it with qznds schema";
}

// The tool's version and that of the library it runs with (here the same).
TEST(CliHelp, VersionNamesTheToolAndTheLibrary) {
  const std::string version = QZNDS_EXPECTED_VERSION;
  for (const auto &[program, name] : {std::pair{QZNDS_BINARY, "qznds"}, {QZNDS_SIM_BINARY, "qznds-sim"}}) {
    const RunResult run = run_program(program, {"--version"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out, name + (" " + version) + " (library " + version + ")\n");
  }
}

// The completion script, run by bash: after get and set it offers exactly the
// settings `qznds settings` lists as readable and writable.
TEST(CliHelp, BashCompletionOffersEverySettingName) {
  const RunResult script = run_qznds({"--completion", "bash"});
  ASSERT_EQ(script.exit_code, 0) << script.err;
  const std::string file = write_temp_file("completion.bash", script.out);
  const json listed = run_qznds({"--json", "settings"}).json()["settings"];
  for (const std::string &command : {std::string("get"), std::string("set")}) {
    SCOPED_TRACE(command);
    const RunResult offered = run_program(
        "/bin/bash", {"-c", "source " + file + "; COMP_WORDS=(qznds --simulate " + command +
                                " ''); COMP_CWORD=3; _qznds; printf '%s\\n' \"${COMPREPLY[@]}\""});
    ASSERT_EQ(offered.exit_code, 0) << offered.err;
    std::string expected;
    for (const auto &s : listed) {
      if (s[command == "get" ? "readable" : "writable"] == true)
        expected += s["name"].get<std::string>() + "\n";
    }
    EXPECT_EQ(offered.out, expected);
  }
  unlink(file.c_str());
}

}  // namespace
}  // namespace qz::cli_test
