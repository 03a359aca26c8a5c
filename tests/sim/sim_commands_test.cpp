// Byte-exact answers of the simulated device for every command family.
#include "sim_client.h"

namespace qz::sim::test {
namespace {

class SimCommands : public SimTest {};

TEST_F(SimCommands, AnswerFrameEchoesMainSubSeqWithPackageTypeOne) {
  auto c = connect();
  ASSERT_TRUE(c->connected());
  c->send(request(169, 128, 1, {1}));
  EXPECT_EQ(c->read_frame(),
            hex("51 5A 53 54 41 52 54 00 00 00 1C 01 A9 80 00 00 00 00 01 00 00 00 00 51 5A 45 4E 44"));
  c->send(request(173, 128, 0xA1B2C3D4));
  EXPECT_EQ(c->read_frame(),
            hex("51 5A 53 54 41 52 54 00 00 00 1C 01 AD 80 00 A1 B2 C3 D4 00 00 00 00 51 5A 45 4E 44"));
}

struct RoundTrip {
  const char *name;
  uint8_t main, set_sub;
  Bytes set_payload;
  uint8_t get_sub;
  Bytes get_request;
  Bytes expected;
};

const std::string kSn = "SN-0001";

std::vector<RoundTrip> round_trips() {
  const Bytes key = lp(kSn);
  const Bytes ip_block = concat({hex("01"), text_bytes("10.1.2.3"), Bytes(7, 0), text_bytes("255.255.0.0"),
                                 Bytes(4, 0), text_bytes("10.1.0.1"), Bytes(7, 0),
                                 text_bytes("123456789012345"), text_bytes("1.1.1.1"), Bytes(8, 0)});
  const Bytes gb = concat({hex("01"), lp("ab"), hex("00 01"), lp(""), lp("dev"), lp("pw")});
  return {
      {"ip_info", 169, 138, ip_block, 139, {}, ip_block},
      {"visual_ip", 169, 148, lp("10.0.0.9"), 149, {}, hex("00 00 00 08 31 30 2e 30 2e 30 2e 39")},
      {"visual_user", 169, 150, lp("op"), 151, {}, hex("00 00 00 02 6f 70")},
      {"visual_passwd_empty", 169, 152, lp(""), 153, {}, hex("00 00 00 00")},
      {"visual_zoom_raw", 169, 164, {2}, 165, {}, {2}},
      {"visual_gotopreset", 169, 174, {0}, 175, {}, {0}},
      {"mqtt_work", 169, 154, {1}, 155, {}, {1}},
      {"mqtt_ip", 169, 156, lp("broker"), 157, {}, concat({hex("00 00 00 06"), text_bytes("broker")})},
      {"mqtt_port", 169, 158, hex("00 00 03 70"), 159, {}, hex("00 00 03 70")},
      {"mqtt_user", 169, 160, lp("u"), 161, {}, hex("00 00 00 01 75")},
      {"mqtt_passwd_with_nul",
       169,
       162,
       lp(std::string_view("p\0q", 3)),
       163,
       {},
       hex("00 00 00 03 70 00 71")},
      {"temperature_correct_raw", 169, 166, {7}, 167, {}, {7}},
      {"watchdog", 169, 168, {0}, 169, {}, {0}},
      {"watchdog_disable", 169, 170, {1}, 171, {}, {1}},
      {"watchdog_disable_time", 169, 172, {200}, 173, {}, {200}},
      {"gb28181_enabled", 169, 176, gb, 177, {}, gb},
      {"gb28181_disabled", 169, 176, {0}, 177, {}, {0}},
      {"hikvision_linkage", 169, 178, {1}, 179, {}, {1}},
      {"vision_maxtemperature", 169, 180, {1}, 181, {}, {1}},
      {"all_temperature_nbo", 169, 182, {0}, 183, {}, {0}},
      {"pg_support", 169, 184, {1}, 185, {}, {1}},
      {"account_info", 48, 128, text_bytes("abc"), 129, {}, hex("00 00 00 03 61 62 63")},
      {"power_status", 49, 130, concat({key, hex("00 00 00 01 00 00 00 02 FF FF FF FF")}), 131, key,
       hex("00 00 00 01 00 00 00 02 FF FF FF FF")},
      {"domain", 49, 132, concat({key, lp("abc"), hex("00 00 00 07")}), 133, key,
       hex("00 00 00 03 61 62 63 00 00 00 07")},
  };
}

TEST_F(SimCommands, SetThenQueryRoundTripsEveryFamily) {
  sim_->update_state([](DeviceState &s) { s.device_sn = kSn; });
  auto c = connect();
  uint32_t seq = 1;
  for (const auto &t : round_trips()) {
    SCOPED_TRACE(t.name);
    const Answer set = c->exchange(t.main, t.set_sub, seq++, t.set_payload);
    ASSERT_TRUE(set.valid);
    EXPECT_EQ(set.code, 0);
    if (t.main == 48 || t.main == 49) {
      // Account and passive wireless writes are confirmed with the read's answer.
      EXPECT_EQ(set.sub, t.get_sub);
      EXPECT_EQ(set.payload, t.expected);
    } else {
      EXPECT_EQ(set.sub, t.set_sub);
      EXPECT_TRUE(set.payload.empty());
    }
    const Answer get = c->exchange(t.main, t.get_sub, seq, t.get_request);
    ASSERT_TRUE(get.valid);
    EXPECT_EQ(get.code, 0);
    EXPECT_EQ(get.seq, seq++);
    EXPECT_EQ(get.payload, t.expected);
    EXPECT_EQ(get.payload_length_field, t.expected.size());
  }
}

TEST_F(SimCommands, MachineRecordIsBuiltFromTheState) {
  sim_->update_state([](DeviceState &s) {
    s.machine_text1 = "0123456789abcdef";  // fills its field, no NUL
    s.device_sn = std::string(32, 'S');
    s.machine_value1 = 0x1234;
    s.default_palette = 0x80;
  });
  auto c = connect();
  // Settings of several families, then the record shows them.
  ASSERT_EQ(c->exchange(169, 147, 1, {30}).code, 0);                      // frame rate
  ASSERT_EQ(c->exchange(169, 128, 2, {0}).code, 0);                       // hdmi off
  ASSERT_EQ(c->exchange(169, 140, 3, {2}).code, 0);                       // lens method
  ASSERT_EQ(c->exchange(169, 133, 4, {3}).code, 0);                       // ps link count
  ASSERT_EQ(c->exchange(168, 139, 5, {0}).code, 0);                       // centre rectangle
  ASSERT_EQ(c->exchange(168, 128, 6, hex("01 02 01 02 03 04")).code, 0);  // OSD item 0
  ASSERT_EQ(c->exchange(168, 135, 7, hex("00 09 00 05 00 06")).code, 0);  // OSD item 5
  ASSERT_EQ(c->exchange(168, 141, 8, hex("01 0b 0b 0b 0c 0c")).code, 0);  // OSD item 11
  const Answer name = c->exchange(168, 138, 9, concat({hex("01 00 00 10 01 e0 03"), text_bytes("cam")}));
  ASSERT_EQ(name.code, 0);
  EXPECT_EQ(name.payload_length_field, 0u);

  const Answer rec = c->exchange(174, 130, 10);
  ASSERT_TRUE(rec.valid);
  ASSERT_EQ(rec.payload.size(), 267u + 3);
  const Bytes &p = rec.payload;
  EXPECT_EQ(Bytes(p.begin() + 1, p.begin() + 17), text_bytes("0123456789abcdef"));
  EXPECT_EQ(Bytes(p.begin() + 49, p.begin() + 81), Bytes(32, 'S'));
  EXPECT_EQ(p[85], 0x12);
  EXPECT_EQ(p[86], 0x34);
  EXPECT_EQ(p[98], 3);
  EXPECT_EQ(p[176], 2);
  EXPECT_EQ(p[179], 0x80);
  EXPECT_EQ(p[180], 0);
  EXPECT_EQ(p[187], 30);
  EXPECT_EQ(p[193], 0);
  EXPECT_EQ(Bytes(p.begin() + 194, p.begin() + 200), hex("00 09 00 05 00 06"));
  EXPECT_EQ(Bytes(p.begin() + 212, p.begin() + 218), hex("01 02 01 02 03 04"));
  EXPECT_EQ(Bytes(p.begin() + 254, p.begin() + 260), hex("01 00 00 10 01 e0"));
  EXPECT_EQ(p[260], 3);
  EXPECT_EQ(Bytes(p.begin() + 261, p.begin() + 264), text_bytes("cam"));
  EXPECT_EQ(Bytes(p.begin() + 264, p.end()), hex("01 0b 0b 0b 0c 0c"));

  // Restoring the OSD brings back the factory items and name.
  ASSERT_EQ(c->exchange(168, 140, 11).code, 0);
  const Answer restored = c->exchange(174, 130, 12);
  const DeviceState factory;
  ASSERT_EQ(restored.payload.size(), 267u + factory.channel_name.size());
  EXPECT_EQ(restored.payload[212], factory.osd_items[0].display);
  EXPECT_EQ(restored.payload[213], factory.osd_items[0].attribute);
}

TEST_F(SimCommands, IpSettingsWithFlagZeroKeepTheTexts) {
  auto c = connect();
  const DeviceState before = sim_->state();
  Bytes block(76, 0);
  ASSERT_EQ(c->exchange(169, 138, 1, block).code, 0);
  const DeviceState after = sim_->state();
  EXPECT_EQ(after.ip_info_flag, 0);
  EXPECT_EQ(after.ip_info_texts, before.ip_info_texts);
}

struct Refusal {
  const char *name;
  uint8_t main, sub;
  Bytes payload;
  uint8_t code;
};

TEST_F(SimCommands, RefusesBadRequestsAndKeepsTheState) {
  const Bytes wrong_key = lp("NOT-THE-SN");
  const std::vector<Refusal> cases = {
      {"switch value 2", 169, 128, {2}, 2},
      {"switch without payload", 169, 129, {}, 2},
      {"switch with two bytes", 169, 130, {1, 1}, 2},
      {"frame rate 0", 169, 147, {0}, 2},
      {"frame rate 61", 169, 147, {61}, 2},
      {"link count 17", 169, 133, {17}, 2},
      {"palette 16", 169, 135, {16}, 2},
      {"system time 19 bytes", 169, 136, Bytes(19, 1), 2},
      {"ip block 75 bytes", 169, 138, Bytes(75, 0), 2},
      {"ip flag 2", 169, 138, concat({{2}, Bytes(75, 0)}), 2},
      {"query with payload", 169, 139, {0}, 2},
      {"mqtt port 0", 169, 158, hex("00 00 00 00"), 2},
      {"mqtt port 65536", 169, 158, hex("00 01 00 00"), 2},
      {"mqtt port 3 bytes", 169, 158, hex("00 03 70"), 2},
      {"text count past payload", 169, 156, hex("00 00 00 05 61 62 63"), 2},
      {"text too long", 169, 156, lp(std::string(65, 'x')), 2},
      {"text with trailing byte", 169, 150, concat({lp("ab"), {0}}), 2},
      {"visual sn missing", 169, 143, hex("01 00 00 00 00 00"), 2},
      {"visual sn count huge", 169, 143, hex("00 01 FF FF FF FF 41"), 2},
      {"gb28181 text of 64", 169, 176,
       concat({{1}, lp(std::string(64, 'a')), hex("13 c4"), lp(""), lp(""), lp("")}), 2},
      {"gb28181 port 0", 169, 176, concat({{1}, lp(""), hex("00 00"), lp(""), lp(""), lp("")}), 2},
      {"gb28181 disabled with more", 169, 176, {0, 0}, 2},
      {"osd display 2", 168, 128, hex("02 00 00 00 00 00"), 2},
      {"osd 5 bytes", 168, 133, hex("01 00 00 00 00"), 2},
      {"channel name count past payload", 168, 138, concat({hex("01 00 00 00 00 00 05"), text_bytes("abc")}),
       2},
      {"wrong serial key", 49, 131, wrong_key, 2},
      {"power status short", 49, 130, concat({lp("QZT6402403180017"), hex("00 00 00 01")}), 2},
      {"account info too long", 48, 128, Bytes(4097, 1), 2},
      {"reboot with payload", 164, 142, {1}, 2},
      {"sub 137 is not a command", 169, 137, {}, 1},
      {"sub 186", 169, 186, {}, 1},
      {"unknown main", 170, 128, {}, 1},
      {"machine status sub 131", 174, 131, {}, 1},
      {"control sub 141", 164, 141, {}, 1},
      {"osd sub 142", 168, 142, {}, 1},
      {"account sub 130", 48, 130, {}, 1},
      {"passive wireless sub 134", 49, 134, {}, 1},
  };
  auto c = connect();
  const DeviceState before = sim_->state();
  uint32_t seq = 1;
  for (const auto &r : cases) {
    SCOPED_TRACE(r.name);
    const Answer a = c->exchange(r.main, r.sub, seq, r.payload);
    ASSERT_TRUE(a.valid);
    EXPECT_EQ(a.code, r.code);
    EXPECT_EQ(a.seq, seq++);
    EXPECT_TRUE(a.payload.empty());
  }
  EXPECT_TRUE(sim_->state() == before);
}

TEST_F(SimCommands, LenientModeStoresOddValuesButStillChecksLengths) {
  auto c = connect();
  EXPECT_EQ(c->exchange(169, 178, 1, {3}).code, 2);
  sim_->set_strict(false);
  EXPECT_EQ(c->exchange(169, 178, 2, {3}).code, 0);
  EXPECT_EQ(c->exchange(169, 179, 3).payload, Bytes{3});
  EXPECT_EQ(c->exchange(169, 135, 4, {0xFF}).code, 0);
  EXPECT_EQ(c->exchange(174, 130, 5).payload.at(179), 0xFF);
  EXPECT_EQ(c->exchange(169, 128, 6, {}).code, 2);
  EXPECT_EQ(c->exchange(169, 158, 7, hex("00 00 00")).code, 2);
}

TEST_F(SimCommands, MalformedFramesAreAnsweredWithNonZeroCodes) {
  auto c = connect();
  Bytes wrong_type = request(169, 128, 1, {0});
  wrong_type[wire::kOffPackageType] = 1;
  Bytes wrong_length_field = request(169, 128, 2, {0});
  wrong_length_field[wire::kOffPayloadLength + 3] = 2;
  Bytes broken_trailer = request(169, 128, 3, {0});
  broken_trailer.back() = 'X';
  c->send(concat({wrong_type, wrong_length_field, broken_trailer}));
  for (uint8_t expected : {1, 2, 2}) {
    const Answer a = parse_answer(c->read_frame());
    ASSERT_TRUE(a.valid);
    EXPECT_EQ(a.code, expected);
    EXPECT_EQ(a.main, 169);
    EXPECT_EQ(a.sub, 128);
  }
  EXPECT_EQ(sim_->state().hdmi_enabled, DeviceState{}.hdmi_enabled);
}

}  // namespace
}  // namespace qz::sim::test
