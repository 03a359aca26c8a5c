// The simulated device on the stream: reassembly, garbage, reboot, many
// connections and recording.
#include <thread>

#include "sim_client.h"

namespace qz::sim::test {
namespace {

class SimStream : public SimTest {};

TEST_F(SimStream, RequestSplitIntoSingleBytesIsAnswered) {
  auto c = connect();
  const Bytes req = request(169, 147, 7, {30});
  for (uint8_t b : req) {
    c->send({b});
    std::this_thread::sleep_for(1ms);  // let each byte travel on its own
  }
  const Answer a = parse_answer(c->read_frame());
  ASSERT_TRUE(a.valid);
  EXPECT_EQ(a.seq, 7u);
  EXPECT_EQ(a.code, 0);
  EXPECT_EQ(sim_->state().framerate, 30);
}

TEST_F(SimStream, SeveralRequestsInOneWriteAreAnsweredInOrder) {
  auto c = connect();
  c->send(concat({request(173, 128, 1), request(169, 159, 2), request(169, 155, 3)}));
  for (uint32_t seq : {1u, 2u, 3u}) {
    const Answer a = parse_answer(c->read_frame());
    ASSERT_TRUE(a.valid);
    EXPECT_EQ(a.seq, seq);
  }
}

TEST_F(SimStream, GarbageBeforeAFrameIsSkipped) {
  auto c = connect();
  // Plain noise, a false start of the flag, a header whose total length is
  // below the minimum and one announcing 1 GiB: all skipped.
  Bytes too_short = request(173, 128, 9);
  too_short[wire::kOffTotalLength + 3] = 27;
  Bytes huge = request(173, 128, 9);
  huge[wire::kOffTotalLength] = 0x40;
  c->send(concat({text_bytes("hello QZSTAR"), too_short, huge, request(169, 155, 42)}));
  const Answer a = parse_answer(c->read_frame());
  ASSERT_TRUE(a.valid);
  EXPECT_EQ(a.seq, 42u);
  EXPECT_EQ(a.sub, 155);
  EXPECT_TRUE(c->silent_for(50ms));
  EXPECT_GE(sim_->stats().garbage_bytes, 12u + too_short.size() + huge.size());
}

TEST_F(SimStream, RebootAnswersThenDropsEveryConnectionAndRefusesForTheRebootTime) {
  // Long enough that the checks below fall inside the reboot on a busy machine.
  constexpr auto kReboot = 600ms;
  sim_->set_reboot_time(kReboot);
  auto a = connect();
  auto b = connect();
  ASSERT_TRUE(a->connected() && b->connected());
  const auto start = std::chrono::steady_clock::now();
  a->send(request(164, 142, 5));
  EXPECT_EQ(a->read_frame(),
            hex("51 5A 53 54 41 52 54 00 00 00 1C 01 A4 8E 00 00 00 00 05 00 00 00 00 51 5A 45 4E 44"));
  EXPECT_TRUE(a->wait_closed());
  EXPECT_TRUE(b->wait_closed());
  EXPECT_TRUE(sim_->rebooting());
  EXPECT_FALSE(Client(sim_->port()).connected());

  // Comes back on the same port once the reboot time is over.
  std::unique_ptr<Client> again;
  for (int i = 0; i < 100 && !(again && again->connected()); ++i) {
    std::this_thread::sleep_for(20ms);
    again = connect();
  }
  ASSERT_TRUE(again && again->connected());
  EXPECT_GE(std::chrono::steady_clock::now() - start, kReboot - 20ms);
  EXPECT_EQ(again->exchange(173, 128, 1).code, 0);
  EXPECT_EQ(sim_->stats().reboots, 1u);
}

TEST_F(SimStream, HundredsOfConnectionsAreServedAtOnce) {
  constexpr int kClients = 300;
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.push_back(connect());
    ASSERT_TRUE(clients.back()->connected()) << i;
  }
  for (int i = 0; i < kClients; ++i) clients[i]->send(request(169, 159, static_cast<uint32_t>(1000 + i)));
  for (int i = 0; i < kClients; ++i) {
    const Answer a = parse_answer(clients[i]->read_frame());
    ASSERT_TRUE(a.valid) << i;
    EXPECT_EQ(a.seq, static_cast<uint32_t>(1000 + i));
  }
  const SimStats stats = sim_->stats();
  EXPECT_EQ(stats.accepted, static_cast<uint64_t>(kClients));
  EXPECT_EQ(stats.active, static_cast<uint64_t>(kClients));
  EXPECT_EQ(stats.requests, static_cast<uint64_t>(kClients));
}

TEST_F(SimStream, RecordingKeepsTheBytesOfBothDirections) {
  auto c = connect();
  c->exchange(173, 128, 1);  // before recording: not kept
  sim_->set_recording(true, 3);
  const Bytes req = request(169, 155, 2);
  c->send(req);
  const Bytes answer = c->read_frame();
  c->exchange(173, 128, 3);  // the fourth frame is past the bound
  const auto frames = sim_->recorded();
  ASSERT_EQ(frames.size(), 3u);
  EXPECT_EQ(frames[0].direction, Direction::request);
  EXPECT_EQ(frames[0].bytes, req);
  EXPECT_EQ(frames[1].direction, Direction::response);
  EXPECT_EQ(frames[1].bytes, answer);
  EXPECT_EQ(frames[0].connection, frames[2].connection);
  sim_->clear_recorded();
  EXPECT_TRUE(sim_->recorded().empty());
}

TEST_F(SimStream, LogShowsOneLinePerExchange) {
  std::ostringstream log;
  sim_->set_log(&log);
  auto c = connect();
  c->exchange(169, 128, 77, {1});
  sim_->set_log(nullptr);
  c->exchange(169, 128, 78, {1});
  const std::string text = log.str();
  EXPECT_NE(text.find("169/128 seq=77 in[1]=01 -> code=0"), std::string::npos) << text;
  EXPECT_EQ(text.find("seq=78"), std::string::npos) << text;
}

}  // namespace
}  // namespace qz::sim::test
