// The shared library over real loopback TCP against a scripted device:
// connection, split and coalesced answers, a device that hangs up, and
// concurrent callers on one session.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "qz_net_dev_setting.h"
#include "scripted_device.h"

namespace qz::test {
namespace {

using namespace std::chrono_literals;

// The smallest valid machine configuration record: 267 bytes, empty name.
const Bytes kRecord(267, 0);

class Session {
 public:
  Session() { EXPECT_TRUE(qz_nds_init(&handle)); }
  ~Session() { qz_nds_uninit(&handle); }
  qz_nds_handle handle = nullptr;
};

TEST(CoreE2E, ConnectThenTheFirstCommandWorksAtOnce) {
  ScriptedDevice device;
  device.set_responder([](const wire::FrameView &r) { return std::vector<Bytes>{response_to(r, kRecord)}; });
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  EXPECT_TRUE(qz_nds_get_machine_config_info(s.handle));
  auto requests = device.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0], wire::make_frame(wire::kPackageRequest, 174, 130, 2, 1, nullptr, 0));
}

TEST(CoreE2E, ConnectToAClosedPortFails) {
  uint16_t port;
  {
    ScriptedDevice device;
    port = device.port();
  }
  Session s;
  EXPECT_FALSE(qz_nds_connect(s.handle, ("127.0.0.1:" + std::to_string(port)).c_str()));
  EXPECT_FALSE(qz_nds_get_machine_config_info(s.handle));
}

TEST(CoreE2E, AnAnswerSplitOverTwoWritesIsReassembled) {
  ScriptedDevice device;
  device.set_script([](const wire::FrameView &r) {
    Bytes frame = response_to(r, kRecord);
    Bytes head(frame.begin(), frame.begin() + 17), tail(frame.begin() + 17, frame.end());
    return std::vector<DeviceWrite>{{head}, {tail, 50ms}};
  });
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  EXPECT_TRUE(qz_nds_get_machine_config_info(s.handle));
  EXPECT_TRUE(qz_nds_get_machine_config_info(s.handle));
}

TEST(CoreE2E, TwoAnswersInOneWriteAreBothHandled) {
  ScriptedDevice device;
  std::mutex mutex;
  Bytes held;
  // Hold the first answer and send it together with the second.
  device.set_script([&](const wire::FrameView &r) {
    std::lock_guard lock(mutex);
    Bytes frame = response_to(r, kRecord);
    if (held.empty()) {
      held = frame;
      return std::vector<DeviceWrite>{};
    }
    held.insert(held.end(), frame.begin(), frame.end());
    std::vector<DeviceWrite> writes{{held}};
    held.clear();
    return writes;
  });
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  bool first = false;
  std::thread other([&] { first = qz_nds_get_machine_config_info(s.handle); });
  while (device.requests().empty()) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(qz_nds_get_machine_config_info(s.handle));
  other.join();
  EXPECT_TRUE(first);
}

TEST(CoreE2E, ADeviceThatHangsUpFailsTheWaitingCallerAndAllowsReconnect) {
  ScriptedDevice device;
  std::atomic<int> count{0};
  device.set_script([&](const wire::FrameView &r) {
    if (count++ == 0) return std::vector<DeviceWrite>{{Bytes{}, 0ms, true}};
    return std::vector<DeviceWrite>{{response_to(r, kRecord)}};
  });
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(qz_nds_get_machine_config_info(s.handle));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 11s);
  // The session now knows it is not connected: nothing is sent.
  EXPECT_FALSE(qz_nds_get_machine_config_info(s.handle));
  EXPECT_EQ(device.requests().size(), 1u);
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  EXPECT_TRUE(qz_nds_get_machine_config_info(s.handle));
}

TEST(CoreE2E, EightThreadsOnOneSessionEachGetTheirAnswers) {
  ScriptedDevice device;
  device.set_responder([](const wire::FrameView &r) { return std::vector<Bytes>{response_to(r, kRecord)}; });
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i)
        if (!qz_nds_get_machine_config_info(s.handle)) ++failures;
    });
  for (auto &t : threads) t.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(device.requests().size(), 800u);
}

}  // namespace
}  // namespace qz::test
