// The simulated device on the stream: coalesced and garbled requests, reboot, the
// exchange log, and the faults only the wire shows (raw answers, which key wins).
// Requests split over reads are the frame splitter's (FrameSplitter's table, one byte
// at a time) and reach the device whole in HostileSim's largest frame; a delay that
// holds only its own connection is the Python binding's test_threads; hundreds of
// connections at once are the e2e suite's.
#include <sstream>
#include <thread>

#include "sim_client.h"

namespace qz::sim::test {
namespace {

class SimStream : public SimTest {};

// The log shows skipped garbage and one line per exchange until it is switched off;
// the requests that share the garbage's write are answered in order.
TEST_F(SimStream, GarbageBeforeAFrameIsSkippedAndLoggedAndCoalescedRequestsAnswered) {
  std::ostringstream log;
  sim_.set_log(&log);
  auto c = connect();
  // Plain noise, a false start of the flag, a header whose total length is below the
  // minimum and one announcing 1 GiB: all skipped, each refused header as its 11 bytes.
  Bytes too_short = request(173, 128, 9);
  too_short[wire::kOffTotalLength + 3] = 27;
  Bytes huge = request(173, 128, 9);
  huge[wire::kOffTotalLength] = 0x40;
  const Bytes noise = lp("hello QZSTAR");
  c->send(concat({noise, too_short, huge, request(169, 155, 42), request(169, 147, 43, {30})}));
  for (auto [seq, sub] : {std::pair{42u, 155}, {43u, 147}}) {
    const Answer a = parse_answer(c->read_frame());
    EXPECT_TRUE(a.valid && a.seq == seq && a.sub == sub && a.code == 0) << seq;
  }
  EXPECT_EQ(sim_.state().framerate, 30);
  EXPECT_TRUE(c->silent_for(50ms));
  c->exchange(169, 128, 77, {1});
  sim_.set_log(nullptr);
  c->exchange(169, 128, 78, {1});
  EXPECT_EQ(sim_.stats().garbage_bytes, noise.size() + too_short.size() + huge.size());
  for (const char *line :
       {"skipped 11 garbage byte(s): total length 27", "skipped 11 garbage byte(s): total length 1073741852",
        "169/128 seq=77 in[1]=01 -> code=0"}) {
    EXPECT_NE(log.str().find(line), std::string::npos) << line << "\n" << log.str();
  }
  EXPECT_EQ(log.str().find("seq=78"), std::string::npos) << log.str();
}

TEST_F(SimStream, RebootAnswersThenDropsEveryConnectionAndRefusesForTheRebootTime) {
  // Long enough that the checks below fall inside the reboot on a busy machine.
  constexpr auto kReboot = 600ms;
  sim_.set_reboot_time(kReboot);
  auto a = connect();
  auto b = connect();
  ASSERT_TRUE(a->connected() && b->connected());
  const auto start = std::chrono::steady_clock::now();
  a->send(request(164, 142, 5));
  EXPECT_EQ(a->read_frame(),
            hex("51 5A 53 54 41 52 54 00 00 00 1C 01 A4 8E 00 00 00 00 05 00 00 00 00 51 5A 45 4E 44"));
  EXPECT_TRUE(a->wait_closed());
  EXPECT_TRUE(b->wait_closed());
  EXPECT_TRUE(sim_.rebooting());
  EXPECT_FALSE(Client(sim_.port()).connected());

  // Comes back on the same port once the reboot time is over.
  std::unique_ptr<Client> again;
  for (int i = 0; i < 100 && !(again && again->connected()); ++i) {
    std::this_thread::sleep_for(20ms);
    again = connect();
  }
  ASSERT_TRUE(again && again->connected());
  EXPECT_GE(std::chrono::steady_clock::now() - start, kReboot - 20ms);
  EXPECT_EQ(again->exchange(173, 128, 1).code, 0);
  EXPECT_EQ(sim_.stats().reboots, 1u);
}

TEST_F(SimStream, RawAndRawHookReplaceTheWholeAnswer) {
  sim_.set_fault(FaultKey::command(169, 155), Fault{.raw = hex("01 02 03")});
  // A hostile frame: the right seq, but a total length of 1 GiB.
  sim_.set_fault(FaultKey::command(169, 159), Fault{.raw_hook = [](const RequestInfo &r) {
                   Bytes f = wire::make_frame(1, r.main, r.sub, 0, r.seq, nullptr, 0);
                   f[wire::kOffTotalLength] = 0x40;
                   return f;
                 }});
  auto c = connect();
  c->send(request(169, 155, 1));
  EXPECT_EQ(c->read_exact(3), hex("01 02 03"));
  EXPECT_TRUE(c->silent_for(50ms));
  c->send(request(169, 159, 0x0A0B0C0D));
  EXPECT_EQ(c->read_exact(28),
            hex("51 5A 53 54 41 52 54 40 00 00 1C 01 A9 9F 00 0A 0B 0C 0D 00 00 00 00 51 5A 45 4E 44"));
}

TEST_F(SimStream, NarrowestKeyWinsAndTimesRunOut) {
  sim_.set_fault(FaultKey::any(), Fault{.code = 7});
  sim_.set_fault(FaultKey::main_command(169), Fault{.code = 8});
  sim_.set_fault(FaultKey::command(169, 155), Fault{.code = 9, .times = 2});
  auto c = connect();
  EXPECT_EQ(c->exchange(173, 128, 1).code, 7);
  EXPECT_EQ(c->exchange(169, 159, 2).code, 8);
  EXPECT_EQ(c->exchange(169, 155, 3).code, 9);
  EXPECT_EQ(c->exchange(169, 155, 4).code, 9);
  EXPECT_EQ(c->exchange(169, 155, 5).code, 8);
  sim_.clear_faults();
  EXPECT_EQ(c->exchange(169, 155, 6).code, 0);
}

}  // namespace
}  // namespace qz::sim::test
