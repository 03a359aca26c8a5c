// Machine configuration record (main 174, sub 130) and the machine info
// getter that answers from what the record brought.
#include <algorithm>
#include <array>
#include <cstring>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

namespace {

// Fixed part of the record: everything but the channel name.
constexpr std::size_t kRecordFixedSize = 267;
// Width of the identity text fields and of the serial number field.
constexpr std::size_t kMachineTextWidth = 16;
constexpr std::size_t kSerialWidth = 32;
constexpr std::size_t kIpTextWidth = 15;
// Size of the buffers that get_machine_info fills.
constexpr std::size_t kMachineInfoBuffer = 32;
// OSD items in the order the record carries them before the channel name.
constexpr std::array<int, 11> kOsdItemsBeforeName = {5, 6, 7, 0, 1, 2, 3, 4, 9, 10, 8};
constexpr int kOsdItemAfterName = 11;

// A received flag byte counts as set only when it is exactly 1.
uint8_t flag_of(uint8_t byte) {
  return byte == 1 ? 1 : 0;
}

// A signed 8-bit field widened with its sign.
int32_t widen_signed(uint8_t byte) {
  return static_cast<int32_t>(static_cast<int8_t>(byte));
}

// The whole record, parsed into locals before any of it reaches the cache.
struct MachineRecord {
  ByteString text1, text2, text3, serial;
  uint16_t value1 = 0, value2 = 0;
  uint8_t ad_link_count = 0, ps_link_count = 0, ip_info_flag = 0;
  std::array<ByteString, 5> ip_texts;
  uint8_t detect_sun = 0, len_pos = 0, rotate180 = 0, hdmi = 0, onvif = 0;
  int32_t len_adjust_method = 0, default_palette = 0;
  uint8_t visual_link_count = 0, ptz_link_count = 0;
  uint8_t radar = 0, auto_change_meas = 0, auto_focus = 0, framerate = 0, center_rectangle = 0;
  std::array<OsdItem, kOsdItemCount> osd_items{};
  ByteString channel_name;
};

bool read_osd_item(wire::Reader &r, OsdItem &item) {
  uint8_t display = 0;
  if (!r.u8(display) || !r.u8(item.attribute) || !r.u16(item.value1) || !r.u16(item.value2)) return false;
  item.display = flag_of(display);
  return true;
}

// Payload offsets 0 to 88: three identity texts, the serial number and the
// two identity values.
bool read_identity_block(wire::Reader &r, MachineRecord &m) {
  return r.skip(1) && r.text_field(kMachineTextWidth, m.text1) && r.text_field(kMachineTextWidth, m.text2) &&
         r.text_field(kMachineTextWidth, m.text3) && r.text_field(kSerialWidth, m.serial) && r.skip(4) &&
         r.u16(m.value1) && r.u16(m.value2);
}

// Payload offsets 89 to 193: link counts, IP settings, feature flags, lens
// settings, palette, frame rate and the centre rectangle flag.
bool read_settings_block(wire::Reader &r, MachineRecord &m) {
  uint8_t ip_flag = 0;
  if (!r.skip(8) || !r.u8(m.ad_link_count) || !r.u8(m.ps_link_count) || !r.u8(ip_flag)) return false;
  m.ip_info_flag = flag_of(ip_flag);
  for (ByteString &text : m.ip_texts) {
    if (!r.text_field(kIpTextWidth, text)) return false;
  }
  std::array<uint8_t, 13> b{};  // payload offsets 175 to 187, one byte each
  for (uint8_t &byte : b) {
    if (!r.u8(byte)) return false;
  }
  m.detect_sun = flag_of(b[0]);
  m.len_adjust_method = widen_signed(b[1]);
  m.len_pos = flag_of(b[2]);
  m.rotate180 = flag_of(b[3]);
  m.default_palette = widen_signed(b[4]);
  m.hdmi = flag_of(b[5]);
  m.onvif = flag_of(b[6]);
  m.visual_link_count = b[7];
  m.ptz_link_count = b[8];
  m.radar = flag_of(b[9]);
  m.auto_change_meas = flag_of(b[10]);
  m.auto_focus = flag_of(b[11]);
  m.framerate = b[12];
  uint8_t center = 0;
  if (!r.skip(5) || !r.u8(center)) return false;
  m.center_rectangle = flag_of(center);
  return true;
}

// Payload offsets 194 to 266 + L: eleven OSD items, the channel name and the
// twelfth item after it.
bool read_osd_block(wire::Reader &r, MachineRecord &m) {
  for (int id : kOsdItemsBeforeName) {
    if (!read_osd_item(r, m.osd_items[id])) return false;
  }
  uint8_t name_length = 0;
  return r.u8(name_length) && r.text_field(name_length, m.channel_name) &&
         read_osd_item(r, m.osd_items[kOsdItemAfterName]);
}

// Parses the record; false when the payload is shorter than 267 + L bytes.
bool read_machine_record(const wire::FrameView &frame, MachineRecord &m) {
  wire::Reader r(frame.payload, frame.payload_size);
  if (r.remaining() < kRecordFixedSize) return false;
  return read_identity_block(r, m) && read_settings_block(r, m) && read_osd_block(r, m);
}

// Copies a cached text into a 32-byte buffer: zeroed first, terminated when
// the text is shorter than the buffer.
void copy_machine_text(const ByteString &text, char *out) {
  if (out == nullptr) return;
  std::memset(out, 0, kMachineInfoBuffer);
  std::memcpy(out, text.data(), std::min(text.size(), kMachineInfoBuffer));
}

}  // namespace

