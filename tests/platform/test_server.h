// A small asio TCP server for the qz_net tests: accepts connections on an ephemeral port
// of a loopback address, records what each connection receives, and lets the test send,
// close or reset.
#ifndef QZ_PLATFORM_TEST_SERVER_H
#define QZ_PLATFORM_TEST_SERVER_H

#include <array>
#include <asio.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qz_test {

using Bytes = std::vector<std::uint8_t>;
using asio::ip::tcp;

class TestServer {
 public:
  struct Conn {
    explicit Conn(asio::io_context &ctx) : socket(ctx) {}
    tcp::socket socket;
    std::mutex mutex;
    std::condition_variable cv;
    Bytes received;
    bool eof = false;
    std::array<std::uint8_t, 65536> buffer{};
  };

  explicit TestServer(const char *address = "127.0.0.1")
      : work_(asio::make_work_guard(ctx_)),
        acceptor_(ctx_, tcp::endpoint(asio::ip::make_address(address), 0)) {
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

  std::shared_ptr<Conn> wait_conn(std::size_t index,
                                  std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!cv_.wait_for(lock, timeout, [&] { return conns_.size() > index; })) return nullptr;
    return conns_[index];
  }

  std::size_t conn_count() {
    std::lock_guard<std::mutex> lock(mutex_);
    return conns_.size();
  }

  // Writes on the server thread and waits for the write to complete.
  bool send(const std::shared_ptr<Conn> &c, const Bytes &bytes) {
    std::promise<bool> done;
    auto future = done.get_future();
    asio::post(ctx_, [&] {
      asio::async_write(c->socket, asio::buffer(bytes),
                        [&](const asio::error_code &ec, std::size_t) { done.set_value(!ec); });
    });
    return future.get();
  }

  void close(const std::shared_ptr<Conn> &c) {
    run_on_server([c] {
      asio::error_code ignored;
      c->socket.shutdown(tcp::socket::shutdown_both, ignored);
      c->socket.close(ignored);
    });
  }

  // Closes with SO_LINGER 0, so that the peer sees a reset.
  void reset(const std::shared_ptr<Conn> &c) {
    run_on_server([c] {
      asio::error_code ignored;
      c->socket.set_option(asio::socket_base::linger(true, 0), ignored);
      c->socket.close(ignored);
    });
  }

  bool wait_received(const std::shared_ptr<Conn> &c, std::size_t n,
                     std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    std::unique_lock<std::mutex> lock(c->mutex);
    return c->cv.wait_for(lock, timeout, [&] { return c->received.size() >= n; });
  }

  bool wait_eof(const std::shared_ptr<Conn> &c, std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    std::unique_lock<std::mutex> lock(c->mutex);
    return c->cv.wait_for(lock, timeout, [&] { return c->eof; });
  }

  Bytes received(const std::shared_ptr<Conn> &c) {
    std::lock_guard<std::mutex> lock(c->mutex);
    return c->received;
  }

 private:
  template <class F>
  void run_on_server(F f) {
    std::promise<void> done;
    auto future = done.get_future();
    asio::post(ctx_, [&] {
      f();
      done.set_value();
    });
    future.wait();
  }

  void accept() {
    auto c = std::make_shared<Conn>(ctx_);
    acceptor_.async_accept(c->socket, [this, c](const asio::error_code &ec) {
      if (ec) return;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        conns_.push_back(c);
      }
      cv_.notify_all();
      read(c);
      accept();
    });
  }

  void read(const std::shared_ptr<Conn> &c) {
    c->socket.async_read_some(asio::buffer(c->buffer), [this, c](const asio::error_code &ec, std::size_t n) {
      {
        std::lock_guard<std::mutex> lock(c->mutex);
        if (ec) {
          c->eof = true;
        } else {
          c->received.insert(c->received.end(), c->buffer.begin(), c->buffer.begin() + static_cast<long>(n));
        }
      }
      c->cv.notify_all();
      if (!ec) read(c);
    });
  }

  asio::io_context ctx_;
  asio::executor_work_guard<asio::io_context::executor_type> work_;
  tcp::acceptor acceptor_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable cv_;
  std::vector<std::shared_ptr<Conn>> conns_;
};

}  // namespace qz_test

#endif
