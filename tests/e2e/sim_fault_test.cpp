// The simulator's faults against the library over loopback TCP: each ends in
// a clear result well within the wait, keeps the session's cache consistent
// and leaves the session usable (after a reconnect where the connection was
// lost).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "sim_session.h"

namespace qz::test {
namespace {

using namespace std::chrono_literals;
using sim::DeviceState;
using sim::Fault;
using sim::FaultKey;

const FaultKey kRecord = FaultKey::command(174, 130);

std::string cached_serial(qz_nds_handle h) {
  char sn[32];
  uint32_t len = 0;
  EXPECT_TRUE(qz_nds_get_sn(h, sn, &len));
  return std::string(sn, len);
}

using SimFaultE2E = SimTest;

struct AnswerFault {
  const char *name;
  Fault fault;
  bool delivered;  // whether the record still gets through
  std::chrono::milliseconds at_least{0};
  bool drops = false;  // the connection goes with the answer
};

TEST_F(SimFaultE2E, EachAnswerFaultEndsPromptlyAndOnlyADeliveredRecordReachesTheCache) {
  const AnswerFault cases[] = {
      {"response code", {.code = 3}, false},
      {"delayed", {.delay = 300ms}, true, 300ms},
      {"a byte at a time", {.chunk_size = 1, .chunk_pause = 1ms}, true, 200ms},  // about 290 pauses
      {"after garbage", {.garbage = 40}, true},
      {"closed mid answer", {.close_after = 30}, false, 0ms, true},
  };
  for (const AnswerFault &c : cases) {
    SCOPED_TRACE(c.name);
    const std::string before = cached_serial(client.handle), serial = std::string("SN-") + c.name;
    // A record that got through shows the device's new serial.
    sim.update_state([&](DeviceState &s) { s.device_sn = serial; });
    Fault fault = c.fault;
    fault.times = 1;
    sim.set_fault(kRecord, fault);
    bool ok = !c.delivered;
    const auto took = time_of([&] { ok = client.read_record(); });
    EXPECT_EQ(ok, c.delivered);
    EXPECT_GE(took, c.at_least);
    EXPECT_LT(took, 2s);
    EXPECT_EQ(cached_serial(client.handle), c.delivered ? serial : before);
    if (c.drops) {
      // The session knows the connection is gone: nothing more is sent.
      const uint64_t requests = sim.stats().requests;
      EXPECT_FALSE(client.read_record());
      EXPECT_EQ(sim.stats().requests, requests);
      ASSERT_TRUE(connect(client));
    }
    // The fault was for one answer only.
    ASSERT_TRUE(client.read_record());
    EXPECT_EQ(cached_serial(client.handle), serial);
  }
}

}  // namespace
}  // namespace qz::test
