// MQTT settings through the scripted transport: request bytes, and exports
// that answer true whatever the exchange did, reporting empty or zero values
// after a failure rather than an older cached one. Also the argument checks
// of the link families.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using MqttTest = SessionTest;

TEST_F(MqttTest, PortAndWorkBytes) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_mqtt_port(handle, 880));
  EXPECT_EQ(last_sent()[wire::kOffSub], 158);
  EXPECT_EQ(last_payload(), (Bytes{0x00, 0x00, 0x03, 0x70}));
  answer_all({0x00, 0x00, 0x03, 0x70});
  uint32_t port = 0;
  ASSERT_TRUE(qz_nds_get_mqtt_port(handle, &port));
  EXPECT_EQ(port, 880u);

  // Only 1 means on, both ways.
  for (auto [value, on] : {std::pair<uint8_t, uint8_t>{1, 1}, {0, 0}, {2, 0}, {255, 0}}) {
    answer_all();
    ASSERT_TRUE(qz_nds_set_mqtt_work(handle, value));
    EXPECT_EQ(last_sent()[wire::kOffSub], 154);
    EXPECT_EQ(last_payload(), Bytes{on});
    answer_all({value});
    uint8_t work = 7;
    ASSERT_TRUE(qz_nds_get_mqtt_work(handle, &work));
    EXPECT_EQ(work, on) << int{value};
  }
  answer_all();
  ASSERT_TRUE(qz_nds_set_mqtt_passwd(handle, ""));
  EXPECT_EQ(last_sent()[wire::kOffSub], 162);
  EXPECT_EQ(last_payload(), (Bytes{0, 0, 0, 0}));
}

// Refused, empty or never sent: still true, and the gets report nothing,
// not what an earlier answer left in the cache.
TEST_F(MqttTest, FailedExchangesStillReturnTrueWithEmptyValues) {
  cache().mqtt_ip = "old";
  cache().mqtt_port = 1883;
  cache().mqtt_work = 1;
  struct Failure {
    const char *name;
    std::function<void()> arrange;
    const char *ip_line;  // the refusal of the short ip answer
  };
  const Failure failures[] = {
      {"refused", [&] { answer_all(lp_text("new"), 1); }, nullptr},
      {"empty", [&] { answer_all({}); }, "cmd [169,157]'s response is 4 bytes short"},
      {"not connected", [&] { ASSERT_TRUE(qz_nds_disconnect(handle)); }, nullptr},
  };
  for (const Failure &failure : failures) {
    SCOPED_TRACE(failure.name);
    failure.arrange();
    log.clear();
    EXPECT_TRUE(qz_nds_set_mqtt_work(handle, 1));
    EXPECT_TRUE(qz_nds_set_mqtt_port(handle, 1884));
    EXPECT_TRUE(qz_nds_set_mqtt_ip(handle, "x"));
    char buffer[8] = {'#'};
    uint32_t len = 99, port = 99;
    uint8_t work = 99;
    EXPECT_TRUE(qz_nds_get_mqtt_ip(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_user(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port));
    EXPECT_TRUE(qz_nds_get_mqtt_work(handle, &work));
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(port, 0u);
    EXPECT_EQ(work, 0);
    EXPECT_EQ(cache().mqtt_ip, "old");
    EXPECT_EQ(cache().mqtt_port, 1883u);
    EXPECT_EQ(cache().mqtt_work, 1);
    EXPECT_FALSE(log.lines().empty()) << "the failure shows in the log";
    if (failure.ip_line != nullptr) {
      EXPECT_TRUE(log.contains(nds::kLogError, "on_response_setting", failure.ip_line));
    }
  }
}

TEST_F(MqttTest, LinkExportsRefuseNullArgumentsWithoutSending) {
  answer_all(lp_text("x"));
  char b[64];
  uint32_t len = 0, port32 = 0;
  uint16_t port = 0;
  uint8_t flag = 0;
  const std::function<bool()> calls[] = {
      [&] { return qz_nds_set_mqtt_ip(handle, nullptr); },
      [&] { return qz_nds_set_mqtt_passwd(handle, nullptr); },
      [&] { return qz_nds_get_mqtt_user(handle, nullptr, &len); },
      [&] { return qz_nds_get_mqtt_ip(handle, b, nullptr); },
      [&] { return qz_nds_get_mqtt_port(handle, nullptr); },
      [&] { return qz_nds_get_mqtt_work(handle, nullptr); },
      [&] { return qz_nds_set_mqtt_port(nullptr, 1); },
      [&] { return qz_nds_get_mqtt_port(nullptr, &port32); },
      [&] { return qz_nds_set_visual_user(handle, nullptr); },
      [&] { return qz_nds_get_visual_passwd(handle, nullptr, &len); },
      [&] { return qz_nds_get_visual_ip(handle, b, nullptr); },
      [&] { return qz_nds_get_visual_zoom_control_flag(handle, nullptr); },
      [&] { return qz_nds_set_visual_zoom_control_flag(nullptr, 1); },
      [&] { return qz_nds_28181_set_para(handle, 0, nullptr, 1, "", "", ""); },
      [&] { return qz_nds_28181_set_para(handle, 1, "", 1, "", "", nullptr); },
      [&] { return qz_nds_28181_get_para(handle, &flag, b, nullptr, b, b, b); },
      [&] { return qz_nds_28181_get_para(handle, &flag, b, &port, b, nullptr, b); },
      [&] { return qz_nds_28181_get_para(nullptr, &flag, b, &port, b, b, b); },
  };
  for (std::size_t i = 0; i < std::size(calls); ++i) EXPECT_FALSE(calls[i]()) << "call " << i;
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace qz::test
