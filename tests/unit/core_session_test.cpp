// The session core through the scripted transport: lifecycle, connection
// state, sequence numbers, the receive path and the command transaction.
#include <chrono>
#include <functional>

#include "qz_nds_ext.h"
#include "qz_net.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;
using nds::kLogNotice;
using nds::NetDevSetting;

constexpr uint8_t kOne = 1;

// A command whose answer carries nothing to parse (main 169 sub 128).
bool send_switch(NetDevSetting &s, uint32_t wait_ms = nds::kWaitMs) {
  return s.send_cmd(169, 128, 1, &kOne, wait_ms);
}

uint32_t seq_of(const Bytes &frame) {
  return wire::load_be32(frame.data() + wire::kOffSeq);
}

bool is_connected(qz_nds_handle h) {
  bool up = false;
  return qz_ndsx_is_connected(h, &up) && up;
}

int thread_error_kind() {
  qz_ndsx_error e{};
  qz_ndsx_last_error(nullptr, &e);
  return e.kind;
}

TEST(Lifecycle, InitAndUninitRefuseNullAndAFailedInitKeepsTheHandleAndSaysWhy) {
  FakeNet &net = FakeNet::instance();
  net.reset();
  LogCapture log;
  EXPECT_FALSE(qz_nds_init(nullptr));
  EXPECT_EQ(thread_error_kind(), QZ_NDSX_BAD_ARGUMENT);
  qz_nds_handle handle = nullptr;
  EXPECT_FALSE(qz_nds_uninit(&handle));
  ASSERT_TRUE(qz_nds_init(&handle));
  EXPECT_TRUE(qz_nds_uninit(&handle));
  EXPECT_EQ(handle, nullptr);
  EXPECT_TRUE(log.lines().empty());

  net.set_init_result(false);
  EXPECT_FALSE(qz_nds_init(&handle));
  net.reset();
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(log.contains(4, "NetDevSetting::init", "initial tcp client failed"));
  qz_ndsx_error e{};
  ASSERT_TRUE(qz_ndsx_last_error(handle, &e));
  EXPECT_EQ(e.kind, QZ_NDSX_INIT_FAILED);
  EXPECT_TRUE(qz_nds_uninit(&handle));
}

// Only the tag's own length is compared, so a longer tag that starts with it
// passes; an object of another kind is refused without a log line.
TEST(Lifecycle, ForeignOrNullHandlesAreRefusedWithoutALogLine) {
  LogCapture log;
  struct Tagged : nds::_QZBaseObject {
    explicit Tagged(const char *tag) : _QZBaseObject(tag) {}
  } foreign("other_object"), longer("net_dev_setting_and_more");
  EXPECT_TRUE(nds::check_type_tag(longer.get_handle(), nds::kTypeTag));
  for (auto *handle :
       {static_cast<qz_nds_handle>(nullptr), static_cast<qz_nds_handle>(foreign.get_handle())}) {
    EXPECT_FALSE(qz_nds_connect(handle, "device"));
    EXPECT_FALSE(qz_nds_disconnect(handle));
    EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
    char text[32];
    uint32_t len = 0;
    EXPECT_FALSE(qz_nds_get_sn(handle, text, &len));
    qz_nds_handle copy = handle;
    EXPECT_FALSE(qz_nds_uninit(&copy));
  }
  EXPECT_TRUE(log.lines().empty());
}

// Every export checks the handle the same way (above); each checks its own
// pointers, refusing null ones before anything is sent.
TEST_F(SessionTest, NullArgumentsAreRefusedWithoutSendingOrALine) {
  answer_all(lp_text("x"));
  char b[128];
  uint8_t data[4], flag = 0;
  uint32_t len = 4, v = 0;
  const std::function<bool()> calls[] = {
      [&] { return qz_nds_get_account_info(handle, data, nullptr); },
      [&] { return qz_nds_get_account_info(handle, nullptr, &len); },  // not a size query: len is 4
      [&] { return qz_nds_set_account_info(handle, nullptr, 3); },
      [&] { return qz_nds_set_passive_wireless_power_status(handle, &v, nullptr, &v); },
      [&] { return qz_nds_get_passive_wireless_domain(handle, b, nullptr); },
      [&] { return qz_nds_set_mqtt_ip(handle, nullptr); },
      [&] { return qz_nds_get_mqtt_user(handle, nullptr, &len); },
      [&] { return qz_nds_get_mqtt_port(handle, nullptr); },
      [&] { return qz_nds_set_visual_user(handle, nullptr); },
      [&] { return qz_nds_get_visual_ip(handle, b, nullptr); },
      [&] { return qz_nds_28181_set_para(handle, 0, nullptr, 1, "", "", ""); },
      [&] { return qz_nds_28181_get_para(handle, &flag, b, nullptr, b, b, b); },
      [&] { return qz_nds_set_system_time(handle, nullptr); },
  };
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_FALSE(calls[i]()) << "call " << i;
    EXPECT_EQ(thread_error_kind(), QZ_NDSX_BAD_ARGUMENT) << "call " << i;
  }
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

