// The machine configuration record: what its getters answer after a record,
// refusal of short records, and what a disconnect resets.
#include <array>
#include <cstring>
#include <string>
#include <tuple>

#include "machine_record.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

using ByteGetter = bool (*)(qz_nds_handle, uint8_t *);

const std::string kSerial32 = "SN0123456789ABCDEFGHIJKLMNOPQRST";

// Every field distinct, so a value stored in the wrong member shows.
MachineRecord distinct_record() {
  MachineRecord m;
  m.unread0 = 0xA1;
  m.text1 = "ident-one";
  m.text2 = "ident-two-16byte";  // fills its field: no NUL on the wire
  m.text3 = "id3";
  m.serial = kSerial32;  // fills its field: no NUL on the wire
  m.unread81 = {0xB1, 0xB2, 0xB3, 0xB4};
  m.value1 = 0x1234;
  m.value2 = 0xBEEF;
  m.unread89 = {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8};
  m.ad_link_count = 3;
  m.ps_link_count = 4;
  m.ip_flag = 1;
  m.ip_texts = {"192.168.1.10", "255.255.255.0", "192.168.1.1", "8.8.8.8", "123456789012345"};
  m.detect_sun = m.len_pos = m.rotate180 = m.hdmi = m.onvif = 1;
  m.radar = m.auto_change_meas = m.auto_focus = m.center_rectangle = 1;
  m.len_adjust_method = 0xFE;
  m.default_palette = 0x85;
  m.visual_link_count = 5;
  m.ptz_link_count = 6;
  m.framerate = 25;
  m.unread188 = {0xD1, 0xD2, 0xD3, 0xD4, 0xD5};
  for (int id = 0; id < 12; ++id) {
    m.osd_items[id] = {static_cast<uint8_t>(id % 2), static_cast<uint8_t>(0x40 + id),
                       static_cast<uint16_t>(0x1000 + id), static_cast<uint16_t>(0x2000 + id)};
  }
  m.channel_name = "gate-cam";
  return m;
}

bool get_ip_flag(qz_nds_handle h, uint8_t *flag) {
  return qz_nds_get_ip_info(h, flag, nullptr, nullptr, nullptr, nullptr, nullptr);
}

// What a disconnect resets, and the feature flags it keeps.
// clang-format off
const ByteGetter kConnectionBound[] = {
    qz_nds_is_enabled_hdmi, qz_nds_is_enabled_onvif, qz_nds_is_enabled_rotate180,
    qz_nds_is_display_center_rectangle, get_ip_flag, qz_nds_get_ps_link_count, qz_nds_get_ad_link_count,
    qz_nds_get_visual_link_count, qz_nds_get_ptz_link_count, qz_nds_get_framerate, qz_nds_is_enabled_len_pos,
    qz_nds_is_enabled_detect_sun};
const ByteGetter kKeptFlags[] = {qz_nds_is_enabled_radar, qz_nds_is_enabled_auto_change_meas, qz_nds_is_enabled_auto_focus};
// clang-format on

class MachineRecordTest : public SessionTest {
 protected:
  // Answers the record request with `payload` under `sub`, and refuses
  // every other request.
  void device_answers(Bytes payload, uint8_t sub = 130) {
    net.set_responder([payload, sub](const wire::FrameView &request) {
      if (request.header.main != 174) return std::vector<Bytes>{response_to(request, {}, 1)};
      return std::vector<Bytes>{
          wire::make_frame(wire::kPackageResponse, 174, sub, 0, request.header.seq, payload)};
    });
  }
  void load(const MachineRecord &m) {
    device_answers(m.bytes());
    ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  }
  // Values from every stretch of the record, as the getters report them
  // (the IP settings from the session, as the device refuses their query).
  std::string describe() {
    char sn[33] = {};
    uint32_t len = 0;
    EXPECT_TRUE(qz_nds_get_sn(handle, sn, &len));
    std::string out = std::string(sn, len) + '|' + ip_info().second[0] + '|' + channel_name() + '|';
    for (ByteGetter get : kConnectionBound) out += std::to_string(read(get)) + ',';
    return out + std::to_string(read(qz_nds_get_default_palette)) + ',' +
           std::to_string(std::get<2>(osd_item(11)));
  }
};

