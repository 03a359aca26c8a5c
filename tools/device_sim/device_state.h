// The simulated device's settings: every value the device keeps, with the
// defaults of a freshly installed camera, and their JSON form for state files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "device_limits.h"
#include "machine_record_layout.h"
#include "system_time.h"

namespace qz::sim {

// Longest texts the device keeps (a set request with a longer text is
// refused) and the ranges of its small numbers.
using namespace wire::limits;
using wire::CivilTime;
using wire::kSystemTimeSize;
using wire::system_time_text;
using wire::SystemTimeBlock;
inline constexpr std::size_t kOsdItemCount = wire::osd::kItemCount;

// One on-screen display item; value1 and value2 are positions or sizes whose
// meaning depends on the item.
struct OsdItem {
  uint8_t display = 0;
  uint8_t attribute = 0;
  uint16_t value1 = 0;
  uint16_t value2 = 0;
  bool operator==(const OsdItem &) const = default;
};

struct DeviceState {
  // Identity, as the machine configuration record reports it.
  std::string machine_text1 = "QZ-T640";
  std::string machine_text2 = "V3.2.7";
  std::string machine_text3 = "20240318";
  std::string device_sn = "QZT6402403180017";
  uint16_t machine_value1 = 640;  // sensor width
  uint16_t machine_value2 = 512;  // sensor height

  // IP settings: a flag (1 = static addressing) and five texts.
  uint8_t ip_info_flag = 1;
  std::array<std::string, kIpTextCount> ip_info_texts = {"192.168.1.64", "255.255.255.0", "192.168.1.1",
                                                         "192.168.1.1", "8.8.8.8"};

  // Feature switches, 0 or 1.
  uint8_t hdmi_enabled = 1;
  uint8_t onvif_enabled = 1;
  uint8_t len_pos_enabled = 0;
  uint8_t detect_sun_enabled = 1;
  uint8_t rotate180_enabled = 0;
  uint8_t radar_enabled = 0;
  uint8_t auto_change_meas_enabled = 0;
  uint8_t auto_focus_enabled = 1;
  uint8_t center_rectangle_displayed = 1;

  // Numeric settings. The palette and the lens method travel as signed bytes
  // in the record; they are kept as the raw byte.
  uint8_t ps_link_count = 1;
  uint8_t ad_link_count = 0;
  uint8_t visual_link_count = 1;
  uint8_t ptz_link_count = 0;
  uint8_t default_palette = 0;
  uint8_t framerate = 25;
  uint8_t len_adjust_method = 0;
  SystemTimeBlock system_time{};  // last block received, in any layout

  // OSD: twelve items by id, item 8 carrying the channel name.
  std::array<OsdItem, kOsdItemCount> osd_items = default_osd_items();
  std::string channel_name = "IR-CH1";

  // Linked visual camera.
  std::string visual_ip = "192.168.1.65";
  std::string visual_user = "admin";
  std::string visual_passwd = "admin12345";
  uint8_t visual_support = 1;
  uint8_t visual_same_ip = 0;
  std::string visual_sn = "VS2403180017";
  uint8_t visual_zoom_control_flag = 0;
  uint8_t visual_gotopreset_when_start = 1;

  // MQTT broker.
  uint8_t mqtt_work = 0;
  std::string mqtt_ip = "192.168.1.10";
  uint32_t mqtt_port = 1883;
  std::string mqtt_user = "device";
  std::string mqtt_passwd = "mqtt1234";

  // GB/T 28181 platform record.
  uint8_t gb28181_enable = 0;
  std::string gb28181_text1 = "34020000002000000001";
  uint16_t gb28181_port = 5060;
  std::string gb28181_text2 = "3402000000";
  std::string gb28181_text3 = "34020000001320000001";
  std::string gb28181_text4 = "12345678";

  // Hardware watchdog and temperature options.
  uint8_t hardware_watchdog = 1;
  uint8_t hardware_watchdog_disable = 0;
  uint8_t hardware_watchdog_disable_time = 30;
  uint8_t disable_temperature_correct_status = 0;
  uint8_t vision_maxtemperature = 0;
  uint8_t all_temperature_network_byte_order = 1;

  // Vendor flags.
  uint8_t hikvision_linkage = 0;
  uint8_t pg_support = 0;

  // Account information block, opaque to the device protocol.
  std::vector<uint8_t> account_info = {'u', 's', 'e', 'r', '=', 'a', 'd', 'm',
                                       'i', 'n', ';', 'l', 'v', '=', '1'};

  // Passive wireless settings.
  uint32_t passive_wireless_power_status1 = 1;
  uint32_t passive_wireless_power_status2 = 0;
  uint32_t passive_wireless_power_status3 = 0;
  std::string passive_wireless_domain = "pw.local";
  uint32_t passive_wireless_domain_value = 1;

  bool operator==(const DeviceState &) const = default;

