// The machine configuration record, the answer to main 174 sub 130: its
// fields in the order and widths they travel, walked once by fields() for
// the library's parser and the simulated device's writer alike.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "commands.h"
#include "wire_frame.h"

namespace qz::wire::machine_record {

inline constexpr std::size_t kIdentityTextWidth = 16;
inline constexpr std::size_t kSerialWidth = 32;
inline constexpr std::size_t kIpTextCount = 5;
inline constexpr std::size_t kIpTextWidth = 15;
inline constexpr std::size_t kMaxNameLength = 255;
// Everything but the channel name's L bytes.
inline constexpr std::size_t kFixedSize = 267;
// OSD item ids in the order the record carries them: eleven before the
// channel name, one after it.
inline constexpr std::array<std::size_t, 11> kOsdOrderBeforeName{5, 6, 7, 0, 1, 2, 3, 4, 9, 10, 8};
inline constexpr std::size_t kOsdItemAfterName = 11;

struct OsdBlock {
  uint8_t display = 0;
  uint8_t attribute = 0;
  uint16_t value1 = 0;
  uint16_t value2 = 0;
};

// The record's fields as they travel, flags and signed bytes unconverted.
// The simulated device's state has members of the same names and is written
// through fields() as it is.
struct Record {
  std::string machine_text1, machine_text2, machine_text3, device_sn;
  uint16_t machine_value1 = 0, machine_value2 = 0;
  uint8_t ad_link_count = 0, ps_link_count = 0, ip_info_flag = 0;
  std::array<std::string, kIpTextCount> ip_info_texts;
  uint8_t detect_sun_enabled = 0, len_adjust_method = 0, len_pos_enabled = 0, rotate180_enabled = 0;
  uint8_t default_palette = 0, hdmi_enabled = 0, onvif_enabled = 0, visual_link_count = 0;
  uint8_t ptz_link_count = 0, radar_enabled = 0, auto_change_meas_enabled = 0, auto_focus_enabled = 0;
  uint8_t framerate = 0, center_rectangle_displayed = 0;
  std::array<OsdBlock, osd::kItemCount> osd_items{};  // by item id
  std::string channel_name;
};

// Walks the fields of `m` in record order with `io`, which reads each one
// into `m` or writes it out of `m`. False when a read runs out of bytes.
template <class Io, class Fields>
bool fields(Io &io, Fields &m) {
  bool ok = io.reserved(1) && io.text(m.machine_text1, kIdentityTextWidth) &&
            io.text(m.machine_text2, kIdentityTextWidth) && io.text(m.machine_text3, kIdentityTextWidth) &&
            io.text(m.device_sn, kSerialWidth) && io.reserved(4) && io.u16(m.machine_value1) &&
            io.u16(m.machine_value2) && io.reserved(8) && io.u8(m.ad_link_count) && io.u8(m.ps_link_count) &&
            io.u8(m.ip_info_flag);
  for (auto &text : m.ip_info_texts) ok = ok && io.text(text, kIpTextWidth);
  ok = ok && io.u8(m.detect_sun_enabled) && io.u8(m.len_adjust_method) && io.u8(m.len_pos_enabled) &&
       io.u8(m.rotate180_enabled) && io.u8(m.default_palette) && io.u8(m.hdmi_enabled) &&
       io.u8(m.onvif_enabled) && io.u8(m.visual_link_count) && io.u8(m.ptz_link_count) &&
       io.u8(m.radar_enabled) && io.u8(m.auto_change_meas_enabled) && io.u8(m.auto_focus_enabled) &&
       io.u8(m.framerate) && io.reserved(5) && io.u8(m.center_rectangle_displayed);
  for (std::size_t id : kOsdOrderBeforeName) ok = ok && io.osd(m.osd_items[id]);
  return ok && io.name(m.channel_name) && io.osd(m.osd_items[kOsdItemAfterName]);
}

// Reads fields: texts up to their first NUL, reserved bytes skipped.
class FieldReader {
 public:
  explicit FieldReader(Reader &r) : r_(r) {}
  bool reserved(std::size_t n) { return r_.skip(n); }
  bool u8(uint8_t &v) { return r_.u8(v); }
  bool u16(uint16_t &v) { return r_.u16(v); }
  bool text(std::string &text, std::size_t width) { return r_.text_field(width, text); }
  bool osd(OsdBlock &item) {
    return r_.u8(item.display) && r_.u8(item.attribute) && r_.u16(item.value1) && r_.u16(item.value2);
  }
  // A count byte L and an L-byte text field.
  bool name(std::string &text) {
    uint8_t length = 0;
    return r_.u8(length) && r_.text_field(length, text);
  }

 private:
  Reader &r_;
};

// Writes fields: texts cut and NUL-padded to their width, reserved bytes 0.
class FieldWriter {
 public:
  explicit FieldWriter(Writer &w) : w_(w) {}
  bool reserved(std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) w_.u8(0);
    return true;
  }
  bool u8(uint8_t v) {
    w_.u8(v);
    return true;
  }
  bool u16(uint16_t v) {
    w_.u16(v);
    return true;
  }
  bool text(const std::string &text, std::size_t width) {
    w_.text_field(text, width);
    return true;
  }
  template <class Item>
  bool osd(const Item &item) {
    w_.u8(item.display).u8(item.attribute).u16(item.value1).u16(item.value2);
    return true;
  }
  // The name's first 255 bytes at most, after their count.
  bool name(const std::string &text) {
    const std::size_t n = std::min(text.size(), kMaxNameLength);
    w_.u8(static_cast<uint8_t>(n)).bytes(text.data(), n);
    return true;
  }

 private:
  Writer &w_;
};

// Parses a record; false when the payload is shorter than 267 + L bytes.
inline bool read(const uint8_t *payload, std::size_t size, Record &m) {
  Reader r(payload, size);
  FieldReader io(r);
  return r.remaining() >= kFixedSize && fields(io, m);
}

// The record of `m`, a Record or anything with members of the same names.
template <class Fields>
std::vector<uint8_t> write(const Fields &m) {
  std::vector<uint8_t> out;
  out.reserve(kFixedSize + std::min(m.channel_name.size(), kMaxNameLength));
  Writer w(out);
  FieldWriter io(w);
  fields(io, m);
  return out;
}

}  // namespace qz::wire::machine_record
