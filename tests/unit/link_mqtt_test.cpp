// MQTT settings: request bytes, and exports that answer true whatever the
// exchange did, reporting empty or zero values after a failure rather than
// an older cached one.
#include <functional>
#include <string>
#include <tuple>

#include "session_fixture.h"

namespace qz::test {
namespace {

using MqttTest = SessionTest;

// The set requests; only 1 switches the work on. The reads are
// SimFeatureE2E.EveryQueryAsksTheDeviceEachTime.
TEST_F(MqttTest, SetRequestBytes) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_mqtt_port(handle, 880));
  EXPECT_EQ(last_sent()[wire::kOffSub], 158);
  EXPECT_EQ(last_payload(), (Bytes{0x00, 0x00, 0x03, 0x70}));
  for (auto [value, on] : {std::pair<uint8_t, uint8_t>{1, 1}, {0, 0}, {2, 0}, {255, 0}}) {
    ASSERT_TRUE(qz_nds_set_mqtt_work(handle, value));
    EXPECT_EQ(last_sent()[wire::kOffSub], 154);
    EXPECT_EQ(last_payload(), Bytes{on}) << int{value};
  }
  ASSERT_TRUE(qz_nds_set_mqtt_passwd(handle, ""));
  EXPECT_EQ(last_sent()[wire::kOffSub], 162);
  EXPECT_EQ(last_payload(), (Bytes{0, 0, 0, 0}));
}

// Refused, empty or never sent: still true, and the gets report nothing,
// not what an earlier answer left in the cache.
TEST_F(MqttTest, FailedExchangesStillReturnTrueWithEmptyValues) {
  char buffer[8] = {'#'};
  uint32_t len = 99, port = 99;
  uint8_t work = 99;
  // Earlier answers leave an ip, port 1883 and work on in the session.
  answer_all(lp_text("old"));
  qz_nds_get_mqtt_ip(handle, buffer, &len);
  answer_all({0, 0, 7, 0x5B});
  qz_nds_get_mqtt_port(handle, &port);
  answer_all({1});
  qz_nds_get_mqtt_work(handle, &work);
  ASSERT_EQ(std::tie(len, port, work), std::make_tuple(3u, 1883u, uint8_t{1}));
  const std::pair<const char *, std::function<void()>> failures[] = {
      {"refused", [&] { answer_all(lp_text("new"), 1); }},
      {"empty", [&] { answer_all({}); }},
      {"not connected", [&] { ASSERT_TRUE(qz_nds_disconnect(handle)); }},
  };
  for (const auto &[name, arrange] : failures) {
    SCOPED_TRACE(name);
    arrange();
    log.clear();
    EXPECT_TRUE(qz_nds_set_mqtt_work(handle, 1));
    EXPECT_TRUE(qz_nds_set_mqtt_port(handle, 1884));
    EXPECT_TRUE(qz_nds_set_mqtt_ip(handle, "x"));
    buffer[0] = '#';
    len = port = work = 99;
    EXPECT_TRUE(qz_nds_get_mqtt_ip(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_user(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port));
    EXPECT_TRUE(qz_nds_get_mqtt_work(handle, &work));
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(port, 0u);
    EXPECT_EQ(work, 0);
    EXPECT_FALSE(log.lines().empty()) << "the failure shows in the log";
  }
}

}  // namespace
}  // namespace qz::test
