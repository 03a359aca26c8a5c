// Concurrency against the simulated device: many sessions of one process at
// once, and every family of exports from several threads on one session.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "export_cases.h"
#include "fleet.h"
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

// Fifty cameras of a fleet share one I/O thread: the process gains the same
// one thread a single camera would, each camera answers with a serial number
// of its own, and a fault set on one camera shows on that camera only.
TEST(SimFleetE2E, FiftyCamerasOnOneThreadEachAnswerAsThemselves) {
  constexpr std::size_t kCameras = 50;
  constexpr std::size_t kFaulty = 6;
#ifndef _WIN32
  {
    // A first thread may bring one of the runtime's own (ThreadSanitizer's).
    sim::Fleet warm_up(1, sim::SimOptions{.port = 0});
    ASSERT_TRUE(warm_up.start());
  }
  const std::size_t threads_before = entries_of("/proc/self/task");
#endif
  sim::Fleet fleet(kCameras, sim::SimOptions{.port = 0});
  std::string error;
  ASSERT_TRUE(fleet.start(&error)) << error;
#ifndef _WIN32
  EXPECT_EQ(entries_of("/proc/self/task"), threads_before + 1);
#endif
  fleet.camera(kFaulty).set_fault(sim::FaultKey::command(174, 130), sim::Fault{.code = 3});

  std::set<std::string> serials;
  for (std::size_t i = 0; i < kCameras; ++i) {
    SCOPED_TRACE(fleet.name(i));
    SimClient client;
    ASSERT_TRUE(qz_nds_connect(client.handle, fleet.address(i).c_str()));
    if (i == kFaulty) {
      EXPECT_FALSE(client.read_record());
      continue;
    }
    char sn[32];
    uint32_t len = 0;
    ASSERT_TRUE(client.read_record() && qz_nds_get_sn(client.handle, sn, &len));
    EXPECT_EQ(std::string(sn, len), fleet.camera(i).state().device_sn);
    serials.emplace(sn, len);
  }
  EXPECT_EQ(serials.size(), kCameras - 1);
}

using Run = std::function<bool(qz_nds_handle)>;

// One export call and the check of what it reported.
struct Call {
  std::string name;
  Run run;
};

// Every family's calls: first those that talk to the device, then the
// getters that answer from the session. Each setter always sets the same
// value, so once the table ran through, every getter has one right answer
// whatever runs beside it.
struct CallTable {
  enum Stretch { kDevice, kSession };
  std::array<std::vector<Call>, 2> stretches;
  void add(Stretch stretch, std::string name, Run run) {
    stretches[stretch].push_back({std::move(name), std::move(run)});
  }
  void pair(const std::string &name, Run set, Run get, Stretch get_stretch) {
    add(kDevice, "set " + name, std::move(set));
    add(get_stretch, "get " + name, std::move(get));
  }
  void pair(const SettingCase &c, Stretch get_stretch) {
    pair(
        c.field, [&c](qz_nds_handle h) { return c.set(h, c.first); },
        [&c](qz_nds_handle h) {
          uint32_t seen = 0xDEAD;
          return c.get(h, &seen) && seen == c.first;
        },
        get_stretch);
  }
};

