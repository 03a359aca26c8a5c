// The one-byte settings and queries of the watchdog, temperature and vendor
// flag exports, and the unanswered device control commands.
#include <chrono>
#include <functional>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;

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

struct SetCase {
  const char *name;
  std::function<bool(qz_nds_handle)> set;
  uint8_t sub;
  uint8_t byte;
};

const SetCase kSets[] = {
    {"enable watchdog", qz_nds_enable_hardware_watchdog, 168, 1},
    {"disable watchdog", qz_nds_disable_hardware_watchdog, 168, 0},
    {"enable watchdog disable", qz_nds_enable_hardware_watchdog_disable, 170, 1},
    {"disable watchdog disable", qz_nds_disable_hardware_watchdog_disable, 170, 0},
    {"watchdog disable time",
     [](qz_nds_handle h) { return qz_nds_set_hardware_watchdog_disable_time(h, 200); }, 172, 200},
    {"temperature correct",
     [](qz_nds_handle h) { return qz_nds_set_disable_temperature_correct_status(h, 7); }, 166, 7},
    {"vision maxtemperature", [](qz_nds_handle h) { return qz_nds_set_vision_maxtemperature(h, 5); }, 180, 5},
    {"network byte order",
     [](qz_nds_handle h) { return qz_nds_set_all_temperature_network_byte_order(h, 3); }, 182, 3},
    {"hikvision linkage", [](qz_nds_handle h) { return qz_nds_set_hikvision_linkage(h, 3); }, 178, 3},
    {"pg support", [](qz_nds_handle h) { return qz_nds_set_pg_support(h, 2); }, 184, 2},
};

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

TEST_F(QueryTest, SettersSendTheByteAsPassed) {
  answer_all();
  for (const SetCase &c : kSets) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(c.set(handle));
    EXPECT_EQ(last_sent()[wire::kOffMain], 169);
    EXPECT_EQ(last_sent()[wire::kOffSub], c.sub);
    EXPECT_EQ(last_payload(), Bytes{c.byte});
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
  answer_none();
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
