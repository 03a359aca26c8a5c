// Every setting of the catalogue, written with `set` and read back with `get`
// by a second qznds process, checked against the simulated device's own state
// so that a wrong request cannot hide behind a matching wrong read. Secrets
// travel through --secrets and come back masked from set.
#include <algorithm>
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
  bool secret = false;  // masked in set's output; given through a --secrets file but for the block
};

// Names are given with hyphens, which the tool takes for underscores.
std::string snake(std::string name) {
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

void PrintTo(const Sample &s, std::ostream *os) {
  *os << s.name;
}

json osd(json display, int attribute, int value1, int value2) {
  return {{"display", display}, {"attribute", attribute}, {"value1", value1}, {"value2", value2}};
}

// Each value differs from the device's factory setting.
std::vector<Sample> samples() {
  // clang-format off
  std::vector<Sample> rows = {
      {"hdmi", {"off"}, false, {{"/hdmi_enabled", 0}}},
      {"onvif", {"no"}, false, {{"/onvif_enabled", 0}}},
      {"len-pos", {"on"}, true, {{"/len_pos_enabled", 1}}},
      {"detect-sun", {"0"}, false, {{"/detect_sun_enabled", 0}}},
      {"rotate180", {"true"}, true, {{"/rotate180_enabled", 1}}},
      {"radar", {"on"}, true, {{"/radar_enabled", 1}}},
      {"auto-change-meas", {"on"}, true, {{"/auto_change_meas_enabled", 1}}},
      {"auto-focus", {"off"}, false, {{"/auto_focus_enabled", 0}}},
      {"center-rectangle", {"off"}, false, {{"/center_rectangle_displayed", 0}}},
      {"ps-link-count", {"3"}, 3, {{"/ps_link_count", 3}}},
      {"ad-link-count", {"2"}, 2, {{"/ad_link_count", 2}}},
      {"visual-link-count", {"4"}, 4, {{"/visual_link_count", 4}}},
      {"ptz-link-count", {"0x5"}, 5, {{"/ptz_link_count", 5}}},
      {"default-palette", {"7"}, 7, {{"/default_palette", 7}}},
      {"framerate", {"30"}, 30, {{"/framerate", 30}}},
      {"len-adjust-method", {"2"}, 2, {{"/len_adjust_method", 2}}},
      // Year, month, day, hour, minute, second, millisecond, weekday (Friday).
      {"system-time", {"2026-01-02T03:04:05"}, "2026-01-02T03:04:05",
       {{"/system_time", "07ea000100020003000400050000000500000000"},
        {"/system_time_text", "2026-01-02T03:04:05.000"}}, false},
      {"ip-info", {"1", "10.0.0.5", "255.255.0.0", "10.0.0.1", "10.0.0.2", "1.1.1.1"},
       {{"flag", 1}, {"text1", "10.0.0.5"}, {"text2", "255.255.0.0"}, {"text3", "10.0.0.1"},
        {"text4", "10.0.0.2"}, {"text5", "1.1.1.1"}},
       {{"/ip_info_texts", {"10.0.0.5", "255.255.0.0", "10.0.0.1", "10.0.0.2", "1.1.1.1"}}}},
      {"visual-ip", {"10.0.0.9"}, "10.0.0.9", {{"/visual_ip", "10.0.0.9"}}},
      {"visual-user", {"operator"}, "operator", {{"/visual_user", "operator"}}},
      {"visual-passwd", {""}, "", {{"/visual_passwd", ""}}, true, true},
      {"visual-sn", {"on", "off", "VS123"}, {{"support", true}, {"same_ip", false}, {"sn", "VS123"}},
       {{"/visual_sn", "VS123"}, {"/visual_same_ip", 0}}, false},
      {"visual-zoom-control-flag", {"7"}, 7, {{"/visual_zoom_control_flag", 7}}},
      {"visual-gotopreset-when-start", {"9"}, 9, {{"/visual_gotopreset_when_start", 9}}},
      {"mqtt-work", {"on"}, true, {{"/mqtt_work", 1}}},
      {"mqtt-ip", {"10.0.0.20"}, "10.0.0.20", {{"/mqtt_ip", "10.0.0.20"}}},
      {"mqtt-port", {"8883"}, 8883, {{"/mqtt_port", 8883}}},
      {"mqtt-user", {"cam"}, "cam", {{"/mqtt_user", "cam"}}},
      {"mqtt-passwd", {"pw 2"}, "pw 2", {{"/mqtt_passwd", "pw 2"}}, true, true},
      {"gb28181", {"on", "34020000002000000009", "5061", "3402000009", "34020000001320000009", "secret"},
       {{"enable", true}, {"text1", "34020000002000000009"}, {"port", 5061}, {"text2", "3402000009"},
        {"text3", "34020000001320000009"}, {"text4", "secret"}},
       {{"/gb28181_enable", 1}, {"/gb28181_port", 5061}, {"/gb28181_text4", "secret"}}},
      {"hardware-watchdog", {"off"}, false, {{"/hardware_watchdog", 0}}},
      {"hardware-watchdog-disable", {"on"}, true, {{"/hardware_watchdog_disable", 1}}},
      {"hardware-watchdog-disable-time", {"45"}, 45, {{"/hardware_watchdog_disable_time", 45}}},
      {"disable-temperature-correct-status", {"7"}, 7, {{"/disable_temperature_correct_status", 7}}},
      {"vision-maxtemperature", {"on"}, true, {{"/vision_maxtemperature", 1}}},
      {"all-temperature-network-byte-order", {"off"}, false, {{"/all_temperature_network_byte_order", 0}}},
      {"channel-name", {"yard-north", "on", "2", "32", "440"},
       {{"name", "yard-north"}, {"display", true}, {"attribute", 2}, {"value1", 32}, {"value2", 440}},
       {{"/channel_name", "yard-north"}, {"/osd_items/8", osd(1, 2, 32, 440)}}},
      {"account-info", {kAccountFile},
       {{"size", 13}, {"text", kAccountText}, {"hex", "757365723d6f70733b6c763d32"}},
       {{"/account_info", "757365723d6f70733b6c763d32"}}, true, true},
      {"passive-wireless-power-status", {"5", "6", "4294967295"},
       {{"status1", 5}, {"status2", 6}, {"status3", 4294967295u}},
       {{"/passive_wireless_power_status1", 5}, {"/passive_wireless_power_status3", 4294967295u}}},
      {"passive-wireless-domain", {"pw.example", "9"}, {{"domain", "pw.example"}, {"value", 9}},
       {{"/passive_wireless_domain", "pw.example"}, {"/passive_wireless_domain_value", 9}}},
      {"hikvision-linkage", {"on"}, true, {{"/hikvision_linkage", 1}}},
      {"pg-support", {"yes"}, true, {{"/pg_support", 1}}},
  };
  // clang-format on
  for (int id = 0; id < 12; ++id) {
    if (id == 8) continue;  // the channel-name item
    rows.push_back({"osd-item-" + std::to_string(id),
                    {"off", "3", std::to_string(100 + id), std::to_string(200 + id)},
                    osd(false, 3, 100 + id, 200 + id),
                    {{"/osd_items/" + std::to_string(id), osd(0, 3, 100 + id, 200 + id)}}});
  }
  return rows;
}

class SettingRoundTrip : public CliTest, public ::testing::WithParamInterface<Sample> {};

TEST_P(SettingRoundTrip, SetReachesTheDeviceAndGetReadsItBack) {
  const Sample &sample = GetParam();
  std::vector<std::string> args = {"set", sample.name};
  if (sample.secret && sample.name != "account-info") {
    const json secrets{{sample.name, sample.args[0]}};
    args.insert(args.end(), {"--secrets", write_temp_file("secrets.json", secrets.dump())});
  } else {
    for (const auto &arg : sample.args)
      args.push_back(arg == kAccountFile ? write_temp_file("account", kAccountText) : arg);
  }
  const RunResult set = run_json(args);
  ASSERT_EQ(set.exit_code, 0) << set.out << set.err;
  EXPECT_EQ(set.json()["value"], sample.secret ? json("********") : sample.expected);
  const json state = sim.to_json();
  for (const auto &[pointer, value] : sample.device.items()) {
    EXPECT_EQ(state.at(json::json_pointer(pointer)), value) << pointer;
  }

  if (!sample.readable) return;
  const RunResult get = run_json({"get", sample.name});
  ASSERT_EQ(get.exit_code, 0) << get.out << get.err;
  EXPECT_EQ(get.json()["setting"], snake(sample.name));
  EXPECT_EQ(get.json()["value"], sample.expected);
}

INSTANTIATE_TEST_SUITE_P(EverySetting, SettingRoundTrip, ::testing::ValuesIn(samples()),
                         [](const auto &info) {
                           std::string name = info.param.name;
                           for (char &c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                           return name;
                         });

// The samples above cover exactly the tool's settings with the right access,
// and --help lists each with its value form.
TEST(SettingTable, EverySettingHasASampleAndAHelpLine) {
  const RunResult list = run_qznds({"--json", "settings"});
  const RunResult help = run_qznds({"--help"});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  ASSERT_EQ(help.exit_code, 0) << help.err;
  std::set<std::pair<std::string, bool>> listed, sampled;
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
  for (const auto &s : samples()) sampled.insert({snake(s.name), s.readable});
  EXPECT_EQ(listed, sampled);
}

}  // namespace
}  // namespace qz::cli_test