// A standing connection is kept; disconnecting an idle session is still
// true, with an error line; while not connected nothing is sent.
TEST_F(SessionTest, ConnectionStatesAndTransportEventsAndTheirLines) {
  EXPECT_FALSE(qz_nds_connect(handle, nullptr));
  EXPECT_TRUE(log.lines().empty());
  const std::size_t calls = net.connect_calls();
  EXPECT_TRUE(qz_nds_connect(handle, "device"));
  EXPECT_EQ(net.connect_calls(), calls);
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::connect", "device is conncted"));

  EXPECT_TRUE(net.deliver_event(QZ_NET_EVENT_EXCEPTION));
  EXPECT_TRUE(is_connected(handle));
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::on_exception", "net dev setting on exception"));
  EXPECT_FALSE(net.deliver_event(5));
  EXPECT_TRUE(
      log.contains(kLogError, "NetDevSetting::parse_received_data", "recv type = 5 is not supported"));
  EXPECT_FALSE(NetDevSetting::net_callback(nullptr, &session()));
  EXPECT_TRUE(net.deliver_event(QZ_NET_EVENT_DISCONNECTED));
  EXPECT_FALSE(is_connected(handle));
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::on_disconnected", "net dev setting on disconnected"));

  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  ASSERT_TRUE(qz_nds_disconnect(handle));
  EXPECT_TRUE(qz_nds_disconnect(handle));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::disconnect", "device is not connected"));
  EXPECT_FALSE(send_switch(session()));
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::send_cmd", "device is not connected"));
  net.set_connect_result(false);
  EXPECT_FALSE(qz_nds_connect(handle, "10.1.2.3"));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::connect", "connect server 10.1.2.3 failed"));
}

// The first request byte for byte; the seq goes on across a loss the
// transport reports and starts again at 1 after an explicit disconnect.
TEST_F(SessionTest, SequenceNumbersStartAtOneAndRestartAfterDisconnectOnly) {
  answer_all();
  // A request without its payload's bytes is not sent and takes no seq.
  EXPECT_FALSE(session().send_cmd(169, 128, 4, nullptr, 100));
  ASSERT_TRUE(send_switch(session()));
  ASSERT_TRUE(session().send_cmd(173, 128, 0, nullptr, 0));  // unwaited commands count too
  ASSERT_TRUE(send_switch(session()));
  auto sent = net.sent();
  ASSERT_EQ(sent.size(), 3u);
  // Start flag, total length 29, request, main 169, sub 128, marker 2, seq 1,
  // payload length 1, the payload, end flag.
  EXPECT_EQ(sent[0], (Bytes{'Q', 'Z', 'S', 'T', 'A', 'R', 'T', 0, 0, 0,   29,  0,   169, 128, 2,
                            0,   0,   0,   1,   0,   0,   0,   1, 1, 'Q', 'Z', 'E', 'N', 'D'}));
  for (uint32_t i = 1; i < 3; ++i) EXPECT_EQ(seq_of(sent[i]), i + 1);

  ASSERT_TRUE(net.deliver_event(QZ_NET_EVENT_DISCONNECTED));
  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  ASSERT_TRUE(send_switch(session()));
  EXPECT_EQ(seq_of(last_sent()), 4u);

  ASSERT_TRUE(qz_nds_disconnect(handle));
  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  ASSERT_TRUE(send_switch(session()));
  EXPECT_EQ(seq_of(last_sent()), 1u);
}

