// Linked equipment and cloud settings over real loopback TCP: a scripted
// device that stores what each set command sends and answers the matching
// get with it, so every value makes the round trip through both directions.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "qz_net_dev_setting.h"
#include "scripted_device.h"

namespace qz::test {
namespace {

// Set commands; each one's get is the next sub command.
const std::set<uint8_t> kSetSubs = {143, 148, 150, 152, 154, 156, 158, 160, 162, 164, 174, 176};

class SettingStore {
 public:
  std::vector<Bytes> answer(const wire::FrameView &request) {
    std::lock_guard guard(mutex_);
    const uint8_t sub = request.header.sub;
    if (kSetSubs.count(sub) != 0) {
      values_[static_cast<uint8_t>(sub + 1)] = Bytes(request.payload, request.payload + request.payload_size);
      return {response_to(request)};
    }
    auto it = values_.find(sub);
    if (it == values_.end()) return {response_to(request, {}, 1)};  // nothing stored: refused
    return {response_to(request, it->second)};
  }

 private:
  std::mutex mutex_;
  std::map<uint8_t, Bytes> values_;
};

class LinkE2E : public ::testing::Test {
 protected:
  void SetUp() override {
    device.set_responder([this](const wire::FrameView &r) { return store.answer(r); });
    ASSERT_TRUE(qz_nds_init(&handle));
    ASSERT_TRUE(qz_nds_connect(handle, device.address().c_str()));
  }
  void TearDown() override { qz_nds_uninit(&handle); }

  SettingStore store;
  ScriptedDevice device;
  qz_nds_handle handle = nullptr;
};

TEST_F(LinkE2E, VisualLinkAndMqttRoundTrip) {
  char buffer[64];
  uint32_t len = 0;
  EXPECT_FALSE(qz_nds_get_visual_ip(handle, buffer, &len)) << "nothing stored yet";
  ASSERT_TRUE(qz_nds_set_visual_ip(handle, "192.168.1.64"));
  ASSERT_TRUE(qz_nds_get_visual_ip(handle, buffer, &len));
  EXPECT_EQ(std::string(buffer, len), "192.168.1.64");
  ASSERT_TRUE(qz_nds_set_visual_zoom_control_flag(handle, 2));
  uint8_t flag = 0;
  ASSERT_TRUE(qz_nds_get_visual_zoom_control_flag(handle, &flag));
  EXPECT_EQ(flag, 2);

  uint32_t port = 7;
  EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port)) << "a refused get still answers true";
  EXPECT_EQ(port, 0u);
  EXPECT_TRUE(qz_nds_set_mqtt_port(handle, 880));
  EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port));
  EXPECT_EQ(port, 880u);
  EXPECT_TRUE(qz_nds_set_mqtt_user(handle, "broker"));
  EXPECT_TRUE(qz_nds_get_mqtt_user(handle, buffer, &len));
  EXPECT_EQ(std::string(buffer, len), "broker");
}

TEST_F(LinkE2E, Gb28181RoundTrip) {
  ASSERT_TRUE(qz_nds_28181_set_para(handle, 1, "34020000002000000001", 5060, "3402000000", "pw", "dev"));
  uint8_t enable = 0;
  uint16_t port = 0;
  char t1[64], t2[64], t3[64], t4[64];
  ASSERT_TRUE(qz_nds_28181_get_para(handle, &enable, t1, &port, t2, t3, t4));
  EXPECT_EQ(enable, 1);
  EXPECT_EQ(port, 5060);
  EXPECT_STREQ(t1, "34020000002000000001");
  EXPECT_STREQ(t2, "3402000000");
  EXPECT_STREQ(t3, "pw");
  EXPECT_STREQ(t4, "dev");

  // Disabled: the device answers the single byte 00, and the read keeps the
  // texts of the enabled answer before.
  ASSERT_TRUE(qz_nds_28181_set_para(handle, 0, "", 0, "", "", ""));
  ASSERT_TRUE(qz_nds_28181_get_para(handle, &enable, t1, &port, t2, t3, t4));
  EXPECT_EQ(enable, 0);
  EXPECT_EQ(port, 5060);
  EXPECT_STREQ(t4, "dev");
}

}  // namespace
}  // namespace qz::test
