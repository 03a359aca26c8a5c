// A misbehaving device: the simulator's faults against the library over
// loopback TCP. Every case must end in a clear result well within the wait,
// keep the session's cache consistent and leave the session usable (after a
// reconnect where the connection was lost). The one case that waits out the
// full 10 s sits in a suite of its own, so ctest runs it beside the others.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "sim_session.h"
#include "wire_frame.h"

namespace qz::test {
namespace {

using namespace std::chrono_literals;
using sim::DeviceState;
using sim::Fault;
using sim::FaultKey;

const FaultKey kRecord = FaultKey::command(174, 130);
const std::string kFactorySerial = DeviceState{}.device_sn;

// Starts with the factory record read, so a fault can be seen to leave it be.
class SimFaultE2E : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    ASSERT_TRUE(read_record());
  }
  bool read_record() { return qz_nds_get_machine_config_info(client.handle); }
  std::string cached_serial() {
    char sn[32];
    uint32_t len = 0;
    EXPECT_TRUE(qz_nds_get_sn(client.handle, sn, &len));
    return std::string(sn, len);
  }
  uint8_t cached_framerate() {
    uint8_t framerate = 0;
    EXPECT_TRUE(qz_nds_get_framerate(client.handle, &framerate));
    return framerate;
  }
  // Changes the device so that a record that got through would show.
  void change_device() {
    sim.update_state([](DeviceState &s) {
      s.device_sn = "CHANGED-SN";
      s.framerate = 60;
    });
  }
};

TEST_F(SimFaultE2E, ResponseCodeFailsAtOnceAndLeavesBothSidesAlone) {
  sim.set_fault(FaultKey::command(169, 147), {.code = 3});
  bool ok = true;
  EXPECT_LT(time_of([&] { ok = qz_nds_set_framerate(client.handle, 30); }), 2s);
  EXPECT_FALSE(ok);
  EXPECT_TRUE(
      log.contains(4, "NetDevSetting::on_response", "cmd [169,147]'s response code = 3 is not successed"));
  EXPECT_TRUE(log.contains(4, "qz_nds_set_framerate", "set framerate = 30 failed"));
  EXPECT_EQ(cached_framerate(), 25);
  EXPECT_EQ(sim.state().framerate, 25);

  sim.clear_faults();
  EXPECT_TRUE(qz_nds_set_framerate(client.handle, 30));
  EXPECT_EQ(cached_framerate(), 30);
}

TEST_F(SimFaultE2E, DelayShorterThanTheWaitSucceeds) {
  sim.set_fault(kRecord, {.delay = 300ms});
  change_device();
  bool ok = false;
  const auto took = time_of([&] { ok = read_record(); });
  EXPECT_TRUE(ok);
  EXPECT_GE(took, 300ms);
  EXPECT_LT(took, 5s);
  EXPECT_EQ(cached_serial(), "CHANGED-SN");
}

bool read_account(qz_nds_handle h) {
  uint8_t data[64];
  uint32_t len = sizeof data;
  return qz_nds_get_account_info(h, data, &len);
}
bool read_power_status(qz_nds_handle h) {
  uint32_t a = 0, b = 0, c = 0;
  return qz_nds_get_passive_wireless_power_status(h, &a, &b, &c);
}

struct WrongSubCase {
  const char *name;
  FaultKey key;
  uint8_t answer_sub;
  bool (*call)(qz_nds_handle);
};

TEST_F(SimFaultE2E, AnswerUnderAnotherSubIsRefused) {
  const WrongSubCase cases[] = {
      {"record", kRecord, 131, qz_nds_get_machine_config_info},
      {"account", FaultKey::command(48, 129), 128, read_account},
      {"power status", FaultKey::command(49, 131), 130, read_power_status},
  };
  change_device();
  for (const WrongSubCase &c : cases) {
    SCOPED_TRACE(c.name);
    sim.set_fault(c.key, {.sub = c.answer_sub, .times = 1});
    bool ok = true;
    EXPECT_LT(time_of([&] { ok = c.call(client.handle); }), 2s);
    EXPECT_FALSE(ok);
    if (c.key == kRecord) {
      EXPECT_EQ(cached_serial(), kFactorySerial);  // the refused record left the cache
    }
    EXPECT_TRUE(c.call(client.handle));  // the fault was for one answer only
  }
  EXPECT_TRUE(log.contains(4, "NetDevSetting::on_response_machine_status",
                           "QZ_MACHINE_STATUS's vicd cmd = 131 is not supported"));
}

