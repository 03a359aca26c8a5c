// Identity, account, passive wireless, linked camera, MQTT and GB/T 28181
// exports against the simulated device over loopback TCP: each value is set
// through the library, checked in the device's state and read back.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "sim_session.h"

namespace qz::test {
namespace {

using sim::DeviceState;

using SimIdentityE2E = SimTest;
using SimLinkE2E = SimTest;

// ---- Identity -------------------------------------------------------------------

TEST_F(SimIdentityE2E, RecordFillsMachineInfoAndSerialNumber) {
  const std::string sn32(32, 'S');  // fills its field: no terminator on the wire
  sim.update_state([&](DeviceState &s) {
    s.machine_text1 = "QZ-T1280";
    s.machine_text2 = "V9.9.9";
    s.machine_text3 = "exactly-16-bytes";
    s.device_sn = sn32;
    s.machine_value1 = 1280;
    s.machine_value2 = 1024;
  });
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));

  uint16_t v1 = 0, v2 = 0;
  char sn[32], t1[32], t2[32], t3[32];
  ASSERT_TRUE(qz_nds_get_machine_info(client.handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(v1, 1280);
  EXPECT_EQ(v2, 1024);
  EXPECT_EQ(std::string(sn, 32), sn32);
  EXPECT_STREQ(t1, "QZ-T1280");
  EXPECT_STREQ(t2, "V9.9.9");
  EXPECT_STREQ(t3, "exactly-16-bytes");

  char serial[32];
  uint32_t len = 0;
  ASSERT_TRUE(qz_nds_get_sn(client.handle, serial, &len));
  EXPECT_EQ(std::string(serial, len), sn32);
}

TEST_F(SimIdentityE2E, IpSettingsRoundTrip) {
  using Texts = std::array<std::array<char, 16>, 5>;
  auto read_ip = [&](uint8_t &flag, Texts &texts) {
    texts = {};
    return qz_nds_get_ip_info(client.handle, &flag, texts[0].data(), texts[1].data(), texts[2].data(),
                              texts[3].data(), texts[4].data());
  };
  ASSERT_TRUE(qz_nds_set_ip_info(client.handle, 1, "10.20.30.40", "255.255.0.0", "10.20.0.1", "1.1.1.1",
                                 "123456789012345"));
  const std::array<std::string, 5> sent = {"10.20.30.40", "255.255.0.0", "10.20.0.1", "1.1.1.1",
                                           "123456789012345"};
  EXPECT_EQ(sim.state().ip_info_flag, 1);
  EXPECT_EQ(sim.state().ip_info_texts, sent);

  sim.update_state([](DeviceState &s) { s.ip_info_texts[4] = "9.9.9.9"; });
  uint8_t flag = 0;
  Texts texts;
  ASSERT_TRUE(read_ip(flag, texts));  // asks the device
  EXPECT_EQ(flag, 1);
  EXPECT_STREQ(texts[0].data(), "10.20.30.40");
  EXPECT_STREQ(texts[4].data(), "9.9.9.9");

  // Dynamic addressing: only the flag travels; the device keeps its texts.
  ASSERT_TRUE(qz_nds_set_ip_info(client.handle, 0, "1.2.3.4", nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(sim.state().ip_info_flag, 0);
  EXPECT_EQ(sim.state().ip_info_texts[0], "10.20.30.40");
  ASSERT_TRUE(read_ip(flag, texts));
  EXPECT_EQ(flag, 0);
  EXPECT_STREQ(texts[0].data(), "10.20.30.40");
}

TEST_F(SimIdentityE2E, AccountInfoIsStoredAndReadWithASizeQuery) {
  const std::vector<uint8_t> info = {'a', 'c', 'c', 0, 1, 2, 0xFF, 'z'};
  // The device confirms the write with the read's answer (sub 129).
  EXPECT_TRUE(qz_nds_set_account_info(client.handle, info.data(), static_cast<uint32_t>(info.size())));
  EXPECT_EQ(sim.state().account_info, info);

  uint32_t len = 0;
  EXPECT_FALSE(qz_nds_get_account_info(client.handle, nullptr, &len));
  ASSERT_EQ(len, info.size());
  std::vector<uint8_t> out(len + 4, 0xEE);
  len = static_cast<uint32_t>(out.size());
  ASSERT_TRUE(qz_nds_get_account_info(client.handle, out.data(), &len));
  ASSERT_EQ(len, info.size());
  EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + len), info);
  EXPECT_EQ(out[len], 0xEE);
}

TEST_F(SimIdentityE2E, PassiveWirelessNeedsTheRecordsSerialKey) {
  uint32_t a = 0, b = 0, c = 0;
  // No record read yet: the empty serial key is refused by the device.
  EXPECT_FALSE(qz_nds_get_passive_wireless_power_status(client.handle, &a, &b, &c));
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));

