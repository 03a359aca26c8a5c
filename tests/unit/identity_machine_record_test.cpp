// The machine configuration record: parsing into the cache, the getters that
// answer from it, refusal of short records, and what a disconnect resets.
#include <array>
#include <cstring>
#include <sstream>
#include <string>

#include "machine_record.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::DeviceStateCache;

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
  m.detect_sun = 1;
  m.len_adjust_method = 0xFE;
  m.len_pos = 1;
  m.rotate180 = 1;
  m.default_palette = 0x85;
  m.hdmi = 1;
  m.onvif = 1;
  m.visual_link_count = 5;
  m.ptz_link_count = 6;
  m.radar = 1;
  m.auto_change_meas = 1;
  m.auto_focus = 1;
  m.framerate = 25;
  m.unread188 = {0xD1, 0xD2, 0xD3, 0xD4, 0xD5};
  m.center_rectangle = 1;
  for (int id = 0; id < 12; ++id) {
    m.osd_items[id] = {static_cast<uint8_t>(id % 2), static_cast<uint8_t>(0x40 + id),
                       static_cast<uint16_t>(0x1000 + id), static_cast<uint16_t>(0x2000 + id)};
  }
  m.channel_name = "gate-cam";
  return m;
}

// Every member a record fills, in one comparable text.
std::string describe(nds::NetDevSetting &s) {
  const DeviceStateCache &c = s.cache;
  std::ostringstream o;
  o << s.machine_value1 << '|' << s.machine_value2 << '|' << c.machine_text1 << '|' << c.machine_text2 << '|'
    << c.machine_text3 << '|' << c.device_sn << '|' << c.ip_info_text1 << '|' << c.ip_info_text2 << '|'
    << c.ip_info_text3 << '|' << c.ip_info_text4 << '|' << c.ip_info_text5 << '|' << c.channel_name << '|';
  for (const nds::OsdItem &i : c.osd_items)
    o << +i.display << ',' << +i.attribute << ',' << i.value1 << ',' << i.value2 << ';';
  for (int v : {+c.hdmi_enabled, +c.onvif_enabled, +c.rotate180_enabled, +c.center_rectangle_displayed,
                +c.ip_info_flag, c.default_palette, +c.ps_link_count, +c.ad_link_count, +c.visual_link_count,
                +c.ptz_link_count, +c.framerate, c.len_adjust_method, +c.len_pos_enabled,
                +c.detect_sun_enabled, +c.radar_enabled, +c.auto_change_meas_enabled, +c.auto_focus_enabled})
    o << v << ',';
  return o.str();
}

class MachineRecordTest : public SessionTest {
 protected:
  // The device answers main 174 with `payload` (under `sub`), and refuses
  // everything else at once.
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
  std::size_t lines_from(const std::string &function) {
    std::size_t n = 0;
    for (const LogLine &line : log.lines()) n += line.function == function;
    return n;
  }
};

// The builder itself, against the record's documented offsets, so that the
// parser tests below do not rest on a shared mistake.
TEST_F(MachineRecordTest, BuilderPutsFieldsAtTheirOffsets) {
  MachineRecord m = distinct_record();
  Bytes b = m.bytes();
  ASSERT_EQ(b.size(), 267u + 8u);
  EXPECT_EQ(b[0], 0xA1);
  EXPECT_EQ(std::string(b.begin() + 1, b.begin() + 10), "ident-one");
  EXPECT_EQ(b[10], 0);
  EXPECT_EQ(std::string(b.begin() + 49, b.begin() + 81), kSerial32);
  EXPECT_EQ(b[85], 0x12);
  EXPECT_EQ(b[88], 0xEF);
  EXPECT_EQ(b[97], 3);
  EXPECT_EQ(b[99], 1);
  EXPECT_EQ(std::string(b.begin() + 160, b.begin() + 175), "123456789012345");
  EXPECT_EQ(b[176], 0xFE);
  EXPECT_EQ(b[187], 25);
  EXPECT_EQ(b[193], 1);
  EXPECT_EQ(b[195], 0x45);  // item 5 first
  EXPECT_EQ(b[213], 0x40);  // item 0 fourth
  EXPECT_EQ(b[255], 0x48);  // item 8 last before the name
  EXPECT_EQ(b[260], 8);
  EXPECT_EQ(std::string(b.begin() + 261, b.begin() + 269), "gate-cam");
  EXPECT_EQ(b[270], 0x4B);  // item 11 after the name
}

