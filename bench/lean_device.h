// A lean device for benchmarks: answers every request from a precomputed
// answer book, with no logging, recording or fault handling, so that the
// device side costs as little as a device can. The answers are those of the
// simulated device (its command handling and factory settings).
//
// One epoll loop per thread; the threads share the port through
// SO_REUSEPORT. All answers to the requests found in one read go out in one
// send, in request order.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "device_state.h"

namespace qz::bench {

// The device's answers. Queries without payload are answered from frames
// built once per command; other requests go through the simulated device's
// command handling against this book's own state.
class AnswerBook {
 public:
  // Appends the answer to one whole request frame of `size` bytes.
  void answer(const uint8_t *request, std::size_t size, std::vector<uint8_t> &out);

 private:
  const std::vector<uint8_t> &query_answer(uint8_t main, uint8_t sub);

  std::mutex mutex_;  // the state and the book, shared by the device's threads
  sim::DeviceState state_;
  std::unordered_map<uint16_t, std::vector<uint8_t>> queries_;
};

// Cuts whole frames out of a received byte stream. Bytes that cannot start a
// frame are skipped one at a time up to the next start flag.
class RequestCutter {
 public:
  // Calls on_frame(p, size) for every whole frame in `kept` + [data, data + n)
  // and keeps a trailing partial frame for the next call.
  template <class OnFrame>
  void feed(const uint8_t *data, std::size_t n, OnFrame &&on_frame);

 private:
  // Length of the whole frame at p, 0 when [p, p + n) holds only part of one,
  // or -1 when p cannot start a frame.
  static long frame_at(const uint8_t *p, std::size_t n);

  std::vector<uint8_t> kept_;
};

class LeanDevice {
 public:
  LeanDevice() = default;
  ~LeanDevice();
  LeanDevice(const LeanDevice &) = delete;
  LeanDevice &operator=(const LeanDevice &) = delete;

  // Listens on 127.0.0.1 with `threads` sockets on one free port.
  bool listen(int threads, std::string &error);
  uint16_t port() const { return port_; }
  // Serves on `threads` threads (the caller's one among them) until
  // `stop_fd` becomes readable or reaches its end.
  void serve(int stop_fd);

 private:
  void serve_one(int listen_fd, int stop_fd);

  AnswerBook book_;
  std::vector<int> listeners_;
  uint16_t port_ = 0;
};

// The lean device and, for comparison, the simulated device, in a child
// process of their own: the device's threads, memory and descriptors stay out
// of the measured process. The child ends when this object is destroyed or
// the parent dies.
class DeviceProcess {
 public:
  // Forks; call it before the process starts any thread.
  bool start(int lean_threads, std::string &error);
  ~DeviceProcess();

  uint16_t lean_port() const { return lean_port_; }
  uint16_t sim_port() const { return sim_port_; }
  pid_t pid() const { return pid_; }
  // CPU time the child has used so far, in seconds (user + system).
  double cpu_seconds() const;

 private:
  pid_t pid_ = -1;
  int stop_fd_ = -1;  // the parent's end of the child's stop pipe
  uint16_t lean_port_ = 0;
  uint16_t sim_port_ = 0;
};

// ---- RequestCutter --------------------------------------------------------

template <class OnFrame>
void RequestCutter::feed(const uint8_t *data, std::size_t n, OnFrame &&on_frame) {
  const uint8_t *p = data;
  std::size_t avail = n;
  if (!kept_.empty()) {
    kept_.insert(kept_.end(), data, data + n);
    p = kept_.data();
    avail = kept_.size();
  }
  std::size_t pos = 0;
  while (pos < avail) {
    const long size = frame_at(p + pos, avail - pos);
    if (size < 0) {
      ++pos;
      continue;
    }
    if (size == 0) break;
    on_frame(p + pos, static_cast<std::size_t>(size));
    pos += static_cast<std::size_t>(size);
  }
  if (kept_.empty()) {
    kept_.assign(data + pos, data + n);
  } else {
    kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(pos));
  }
}

}  // namespace qz::bench
