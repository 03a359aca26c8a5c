// The one-byte settings: feature switches, numeric settings (the whole value
// remembered once accepted, getters answering from the session), the
// watchdog, temperature and vendor flag queries, the system time block and
// the unanswered device control commands.
#include <chrono>
#include <string>
#include <vector>

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

// A switch whose exports are named after it, under main 169.
#define QZ_SWITCH(name)                                                                         \
  "qz_nds_enable_" #name, qz_nds_enable_##name, "qz_nds_disable_" #name, qz_nds_disable_##name, \
      qz_nds_is_enabled_##name, 169
// clang-format off
const SwitchCase kSwitches[] = {
    {QZ_SWITCH(hdmi), 128, "enable hdmi failed", "disable hdmi failed"},
    {QZ_SWITCH(onvif), 129, "enable onvif failed", "disable onvif failed"},
    {QZ_SWITCH(len_pos), 130, "enable len position failed", "disable len position failed"},
    {QZ_SWITCH(detect_sun), 131, "enable detect sun failed", "disable detect sun failed"},
    {QZ_SWITCH(rotate180), 132, "enable rotate180 failed", "disable rotate180 failed"},
    {QZ_SWITCH(radar), 144, "enable radar failed", "disable radar failed"},
    {QZ_SWITCH(auto_change_meas), 145, "enable auto change meas failed", "disable auto change meas failed"},
    {QZ_SWITCH(auto_focus), 146, "enable auto focus failed", "disable auto focus failed"},
    {"qz_nds_display_center_rectangle", qz_nds_display_center_rectangle, "qz_nds_hide_center_rectangle",
     qz_nds_hide_center_rectangle, qz_nds_is_display_center_rectangle, 168, 139,
     "display center rectangle failed", "display center rectangle failed"},
};
// clang-format on
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
      EXPECT_EQ(last_request(), Request(c.main, c.sub, {state}));
      EXPECT_EQ(read(c.get), state);
      EXPECT_EQ(net.sent().size(), sent);
    }
  }
  log.clear();
  for (const SwitchCase &c : kSwitches) EXPECT_FALSE(c.get(handle, nullptr)) << c.enable_name;
  EXPECT_TRUE(log.lines().empty());
}

// The byte-wide exports behind the signature of the 32-bit ones.
template <bool (*Set)(qz_nds_handle, uint8_t)>
bool set_u8(qz_nds_handle h, int32_t v) {
  return Set(h, static_cast<uint8_t>(v));
}
template <bool (*Get)(qz_nds_handle, uint8_t *)>
bool get_u8(qz_nds_handle h, uint32_t *out) {
  uint8_t byte = 0;
  const bool ok = Get(h, out != nullptr ? &byte : nullptr);
  if (ok) *out = byte;
  return ok;
}

struct NumericCase {
  const char *name;
  bool (*set)(qz_nds_handle, int32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint8_t sub;
  bool wide;               // a 32-bit value: remembered whole, read back as its bit pattern
  const char *set_failed;  // with %d for the argument
};

// A setting whose exports are named after it.
#define QZ_U8(name) "qz_nds_set_" #name, set_u8<qz_nds_set_##name>, get_u8<qz_nds_get_##name>
#define QZ_I32(name) "qz_nds_set_" #name, qz_nds_set_##name, qz_nds_get_##name
// clang-format off
const NumericCase kNumerics[] = {
    {QZ_U8(ps_link_count), 133, false, "set ps link count = %d failed"},
    {QZ_U8(ad_link_count), 134, false, "set ad link count = %d failed"},
    {QZ_U8(visual_link_count), 141, false, "set visual link count = %d failed"},
    {QZ_U8(ptz_link_count), 142, false, "set ptz link count = %d failed"},
    {QZ_U8(framerate), 147, false, "set framerate = %d failed"},
    {QZ_I32(default_palette), 135, true, "set palette = %d failed"},
    {QZ_I32(len_adjust_method), 140, true, "send len adjust method %d failed"},
};
// clang-format on
#undef QZ_U8
#undef QZ_I32

using NumericTest = SessionTest;

TEST_F(NumericTest, ValuesTravelAsTheirLowByteAndAreRememberedOnceAccepted) {
  EXPECT_EQ(read(qz_nds_get_len_adjust_method), 0xFFFFFFFFu) << "unknown until set";
  for (const NumericCase &c : kNumerics) {
    SCOPED_TRACE(c.name);
    const auto values = c.wide ? std::vector<int32_t>{0x1FF, -1, -2, 3} : std::vector<int32_t>{0, 7, 255};
    for (int32_t value : values) {
      answer_all();
      ASSERT_TRUE(c.set(handle, value));
      EXPECT_EQ(last_request(), Request(169, c.sub, {static_cast<uint8_t>(value)}));
      uint32_t got = 0xEE;
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, static_cast<uint32_t>(value));

      // Refused: the value stays, and the line carries the argument.
      answer_all({}, 1);
      const int32_t refused = c.wide ? -300 : 42;
      EXPECT_FALSE(c.set(handle, refused));
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, static_cast<uint32_t>(value));
      std::string line = c.set_failed;
      line.replace(line.find("%d"), 2, std::to_string(refused));
      EXPECT_TRUE(log.contains(kLogError, c.name, line));
    }
    EXPECT_FALSE(c.get(handle, nullptr));
  }
}

struct QueryCase {
  const char *name;
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t sub;
};

