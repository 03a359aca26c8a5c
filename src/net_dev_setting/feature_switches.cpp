// On/off features of the device. Every switch is one byte (1 on, 0 off)
// sent under its own command; once the device accepted it the session
// remembers the state, and the getter answers from the session alone.
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {
namespace {

// One feature switch: its command, the cache flag it drives, and what the
// enable and disable exports log when the device does not take the change.
struct FeatureSwitch {
  uint8_t main;
  uint8_t sub;
  uint8_t DeviceStateCache::*flag;
  const char *enable_failed;
  const char *disable_failed;
};

// clang-format off
constexpr FeatureSwitch kHdmi{169, 128, &DeviceStateCache::hdmi_enabled, "enable hdmi failed", "disable hdmi failed"};
constexpr FeatureSwitch kOnvif{169, 129, &DeviceStateCache::onvif_enabled, "enable onvif failed", "disable onvif failed"};
constexpr FeatureSwitch kLenPos{169, 130, &DeviceStateCache::len_pos_enabled, "enable len position failed", "disable len position failed"};
constexpr FeatureSwitch kDetectSun{169, 131, &DeviceStateCache::detect_sun_enabled, "enable detect sun failed", "disable detect sun failed"};
constexpr FeatureSwitch kRotate180{169, 132, &DeviceStateCache::rotate180_enabled, "enable rotate180 failed", "disable rotate180 failed"};
constexpr FeatureSwitch kRadar{169, 144, &DeviceStateCache::radar_enabled, "enable radar failed", "disable radar failed"};
constexpr FeatureSwitch kAutoChangeMeas{169, 145, &DeviceStateCache::auto_change_meas_enabled, "enable auto change meas failed", "disable auto change meas failed"};
constexpr FeatureSwitch kAutoFocus{169, 146, &DeviceStateCache::auto_focus_enabled, "enable auto focus failed", "disable auto focus failed"};
// Display and hide share one message; the function name tells them apart.
constexpr FeatureSwitch kCenterRectangle{168, 139, &DeviceStateCache::center_rectangle_displayed, "display center rectangle failed", "display center rectangle failed"};
// clang-format on

constexpr bool kOn = true;
constexpr bool kOff = false;

// Body of every enable/disable export; `function` is the export's name.
bool switch_feature(qz_nds_handle handle, const FeatureSwitch &feature, bool on, const char *function) {
  return with_session(handle, [&](NetDevSetting &s) {
    const uint8_t state = on ? 1 : 0;
    if (s.set_cached_setting<uint8_t>(feature.main, feature.sub, feature.flag, state)) return true;
    NDS_LOG(kLogError, function, "%s", on ? feature.enable_failed : feature.disable_failed);
    return false;
  });
}

// Body of every getter: the remembered state, nothing sent.
bool read_feature(qz_nds_handle handle, const FeatureSwitch &feature, uint8_t *state) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (state == nullptr) return false;
    *state = s.read_cache(feature.flag);
    return true;
  });
}

}  // namespace
}  // namespace qz::nds

using qz::nds::kOff;
using qz::nds::kOn;
using qz::nds::read_feature;
using qz::nds::switch_feature;

extern "C" QZ_NDS_API bool qz_nds_enable_hdmi(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kHdmi, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_hdmi(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kHdmi, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_hdmi(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kHdmi, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_onvif(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kOnvif, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_onvif(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kOnvif, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_onvif(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kOnvif, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_len_pos(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kLenPos, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_len_pos(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kLenPos, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_len_pos(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kLenPos, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_detect_sun(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kDetectSun, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_detect_sun(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kDetectSun, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_detect_sun(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kDetectSun, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_rotate180(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kRotate180, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_rotate180(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kRotate180, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_rotate180(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kRotate180, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_radar(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kRadar, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_radar(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kRadar, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_radar(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kRadar, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_auto_change_meas(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kAutoChangeMeas, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_auto_change_meas(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kAutoChangeMeas, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_auto_change_meas(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kAutoChangeMeas, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_auto_focus(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kAutoFocus, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_auto_focus(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kAutoFocus, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_auto_focus(qz_nds_handle handle, uint8_t *enabled) {
  return read_feature(handle, qz::nds::kAutoFocus, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_display_center_rectangle(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kCenterRectangle, kOn, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_hide_center_rectangle(qz_nds_handle handle) {
  return switch_feature(handle, qz::nds::kCenterRectangle, kOff, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_display_center_rectangle(qz_nds_handle handle, uint8_t *displayed) {
  return read_feature(handle, qz::nds::kCenterRectangle, displayed);
}
