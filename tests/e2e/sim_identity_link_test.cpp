// Identity, IP, account, passive wireless, linked camera, MQTT and GB/T 28181
// exports against the simulated device: each value set through the library,
// checked in the device's state and read back.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "export_cases.h"
#include "sim_session.h"

namespace qz::test {
namespace {

using sim::DeviceState;

using SimIdentityE2E = SimTest;

TEST_F(SimIdentityE2E, RecordFillsMachineInfoAndSerialNumber) {
  const std::string sn32(32, 'S');  // fills its field: no terminator on the wire
  sim.update_state([&](DeviceState &s) {
    s.machine_text3 = "exactly-16-bytes";
    s.device_sn = sn32;
    s.machine_value2 = 1024;
  });
  ASSERT_TRUE(client.read_record());
  uint16_t v1 = 0, v2 = 0;
  char sn[32], t1[32], t2[32], t3[32];
  ASSERT_TRUE(qz_nds_get_machine_info(client.handle, &v1, &v2, sn, t1, t2, t3));
  EXPECT_EQ(v2, 1024);
  EXPECT_EQ(std::string(sn, 32), sn32);
  EXPECT_STREQ(t3, "exactly-16-bytes");
  uint32_t len = 0;
  ASSERT_TRUE(qz_nds_get_sn(client.handle, sn, &len));
  EXPECT_EQ(std::string(sn, len), sn32);
}

TEST_F(SimIdentityE2E, IpSettingsRoundTrip) {
  const std::array<std::string, 5> sent = {"10.20.30.40", "255.255.0.0", "10.20.0.1", "1.1.1.1",
                                           "123456789012345"};
  ASSERT_TRUE(qz_nds_set_ip_info(client.handle, 1, sent[0].c_str(), sent[1].c_str(), sent[2].c_str(),
                                 sent[3].c_str(), sent[4].c_str()));
  EXPECT_EQ(sim.state().ip_info_flag, 1);
  EXPECT_EQ(sim.state().ip_info_texts, sent);

  sim.update_state([](DeviceState &s) { s.ip_info_texts[4] = "9.9.9.9"; });  // the getter asks the device
  uint8_t flag = 0;
  std::array<std::array<char, 16>, 5> texts{};
  ASSERT_TRUE(qz_nds_get_ip_info(client.handle, &flag, texts[0].data(), texts[1].data(), texts[2].data(),
                                 texts[3].data(), texts[4].data()));
  EXPECT_EQ(flag, 1);
  EXPECT_STREQ(texts[0].data(), "10.20.30.40");
  EXPECT_STREQ(texts[4].data(), "9.9.9.9");
}

TEST_F(SimIdentityE2E, AccountInfoRoundTrip) {
  const std::vector<uint8_t> info = {'a', 'c', 'c', 0, 1, 2, 0xFF, 'z'};
  // The device confirms the write with the read's answer (sub 129).
  EXPECT_TRUE(qz_nds_set_account_info(client.handle, info.data(), static_cast<uint32_t>(info.size())));
  EXPECT_EQ(sim.state().account_info, info);
  std::vector<uint8_t> out(64, 0xEE);
  auto len = static_cast<uint32_t>(out.size());
  ASSERT_TRUE(qz_nds_get_account_info(client.handle, out.data(), &len));
  out.resize(len);
  EXPECT_EQ(out, info);
}

TEST_F(SimIdentityE2E, PassiveWirelessRoundTripWithTheRecordsSerialKey) {
  ASSERT_TRUE(client.read_record());
  const uint32_t s1 = 5, s2 = 0x01020304, s3 = 0xFFFFFFFF;
  // Writes are confirmed with the read's answer (subs 131 and 133).
  EXPECT_TRUE(qz_nds_set_passive_wireless_power_status(client.handle, &s1, &s2, &s3));
  EXPECT_EQ(sim.state().passive_wireless_power_status2, s2);
  uint32_t a = 0, b = 0, c = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(client.handle, &a, &b, &c));
  EXPECT_EQ((std::array{a, b, c}), (std::array{s1, s2, s3}));

  EXPECT_TRUE(qz_nds_set_passive_wireless_domain(client.handle, "pw.example.net", 9));
  EXPECT_EQ(sim.state().passive_wireless_domain, "pw.example.net");
  EXPECT_EQ(sim.state().passive_wireless_domain_value, 9u);
  char domain[128];
  uint32_t value = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_domain(client.handle, domain, &value));
  EXPECT_STREQ(domain, "pw.example.net");
  EXPECT_EQ(value, 9u);
}

TEST_F(SimIdentityE2E, EveryLinkTextReachesTheDeviceAndComesBack) {
  for (const TextCase &c : kLinkTexts) {
    SCOPED_TRACE(c.value);
    ASSERT_TRUE(c.set(client.handle, c.value));
    EXPECT_EQ(sim.state().*c.field, c.value);
    char text[80];
    uint32_t len = 999;
    ASSERT_TRUE(c.get(client.handle, text, &len));
    EXPECT_EQ(std::string(text, len), c.value);
    // The getter asks the device every time, NUL bytes included.
    const std::string odd("a\0b", 3);
    sim.update_state([&](DeviceState &s) { s.*c.field = odd; });
    ASSERT_TRUE(c.get(client.handle, text, &len));
    EXPECT_EQ(std::string(text, len), odd);
  }
  // The visual serial number has no getter.
  ASSERT_TRUE(qz_nds_set_visual_sn(client.handle, 1, 0, "VS-0042", 7));
  EXPECT_EQ(sim.state().visual_sn, "VS-0042");
  EXPECT_EQ(sim.state().visual_same_ip, 0);
}

TEST_F(SimIdentityE2E, Gb28181RoundTrip) {
  const std::string id63(63, '7');
  ASSERT_TRUE(qz_nds_28181_set_para(client.handle, 1, "34020000002000000099", 5061, "3402009999",
                                    id63.c_str(), "pw"));
  const DeviceState s = sim.state();
  EXPECT_EQ(s.gb28181_enable, 1);
  EXPECT_EQ(s.gb28181_text1, "34020000002000000099");
  EXPECT_EQ(s.gb28181_port, 5061);
  EXPECT_EQ(s.gb28181_text3, id63);
  EXPECT_EQ(s.gb28181_text4, "pw");

  uint8_t enable = 0;
  uint16_t port = 0;
  std::array<char, 64> t1{}, t2{}, t3{}, t4{};
  ASSERT_TRUE(
      qz_nds_28181_get_para(client.handle, &enable, t1.data(), &port, t2.data(), t3.data(), t4.data()));
  EXPECT_EQ(enable, 1);
  EXPECT_EQ(port, 5061);
  EXPECT_STREQ(t1.data(), "34020000002000000099");
  EXPECT_STREQ(t2.data(), "3402009999");
  EXPECT_EQ(std::string(t3.data()), id63);
  EXPECT_STREQ(t4.data(), "pw");
}

}  // namespace
}  // namespace qz::test
