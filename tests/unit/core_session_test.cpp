// The session core through the scripted transport: lifecycle, connection
// state, sequence numbers, the receive path and the command transaction.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <thread>

#include "qz_net.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;
using nds::kLogNotice;
using nds::NetDevSetting;

constexpr uint8_t kOne = 1;

// A command whose answer carries nothing to parse (main 169 sub 128).
bool send_switch(NetDevSetting &s, uint32_t wait_ms = nds::kWaitMs) { return s.send_cmd(169, 128, 1, &kOne, wait_ms); }

uint32_t seq_of(const Bytes &frame) { return wire::load_be32(frame.data() + wire::kOffSeq); }

TEST(Lifecycle, UninitRefusesNullAndClearsTheCallersVariable) {
  LogCapture log;
  EXPECT_FALSE(qz_nds_uninit(nullptr));
  qz_nds_handle none = nullptr;
  EXPECT_FALSE(qz_nds_uninit(&none));
  EXPECT_FALSE(qz_nds_init(nullptr));

  qz_nds_handle handle = nullptr;
  ASSERT_TRUE(qz_nds_init(&handle));
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(qz_nds_uninit(&handle));
  EXPECT_EQ(handle, nullptr);
  EXPECT_FALSE(qz_nds_uninit(&handle));
  EXPECT_TRUE(log.lines().empty());
}

