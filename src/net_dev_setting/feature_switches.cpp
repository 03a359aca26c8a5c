// On/off features of the device. Every switch is one byte (1 on, 0 off)
// sent under its own command; once the device accepted it the session
// remembers the state, and the getter answers from the session alone. The
// enable and disable exports log their own line when the device refuses.
#include "setting_rows.h"

namespace qz::nds {
namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;

// clang-format off
constexpr ByteSetting kHdmi{.set_sub = setting::kHdmi, .field = &C::hdmi_enabled, .failed = "enable hdmi failed", .off_failed = "disable hdmi failed"};
constexpr ByteSetting kOnvif{.set_sub = setting::kOnvif, .field = &C::onvif_enabled, .failed = "enable onvif failed", .off_failed = "disable onvif failed"};
constexpr ByteSetting kLenPos{.set_sub = setting::kLenPos, .field = &C::len_pos_enabled, .failed = "enable len position failed", .off_failed = "disable len position failed"};
constexpr ByteSetting kDetectSun{.set_sub = setting::kDetectSun, .field = &C::detect_sun_enabled, .failed = "enable detect sun failed", .off_failed = "disable detect sun failed"};
constexpr ByteSetting kRotate180{.set_sub = setting::kRotate180, .field = &C::rotate180_enabled, .failed = "enable rotate180 failed", .off_failed = "disable rotate180 failed"};
constexpr ByteSetting kRadar{.set_sub = setting::kRadar, .field = &C::radar_enabled, .failed = "enable radar failed", .off_failed = "disable radar failed"};
constexpr ByteSetting kAutoChangeMeas{.set_sub = setting::kAutoChangeMeas, .field = &C::auto_change_meas_enabled, .failed = "enable auto change meas failed", .off_failed = "disable auto change meas failed"};
constexpr ByteSetting kAutoFocus{.set_sub = setting::kAutoFocus, .field = &C::auto_focus_enabled, .failed = "enable auto focus failed", .off_failed = "disable auto focus failed"};
// Display and hide share one message; the function name tells them apart.
constexpr ByteSetting kCenterRectangle{.set_sub = wire::osd::kCenterRectangle, .field = &C::center_rectangle_displayed, .failed = "display center rectangle failed", .main = wire::kMainOsd};
// clang-format on

}  // namespace
}  // namespace qz::nds

using qz::nds::get_byte;
using qz::nds::set_byte;

extern "C" QZ_NDS_API bool qz_nds_enable_hdmi(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kHdmi, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_hdmi(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kHdmi, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_hdmi(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kHdmi, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_onvif(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kOnvif, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_onvif(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kOnvif, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_onvif(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kOnvif, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_len_pos(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kLenPos, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_len_pos(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kLenPos, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_len_pos(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kLenPos, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_detect_sun(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kDetectSun, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_detect_sun(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kDetectSun, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_detect_sun(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kDetectSun, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_rotate180(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kRotate180, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_rotate180(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kRotate180, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_rotate180(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kRotate180, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_radar(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kRadar, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_radar(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kRadar, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_radar(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kRadar, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_auto_change_meas(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kAutoChangeMeas, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_auto_change_meas(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kAutoChangeMeas, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_auto_change_meas(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kAutoChangeMeas, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_auto_focus(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kAutoFocus, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_auto_focus(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kAutoFocus, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enabled_auto_focus(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kAutoFocus, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_display_center_rectangle(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kCenterRectangle, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_hide_center_rectangle(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kCenterRectangle, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_display_center_rectangle(qz_nds_handle handle, uint8_t *displayed) {
  return get_byte(handle, qz::nds::kCenterRectangle, displayed);
}