  static std::array<OsdItem, kOsdItemCount> default_osd_items();
};

namespace setting = wire::setting;

// How the device serves its simple settings, next to the members they
// change: a new setting of one byte or one text is a member above, a line in
// visit_fields below and a row here.

// A one-byte setting of main 169: set with its own sub command and accepted
// within [min, max]; queried, if at all, with another sub and answered with
// the stored byte. The others show in the machine record only.
constexpr uint8_t kNoQuery = 0;
struct ByteSetting {
  uint8_t set_sub;
  uint8_t query_sub;
  uint8_t DeviceState::*field;
  uint8_t min;
  uint8_t max;
};

constexpr ByteSetting kByteSettings[] = {
    {setting::kHdmi, kNoQuery, &DeviceState::hdmi_enabled, 0, 1},
    {setting::kOnvif, kNoQuery, &DeviceState::onvif_enabled, 0, 1},
    {setting::kLenPos, kNoQuery, &DeviceState::len_pos_enabled, 0, 1},
    {setting::kDetectSun, kNoQuery, &DeviceState::detect_sun_enabled, 0, 1},
    {setting::kRotate180, kNoQuery, &DeviceState::rotate180_enabled, 0, 1},
    {setting::kPsLinkCount, kNoQuery, &DeviceState::ps_link_count, 0, kLinkCountMax},
    {setting::kAdLinkCount, kNoQuery, &DeviceState::ad_link_count, 0, kLinkCountMax},
    {setting::kDefaultPalette, kNoQuery, &DeviceState::default_palette, 0, kPaletteMax},
    {setting::kLenAdjustMethod, kNoQuery, &DeviceState::len_adjust_method, 0, kLensMethodMax},
    {setting::kVisualLinkCount, kNoQuery, &DeviceState::visual_link_count, 0, kLinkCountMax},
    {setting::kPtzLinkCount, kNoQuery, &DeviceState::ptz_link_count, 0, kLinkCountMax},
    {setting::kRadar, kNoQuery, &DeviceState::radar_enabled, 0, 1},
    {setting::kAutoChangeMeas, kNoQuery, &DeviceState::auto_change_meas_enabled, 0, 1},
    {setting::kAutoFocus, kNoQuery, &DeviceState::auto_focus_enabled, 0, 1},
    {setting::kFramerate, kNoQuery, &DeviceState::framerate, kFramerateMin, kFramerateMax},
    {setting::kSetMqttWork, setting::kGetMqttWork, &DeviceState::mqtt_work, 0, 1},
    {setting::kSetZoomControl, setting::kGetZoomControl, &DeviceState::visual_zoom_control_flag, 0, 255},
    {setting::kSetDisableTemperatureCorrect, setting::kGetDisableTemperatureCorrect,
     &DeviceState::disable_temperature_correct_status, 0, 255},
    {setting::kSetHardwareWatchdog, setting::kGetHardwareWatchdog, &DeviceState::hardware_watchdog, 0, 1},
    {setting::kSetHardwareWatchdogDisable, setting::kGetHardwareWatchdogDisable,
     &DeviceState::hardware_watchdog_disable, 0, 1},
    {setting::kSetHardwareWatchdogDisableTime, setting::kGetHardwareWatchdogDisableTime,
     &DeviceState::hardware_watchdog_disable_time, 0, 255},
    {setting::kSetGotoPreset, setting::kGetGotoPreset, &DeviceState::visual_gotopreset_when_start, 0, 255},
    {setting::kSetHikvisionLinkage, setting::kGetHikvisionLinkage, &DeviceState::hikvision_linkage, 0, 1},
    {setting::kSetVisionMaxTemperature, setting::kGetVisionMaxTemperature,
     &DeviceState::vision_maxtemperature, 0, 1},
    {setting::kSetAllTemperatureNetworkByteOrder, setting::kGetAllTemperatureNetworkByteOrder,
     &DeviceState::all_temperature_network_byte_order, 0, 1},
    {setting::kSetPgSupport, setting::kGetPgSupport, &DeviceState::pg_support, 0, 1},
};

// Length-prefixed texts of main 169, each with its set and query sub.
struct TextSetting {
  uint8_t set_sub;
  uint8_t query_sub;
  std::string DeviceState::*field;
};

constexpr TextSetting kSettingTexts[] = {
    {setting::kSetVisualIp, setting::kGetVisualIp, &DeviceState::visual_ip},
    {setting::kSetVisualUser, setting::kGetVisualUser, &DeviceState::visual_user},
    {setting::kSetVisualPasswd, setting::kGetVisualPasswd, &DeviceState::visual_passwd},
    {setting::kSetMqttIp, setting::kGetMqttIp, &DeviceState::mqtt_ip},
    {setting::kSetMqttUser, setting::kGetMqttUser, &DeviceState::mqtt_user},
    {setting::kSetMqttPasswd, setting::kGetMqttPasswd, &DeviceState::mqtt_passwd},
};

// The one list of persisted fields and their JSON keys, walked by the state
// file's reader and writer alike: a new field is listed here, next to its
// member.
template <class Visitor>
void visit_fields(DeviceState &s, Visitor &v) {
  v.text("machine_text1", s.machine_text1, kIdentityTextMax);
  v.text("machine_text2", s.machine_text2, kIdentityTextMax);
  v.text("machine_text3", s.machine_text3, kIdentityTextMax);
  v.text("device_sn", s.device_sn, kSerialNumberMax);
  v.number("machine_value1", s.machine_value1);
  v.number("machine_value2", s.machine_value2);
  v.number("ip_info_flag", s.ip_info_flag);
  v.texts("ip_info_texts", s.ip_info_texts, kIpTextMax);
  v.number("hdmi_enabled", s.hdmi_enabled);
  v.number("onvif_enabled", s.onvif_enabled);
  v.number("len_pos_enabled", s.len_pos_enabled);
  v.number("detect_sun_enabled", s.detect_sun_enabled);
  v.number("rotate180_enabled", s.rotate180_enabled);
  v.number("radar_enabled", s.radar_enabled);
  v.number("auto_change_meas_enabled", s.auto_change_meas_enabled);
  v.number("auto_focus_enabled", s.auto_focus_enabled);
  v.number("center_rectangle_displayed", s.center_rectangle_displayed);
  v.number("ps_link_count", s.ps_link_count);
  v.number("ad_link_count", s.ad_link_count);
  v.number("visual_link_count", s.visual_link_count);
  v.number("ptz_link_count", s.ptz_link_count);
  v.number("default_palette", s.default_palette);
  v.number("framerate", s.framerate);
  v.number("len_adjust_method", s.len_adjust_method);
  v.time_block("system_time", s.system_time);
  v.osd_items("osd_items", s.osd_items);
  v.text("channel_name", s.channel_name, kChannelNameMax);
  v.text("visual_ip", s.visual_ip, kLinkTextMax);
  v.text("visual_user", s.visual_user, kLinkTextMax);
  v.text("visual_passwd", s.visual_passwd, kLinkTextMax);
  v.number("visual_support", s.visual_support);
  v.number("visual_same_ip", s.visual_same_ip);
  v.text("visual_sn", s.visual_sn, kVisualSnMax);
  v.number("visual_zoom_control_flag", s.visual_zoom_control_flag);
  v.number("visual_gotopreset_when_start", s.visual_gotopreset_when_start);
  v.number("mqtt_work", s.mqtt_work);
  v.text("mqtt_ip", s.mqtt_ip, kLinkTextMax);
  v.number("mqtt_port", s.mqtt_port);
  v.text("mqtt_user", s.mqtt_user, kLinkTextMax);
  v.text("mqtt_passwd", s.mqtt_passwd, kLinkTextMax);
  v.number("gb28181_enable", s.gb28181_enable);
  v.text("gb28181_text1", s.gb28181_text1, kGb28181TextMax);
  v.number("gb28181_port", s.gb28181_port);
  v.text("gb28181_text2", s.gb28181_text2, kGb28181TextMax);
  v.text("gb28181_text3", s.gb28181_text3, kGb28181TextMax);
  v.text("gb28181_text4", s.gb28181_text4, kGb28181TextMax);
  v.number("hardware_watchdog", s.hardware_watchdog);
  v.number("hardware_watchdog_disable", s.hardware_watchdog_disable);
  v.number("hardware_watchdog_disable_time", s.hardware_watchdog_disable_time);
  v.number("disable_temperature_correct_status", s.disable_temperature_correct_status);
  v.number("vision_maxtemperature", s.vision_maxtemperature);
  v.number("all_temperature_network_byte_order", s.all_temperature_network_byte_order);
  v.number("hikvision_linkage", s.hikvision_linkage);
  v.number("pg_support", s.pg_support);
  v.bytes("account_info", s.account_info, kAccountInfoMax);
  v.number("passive_wireless_power_status1", s.passive_wireless_power_status1);
  v.number("passive_wireless_power_status2", s.passive_wireless_power_status2);
  v.number("passive_wireless_power_status3", s.passive_wireless_power_status3);
  v.text("passive_wireless_domain", s.passive_wireless_domain, kDomainMax);
  v.number("passive_wireless_domain_value", s.passive_wireless_domain_value);
}

// JSON form of a state. Texts are JSON strings when they are valid UTF-8 and
// {"hex": "..."} otherwise, so any byte string survives a round trip; byte
// blocks (account info, system time) are hex strings. Beside the system time
// block, "system_time_text" shows the time it holds in the tools' layout
// (null for another layout); it is written for people and ignored when read.
nlohmann::json state_to_json(const DeviceState &state);

// Reads a state from JSON. Keys that are missing keep the values `state`
// already holds, so a file may list only what differs from the defaults.
// Returns false with a message naming the key when a key is unknown or a
// value has the wrong type or does not fit its field; `state` is then
// unchanged.
bool state_from_json(const nlohmann::json &json, DeviceState &state, std::string &error);

// Hex helpers shared by the state file, the fault grammar and the log.
std::string to_hex(const uint8_t *data, std::size_t size, std::size_t max_bytes = SIZE_MAX);
bool from_hex(std::string_view text, std::vector<uint8_t> &out);

}  // namespace qz::sim
