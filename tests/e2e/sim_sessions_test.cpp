// Concurrency against the simulated device: many sessions of one process at
// once, and many threads on one session.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sim_session.h"

namespace qz::test {
namespace {

TEST(SimSessionsE2E, ThreeHundredSessionsEachConnectAndRunTheirCommands) {
  constexpr int kSessions = 300;
  constexpr int kThreads = 4;
  sim::DeviceSim sim(sim::SimOptions{.port = 0});
  ASSERT_TRUE(sim.start());
  const std::string address = "127.0.0.1:" + std::to_string(sim.port());
  const std::string serial = sim.state().device_sn;

  std::vector<std::unique_ptr<SimClient>> clients;
  for (int i = 0; i < kSessions; ++i) {
    clients.push_back(std::make_unique<SimClient>());
    ASSERT_TRUE(qz_nds_connect(clients.back()->handle, address.c_str())) << "session " << i;
  }
  EXPECT_TRUE(eventually([&] { return sim.stats().active == kSessions; }));

  // Each session reads the record and sets a link count of its own, which
  // only that session remembers.
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t; i < kSessions; i += kThreads) {
        qz_nds_handle h = clients[i]->handle;
        const auto count = static_cast<uint8_t>(i % 17);
        char sn[32];
        uint32_t len = 0;
        uint8_t seen = 0xEE;
        const bool ok = qz_nds_get_machine_config_info(h) && qz_nds_get_sn(h, sn, &len) &&
                        std::string(sn, len) == serial && qz_nds_set_ps_link_count(h, count) &&
                        qz_nds_get_ps_link_count(h, &seen) && seen == count;
        if (!ok) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(sim.stats().requests, 2u * kSessions);

  for (auto &client : clients) {
    EXPECT_TRUE(qz_nds_uninit(&client->handle));
    EXPECT_EQ(client->handle, nullptr);
  }
  EXPECT_TRUE(eventually([&] { return sim.stats().active == 0; }));
}

using SimThreadsE2E = SimTest;

// Eight threads ask two queries with different answers at once; each answer
// must reach the caller that asked.
TEST_F(SimThreadsE2E, EightThreadsOnOneSessionEachGetTheirAnswers) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        uint8_t time = 0;
        uint32_t port = 0;
        if (!qz_nds_get_hardware_watchdog_disable_time(client.handle, &time) ||
            time != sim::DeviceState{}.hardware_watchdog_disable_time ||
            !qz_nds_get_mqtt_port(client.handle, &port) || port != sim::DeviceState{}.mqtt_port)
          ++failures;
      }
    });
  for (auto &t : threads) t.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(sim.stats().requests, 1600u);
}

// Threads connect and disconnect one session in any interleaving. Whatever
// state it ends in must be true: when connect says it is connected (without
// connecting again), a command goes through at once rather than waiting out
// its wait on a connection that was closed under it.
TEST_F(SimThreadsE2E, ConnectAndDisconnectRacingOnOneSessionLeaveItConsistent) {
  using namespace std::chrono_literals;
  for (int round = 0; round < 20; ++round) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        for (int i = 0; i < 25; ++i) (i + t) % 2 == 0 ? connect(client) : qz_nds_disconnect(client.handle);
      });
    for (auto &t : threads) t.join();
    ASSERT_TRUE(connect(client));
    bool ok = false;
    const auto took = time_of([&] { ok = client.read_record(); });
    ASSERT_TRUE(ok) << "round " << round;
    ASSERT_LT(took, 3000ms) << "round " << round;
  }
}

}  // namespace
}  // namespace qz::test