TEST_F(SimFaultE2E, TruncatedRecordIsRefusedAndTheCacheKept) {
  change_device();
  // The factory record is 267 bytes plus its 6-byte channel name.
  for (std::size_t keep : {0u, 88u, 200u, 266u, 272u}) {
    SCOPED_TRACE(keep);
    sim.set_fault(kRecord, {.truncate = keep});
    EXPECT_FALSE(read_record());
    EXPECT_EQ(cached_serial(), kFactorySerial);
    EXPECT_EQ(cached_framerate(), 25);
  }
  EXPECT_TRUE(log.contains(4, "NetDevSetting::on_response_machine_status", "parse machine info failed"));
  sim.clear_faults();
  ASSERT_TRUE(read_record());
  EXPECT_EQ(cached_serial(), "CHANGED-SN");
  EXPECT_EQ(cached_framerate(), 60);
}

// Device queries whose answer comes short; each reports whether it succeeded
// and checks that a failed call wrote none of its outputs.
bool short_visual_ip(qz_nds_handle h) {
  char ip[80];
  uint32_t len = 999;
  const bool ok = qz_nds_get_visual_ip(h, ip, &len);
  if (!ok) {
    EXPECT_EQ(len, 999u);
  }
  return ok;
}
bool short_disable_time(qz_nds_handle h) {
  uint8_t time = 0xEE;
  const bool ok = qz_nds_get_hardware_watchdog_disable_time(h, &time);
  if (!ok) {
    EXPECT_EQ(time, 0xEE);
  }
  return ok;
}
bool short_gb28181(qz_nds_handle h) {
  uint8_t enable = 0xEE;
  uint16_t port = 0xEEEE;
  char t1[64], t2[64], t3[64], t4[64];
  const bool ok = qz_nds_28181_get_para(h, &enable, t1, &port, t2, t3, t4);
  if (!ok) {
    EXPECT_EQ(enable, 0xEE);
  }
  if (!ok) {
    EXPECT_EQ(port, 0xEEEE);
  }
  return ok;
}
bool short_domain(qz_nds_handle h) {
  char domain[128];
  uint32_t value = 999;
  const bool ok = qz_nds_get_passive_wireless_domain(h, domain, &value);
  if (!ok) {
    EXPECT_EQ(value, 999u);
  }
  return ok;
}
bool short_account(qz_nds_handle h) {
  uint8_t data[64];
  uint32_t len = sizeof data;
  const bool ok = qz_nds_get_account_info(h, data, &len);
  if (!ok) {
    EXPECT_EQ(len, sizeof data);
  }
  return ok;
}

struct ShortAnswerCase {
  const char *name;
  FaultKey key;
  std::size_t keep;
  bool (*call)(qz_nds_handle);
};

TEST_F(SimFaultE2E, ShortQueryAnswersAreRefusedWithoutWritingOutputs) {
  sim.update_state([](DeviceState &s) { s.gb28181_enable = 1; });
  const ShortAnswerCase cases[] = {
      {"visual ip, count past the end", FaultKey::command(169, 149), 5, short_visual_ip},
      {"disable time, no byte", FaultKey::command(169, 173), 0, short_disable_time},
      {"gb28181, cut in the first text", FaultKey::command(169, 177), 10, short_gb28181},
      {"domain, cut in the text", FaultKey::command(49, 133), 6, short_domain},
      {"account, cut in the count", FaultKey::command(48, 129), 2, short_account},
  };
  for (const ShortAnswerCase &c : cases) {
    SCOPED_TRACE(c.name);
    sim.set_fault(c.key, {.truncate = c.keep, .times = 1});
    EXPECT_FALSE(c.call(client.handle));
    EXPECT_TRUE(c.call(client.handle));
  }
}