#define QZ_GETTER(get) #get, get
const QueryCase kQueries[] = {
    {QZ_GETTER(qz_nds_is_enable_hardware_watchdog), 169},
    {QZ_GETTER(qz_nds_isenable_hardware_watchdog_disable), 171},
    {QZ_GETTER(qz_nds_get_hardware_watchdog_disable_time), 173},
    {QZ_GETTER(qz_nds_get_disable_temperature_correct_status), 167},
    {QZ_GETTER(qz_nds_get_vision_maxtemperature), 181},
    {QZ_GETTER(qz_nds_get_all_temperature_network_byte_order), 183},
    {QZ_GETTER(qz_nds_get_hikvision_linkage), 179},
    {QZ_GETTER(qz_nds_get_pg_support), 185},
};
#undef QZ_GETTER

// A setter with its byte given.
template <bool (*Set)(qz_nds_handle, uint8_t), uint8_t Byte>
bool set_to(qz_nds_handle h) {
  return Set(h, Byte);
}

struct SetCase {
  const char *name;
  bool (*set)(qz_nds_handle);
  uint8_t sub;
  Bytes payload;
};

// The system time is the caller's 20-byte block, carried unchanged.
const Bytes kTimeBlock = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
// clang-format off
const SetCase kSets[] = {
    {"enable watchdog", qz_nds_enable_hardware_watchdog, 168, {1}},
    {"disable watchdog", qz_nds_disable_hardware_watchdog, 168, {0}},
    {"enable watchdog disable", qz_nds_enable_hardware_watchdog_disable, 170, {1}},
    {"disable watchdog disable", qz_nds_disable_hardware_watchdog_disable, 170, {0}},
    {"watchdog disable time", set_to<qz_nds_set_hardware_watchdog_disable_time, 200>, 172, {200}},
    {"temperature correct", set_to<qz_nds_set_disable_temperature_correct_status, 7>, 166, {7}},
    {"vision maxtemperature", set_to<qz_nds_set_vision_maxtemperature, 5>, 180, {5}},
    {"network byte order", set_to<qz_nds_set_all_temperature_network_byte_order, 3>, 182, {3}},
    {"hikvision linkage", set_to<qz_nds_set_hikvision_linkage, 3>, 178, {3}},
    {"pg support", set_to<qz_nds_set_pg_support, 2>, 184, {2}},
    {"system time", [](qz_nds_handle h) { return qz_nds_set_system_time(h, kTimeBlock.data()); }, 136,
     kTimeBlock},
};
// clang-format on

using QueryTest = SessionTest;

// A refusal fails with the transaction's lines only; an empty answer is
// refused as one byte short (naming the query's sub command). Either way the
// out byte stays. How answers read is the e2e EveryQueryAsksTheDeviceEachTime.
TEST_F(QueryTest, FailedOrShortAnswerLeavesOutByteAlone) {
  for (const QueryCase &q : kQueries) {
    for (bool refused : {true, false}) {
      SCOPED_TRACE(testing::Message() << q.name << (refused ? " refused" : " empty"));
      refused ? answer_all({1}, 1) : answer_all({});
      log.clear();
      uint8_t out = 0x77;
      EXPECT_FALSE(q.get(handle, &out));
      EXPECT_EQ(out, 0x77);
      const std::string line = "cmd [169," + std::to_string(q.sub) + "]'s response is 1 bytes short";
      EXPECT_EQ(log.contains(kLogError, "on_response_setting", line), !refused);
      for (const LogLine &l : log.lines()) EXPECT_NE(l.function, q.name);
    }
  }
}

// A refusal logs only the transaction's lines.
TEST_F(QueryTest, SettersSendTheirBytesAsPassed) {
  answer_all();
  for (const SetCase &c : kSets) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(c.set(handle));
    EXPECT_EQ(last_request(), Request(169, c.sub, c.payload));
  }
  EXPECT_TRUE(log.lines().empty());

  answer_all({}, 1);
  for (const SetCase &c : kSets) EXPECT_FALSE(c.set(handle)) << c.name;
  for (const LogLine &line : log.lines()) EXPECT_EQ(line.function.rfind("NetDevSetting::", 0), 0u);

  log.clear();
  for (const QueryCase &q : kQueries) EXPECT_FALSE(q.get(handle, nullptr)) << q.name;
  EXPECT_EQ(net.sent().size(), 2 * std::size(kSets));
  EXPECT_TRUE(log.lines().empty());
}

using DeviceControlTest = SessionTest;

TEST_F(DeviceControlTest, RebootAndKeepAliveReturnAtOnceAndFailWhenNotSent) {
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(qz_nds_reboot(handle));
  EXPECT_EQ(last_sent(), wire::make_frame(wire::kPackageRequest, 164, 142, wire::kRequestMarker, 1, {}));
  ASSERT_TRUE(qz_nds_keep_alive(handle));
  EXPECT_EQ(last_sent(), wire::make_frame(wire::kPackageRequest, 173, 128, wire::kRequestMarker, 2, {}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_TRUE((session().waiting_commands() == 0));
  EXPECT_TRUE(log.lines().empty());
  net.set_send_result(false);
  EXPECT_FALSE(qz_nds_reboot(handle));
  EXPECT_FALSE(qz_nds_keep_alive(handle));
  EXPECT_EQ(log.messages(), (std::vector<std::string>{"send cmd[164, 142] size = 0 failed",
                                                      "send cmd[173, 128] size = 0 failed"}));
}

}  // namespace
}  // namespace qz::test
