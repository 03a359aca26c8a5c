// Every switch, number, device query, OSD item and control command set
// through one session against the simulated device, checked in its state and
// read back through the getter and, for what the session keeps, a second
// session's record.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

#include "sim_session.h"

namespace qz::test {
namespace {

using sim::DeviceState;

// Every setter and getter below as one signature, the value widened.
template <bool (*On)(qz_nds_handle), bool (*Off)(qz_nds_handle)>
bool set_switch(qz_nds_handle h, uint32_t value) {
  return value ? On(h) : Off(h);
}
template <auto Set>
bool set_as(qz_nds_handle h, uint32_t value) {
  return Set(h, value);
}
template <class T>
T out_type(bool (*)(qz_nds_handle, T *));
template <auto Get>
bool get_as(qz_nds_handle h, uint32_t *out) {
  decltype(out_type(Get)) value{};
  const bool ok = Get(h, &value);
  *out = value;
  return ok;
}

struct SettingCase {
  const char *field;  // its key in the simulator's state
  bool (*set)(qz_nds_handle, uint32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint32_t first, second;  // set in this order
  uint32_t odd = 0;        // stored behind the session's back (queries only)
  uint32_t odd_reading = 0;
};

// Settings the session keeps once the device took them, and the record brings.
const SettingCase kKept[] = {
    {"hdmi_enabled", set_switch<qz_nds_enable_hdmi, qz_nds_disable_hdmi>, get_as<qz_nds_is_enabled_hdmi>, 1,
     0},
    {"onvif_enabled", set_switch<qz_nds_enable_onvif, qz_nds_disable_onvif>, get_as<qz_nds_is_enabled_onvif>,
     1, 0},
    {"len_pos_enabled", set_switch<qz_nds_enable_len_pos, qz_nds_disable_len_pos>,
     get_as<qz_nds_is_enabled_len_pos>, 1, 0},
    {"detect_sun_enabled", set_switch<qz_nds_enable_detect_sun, qz_nds_disable_detect_sun>,
     get_as<qz_nds_is_enabled_detect_sun>, 1, 0},
    {"rotate180_enabled", set_switch<qz_nds_enable_rotate180, qz_nds_disable_rotate180>,
     get_as<qz_nds_is_enabled_rotate180>, 1, 0},
    {"radar_enabled", set_switch<qz_nds_enable_radar, qz_nds_disable_radar>, get_as<qz_nds_is_enabled_radar>,
     1, 0},
    {"auto_change_meas_enabled", set_switch<qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas>,
     get_as<qz_nds_is_enabled_auto_change_meas>, 1, 0},
    {"auto_focus_enabled", set_switch<qz_nds_enable_auto_focus, qz_nds_disable_auto_focus>,
     get_as<qz_nds_is_enabled_auto_focus>, 1, 0},
    {"center_rectangle_displayed", set_switch<qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle>,
     get_as<qz_nds_is_display_center_rectangle>, 1, 0},
    {"ps_link_count", set_as<qz_nds_set_ps_link_count>, get_as<qz_nds_get_ps_link_count>, 7, 2},
    {"ad_link_count", set_as<qz_nds_set_ad_link_count>, get_as<qz_nds_get_ad_link_count>, 3, 1},
    {"visual_link_count", set_as<qz_nds_set_visual_link_count>, get_as<qz_nds_get_visual_link_count>, 4, 16},
    {"ptz_link_count", set_as<qz_nds_set_ptz_link_count>, get_as<qz_nds_get_ptz_link_count>, 16, 5},
    {"framerate", set_as<qz_nds_set_framerate>, get_as<qz_nds_get_framerate>, 50, 30},
    {"default_palette", set_as<qz_nds_set_default_palette>, get_as<qz_nds_get_default_palette>, 9, 15},
    {"len_adjust_method", set_as<qz_nds_set_len_adjust_method>, get_as<qz_nds_get_len_adjust_method>, 2, 1},
};

// Settings asked of the device each time; the 0/1 ones read an odd byte as 0.
const SettingCase kQueried[] = {
    {"hardware_watchdog", set_switch<qz_nds_enable_hardware_watchdog, qz_nds_disable_hardware_watchdog>,
     get_as<qz_nds_is_enable_hardware_watchdog>, 0, 1, 2, 0},
    {"hardware_watchdog_disable",
     set_switch<qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable>,
     get_as<qz_nds_isenable_hardware_watchdog_disable>, 1, 0, 2, 0},
    {"hardware_watchdog_disable_time", set_as<qz_nds_set_hardware_watchdog_disable_time>,
     get_as<qz_nds_get_hardware_watchdog_disable_time>, 200, 45, 2, 2},
    {"disable_temperature_correct_status", set_as<qz_nds_set_disable_temperature_correct_status>,
     get_as<qz_nds_get_disable_temperature_correct_status>, 3, 1, 9, 9},
    {"vision_maxtemperature", set_as<qz_nds_set_vision_maxtemperature>,
     get_as<qz_nds_get_vision_maxtemperature>, 1, 0, 2, 0},
    {"all_temperature_network_byte_order", set_as<qz_nds_set_all_temperature_network_byte_order>,
     get_as<qz_nds_get_all_temperature_network_byte_order>, 0, 1, 2, 0},
    {"hikvision_linkage", set_as<qz_nds_set_hikvision_linkage>, get_as<qz_nds_get_hikvision_linkage>, 1, 0, 2,
     0},
    {"pg_support", set_as<qz_nds_set_pg_support>, get_as<qz_nds_get_pg_support>, 1, 0, 2, 0},
    {"visual_zoom_control_flag", set_as<qz_nds_set_visual_zoom_control_flag>,
     get_as<qz_nds_get_visual_zoom_control_flag>, 2, 1, 9, 9},
    {"visual_gotopreset_when_start", set_as<qz_nds_set_visual_gotopreset_when_start>,
     get_as<qz_nds_get_visual_gotopreset_when_start>, 7, 3, 9, 9},
    {"mqtt_work", set_as<qz_nds_set_mqtt_work>, get_as<qz_nds_get_mqtt_work>, 1, 0, 2, 0},
    {"mqtt_port", set_as<qz_nds_set_mqtt_port>, get_as<qz_nds_get_mqtt_port>, 8883, 880, 65535, 65535},
};

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
  for (const SettingCase &c : kKept) {
    SCOPED_TRACE(c.field);
    set_both(c, true);
  }
}

TEST_F(SimFeatureE2E, EveryQueryAsksTheDeviceEachTime) {
  for (const SettingCase &c : kQueried) {
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
