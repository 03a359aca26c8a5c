// Machine configuration record (main 174, sub 130) and the machine info
// getter that answers from what the record brought.
#include <algorithm>
#include <array>
#include <cstring>

#include "machine_record_layout.h"
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

namespace {

namespace record = wire::machine_record;

// Size of the buffers that get_machine_info fills.
constexpr std::size_t kMachineInfoBuffer = 32;

// A received flag byte counts as set only when it is exactly 1.
uint8_t flag_of(uint8_t byte) {
  return byte == 1 ? 1 : 0;
}

// A signed 8-bit field widened with its sign.
int32_t widen_signed(uint8_t byte) {
  return static_cast<int32_t>(static_cast<int8_t>(byte));
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
  record::Record m;
  if (!record::read(frame.payload, frame.payload_size, m)) {
    NDS_LOG(kLogError, "NetDevSetting::on_response_machine_status", "parse machine info failed");
    return false;
  }
  DeviceStateCache &c = cache;
  c.machine_text1 = std::move(m.machine_text1);
  c.machine_text2 = std::move(m.machine_text2);
  c.machine_text3 = std::move(m.machine_text3);
  c.device_sn = std::move(m.device_sn);
  machine_value1 = m.machine_value1;
  machine_value2 = m.machine_value2;
  c.ad_link_count = m.ad_link_count;
  c.ps_link_count = m.ps_link_count;
  c.ip_info_flag = flag_of(m.ip_info_flag);
  c.ip_info_text1 = std::move(m.ip_info_texts[0]);
  c.ip_info_text2 = std::move(m.ip_info_texts[1]);
  c.ip_info_text3 = std::move(m.ip_info_texts[2]);
  c.ip_info_text4 = std::move(m.ip_info_texts[3]);
  c.ip_info_text5 = std::move(m.ip_info_texts[4]);
  c.detect_sun_enabled = flag_of(m.detect_sun_enabled);
  c.len_adjust_method = widen_signed(m.len_adjust_method);
  c.len_pos_enabled = flag_of(m.len_pos_enabled);
  c.rotate180_enabled = flag_of(m.rotate180_enabled);
  c.default_palette = widen_signed(m.default_palette);
  c.hdmi_enabled = flag_of(m.hdmi_enabled);
  c.onvif_enabled = flag_of(m.onvif_enabled);
  c.visual_link_count = m.visual_link_count;
  c.ptz_link_count = m.ptz_link_count;
  c.radar_enabled = flag_of(m.radar_enabled);
  c.auto_change_meas_enabled = flag_of(m.auto_change_meas_enabled);
  c.auto_focus_enabled = flag_of(m.auto_focus_enabled);
  c.framerate = m.framerate;
  c.center_rectangle_displayed = flag_of(m.center_rectangle_displayed);
  for (std::size_t id = 0; id < c.osd_items.size(); ++id) {
    const record::OsdBlock &b = m.osd_items[id];
    c.osd_items[id] = OsdItem{flag_of(b.display), b.attribute, b.value1, b.value2};
  }
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