CallTable every_family(const sim::DeviceState &device) {
  CallTable t;
  // The passive wireless requests carry the serial number the record brought.
  t.add(CallTable::kDevice, "read machine config", qz_nds_get_machine_config_info);
  t.add(CallTable::kSession, "get machine info", [&device](qz_nds_handle h) {
    uint16_t v1 = 0, v2 = 0;
    char sn[32] = {}, t1[32] = {}, t2[32] = {}, t3[32] = {};
    return qz_nds_get_machine_info(h, &v1, &v2, sn, t1, t2, t3) && v1 == device.machine_value1 &&
           v2 == device.machine_value2 && sn == device.device_sn && t1 == device.machine_text1 &&
           t2 == device.machine_text2 && t3 == device.machine_text3;
  });
  t.add(CallTable::kSession, "get sn", [&device](qz_nds_handle h) {
    char sn[32];
    uint32_t len = 0;
    return qz_nds_get_sn(h, sn, &len) && std::string(sn, len) == device.device_sn;
  });
  t.pair(
      "ip info",
      [](qz_nds_handle h) {
        return qz_nds_set_ip_info(h, 1, "10.20.30.40", "255.255.0.0", "10.20.0.1", "1.1.1.1", "9.9.9.9");
      },
      [](qz_nds_handle h) {
        uint8_t flag = 0;
        char text[5][16] = {};
        return qz_nds_get_ip_info(h, &flag, text[0], text[1], text[2], text[3], text[4]) && flag == 1 &&
               std::string(text[0]) == "10.20.30.40" && std::string(text[4]) == "9.9.9.9";
      },
      CallTable::kDevice);
  t.pair(
      "account info",
      [](qz_nds_handle h) { return qz_nds_set_account_info(h, reinterpret_cast<const uint8_t *>("acc"), 3); },
      [](qz_nds_handle h) {
        uint8_t info[8];
        uint32_t len = sizeof info;
        return qz_nds_get_account_info(h, info, &len) && std::string(info, info + len) == "acc";
      },
      CallTable::kDevice);
  t.pair(
      "passive wireless power status",
      [](qz_nds_handle h) {
        const uint32_t s1 = 5, s2 = 6, s3 = 7;
        return qz_nds_set_passive_wireless_power_status(h, &s1, &s2, &s3);
      },
      [](qz_nds_handle h) {
        uint32_t s1 = 0, s2 = 0, s3 = 0;
        return qz_nds_get_passive_wireless_power_status(h, &s1, &s2, &s3) && s1 == 5 && s2 == 6 && s3 == 7;
      },
      CallTable::kDevice);
  t.pair(
      "passive wireless domain",
      [](qz_nds_handle h) { return qz_nds_set_passive_wireless_domain(h, "pw.example.net", 9); },
      [](qz_nds_handle h) {
        char domain[128];
        uint32_t value = 0;
        return qz_nds_get_passive_wireless_domain(h, domain, &value) &&
               std::string(domain) == "pw.example.net" && value == 9;
      },
      CallTable::kDevice);
  t.add(CallTable::kDevice, "set visual sn",
        [](qz_nds_handle h) { return qz_nds_set_visual_sn(h, 1, 0, "VS-0042", 7); });
  for (const TextCase &c : kLinkTexts) {
    t.pair(
        std::string("text ") + c.value, [&c](qz_nds_handle h) { return c.set(h, c.value); },
        [&c](qz_nds_handle h) {
          char text[80];
          uint32_t len = 0;
          return c.get(h, text, &len) && std::string(text, len) == c.value;
        },
        CallTable::kDevice);
  }
  t.pair(
      "28181 para",
      [](qz_nds_handle h) {
        return qz_nds_28181_set_para(h, 1, "3402000000200000009", 5061, "34", "id", "pw");
      },
      [](qz_nds_handle h) {
        uint8_t enable = 0;
        uint16_t port = 0;
        char t1[64], t2[64], t3[64], t4[64];
        return qz_nds_28181_get_para(h, &enable, t1, &port, t2, t3, t4) && enable == 1 && port == 5061 &&
               std::string(t1) == "3402000000200000009" && std::string(t4) == "pw";
      },
      CallTable::kDevice);
  for (const SettingCase &c : kKeptSettings) t.pair(c, CallTable::kSession);
  for (const SettingCase &c : kQueriedSettings) t.pair(c, CallTable::kDevice);
  t.add(CallTable::kDevice, "set system time", [](qz_nds_handle h) {
    const std::array<uint8_t, 20> block{0x20, 0x24};
    return qz_nds_set_system_time(h, block.data());
  });
  for (int id : {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11}) {  // 8 is the channel name's
    const auto attribute = static_cast<uint8_t>(id + 1);
    const auto value1 = static_cast<uint16_t>(0x100 + id);
    t.pair(
        "osd " + std::to_string(id),
        [=](qz_nds_handle h) { return qz_nds_set_osd_setting(h, id, 1, attribute, value1, 0x2000); },
        [=](qz_nds_handle h) {
          uint8_t display = 0, attr = 0;
          uint16_t v1 = 0, v2 = 0;
          return qz_nds_get_osd_setting(h, id, &display, &attr, &v1, &v2) && display == 1 &&
                 attr == attribute && v1 == value1 && v2 == 0x2000;
        },
        CallTable::kSession);
  }
  t.pair(
      "channel name",
      [](qz_nds_handle h) { return qz_nds_osd_set_channel_name(h, 4, "yard", 1, 3, 640, 480); },
      [](qz_nds_handle h) {
        char name[256] = {};
        uint8_t display = 0, attribute = 0;
        uint16_t value1 = 0, value2 = 0;
        return qz_nds_osd_get_channel_info(h, name, &display, &attribute, &value1, &value2) &&
               std::string(name) == "yard" && display == 1 && attribute == 3 && value1 == 640 &&
               value2 == 480;
      },
      CallTable::kSession);
  t.add(CallTable::kDevice, "keep alive", qz_nds_keep_alive);
  return t;
}

using SimThreadsE2E = SimTest;

// Four threads run the whole table on one session, each from its own row.
// Beside them two threads read the configuration all the while, whose parser
// writes nearly every value the session keeps on the transport thread, and
// one runs the session's getters over and over, reading those values on a
// caller's thread with no round trip between. Under ThreadSanitizer an
// access to the session's state outside its lock is reported; every answer
// must still reach the caller that asked.
TEST_F(SimThreadsE2E, ConcurrentCallsOfEveryFamilyOnOneSessionAllSucceed) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kRounds = 20;
  const sim::DeviceState device = sim.state();
  const CallTable table = every_family(device);
  std::vector<Call> calls = table.stretches[CallTable::kDevice];
  const std::size_t first_session_row = calls.size();
  calls.insert(calls.end(), table.stretches[CallTable::kSession].begin(),
               table.stretches[CallTable::kSession].end());
  // Once through alone: the device then holds every value the table sets.
  for (const Call &call : calls) ASSERT_TRUE(call.run(client.handle)) << call.name;

  std::vector<std::atomic<int>> failures(calls.size());
  std::atomic<int> record_failures{0};
  auto run = [&](std::size_t row) {
    if (!calls[row].run(client.handle)) ++failures[row];
  };
  std::atomic<bool> done{false};
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r)
    readers.emplace_back([&] {
      while (!done)
        if (!qz_nds_get_machine_config_info(client.handle)) ++record_failures;
    });
  readers.emplace_back([&] {
    while (!done)
      for (std::size_t row = first_session_row; row < calls.size(); ++row) run(row);
  });
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      const std::size_t first = t * calls.size() / kThreads;
      for (std::size_t i = 0; i < kRounds * calls.size(); ++i) run((first + i) % calls.size());
    });
  for (auto &thread : threads) thread.join();
  done = true;
  for (auto &reader : readers) reader.join();
  EXPECT_EQ(record_failures, 0);
  for (std::size_t row = 0; row < calls.size(); ++row) EXPECT_EQ(failures[row], 0) << calls[row].name;
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
