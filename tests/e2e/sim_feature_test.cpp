// Every switch, number, device query, OSD item and control command set
// through one session against the simulated device, checked in its state and
// read back through the getter and, for what the session keeps, a second
// session's record.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

#include "export_cases.h"
#include "sim_session.h"

namespace qz::test {
namespace {

using sim::DeviceState;

class SimFeatureE2E : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    ASSERT_TRUE(connect(reader));
  }

  // Sets each of the case's values and checks the device and the getter.
  void set_both(const SettingCase &c, bool through_record) {
    for (uint32_t value : {c.first, c.second}) {
      ASSERT_TRUE(c.set(client.handle, value));
      EXPECT_EQ(sim.to_json()[c.field], value);
      uint32_t seen = 0xDEAD;
      ASSERT_TRUE(c.get(client.handle, &seen));
      EXPECT_EQ(seen, value);
      if (!through_record) continue;
      ASSERT_TRUE(reader.read_record());
      ASSERT_TRUE(c.get(reader.handle, &seen));
      EXPECT_EQ(seen, value);
    }
  }

  SimClient reader;
};

TEST_F(SimFeatureE2E, EveryKeptSettingReachesTheDeviceAndComesBackInTheRecord) {
  for (const SettingCase &c : kKeptSettings) {
    SCOPED_TRACE(c.field);
    set_both(c, true);
  }
}

TEST_F(SimFeatureE2E, EveryQueryAsksTheDeviceEachTime) {
  for (const SettingCase &c : kQueriedSettings) {
    SCOPED_TRACE(c.field);
    set_both(c, false);
    sim.update_state([&](DeviceState &s) {
      std::string error;
      EXPECT_TRUE(sim::state_from_json({{c.field, c.odd}}, s, error)) << error;
    });
    uint32_t seen = 0xDEAD;
    ASSERT_TRUE(c.get(client.handle, &seen));
    EXPECT_EQ(seen, c.odd_reading);
  }
}

sim::OsdItem osd_of(qz_nds_handle h, int id) {
  sim::OsdItem item{0xEE, 0xEE, 0xEEEE, 0xEEEE};
  EXPECT_TRUE(qz_nds_get_osd_setting(h, id, &item.display, &item.attribute, &item.value1, &item.value2));
  return item;
}

TEST_F(SimFeatureE2E, OsdItemsAndChannelNameReachTheirSlotsAndRestoreBringsBackTheFactoryOnes) {
  constexpr std::array<int, 11> kIds = {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11};  // 8 is the channel name's
  auto item = [](int id) {
    return sim::OsdItem{1, static_cast<uint8_t>(id + 1), static_cast<uint16_t>(0x100 + id),
                        static_cast<uint16_t>(0x2000 + id)};
  };
  for (int id : kIds) {
    const sim::OsdItem sent = item(id);
    ASSERT_TRUE(qz_nds_set_osd_setting(client.handle, id, 1, sent.attribute, sent.value1, sent.value2));
    EXPECT_EQ(sim.state().osd_items[id], sent) << id;
    EXPECT_EQ(osd_of(client.handle, id), sent) << id;
  }
  // The name travels cut to the length given; item 8 carries its position.
  const sim::OsdItem name_item{1, 3, 640, 480};
  ASSERT_TRUE(qz_nds_osd_set_channel_name(client.handle, 4, "yard-east", 1, 3, 640, 480));
  EXPECT_EQ(sim.state().channel_name, "yard");
  EXPECT_EQ(sim.state().osd_items[8], name_item);

  ASSERT_TRUE(reader.read_record());
  for (int id : kIds) EXPECT_EQ(osd_of(reader.handle, id), item(id)) << id;
  char name[256] = {};
  sim::OsdItem seen{};
  ASSERT_TRUE(qz_nds_osd_get_channel_info(reader.handle, name, &seen.display, &seen.attribute, &seen.value1,
                                          &seen.value2));
  EXPECT_STREQ(name, "yard");
  EXPECT_EQ(seen, name_item);

  ASSERT_TRUE(qz_nds_osd_restore_config(client.handle));
  const DeviceState factory;
  EXPECT_EQ(sim.state().osd_items, factory.osd_items);
  EXPECT_EQ(sim.state().channel_name, factory.channel_name);
  ASSERT_TRUE(client.read_record());
  EXPECT_EQ(osd_of(client.handle, 0), factory.osd_items[0]);
}

TEST_F(SimFeatureE2E, SystemTimeIsStoredUnchangedAndKeepAliveIsAnswered) {
  std::array<uint8_t, 20> block{};
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(0xA0 + i);
  ASSERT_TRUE(qz_nds_set_system_time(client.handle, block.data()));
  EXPECT_EQ(sim.state().system_time, block);

  const uint64_t before = sim.stats().responses;
  EXPECT_TRUE(qz_nds_keep_alive(client.handle));
  EXPECT_TRUE(eventually([&] { return sim.stats().responses == before + 1; }));
  // The unexpected answer disturbs nothing: the next command works.
  EXPECT_TRUE(client.read_record());
}

}  // namespace
}  // namespace qz::test
