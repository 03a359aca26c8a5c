// One setting of each value form, written with `set` and read back with
// `get` by a second qznds process, checked against the simulated device's own
// state so that a wrong request cannot hide behind a matching wrong read. The
// library's exports themselves are checked setting by setting in the e2e suite.
#include <set>

#include "cli_runner.h"

namespace qz::cli_test {
namespace {

using nlohmann::json;

// Replaced by the path of a file holding kAccountText.
constexpr char kAccountFile[] = "@ACCOUNT_FILE";
constexpr char kAccountText[] = "user=ops;lv=2";

struct Sample {
  std::string name;
  std::vector<std::string> args;
  json expected;  // the value `set` reports and `get` reads back
  json device;    // JSON pointers into the simulator's state, and their values
  bool readable = true;
};

void PrintTo(const Sample &s, std::ostream *os) {
  *os << s.name;
}

json osd(json display, int attribute, int value1, int value2) {
  return {{"display", display}, {"attribute", attribute}, {"value1", value1}, {"value2", value2}};
}

// Each value differs from the device's factory setting.
std::vector<Sample> samples() {
  return {
      {"hdmi", {"off"}, false, {{"/hdmi_enabled", 0}}},
      {"rotate180", {"true"}, true, {{"/rotate180_enabled", 1}}},
      {"pg-support", {"yes"}, true, {{"/pg_support", 1}}},
      {"mqtt-work", {"on"}, true, {{"/mqtt_work", 1}}},
      {"ptz-link-count", {"0x5"}, 5, {{"/ptz_link_count", 5}}},
      {"default-palette", {"7"}, 7, {{"/default_palette", 7}}},
      // Year, month, day, hour, minute, second, millisecond, weekday (Friday).
      {"system-time",
       {"2026-01-02T03:04:05"},
       {{"time", "2026-01-02T03:04:05"}, {"block", "07ea000100020003000400050000000500000000"}},
       {{"/system_time", "07ea000100020003000400050000000500000000"}},
       false},
      {"ip-info",
       {"1", "10.0.0.5", "255.255.0.0", "10.0.0.1", "10.0.0.2", "1.1.1.1"},
       {{"flag", 1},
        {"text1", "10.0.0.5"},
        {"text2", "255.255.0.0"},
        {"text3", "10.0.0.1"},
        {"text4", "10.0.0.2"},
        {"text5", "1.1.1.1"}},
       {{"/ip_info_texts", {"10.0.0.5", "255.255.0.0", "10.0.0.1", "10.0.0.2", "1.1.1.1"}}}},
      {"visual-passwd", {""}, "", {{"/visual_passwd", ""}}},
      {"mqtt-passwd", {"pw 2"}, "pw 2", {{"/mqtt_passwd", "pw 2"}}},
      {"visual-sn",
       {"on", "off", "VS123"},
       {{"support", true}, {"same_ip", false}, {"sn", "VS123"}},
       {{"/visual_sn", "VS123"}, {"/visual_same_ip", 0}},
       false},
      {"mqtt-port", {"8883"}, 8883, {{"/mqtt_port", 8883}}},
      {"gb28181",
       {"on", "34020000002000000009", "5061", "3402000009", "34020000001320000009", "secret"},
       {{"enable", true},
        {"text1", "34020000002000000009"},
        {"port", 5061},
        {"text2", "3402000009"},
        {"text3", "34020000001320000009"},
        {"text4", "secret"}},
       {{"/gb28181_enable", 1}, {"/gb28181_port", 5061}, {"/gb28181_text4", "secret"}}},
      {"osd-item-3",
       {"off", "3", "103", "203"},
       osd(false, 3, 103, 203),
       {{"/osd_items/3", osd(0, 3, 103, 203)}}},
      {"channel-name",
       {"yard-north", "on", "2", "32", "440"},
       {{"name", "yard-north"}, {"display", true}, {"attribute", 2}, {"value1", 32}, {"value2", 440}},
       {{"/channel_name", "yard-north"}, {"/osd_items/8", osd(1, 2, 32, 440)}}},
      {"account-info",
       {kAccountFile},
       {{"size", 13}, {"text", kAccountText}, {"hex", "757365723d6f70733b6c763d32"}},
       {{"/account_info", "757365723d6f70733b6c763d32"}}},
      {"passive-wireless-power-status",
       {"5", "6", "4294967295"},
       {{"status1", 5}, {"status2", 6}, {"status3", 4294967295u}},
       {{"/passive_wireless_power_status1", 5}, {"/passive_wireless_power_status3", 4294967295u}}},
      {"passive-wireless-domain",
       {"pw.example", "9"},
       {{"domain", "pw.example"}, {"value", 9}},
       {{"/passive_wireless_domain", "pw.example"}, {"/passive_wireless_domain_value", 9}}},
  };
}

class SettingRoundTrip : public CliTest, public ::testing::WithParamInterface<Sample> {};

TEST_P(SettingRoundTrip, SetReachesTheDeviceAndGetReadsItBack) {
  const Sample &sample = GetParam();
  std::vector<std::string> args = {"set", sample.name};
  for (const auto &arg : sample.args) {
    args.push_back(arg == kAccountFile ? write_temp_file("account", kAccountText) : arg);
  }
  const RunResult set = run_json(args);
  ASSERT_EQ(set.exit_code, 0) << set.out << set.err;
  EXPECT_EQ(set.json()["value"], sample.expected);
  const json state = sim.to_json();
  for (const auto &[pointer, value] : sample.device.items()) {
    EXPECT_EQ(state.at(json::json_pointer(pointer)), value) << pointer;
  }

  if (!sample.readable) return;
  const RunResult get = run_json({"get", sample.name});
  ASSERT_EQ(get.exit_code, 0) << get.out << get.err;
  EXPECT_EQ(get.json(),
            json({{"ok", true}, {"command", "get"}, {"setting", sample.name}, {"value", sample.expected}}));
}

INSTANTIATE_TEST_SUITE_P(EachForm, SettingRoundTrip, ::testing::ValuesIn(samples()), [](const auto &info) {
  std::string name = info.param.name;
  for (char &c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
});

// --help lists every setting with its value form, and the exit codes; the
// listing tells which settings can be read back.
TEST(SettingTable, EverySettingHasAHelpLine) {
  const RunResult list = run_qznds({"--json", "settings"});
  const RunResult help = run_qznds({"--help"});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  ASSERT_EQ(help.exit_code, 0) << help.err;
  std::set<std::pair<std::string, bool>> listed;
  const json doc = list.json();
  for (const auto &s : doc["settings"]) {
    const std::string name = s["name"];
    EXPECT_TRUE(s["writable"].get<bool>()) << name;
    listed.insert({name, s["readable"].get<bool>()});
    const auto at = help.out.find("    " + name + " ");
    ASSERT_NE(at, std::string::npos) << name;
    const std::string line = help.out.substr(at, help.out.find('\n', at) - at);
    EXPECT_NE(line.find(s["form"].get<std::string>()), std::string::npos) << line;
  }
  EXPECT_EQ(listed.size(), 53u);  // 42 settings and 11 OSD items
  for (const auto &s : samples()) EXPECT_EQ(listed.count({s.name, s.readable}), 1u) << s.name;
  for (const char *code : {"  2  usage", "  3  bad_value", "  4  unreachable", "  5  refused", "  6  timeout",
                           "  7  bad_answer"}) {
    EXPECT_NE(help.out.find(code), std::string::npos) << code;
  }
}

}  // namespace
}  // namespace qz::cli_test
