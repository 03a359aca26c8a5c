// Every setting of the tool's table, written with `set` and read back with
// `get` by a second qznds process, checked against the simulated device's own
// state so that a wrong request cannot hide behind a matching wrong read.
#include <set>

#include "cli_runner.h"

namespace qz::cli_test {
namespace {

using nlohmann::json;
using qz::sim::DeviceState;

// Replaced by the path of a file holding kAccountText.
constexpr char kAccountFileToken[] = "@ACCOUNT_FILE";
constexpr char kAccountText[] = "user=ops;lv=2";

struct Sample {
  std::string name;
  std::vector<std::string> args;
  json expected;  // the value `set` reports and `get` reads back
  std::function<void(const DeviceState &)> check;
  bool readable = true;
};

void PrintTo(const Sample &s, std::ostream *os) {
  *os << s.name;
}

json osd(bool display, int attribute, int value1, int value2) {
  return {{"display", display}, {"attribute", attribute}, {"value1", value1}, {"value2", value2}};
}

std::vector<Sample> samples() {
  // Each value differs from the device's factory setting.
  std::vector<Sample> rows = {
      {"hdmi", {"off"}, false, [](auto &s) { EXPECT_EQ(s.hdmi_enabled, 0); }},
      {"onvif", {"no"}, false, [](auto &s) { EXPECT_EQ(s.onvif_enabled, 0); }},
      {"len-pos", {"on"}, true, [](auto &s) { EXPECT_EQ(s.len_pos_enabled, 1); }},
      {"detect-sun", {"0"}, false, [](auto &s) { EXPECT_EQ(s.detect_sun_enabled, 0); }},
      {"rotate180", {"true"}, true, [](auto &s) { EXPECT_EQ(s.rotate180_enabled, 1); }},
      {"radar", {"on"}, true, [](auto &s) { EXPECT_EQ(s.radar_enabled, 1); }},
      {"auto-change-meas", {"on"}, true, [](auto &s) { EXPECT_EQ(s.auto_change_meas_enabled, 1); }},
      {"auto-focus", {"off"}, false, [](auto &s) { EXPECT_EQ(s.auto_focus_enabled, 0); }},
      {"center-rectangle", {"off"}, false, [](auto &s) { EXPECT_EQ(s.center_rectangle_displayed, 0); }},
      {"ps-link-count", {"3"}, 3, [](auto &s) { EXPECT_EQ(s.ps_link_count, 3); }},
      {"ad-link-count", {"2"}, 2, [](auto &s) { EXPECT_EQ(s.ad_link_count, 2); }},
      {"visual-link-count", {"4"}, 4, [](auto &s) { EXPECT_EQ(s.visual_link_count, 4); }},
      {"ptz-link-count", {"0x5"}, 5, [](auto &s) { EXPECT_EQ(s.ptz_link_count, 5); }},
      {"default-palette", {"7"}, 7, [](auto &s) { EXPECT_EQ(s.default_palette, 7); }},
      {"framerate", {"30"}, 30, [](auto &s) { EXPECT_EQ(s.framerate, 30); }},
      {"len-adjust-method", {"2"}, 2, [](auto &s) { EXPECT_EQ(s.len_adjust_method, 2); }},
      {"system-time",
       {"2026-01-02T03:04:05"},
       {{"time", "2026-01-02T03:04:05"}, {"block", "07ea000100020003000400050000000500000000"}},
       [](auto &s) {
         // Year, month, day, hour, minute, second, millisecond, weekday (Friday).
         const std::array<uint8_t, 20> block = {0x07, 0xEA, 0, 1, 0, 2, 0, 3, 0, 4,
                                                0,    5,    0, 0, 0, 5, 0, 0, 0, 0};
         EXPECT_EQ(s.system_time, block);
       },
       false},
      {"ip-info",
       {"1", "10.0.0.5", "255.255.0.0", "10.0.0.1", "10.0.0.2", "1.1.1.1"},
       {{"flag", 1},
        {"text1", "10.0.0.5"},
        {"text2", "255.255.0.0"},
        {"text3", "10.0.0.1"},
        {"text4", "10.0.0.2"},
        {"text5", "1.1.1.1"}},
       [](auto &s) {
         EXPECT_EQ(s.ip_info_texts[0], "10.0.0.5");
         EXPECT_EQ(s.ip_info_texts[4], "1.1.1.1");
       }},
      {"visual-ip", {"10.0.0.9"}, "10.0.0.9", [](auto &s) { EXPECT_EQ(s.visual_ip, "10.0.0.9"); }},
      {"visual-user", {"operator"}, "operator", [](auto &s) { EXPECT_EQ(s.visual_user, "operator"); }},
      {"visual-passwd", {""}, "", [](auto &s) { EXPECT_EQ(s.visual_passwd, ""); }},
      {"visual-sn",
       {"on", "off", "VS123"},
       {{"support", true}, {"same_ip", false}, {"sn", "VS123"}},
       [](auto &s) {
         EXPECT_EQ(s.visual_sn, "VS123");
         EXPECT_EQ(s.visual_same_ip, 0);
       },
       false},
      {"visual-zoom-control-flag", {"7"}, 7, [](auto &s) { EXPECT_EQ(s.visual_zoom_control_flag, 7); }},
      {"visual-gotopreset-when-start",
       {"9"},
       9,
       [](auto &s) { EXPECT_EQ(s.visual_gotopreset_when_start, 9); }},
      {"mqtt-work", {"on"}, true, [](auto &s) { EXPECT_EQ(s.mqtt_work, 1); }},
      {"mqtt-ip", {"10.0.0.20"}, "10.0.0.20", [](auto &s) { EXPECT_EQ(s.mqtt_ip, "10.0.0.20"); }},
      {"mqtt-port", {"8883"}, 8883, [](auto &s) { EXPECT_EQ(s.mqtt_port, 8883u); }},
      {"mqtt-user", {"cam"}, "cam", [](auto &s) { EXPECT_EQ(s.mqtt_user, "cam"); }},
      {"mqtt-passwd", {"pw 2"}, "pw 2", [](auto &s) { EXPECT_EQ(s.mqtt_passwd, "pw 2"); }},
      {"gb28181",
       {"on", "34020000002000000009", "5061", "3402000009", "34020000001320000009", "secret"},
       {{"enable", true},
        {"text1", "34020000002000000009"},
        {"port", 5061},
        {"text2", "3402000009"},
        {"text3", "34020000001320000009"},
        {"text4", "secret"}},
       [](auto &s) {
         EXPECT_EQ(s.gb28181_enable, 1);
         EXPECT_EQ(s.gb28181_port, 5061);
         EXPECT_EQ(s.gb28181_text4, "secret");
       }},
      {"hardware-watchdog", {"off"}, false, [](auto &s) { EXPECT_EQ(s.hardware_watchdog, 0); }},
      {"hardware-watchdog-disable", {"on"}, true, [](auto &s) { EXPECT_EQ(s.hardware_watchdog_disable, 1); }},
      {"hardware-watchdog-disable-time",
       {"45"},
       45,
       [](auto &s) { EXPECT_EQ(s.hardware_watchdog_disable_time, 45); }},
      {"disable-temperature-correct-status",
       {"7"},
       7,
       [](auto &s) { EXPECT_EQ(s.disable_temperature_correct_status, 7); }},
      {"vision-maxtemperature", {"on"}, true, [](auto &s) { EXPECT_EQ(s.vision_maxtemperature, 1); }},
      {"all-temperature-network-byte-order",
       {"off"},
       false,
       [](auto &s) { EXPECT_EQ(s.all_temperature_network_byte_order, 0); }},
      {"channel-name",
       {"yard-north", "on", "2", "32", "440"},
       {{"name", "yard-north"}, {"display", true}, {"attribute", 2}, {"value1", 32}, {"value2", 440}},
       [](auto &s) {
         EXPECT_EQ(s.channel_name, "yard-north");
         EXPECT_EQ(s.osd_items[8].value2, 440);
       }},
      {"account-info",
       {kAccountFileToken},
       {{"size", 13}, {"text", kAccountText}, {"hex", "757365723d6f70733b6c763d32"}},
       [](auto &s) { EXPECT_EQ(std::string(s.account_info.begin(), s.account_info.end()), kAccountText); }},
      {"passive-wireless-power-status",
       {"5", "6", "4294967295"},
       {{"status1", 5}, {"status2", 6}, {"status3", 4294967295u}},
       [](auto &s) { EXPECT_EQ(s.passive_wireless_power_status3, 4294967295u); }},
      {"passive-wireless-domain",
       {"pw.example", "9"},
       {{"domain", "pw.example"}, {"value", 9}},
       [](auto &s) { EXPECT_EQ(s.passive_wireless_domain, "pw.example"); }},
      {"hikvision-linkage", {"on"}, true, [](auto &s) { EXPECT_EQ(s.hikvision_linkage, 1); }},
      {"pg-support", {"yes"}, true, [](auto &s) { EXPECT_EQ(s.pg_support, 1); }},
  };
  for (int id = 0; id < 12; ++id) {
    if (id == 8) continue;  // the channel-name item
    const int value1 = 100 + id, value2 = 200 + id;
    rows.push_back({"osd-item-" + std::to_string(id),
                    {"off", "3", std::to_string(value1), std::to_string(value2)},
                    osd(false, 3, value1, value2),
                    [id, value1](auto &s) {
                      EXPECT_EQ(s.osd_items[id].value1, value1);
                      EXPECT_EQ(s.osd_items[id].display, 0);
                    }});
  }
  return rows;
}

class SettingRoundTrip : public CliTest, public ::testing::WithParamInterface<Sample> {};

TEST_P(SettingRoundTrip, SetReachesTheDeviceAndGetReadsItBack) {
  const Sample &sample = GetParam();
  std::vector<std::string> args = {"set", sample.name};
  for (const auto &arg : sample.args) {
    args.push_back(arg == kAccountFileToken ? write_temp_file("account", kAccountText) : arg);
  }
  const RunResult set = run_json(args);
  ASSERT_EQ(set.exit_code, 0) << set.out << set.err;
  EXPECT_EQ(set.json()["value"], sample.expected);
  sample.check(sim.state());

  if (!sample.readable) return;
  const RunResult get = run_json({"get", sample.name});
  ASSERT_EQ(get.exit_code, 0) << get.out << get.err;
  const json doc = get.json();
  EXPECT_EQ(doc["setting"], sample.name);
  EXPECT_EQ(doc["value"], sample.expected);
}

INSTANTIATE_TEST_SUITE_P(EverySetting, SettingRoundTrip, ::testing::ValuesIn(samples()),
                         [](const auto &info) {
                           std::string name = info.param.name;
                           for (char &c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                           return name;
                         });

// The samples above cover exactly the tool's settings, with the right access.
TEST(SettingTable, EverySettingHasASample) {
  const RunResult list = run_qznds({"--json", "settings"});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  std::set<std::pair<std::string, bool>> listed, sampled;
  const json doc = list.json();
  for (const auto &s : doc["settings"]) {
    EXPECT_TRUE(s["writable"].get<bool>()) << s["name"];
    listed.insert({s["name"].get<std::string>(), s["readable"].get<bool>()});
  }
  for (const auto &s : samples()) sampled.insert({s.name, s.readable});
  EXPECT_EQ(listed, sampled);
}

}  // namespace
}  // namespace qz::cli_test
