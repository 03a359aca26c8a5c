// Feature switches: every pair sends one state byte under its own command,
// remembers only its own flag once the device accepted it, and the getters
// answer from the session.
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

using FeatureSwitchTest = SessionTest;

// Each switch refused, then accepted, both ways: a refusal keeps the flag and
// logs under the export's own name; an accepted change sends the whole
// request and the getter reports it without asking the device. That no
// switch writes another's flag shows in the CLI's settings round trip.
TEST_F(FeatureSwitchTest, EachPairSendsItsStateByteAndKeepsTheFlagOnlyOnceAccepted) {
  for (const SwitchCase &c : kSwitches) {
    SCOPED_TRACE(c.enable_name);
    for (uint8_t state : {1, 0}) {
      bool (*change)(qz_nds_handle) = state ? c.enable : c.disable;
      answer_all({}, 1);
      EXPECT_FALSE(change(handle));
      EXPECT_EQ(read(c.get), 1 - state);
      EXPECT_TRUE(log.contains(kLogError, state ? c.enable_name : c.disable_name,
                               state ? c.enable_failed : c.disable_failed));
      answer_all();
      ASSERT_TRUE(change(handle));
      const std::size_t sent = net.sent().size();
      EXPECT_EQ(last_sent(), wire::make_frame(wire::kPackageRequest, c.main, c.sub, wire::kRequestMarker,
                                              session().last_seq(), Bytes{state}));
      EXPECT_EQ(read(c.get), state);
      EXPECT_EQ(net.sent().size(), sent);
    }
  }
  log.clear();
  for (const SwitchCase &c : kSwitches) EXPECT_FALSE(c.get(handle, nullptr)) << c.enable_name;
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace qz::test
