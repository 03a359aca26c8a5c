// Small numeric device parameters: link counts, palette, frame rate and lens
// adjust method travel as one byte under main 169 and are remembered once the
// device accepted them; their getters answer from the session. The system
// time is passed through to the device as the caller's opaque block.
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

bool NetDevSetting::set_system_time(const void *block) {
  return send_cmd(169, 136, 20, block, kWaitMs);
}

namespace {

// One numeric setting: its sub command under main 169, the cache field it
// drives (of type T), and the failure message with the argument for %d.
template <class T>
struct NumericSetting {
  uint8_t sub;
  T DeviceStateCache::*field;
  const char *set_failed;
};

// clang-format off
constexpr NumericSetting<uint8_t> kPsLinkCount{133, &DeviceStateCache::ps_link_count, "set ps link count = %d failed"};
constexpr NumericSetting<uint8_t> kAdLinkCount{134, &DeviceStateCache::ad_link_count, "set ad link count = %d failed"};
constexpr NumericSetting<uint8_t> kVisualLinkCount{141, &DeviceStateCache::visual_link_count, "set visual link count = %d failed"};
constexpr NumericSetting<uint8_t> kPtzLinkCount{142, &DeviceStateCache::ptz_link_count, "set ptz link count = %d failed"};
constexpr NumericSetting<uint8_t> kFramerate{147, &DeviceStateCache::framerate, "set framerate = %d failed"};
// Only the low byte goes on the wire; the whole value is remembered.
constexpr NumericSetting<int32_t> kDefaultPalette{135, &DeviceStateCache::default_palette, "set palette = %d failed"};
constexpr NumericSetting<int32_t> kLenAdjustMethod{140, &DeviceStateCache::len_adjust_method, "send len adjust method %d failed"};
// clang-format on

// Body of every numeric setter; `function` is the export's name. No range
// check: the device decides what it accepts.
template <class T>
bool set_numeric(qz_nds_handle handle, const NumericSetting<T> &setting, T value, const char *function) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (s.set_cached_setting<T>(169, setting.sub, setting.field, value)) return true;
    NDS_LOG(kLogError, function, setting.set_failed, static_cast<int>(value));
    return false;
  });
}

// Body of every numeric getter. The 32-bit fields are handed out as their
// bit pattern, so "not yet known" (-1) reads as 0xFFFFFFFF.
template <class T, class Out>
bool get_numeric(qz_nds_handle handle, const NumericSetting<T> &setting, Out *out) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (out == nullptr) return false;
    *out = static_cast<Out>(s.read_cache(setting.field));
    return true;
  });
}

}  // namespace
}  // namespace qz::nds

using qz::nds::get_numeric;
using qz::nds::set_numeric;

extern "C" QZ_NDS_API bool qz_nds_set_ps_link_count(qz_nds_handle handle, uint8_t count) {
  return set_numeric(handle, qz::nds::kPsLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ps_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_numeric(handle, qz::nds::kPsLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_ad_link_count(qz_nds_handle handle, uint8_t count) {
  return set_numeric(handle, qz::nds::kAdLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ad_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_numeric(handle, qz::nds::kAdLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_visual_link_count(qz_nds_handle handle, uint8_t count) {
  return set_numeric(handle, qz::nds::kVisualLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_visual_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_numeric(handle, qz::nds::kVisualLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_ptz_link_count(qz_nds_handle handle, uint8_t count) {
  return set_numeric(handle, qz::nds::kPtzLinkCount, count, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_ptz_link_count(qz_nds_handle handle, uint8_t *count) {
  return get_numeric(handle, qz::nds::kPtzLinkCount, count);
}

extern "C" QZ_NDS_API bool qz_nds_set_framerate(qz_nds_handle handle, uint8_t framerate) {
  return set_numeric(handle, qz::nds::kFramerate, framerate, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_framerate(qz_nds_handle handle, uint8_t *framerate) {
  return get_numeric(handle, qz::nds::kFramerate, framerate);
}

extern "C" QZ_NDS_API bool qz_nds_set_default_palette(qz_nds_handle handle, int32_t palette) {
  return set_numeric(handle, qz::nds::kDefaultPalette, palette, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_default_palette(qz_nds_handle handle, uint32_t *palette) {
  return get_numeric(handle, qz::nds::kDefaultPalette, palette);
}

extern "C" QZ_NDS_API bool qz_nds_set_len_adjust_method(qz_nds_handle handle, int32_t method) {
  return set_numeric(handle, qz::nds::kLenAdjustMethod, method, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_len_adjust_method(qz_nds_handle handle, uint32_t *method) {
  return get_numeric(handle, qz::nds::kLenAdjustMethod, method);
}

// The 20-byte block is carried unchanged; nothing is remembered or logged.
extern "C" QZ_NDS_API bool qz_nds_set_system_time(qz_nds_handle handle, const void *system_time) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return system_time != nullptr && s.set_system_time(system_time);
  });
}
