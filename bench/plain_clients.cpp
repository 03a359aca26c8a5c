#include "plain_clients.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "lean_device.h"
#include "wire_frame.h"

namespace qz::bench {

std::vector<uint8_t> query_frame(uint8_t main, uint8_t sub, uint32_t seq) {
  return wire::make_frame(wire::kPackageRequest, main, sub, wire::kRequestMarker, seq, nullptr, 0);
}

int connect_loopback(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(port);
  if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
    ::close(fd);
    return -1;
  }
  const int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  return fd;
}

bool send_all(int fd, const uint8_t *p, std::size_t n) {
  while (n > 0) {
    const ssize_t r = ::send(fd, p, n, MSG_NOSIGNAL);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    p += r;
    n -= static_cast<std::size_t>(r);
  }
  return true;
}

namespace {

bool recv_all(int fd, uint8_t *p, std::size_t n) {
  while (n > 0) {
    const ssize_t r = ::recv(fd, p, n, 0);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    p += r;
    n -= static_cast<std::size_t>(r);
  }
  return true;
}

bool answer_ok(const uint8_t *frame, std::size_t size, uint32_t seq) {
  return size >= wire::kFrameOverhead && wire::load_be32(frame + wire::kOffSeq) == seq &&
         frame[wire::kOffCode] == 0;
}

}  // namespace

// ---- BlockingClient ---------------------------------------------------------

BlockingClient::~BlockingClient() {
  if (fd_ >= 0) ::close(fd_);
}

bool BlockingClient::connect(uint16_t port) {
  fd_ = connect_loopback(port);
  return fd_ >= 0;
}

bool BlockingClient::round_trip(uint8_t main, uint8_t sub) {
  const uint32_t seq = ++seq_;
  std::array<uint8_t, wire::kFrameOverhead> request;
  wire::write_frame(request.data(), wire::kPackageRequest, main, sub, wire::kRequestMarker, seq, nullptr, 0);
  return send_all(fd_, request.data(), request.size()) && read_answer(seq);
}

bool BlockingClient::pipelined(uint8_t main, uint8_t sub, int count) {
  request_.resize(static_cast<std::size_t>(count) * wire::kFrameOverhead);
  const uint32_t first = seq_ + 1;
  for (int i = 0; i < count; ++i) {
    wire::write_frame(request_.data() + static_cast<std::size_t>(i) * wire::kFrameOverhead,
                      wire::kPackageRequest, main, sub, wire::kRequestMarker, ++seq_, nullptr, 0);
  }
  if (!send_all(fd_, request_.data(), request_.size())) return false;
  for (int i = 0; i < count; ++i) {
    if (!read_answer(first + static_cast<uint32_t>(i))) return false;
  }
  return true;
}

// Reads one frame: the prefix with the total length, then the rest.
bool BlockingClient::read_answer(uint32_t seq) {
  answer_.resize(wire::kMinPrefixSize);
  if (!recv_all(fd_, answer_.data(), answer_.size())) return false;
  const uint32_t total = wire::load_be32(answer_.data() + wire::kOffTotalLength);
  if (total < wire::kFrameOverhead || total > (1u << 20)) return false;
  answer_.resize(total);
  if (!recv_all(fd_, answer_.data() + wire::kMinPrefixSize, total - wire::kMinPrefixSize)) return false;
  return answer_ok(answer_.data(), answer_.size(), seq);
}

// ---- ThreadedClient ---------------------------------------------------------

ThreadedClient::~ThreadedClient() {
  close();
}

bool ThreadedClient::connect(uint16_t port) {
  fd_ = connect_loopback(port);
  if (fd_ < 0) return false;
  receiver_ = std::thread([this] { receive_loop(); });
  return true;
}

void ThreadedClient::close() {
  if (fd_ < 0) return;
  ::shutdown(fd_, SHUT_RDWR);
  if (receiver_.joinable()) receiver_.join();
  ::close(fd_);
  fd_ = -1;
}

bool ThreadedClient::round_trip(uint8_t main, uint8_t sub) {
  Waiter waiter;
  waiter.seq = next_seq_.fetch_add(1, std::memory_order_relaxed) + 1;
  std::size_t slot = kMaxWaiters;
  {
    std::lock_guard lock(table_mutex_);
    for (std::size_t i = 0; i < kMaxWaiters && slot == kMaxWaiters; ++i) {
      if (waiting_[i] == nullptr) slot = i;
    }
    if (slot == kMaxWaiters) return false;
    waiting_[slot] = &waiter;
  }
  std::array<uint8_t, wire::kFrameOverhead> request;
  wire::write_frame(request.data(), wire::kPackageRequest, main, sub, wire::kRequestMarker, waiter.seq,
                    nullptr, 0);
  bool sent;
  {
    std::lock_guard lock(send_mutex_);
    sent = send_all(fd_, request.data(), request.size());
  }
  if (sent) {
    std::unique_lock lock(waiter.mutex);
    waiter.cv.wait(lock, [&] { return waiter.done; });
  }
  std::lock_guard lock(table_mutex_);
  waiting_[slot] = nullptr;
  return sent && waiter.ok;
}

void ThreadedClient::receive_loop() {
  RequestCutter cutter;  // cuts answers as well as requests
  std::vector<uint8_t> buffer(64 * 1024);
  for (;;) {
    const ssize_t n = ::recv(fd_, buffer.data(), buffer.size(), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    cutter.feed(buffer.data(), static_cast<std::size_t>(n),
                [this](const uint8_t *frame, std::size_t size) { hand_over(frame, size); });
  }
  // The connection ended: nobody waits in vain.
  std::lock_guard lock(table_mutex_);
  for (Waiter *w : waiting_) {
    if (w == nullptr) continue;
    {
      std::lock_guard wl(w->mutex);
      w->done = true;
    }
    w->cv.notify_one();
  }
}

void ThreadedClient::hand_over(const uint8_t *frame, std::size_t size) {
  const uint32_t seq = wire::load_be32(frame + wire::kOffSeq);
  // The table lock keeps the waiter alive until it has been notified.
  std::lock_guard lock(table_mutex_);
  for (Waiter *w : waiting_) {
    if (w == nullptr || w->seq != seq) continue;
    {
      std::lock_guard wl(w->mutex);
      w->ok = answer_ok(frame, size, seq);
      w->done = true;
    }
    w->cv.notify_one();
    return;
  }
}

}  // namespace qz::bench
