// Feature switches through the scripted transport: every pair sends one state
// byte under its own command, remembers only its own flag, and the getters
// answer from the session.
#include <gtest/gtest.h>

#include <array>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::DeviceStateCache;
using nds::kLogError;

struct SwitchCase {
  const char *enable_name;
  bool (*enable)(qz_nds_handle);
  const char *disable_name;
  bool (*disable)(qz_nds_handle);
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t main;
  uint8_t sub;
  uint8_t DeviceStateCache::*flag;
  const char *enable_failed;
  const char *disable_failed;
  bool reset_by_disconnect;
};

#define QZ_SWITCH(enable, disable) #enable, enable, #disable, disable
const SwitchCase kSwitches[] = {
    {QZ_SWITCH(qz_nds_enable_hdmi, qz_nds_disable_hdmi), qz_nds_is_enabled_hdmi, 169, 128,
     &DeviceStateCache::hdmi_enabled, "enable hdmi failed", "disable hdmi failed", true},
    {QZ_SWITCH(qz_nds_enable_onvif, qz_nds_disable_onvif), qz_nds_is_enabled_onvif, 169, 129,
     &DeviceStateCache::onvif_enabled, "enable onvif failed", "disable onvif failed", true},
    {QZ_SWITCH(qz_nds_enable_len_pos, qz_nds_disable_len_pos), qz_nds_is_enabled_len_pos, 169, 130,
     &DeviceStateCache::len_pos_enabled, "enable len position failed", "disable len position failed", true},
    {QZ_SWITCH(qz_nds_enable_detect_sun, qz_nds_disable_detect_sun), qz_nds_is_enabled_detect_sun, 169, 131,
     &DeviceStateCache::detect_sun_enabled, "enable detect sun failed", "disable detect sun failed", true},
    {QZ_SWITCH(qz_nds_enable_rotate180, qz_nds_disable_rotate180), qz_nds_is_enabled_rotate180, 169, 132,
     &DeviceStateCache::rotate180_enabled, "enable rotate180 failed", "disable rotate180 failed", true},
    {QZ_SWITCH(qz_nds_enable_radar, qz_nds_disable_radar), qz_nds_is_enabled_radar, 169, 144,
     &DeviceStateCache::radar_enabled, "enable radar failed", "disable radar failed", false},
    {QZ_SWITCH(qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas),
     qz_nds_is_enabled_auto_change_meas, 169, 145, &DeviceStateCache::auto_change_meas_enabled,
     "enable auto change meas failed", "disable auto change meas failed", false},
    {QZ_SWITCH(qz_nds_enable_auto_focus, qz_nds_disable_auto_focus), qz_nds_is_enabled_auto_focus, 169, 146,
     &DeviceStateCache::auto_focus_enabled, "enable auto focus failed", "disable auto focus failed", false},
    {QZ_SWITCH(qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle),
     qz_nds_is_display_center_rectangle, 168, 139, &DeviceStateCache::center_rectangle_displayed,
     "display center rectangle failed", "display center rectangle failed", true},
};
#undef QZ_SWITCH

class FeatureSwitchTest : public SessionTest {
 protected:
  // Every switch flag of the cache, in table order.
  std::array<uint8_t, std::size(kSwitches)> flags() {
    std::array<uint8_t, std::size(kSwitches)> out{};
    for (std::size_t i = 0; i < std::size(kSwitches); ++i) out[i] = cache().*kSwitches[i].flag;
    return out;
  }
  uint8_t reported(const SwitchCase &c) {
    uint8_t state = 0xEE;
    EXPECT_TRUE(c.get(handle, &state));
    return state;
  }
  // The request the session must have sent last: a whole frame, with the seq
  // the session took for it.
  Bytes expected_request(const SwitchCase &c, uint8_t state) {
    return wire::make_frame(wire::kPackageRequest, c.main, c.sub, wire::kRequestMarker,
                            session().next_seq.load(), Bytes{state});
  }
};

TEST_F(FeatureSwitchTest, EachPairSendsItsStateByteAndRemembersOnlyItsOwnFlag) {
  answer_all();
  for (std::size_t i = 0; i < std::size(kSwitches); ++i) {
    const SwitchCase &c = kSwitches[i];
    SCOPED_TRACE(c.enable_name);
    auto before = flags();

    ASSERT_TRUE(c.enable(handle));
    EXPECT_EQ(last_sent(), expected_request(c, 1));
    EXPECT_EQ(reported(c), 1);
    auto after = flags();
    before[i] = 1;
    EXPECT_EQ(after, before) << "another switch's flag changed";

    ASSERT_TRUE(c.disable(handle));
    EXPECT_EQ(last_sent(), expected_request(c, 0));
    EXPECT_EQ(reported(c), 0);
    before[i] = 0;
    EXPECT_EQ(flags(), before);
    // Re-enable, so the next switch runs with the others set and cleared.
    ASSERT_TRUE(c.enable(handle));
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(FeatureSwitchTest, GettersAnswerFromTheSessionWithoutSending) {
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    EXPECT_EQ(reported(c), 0) << "a new session reports every switch off";
    cache().*c.flag = 1;
    EXPECT_EQ(reported(c), 1);
  }
  EXPECT_TRUE(net.sent().empty());
}

TEST_F(FeatureSwitchTest, RefusedChangeKeepsTheFlagAndLogsUnderTheExportsName) {
  answer_all({}, 1);
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    cache().*c.flag = 0;
    EXPECT_FALSE(c.enable(handle));
    EXPECT_EQ(reported(c), 0);
    EXPECT_TRUE(log.contains(kLogError, c.enable_name, c.enable_failed));

    cache().*c.flag = 1;
    EXPECT_FALSE(c.disable(handle));
    EXPECT_EQ(reported(c), 1);
    EXPECT_TRUE(log.contains(kLogError, c.disable_name, c.disable_failed));
    log.clear();
  }
}

TEST_F(FeatureSwitchTest, NotConnectedSendsNothingAndLogsBothLines) {
  ASSERT_TRUE(qz_nds_disconnect(handle));
  const std::size_t sent_before = net.sent().size();
  log.clear();
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    EXPECT_FALSE(c.enable(handle));
    EXPECT_EQ(reported(c), 0);
    EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::send_cmd", "device is not connected"));
    EXPECT_TRUE(log.contains(kLogError, c.enable_name, c.enable_failed));
    log.clear();
  }
  EXPECT_EQ(net.sent().size(), sent_before);
}

TEST_F(FeatureSwitchTest, DisconnectClearsExactlySixFlags) {
  answer_all();
  for (const SwitchCase &c : kSwitches) ASSERT_TRUE(c.enable(handle));
  ASSERT_TRUE(qz_nds_disconnect(handle));
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    EXPECT_EQ(reported(c), c.reset_by_disconnect ? 0 : 1);
  }
}

TEST_F(FeatureSwitchTest, NullOutPointerOrHandleIsRefusedSilently) {
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    EXPECT_FALSE(c.get(handle, nullptr));
    uint8_t state = 0x5A;
    EXPECT_FALSE(c.get(nullptr, &state));
    EXPECT_EQ(state, 0x5A);
    EXPECT_FALSE(c.enable(nullptr));
    EXPECT_FALSE(c.disable(nullptr));
  }
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace qz::test