TEST(Lifecycle, ForeignOrNullHandlesAreRefusedWithoutALogLine) {
  LogCapture log;
  struct Foreign : nds::_QZBaseObject {
    Foreign() : _QZBaseObject("other_object") {}
  } foreign;
  for (void *handle : {static_cast<void *>(nullptr), foreign.get_handle()}) {
    EXPECT_FALSE(qz_nds_connect(handle, "device"));
    EXPECT_FALSE(qz_nds_disconnect(handle));
    EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
    qz_nds_handle copy = handle;
    EXPECT_FALSE(qz_nds_uninit(&copy));
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(Lifecycle, OnlyTheTagsOwnLengthIsCompared) {
  struct Longer : nds::_QZBaseObject {
    Longer() : _QZBaseObject("net_dev_setting_and_more") {}
  } longer;
  EXPECT_TRUE(nds::check_type_tag(longer.get_handle(), nds::kTypeTag));
  EXPECT_FALSE(nds::check_type_tag(nullptr, nds::kTypeTag));
}

TEST_F(SessionTest, ConnectRefusesANullAddressAndKeepsAStandingConnection) {
  EXPECT_FALSE(qz_nds_connect(handle, nullptr));
  EXPECT_TRUE(log.lines().empty());
  const std::size_t calls = net.connect_calls();
  EXPECT_TRUE(qz_nds_connect(handle, "device"));
  EXPECT_EQ(net.connect_calls(), calls);
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::connect", "device is conncted"));
}

TEST_F(SessionTest, FailedConnectIsLoggedWithTheAddress) {
  ASSERT_TRUE(qz_nds_disconnect(handle));
  net.set_connect_result(false);
  EXPECT_FALSE(qz_nds_connect(handle, "10.1.2.3"));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::connect", "connect server 10.1.2.3 failed"));
}

TEST_F(SessionTest, DisconnectOfAnIdleSessionSucceedsWithAnError) {
  ASSERT_TRUE(qz_nds_disconnect(handle));
  log.clear();
  EXPECT_TRUE(qz_nds_disconnect(handle));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::disconnect", "device is not connected"));
}

TEST_F(SessionTest, SequenceNumbersStartAtOneAndRestartAfterDisconnectOnly) {
  answer_all();
  ASSERT_TRUE(send_switch(session()));
  ASSERT_TRUE(session().send_cmd(173, 128, 0, nullptr, 0));  // unwaited commands count too
  ASSERT_TRUE(send_switch(session()));
  auto sent = net.sent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(seq_of(sent[0]), 1u);
  EXPECT_EQ(seq_of(sent[1]), 2u);
  EXPECT_EQ(seq_of(sent[2]), 3u);

  // A loss reported by the transport keeps the count going.
  ASSERT_TRUE(net.deliver_event(QZ_NET_EVENT_DISCONNECTED));
  EXPECT_FALSE(session().connected);
  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  ASSERT_TRUE(send_switch(session()));
  EXPECT_EQ(seq_of(last_sent()), 4u);

  // An explicit disconnect starts again at 1.
  ASSERT_TRUE(qz_nds_disconnect(handle));
  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  ASSERT_TRUE(send_switch(session()));
  EXPECT_EQ(seq_of(last_sent()), 1u);
}

TEST_F(SessionTest, NothingIsSentWhileNotConnected) {
  ASSERT_TRUE(qz_nds_disconnect(handle));
  log.clear();
  const std::size_t before = net.sent().size();
  EXPECT_FALSE(send_switch(session()));
  EXPECT_FALSE(qz_nds_get_machine_config_info(handle));
  EXPECT_EQ(net.sent().size(), before);
  EXPECT_EQ(session().next_seq, 0u);
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::send_cmd", "device is not connected"));
}

TEST_F(SessionTest, TransportEventsAreHandledByType) {
  EXPECT_TRUE(net.deliver_event(QZ_NET_EVENT_EXCEPTION));
  EXPECT_TRUE(session().connected);
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::on_exception", "net dev setting on exception"));
  EXPECT_FALSE(net.deliver_event(5));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::parse_received_data", "recv type = 5 is not supported"));
  EXPECT_TRUE(net.deliver_event(QZ_NET_EVENT_DISCONNECTED));
  EXPECT_FALSE(session().connected);
  EXPECT_TRUE(log.contains(kLogNotice, "NetDevSetting::on_disconnected", "net dev setting on disconnected"));
  EXPECT_FALSE(NetDevSetting::net_callback(nullptr, &session()));
}

TEST_F(SessionTest, InvalidDeliveriesAreDroppedWithTheirMessage) {
  Bytes good = wire::make_frame(wire::kPackageResponse, 169, 128, 0, 1, {});
  Bytes bad_start = good;
  bad_start[0] = 'X';
  Bytes len27 = good;
  wire::store_be32(len27.data() + wire::kOffTotalLength, 27);
  Bytes type0 = good;
  type0[wire::kOffPackageType] = 0;
  struct Case {
    Bytes bytes;
    const char *message;
  } cases[] = {
      {bad_start, "start falg is error"},
      {Bytes(good.begin(), good.begin() + 5), "start falg is error"},
      {len27, "total data len = 27 is error"},
      {Bytes(good.begin(), good.begin() + 20), "total data len = 28 is error"},
      {type0, "package type = 0 is not supported"},
  };
  for (const Case &c : cases) {
    log.clear();
    EXPECT_FALSE(net.deliver(c.bytes)) << c.message;
    EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::on_data", c.message)) << c.message;
  }
  EXPECT_FALSE(session().on_data(1, static_cast<uint32_t>(good.size()), good.data()));
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::on_data", "data type = 1 is error"));
  EXPECT_FALSE(session().on_data(0, 0, nullptr));
}

TEST_F(SessionTest, DispatchFollowsTheMainCommand) {
  struct Case {
    uint8_t main, sub, code;
    uint32_t payload_length_field;
    bool accepted;
    const char *message;  // expected level-4 line, or null
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
    if (c.message) {
      EXPECT_TRUE(log.contains(c.message));
    }
  }
}

TEST_F(SessionTest, ARefusedAnswerFailsAtOnceWithEveryLine) {
  answer_all({}, 3);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(send_switch(session()));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(log.messages(), (std::vector<std::string>{"cmd [169,128]'s response code = 3 is not successed",
                                                       "checkout seq = 1's response failed",
                                                       "send cmd[169, 128] size = 1 failed"}));
  EXPECT_TRUE(session().pending.empty());
}

TEST_F(SessionTest, AnUnansweredCommandTimesOutAndLeavesNoEntry) {
  answer_none();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(send_switch(session(), 200));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
  EXPECT_TRUE(session().pending.empty());
  EXPECT_TRUE(log.contains(kLogError, "NetDevSetting::check_response_status", "checkout seq = 1's response failed"));
}

TEST_F(SessionTest, AnswersForUnknownSeqsWakeNobody) {
  Bytes frame = wire::make_frame(wire::kPackageResponse, 169, 128, 0, 77, {});
  EXPECT_TRUE(net.deliver(frame));
  EXPECT_TRUE(session().pending.empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SessionTest, UnwaitedCommandsRegisterNothing) {
  answer_none();
  EXPECT_TRUE(session().send_cmd(164, 142, 0, nullptr, 0));
  EXPECT_TRUE(session().pending.empty());
  net.set_send_result(false);
  EXPECT_FALSE(session().send_cmd(173, 128, 0, nullptr, 0));
  EXPECT_EQ(log.messages(), std::vector<std::string>{"send cmd[173, 128] size = 0 failed"});
}

TEST_F(SessionTest, APayloadLengthWithoutBytesIsRefused) {
  const std::size_t before = net.sent().size();
  EXPECT_FALSE(session().send_cmd(169, 128, 4, nullptr, 100));
  EXPECT_EQ(net.sent().size(), before);
  EXPECT_EQ(session().next_seq, 0u);
}

TEST_F(SessionTest, TheAnswerSinkSeesTheCacheOfItsOwnAnswer) {
  answer_all();
  int calls = 0;
  auto sink = [&] { ++calls; };
  ASSERT_TRUE(session().send_cmd(169, 128, 1, &kOne, nds::kWaitMs, sink));
  EXPECT_EQ(calls, 1);
  answer_all({}, 1);
  EXPECT_FALSE(session().send_cmd(169, 128, 1, &kOne, nds::kWaitMs, sink));
  EXPECT_EQ(calls, 1);  // not for a refused answer
}

// Eight callers on one session, answered in reverse order from the
// transport's thread: each succeeds on its own answer, none on a neighbour's.
TEST_F(SessionTest, ConcurrentCallersEachGetTheirOwnAnswer) {
  constexpr int kThreads = 8, kRounds = 40;
  net.set_async(true);
  std::mutex mutex;
  std::vector<Bytes> held;
  // Collect one round's requests, then answer them last first.
  net.set_responder([&](const wire::FrameView &request) {
    std::lock_guard lock(mutex);
    held.push_back(response_to(request, {}, request.header.sub == 129 ? 1 : 0));
    std::vector<Bytes> out;
    if (held.size() == kThreads) {
      out.assign(held.rbegin(), held.rend());
      held.clear();
    }
    return out;
  });
  std::barrier round(kThreads);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        // Odd threads send sub 129, which the device refuses.
        const bool refused = t % 2 == 1;
        if (session().send_cmd(169, refused ? 129 : 128, 1, &kOne, 5000) == refused) ++wrong;
        round.arrive_and_wait();
      }
    });
  }
  for (auto &t : threads) t.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(session().pending.empty());
}

TEST(Lifecycle, UninitWakesAWaitingCallerAtOnce) {
  FakeNet &net = FakeNet::instance();
  net.reset();
  net.set_responder([](const wire::FrameView &) { return std::vector<Bytes>{}; });
  qz_nds_handle handle = nullptr;
  ASSERT_TRUE(qz_nds_init(&handle));
  ASSERT_TRUE(qz_nds_connect(handle, "device"));
  std::atomic<bool> done{false};
  bool result = true;
  const auto start = std::chrono::steady_clock::now();
  std::thread caller([&] {
    result = qz_nds_get_machine_config_info(handle);
    done = true;
  });
  while (net.sent().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  qz_nds_handle copy = handle;
  EXPECT_TRUE(qz_nds_uninit(&copy));
  caller.join();
  EXPECT_FALSE(result);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  net.reset();
}

}  // namespace
}  // namespace qz::test
