// MQTT settings: whether the device works with a broker, and the broker's IP
// address, port, user and password, each one main 169 exchange. These exports
// report only whether their arguments were usable: a failed exchange shows in
// the log and, for a get, as an empty text, port 0 or work 0.
#include <cstring>
#include <vector>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

namespace {

constexpr uint32_t kMainSetting = 169;
constexpr uint32_t kSubSetMqttWork = 154;
constexpr uint32_t kSubGetMqttWork = 155;
constexpr uint32_t kSubSetMqttIp = 156;
constexpr uint32_t kSubGetMqttIp = 157;
constexpr uint32_t kSubSetMqttPort = 158;
constexpr uint32_t kSubGetMqttPort = 159;
constexpr uint32_t kSubSetMqttUser = 160;
constexpr uint32_t kSubGetMqttUser = 161;
constexpr uint32_t kSubSetMqttPasswd = 162;
constexpr uint32_t kSubGetMqttPasswd = 163;


// Asks for one value and returns this request's answer, or `T{}` when the
// exchange failed: a failed get never reports an older cached value.
template <class T>
T query_value(NetDevSetting &s, uint32_t sub, T DeviceStateCache::*field) {
  T answer{};
  auto copy = [&] { answer = s.cache.*field; };
  if (!s.send_cmd(kMainSetting, sub, 0, nullptr, kWaitMs, copy)) return T{};
  return answer;
}

bool get_text(NetDevSetting &s, uint32_t sub, ByteString DeviceStateCache::*field, char *buffer,
              uint32_t *len) {
  if (buffer == nullptr || len == nullptr) return false;
  const ByteString text = query_value(s, sub, field);
  if (!text.empty()) std::memcpy(buffer, text.data(), text.size());
  *len = static_cast<uint32_t>(text.size());
  return true;
}

// ---- Answer parsers (transport thread, cache lock held) --------------------

bool parse_mqtt_work(NetDevSetting &s, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint8_t work = 0;
  if (!r.u8(work)) return refuse_short_answer(kSettingHandlerName, frame, 1);
  s.cache.mqtt_work = work == 1 ? 1 : 0;
  return true;
}

bool parse_mqtt_ip(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.mqtt_ip);
}

bool parse_mqtt_port(NetDevSetting &s, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint32_t port = 0;
  if (!r.u32(port)) return refuse_short_answer(kSettingHandlerName, frame, 4);
  s.cache.mqtt_port = port;
  return true;
}

bool parse_mqtt_user(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.mqtt_user);
}

bool parse_mqtt_passwd(NetDevSetting &s, const wire::FrameView &frame) {
  return NetDevSetting::store_answer_text(frame, s.cache.mqtt_passwd);
}

constexpr SettingParserEntry kEntries[] = {
    {kSubGetMqttWork, parse_mqtt_work},     {kSubGetMqttIp, parse_mqtt_ip},
    {kSubGetMqttPort, parse_mqtt_port},     {kSubGetMqttUser, parse_mqtt_user},
    {kSubGetMqttPasswd, parse_mqtt_passwd},
};

}  // namespace

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kMqttSettingParsers{kEntries};

// ---- Command methods --------------------------------------------------------
// The setters ignore the exchange's result on purpose: the log carries it.

bool NetDevSetting::set_mqtt_work(uint8_t work) {
  // Only 1 switches MQTT on; every other value switches it off.
  send_setting(kSubSetMqttWork, {static_cast<uint8_t>(work == 1 ? 1 : 0)});
  return true;
}

bool NetDevSetting::get_mqtt_work(uint8_t *work) {
  if (work == nullptr) return false;
  *work = query_value(*this, kSubGetMqttWork, &DeviceStateCache::mqtt_work) != 0 ? 1 : 0;
  return true;
}

bool NetDevSetting::set_mqtt_ip(const char *ip) {
  if (ip == nullptr) return false;
  send_text_setting(kSubSetMqttIp, ip);
  return true;
}

bool NetDevSetting::get_mqtt_ip(char *ip, uint32_t *len) {
  return get_text(*this, kSubGetMqttIp, &DeviceStateCache::mqtt_ip, ip, len);
}

bool NetDevSetting::set_mqtt_port(uint32_t port) {
  std::vector<uint8_t> payload;
  wire::Writer(payload).u32(port);
  send_setting(kSubSetMqttPort, payload);
  return true;
}

bool NetDevSetting::get_mqtt_port(uint32_t *port) {
  if (port == nullptr) return false;
  *port = query_value(*this, kSubGetMqttPort, &DeviceStateCache::mqtt_port);
  return true;
}

bool NetDevSetting::set_mqtt_user(const char *user) {
  if (user == nullptr) return false;
  send_text_setting(kSubSetMqttUser, user);
  return true;
}

bool NetDevSetting::get_mqtt_user(char *user, uint32_t *len) {
  return get_text(*this, kSubGetMqttUser, &DeviceStateCache::mqtt_user, user, len);
}

bool NetDevSetting::set_mqtt_passwd(const char *passwd) {
  if (passwd == nullptr) return false;
  send_text_setting(kSubSetMqttPasswd, passwd);
  return true;
}

bool NetDevSetting::get_mqtt_passwd(char *passwd, uint32_t *len) {
  return get_text(*this, kSubGetMqttPasswd, &DeviceStateCache::mqtt_passwd, passwd, len);
}

}  // namespace qz::nds

// ---- Exports ----------------------------------------------------------------

using qz::nds::NetDevSetting;
using qz::nds::with_session;

extern "C" {

QZ_NDS_API bool qz_nds_set_mqtt_work(qz_nds_handle handle, uint8_t work) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_mqtt_work(work); });
}

QZ_NDS_API bool qz_nds_get_mqtt_work(qz_nds_handle handle, uint8_t *work) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_mqtt_work(work); });
}

QZ_NDS_API bool qz_nds_set_mqtt_ip(qz_nds_handle handle, const char *ip) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_mqtt_ip(ip); });
}

QZ_NDS_API bool qz_nds_get_mqtt_ip(qz_nds_handle handle, char *ip, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_mqtt_ip(ip, len); });
}

QZ_NDS_API bool qz_nds_set_mqtt_port(qz_nds_handle handle, uint32_t port) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_mqtt_port(port); });
}

QZ_NDS_API bool qz_nds_get_mqtt_port(qz_nds_handle handle, uint32_t *port) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_mqtt_port(port); });
}

QZ_NDS_API bool qz_nds_set_mqtt_user(qz_nds_handle handle, const char *user) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_mqtt_user(user); });
}

QZ_NDS_API bool qz_nds_get_mqtt_user(qz_nds_handle handle, char *user, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_mqtt_user(user, len); });
}

QZ_NDS_API bool qz_nds_set_mqtt_passwd(qz_nds_handle handle, const char *passwd) {
  return with_session(handle, [&](NetDevSetting &s) { return s.set_mqtt_passwd(passwd); });
}

QZ_NDS_API bool qz_nds_get_mqtt_passwd(qz_nds_handle handle, char *passwd, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) { return s.get_mqtt_passwd(passwd, len); });
}

}  // extern "C"