TEST_F(MachineRecordTest, FillsEveryMemberOfTheCache) {
  load(distinct_record());
  const DeviceStateCache &c = cache();
  EXPECT_EQ(session().machine_value1, 0x1234);
  EXPECT_EQ(session().machine_value2, 0xBEEF);
  EXPECT_EQ(c.machine_text1, "ident-one");
  EXPECT_EQ(c.machine_text2, "ident-two-16byte");
  EXPECT_EQ(c.machine_text3, "id3");
  EXPECT_EQ(c.device_sn, kSerial32);
  EXPECT_EQ(c.ad_link_count, 3);
  EXPECT_EQ(c.ps_link_count, 4);
  EXPECT_EQ(c.visual_link_count, 5);
  EXPECT_EQ(c.ptz_link_count, 6);
  EXPECT_EQ(c.framerate, 25);
  EXPECT_EQ(c.ip_info_flag, 1);
  EXPECT_EQ(c.ip_info_text1, "192.168.1.10");
  EXPECT_EQ(c.ip_info_text2, "255.255.255.0");
  EXPECT_EQ(c.ip_info_text3, "192.168.1.1");
  EXPECT_EQ(c.ip_info_text4, "8.8.8.8");
  EXPECT_EQ(c.ip_info_text5, "123456789012345");
  EXPECT_EQ(c.len_adjust_method, -2);
  EXPECT_EQ(c.default_palette, -123);
  EXPECT_EQ(c.channel_name, "gate-cam");
  for (int id = 0; id < 12; ++id) {
    SCOPED_TRACE(id);
    EXPECT_EQ(c.osd_items[id].display, id % 2);
    EXPECT_EQ(c.osd_items[id].attribute, 0x40 + id);
    EXPECT_EQ(c.osd_items[id].value1, 0x1000 + id);
    EXPECT_EQ(c.osd_items[id].value2, 0x2000 + id);
  }
}