  const uint32_t s1 = 5, s2 = 0x01020304, s3 = 0xFFFFFFFF;
  // Writes are confirmed with the read's answer (subs 131 and 133).
  EXPECT_TRUE(qz_nds_set_passive_wireless_power_status(client.handle, &s1, &s2, &s3));
  EXPECT_EQ(sim.state().passive_wireless_power_status2, s2);
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(client.handle, &a, &b, &c));
  EXPECT_EQ(a, s1);
  EXPECT_EQ(b, s2);
  EXPECT_EQ(c, s3);

  EXPECT_TRUE(qz_nds_set_passive_wireless_domain(client.handle, "pw.example.net", 9));
  EXPECT_EQ(sim.state().passive_wireless_domain, "pw.example.net");
  EXPECT_EQ(sim.state().passive_wireless_domain_value, 9u);
  char domain[128];
  uint32_t value = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_domain(client.handle, domain, &value));
  EXPECT_STREQ(domain, "pw.example.net");
  EXPECT_EQ(value, 9u);
}

// ---- Linked visual camera and MQTT texts ------------------------------------------

struct TextCase {
  const char *name;
  bool (*set)(qz_nds_handle, const char *);
  bool (*get)(qz_nds_handle, char *, uint32_t *);
  std::string DeviceState::*field;
  const char *value;
};

const TextCase kTexts[] = {
    {"visual_ip", qz_nds_set_visual_ip, qz_nds_get_visual_ip, &DeviceState::visual_ip, "172.16.0.9"},
    {"visual_user", qz_nds_set_visual_user, qz_nds_get_visual_user, &DeviceState::visual_user, "operator"},
    {"visual_passwd", qz_nds_set_visual_passwd, qz_nds_get_visual_passwd, &DeviceState::visual_passwd, ""},
    {"mqtt_ip", qz_nds_set_mqtt_ip, qz_nds_get_mqtt_ip, &DeviceState::mqtt_ip, "broker.local"},
    {"mqtt_user", qz_nds_set_mqtt_user, qz_nds_get_mqtt_user, &DeviceState::mqtt_user, "cam-17"},
    {"mqtt_passwd", qz_nds_set_mqtt_passwd, qz_nds_get_mqtt_passwd, &DeviceState::mqtt_passwd,
     "0123456789012345678901234567890123456789012345678901234567890123"},  // 64, the device's longest
};

TEST_F(SimLinkE2E, EveryTextReachesTheDeviceAndComesBack) {
  for (const TextCase &c : kTexts) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(c.set(client.handle, c.value));
    EXPECT_EQ(sim.state().*c.field, c.value);
    char text[80];
    std::memset(text, 0xEE, sizeof text);
    uint32_t len = 999;
    ASSERT_TRUE(c.get(client.handle, text, &len));
    EXPECT_EQ(std::string(text, len), c.value);
    EXPECT_EQ(static_cast<uint8_t>(text[len]), 0xEE);  // no terminator added

    // The getter asks the device every time, NUL bytes included.
    const std::string odd("a\0b", 3);
    sim.update_state([&](DeviceState &s) { s.*c.field = odd; });
    ASSERT_TRUE(c.get(client.handle, text, &len));
    EXPECT_EQ(std::string(text, len), odd);
  }
}

TEST_F(SimLinkE2E, VisualSerialNumberAndItsFlags) {
  ASSERT_TRUE(qz_nds_set_visual_sn(client.handle, 1, 0, "VS-0042", 7));
  EXPECT_EQ(sim.state().visual_sn, "VS-0042");
  EXPECT_EQ(sim.state().visual_support, 1);
  EXPECT_EQ(sim.state().visual_same_ip, 0);

  // A camera on an address of its own without a serial number is refused
  // before anything is sent.
  const uint64_t requests = sim.stats().requests;
  EXPECT_FALSE(qz_nds_set_visual_sn(client.handle, 1, 0, nullptr, 0));
  EXPECT_EQ(sim.stats().requests, requests);

  ASSERT_TRUE(qz_nds_set_visual_sn(client.handle, 5, 7, nullptr, 0));  // flags travel as 0/1
  EXPECT_EQ(sim.state().visual_sn, "");
  EXPECT_EQ(sim.state().visual_support, 1);
  EXPECT_EQ(sim.state().visual_same_ip, 1);
}

