// The wake-up of waiting commands: with many callers on one session each is
// woken by its own answer only and reports that answer, never a neighbour's
// or a later one.
#include <algorithm>
#include <atomic>
#include <barrier>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "session_fixture.h"

namespace qz::test {
namespace {

constexpr uint8_t kOne = 1;

// Eight callers on one session, each round's answers delivered in shuffled
// order from the transport's thread: each succeeds exactly when its own
// answer says so (sub 129 is refused by the device).
TEST_F(SessionTest, ConcurrentCallersAnsweredInAnyOrderEachGetTheirOwnResult) {
  constexpr int kThreads = 8, kRounds = 40;
  net.set_async(true);
  std::mutex mutex;
  std::vector<Bytes> held;
  std::mt19937 shuffle(42);
  net.set_responder([&](const wire::FrameView &request) {
    std::lock_guard lock(mutex);
    held.push_back(response_to(request, {}, request.header.sub == 129 ? 1 : 0));
    std::vector<Bytes> out;
    if (held.size() == kThreads) {
      std::shuffle(held.begin(), held.end(), shuffle);
      out.swap(held);
    }
    return out;
  });
  std::barrier round(kThreads);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const bool refused = t % 3 == 0;
      for (int i = 0; i < kRounds; ++i) {
        if (session().send_cmd(169, refused ? 129 : 128, 1, &kOne, 5000) == refused) ++wrong;
        round.arrive_and_wait();
      }
    });
  }
  for (auto &t : threads) t.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE((session().waiting_commands() == 0));
}

// One query of each answer handler (account, passive wireless, settings
// with a text and a record): the answer that carries `seq`, and the seq the
// getter's outputs then show (nothing when it failed). Every family under
// concurrent callers is SimThreadsE2E.ConcurrentCallsOfEveryFamily.
struct OwnAnswerCase {
  const char *name;
  Bytes (*answer)(uint32_t seq);
  std::optional<uint32_t> (*read)(qz_nds_handle h);
  uint32_t mask;  // the bits of seq the answer can carry
};

Bytes u32s(std::initializer_list<uint32_t> values) {
  Bytes b;
  for (uint32_t v : values) wire::Writer(b).u32(v);
  return b;
}
// Call first, then read the outputs: C++ fixes no order for arguments.
std::optional<uint32_t> when(bool ok, uint32_t value) {
  return ok ? std::optional(value) : std::nullopt;
}
// clang-format off
const OwnAnswerCase kOwnAnswerCases[] = {
    {"account info", [](uint32_t s) { return u32s({4, s}); },
     [](qz_nds_handle h) {
       uint8_t data[16] = {};
       uint32_t len = sizeof data;
       const bool ok = qz_nds_get_account_info(h, data, &len) && len == 4;
       return when(ok, wire::load_be32(data));
     }, ~0u},
    {"passive wireless power status", [](uint32_t s) { return u32s({s, s, s}); },
     [](qz_nds_handle h) {
       uint32_t a = 0, b = 1, c = 2;
       const bool ok = qz_nds_get_passive_wireless_power_status(h, &a, &b, &c) && a == b && b == c;
       return when(ok, a);
     }, ~0u},
    {"visual ip", [](uint32_t s) { return u32s({4, s}); },
     [](qz_nds_handle h) {  // the text holds NUL bytes; no terminator is added behind it
       uint8_t text[16] = {0, 0, 0, 0, 0xEE};
       uint32_t len = 0;
       const bool ok = qz_nds_get_visual_ip(h, reinterpret_cast<char *>(text), &len);
       return when(ok && len == 4 && text[4] == 0xEE, wire::load_be32(text));
     }, ~0u},
    {"gb28181 port",
     [](uint32_t s) { Bytes b{1, 0, 0, 0, 0, uint8_t(s >> 8), uint8_t(s)}; b.resize(19); return b; },
     [](qz_nds_handle h) {
       uint8_t enable = 0;
       uint16_t port = 0;
       char t[4][64];
       const bool ok = qz_nds_28181_get_para(h, &enable, t[0], &port, t[1], t[2], t[3]);
       return when(ok, port);
     }, 0xFFFF},
};
// clang-format on

// Right behind each answer the device sends one for another request, which
// replaces the cached value before the caller wakes: the caller still reports
// its own answer. (Answers from the transport's thread are the test above.)
TEST_F(SessionTest, EveryQueryReportsTheAnswerToItsOwnRequest) {
  for (const OwnAnswerCase &c : kOwnAnswerCases) {
    SCOPED_TRACE(c.name);
    uint32_t seq = 0;
    net.set_responder([&](const wire::FrameView &request) {
      seq = request.header.seq;
      Bytes later = response_to(request, c.answer(seq + 100000));
      wire::store_be32(later.data() + wire::kOffSeq, seq + 100000);
      return std::vector<Bytes>{response_to(request, c.answer(seq)), later};
    });
    for (int i = 0; i < 3; ++i) {
      const std::optional<uint32_t> seen = c.read(handle);  // before seq is read
      EXPECT_EQ(seen, seq & c.mask);
    }
  }
}

}  // namespace
}  // namespace qz::test