TEST_F(MachineRecordTest, GettersAnswerFromTheRecord) {
  load(distinct_record());
  uint16_t v1 = 0, v2 = 0;
  char sn[40], t1[32], t2[32], t3[32];
  std::memset(sn, 0xEE, sizeof sn);
  ASSERT_TRUE(qz_nds_get_machine_info(handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(v1, 0x1234);
  EXPECT_EQ(v2, 0xBEEF);
  EXPECT_EQ(std::string(sn, 32), kSerial32);  // 32 bytes, no terminator
  EXPECT_EQ(std::string(sn + 32, 8), std::string(8, '\xEE'));
  EXPECT_EQ(std::string(t1, 32), std::string("ident-one") + std::string(23, '\0'));
  EXPECT_EQ(std::string(t2, 32), std::string("ident-two-16byte") + std::string(16, '\0'));
  EXPECT_EQ(std::string(t3, 32), std::string("id3") + std::string(29, '\0'));

  char serial[40];
  uint32_t len = 0;
  std::memset(serial, 0xEE, sizeof serial);
  ASSERT_TRUE(qz_nds_get_sn(handle, serial, &len));
  EXPECT_EQ(len, 32u);
  EXPECT_EQ(std::string(serial, 32), kSerial32);
  EXPECT_EQ(serial[32], '\xEE');

  // The IP query is refused by the device, so the record's values come back.
  uint8_t flag = 0;
  std::array<std::array<char, 16>, 5> ip{};
  ASSERT_TRUE(qz_nds_get_ip_info(handle, &flag, ip[0].data(), ip[1].data(), ip[2].data(), ip[3].data(),
                                 ip[4].data()));
  EXPECT_EQ(flag, 1);
  EXPECT_STREQ(ip[0].data(), "192.168.1.10");
  EXPECT_STREQ(ip[3].data(), "8.8.8.8");
  EXPECT_STREQ(ip[4].data(), "123456789012345");
}

// Raw bytes at the documented offsets, independent of the builder's order.
TEST_F(MachineRecordTest, OsdItemsComeFromTheirOffsets) {
  Bytes b(267, 0);
  const uint8_t item5[] = {1, 0x55, 0x05, 0x06, 0x07, 0x08};
  const uint8_t item0[] = {1, 0x11, 0x01, 0x02, 0x03, 0x04};
  const uint8_t item8[] = {2, 0x88, 0x80, 0x81, 0x82, 0x83};
  const uint8_t item11[] = {1, 0xBB, 0xB0, 0xB1, 0xB2, 0xB3};
  std::memcpy(&b[194], item5, 6);
  std::memcpy(&b[212], item0, 6);
  std::memcpy(&b[254], item8, 6);
  std::memcpy(&b[261], item11, 6);
  device_answers(b);
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  const auto &items = cache().osd_items;
  EXPECT_EQ(items[5].attribute, 0x55);
  EXPECT_EQ(items[5].value1, 0x0506);
  EXPECT_EQ(items[5].value2, 0x0708);
  EXPECT_EQ(items[0].display, 1);
  EXPECT_EQ(items[0].value1, 0x0102);
  EXPECT_EQ(items[8].display, 0);  // display byte 2 is not set
  EXPECT_EQ(items[8].value2, 0x8283);
  EXPECT_EQ(items[11].attribute, 0xBB);
  EXPECT_EQ(items[11].value2, 0xB2B3);
  EXPECT_EQ(cache().channel_name, "");
}

TEST_F(MachineRecordTest, ChannelNameStopsAtNulAndItem11FollowsAllLBytes) {
  MachineRecord m;
  m.channel_name = std::string("ab\0cd", 5);
  m.osd_items[11] = {1, 0x77, 0x1111, 0x2222};
  Bytes b = m.bytes();
  ASSERT_EQ(b.size(), 272u);
  device_answers(b);
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  EXPECT_EQ(cache().channel_name, "ab");
  EXPECT_EQ(cache().osd_items[11].attribute, 0x77);
  EXPECT_EQ(cache().osd_items[11].value2, 0x2222);
}

TEST_F(MachineRecordTest, LongestChannelName) {
  MachineRecord m;
  m.channel_name = std::string(255, 'n');
  m.osd_items[11] = {1, 0x99, 1, 2};
  ASSERT_EQ(m.bytes().size(), 522u);
  load(m);
  EXPECT_EQ(cache().channel_name, std::string(255, 'n'));
  EXPECT_EQ(cache().osd_items[11].attribute, 0x99);
}

struct SignCase {
  uint8_t byte;
  int32_t value;
};

TEST_F(MachineRecordTest, LensMethodAndPaletteAreSignExtended) {
  for (SignCase sc : {SignCase{0xFF, -1}, SignCase{0x80, -128}, SignCase{0x7F, 127}, SignCase{0, 0}}) {
    SCOPED_TRACE(+sc.byte);
    MachineRecord m;
    m.len_adjust_method = sc.byte;
    m.default_palette = sc.byte;
    load(m);
    EXPECT_EQ(cache().len_adjust_method, sc.value);
    EXPECT_EQ(cache().default_palette, sc.value);
  }
}

struct FlagField {
  const char *name;
  uint8_t MachineRecord::*wire;
  uint8_t DeviceStateCache::*member;
};

const FlagField kFlags[] = {
    {"ip_flag", &MachineRecord::ip_flag, &DeviceStateCache::ip_info_flag},
    {"detect_sun", &MachineRecord::detect_sun, &DeviceStateCache::detect_sun_enabled},
    {"len_pos", &MachineRecord::len_pos, &DeviceStateCache::len_pos_enabled},
    {"rotate180", &MachineRecord::rotate180, &DeviceStateCache::rotate180_enabled},
    {"hdmi", &MachineRecord::hdmi, &DeviceStateCache::hdmi_enabled},
    {"onvif", &MachineRecord::onvif, &DeviceStateCache::onvif_enabled},
    {"radar", &MachineRecord::radar, &DeviceStateCache::radar_enabled},
    {"auto_change_meas", &MachineRecord::auto_change_meas, &DeviceStateCache::auto_change_meas_enabled},
    {"auto_focus", &MachineRecord::auto_focus, &DeviceStateCache::auto_focus_enabled},
    {"center_rectangle", &MachineRecord::center_rectangle, &DeviceStateCache::center_rectangle_displayed},
};

// Each flag on its own: only the byte 1 sets it, and it lands in its own
// member and no other.
TEST_F(MachineRecordTest, FlagsAreSetOnlyByTheByteOne) {
  for (const FlagField &flag : kFlags) {
    for (uint8_t byte : {uint8_t{1}, uint8_t{2}, uint8_t{0xFF}, uint8_t{0}}) {
      SCOPED_TRACE(std::string(flag.name) + " byte " + std::to_string(byte));
      MachineRecord m;
      m.*flag.wire = byte;
      load(m);
      for (const FlagField &other : kFlags) {
        const uint8_t expected = (&other == &flag && byte == 1) ? 1 : 0;
        EXPECT_EQ(cache().*other.member, expected) << other.name;
      }
    }
  }
}

TEST_F(MachineRecordTest, UnreadBytesChangeNothing) {
  MachineRecord m = distinct_record();
  load(m);
  const std::string first = describe(session());
  m.unread0 = 0x00;
  m.unread81 = {0xFF, 0xFF, 0xFF, 0xFF};
  m.unread89 = {};
  m.unread188 = {1, 1, 1, 1, 1};
  load(m);
  EXPECT_EQ(describe(session()), first);
}

TEST_F(MachineRecordTest, EveryRecordReplacesEveryMember) {
  load(distinct_record());
  MachineRecord empty;
  load(empty);
  EXPECT_EQ(cache().device_sn, "");
  EXPECT_EQ(cache().channel_name, "");
  EXPECT_EQ(cache().ip_info_text5, "");
  EXPECT_EQ(cache().osd_items[7].value1, 0);
  EXPECT_EQ(cache().radar_enabled, 0);
  EXPECT_EQ(cache().len_adjust_method, 0);
}

// A record shorter than 267 + L is refused before anything is stored, with
// a single line from the handler.
TEST_F(MachineRecordTest, TruncatedRecordsAreRefusedWhole) {
  load(distinct_record());
  const std::string before = describe(session());
  MachineRecord other;
  other.text1 = "other";
  other.serial = "other-serial";
  other.value1 = 7;
  other.hdmi = 0;
  other.channel_name = "name5";
  const Bytes full = other.bytes();  // 272 bytes
  for (std::size_t length : {0, 1, 48, 88, 89, 175, 193, 259, 260, 261, 266, 267, 271}) {
    SCOPED_TRACE(length);
    log.clear();
    device_answers(Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
    EXPECT_EQ(describe(session()), before);
    EXPECT_EQ(lines_from("NetDevSetting::on_response_machine_status"), 1u);
    EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_machine_status",
                             "parse machine info failed"));
  }
  // A name length that runs past the payload.
  Bytes overlong = MachineRecord{}.bytes();
  overlong[MachineRecord::kNameLengthOffset] = 255;
  device_answers(overlong);
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  EXPECT_EQ(describe(session()), before);
}

TEST_F(MachineRecordTest, TrailingBytesAfterTheRecordAreIgnored) {
  Bytes b = distinct_record().bytes();
  b.insert(b.end(), 10, 0x5A);
  device_answers(b);
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  EXPECT_EQ(cache().channel_name, "gate-cam");
  EXPECT_EQ(cache().osd_items[11].attribute, 0x4B);
}

TEST_F(MachineRecordTest, OtherSubCommandIsRefused) {
  load(distinct_record());
  const std::string before = describe(session());
  log.clear();
  device_answers(MachineRecord{}.bytes(), 131);
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_machine_status",
                           "QZ_MACHINE_STATUS's vicd cmd = 131 is not supported"));
  EXPECT_EQ(describe(session()), before);
}