bool NetDevSetting::get_machine_config_info() {
  return send_cmd(wire::kMainMachineStatus, wire::machine::kConfig, 0, nullptr, kWaitMs);
}

// Runs under cache_lock (on_data holds it).
bool NetDevSetting::on_response_machine_status(const wire::FrameView &frame) {
  if (frame.header.sub != wire::machine::kConfig) {
    NDS_LOG(kLogError, "NetDevSetting::on_response_machine_status",
            "QZ_MACHINE_STATUS's vicd cmd = %d is not supported", frame.header.sub);
    return false;
  }
  MachineRecord m;
  if (!read_machine_record(frame, m)) {
    NDS_LOG(kLogError, "NetDevSetting::on_response_machine_status", "parse machine info failed");
    return false;
  }
  DeviceStateCache &c = cache;
  c.machine_text1 = std::move(m.text1);
  c.machine_text2 = std::move(m.text2);
  c.machine_text3 = std::move(m.text3);
  c.device_sn = std::move(m.serial);
  machine_value1 = m.value1;
  machine_value2 = m.value2;
  c.ad_link_count = m.ad_link_count;
  c.ps_link_count = m.ps_link_count;
  c.ip_info_flag = m.ip_info_flag;
  c.ip_info_text1 = std::move(m.ip_texts[0]);
  c.ip_info_text2 = std::move(m.ip_texts[1]);
  c.ip_info_text3 = std::move(m.ip_texts[2]);
  c.ip_info_text4 = std::move(m.ip_texts[3]);
  c.ip_info_text5 = std::move(m.ip_texts[4]);
  c.detect_sun_enabled = m.detect_sun;
  c.len_adjust_method = m.len_adjust_method;
  c.len_pos_enabled = m.len_pos;
  c.rotate180_enabled = m.rotate180;
  c.default_palette = m.default_palette;
  c.hdmi_enabled = m.hdmi;
  c.onvif_enabled = m.onvif;
  c.visual_link_count = m.visual_link_count;
  c.ptz_link_count = m.ptz_link_count;
  c.radar_enabled = m.radar;
  c.auto_change_meas_enabled = m.auto_change_meas;
  c.auto_focus_enabled = m.auto_focus;
  c.framerate = m.framerate;
  c.center_rectangle_displayed = m.center_rectangle;
  c.osd_items = m.osd_items;
  c.channel_name = std::move(m.channel_name);
  return true;
}

bool NetDevSetting::get_machine_info(uint16_t *value1, uint16_t *value2, char *sn, char *text1, char *text2,
                                     char *text3) {
  std::lock_guard guard(cache_lock);
  if (value1 != nullptr) *value1 = machine_value1;
  if (value2 != nullptr) *value2 = machine_value2;
  copy_machine_text(cache.device_sn, sn);
  copy_machine_text(cache.machine_text1, text1);
  copy_machine_text(cache.machine_text2, text2);
  copy_machine_text(cache.machine_text3, text3);
  return true;
}

}  // namespace qz::nds

extern "C" QZ_NDS_API bool qz_nds_get_machine_config_info(qz_nds_handle handle) {
  return qz::nds::with_session(handle, [](qz::nds::NetDevSetting &s) { return s.get_machine_config_info(); });
}

extern "C" QZ_NDS_API bool qz_nds_get_machine_info(qz_nds_handle handle, uint16_t *value1, uint16_t *value2,
                                                   char *sn, char *text1, char *text2, char *text3) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return s.get_machine_info(value1, value2, sn, text1, text2, text3);
  });
}
