#include "device_commands.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "commands.h"
#include "machine_record_layout.h"
#include "wire_frame.h"

namespace qz::sim {

namespace {

using wire::Reader;
using wire::Writer;
namespace account = wire::account;
namespace osd = wire::osd;
namespace passive_wireless = wire::passive_wireless;
namespace setting = wire::setting;

Reply answer(uint8_t code, std::vector<uint8_t> payload = {}) {
  Reply reply;
  reply.code = code;
  reply.payload = std::move(payload);
  return reply;
}
Reply ok(std::vector<uint8_t> payload = {}) {
  return answer(kCodeOk, std::move(payload));
}
Reply bad_payload() {
  return answer(kCodeBadPayload);
}
Reply unsupported() {
  return answer(kCodeUnsupported);
}

// OSD item id of each item sub command of main 168.
std::optional<std::size_t> osd_item_of_sub(uint8_t sub) {
  if (sub == osd::kNoItemSub) return std::nullopt;
  const auto it = std::find(osd::kItemSub.begin(), osd::kItemSub.end(), sub);
  if (it == osd::kItemSub.end()) return std::nullopt;
  return static_cast<std::size_t>(it - osd::kItemSub.begin());
}

// A whole payload that is exactly one length-prefixed text of at most `max`.
bool read_only_text(const uint8_t *p, std::size_t n, std::size_t max, std::string &out) {
  Reader r(p, n);
  return r.lp_text(out) && r.remaining() == 0 && out.size() <= max;
}

bool read_osd_item(Reader &r, OsdItem &item, bool strict) {
  return r.u8(item.display) && (!strict || item.display <= 1) && r.u8(item.attribute) && r.u16(item.value1) &&
         r.u16(item.value2);
}

Reply set_ip_info(DeviceState &s, const uint8_t *p, std::size_t n, bool strict) {
  if (n != 1 + kIpTextCount * kIpTextMax || (strict && p[0] > 1)) return bad_payload();
  s.ip_info_flag = p[0];
  // The texts travel only with static addressing; otherwise the old ones stay.
  if (s.ip_info_flag != 0) {
    Reader r(p + 1, n - 1);
    for (auto &text : s.ip_info_texts) r.text_field(kIpTextMax, text);
  }
  return ok();
}

Reply get_ip_info(const DeviceState &s) {
  std::vector<uint8_t> out;
  Writer w(out);
  w.u8(s.ip_info_flag);
  for (const auto &text : s.ip_info_texts) w.text_field(text, kIpTextMax);
  return ok(std::move(out));
}

Reply set_visual_sn(DeviceState &s, const uint8_t *p, std::size_t n) {
  Reader r(p, n);
  uint8_t support = 0, same_ip = 0;
  uint32_t len = 0;
  const uint8_t *sn = nullptr;
  if (!r.u8(support) || !r.u8(same_ip) || !r.u32(len) || support > 1 || same_ip > 1) return bad_payload();
  if (len > kVisualSnMax || !r.bytes(len, sn) || r.remaining() != 0) return bad_payload();
  // A camera linked on its own address needs its serial number.
  if (support == 1 && same_ip == 0 && len == 0) return bad_payload();
  s.visual_support = support;
  s.visual_same_ip = same_ip;
  s.visual_sn.assign(reinterpret_cast<const char *>(sn), len);
  return ok();
}

Reply set_mqtt_port(DeviceState &s, const uint8_t *p, std::size_t n, bool strict) {
  Reader r(p, n);
  uint32_t port = 0;
  if (n != 4 || !r.u32(port) || (strict && (port == 0 || port > 65535))) return bad_payload();
  s.mqtt_port = port;
  return ok();
}

Reply set_gb28181(DeviceState &s, const uint8_t *p, std::size_t n, bool strict) {
  Reader r(p, n);
  uint8_t enable = 0;
  if (!r.u8(enable) || (strict && enable > 1)) return bad_payload();
  if (enable == 0) {
    if (r.remaining() != 0) return bad_payload();
    s.gb28181_enable = 0;
    return ok();
  }
  std::string t1, t2, t3, t4;
  uint16_t port = 0;
  if (!r.lp_text(t1) || !r.u16(port) || !r.lp_text(t2) || !r.lp_text(t3) || !r.lp_text(t4))
    return bad_payload();
  if (r.remaining() != 0 || (strict && port == 0)) return bad_payload();
  for (const auto *t : {&t1, &t2, &t3, &t4}) {
    if (t->size() > kGb28181TextMax) return bad_payload();
  }
  s.gb28181_enable = enable;
  s.gb28181_text1 = std::move(t1);
  s.gb28181_port = port;
  s.gb28181_text2 = std::move(t2);
  s.gb28181_text3 = std::move(t3);
  s.gb28181_text4 = std::move(t4);
  return ok();
}

Reply get_gb28181(const DeviceState &s) {
  std::vector<uint8_t> out;
  Writer w(out);
  w.u8(s.gb28181_enable);
  // A disabled record ends after its first byte.
  if (s.gb28181_enable == 1) {
    w.lp_text(s.gb28181_text1).u16(s.gb28181_port);
    w.lp_text(s.gb28181_text2).lp_text(s.gb28181_text3).lp_text(s.gb28181_text4);
  }
  return ok(std::move(out));
}

Reply handle_setting(DeviceState &s, uint8_t sub, const uint8_t *p, std::size_t n, bool strict) {
  for (const auto &setting : kByteSettings) {
    if (setting.set_sub == sub) {
      if (n != 1 || (strict && (p[0] < setting.min || p[0] > setting.max))) return bad_payload();
      s.*setting.field = p[0];
      return ok();
    }
    if (setting.query_sub == sub) {
      if (n != 0) return bad_payload();
      return ok({s.*setting.field});
    }
  }
  for (const auto &text : kSettingTexts) {
    if (text.set_sub == sub) {
      std::string value;
      if (!read_only_text(p, n, kLinkTextMax, value)) return bad_payload();
      s.*text.field = std::move(value);
      return ok();
    }
    if (text.query_sub == sub) {
      if (n != 0) return bad_payload();
      std::vector<uint8_t> out;
      Writer(out).lp_text(s.*text.field);
      return ok(std::move(out));
    }
  }
  switch (sub) {
    case setting::kSystemTime:
      if (n != kSystemTimeSize) return bad_payload();
      {
        std::copy(p, p + n, s.system_time.begin());
        const std::string time = system_time_text(s.system_time);
        Reply reply = ok();
        reply.note = time.empty() ? "system time block in another layout" : "system time set to " + time;
        return reply;
      }
    case setting::kSetIpInfo:
      return set_ip_info(s, p, n, strict);
    case setting::kVisualSn:
      return set_visual_sn(s, p, n);
    case setting::kSetMqttPort:
      return set_mqtt_port(s, p, n, strict);
    case setting::kSet28181Para:
      return set_gb28181(s, p, n, strict);
    default:
      break;
  }
  const bool query =
      sub == setting::kGetIpInfo || sub == setting::kGetMqttPort || sub == setting::kGet28181Para;
  if (query && n != 0) return bad_payload();
  switch (sub) {
    case setting::kGetIpInfo:
      return get_ip_info(s);
    case setting::kGetMqttPort: {
      std::vector<uint8_t> out;
      Writer(out).u32(s.mqtt_port);
      return ok(std::move(out));
    }
    case setting::kGet28181Para:
      return get_gb28181(s);
    default:
      return unsupported();
  }
}

Reply set_channel_name(DeviceState &s, const uint8_t *p, std::size_t n, bool strict) {
  Reader r(p, n);
  OsdItem item;
  uint8_t len = 0;
  const uint8_t *name = nullptr;
  if (!read_osd_item(r, item, strict) || !r.u8(len) || !r.bytes(len, name) || r.remaining() != 0)
    return bad_payload();
  s.osd_items[osd::kChannelNameItem] = item;
  s.channel_name.assign(reinterpret_cast<const char *>(name), len);
  return ok();
}

Reply handle_osd(DeviceState &s, uint8_t sub, const uint8_t *p, std::size_t n, bool strict) {
  if (auto id = osd_item_of_sub(sub)) {
    Reader r(p, n);
    OsdItem item;
    if (n != 6 || !read_osd_item(r, item, strict)) return bad_payload();
    s.osd_items[*id] = item;
    return ok();
  }
  switch (sub) {
    case osd::kChannelName:
      return set_channel_name(s, p, n, strict);
    case osd::kCenterRectangle:
      if (n != 1 || (strict && p[0] > 1)) return bad_payload();
      s.center_rectangle_displayed = p[0];
      return ok();
    case osd::kRestore: {
      if (n != 0) return bad_payload();
      const DeviceState factory;
      s.osd_items = factory.osd_items;
      s.channel_name = factory.channel_name;
      return ok();
    }
    default:
      return unsupported();
  }
}

// Requests of main 49 open with the device's serial number as a key.
bool read_serial_key(const DeviceState &s, Reader &r) {
  std::string key;
  return r.lp_text(key) && key == s.device_sn;
}

// The answer of a passive wireless read (power status or domain).
Reply handle_passive_wireless_read(const DeviceState &s, uint8_t sub) {
  std::vector<uint8_t> out;
  Writer w(out);
  if (sub == passive_wireless::kGetPowerStatus) {
    w.u32(s.passive_wireless_power_status1).u32(s.passive_wireless_power_status2);
    w.u32(s.passive_wireless_power_status3);
  } else {
    w.lp_text(s.passive_wireless_domain).u32(s.passive_wireless_domain_value);
  }
  return ok(std::move(out));
}

// A write is confirmed with the answer of the matching read, under its sub.
Reply confirmed_by(Reply read_answer, uint8_t read_sub) {
  read_answer.answer_sub = read_sub;
  return read_answer;
}

Reply handle_passive_wireless(DeviceState &s, uint8_t sub, const uint8_t *p, std::size_t n) {
  if (sub < passive_wireless::kSetPowerStatus || sub > passive_wireless::kGetDomain) return unsupported();
  Reader r(p, n);
  if (!read_serial_key(s, r)) return bad_payload();
  switch (sub) {
    case passive_wireless::kSetPowerStatus: {
      uint32_t a = 0, b = 0, c = 0;
      if (!r.u32(a) || !r.u32(b) || !r.u32(c) || r.remaining() != 0) return bad_payload();
      s.passive_wireless_power_status1 = a;
      s.passive_wireless_power_status2 = b;
      s.passive_wireless_power_status3 = c;
      return confirmed_by(handle_passive_wireless_read(s, passive_wireless::kGetPowerStatus),
                          passive_wireless::kGetPowerStatus);
    }
    case passive_wireless::kGetPowerStatus:
      if (r.remaining() != 0) return bad_payload();
      return handle_passive_wireless_read(s, sub);
    case passive_wireless::kSetDomain: {
      std::string domain;
      uint32_t value = 0;
      if (!r.lp_text(domain) || !r.u32(value) || r.remaining() != 0 || domain.size() > kDomainMax) {
        return bad_payload();
      }
      s.passive_wireless_domain = std::move(domain);
      s.passive_wireless_domain_value = value;
      return confirmed_by(handle_passive_wireless_read(s, passive_wireless::kGetDomain),
                          passive_wireless::kGetDomain);
    }
    default:  // kGetDomain
      if (r.remaining() != 0) return bad_payload();
      return handle_passive_wireless_read(s, sub);
  }
}

Reply handle_account_read(const DeviceState &s) {
  std::vector<uint8_t> out;
  Writer(out)
      .u32(static_cast<uint32_t>(s.account_info.size()))
      .bytes(s.account_info.data(), s.account_info.size());
  return ok(std::move(out));
}

Reply handle_account(DeviceState &s, uint8_t sub, const uint8_t *p, std::size_t n) {
  if (sub == account::kWrite) {
    if (n > kAccountInfoMax) return bad_payload();
    s.account_info.assign(p, p + n);
    return confirmed_by(handle_account_read(s), account::kRead);
  }
  if (sub == account::kRead) {
    if (n != 0) return bad_payload();
    return handle_account_read(s);
  }
  return unsupported();
}

// Commands with one sub command and no payload.
Reply handle_bare(uint8_t sub, uint8_t expected_sub, std::size_t n) {
  if (sub != expected_sub) return unsupported();
  if (n != 0) return bad_payload();
  return ok();
}

}  // namespace

Reply handle_request(DeviceState &state, uint8_t main, uint8_t sub, const uint8_t *payload, std::size_t size,
                     bool strict) {
  switch (main) {
    case wire::kMainAccount:
      return handle_account(state, sub, payload, size);
    case wire::kMainPassiveWireless:
      return handle_passive_wireless(state, sub, payload, size);
    case wire::kMainControl: {
      Reply reply = handle_bare(sub, wire::control::kReboot, size);
      reply.reboot = reply.code == kCodeOk;
      return reply;
    }
    case wire::kMainOsd:
      return handle_osd(state, sub, payload, size, strict);
    case wire::kMainSetting:
      return handle_setting(state, sub, payload, size, strict);
    case wire::kMainKeepAlive:
      return handle_bare(sub, wire::keep_alive::kKeepAlive, size);
    case wire::kMainMachineStatus: {
      Reply reply = handle_bare(sub, wire::machine::kConfig, size);
      if (reply.code == kCodeOk) reply.payload = build_machine_record(state);
      return reply;
    }
    default:
      return unsupported();
  }
}

std::vector<uint8_t> build_machine_record(const DeviceState &s) {
  return wire::machine_record::write(s);
}

}  // namespace qz::sim
