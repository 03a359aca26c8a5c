// Faults on demand: each option once, over the wire.
#include <algorithm>

#include "sim_client.h"

namespace qz::sim::test {
namespace {

class SimFaults : public SimTest {
 protected:
  void fault(uint8_t main, uint8_t sub, Fault f) {
    sim_->set_fault(FaultKey::command(main, sub), std::move(f));
  }
};

TEST_F(SimFaults, CodeAnswersWithoutHandlingTheRequest) {
  fault(169, 147, Fault{.code = 5});
  auto c = connect();
  const Answer a = c->exchange(169, 147, 1, {30});
  EXPECT_EQ(a.code, 5);
  EXPECT_TRUE(a.payload.empty());
  EXPECT_EQ(sim_->state().framerate, DeviceState{}.framerate);
}

TEST_F(SimFaults, DelayHoldsOnlyItsOwnConnection) {
  fault(169, 159, Fault{.delay = 300ms});
  auto slow = connect();
  auto fast = connect();
  const auto start = std::chrono::steady_clock::now();
  slow->send(request(169, 159, 1));
  EXPECT_EQ(fast->exchange(169, 155, 1).code, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 250ms);
  const Answer a = parse_answer(slow->read_frame());
  EXPECT_TRUE(a.valid);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST_F(SimFaults, DropSendsNothingButStoresTheSetting) {
  fault(169, 147, Fault{.no_answer = true, .times = 1});
  auto c = connect();
  c->send(request(169, 147, 1, {12}));
  EXPECT_TRUE(c->silent_for(150ms));
  EXPECT_EQ(sim_->state().framerate, 12);
  EXPECT_EQ(c->exchange(169, 147, 2, {13}).seq, 2u);  // the fault was used up
}

TEST_F(SimFaults, SubPayloadAndTruncateReshapeAValidFrame) {
  fault(169, 159, Fault{.sub = 200});
  fault(169, 157, Fault{.payload = hex("FF FF FF FF 41")});
  fault(174, 130, Fault{.truncate = 10});
  auto c = connect();
  const Answer moved = c->exchange(169, 159, 1);
  ASSERT_TRUE(moved.valid);
  EXPECT_EQ(moved.sub, 200);
  EXPECT_EQ(moved.payload, hex("00 00 07 5B"));  // port 1883
  const Answer replaced = c->exchange(169, 157, 2);
  ASSERT_TRUE(replaced.valid);
  EXPECT_EQ(replaced.payload, hex("FF FF FF FF 41"));
  const Answer cut = c->exchange(174, 130, 3);
  ASSERT_TRUE(cut.valid);
  EXPECT_EQ(cut.payload_length_field, 10u);
  const Bytes full = build_machine_record(sim_->state());
  EXPECT_EQ(cut.payload, Bytes(full.begin(), full.begin() + 10));
}

TEST_F(SimFaults, RawAndRawHookReplaceTheWholeAnswer) {
  fault(169, 155, Fault{.raw = hex("01 02 03")});
  // A hostile frame: the right seq, but a total length of 1 GiB.
  fault(169, 159, Fault{.raw_hook = [](const RequestInfo &r) {
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

TEST_F(SimFaults, GarbageComesBeforeTheFrame) {
  fault(173, 128, Fault{.garbage = 13});
  auto c = connect();
  c->send(request(173, 128, 1));
  const Bytes noise = c->read_exact(13);
  ASSERT_EQ(noise.size(), 13u);
  EXPECT_EQ(std::search(noise.begin(), noise.end(), wire::kStartFlag, wire::kStartFlag + 1),
            noise.end());  // no 'Q'
  EXPECT_TRUE(parse_answer(c->read_frame()).valid);
}

TEST_F(SimFaults, CoalesceSendsTwoAnswersInOneWrite) {
  fault(169, 155, Fault{.coalesce = true, .times = 1});
  sim_->set_recording(true);
  auto c = connect();
  c->send(request(169, 155, 1));
  EXPECT_TRUE(c->silent_for(100ms));
  c->send(request(169, 159, 2));
  EXPECT_EQ(parse_answer(c->read_frame()).seq, 1u);
  EXPECT_EQ(parse_answer(c->read_frame()).seq, 2u);
  const auto frames = sim_->recorded();
  ASSERT_EQ(frames.size(), 3u);  // two requests, one write holding both answers
  EXPECT_EQ(frames[2].direction, Direction::response);
  EXPECT_EQ(frames[2].bytes.size(), 29u + 32u);
}

TEST_F(SimFaults, CloseSendsPartOfTheAnswerThenCloses) {
  fault(174, 130, Fault{.close_after = 10});
  auto c = connect();
  c->send(request(174, 130, 1));
  // "QZSTART" and three of the four total length bytes.
  EXPECT_EQ(c->read_exact(100), hex("51 5A 53 54 41 52 54 00 00 01"));
  EXPECT_TRUE(c->wait_closed());
}

TEST_F(SimFaults, ChunksArriveApartAndAddUpToTheFrame) {
  fault(169, 159, Fault{.chunk_size = 8, .chunk_pause = 40ms});
  auto c = connect();
  const auto start = std::chrono::steady_clock::now();
  c->send(request(169, 159, 1));
  const Bytes first = c->read_some(2s);
  EXPECT_EQ(first.size(), 8u);
  Bytes rest = c->read_exact(32 - first.size());
  EXPECT_GE(std::chrono::steady_clock::now() - start, 3 * 40ms);
  EXPECT_TRUE(parse_answer(concat({first, rest})).valid);
}

TEST_F(SimFaults, MostSpecificKeyWinsAndTimesRunsOut) {
  sim_->set_fault(FaultKey::any(), Fault{.code = 7});
  sim_->set_fault(FaultKey::main_command(169), Fault{.code = 8});
  fault(169, 155, Fault{.code = 9, .times = 2});
  auto c = connect();
  EXPECT_EQ(c->exchange(173, 128, 1).code, 7);
  EXPECT_EQ(c->exchange(169, 159, 2).code, 8);
  EXPECT_EQ(c->exchange(169, 155, 3).code, 9);
  EXPECT_EQ(c->exchange(169, 155, 4).code, 9);
  EXPECT_EQ(c->exchange(169, 155, 5).code, 8);
  sim_->clear_faults();
  EXPECT_EQ(c->exchange(169, 155, 6).code, 0);
}

TEST_F(SimFaults, RefusedConnections) {
  sim_->set_refuse(RefuseMode::close_on_accept);
  Client closed(sim_->port());
  ASSERT_TRUE(closed.connected());
  EXPECT_TRUE(closed.wait_closed());
  EXPECT_EQ(sim_->stats().refused, 1u);

  sim_->set_refuse(RefuseMode::stop_listening);
  EXPECT_FALSE(Client(sim_->port()).connected());

  sim_->set_refuse(RefuseMode::none);
  Client served(sim_->port());
  ASSERT_TRUE(served.connected());
  EXPECT_EQ(served.exchange(173, 128, 1).code, 0);
}

}  // namespace
}  // namespace qz::sim::test