// Answers whose counts promise more than they carry, or more than the
// caller's buffer takes.
bool huge_visual_ip(qz_nds_handle h) {
  char ip[80];
  uint32_t len = 999;
  const bool ok = qz_nds_get_visual_ip(h, ip, &len);
  EXPECT_EQ(len, ok ? 1u : 999u);
  return ok;
}
bool huge_mqtt_ip(qz_nds_handle h) {
  char ip[80];
  uint32_t len = 999;
  // MQTT getters report a failed exchange as an empty text.
  EXPECT_TRUE(qz_nds_get_mqtt_ip(h, ip, &len));
  return len != 0;
}

struct HostileCase {
  const char *name;
  FaultKey key;
  std::vector<uint8_t> payload;
  bool (*call)(qz_nds_handle);
};

TEST_F(SimFaultE2E, HostileCountsAreRefused) {
  const HostileCase cases[] = {
      {"visual ip", FaultKey::command(169, 149), {0xFF, 0xFF, 0xFF, 0xF0, 'a'}, huge_visual_ip},
      {"mqtt ip", FaultKey::command(169, 157), {0x7F, 0xFF, 0xFF, 0xFF}, huge_mqtt_ip},
      {"account", FaultKey::command(48, 129), {0xFF, 0xFF, 0xFF, 0xFF, 1, 2}, short_account},
      {"domain", FaultKey::command(49, 133), {0x80, 0, 0, 0, 'd'}, short_domain},
      {"power status", FaultKey::command(49, 131), std::vector<uint8_t>(11, 1), read_power_status},
  };
  for (const HostileCase &c : cases) {
    SCOPED_TRACE(c.name);
    sim.set_fault(c.key, {.payload = c.payload, .times = 1});
    EXPECT_FALSE(c.call(client.handle));
  }
  // A domain of 129 bytes does not fit the caller's 128-byte buffer.
  sim.update_state([](DeviceState &s) { s.passive_wireless_domain.assign(129, 'x'); });
  EXPECT_FALSE(short_domain(client.handle));
  sim.update_state([](DeviceState &s) { s.passive_wireless_domain.assign(128, 'x'); });
  EXPECT_TRUE(short_domain(client.handle));
}

TEST_F(SimFaultE2E, AnswerInChunksWithPausesIsReassembled) {
  sim.set_fault(kRecord, {.chunk_size = 16, .chunk_pause = 10ms});
  change_device();
  bool ok = false;
  const auto took = time_of([&] { ok = read_record(); });
  EXPECT_TRUE(ok);
  EXPECT_GE(took, 100ms);  // about 18 pauses
  EXPECT_EQ(cached_serial(), "CHANGED-SN");
}

TEST_F(SimFaultE2E, TwoAnswersInOneWriteReachTheirOwnCallers) {
  sim.update_state([](DeviceState &s) {
    s.hardware_watchdog_disable_time = 45;
    s.hardware_watchdog = 1;
  });
  sim.set_fault(FaultKey::command(169, 173), {.coalesce = true, .times = 1});
  sim.set_recording(true);
  const uint64_t before = sim.stats().requests;
  bool first_ok = false;
  uint8_t time = 0;
  std::thread first([&] { first_ok = qz_nds_get_hardware_watchdog_disable_time(client.handle, &time); });
  // The first answer is held until the second one goes out.
  const bool held = eventually([&] { return sim.stats().requests == before + 1; });
  uint8_t watchdog = 0;
  const bool second_ok = held && qz_nds_is_enable_hardware_watchdog(client.handle, &watchdog);
  first.join();
  ASSERT_TRUE(held);
  EXPECT_TRUE(first_ok);
  EXPECT_TRUE(second_ok);
  EXPECT_EQ(time, 45);
  EXPECT_EQ(watchdog, 1);
  // Both frames went out in one write: 2 x (28 + 1) bytes.
  const auto recorded = sim.recorded();
  ASSERT_FALSE(recorded.empty());
  EXPECT_EQ(recorded.back().direction, sim::Direction::response);
  EXPECT_EQ(recorded.back().bytes.size(), 58u);
}

TEST_F(SimFaultE2E, GarbageBeforeTheAnswerIsSkipped) {
  sim.set_fault(kRecord, {.garbage = 40});
  change_device();
  EXPECT_TRUE(read_record());
  EXPECT_EQ(cached_serial(), "CHANGED-SN");
  EXPECT_TRUE(log.contains(4, "NetDevSetting::on_data", "start falg is error"));
}

