// What only a device behind a socket shows: queries ask it every time, and
// restoring the OSD brings back its factory items. Every setting's round trip
// through the device's state is the command-line tool's settings table; every
// family against one session is sim_sessions_test.
#include <gtest/gtest.h>

#include <string>

#include "export_cases.h"
#include "sim_session.h"

namespace qz::test {
namespace {

using sim::DeviceState;

using SimFeatureE2E = SimTest;

TEST_F(SimFeatureE2E, EveryQueryAsksTheDeviceEachTime) {
  for (const SettingCase &c : kQueriedSettings) {
    SCOPED_TRACE(c.field);
    uint32_t seen = 0xDEAD;
    ASSERT_TRUE(c.set(client.handle, c.first));
    EXPECT_EQ(sim.to_json()[c.field], c.first);
    sim.update_state([&](DeviceState &s) {
      std::string error;
      EXPECT_TRUE(sim::state_from_json({{c.field, c.odd}}, s, error)) << error;
    });
    ASSERT_TRUE(c.get(client.handle, &seen));
    EXPECT_EQ(seen, c.odd_reading);  // the 0/1 ones read an odd byte as 0
  }
  const std::string odd("a\0b", 3);  // NUL bytes included
  for (const TextCase &c : kLinkTexts) {
    SCOPED_TRACE(c.value);
    ASSERT_TRUE(c.set(client.handle, c.value));
    EXPECT_EQ(sim.state().*c.field, c.value);
    sim.update_state([&](DeviceState &s) { s.*c.field = odd; });
    char text[80];
    uint32_t len = 999;
    ASSERT_TRUE(c.get(client.handle, text, &len));
    EXPECT_EQ(std::string(text, len), odd);
  }
}

TEST_F(SimFeatureE2E, ChannelNameIsCutToItsLengthAndRestoreBringsBackTheFactoryOsd) {
  ASSERT_TRUE(qz_nds_set_osd_setting(client.handle, 3, 1, 9, 0x103, 0x2003));
  ASSERT_TRUE(qz_nds_osd_set_channel_name(client.handle, 4, "yard-east", 1, 3, 640, 480));
  EXPECT_EQ(sim.state().channel_name, "yard");
  EXPECT_EQ(sim.state().osd_items[8], (sim::OsdItem{1, 3, 640, 480}));
  ASSERT_TRUE(qz_nds_osd_restore_config(client.handle));
  const DeviceState factory;
  EXPECT_EQ(sim.state().osd_items, factory.osd_items);
  EXPECT_EQ(sim.state().channel_name, factory.channel_name);
  ASSERT_TRUE(client.read_record());
  sim::OsdItem item{};
  ASSERT_TRUE(
      qz_nds_get_osd_setting(client.handle, 3, &item.display, &item.attribute, &item.value1, &item.value2));
  EXPECT_EQ(item, factory.osd_items[3]);
}

}  // namespace
}  // namespace qz::test