// Each delivery is a copy of exactly its size, so a sanitizer sees any read
// past it.
TEST_F(SessionTest, InvalidDeliveriesAreDroppedWithTheirMessage) {
  const Bytes good = wire::make_frame(wire::kPackageResponse, 169, 128, 0, 1, {9, 9});
  auto with_byte = [&](std::size_t at, uint8_t value) {
    Bytes b = good;
    b[at] = value;
    return b;
  };
  auto with_total = [&](uint32_t total) {
    Bytes b = good;
    wire::store_be32(b.data() + wire::kOffTotalLength, total);
    return b;
  };
  Bytes two = good;
  two.insert(two.end(), good.begin(), good.end());
  const struct Case {
    Bytes bytes;
    const char *message;  // null: accepted
  } cases[] = {
      {good, nullptr},
      {two, nullptr},  // the first frame counts
      {with_byte(0, 'X'), "start falg is error"},
      {with_byte(6, 'X'), "start falg is error"},
      {Bytes(good.begin(), good.begin() + 10), "start falg is error"},
      {with_total(27), "total data len = 27 is error"},
      {with_total(31), "total data len = 31 is error"},
      {Bytes(good.begin(), good.begin() + 23), "total data len = 30 is error"},
      {with_byte(wire::kOffPackageType, 0), "package type = 0 is not supported"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.message ? c.message : "accepted");
    log.clear();
    EXPECT_EQ(net.deliver(c.bytes), c.message == nullptr);
    EXPECT_TRUE(c.message ? log.contains(kLogError, "NetDevSetting::on_data", c.message)
                          : log.lines().empty());
  }
  EXPECT_FALSE(session().on_data(1, static_cast<uint32_t>(good.size()), good.data()));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::on_data", "data type = 1 is error"));
  EXPECT_FALSE(session().on_data(0, 0, nullptr));
}

// Answers with a seq nobody waits for: handled by their main command alone.
TEST_F(SessionTest, DispatchFollowsTheMainCommand) {
  struct Case {
    uint8_t main, sub, code;
    uint32_t payload_length_field;
    bool accepted;
    const char *message;  // expected line, or null
  } cases[] = {
      {169, 128, 0, 0, true, nullptr},
      {173, 128, 0, 0, true, nullptr},
      {168, 130, 0, 0, true, nullptr},
      {168, 130, 0, 1, false, nullptr},
      {164, 142, 0, 0, true, nullptr},
      {164, 142, 0, 4, false, nullptr},
      {169, 128, 5, 0, false, "cmd [169,128]'s response code = 5 is not successed"},
      {170, 1, 0, 0, false, "main cmd = 170 is not supported"},
      {174, 131, 0, 0, false, "QZ_MACHINE_STATUS's vicd cmd = 131 is not supported"},
      {48, 128, 0, 0, false, nullptr},
      {49, 130, 0, 0, false, nullptr},
      {49, 132, 0, 0, false, nullptr},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.main) << "/" << int(c.sub) << " code " << int(c.code));
    log.clear();
    Bytes frame = wire::make_frame(wire::kPackageResponse, c.main, c.sub, c.code, 999, {});
    wire::store_be32(frame.data() + wire::kOffPayloadLength, c.payload_length_field);
    EXPECT_EQ(net.deliver(frame), c.accepted);
    EXPECT_TRUE(c.message == nullptr || log.contains(c.message));
    EXPECT_TRUE(!c.accepted || log.lines().empty());
  }
  EXPECT_TRUE((session().waiting_commands() == 0));
}

// An answer that comes before the caller waits (the scripted transport
// answers inside send) is kept: the call returns at once. Silence runs out
// the caller's wait. Either way no entry is left behind. (A refusal's lines,
// and that it fails at once, are the e2e
// ErrorChannel.LogLinesReachTheApplicationsCallback and SimFaultE2E's
// response code case.)
TEST_F(SessionTest, AnAnswerBeforeTheWaitIsKeptAndSilenceRunsOutTheWait) {
  answer_all();
  auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(send_switch(session(), 5000));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  net.set_responder(nullptr);
  start = std::chrono::steady_clock::now();
  EXPECT_FALSE(send_switch(session(), 200));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
  EXPECT_TRUE(
      log.contains(kLogError, "NetDevSetting::check_response_status", "checkout seq = 2's response failed"));
  EXPECT_TRUE((session().waiting_commands() == 0));
}

}  // namespace
}  // namespace qz::test
