// The exact bytes that cross the loopback connection between the library and
// the simulated device, as the simulator recorded them.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "sim_session.h"
#include "wire_frame.h"

namespace qz::test {
namespace {

using Bytes = std::vector<uint8_t>;
using sim::Direction;

struct Expected {
  Direction direction;
  Bytes bytes;
};

Expected request(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
  return {Direction::request,
          wire::make_frame(wire::kPackageRequest, main, sub, wire::kRequestMarker, seq, payload)};
}
Expected answer(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
  return {Direction::response, wire::make_frame(wire::kPackageResponse, main, sub, 0, seq, payload)};
}

void expect_recorded(const std::vector<sim::RecordedFrame> &recorded, const std::vector<Expected> &expected) {
  ASSERT_EQ(recorded.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(recorded[i].direction, expected[i].direction);
    EXPECT_EQ(recorded[i].bytes, expected[i].bytes);
  }
}

using SimWireE2E = SimTest;

TEST_F(SimWireE2E, SettingsTravelAsTheseFrames) {
  sim.update_state([](sim::DeviceState &s) { s.hardware_watchdog_disable_time = 77; });
  sim.set_recording(true);
  uint8_t time = 0;
  ASSERT_TRUE(qz_nds_set_framerate(client.handle, 30));
  ASSERT_TRUE(qz_nds_get_hardware_watchdog_disable_time(client.handle, &time));
  ASSERT_TRUE(qz_nds_set_mqtt_port(client.handle, 880));
  ASSERT_TRUE(qz_nds_28181_set_para(client.handle, 7, "ab", 1, "", "", ""));
  ASSERT_TRUE(qz_nds_set_osd_setting(client.handle, 5, 1, 2, 0x0102, 0x0304));
  ASSERT_TRUE(qz_nds_osd_set_channel_name(client.handle, 3, "abcdef", 1, 2, 0x0102, 0x0304));
  expect_recorded(
      sim.recorded(),
      {
          request(169, 147, 1, {30}),
          answer(169, 147, 1),
          request(169, 173, 2),
          answer(169, 173, 2, {77}),
          request(169, 158, 3, {0, 0, 3, 0x70}),
          answer(169, 158, 3),
          request(169, 176, 4, {1, 0, 0, 0, 2, 'a', 'b', 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
          answer(169, 176, 4),
          request(168, 135, 5, {1, 2, 1, 2, 3, 4}),
          answer(168, 135, 5),
          request(168, 138, 6, {1, 2, 1, 2, 3, 4, 3, 'a', 'b', 'c'}),
          answer(168, 138, 6),
      });
}

TEST_F(SimWireE2E, PassiveWirelessOpensWithTheSerialKeyAndSeqRestartsOnANewConnection) {
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));
  ASSERT_TRUE(qz_nds_disconnect(client.handle));
  ASSERT_TRUE(connect(client));
  sim.set_recording(true);
  uint32_t a = 0, b = 0, c = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(client.handle, &a, &b, &c));
  const sim::DeviceState state = sim.state();
  Bytes key, status;
  wire::Writer(key).lp_text(state.device_sn);
  wire::Writer(status)
      .u32(state.passive_wireless_power_status1)
      .u32(state.passive_wireless_power_status2)
      .u32(state.passive_wireless_power_status3);
  expect_recorded(sim.recorded(), {request(49, 131, 1, key), answer(49, 131, 1, status)});
}

}  // namespace
}  // namespace qz::test
