// Feature switches: every pair sends one state byte under its own command,
// remembers only its own flag once the device accepted it, and the getters
// answer from the session.
#include <array>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;

struct SwitchCase {
  const char *enable_name;
  bool (*enable)(qz_nds_handle);
  const char *disable_name;
  bool (*disable)(qz_nds_handle);
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t main;
  uint8_t sub;
  const char *enable_failed;
  const char *disable_failed;
};

#define QZ_SWITCH(enable, disable) #enable, enable, #disable, disable
const SwitchCase kSwitches[] = {
    {QZ_SWITCH(qz_nds_enable_hdmi, qz_nds_disable_hdmi), qz_nds_is_enabled_hdmi, 169, 128,
     "enable hdmi failed", "disable hdmi failed"},
    {QZ_SWITCH(qz_nds_enable_onvif, qz_nds_disable_onvif), qz_nds_is_enabled_onvif, 169, 129,
     "enable onvif failed", "disable onvif failed"},
    {QZ_SWITCH(qz_nds_enable_len_pos, qz_nds_disable_len_pos), qz_nds_is_enabled_len_pos, 169, 130,
     "enable len position failed", "disable len position failed"},
    {QZ_SWITCH(qz_nds_enable_detect_sun, qz_nds_disable_detect_sun), qz_nds_is_enabled_detect_sun, 169, 131,
     "enable detect sun failed", "disable detect sun failed"},
    {QZ_SWITCH(qz_nds_enable_rotate180, qz_nds_disable_rotate180), qz_nds_is_enabled_rotate180, 169, 132,
     "enable rotate180 failed", "disable rotate180 failed"},
    {QZ_SWITCH(qz_nds_enable_radar, qz_nds_disable_radar), qz_nds_is_enabled_radar, 169, 144,
     "enable radar failed", "disable radar failed"},
    {QZ_SWITCH(qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas),
     qz_nds_is_enabled_auto_change_meas, 169, 145, "enable auto change meas failed",
     "disable auto change meas failed"},
    {QZ_SWITCH(qz_nds_enable_auto_focus, qz_nds_disable_auto_focus), qz_nds_is_enabled_auto_focus, 169, 146,
     "enable auto focus failed", "disable auto focus failed"},
    {QZ_SWITCH(qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle),
     qz_nds_is_display_center_rectangle, 168, 139, "display center rectangle failed",
     "display center rectangle failed"},
};
#undef QZ_SWITCH

class FeatureSwitchTest : public SessionTest {
 protected:
  std::array<uint8_t, std::size(kSwitches)> flags() {
    std::array<uint8_t, std::size(kSwitches)> out{};
    for (std::size_t i = 0; i < std::size(kSwitches); ++i) out[i] = reported(kSwitches[i]);
    return out;
  }
  uint8_t reported(const SwitchCase &c) { return read(c.get); }
  // Switches `c` to `state`, checks the whole request sent, and that the
  // getter then reports the state without asking the device.
  void switch_to(const SwitchCase &c, uint8_t state) {
    ASSERT_TRUE(state ? c.enable(handle) : c.disable(handle));
    const std::size_t sent = net.sent().size();
    EXPECT_EQ(last_sent(), wire::make_frame(wire::kPackageRequest, c.main, c.sub, wire::kRequestMarker,
                                            session().last_seq(), Bytes{state}));
    EXPECT_EQ(reported(c), state);
    EXPECT_EQ(net.sent().size(), sent);
  }
};

// Each switch runs with the ones before it on and the ones after it off, so a
// pair that touches another's flag shows. (What a disconnect clears shows in
// the machine record tests.)
TEST_F(FeatureSwitchTest, EachPairSendsItsStateByteAndRemembersOnlyItsOwnFlag) {
  answer_all();
  for (std::size_t i = 0; i < std::size(kSwitches); ++i) {
    const SwitchCase &c = kSwitches[i];
    SCOPED_TRACE(c.enable_name);
    EXPECT_EQ(reported(c), 0) << "a new session reports every switch off";
    auto expected = flags();
    for (uint8_t state : {1, 0, 1}) {
      switch_to(c, state);
      expected[i] = state;
      EXPECT_EQ(flags(), expected) << "another switch's flag changed";
    }
  }
  EXPECT_TRUE(log.lines().empty());
}

// Refused by the device: the flag stays and the export logs its own line
// under its own name. A null out pointer is refused without a line.
TEST_F(FeatureSwitchTest, FailedChangeKeepsTheFlagAndLogsUnderTheExportsName) {
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    answer_all({}, 1);
    EXPECT_FALSE(c.enable(handle));
    EXPECT_EQ(reported(c), 0);
    EXPECT_TRUE(log.contains(kLogError, c.enable_name, c.enable_failed));
    answer_all();
    ASSERT_TRUE(c.enable(handle));
    answer_all({}, 1);
    EXPECT_FALSE(c.disable(handle));
    EXPECT_EQ(reported(c), 1);
    EXPECT_TRUE(log.contains(kLogError, c.disable_name, c.disable_failed));
  }
  log.clear();
  for (const SwitchCase &c : kSwitches) EXPECT_FALSE(c.get(handle, nullptr)) << c.enable_name;
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace qz::test
