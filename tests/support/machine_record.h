// Builder for the machine configuration record (the answer to main 174,
// sub 130): every field of the record as a member, laid out by bytes().
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "frames.h"
#include "wire_frame.h"

namespace qz::test {

// One 6-byte OSD item block as it travels.
struct OsdBlock {
  uint8_t display = 0;
  uint8_t attribute = 0;
  uint16_t value1 = 0;
  uint16_t value2 = 0;
};

struct MachineRecord {
  // Payload offset of the channel name's length L; the record is 267 + L bytes.
  static constexpr std::size_t kNameLengthOffset = 260;
  // OSD item ids in the order the record carries them; item 11 comes after
  // the channel name.
  static constexpr std::array<int, 11> kOsdOrderBeforeName = {5, 6, 7, 0, 1, 2, 3, 4, 9, 10, 8};

  uint8_t unread0 = 0;  // offset 0
  // Texts are written into their fixed fields: cut to the width, padded
  // with NULs. A text of exactly the width leaves no NUL in its field.
  std::string text1;   // offset 1, 16 bytes
  std::string text2;   // offset 17, 16 bytes
  std::string text3;   // offset 33, 16 bytes
  std::string serial;  // offset 49, 32 bytes
  std::array<uint8_t, 4> unread81{};
  uint16_t value1 = 0;  // offset 85
  uint16_t value2 = 0;  // offset 87
  std::array<uint8_t, 8> unread89{};
  uint8_t ad_link_count = 0;             // offset 97
  uint8_t ps_link_count = 0;             // offset 98
  uint8_t ip_flag = 0;                   // offset 99
  std::array<std::string, 5> ip_texts;   // offsets 100, 115, 130, 145, 160; 15 bytes each
  uint8_t detect_sun = 0;                // offset 175
  uint8_t len_adjust_method = 0;         // offset 176, signed on the device
  uint8_t len_pos = 0;                   // offset 177
  uint8_t rotate180 = 0;                 // offset 178
  uint8_t default_palette = 0;           // offset 179, signed on the device
  uint8_t hdmi = 0;                      // offset 180
  uint8_t onvif = 0;                     // offset 181
  uint8_t visual_link_count = 0;         // offset 182
  uint8_t ptz_link_count = 0;            // offset 183
  uint8_t radar = 0;                     // offset 184
  uint8_t auto_change_meas = 0;          // offset 185
  uint8_t auto_focus = 0;                // offset 186
  uint8_t framerate = 0;                 // offset 187
  std::array<uint8_t, 5> unread188{};    // offsets 188 to 192
  uint8_t center_rectangle = 0;          // offset 193
  std::array<OsdBlock, 12> osd_items{};  // indexed by OSD item id
  std::string channel_name;              // raw L bytes (at most 255) at offset 261

  Bytes bytes() const {
    Bytes out;
    wire::Writer w(out);
    w.u8(unread0).text_field(text1, 16).text_field(text2, 16).text_field(text3, 16).text_field(serial, 32);
    w.bytes(unread81.data(), unread81.size()).u16(value1).u16(value2).bytes(unread89.data(), unread89.size());
    w.u8(ad_link_count).u8(ps_link_count).u8(ip_flag);
    for (const std::string &text : ip_texts) w.text_field(text, 15);
    w.u8(detect_sun).u8(len_adjust_method).u8(len_pos).u8(rotate180).u8(default_palette).u8(hdmi).u8(onvif);
    w.u8(visual_link_count).u8(ptz_link_count).u8(radar).u8(auto_change_meas).u8(auto_focus).u8(framerate);
    w.bytes(unread188.data(), unread188.size()).u8(center_rectangle);
    for (int id : kOsdOrderBeforeName) put_osd(w, osd_items[id]);
    w.u8(static_cast<uint8_t>(channel_name.size())).bytes(channel_name.data(), channel_name.size());
    put_osd(w, osd_items[11]);
    return out;
  }

 private:
  static void put_osd(wire::Writer &w, const OsdBlock &item) {
    w.u8(item.display).u8(item.attribute).u16(item.value1).u16(item.value2);
  }
};

}  // namespace qz::test
