#include "device_commands.h"

#include <iterator>
#include <optional>
#include <string>

#include "wire_frame.h"

namespace qz::sim {

namespace {

using wire::Reader;
using wire::Writer;

Reply ok(std::vector<uint8_t> payload = {}) {
  return Reply{kCodeOk, std::move(payload), false, std::nullopt};
}
Reply bad_payload() {
  return Reply{kCodeBadPayload, {}, false, std::nullopt};
}
Reply unsupported() {
  return Reply{kCodeUnsupported, {}, false, std::nullopt};
}

// A one-byte setting of main 169 (or 168) set with its own sub command and
// accepted within [min, max].
struct ByteSetting {
  uint8_t sub;
  uint8_t DeviceState::*field;
  uint8_t min;
  uint8_t max;
};

constexpr ByteSetting kSettingSetters[] = {
    {128, &DeviceState::hdmi_enabled, 0, 1},
    {129, &DeviceState::onvif_enabled, 0, 1},
    {130, &DeviceState::len_pos_enabled, 0, 1},
    {131, &DeviceState::detect_sun_enabled, 0, 1},
    {132, &DeviceState::rotate180_enabled, 0, 1},
    {133, &DeviceState::ps_link_count, 0, kLinkCountMax},
    {134, &DeviceState::ad_link_count, 0, kLinkCountMax},
    {135, &DeviceState::default_palette, 0, kPaletteMax},
    {140, &DeviceState::len_adjust_method, 0, kLensMethodMax},
    {141, &DeviceState::visual_link_count, 0, kLinkCountMax},
    {142, &DeviceState::ptz_link_count, 0, kLinkCountMax},
    {144, &DeviceState::radar_enabled, 0, 1},
    {145, &DeviceState::auto_change_meas_enabled, 0, 1},
    {146, &DeviceState::auto_focus_enabled, 0, 1},
    {147, &DeviceState::framerate, kFramerateMin, kFramerateMax},
    {154, &DeviceState::mqtt_work, 0, 1},
    {164, &DeviceState::visual_zoom_control_flag, 0, 255},
    {166, &DeviceState::disable_temperature_correct_status, 0, 255},
    {168, &DeviceState::hardware_watchdog, 0, 1},
    {170, &DeviceState::hardware_watchdog_disable, 0, 1},
    {172, &DeviceState::hardware_watchdog_disable_time, 0, 255},
    {174, &DeviceState::visual_gotopreset_when_start, 0, 255},
    {178, &DeviceState::hikvision_linkage, 0, 1},
    {180, &DeviceState::vision_maxtemperature, 0, 1},
    {182, &DeviceState::all_temperature_network_byte_order, 0, 1},
    {184, &DeviceState::pg_support, 0, 1},
};

// One-byte queries of main 169, answered with the stored byte.
struct ByteQuery {
  uint8_t sub;
  uint8_t DeviceState::*field;
};

constexpr ByteQuery kSettingQueries[] = {
    {155, &DeviceState::mqtt_work},
    {165, &DeviceState::visual_zoom_control_flag},
    {167, &DeviceState::disable_temperature_correct_status},
    {169, &DeviceState::hardware_watchdog},
    {171, &DeviceState::hardware_watchdog_disable},
    {173, &DeviceState::hardware_watchdog_disable_time},
    {175, &DeviceState::visual_gotopreset_when_start},
    {179, &DeviceState::hikvision_linkage},
    {181, &DeviceState::vision_maxtemperature},
    {183, &DeviceState::all_temperature_network_byte_order},
    {185, &DeviceState::pg_support},
};

// Length-prefixed texts of main 169: set on `sub`, queried on `sub + 1`.
struct TextSetting {
  uint8_t sub;
  std::string DeviceState::*field;
};

constexpr TextSetting kSettingTexts[] = {
    {148, &DeviceState::visual_ip}, {150, &DeviceState::visual_user}, {152, &DeviceState::visual_passwd},
    {156, &DeviceState::mqtt_ip},   {160, &DeviceState::mqtt_user},   {162, &DeviceState::mqtt_passwd},
};

// OSD item id of each item sub command of main 168.
std::optional<std::size_t> osd_item_of_sub(uint8_t sub) {
  switch (sub) {
    case 128:
    case 129:
    case 130:
    case 131:
    case 132:
      return sub - 128u;
    case 133:
      return 9;
    case 134:
      return 10;
    case 135:
    case 136:
    case 137:
      return sub - 130u;
    case 141:
      return 11;
    default:
      return std::nullopt;
  }
}

// A whole payload that is exactly one length-prefixed text of at most `max`.
bool read_only_text(const uint8_t *p, std::size_t n, std::size_t max, std::string &out) {
  Reader r(p, n);
  return r.lp_text(out) && r.remaining() == 0 && out.size() <= max;
}

void write_osd_item(Writer &w, const OsdItem &item) {
  w.u8(item.display).u8(item.attribute).u16(item.value1).u16(item.value2);
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
  for (const auto &setter : kSettingSetters) {
    if (setter.sub != sub) continue;
    if (n != 1 || (strict && (p[0] < setter.min || p[0] > setter.max))) return bad_payload();
    s.*setter.field = p[0];
    return ok();
  }
  for (const auto &query : kSettingQueries) {
    if (query.sub != sub) continue;
    if (n != 0) return bad_payload();
    return ok({s.*query.field});
  }
  for (const auto &text : kSettingTexts) {
    if (text.sub == sub) {
      std::string value;
      if (!read_only_text(p, n, kLinkTextMax, value)) return bad_payload();
      s.*text.field = std::move(value);
      return ok();
    }
    if (text.sub + 1 == sub) {
      if (n != 0) return bad_payload();
      std::vector<uint8_t> out;
      Writer(out).lp_text(s.*text.field);
      return ok(std::move(out));
    }
  }
  switch (sub) {
    case 136:
      if (n != kSystemTimeSize) return bad_payload();
      std::copy(p, p + n, s.system_time.begin());
      return ok();
    case 138:
      return set_ip_info(s, p, n, strict);
    case 143:
      return set_visual_sn(s, p, n);
    case 158:
      return set_mqtt_port(s, p, n, strict);
    case 176:
      return set_gb28181(s, p, n, strict);
    default:
      break;
  }
  if (n != 0 && (sub == 139 || sub == 159 || sub == 177)) return bad_payload();
  switch (sub) {
    case 139:
      return get_ip_info(s);
    case 159: {
      std::vector<uint8_t> out;
      Writer(out).u32(s.mqtt_port);
      return ok(std::move(out));
    }
    case 177:
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
  s.osd_items[8] = item;
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
    case 138:
      return set_channel_name(s, p, n, strict);
    case 139:
      if (n != 1 || (strict && p[0] > 1)) return bad_payload();
      s.center_rectangle_displayed = p[0];
      return ok();
    case 140: {
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

// The answer of a passive wireless read (sub 131: power status, 133: domain).
Reply handle_passive_wireless_read(const DeviceState &s, uint8_t sub) {
  std::vector<uint8_t> out;
  Writer w(out);
  if (sub == 131) {
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
  if (sub < 130 || sub > 133) return unsupported();
  Reader r(p, n);
  if (!read_serial_key(s, r)) return bad_payload();
  switch (sub) {
    case 130: {
      uint32_t a = 0, b = 0, c = 0;
      if (!r.u32(a) || !r.u32(b) || !r.u32(c) || r.remaining() != 0) return bad_payload();
      s.passive_wireless_power_status1 = a;
      s.passive_wireless_power_status2 = b;
      s.passive_wireless_power_status3 = c;
      return confirmed_by(handle_passive_wireless_read(s, 131), 131);
    }
    case 131:
      if (r.remaining() != 0) return bad_payload();
      return handle_passive_wireless_read(s, 131);
    case 132: {
      std::string domain;
      uint32_t value = 0;
      if (!r.lp_text(domain) || !r.u32(value) || r.remaining() != 0 || domain.size() > kDomainMax) {
        return bad_payload();
      }
      s.passive_wireless_domain = std::move(domain);
      s.passive_wireless_domain_value = value;
      return confirmed_by(handle_passive_wireless_read(s, 133), 133);
    }
    default:  // 133
      if (r.remaining() != 0) return bad_payload();
      return handle_passive_wireless_read(s, 133);
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
  if (sub == 128) {
    if (n > kAccountInfoMax) return bad_payload();
    s.account_info.assign(p, p + n);
    return confirmed_by(handle_account_read(s), 129);
  }
  if (sub == 129) {
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
    case kMainAccount:
      return handle_account(state, sub, payload, size);
    case kMainPassiveWireless:
      return handle_passive_wireless(state, sub, payload, size);
    case kMainControl: {
      Reply reply = handle_bare(sub, kSubReboot, size);
      reply.reboot = reply.code == kCodeOk;
      return reply;
    }
    case kMainOsd:
      return handle_osd(state, sub, payload, size, strict);
    case kMainSetting:
      return handle_setting(state, sub, payload, size, strict);
    case kMainKeepAlive:
      return handle_bare(sub, kSubKeepAlive, size);
    case kMainMachineStatus: {
      Reply reply = handle_bare(sub, kSubMachineConfig, size);
      if (reply.code == kCodeOk) reply.payload = build_machine_record(state);
      return reply;
    }
    default:
      return unsupported();
  }
}

std::vector<uint8_t> build_machine_record(const DeviceState &s) {
  std::vector<uint8_t> out;
  out.reserve(267 + kChannelNameMax);
  Writer w(out);
  w.u8(0);  // record version, unused
  w.text_field(s.machine_text1, kIdentityTextMax);
  w.text_field(s.machine_text2, kIdentityTextMax);
  w.text_field(s.machine_text3, kIdentityTextMax);
  w.text_field(s.device_sn, kSerialNumberMax);
  w.u32(0);  // reserved
  w.u16(s.machine_value1).u16(s.machine_value2);
  w.u32(0).u32(0);  // reserved
  w.u8(s.ad_link_count).u8(s.ps_link_count);
  w.u8(s.ip_info_flag);
  for (const auto &text : s.ip_info_texts) w.text_field(text, kIpTextMax);
  w.u8(s.detect_sun_enabled).u8(s.len_adjust_method).u8(s.len_pos_enabled).u8(s.rotate180_enabled);
  w.u8(s.default_palette).u8(s.hdmi_enabled).u8(s.onvif_enabled);
  w.u8(s.visual_link_count).u8(s.ptz_link_count);
  w.u8(s.radar_enabled).u8(s.auto_change_meas_enabled).u8(s.auto_focus_enabled);
  w.u8(s.framerate);
  w.u32(0).u8(0);  // reserved
  w.u8(s.center_rectangle_displayed);
  for (std::size_t id : {5, 6, 7, 0, 1, 2, 3, 4, 9, 10, 8}) write_osd_item(w, s.osd_items[id]);
  const std::size_t name_len =
      s.channel_name.size() < kChannelNameMax ? s.channel_name.size() : kChannelNameMax;
  w.u8(static_cast<uint8_t>(name_len)).bytes(s.channel_name.data(), name_len);
  write_osd_item(w, s.osd_items[11]);
  return out;
}

}  // namespace qz::sim
