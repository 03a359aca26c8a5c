// The wake-up of waiting commands and the pending table: a signal given
// before the wait is kept, a wait ends by its timeout otherwise, and with
// many callers on one session each is woken by its own answer only.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <thread>

#include "session_fixture.h"

namespace qz::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using nds::BusyLock;
using nds::ConditionEvent;
using nds::PendingEntry;
using nds::PendingTable;

constexpr uint8_t kOne = 1;

TEST(ConditionEvent, ASignalGivenBeforeTheWaitIsKept) {
  for (bool all : {false, true}) {
    ConditionEvent event;
    BusyLock lock;
    all ? event.signal_all() : event.signal_one();
    lock.lock();
    const auto start = Clock::now();
    EXPECT_TRUE(event.wait(lock, 10000));
    EXPECT_LT(Clock::now() - start, 1s);
    lock.unlock();
  }
}

TEST(ConditionEvent, AnUnsignalledWaitEndsByItsTimeout) {
  ConditionEvent event;
  BusyLock lock;
  lock.lock();
  const auto start = Clock::now();
  EXPECT_FALSE(event.wait(lock, 50));
  EXPECT_GE(Clock::now() - start, 45ms);
  lock.unlock();
}

TEST(ConditionEvent, PostWithNobodyAsleepNeedsNoWakeUp) {
  ConditionEvent event;
  EXPECT_EQ(event.post(), nullptr);
  ConditionEvent::wake(nullptr);  // nothing to do
  BusyLock lock;
  lock.lock();
  EXPECT_TRUE(event.wait(lock, 10000));
  lock.unlock();
}

// The waiter releases the lock while it waits and holds it again on return;
// a signal from another thread ends the wait long before its timeout.
TEST(ConditionEvent, ASignalFromAnotherThreadEndsTheWait) {
  ConditionEvent event;
  BusyLock lock;
  std::atomic<bool> waiting{false}, returned{false};
  bool woke = false;
  std::thread waiter([&] {
    lock.lock();
    waiting = true;
    woke = event.wait(lock, 10000);
    returned = true;
    lock.unlock();
  });
  while (!waiting) std::this_thread::yield();
  lock.lock();  // free while the waiter waits
  EXPECT_FALSE(returned);
  lock.unlock();
  const auto start = Clock::now();
  void *sleeper = event.post();
  ConditionEvent::wake(sleeper);
  waiter.join();
  EXPECT_TRUE(woke);
  EXPECT_LT(Clock::now() - start, 5s);
}

TEST(PendingTable, KeepsTheFirstEntryOfASeqAndFindsEachByItsSeq) {
  PendingTable table;
  PendingEntry a, b, c;
  EXPECT_TRUE(table.empty());
  EXPECT_TRUE(table.insert(7, &a));
  EXPECT_TRUE(table.insert(9, &b));
  EXPECT_FALSE(table.insert(7, &c));  // the entry that holds 7 stays
  EXPECT_EQ(table.size(), 2u);
  ASSERT_NE(table.find(7), table.end());
  EXPECT_EQ(table.find(7)->second, &a);
  EXPECT_EQ(table.find(9)->second, &b);
  EXPECT_EQ(table.find(8), table.end());
  table.erase(table.find(7));
  EXPECT_EQ(table.find(7), table.end());
  EXPECT_EQ(table.find(9)->second, &b);
  EXPECT_TRUE(table.insert(7, &c));
  EXPECT_EQ(table.find(7)->second, &c);
  table.clear();
  EXPECT_TRUE(table.empty());
}

// Two callers wait; only the second one's answer comes: it succeeds, and the
// first keeps waiting until its own answer arrives.
TEST_F(SessionTest, AnAnswerWakesOnlyItsOwnCaller) {
  net.set_async(true);
  answer_none();
  std::atomic<int> first_result{-1}, second_result{-1};
  std::thread first([&] { first_result = session().send_cmd(169, 128, 1, &kOne, 10000); });
  while (net.sent().size() < 1) std::this_thread::yield();
  std::thread second([&] { second_result = session().send_cmd(169, 128, 1, &kOne, 10000); });
  while (net.sent().size() < 2) std::this_thread::yield();
  const auto sent = net.sent();
  ASSERT_TRUE(net.deliver(response_to(view_request(sent[1]))));
  second.join();
  EXPECT_EQ(second_result, 1);
  std::this_thread::sleep_for(50ms);  // time for a wrong wake-up to show
  EXPECT_EQ(first_result, -1);
  ASSERT_TRUE(net.deliver(response_to(view_request(sent[0]))));
  first.join();
  EXPECT_EQ(first_result, 1);
  EXPECT_TRUE(session().pending.empty());
}

// More callers than a session usually has, answered in shuffled order: each
// succeeds exactly when its own answer says so.
TEST_F(SessionTest, ConcurrentCallersAnsweredInAnyOrderEachGetTheirOwnResult) {
  constexpr int kCallers = 24;
  net.set_async(true);
  std::mutex mutex;
  std::vector<Bytes> held;
  std::mt19937 shuffle(42);
  net.set_responder([&](const wire::FrameView &request) {
    std::lock_guard lock(mutex);
    // Sub 129 is refused by the device.
    held.push_back(response_to(request, {}, request.header.sub == 129 ? 1 : 0));
    std::vector<Bytes> out;
    if (held.size() == kCallers) {
      std::shuffle(held.begin(), held.end(), shuffle);
      out.swap(held);
    }
    return out;
  });
  std::atomic<int> wrong{0};
  std::vector<std::thread> callers;
  for (int t = 0; t < kCallers; ++t) {
    callers.emplace_back([&, t] {
      const bool refused = t % 3 == 0;
      if (session().send_cmd(169, refused ? 129 : 128, 1, &kOne, 10000) == refused) ++wrong;
    });
  }
  for (auto &c : callers) c.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(session().pending.empty());
}

}  // namespace
}  // namespace qz::test