TEST_F(MachineRecordTest, DistinctRecordFillsEveryMemberAndGetterUntilADisconnect) {
  char serial[40];
  uint32_t len = 99;
  ASSERT_TRUE(qz_nds_get_sn(handle, serial, &len));  // a new session has none yet
  EXPECT_EQ(len, 0u);
  EXPECT_TRUE(qz_nds_get_machine_info(handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
  load(distinct_record());
  EXPECT_EQ(last_request(), Request(174, 130, {}));
  const ByteGetter counts[] = {qz_nds_get_ad_link_count, qz_nds_get_ps_link_count,
                               qz_nds_get_visual_link_count, qz_nds_get_ptz_link_count, qz_nds_get_framerate};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(read(counts[i]), (std::array{3, 4, 5, 6, 25}[i]));
  EXPECT_EQ(channel_name(), "gate-cam");
  for (int id = 0; id < 12; ++id) EXPECT_EQ(osd_item(id), Osd(id % 2, 0x40 + id, 0x1000 + id, 0x2000 + id));
  EXPECT_EQ(ip_info(),
            (IpInfo{1, {"192.168.1.10", "255.255.255.0", "192.168.1.1", "8.8.8.8", "123456789012345"}}));

  uint16_t v1 = 0, v2 = 0;
  char sn[40], t1[32], t2[32], t3[32];
  std::memset(sn, 0xEE, sizeof sn);
  ASSERT_TRUE(qz_nds_get_machine_info(handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(std::tie(v1, v2), std::tuple(0x1234, 0xBEEF));
  EXPECT_EQ(std::string(sn, 33), kSerial32 + '\xEE');  // 32 bytes, no terminator
  EXPECT_EQ(std::string(t1, 32), std::string("ident-one") + std::string(23, '\0'));
  EXPECT_EQ(std::string(t2, 32), std::string("ident-two-16byte") + std::string(16, '\0'));
  EXPECT_STREQ(t3, "id3");
  std::memset(serial, 0xEE, sizeof serial);
  ASSERT_TRUE(qz_nds_get_sn(handle, serial, &len));
  EXPECT_EQ(std::string(serial, len + 1), kSerial32 + '\xEE');

  // A disconnect resets only the connection-bound members.
  ASSERT_TRUE(qz_nds_disconnect(handle));
  ASSERT_TRUE(qz_nds_get_machine_info(handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(std::tie(v1, v2), std::tuple(0, 0));
  for (ByteGetter get : kConnectionBound) EXPECT_EQ(read(get), 0);
  EXPECT_EQ(read(qz_nds_get_default_palette), 0u);
  EXPECT_EQ(read(qz_nds_get_len_adjust_method), 0xFFFFFFFFu);
  // Kept: texts, OSD items and the last three feature flags.
  EXPECT_STREQ(t1, "ident-one");
  EXPECT_EQ(std::string(sn, 32), kSerial32);
  EXPECT_EQ(ip_info().second[0], "192.168.1.10");
  EXPECT_EQ(channel_name(), "gate-cam");
  EXPECT_EQ(std::get<2>(osd_item(4)), 0x1004);
  for (ByteGetter get : kKeptFlags) EXPECT_EQ(read(get), 1);
}

// Raw bytes at the record's offsets, independent of the builder's order:
// items 5, 6, 7, 0, 1, 2, 3, 4, 9, 10, 8 from offset 194, item 11 after the name.
TEST_F(MachineRecordTest, OsdItemsComeFromTheirOffsets) {
  const std::pair<int, std::size_t> kItemAt[] = {{5, 194}, {0, 212}, {8, 254}, {11, 261}};
  Bytes b(267, 0);
  for (auto [id, at] : kItemAt) {
    const uint8_t block[] = {uint8_t(id == 8 ? 2 : 1), uint8_t(0x40 + id), 1, uint8_t(id), 2, uint8_t(id)};
    std::memcpy(&b[at], block, sizeof block);
  }
  device_answers(b);
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  for (auto [id, at] : kItemAt)  // display byte 2 is not set
    EXPECT_EQ(osd_item(id), Osd(id == 8 ? 0 : 1, 0x40 + id, 0x100 + id, 0x200 + id)) << id;
  EXPECT_EQ(channel_name(), "");
}

// The name stops at a NUL, and item 11 follows all L bytes; trailing bytes
// after the record are ignored.
TEST_F(MachineRecordTest, ChannelNameAndTheItemAfterIt) {
  const std::pair<std::string, std::string> kNames[] = {
      {std::string("ab\0cd", 5), "ab"}, {std::string(255, 'n'), std::string(255, 'n')}, {"", ""}};
  for (const auto &[sent, kept] : kNames) {
    SCOPED_TRACE(kept.size());
    MachineRecord m;
    m.channel_name = sent;
    m.osd_items[11] = {1, 0x77, 0x1111, static_cast<uint16_t>(sent.size())};
    Bytes b = m.bytes();
    b.insert(b.end(), 10, 0x5A);
    device_answers(b);
    ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
    EXPECT_EQ(channel_name(), kept);
    EXPECT_EQ(osd_item(11), Osd(1, 0x77, 0x1111, static_cast<int>(sent.size())));
  }
}

// Every record replaces every member; the two signed bytes are widened with
// their sign.
TEST_F(MachineRecordTest, LensMethodAndPaletteAreSignExtended) {
  load(distinct_record());
  for (auto [byte, value] : {std::pair<uint8_t, int32_t>{0xFF, -1}, {0x80, -128}, {0x7F, 127}, {0, 0}}) {
    SCOPED_TRACE(+byte);
    MachineRecord m;
    m.len_adjust_method = byte;
    m.default_palette = byte;
    load(m);
    EXPECT_EQ(read(qz_nds_get_len_adjust_method), static_cast<uint32_t>(value));
    EXPECT_EQ(read(qz_nds_get_default_palette), static_cast<uint32_t>(value));
    EXPECT_EQ(ip_info().second[4], "");
  }
}

struct FlagField {
  const char *name;
  uint8_t MachineRecord::*wire;
  ByteGetter get;
};

const FlagField kFlags[] = {
    {"ip_flag", &MachineRecord::ip_flag, get_ip_flag},
    {"detect_sun", &MachineRecord::detect_sun, qz_nds_is_enabled_detect_sun},
    {"len_pos", &MachineRecord::len_pos, qz_nds_is_enabled_len_pos},
    {"rotate180", &MachineRecord::rotate180, qz_nds_is_enabled_rotate180},
    {"hdmi", &MachineRecord::hdmi, qz_nds_is_enabled_hdmi},
    {"onvif", &MachineRecord::onvif, qz_nds_is_enabled_onvif},
    {"radar", &MachineRecord::radar, qz_nds_is_enabled_radar},
    {"auto_change_meas", &MachineRecord::auto_change_meas, qz_nds_is_enabled_auto_change_meas},
    {"auto_focus", &MachineRecord::auto_focus, qz_nds_is_enabled_auto_focus},
    {"center_rectangle", &MachineRecord::center_rectangle, qz_nds_is_display_center_rectangle},
};

// Each flag on its own: only the byte 1 sets it, and it shows in its own
// getter and no other.
TEST_F(MachineRecordTest, FlagsAreSetOnlyByTheByteOne) {
  for (const FlagField &flag : kFlags) {
    for (uint8_t byte : {uint8_t{1}, uint8_t{2}, uint8_t{0xFF}, uint8_t{0}}) {
      SCOPED_TRACE(std::string(flag.name) + " byte " + std::to_string(byte));
      MachineRecord m;
      m.*flag.wire = byte;
      load(m);
      for (const FlagField &other : kFlags) {
        const uint8_t expected = (&other == &flag && byte == 1) ? 1 : 0;
        EXPECT_EQ(read(other.get), expected) << other.name;
      }
    }
  }
}

// A record shorter than 267 + L, or answered under another sub command, is
// refused before anything is stored, with a single line from the handler.
TEST_F(MachineRecordTest, TruncatedRecordsAreRefusedWhole) {
  load(distinct_record());
  const std::string before = describe();
  MachineRecord other;
  other.text1 = "other";
  other.serial = "other-serial";
  other.value1 = 7;
  other.channel_name = "name5";
  const Bytes full = other.bytes();  // 272 bytes
  for (std::size_t length : {0, 1, 48, 89, 175, 193, 259, 260, 261, 266, 267, 271}) {
    SCOPED_TRACE(length);
    log.clear();
    device_answers(Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
    EXPECT_EQ(describe(), before);
    std::size_t lines = 0;
    for (const LogLine &line : log.lines())
      lines += line.function == "NetDevSetting::on_response_machine_status";
    EXPECT_EQ(lines, 1u);
    EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_machine_status",
                             "parse machine info failed"));
  }
  Bytes overlong = MachineRecord{}.bytes();  // a name length that runs past the payload
  overlong[MachineRecord::kNameLengthOffset] = 255;
  device_answers(overlong);
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  device_answers(full, 131);
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  EXPECT_EQ(describe(), before);
}

}  // namespace
}  // namespace qz::test
