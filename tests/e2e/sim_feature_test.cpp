// Device feature settings against the simulated device over loopback TCP:
// every switch, numeric setting, device query, OSD item and control command
// is set through one session, checked in the device's state, and read back
// through the getter and through a second session's configuration record.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

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
  // The second session's view of the device, freshly read.
  void reread() { ASSERT_TRUE(qz_nds_get_machine_config_info(reader.handle)); }

  SimClient reader;
};

// ---- Feature switches ---------------------------------------------------------

struct SwitchCase {
  const char *name;
  bool (*on)(qz_nds_handle);
  bool (*off)(qz_nds_handle);
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t DeviceState::*field;
};

const SwitchCase kSwitches[] = {
    {"hdmi", qz_nds_enable_hdmi, qz_nds_disable_hdmi, qz_nds_is_enabled_hdmi, &DeviceState::hdmi_enabled},
    {"onvif", qz_nds_enable_onvif, qz_nds_disable_onvif, qz_nds_is_enabled_onvif,
     &DeviceState::onvif_enabled},
    {"len_pos", qz_nds_enable_len_pos, qz_nds_disable_len_pos, qz_nds_is_enabled_len_pos,
     &DeviceState::len_pos_enabled},
    {"detect_sun", qz_nds_enable_detect_sun, qz_nds_disable_detect_sun, qz_nds_is_enabled_detect_sun,
     &DeviceState::detect_sun_enabled},
    {"rotate180", qz_nds_enable_rotate180, qz_nds_disable_rotate180, qz_nds_is_enabled_rotate180,
     &DeviceState::rotate180_enabled},
    {"radar", qz_nds_enable_radar, qz_nds_disable_radar, qz_nds_is_enabled_radar,
     &DeviceState::radar_enabled},
    {"auto_change_meas", qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas,
     qz_nds_is_enabled_auto_change_meas, &DeviceState::auto_change_meas_enabled},
    {"auto_focus", qz_nds_enable_auto_focus, qz_nds_disable_auto_focus, qz_nds_is_enabled_auto_focus,
     &DeviceState::auto_focus_enabled},
    {"center_rectangle", qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle,
     qz_nds_is_display_center_rectangle, &DeviceState::center_rectangle_displayed},
};

TEST_F(SimFeatureE2E, EverySwitchReachesTheDeviceAndComesBackInTheRecord) {
  sim.update_state([](DeviceState &s) {
    for (const SwitchCase &c : kSwitches) s.*c.field = 0;
  });
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.name);
    for (uint8_t value : {1, 0}) {
      ASSERT_TRUE(value ? c.on(client.handle) : c.off(client.handle));
      EXPECT_EQ(sim.state().*c.field, value);
      uint8_t mine = 0xEE, theirs = 0xEE;
      ASSERT_TRUE(c.get(client.handle, &mine));
      EXPECT_EQ(mine, value);
      reread();
      ASSERT_TRUE(c.get(reader.handle, &theirs));
      EXPECT_EQ(theirs, value);
    }
  }
}

// ---- Numeric settings ---------------------------------------------------------

template <bool (*Set)(qz_nds_handle, uint8_t)>
bool set_u8(qz_nds_handle h, int32_t v) {
  return Set(h, static_cast<uint8_t>(v));
}
template <bool (*Get)(qz_nds_handle, uint8_t *)>
bool get_u8(qz_nds_handle h, uint32_t *out) {
  uint8_t byte = 0;
  const bool ok = Get(h, &byte);
  *out = byte;
  return ok;
}

