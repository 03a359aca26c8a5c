// Visual camera link settings: the linked visible-light camera's IP address,
// login, serial number and two flags, each one main 169 exchange. Getters ask
// the device every time; a failed exchange leaves the caller's outputs alone.
#include <cstring>
#include <vector>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

namespace {

constexpr uint32_t kMainSetting = 169;
constexpr uint32_t kSubSetVisualSn = 143;
constexpr uint32_t kSubSetVisualIp = 148;
constexpr uint32_t kSubGetVisualIp = 149;
constexpr uint32_t kSubSetVisualUser = 150;
constexpr uint32_t kSubGetVisualUser = 151;
constexpr uint32_t kSubSetVisualPasswd = 152;
constexpr uint32_t kSubGetVisualPasswd = 153;
constexpr uint32_t kSubSetZoomControl = 164;
constexpr uint32_t kSubGetZoomControl = 165;
constexpr uint32_t kSubSetGotoPreset = 174;
constexpr uint32_t kSubGetGotoPreset = 175;

// Asks for one text of the link and copies this request's answer out of the
// cache; `out` is only written when the exchange succeeded.
bool query_text(NetDevSetting &s, uint32_t sub, ByteString DeviceStateCache::*field, ByteString &out) {
  ByteString answer;
  auto copy = [&] { answer = s.cache.*field; };
  if (!s.send_cmd(kMainSetting, sub, 0, nullptr, kWaitMs, copy)) return false;
  out = std::move(answer);
  return true;
}

bool get_text(NetDevSetting &s, uint32_t sub, ByteString DeviceStateCache::*field, char *buffer,
              uint32_t *len) {
  if (buffer == nullptr || len == nullptr) return false;
  ByteString text;
  if (!query_text(s, sub, field, text)) return false;
  if (!text.empty()) std::memcpy(buffer, text.data(), text.size());
  *len = static_cast<uint32_t>(text.size());
  return true;
}

bool get_flag(NetDevSetting &s, uint32_t sub, uint8_t DeviceStateCache::*field, uint8_t *flag) {
  if (flag == nullptr) return false;
  uint8_t value = 0;
  auto copy = [&] { value = s.cache.*field; };
  if (!s.send_cmd(kMainSetting, sub, 0, nullptr, kWaitMs, copy)) return false;
  *flag = value;
  return true;
}

// ---- Answer parsers (transport thread, cache lock held) --------------------

// Flag answers are stored as the device sent them, not reduced to 0 or 1.
bool parse_raw_flag_answer(NetDevSetting &s, const wire::FrameView &frame, uint8_t DeviceStateCache::*field) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint8_t value = 0;
  if (!r.u8(value)) return refuse_short_answer(kSettingHandlerName, frame, 1);
  s.cache.*field = value;
  return true;
}

bool parse_visual_ip(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.visual_ip);
}
bool parse_visual_user(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.visual_user);
}
bool parse_visual_passwd(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.visual_passwd);
}
bool parse_zoom_control_flag(NetDevSetting &s, const wire::FrameView &frame) {
  return parse_raw_flag_answer(s, frame, &DeviceStateCache::visual_zoom_control_flag);
}
bool parse_gotopreset_when_start(NetDevSetting &s, const wire::FrameView &frame) {
  return parse_raw_flag_answer(s, frame, &DeviceStateCache::visual_gotopreset_when_start);
}

constexpr SettingParserEntry kEntries[] = {
    {kSubGetVisualIp, parse_visual_ip},
    {kSubGetVisualUser, parse_visual_user},
    {kSubGetVisualPasswd, parse_visual_passwd},
    {kSubGetZoomControl, parse_zoom_control_flag},
    {kSubGetGotoPreset, parse_gotopreset_when_start},
};

}  // namespace

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kVisualLinkSettingParsers{kEntries};

// ---- Helpers shared by the link families ------------------------------------

bool NetDevSetting::send_setting(uint32_t sub, const std::vector<uint8_t> &payload) {
  return send_payload(kMainSetting, sub, payload, kWaitMs);
}

bool NetDevSetting::send_text_setting(uint32_t sub, const char *text) {
  std::vector<uint8_t> payload;
  wire::Writer(payload).lp_text(text);
  return send_setting(sub, payload);
}

bool NetDevSetting::read_answer_text(wire::Reader &r, const wire::FrameView &frame, ByteString &out) {
  if (r.lp_text(out)) return true;
  // Say how far the count, or the text it announces, runs past the payload.
  std::size_t needed = r.position() + 4;
  if (r.has(4)) needed += wire::load_be32(frame.payload + r.position());
  return refuse_short_answer(kSettingHandlerName, frame, needed);
}

bool NetDevSetting::store_answer_text(const wire::FrameView &frame, ByteString &field) {
  wire::Reader r(frame.payload, frame.payload_size);
  ByteString text;
  if (!read_answer_text(r, frame, text)) return false;
  field = std::move(text);
  return true;
}

