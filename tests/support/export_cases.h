// Tables of export pairs (setter and getter) with values the simulated device
// accepts, shared by the end-to-end tests.
#pragma once

#include <cstdint>
#include <string>

#include "device_state.h"
#include "qz_net_dev_setting.h"

namespace qz::test {

// Every setter and getter below as one signature, the value widened.
template <bool (*On)(qz_nds_handle), bool (*Off)(qz_nds_handle)>
bool set_switch(qz_nds_handle h, uint32_t value) {
  return value ? On(h) : Off(h);
}
template <auto Set>
bool set_as(qz_nds_handle h, uint32_t value) {
  return Set(h, value);
}
template <class T>
T out_type(bool (*)(qz_nds_handle, T *));
template <auto Get>
bool get_as(qz_nds_handle h, uint32_t *out) {
  decltype(out_type(Get)) value{};
  const bool ok = Get(h, &value);
  *out = value;
  return ok;
}

struct SettingCase {
  const char *field;  // its key in the simulator's state
  bool (*set)(qz_nds_handle, uint32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint32_t first;    // a value the device accepts
  uint32_t odd = 0;  // stored behind the session's back (queries only)
  uint32_t odd_reading = 0;
};

// Settings the session keeps once the device took them, and the record brings.
inline const SettingCase kKeptSettings[] = {
    {"hdmi_enabled", set_switch<qz_nds_enable_hdmi, qz_nds_disable_hdmi>, get_as<qz_nds_is_enabled_hdmi>, 1},
    {"onvif_enabled", set_switch<qz_nds_enable_onvif, qz_nds_disable_onvif>, get_as<qz_nds_is_enabled_onvif>,
     1},
    {"len_pos_enabled", set_switch<qz_nds_enable_len_pos, qz_nds_disable_len_pos>,
     get_as<qz_nds_is_enabled_len_pos>, 1},
    {"detect_sun_enabled", set_switch<qz_nds_enable_detect_sun, qz_nds_disable_detect_sun>,
     get_as<qz_nds_is_enabled_detect_sun>, 1},
    {"rotate180_enabled", set_switch<qz_nds_enable_rotate180, qz_nds_disable_rotate180>,
     get_as<qz_nds_is_enabled_rotate180>, 1},
    {"radar_enabled", set_switch<qz_nds_enable_radar, qz_nds_disable_radar>, get_as<qz_nds_is_enabled_radar>,
     1},
    {"auto_change_meas_enabled", set_switch<qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas>,
     get_as<qz_nds_is_enabled_auto_change_meas>, 1},
    {"auto_focus_enabled", set_switch<qz_nds_enable_auto_focus, qz_nds_disable_auto_focus>,
     get_as<qz_nds_is_enabled_auto_focus>, 1},
    {"center_rectangle_displayed", set_switch<qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle>,
     get_as<qz_nds_is_display_center_rectangle>, 1},
    {"ps_link_count", set_as<qz_nds_set_ps_link_count>, get_as<qz_nds_get_ps_link_count>, 7},
    {"ad_link_count", set_as<qz_nds_set_ad_link_count>, get_as<qz_nds_get_ad_link_count>, 3},
    {"visual_link_count", set_as<qz_nds_set_visual_link_count>, get_as<qz_nds_get_visual_link_count>, 4},
    {"ptz_link_count", set_as<qz_nds_set_ptz_link_count>, get_as<qz_nds_get_ptz_link_count>, 16},
    {"framerate", set_as<qz_nds_set_framerate>, get_as<qz_nds_get_framerate>, 50},
    {"default_palette", set_as<qz_nds_set_default_palette>, get_as<qz_nds_get_default_palette>, 9},
    {"len_adjust_method", set_as<qz_nds_set_len_adjust_method>, get_as<qz_nds_get_len_adjust_method>, 2},
};

// Settings asked of the device each time; the 0/1 ones read an odd byte as 0.
inline const SettingCase kQueriedSettings[] = {
    {"hardware_watchdog", set_switch<qz_nds_enable_hardware_watchdog, qz_nds_disable_hardware_watchdog>,
     get_as<qz_nds_is_enable_hardware_watchdog>, 0, 2, 0},
    {"hardware_watchdog_disable",
     set_switch<qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable>,
     get_as<qz_nds_isenable_hardware_watchdog_disable>, 1, 2, 0},
    {"hardware_watchdog_disable_time", set_as<qz_nds_set_hardware_watchdog_disable_time>,
     get_as<qz_nds_get_hardware_watchdog_disable_time>, 200, 2, 2},
    {"disable_temperature_correct_status", set_as<qz_nds_set_disable_temperature_correct_status>,
     get_as<qz_nds_get_disable_temperature_correct_status>, 3, 9, 9},
    {"vision_maxtemperature", set_as<qz_nds_set_vision_maxtemperature>,
     get_as<qz_nds_get_vision_maxtemperature>, 1, 2, 0},
    {"all_temperature_network_byte_order", set_as<qz_nds_set_all_temperature_network_byte_order>,
     get_as<qz_nds_get_all_temperature_network_byte_order>, 0, 2, 0},
    {"hikvision_linkage", set_as<qz_nds_set_hikvision_linkage>, get_as<qz_nds_get_hikvision_linkage>, 1, 2,
     0},
    {"pg_support", set_as<qz_nds_set_pg_support>, get_as<qz_nds_get_pg_support>, 1, 2, 0},
    {"visual_zoom_control_flag", set_as<qz_nds_set_visual_zoom_control_flag>,
     get_as<qz_nds_get_visual_zoom_control_flag>, 2, 9, 9},
    {"visual_gotopreset_when_start", set_as<qz_nds_set_visual_gotopreset_when_start>,
     get_as<qz_nds_get_visual_gotopreset_when_start>, 7, 9, 9},
    {"mqtt_work", set_as<qz_nds_set_mqtt_work>, get_as<qz_nds_get_mqtt_work>, 1, 2, 0},
    {"mqtt_port", set_as<qz_nds_set_mqtt_port>, get_as<qz_nds_get_mqtt_port>, 8883, 65535, 65535},
};

// The linked camera's and the broker's texts: set, then asked of the device.
struct TextCase {
  bool (*set)(qz_nds_handle, const char *);
  bool (*get)(qz_nds_handle, char *, uint32_t *);
  std::string sim::DeviceState::*field;
  const char *value;
};

inline const TextCase kLinkTexts[] = {
    {qz_nds_set_visual_ip, qz_nds_get_visual_ip, &sim::DeviceState::visual_ip, "172.16.0.9"},
    {qz_nds_set_visual_user, qz_nds_get_visual_user, &sim::DeviceState::visual_user, "operator"},
    {qz_nds_set_visual_passwd, qz_nds_get_visual_passwd, &sim::DeviceState::visual_passwd, ""},
    {qz_nds_set_mqtt_ip, qz_nds_get_mqtt_ip, &sim::DeviceState::mqtt_ip, "broker.local"},
    {qz_nds_set_mqtt_user, qz_nds_get_mqtt_user, &sim::DeviceState::mqtt_user, "cam-17"},
    {qz_nds_set_mqtt_passwd, qz_nds_get_mqtt_passwd, &sim::DeviceState::mqtt_passwd,
     "0123456789012345678901234567890123456789012345678901234567890123"},  // 64, the device's longest
};

}  // namespace qz::test
