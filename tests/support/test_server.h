// A frame builder, and a small asio TCP server that accepts on an ephemeral loopback
// port, records what each connection receives and lets the test send, close or reset,
// or hold off reading as a stalled peer would.
#ifndef QZ_TEST_SERVER_H
#define QZ_TEST_SERVER_H

#include <array>
#include <asio.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "wire_frame.h"

namespace qz_test {

using Bytes = std::vector<std::uint8_t>;
using asio::ip::tcp;
using namespace std::chrono_literals;

inline Bytes cat(const std::vector<Bytes> &parts) {
  Bytes out;
  for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// "QZSTART" and a total length: the 11 bytes the splitter judges a frame start by.
inline Bytes frame_prefix(std::uint32_t total) {
  Bytes h = {'Q', 'Z', 'S', 'T', 'A', 'R', 'T', 0, 0, 0, 0};
  qz::wire::store_be32(h.data() + 7, total);
  return h;
}

// A well-formed frame (type 1, main 0xA9, sub 0x80) with `payload` bytes of `fill`.
inline Bytes make_frame(std::size_t payload, std::uint8_t fill = 0xAB, std::uint32_t seq = 1) {
  return qz::wire::make_frame(qz::wire::kPackageResponse, 0xA9, 0x80, 0, seq, Bytes(payload, fill));
}

class TestServer {
 public:
  struct Conn {
    explicit Conn(asio::io_context &ctx) : socket(ctx) {}
    tcp::socket socket;
    Bytes received;  // this and eof under the server's mutex
    bool eof = false;
    std::array<std::uint8_t, 65536> buffer{};
  };
  using ConnPtr = std::shared_ptr<Conn>;

  // With `reading` false, a connection is read only after start_reading.
  explicit TestServer(const char *address = "127.0.0.1", bool reading = true)
      : work_(asio::make_work_guard(ctx_)),
        acceptor_(ctx_, tcp::endpoint(asio::ip::make_address(address), 0)),
        reading_(reading) {
    accept();
    thread_ = std::thread([this] { ctx_.run(); });
  }

  ~TestServer() {
    run_on_server([this] {
      asio::error_code ignored;
      acceptor_.close(ignored);
      std::lock_guard<std::mutex> lock(mutex_);
      for (auto &c : conns_) c->socket.close(ignored);
    });
    work_.reset();
    ctx_.stop();
    thread_.join();
  }

  std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

  // The index-th accepted connection, or null when the time is up.
  ConnPtr wait_conn(std::size_t index, std::chrono::milliseconds timeout = 5s) {
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, timeout, [&] { return conns_.size() > index; }) ? conns_[index] : nullptr;
  }

  // Writes on the server thread and waits for the write to complete.
  bool send(const ConnPtr &c, const Bytes &bytes) {
    std::promise<bool> done;
    asio::post(ctx_, [&] {
      asio::async_write(c->socket, asio::buffer(bytes),
                        [&](const asio::error_code &ec, std::size_t) { done.set_value(!ec); });
    });
    return done.get_future().get();
  }

  void start_reading(const ConnPtr &c) {
    asio::post(ctx_, [this, c] { read(c); });
  }

  // Closes the connection; with `reset` (SO_LINGER 0) the peer sees a reset.
  void close(const ConnPtr &c, bool reset = false) {
    run_on_server([c, reset] {
      asio::error_code ignored;
      if (reset) c->socket.set_option(asio::socket_base::linger(true, 0), ignored);
      c->socket.close(ignored);
    });
  }

  // What the connection received, once it is at least n bytes or the time is up.
  Bytes wait_received(const ConnPtr &c, std::size_t n, std::chrono::milliseconds timeout = 5s) {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait_for(lock, timeout, [&] { return c->received.size() >= n; });
    return c->received;
  }

  bool wait_eof(const ConnPtr &c) {
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, 5s, [&] { return c->eof; });
  }

 private:
  template <class F>
  void run_on_server(F f) {
    std::promise<void> done;
    asio::post(ctx_, [&] {
      f();
      done.set_value();
    });
    done.get_future().wait();
  }

  void accept() {
    auto c = std::make_shared<Conn>(ctx_);
    acceptor_.async_accept(c->socket, [this, c](const asio::error_code &ec) {
      if (ec) return;
      std::lock_guard<std::mutex> lock(mutex_);
      conns_.push_back(c);
      cv_.notify_all();
      if (reading_) read(c);
      accept();
    });
  }

  void read(const ConnPtr &c) {
    c->socket.async_read_some(asio::buffer(c->buffer), [this, c](const asio::error_code &ec, std::size_t n) {
      std::lock_guard<std::mutex> lock(mutex_);
      if (ec) c->eof = true;
      if (!ec) c->received.insert(c->received.end(), c->buffer.begin(), c->buffer.begin() + n);
      cv_.notify_all();
      if (!ec) read(c);
    });
  }

  asio::io_context ctx_;
  asio::executor_work_guard<asio::io_context::executor_type> work_;
  tcp::acceptor acceptor_;
  const bool reading_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable cv_;
  std::vector<ConnPtr> conns_;
};

}  // namespace qz_test

#endif
