// The baselines the SDK is measured against: plain sockets, no SDK.
//
//   BlockingClient  (a) one blocking socket: send the request, read its answer.
//   ThreadedClient  (b) the SDK's architecture at its floor: callers send on
//                   the socket, one receive thread reads the answers and hands
//                   each to its caller through that caller's condition variable.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qz::bench {

// A request frame without payload for (main, sub) with the given seq.
std::vector<uint8_t> query_frame(uint8_t main, uint8_t sub, uint32_t seq);

// A connected blocking TCP socket to 127.0.0.1:port with TCP_NODELAY, or -1.
int connect_loopback(uint16_t port);

// Sends all n bytes; false on error.
bool send_all(int fd, const uint8_t *p, std::size_t n);

class BlockingClient {
 public:
  BlockingClient() = default;
  ~BlockingClient();
  BlockingClient(const BlockingClient &) = delete;
  BlockingClient &operator=(const BlockingClient &) = delete;

  bool connect(uint16_t port);
  // One round trip of the query (main, sub); true when a whole answer with
  // the request's seq and response code 0 came back.
  bool round_trip(uint8_t main, uint8_t sub);
  // Sends `count` queries in one write, then reads their answers.
  bool pipelined(uint8_t main, uint8_t sub, int count);
  std::size_t last_answer_size() const { return answer_.size(); }

 private:
  bool read_answer(uint32_t seq);

  int fd_ = -1;
  uint32_t seq_ = 0;
  std::vector<uint8_t> request_;
  std::vector<uint8_t> answer_;
};

class ThreadedClient {
 public:
  ThreadedClient() = default;
  ~ThreadedClient();
  ThreadedClient(const ThreadedClient &) = delete;
  ThreadedClient &operator=(const ThreadedClient &) = delete;

  bool connect(uint16_t port);
  void close();
  // One round trip from the calling thread; any number of threads may call.
  bool round_trip(uint8_t main, uint8_t sub);

 private:
  // One waiting caller.
  struct Waiter {
    uint32_t seq = 0;
    bool done = false;
    bool ok = false;
    std::mutex mutex;
    std::condition_variable cv;
  };
  static constexpr std::size_t kMaxWaiters = 64;

  void receive_loop();
  void hand_over(const uint8_t *frame, std::size_t size);

  int fd_ = -1;
  std::thread receiver_;
  std::atomic<uint32_t> next_seq_{0};
  std::mutex send_mutex_;
  std::mutex table_mutex_;
  Waiter *waiting_[kMaxWaiters] = {};
};

}  // namespace qz::bench