TEST_F(SimLinkE2E, MqttPortRoundTrip) {
  ASSERT_TRUE(qz_nds_set_mqtt_port(client.handle, 8883));
  EXPECT_EQ(sim.state().mqtt_port, 8883u);
  uint32_t port = 0;
  ASSERT_TRUE(qz_nds_get_mqtt_port(client.handle, &port));
  EXPECT_EQ(port, 8883u);
  // Refused by the device: still true, and the device keeps its port.
  EXPECT_TRUE(qz_nds_set_mqtt_port(client.handle, 70000));
  EXPECT_EQ(sim.state().mqtt_port, 8883u);
}

// ---- GB/T 28181 -------------------------------------------------------------------

struct Gb28181 {
  uint8_t enable = 0xEE;
  std::array<char, 64> t1{}, t2{}, t3{}, t4{};
  uint16_t port = 0;
};

bool read_gb28181(qz_nds_handle h, Gb28181 &g) {
  return qz_nds_28181_get_para(h, &g.enable, g.t1.data(), &g.port, g.t2.data(), g.t3.data(), g.t4.data());
}

TEST_F(SimLinkE2E, Gb28181RecordRoundTripAndDisabledAnswer) {
  const std::string id63(63, '7');
  ASSERT_TRUE(qz_nds_28181_set_para(client.handle, 1, "34020000002000000099", 5061, "3402009999",
                                    id63.c_str(), "pw"));
  const DeviceState s = sim.state();
  EXPECT_EQ(s.gb28181_enable, 1);
  EXPECT_EQ(s.gb28181_text1, "34020000002000000099");
  EXPECT_EQ(s.gb28181_port, 5061);
  EXPECT_EQ(s.gb28181_text3, id63);
  EXPECT_EQ(s.gb28181_text4, "pw");

  Gb28181 g;
  ASSERT_TRUE(read_gb28181(client.handle, g));
  EXPECT_EQ(g.enable, 1);
  EXPECT_STREQ(g.t1.data(), "34020000002000000099");
  EXPECT_EQ(g.port, 5061);
  EXPECT_STREQ(g.t2.data(), "3402009999");
  EXPECT_EQ(std::string(g.t3.data()), id63);
  EXPECT_STREQ(g.t4.data(), "pw");

  // Disabled: the device answers one byte; the session keeps the last texts.
  ASSERT_TRUE(qz_nds_28181_set_para(client.handle, 0, "", 0, "", "", ""));
  EXPECT_EQ(sim.state().gb28181_enable, 0);
  EXPECT_EQ(sim.state().gb28181_text1, "34020000002000000099");
  Gb28181 off;
  ASSERT_TRUE(read_gb28181(client.handle, off));
  EXPECT_EQ(off.enable, 0);
  EXPECT_STREQ(off.t1.data(), "34020000002000000099");
  EXPECT_EQ(off.port, 5061);
}

// ---- Connection-bound settings -------------------------------------------------------

TEST_F(SimIdentityE2E, DisconnectForgetsTheConnectionBoundSettingsOnly) {
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));
  ASSERT_TRUE(qz_nds_enable_radar(client.handle));
  ASSERT_TRUE(qz_nds_disconnect(client.handle));
  EXPECT_TRUE(qz_nds_disconnect(client.handle));  // not connected: still true
  EXPECT_TRUE(log.contains(4, "NetDevSetting::disconnect", "device is not connected"));

  uint8_t hdmi = 9, radar = 9;
  ASSERT_TRUE(qz_nds_is_enabled_hdmi(client.handle, &hdmi));
  ASSERT_TRUE(qz_nds_is_enabled_radar(client.handle, &radar));
  EXPECT_EQ(hdmi, 0);  // the device has it on; the session forgot it
  EXPECT_EQ(radar, 1);
  char sn[32];
  uint32_t len = 0;
  ASSERT_TRUE(qz_nds_get_sn(client.handle, sn, &len));
  EXPECT_EQ(std::string(sn, len), sim.state().device_sn);
  EXPECT_FALSE(qz_nds_get_machine_config_info(client.handle));

  ASSERT_TRUE(connect(client));
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));
  ASSERT_TRUE(qz_nds_is_enabled_hdmi(client.handle, &hdmi));
  EXPECT_EQ(hdmi, 1);
}

}  // namespace
}  // namespace qz::test