// ---- Command methods --------------------------------------------------------

bool NetDevSetting::set_visual_ip(const char *ip) {
  return ip != nullptr && send_text_setting(kSubSetVisualIp, ip);
}

bool NetDevSetting::get_visual_ip(char *ip, uint32_t *len) {
  return get_text(*this, kSubGetVisualIp, &DeviceStateCache::visual_ip, ip, len);
}

bool NetDevSetting::set_visual_user(const char *user) {
  return user != nullptr && send_text_setting(kSubSetVisualUser, user);
}

bool NetDevSetting::get_visual_user(char *user, uint32_t *len) {
  return get_text(*this, kSubGetVisualUser, &DeviceStateCache::visual_user, user, len);
}

bool NetDevSetting::set_visual_passwd(const char *passwd) {
  return passwd != nullptr && send_text_setting(kSubSetVisualPasswd, passwd);
}

bool NetDevSetting::get_visual_passwd(char *passwd, uint32_t *len) {
  return get_text(*this, kSubGetVisualPasswd, &DeviceStateCache::visual_passwd, passwd, len);
}

bool NetDevSetting::set_visual_sn(uint8_t support, uint8_t same_ip, const char *sn, uint32_t len) {
  // A supported camera on an IP of its own is found by its serial number, so
  // the number must be there; otherwise an empty one is fine.
  if (support != 0 && same_ip == 0 && (sn == nullptr || len == 0)) {
    NDS_LOG(kLogError, "NetDevSetting::set_visual_sn",
            "set_visual_sn: support, not same ip, sz_sz empty or len error.");
    return false;
  }
  // Checked before the payload is built: a null `sn` pads `len` zero bytes.
  if (!payload_fits(kMainSetting, kSubSetVisualSn, std::size_t{len} + 6)) return false;
  std::vector<uint8_t> payload;
  wire::Writer w(payload);
  w.u8(support != 0 ? 1 : 0).u8(same_ip != 0 ? 1 : 0).u32(len);
  if (sn != nullptr && len != 0) {
    w.bytes(sn, len);
  } else {
    payload.resize(payload.size() + len, 0);
  }
  return send_setting(kSubSetVisualSn, payload);
}

bool NetDevSetting::set_visual_zoom_control_flag(uint8_t flag) {
  return send_setting(kSubSetZoomControl, {flag});
}

bool NetDevSetting::get_visual_zoom_control_flag(uint8_t *flag) {
  return get_flag(*this, kSubGetZoomControl, &DeviceStateCache::visual_zoom_control_flag, flag);
}

bool NetDevSetting::set_visual_gotopreset_when_start(uint8_t flag) {
  return send_setting(kSubSetGotoPreset, {flag});
}

bool NetDevSetting::get_visual_gotopreset_when_start(uint8_t *flag) {
  return get_flag(*this, kSubGetGotoPreset, &DeviceStateCache::visual_gotopreset_when_start, flag);
}

}  // namespace qz::nds

// ---- Exports ----------------------------------------------------------------

using qz::nds::NetDevSetting;
using qz::nds::with_session;

extern "C" {

QZ_NDS_API bool qz_nds_set_visual_ip(qz_nds_handle handle, const char *ip) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_ip(ip); });
}

QZ_NDS_API bool qz_nds_get_visual_ip(qz_nds_handle handle, char *ip, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_visual_ip(ip, len); });
}

QZ_NDS_API bool qz_nds_set_visual_user(qz_nds_handle handle, const char *user) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_user(user); });
}

QZ_NDS_API bool qz_nds_get_visual_user(qz_nds_handle handle, char *user, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_visual_user(user, len); });
}

QZ_NDS_API bool qz_nds_set_visual_passwd(qz_nds_handle handle, const char *passwd) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_passwd(passwd); });
}

QZ_NDS_API bool qz_nds_get_visual_passwd(qz_nds_handle handle, char *passwd, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_visual_passwd(passwd, len); });
}

QZ_NDS_API bool qz_nds_set_visual_sn(qz_nds_handle handle, uint8_t support, uint8_t same_ip, const char *sn,
                                     uint32_t len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_sn(support, same_ip, sn, len); });
}

QZ_NDS_API bool qz_nds_set_visual_zoom_control_flag(qz_nds_handle handle, uint8_t flag) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_zoom_control_flag(flag); });
}

QZ_NDS_API bool qz_nds_get_visual_zoom_control_flag(qz_nds_handle handle, uint8_t *flag) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_visual_zoom_control_flag(flag); });
}

QZ_NDS_API bool qz_nds_set_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t flag) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_visual_gotopreset_when_start(flag); });
}

QZ_NDS_API bool qz_nds_get_visual_gotopreset_when_start(qz_nds_handle handle, uint8_t *flag) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_visual_gotopreset_when_start(flag); });
}

}  // extern "C"