struct NumericCase {
  const char *name;
  bool (*set)(qz_nds_handle, int32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint8_t DeviceState::*field;
  int32_t value;  // in the device's range, not its factory value
};

const NumericCase kNumerics[] = {
    {"ps_link_count", set_u8<qz_nds_set_ps_link_count>, get_u8<qz_nds_get_ps_link_count>,
     &DeviceState::ps_link_count, 7},
    {"ad_link_count", set_u8<qz_nds_set_ad_link_count>, get_u8<qz_nds_get_ad_link_count>,
     &DeviceState::ad_link_count, 3},
    {"visual_link_count", set_u8<qz_nds_set_visual_link_count>, get_u8<qz_nds_get_visual_link_count>,
     &DeviceState::visual_link_count, 4},
    {"ptz_link_count", set_u8<qz_nds_set_ptz_link_count>, get_u8<qz_nds_get_ptz_link_count>,
     &DeviceState::ptz_link_count, 16},
    {"framerate", set_u8<qz_nds_set_framerate>, get_u8<qz_nds_get_framerate>, &DeviceState::framerate, 50},
    {"default_palette", qz_nds_set_default_palette, qz_nds_get_default_palette, &DeviceState::default_palette,
     9},
    {"len_adjust_method", qz_nds_set_len_adjust_method, qz_nds_get_len_adjust_method,
     &DeviceState::len_adjust_method, 2},
};

TEST_F(SimFeatureE2E, EveryNumericSettingReachesTheDeviceAndComesBackInTheRecord) {
  reread();
  const DeviceState factory;
  for (const NumericCase &c : kNumerics) {
    SCOPED_TRACE(c.name);
    uint32_t seen = 0xDEAD;
    ASSERT_TRUE(c.get(reader.handle, &seen));
    EXPECT_EQ(seen, factory.*c.field);

    ASSERT_TRUE(c.set(client.handle, c.value));
    EXPECT_EQ(sim.state().*c.field, c.value);
    ASSERT_TRUE(c.get(client.handle, &seen));
    EXPECT_EQ(seen, static_cast<uint32_t>(c.value));
    reread();
    ASSERT_TRUE(c.get(reader.handle, &seen));
    EXPECT_EQ(seen, static_cast<uint32_t>(c.value));
  }
}

TEST_F(SimFeatureE2E, PaletteAndLensMethodSendTheLowByteAndTheRecordWidensItsSign) {
  sim.set_strict(false);
  ASSERT_TRUE(qz_nds_set_default_palette(client.handle, 0x1FF));
  ASSERT_TRUE(qz_nds_set_len_adjust_method(client.handle, -1));
  EXPECT_EQ(sim.state().default_palette, 0xFF);
  EXPECT_EQ(sim.state().len_adjust_method, 0xFF);
  uint32_t palette = 0, method = 0;
  ASSERT_TRUE(qz_nds_get_default_palette(client.handle, &palette));
  ASSERT_TRUE(qz_nds_get_len_adjust_method(client.handle, &method));
  EXPECT_EQ(palette, 0x1FFu);
  EXPECT_EQ(method, 0xFFFFFFFFu);
  reread();
  ASSERT_TRUE(qz_nds_get_default_palette(reader.handle, &palette));
  ASSERT_TRUE(qz_nds_get_len_adjust_method(reader.handle, &method));
  EXPECT_EQ(palette, 0xFFFFFFFFu);
  EXPECT_EQ(method, 0xFFFFFFFFu);
}

TEST_F(SimFeatureE2E, AValueTheDeviceRefusesLeavesBothSidesAsTheyWere) {
  ASSERT_TRUE(qz_nds_set_framerate(client.handle, 30));
  EXPECT_FALSE(qz_nds_set_framerate(client.handle, 0));  // below the device's range
  EXPECT_TRUE(log.contains(4, "qz_nds_set_framerate", "set framerate = 0 failed"));
  uint8_t framerate = 0;
  ASSERT_TRUE(qz_nds_get_framerate(client.handle, &framerate));
  EXPECT_EQ(framerate, 30);
  EXPECT_EQ(sim.state().framerate, 30);
}

TEST_F(SimFeatureE2E, SystemTimeBlockIsStoredUnchanged) {
  std::array<uint8_t, 20> block{};
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(0xA0 + i);
  ASSERT_TRUE(qz_nds_set_system_time(client.handle, block.data()));
  EXPECT_EQ(sim.state().system_time, block);
  EXPECT_FALSE(qz_nds_set_system_time(client.handle, nullptr));
}

// ---- Device queries: watchdog, temperature, vendor and link flags -------------

bool set_watchdog(qz_nds_handle h, uint8_t on) {
  return on ? qz_nds_enable_hardware_watchdog(h) : qz_nds_disable_hardware_watchdog(h);
}
bool set_watchdog_disable(qz_nds_handle h, uint8_t on) {
  return on ? qz_nds_enable_hardware_watchdog_disable(h) : qz_nds_disable_hardware_watchdog_disable(h);
}

struct QueryCase {
  const char *name;
  bool (*set)(qz_nds_handle, uint8_t);
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t DeviceState::*field;
  uint8_t value;        // accepted by the device; reads back as itself
  uint8_t odd_byte;     // stored on the device behind the library's back
  uint8_t odd_reading;  // what the getter then reports
};

const QueryCase kQueries[] = {
    {"hardware_watchdog", set_watchdog, qz_nds_is_enable_hardware_watchdog, &DeviceState::hardware_watchdog,
     1, 2, 0},
    {"hardware_watchdog_disable", set_watchdog_disable, qz_nds_isenable_hardware_watchdog_disable,
     &DeviceState::hardware_watchdog_disable, 1, 2, 0},
    {"hardware_watchdog_disable_time", qz_nds_set_hardware_watchdog_disable_time,
     qz_nds_get_hardware_watchdog_disable_time, &DeviceState::hardware_watchdog_disable_time, 200, 2, 2},
    {"disable_temperature_correct_status", qz_nds_set_disable_temperature_correct_status,
     qz_nds_get_disable_temperature_correct_status, &DeviceState::disable_temperature_correct_status, 3, 9,
     9},
    {"vision_maxtemperature", qz_nds_set_vision_maxtemperature, qz_nds_get_vision_maxtemperature,
     &DeviceState::vision_maxtemperature, 1, 2, 0},
    {"all_temperature_network_byte_order", qz_nds_set_all_temperature_network_byte_order,
     qz_nds_get_all_temperature_network_byte_order, &DeviceState::all_temperature_network_byte_order, 1, 2,
     0},
    {"hikvision_linkage", qz_nds_set_hikvision_linkage, qz_nds_get_hikvision_linkage,
     &DeviceState::hikvision_linkage, 1, 2, 0},
    {"pg_support", qz_nds_set_pg_support, qz_nds_get_pg_support, &DeviceState::pg_support, 1, 2, 0},
    {"visual_zoom_control_flag", qz_nds_set_visual_zoom_control_flag, qz_nds_get_visual_zoom_control_flag,
     &DeviceState::visual_zoom_control_flag, 2, 9, 9},
    {"visual_gotopreset_when_start", qz_nds_set_visual_gotopreset_when_start,
     qz_nds_get_visual_gotopreset_when_start, &DeviceState::visual_gotopreset_when_start, 7, 0, 0},
    {"mqtt_work", qz_nds_set_mqtt_work, qz_nds_get_mqtt_work, &DeviceState::mqtt_work, 1, 2, 0},
};

TEST_F(SimFeatureE2E, EveryQueryAsksTheDeviceEachTime) {
  for (const QueryCase &c : kQueries) {
    SCOPED_TRACE(c.name);
    sim.update_state([&](DeviceState &s) { s.*c.field = 0; });
    ASSERT_TRUE(c.set(client.handle, c.value));
    EXPECT_EQ(sim.state().*c.field, c.value);
    uint8_t seen = 0xEE;
    ASSERT_TRUE(c.get(client.handle, &seen));
    EXPECT_EQ(seen, c.value);
    sim.update_state([&](DeviceState &s) { s.*c.field = c.odd_byte; });
    ASSERT_TRUE(c.get(client.handle, &seen));
    EXPECT_EQ(seen, c.odd_reading);
  }
}

TEST_F(SimFeatureE2E, MqttWorkOtherThanOneSwitchesItOff) {
  sim.update_state([](DeviceState &s) { s.mqtt_work = 1; });
  ASSERT_TRUE(qz_nds_set_mqtt_work(client.handle, 2));
  EXPECT_EQ(sim.state().mqtt_work, 0);
}

// ---- OSD ----------------------------------------------------------------------

constexpr std::array<int, 11> kOsdIds = {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11};

sim::OsdItem sample_item(int id) {
  return {1, static_cast<uint8_t>(id + 1), static_cast<uint16_t>(0x100 + id),
          static_cast<uint16_t>(0x2000 + id)};
}

sim::OsdItem osd_of(qz_nds_handle h, int id) {
  sim::OsdItem item{0xEE, 0xEE, 0xEEEE, 0xEEEE};
  EXPECT_TRUE(qz_nds_get_osd_setting(h, id, &item.display, &item.attribute, &item.value1, &item.value2));
  return item;
}

TEST_F(SimFeatureE2E, EveryOsdItemReachesItsSlotOnTheDeviceAndComesBackInTheRecord) {
  for (int id : kOsdIds) {
    SCOPED_TRACE(id);
    const sim::OsdItem item = sample_item(id);
    ASSERT_TRUE(
        qz_nds_set_osd_setting(client.handle, id, item.display, item.attribute, item.value1, item.value2));
    EXPECT_EQ(sim.state().osd_items[id], item);
    EXPECT_EQ(osd_of(client.handle, id), item);
  }
  reread();
  for (int id : kOsdIds) {
    SCOPED_TRACE(id);
    EXPECT_EQ(osd_of(reader.handle, id), sample_item(id));
  }
  EXPECT_FALSE(qz_nds_set_osd_setting(client.handle, 8, 1, 0, 0, 0));
  EXPECT_FALSE(qz_nds_set_osd_setting(client.handle, 12, 1, 0, 0, 0));
}

TEST_F(SimFeatureE2E, OsdDisplayTravelsAsOneButIsRememberedAsPassed) {
  ASSERT_TRUE(qz_nds_set_osd_setting(client.handle, 3, 9, 0, 1, 2));
  EXPECT_EQ(sim.state().osd_items[3].display, 1);
  EXPECT_EQ(osd_of(client.handle, 3).display, 9);
  reread();
  EXPECT_EQ(osd_of(reader.handle, 3).display, 1);
}

TEST_F(SimFeatureE2E, ChannelNameSendsItsLengthButTheSessionKeepsTheWholeText) {
  ASSERT_TRUE(qz_nds_osd_set_channel_name(client.handle, 4, "yard-east", 1, 3, 640, 480));
  EXPECT_EQ(sim.state().channel_name, "yard");
  EXPECT_EQ(sim.state().osd_items[8], (sim::OsdItem{1, 3, 640, 480}));

  char name[256] = {};
  uint8_t display = 0, attribute = 0;
  uint16_t v1 = 0, v2 = 0;
  ASSERT_TRUE(qz_nds_osd_get_channel_info(client.handle, name, &display, &attribute, &v1, &v2));
  EXPECT_STREQ(name, "yard-east");
  EXPECT_EQ(osd_of(client.handle, 8), (sim::OsdItem{1, 3, 640, 480}));

  reread();
  char theirs[256] = {};
  ASSERT_TRUE(qz_nds_osd_get_channel_info(reader.handle, theirs, &display, &attribute, &v1, &v2));
  EXPECT_STREQ(theirs, "yard");
  EXPECT_EQ((sim::OsdItem{display, attribute, v1, v2}), (sim::OsdItem{1, 3, 640, 480}));
}

TEST_F(SimFeatureE2E, OsdRestoreBringsBackTheFactoryItemsOnTheNextRecord) {
  ASSERT_TRUE(qz_nds_set_osd_setting(client.handle, 0, 1, 7, 7, 7));
  ASSERT_TRUE(qz_nds_osd_set_channel_name(client.handle, 3, "abc", 1, 0, 0, 0));
  ASSERT_TRUE(qz_nds_osd_restore_config(client.handle));
  const DeviceState factory;
  EXPECT_EQ(sim.state().osd_items, factory.osd_items);
  EXPECT_EQ(sim.state().channel_name, factory.channel_name);
  // The session keeps what it set until it reads the record again.
  EXPECT_EQ(osd_of(client.handle, 0), (sim::OsdItem{1, 7, 7, 7}));
  ASSERT_TRUE(qz_nds_get_machine_config_info(client.handle));
  EXPECT_EQ(osd_of(client.handle, 0), factory.osd_items[0]);
  char name[256] = {};
  ASSERT_TRUE(qz_nds_osd_get_channel_info(client.handle, name, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(std::string(name), factory.channel_name);
}

// ---- Device control -------------------------------------------------------------

TEST_F(SimFeatureE2E, KeepAliveIsSentWithoutWaitingAndTheDeviceAnswersIt) {
  const uint64_t before = sim.stats().responses;
  EXPECT_TRUE(qz_nds_keep_alive(client.handle));
  EXPECT_TRUE(eventually([&] { return sim.stats().responses == before + 1; }));
  // The unexpected answer disturbs nothing: the next command works.
  EXPECT_TRUE(qz_nds_get_machine_config_info(client.handle));
}

}  // namespace
}  // namespace qz::test
