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

// A setting whose exports are named after its key in the simulator's state.
// clang-format off
#define QZ_SWITCH(name) \
  {#name "_enabled", set_switch<qz_nds_enable_##name, qz_nds_disable_##name>, \
   get_as<qz_nds_is_enabled_##name>, 1}
#define QZ_VALUE(name, ...) {#name, set_as<qz_nds_set_##name>, get_as<qz_nds_get_##name>, __VA_ARGS__}

// Settings the session keeps once the device took them, and the record brings.
inline const SettingCase kKeptSettings[] = {
    QZ_SWITCH(hdmi), QZ_SWITCH(onvif), QZ_SWITCH(len_pos), QZ_SWITCH(detect_sun),
    QZ_SWITCH(rotate180), QZ_SWITCH(radar), QZ_SWITCH(auto_change_meas), QZ_SWITCH(auto_focus),
    {"center_rectangle_displayed", set_switch<qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle>,
     get_as<qz_nds_is_display_center_rectangle>, 1},
    QZ_VALUE(ps_link_count, 7), QZ_VALUE(ad_link_count, 3), QZ_VALUE(visual_link_count, 4),
    QZ_VALUE(ptz_link_count, 16), QZ_VALUE(framerate, 50), QZ_VALUE(default_palette, 9),
    QZ_VALUE(len_adjust_method, 2),
};

// Settings asked of the device each time; the 0/1 ones read an odd byte as 0.
inline const SettingCase kQueriedSettings[] = {
    {"hardware_watchdog", set_switch<qz_nds_enable_hardware_watchdog, qz_nds_disable_hardware_watchdog>,
     get_as<qz_nds_is_enable_hardware_watchdog>, 0, 2, 0},
    {"hardware_watchdog_disable",
     set_switch<qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable>,
     get_as<qz_nds_isenable_hardware_watchdog_disable>, 1, 2, 0},
    QZ_VALUE(hardware_watchdog_disable_time, 200, 2, 2),
    QZ_VALUE(disable_temperature_correct_status, 3, 9, 9),
    QZ_VALUE(vision_maxtemperature, 1, 2, 0), QZ_VALUE(all_temperature_network_byte_order, 0, 2, 0),
    QZ_VALUE(hikvision_linkage, 1, 2, 0), QZ_VALUE(pg_support, 1, 2, 0), QZ_VALUE(mqtt_work, 1, 2, 0),
    QZ_VALUE(visual_zoom_control_flag, 2, 9, 9), QZ_VALUE(visual_gotopreset_when_start, 7, 9, 9),
    QZ_VALUE(mqtt_port, 8883, 65535, 65535),
};
// clang-format on
#undef QZ_SWITCH
#undef QZ_VALUE

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
