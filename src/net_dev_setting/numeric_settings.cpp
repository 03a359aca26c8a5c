// Small numeric device parameters: link counts, palette, frame rate and lens
// adjust method travel as one byte under main 169 and are remembered once the
// device accepted them; their getters answer from the session. The system
// time is passed through to the device as the caller's opaque block.
#include "setting_rows.h"

namespace qz::nds {
namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;

// No range check: the device decides what it accepts.
// clang-format off
constexpr ByteSetting kPsLinkCount{.set_sub = setting::kPsLinkCount, .field = &C::ps_link_count, .failed = "set ps link count = %d failed"};
constexpr ByteSetting kAdLinkCount{.set_sub = setting::kAdLinkCount, .field = &C::ad_link_count, .failed = "set ad link count = %d failed"};
constexpr ByteSetting kVisualLinkCount{.set_sub = setting::kVisualLinkCount, .field = &C::visual_link_count, .failed = "set visual link count = %d failed"};
constexpr ByteSetting kPtzLinkCount{.set_sub = setting::kPtzLinkCount, .field = &C::ptz_link_count, .failed = "set ptz link count = %d failed"};
constexpr ByteSetting kFramerate{.set_sub = setting::kFramerate, .field = &C::framerate, .failed = "set framerate = %d failed"};
// Only the low byte goes on the wire; the whole value is remembered, and
// handed out as its bit pattern, so "not yet known" (-1) reads as 0xFFFFFFFF.
constexpr ByteSetting kDefaultPalette{.set_sub = setting::kDefaultPalette, .field = &C::default_palette, .failed = "set palette = %d failed"};
constexpr ByteSetting kLenAdjustMethod{.set_sub = setting::kLenAdjustMethod, .field = &C::len_adjust_method, .failed = "send len adjust method %d failed"};
// clang-format on

}  // namespace
}  // namespace qz::nds

using qz::nds::get_byte;
using qz::nds::set_byte;

extern "C" QZ_NDS_API bool qz_nds_set_ps_link_count(qz_nds_handle handle, uint8_t count) {
  return set_byte(handle, qz::nds::kPsLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ps_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_byte(handle, qz::nds::kPsLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_ad_link_count(qz_nds_handle handle, uint8_t count) {
  return set_byte(handle, qz::nds::kAdLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ad_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_byte(handle, qz::nds::kAdLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_visual_link_count(qz_nds_handle handle, uint8_t count) {
  return set_byte(handle, qz::nds::kVisualLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_visual_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_byte(handle, qz::nds::kVisualLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_ptz_link_count(qz_nds_handle handle, uint8_t count) {
  return set_byte(handle, qz::nds::kPtzLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ptz_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_byte(handle, qz::nds::kPtzLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_framerate(qz_nds_handle handle, uint8_t framerate) {
  return set_byte(handle, qz::nds::kFramerate, framerate, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_framerate(qz_nds_handle handle, uint8_t *framerate) {
  return get_byte(handle, qz::nds::kFramerate, framerate);
}

extern "C" QZ_NDS_API bool qz_nds_set_default_palette(qz_nds_handle handle, int32_t palette) {
  return set_byte(handle, qz::nds::kDefaultPalette, palette, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_default_palette(qz_nds_handle handle, uint32_t *palette) {
  return get_byte(handle, qz::nds::kDefaultPalette, palette);
}

extern "C" QZ_NDS_API bool qz_nds_set_len_adjust_method(qz_nds_handle handle, int32_t method) {
  return set_byte(handle, qz::nds::kLenAdjustMethod, method, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_len_adjust_method(qz_nds_handle handle, uint32_t *method) {
  return get_byte(handle, qz::nds::kLenAdjustMethod, method);
}

// The 20-byte block is carried unchanged; nothing is remembered or logged.
extern "C" QZ_NDS_API bool qz_nds_set_system_time(qz_nds_handle handle, const void *system_time) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return system_time != nullptr && s.send_cmd(qz::wire::kMainSetting, qz::wire::setting::kSystemTime, 20,
                                                system_time, qz::nds::kWaitMs);
  });
}
