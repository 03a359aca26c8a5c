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

// Three hundred sessions of this process at once, on fifty cameras of a fleet
// that share one I/O thread (the process gains the one thread a single camera
// would). From four threads each session reads its camera's record, sees that
// camera's own serial number and keeps a link count of its own, which only it
// remembers; a fault set on one camera shows on that camera's sessions only.
TEST(SimSessionsE2E, ThreeHundredSessionsOnFiftyCamerasEachSeeTheirOwnCamera) {
  constexpr std::size_t kCameras = 50, kSessions = 300, kThreads = 4, kFaulty = 6;
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
  std::vector<std::string> serials;
  for (std::size_t c = 0; c < kCameras; ++c) serials.push_back(fleet.camera(c).state().device_sn);
  EXPECT_EQ(std::set<std::string>(serials.begin(), serials.end()).size(), kCameras);
  auto total = [&](uint64_t sim::SimStats::*counter) {
    uint64_t n = 0;
    for (std::size_t c = 0; c < kCameras; ++c) n += fleet.camera(c).stats().*counter;
    return n;
  };

  std::vector<std::unique_ptr<SimClient>> clients;
  for (std::size_t i = 0; i < kSessions; ++i) {
    clients.push_back(std::make_unique<SimClient>());
    ASSERT_TRUE(qz_nds_connect(clients.back()->handle, fleet.address(i % kCameras).c_str())) << i;
  }
  EXPECT_TRUE(eventually([&] { return total(&sim::SimStats::active) == kSessions; }));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = t; i < kSessions; i += kThreads) {
        qz_nds_handle h = clients[i]->handle;
        const auto count = static_cast<uint8_t>(i % 17);
        char sn[32];
        uint32_t len = 0;
        uint8_t seen = 0xEE;
        const bool ok = i % kCameras == kFaulty
                            ? !qz_nds_get_machine_config_info(h)
                            : qz_nds_get_machine_config_info(h) && qz_nds_get_sn(h, sn, &len) &&
                                  std::string(sn, len) == serials[i % kCameras] &&
                                  qz_nds_set_ps_link_count(h, count) && qz_nds_get_ps_link_count(h, &seen) &&
                                  seen == count;
        if (!ok) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  // The record and the link count's set; the faulty camera's sessions stop at the record.
  EXPECT_EQ(total(&sim::SimStats::requests), 2 * kSessions - kSessions / kCameras);

  for (auto &client : clients) {
    EXPECT_TRUE(qz_nds_uninit(&client->handle));
    EXPECT_EQ(client->handle, nullptr);
  }
  EXPECT_TRUE(eventually([&] { return total(&sim::SimStats::active) == 0; }));
}

using Run = std::function<bool(qz_nds_handle)>;

// One export call and the check of what it reported; `session` when it
// answers from the session without a round trip.
struct Call {
  std::string name;
  Run run;
  bool session = false;
};

// Every family's calls, each getter behind its setter. Each setter always
// sets the same value, so once the table ran through, every getter has one
// right answer whatever runs beside it.
struct CallTable {
  std::vector<Call> calls;
  void add(std::string name, Run run) { calls.push_back({std::move(name), std::move(run)}); }
  void add_session(std::string name, Run run) { calls.push_back({std::move(name), std::move(run), true}); }
  void pair(const std::string &name, Run set, Run get, bool session = false) {
    add("set " + name, std::move(set));
    session ? add_session("get " + name, std::move(get)) : add("get " + name, std::move(get));
  }
  void pair(const SettingCase &c, bool session) {
    pair(
        c.field, [&c](qz_nds_handle h) { return c.set(h, c.first); },
        [&c](qz_nds_handle h) {
          uint32_t seen = 0xDEAD;
          return c.get(h, &seen) && seen == c.first;
        },
        session);
  }
};

std::vector<Call> every_family(const sim::DeviceState &device) {
  CallTable t;
  t.add_session("get machine info", [&device](qz_nds_handle h) {
    uint16_t v1 = 0, v2 = 0;
    char sn[32] = {}, t1[32] = {}, t2[32] = {}, t3[32] = {};
    return qz_nds_get_machine_info(h, &v1, &v2, sn, t1, t2, t3) && v1 == device.machine_value1 &&
           v2 == device.machine_value2 && sn == device.device_sn && t1 == device.machine_text1 &&
           t2 == device.machine_text2 && t3 == device.machine_text3;
  });
  t.add_session("get sn", [&device](qz_nds_handle h) {
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
      });
  t.pair(
      "account info",
      [](qz_nds_handle h) { return qz_nds_set_account_info(h, reinterpret_cast<const uint8_t *>("acc"), 3); },
      [](qz_nds_handle h) {
        uint8_t info[8];
        uint32_t len = sizeof info;
        return qz_nds_get_account_info(h, info, &len) && std::string(info, info + len) == "acc";
      });
  t.pair(
      "passive wireless power status",
      [](qz_nds_handle h) {
        const uint32_t s1 = 5, s2 = 6, s3 = 7;
        return qz_nds_set_passive_wireless_power_status(h, &s1, &s2, &s3);
      },
      [](qz_nds_handle h) {
        uint32_t s1 = 0, s2 = 0, s3 = 0;
        return qz_nds_get_passive_wireless_power_status(h, &s1, &s2, &s3) && s1 == 5 && s2 == 6 && s3 == 7;
      });
  t.pair(
      "passive wireless domain",
      [](qz_nds_handle h) { return qz_nds_set_passive_wireless_domain(h, "pw.example.net", 9); },
      [](qz_nds_handle h) {
        char domain[128];
        uint32_t value = 0;
        return qz_nds_get_passive_wireless_domain(h, domain, &value) &&
               std::string(domain) == "pw.example.net" && value == 9;
      });
  t.add("set visual sn", [](qz_nds_handle h) { return qz_nds_set_visual_sn(h, 1, 0, "VS-0042", 7); });
  for (const TextCase &c : kLinkTexts) {
    t.pair(
        std::string("text ") + c.value, [&c](qz_nds_handle h) { return c.set(h, c.value); },
        [&c](qz_nds_handle h) {
          char text[80];
          uint32_t len = 0;
          return c.get(h, text, &len) && std::string(text, len) == c.value;
        });
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
      });
  for (const SettingCase &c : kKeptSettings) t.pair(c, true);
  for (const SettingCase &c : kQueriedSettings) t.pair(c, false);
  t.add("set system time", [](qz_nds_handle h) {
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
        true);
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
      true);
  t.add("keep alive", qz_nds_keep_alive);
  return t.calls;
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
  const std::vector<Call> calls = every_family(device);
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
      for (std::size_t row = 0; row < calls.size(); ++row)
        if (calls[row].session) run(row);
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