TEST_F(MachineRecordTest, NewSessionAnswersWithConstructionValues) {
  uint16_t v1 = 9, v2 = 9;
  char sn[32], t1[32], t2[32], t3[32];
  for (char *b : {sn, t1, t2, t3}) std::memset(b, 0xEE, 32);
  ASSERT_TRUE(qz_nds_get_machine_info(handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(v1, 0);
  EXPECT_EQ(v2, 0);
  for (char *b : {sn, t1, t2, t3}) EXPECT_EQ(std::string(b, 32), std::string(32, '\0'));
  EXPECT_TRUE(qz_nds_get_machine_info(handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));

  char serial[4] = {'x', 'x', 'x', 'x'};
  uint32_t len = 99;
  ASSERT_TRUE(qz_nds_get_sn(handle, serial, &len));
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(serial[0], 'x');
  EXPECT_FALSE(qz_nds_get_sn(handle, nullptr, &len));
  EXPECT_FALSE(qz_nds_get_sn(handle, serial, nullptr));
  EXPECT_TRUE(net.sent().empty());
}

TEST_F(MachineRecordTest, DisconnectResetsOnlyTheConnectionBoundMembers) {
  load(distinct_record());
  ASSERT_TRUE(qz_nds_disconnect(handle));
  const DeviceStateCache &c = cache();
  EXPECT_EQ(session().machine_value1, 0);
  EXPECT_EQ(session().machine_value2, 0);
  for (uint8_t v : {c.hdmi_enabled, c.onvif_enabled, c.rotate180_enabled, c.center_rectangle_displayed,
                    c.ip_info_flag, c.ps_link_count, c.ad_link_count, c.visual_link_count, c.ptz_link_count,
                    c.framerate, c.len_pos_enabled, c.detect_sun_enabled})
    EXPECT_EQ(v, 0);
  EXPECT_EQ(c.default_palette, 0);
  EXPECT_EQ(c.len_adjust_method, -1);
  // Kept: texts, OSD items and the last three feature flags.
  EXPECT_EQ(c.machine_text1, "ident-one");
  EXPECT_EQ(c.device_sn, kSerial32);
  EXPECT_EQ(c.ip_info_text1, "192.168.1.10");
  EXPECT_EQ(c.channel_name, "gate-cam");
  EXPECT_EQ(c.osd_items[4].value1, 0x1004);
  EXPECT_EQ(c.radar_enabled, 1);
  EXPECT_EQ(c.auto_change_meas_enabled, 1);
  EXPECT_EQ(c.auto_focus_enabled, 1);
  char sn[32];
  uint16_t v1 = 1;
  ASSERT_TRUE(qz_nds_get_machine_info(handle, &v1, nullptr, sn, nullptr, nullptr, nullptr));
  EXPECT_EQ(v1, 0);
  EXPECT_EQ(std::string(sn, 32), kSerial32);
}

}  // namespace
}  // namespace qz::test
