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

using SimWireE2E = SimTest;

// After a reconnect the seq starts at 1 again; the passive wireless request
// carries the serial number of the record read on the first connection.
TEST_F(SimWireE2E, CommandsTravelAsTheseFrames) {
  ASSERT_TRUE(client.read_record());
  ASSERT_TRUE(qz_nds_disconnect(client.handle));
  ASSERT_TRUE(connect(client));
  sim.update_state([](sim::DeviceState &s) { s.hardware_watchdog_disable_time = 77; });
  sim.set_recording(true);
  uint8_t time = 0;
  uint32_t a = 0, b = 0, c = 0;
  ASSERT_TRUE(qz_nds_set_framerate(client.handle, 30));
  ASSERT_TRUE(qz_nds_get_hardware_watchdog_disable_time(client.handle, &time));
  ASSERT_TRUE(qz_nds_set_mqtt_port(client.handle, 880));
  ASSERT_TRUE(qz_nds_28181_set_para(client.handle, 7, "ab", 1, "", "", ""));
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(client.handle, &a, &b, &c));

  const sim::DeviceState state = sim.state();
  Bytes key, status;
  wire::Writer(key).lp_text(state.device_sn);
  wire::Writer(status)
      .u32(state.passive_wireless_power_status1)
      .u32(state.passive_wireless_power_status2)
      .u32(state.passive_wireless_power_status3);
  const std::vector<Expected> expected = {
      request(169, 147, 1, {30}),
      answer(169, 147, 1),
      request(169, 173, 2),
      answer(169, 173, 2, {77}),
      request(169, 158, 3, {0, 0, 3, 0x70}),
      answer(169, 158, 3),
      request(169, 176, 4, {1, 0, 0, 0, 2, 'a', 'b', 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
      answer(169, 176, 4),
      request(49, 131, 5, key),
      answer(49, 131, 5, status),
  };
  const auto recorded = sim.recorded();
  ASSERT_EQ(recorded.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(recorded[i].direction, expected[i].direction) << i;
    EXPECT_EQ(recorded[i].bytes, expected[i].bytes) << i;
  }
}

}  // namespace
}  // namespace qz::test