TEST_F(SimFaultE2E, ConnectionClosedMidAnswerFailsAtOnceAndReconnectWorks) {
  sim.set_fault(kRecord, {.close_after = 30, .times = 1});
  change_device();
  bool ok = true;
  EXPECT_LT(time_of([&] { ok = read_record(); }), 2s);
  EXPECT_FALSE(ok);
  EXPECT_EQ(cached_serial(), kFactorySerial);
  // The session knows the connection is gone: nothing more is sent.
  EXPECT_FALSE(read_record());
  EXPECT_TRUE(log.contains(4, "NetDevSetting::send_cmd", "device is not connected"));

  ASSERT_TRUE(connect(client));
  EXPECT_TRUE(read_record());
  EXPECT_EQ(cached_serial(), "CHANGED-SN");
}

TEST_F(SimFaultE2E, RefusedConnectionFailsTheConnect) {
  sim.set_refuse(sim::RefuseMode::stop_listening);
  SimClient other;
  bool ok = true;
  EXPECT_LT(time_of([&] { ok = connect(other); }), 4s);
  EXPECT_FALSE(ok);
  EXPECT_TRUE(log.contains(4, "NetDevSetting::connect", "connect server " + address() + " failed"));
  EXPECT_FALSE(qz_nds_get_machine_config_info(other.handle));
  // Connections that stand are not affected.
  EXPECT_TRUE(read_record());

  sim.set_refuse(sim::RefuseMode::none);
  ASSERT_TRUE(connect(other));
  EXPECT_TRUE(qz_nds_get_machine_config_info(other.handle));
}

TEST_F(SimFaultE2E, ConnectionClosedOnAcceptIsAHangUp) {
  sim.set_refuse(sim::RefuseMode::close_on_accept);
  SimClient other;
  connect(other);  // the TCP connect itself may get through
  bool ok = true;
  EXPECT_LT(time_of([&] { ok = qz_nds_get_machine_config_info(other.handle); }), 2s);
  EXPECT_FALSE(ok);
  sim.set_refuse(sim::RefuseMode::none);
  ASSERT_TRUE(eventually([&] { return connect(other) && qz_nds_get_machine_config_info(other.handle); }));
}

TEST_F(SimFaultE2E, RebootAnswersThenDropsTheConnectionUntilTheDeviceIsBack) {
  sim.set_reboot_time(1000ms);
  sim.set_recording(true);
  EXPECT_LT(time_of([&] { EXPECT_TRUE(qz_nds_reboot(client.handle)); }), 1s);
  ASSERT_TRUE(eventually([&] { return sim.stats().reboots == 1; }));
  const auto recorded = sim.recorded();
  ASSERT_EQ(recorded.size(), 2u);
  EXPECT_EQ(recorded[0].bytes, wire::make_frame(wire::kPackageRequest, 164, 142, 2, 2, nullptr, 0));
  EXPECT_EQ(recorded[1].bytes, wire::make_frame(wire::kPackageResponse, 164, 142, 0, 2, nullptr, 0));

  // The dropped connection shows: commands fail without sending.
  EXPECT_TRUE(eventually([&] {
    return !read_record() && log.contains(4, "NetDevSetting::send_cmd", "device is not connected");
  }));
  const bool was_rebooting = sim.rebooting();
  const bool early = connect(client);
  if (was_rebooting && sim.rebooting()) {
    EXPECT_FALSE(early);
  }
  ASSERT_TRUE(eventually([&] { return connect(client); }, 5s));
  EXPECT_TRUE(read_record());
}

// ---- The one case that waits out the full wait ---------------------------------

using SimSlowE2E = SimTest;

TEST_F(SimSlowE2E, NoAnswerFailsAfterTheWaitAndTheSessionGoesOn) {
  sim.set_fault(kRecord, {.no_answer = true, .times = 1});
  bool ok = true;
  const auto took = time_of([&] { ok = qz_nds_get_machine_config_info(client.handle); });
  EXPECT_FALSE(ok);
  EXPECT_GE(took, 9900ms);
  EXPECT_LT(took, 12s);
  EXPECT_TRUE(log.contains(4, "NetDevSetting::check_response_status", "checkout seq = 1's response failed"));
  EXPECT_TRUE(qz_nds_get_machine_config_info(client.handle));
}

}  // namespace
}  // namespace qz::test
