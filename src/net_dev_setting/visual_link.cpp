// Visual camera link settings: the linked visible-light camera's IP address,
// login, serial number and two flags, each one main 169 exchange. Getters ask
// the device every time; a failed exchange leaves the caller's outputs alone.
#include <vector>

#include "setting_rows.h"

namespace qz::nds {

namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;

// The flags are stored and reported as the device sent them.
// clang-format off
constexpr TextSetting kVisualIp{setting::kSetVisualIp, setting::kGetVisualIp, &C::visual_ip};
constexpr TextSetting kVisualUser{setting::kSetVisualUser, setting::kGetVisualUser, &C::visual_user};
constexpr TextSetting kVisualPasswd{setting::kSetVisualPasswd, setting::kGetVisualPasswd, &C::visual_passwd};
constexpr ByteSetting kZoomControl{.set_sub = setting::kSetZoomControl, .query_sub = setting::kGetZoomControl, .field = &C::visual_zoom_control_flag};
constexpr ByteSetting kGotoPreset{.set_sub = setting::kSetGotoPreset, .query_sub = setting::kGetGotoPreset, .field = &C::visual_gotopreset_when_start};
// clang-format on
constexpr TextSetting kTexts[] = {kVisualIp, kVisualUser, kVisualPasswd};
constexpr ByteSetting kBytes[] = {kZoomControl, kGotoPreset};

bool set_visual_sn(NetDevSetting &s, uint8_t support, uint8_t same_ip, const char *sn, uint32_t len) {
  // A supported camera on an IP of its own is found by its serial number, so
  // the number must be there; otherwise an empty one is fine.
  if (support != 0 && same_ip == 0 && (sn == nullptr || len == 0)) {
    NDS_LOG(kLogError, "NetDevSetting::set_visual_sn",
            "set_visual_sn: support, not same ip, sz_sz empty or len error.");
    return false;
  }
  // Checked before the payload is built: a null `sn` pads `len` zero bytes.
  if (!NetDevSetting::payload_fits(wire::kMainSetting, setting::kVisualSn, std::size_t{len} + 6))
    return false;
  std::vector<uint8_t> payload;
  wire::Writer w(payload);
  w.u8(support != 0 ? 1 : 0).u8(same_ip != 0 ? 1 : 0).u32(len);
  if (sn != nullptr && len != 0) {
    w.bytes(sn, len);
  } else {
    payload.resize(payload.size() + len, 0);
  }
  return s.send_setting(setting::kVisualSn, payload);
}

}  // namespace

const SettingFamily kVisualLinkSettings{kBytes, kTexts, {}};

}  // namespace qz::nds

// ---- Exports ----------------------------------------------------------------

using qz::nds::get_byte;
using qz::nds::get_text;
using qz::nds::set_byte;
using qz::nds::set_text;

extern "C" {

QZ_NDS_API bool qz_nds_set_visual_ip(qz_nds_handle handle, const char *ip) {
  return set_text(handle, qz::nds::kVisualIp, ip);
}

QZ_NDS_API bool qz_nds_get_visual_ip(qz_nds_handle handle, char *ip, uint32_t *len) {
  return get_text(handle, qz::nds::kVisualIp, ip, len);
}

QZ_NDS_API bool qz_nds_set_visual_user(qz_nds_handle handle, const char *user) {
  return set_text(handle, qz::nds::kVisualUser, user);
}

QZ_NDS_API bool qz_nds_get_visual_user(qz_nds_handle handle, char *user, uint32_t *len) {
  return get_text(handle, qz::nds::kVisualUser, user, len);
}

QZ_NDS_API bool qz_nds_set_visual_passwd(qz_nds_handle handle, const char *passwd) {
  return set_text(handle, qz::nds::kVisualPasswd, passwd);
}

QZ_NDS_API bool qz_nds_get_visual_passwd(qz_nds_handle handle, char *passwd, uint32_t *len) {
  return get_text(handle, qz::nds::kVisualPasswd, passwd, len);
}

QZ_NDS_API bool qz_nds_set_visual_sn(qz_nds_handle handle, uint8_t support, uint8_t same_ip, const char *sn,
                                     uint32_t len) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return qz::nds::set_visual_sn(s, support, same_ip, sn, len);
  });
}

QZ_NDS_API bool qz_nds_set_visual_zoom_control_flag(qz_nds_handle handle, uint8_t flag) {
  return set_byte(handle, qz::nds::kZoomControl, flag, __func__);
}

QZ_NDS_API bool qz_nds_get_visual_zoom_control_flag(qz_nds_handle handle, uint8_t *flag) {
  return get_byte(handle, qz::nds::kZoomControl, flag);
}

QZ_NDS_API bool qz_nds_set_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t flag) {
  return set_byte(handle, qz::nds::kGotoPreset, flag, __func__);
}

QZ_NDS_API bool qz_nds_get_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t *flag) {
  return get_byte(handle, qz::nds::kGotoPreset, flag);
}

}  // extern "C"
