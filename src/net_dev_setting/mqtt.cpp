// MQTT settings: whether the device works with a broker, and the broker's IP
// address, port, user and password, each one main 169 exchange. These exports
// report only whether their arguments were usable: a failed exchange shows in
// the log and, for a get, as an empty text, port 0 or work 0.
#include <vector>

#include "setting_rows.h"

namespace qz::nds {

namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;
constexpr ByteForm kFlag = ByteForm::flag;
constexpr Outcome kArguments = Outcome::arguments;

// Only 1 switches MQTT on, both ways; every other value means off.
// clang-format off
constexpr ByteSetting kWork{.set_sub = setting::kSetMqttWork, .query_sub = setting::kGetMqttWork, .field = &C::mqtt_work, .sent = kFlag, .stored = kFlag, .reported = kFlag, .outcome = kArguments};
constexpr TextSetting kIp{setting::kSetMqttIp, setting::kGetMqttIp, &C::mqtt_ip, kArguments};
constexpr TextSetting kUser{setting::kSetMqttUser, setting::kGetMqttUser, &C::mqtt_user, kArguments};
constexpr TextSetting kPasswd{setting::kSetMqttPasswd, setting::kGetMqttPasswd, &C::mqtt_passwd, kArguments};
// clang-format on
constexpr ByteSetting kBytes[] = {kWork};
constexpr TextSetting kTexts[] = {kIp, kUser, kPasswd};

// Answer to the port query: a 32-bit value. Transport thread, cache lock held.
bool parse_mqtt_port(DeviceStateCache &cache, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint32_t port = 0;
  if (!r.u32(port)) return refuse_short_answer(kSettingHandlerName, frame, 4);
  cache.mqtt_port = port;
  return true;
}

constexpr SettingParserEntry kParsers[] = {{setting::kGetMqttPort, parse_mqtt_port}};

// The result of the exchange is left to the log on purpose.
bool set_mqtt_port(NetDevSetting &s, uint32_t port) {
  std::vector<uint8_t> payload;
  wire::Writer(payload).u32(port);
  s.send_setting(setting::kSetMqttPort, payload);
  return true;
}

// This request's answer, or 0 when the exchange failed: a failed get never
// reports an older cached value.
bool get_mqtt_port(NetDevSetting &s, uint32_t *port) {
  if (port == nullptr) return false;
  uint32_t answer = 0;
  auto copy = [&](const DeviceStateCache &c) { answer = c.mqtt_port; };
  if (!s.send_cmd(wire::kMainSetting, setting::kGetMqttPort, 0, nullptr, kWaitMs, copy)) answer = 0;
  *port = answer;
  return true;
}

}  // namespace

const SettingFamily kMqttSettings{kBytes, kTexts, kParsers};

}  // namespace qz::nds

// ---- Exports ----------------------------------------------------------------

using qz::nds::get_byte;
using qz::nds::get_text;
using qz::nds::NetDevSetting;
using qz::nds::set_byte;
using qz::nds::set_text;

extern "C" {

QZ_NDS_API bool qz_nds_set_mqtt_work(qz_nds_handle handle, uint8_t work) {
  return set_byte(handle, qz::nds::kWork, work, __func__);
}

QZ_NDS_API bool qz_nds_get_mqtt_work(qz_nds_handle handle, uint8_t *work) {
  return get_byte(handle, qz::nds::kWork, work);
}

QZ_NDS_API bool qz_nds_set_mqtt_ip(qz_nds_handle handle, const char *ip) {
  return set_text(handle, qz::nds::kIp, ip);
}

QZ_NDS_API bool qz_nds_get_mqtt_ip(qz_nds_handle handle, char *ip, uint32_t *len) {
  return get_text(handle, qz::nds::kIp, ip, len);
}

QZ_NDS_API bool qz_nds_set_mqtt_port(qz_nds_handle handle, uint32_t port) {
  return qz::nds::with_session(handle, [&](NetDevSetting &s) { return qz::nds::set_mqtt_port(s, port); });
}

QZ_NDS_API bool qz_nds_get_mqtt_port(qz_nds_handle handle, uint32_t *port) {
  return qz::nds::with_session(handle, [&](NetDevSetting &s) { return qz::nds::get_mqtt_port(s, port); });
}

QZ_NDS_API bool qz_nds_set_mqtt_user(qz_nds_handle handle, const char *user) {
  return set_text(handle, qz::nds::kUser, user);
}

QZ_NDS_API bool qz_nds_get_mqtt_user(qz_nds_handle handle, char *user, uint32_t *len) {
  return get_text(handle, qz::nds::kUser, user, len);
}

QZ_NDS_API bool qz_nds_set_mqtt_passwd(qz_nds_handle handle, const char *passwd) {
  return set_text(handle, qz::nds::kPasswd, passwd);
}

QZ_NDS_API bool qz_nds_get_mqtt_passwd(qz_nds_handle handle, char *passwd, uint32_t *len) {
  return get_text(handle, qz::nds::kPasswd, passwd, len);
}

}  // extern "C"
