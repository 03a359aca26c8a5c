// qz_net stand-in: a TCP client on standalone asio.
//
// Threads. One io_context with one I/O thread serves every client of the process. It is
// started when the first client is created (qz_net_tcp_client_init) and stopped and
// joined when the last client is released (qz_net_tcp_client_uninit). All reads, the
// connect completion and every callback run on that thread. Writes run on the caller's
// thread (a blocking write under a per-client send mutex), so several threads may send
// at once and a frame is never interleaved with another. A caller that sends while
// another one writes queues its frame instead; the writing caller sends the queue right
// after its own frame, in one write.
//
// Address forms accepted by qz_net_connect_server:
//   "192.168.1.10", "device.example", "::1", "fe80::1%eth0"   -> the port argument is used
//   "192.168.1.10:7000", "device.example:7000", "[::1]:7000" -> the port in the text wins
//   "[::1]"                                                 -> the port argument is used
// A text with more than one ':' and no brackets is a bare IPv6 literal (no port). Host
// names are resolved (IPv4 and IPv6); every resolved address is tried in turn.
//
// Contract of the calls (the choices the interface leaves open):
//  - qz_net_connect_server returns true only when the TCP connection stands and event 1
//    (QZ_NET_EVENT_CONNECTED) has been delivered through the callback (on the I/O thread,
//    before any event 4 of that connection). It returns false on a refused connection, an
//    unresolvable name, a malformed address, port 0, or when the connection does not stand
//    within 3 seconds. Connecting a client that is already connected first closes the
//    old connection (no event 2 for it), whatever the outcome of the new attempt.
//    It must not be called from inside a callback (it returns false there: it would
//    have to wait for the I/O thread it is running on).
//  - Event 4 carries exactly one whole frame, or bytes that are not a frame (see
//    src/wire/frame_splitter.h). Event 2 is delivered once when the peer closes or resets
//    the connection; a local qz_net_disconnect_server / qz_net_tcp_client_uninit delivers
//    no event 2. Event 3 reports a failed write; the connection is then shut down, so an
//    event 2 follows (unless the client is closed first).
//  - TransportEvent.reserved carries the client's connection serial number (1, 2, ... per
//    connect); data/length are null/0 for events 1, 2 and 3.
//  - qz_net_disconnect_server and qz_net_tcp_client_uninit guarantee that, when they
//    return, no callback of that client runs or will run. EXCEPTION: when called from
//    inside a callback (on the I/O thread) they do not wait (that would deadlock); they
//    close the connection and return, and no further callback of that client starts
//    after the current one returns. qz_net_disconnect_server returns true unless the
//    handle is null; it is harmless on a client that is not connected.
//  - qz_net_send_data_to_server returns within 10 seconds of its call, whatever the peer
//    does. It returns false when not connected, when the write fails, or when the frame
//    could not be handed over in those 10 seconds. A frame queued behind another caller's
//    write returns true at once; should that write fail, the queued frames are dropped
//    with the connection (events 3 and 2). A sender waits only while 1 MiB is queued, and
//    gives up (nothing of its frame sent) when its 10 seconds pass first. The caller that
//    writes also writes the frames queued behind it, within the same 10 seconds: a peer
//    that does not take them in that time loses the connection (events 3 and 2), since the
//    stream may then hold part of a frame. The frames of one thread keep their order.
//  - qz_net_tcp_client_uninit closes the connection, which makes sends in progress on
//    the client fail at once, and waits until they have returned before it frees the
//    client. A call that starts after uninit returned uses a freed handle.
#include <algorithm>
#include <array>
#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#endif

#include "frame_splitter.h"
#include "qz_net.h"

namespace {

using asio::ip::tcp;
using qz::wire::FrameSplitter;

constexpr auto kConnectTimeout = std::chrono::seconds(3);
constexpr std::size_t kReadBufferSize = 64 * 1024;  // the I/O thread's, shared by its clients
#ifdef _WIN32
constexpr std::size_t kClientReadBufferSize = 4096;
#endif
using Clock = std::chrono::steady_clock;
constexpr auto kSendTimeout = std::chrono::seconds(10);        // a send call returns within this
constexpr std::size_t kMaxQueuedBytes = std::size_t{1} << 20;  // frames queued behind a write
constexpr std::size_t kKeepQueueCapacity = 16 * 1024;          // kept after a write, per client

// ---------------------------------------------------------------------------------------
// The shared I/O runtime.

class Runtime {
 public:
  Runtime() : work_(asio::make_work_guard(ctx_)) {}

  void start() {
    thread_ = std::thread([this] { run(); });
  }

  asio::io_context &ctx() { return ctx_; }
  bool in_io_thread() { return ctx_.get_executor().running_in_this_thread(); }
  // The I/O thread's read buffer; a client uses it only inside one handler.
  std::array<std::uint8_t, kReadBufferSize> &read_buffer() { return read_buffer_; }

  // Called on a non-I/O thread: lets the thread finish its remaining handlers, joins it
  // and frees the runtime.
  void stop_and_delete() {
    work_.reset();
    if (thread_.joinable()) thread_.join();
    delete this;
  }

  // Called on the I/O thread itself: the thread frees the runtime once it runs out of
  // work (after the current handler and the remaining completions).
  void stop_from_io_thread() {
    self_destruct_ = true;
    thread_.detach();
    work_.reset();
  }

 private:
  void run() {
    for (;;) {
      try {
        ctx_.run();
        break;
      } catch (...) {
        // A handler threw; keep serving the other clients.
      }
    }
    if (self_destruct_) delete this;
  }

  asio::io_context ctx_{1};
  asio::executor_work_guard<asio::io_context::executor_type> work_;
  std::array<std::uint8_t, kReadBufferSize> read_buffer_;  // I/O thread only
  std::thread thread_;
  bool self_destruct_ = false;  // only touched on the I/O thread
};

std::mutex g_runtime_mutex;
Runtime *g_runtime = nullptr;
std::size_t g_client_count = 0;

Runtime *acquire_runtime() {
  std::lock_guard<std::mutex> lock(g_runtime_mutex);
  if (g_runtime == nullptr) {
    auto *rt = new Runtime();
    rt->start();
    g_runtime = rt;
  }
  ++g_client_count;
  return g_runtime;
}

void release_runtime(Runtime *rt) {
  {
    std::lock_guard<std::mutex> lock(g_runtime_mutex);
    if (g_client_count > 0) --g_client_count;
    if (g_client_count > 0 || g_runtime != rt) return;
    g_runtime = nullptr;
  }
  if (rt->in_io_thread()) {
    rt->stop_from_io_thread();
  } else {
    rt->stop_and_delete();
  }
}

// ---------------------------------------------------------------------------------------
// Address parsing.

struct Target {
  std::string host;
  std::uint16_t port = 0;
};

bool parse_port(const std::string &text, std::uint16_t &port) {
  if (text.empty() || text.size() > 5) return false;
  unsigned long value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned long>(c - '0');
  }
  if (value == 0 || value > 65535) return false;
  port = static_cast<std::uint16_t>(value);
  return true;
}

bool parse_address(const char *address, std::uint16_t default_port, Target &out) {
  if (address == nullptr || address[0] == '\0') return false;
  const std::string text(address);
  out.port = default_port;
  if (text[0] == '[') {
    const std::size_t close = text.find(']');
    if (close == std::string::npos || close == 1) return false;
    out.host = text.substr(1, close - 1);
    const std::string rest = text.substr(close + 1);
    if (!rest.empty()) {
      if (rest[0] != ':' || !parse_port(rest.substr(1), out.port)) return false;
    }
  } else {
    const std::size_t colons = static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
    if (colons == 1) {
      const std::size_t colon = text.find(':');
      out.host = text.substr(0, colon);
      if (out.host.empty() || !parse_port(text.substr(colon + 1), out.port)) return false;
    } else {
      out.host = text;  // a host name, an IPv4 literal, or a bare IPv6 literal
    }
  }
  return out.port != 0 && !out.host.empty();
}

std::vector<tcp::endpoint> resolve(asio::io_context &ctx, const Target &target) {
  std::vector<tcp::endpoint> endpoints;
  asio::error_code ec;
  const asio::ip::address literal = asio::ip::make_address(target.host, ec);
  if (!ec) {
    endpoints.emplace_back(literal, target.port);
    return endpoints;
  }
  tcp::resolver resolver(ctx);
  const auto results =
      resolver.resolve(target.host, std::to_string(target.port), tcp::resolver::numeric_service, ec);
  if (ec) return endpoints;
  for (const auto &entry : results) endpoints.push_back(entry.endpoint());
  return endpoints;
}

// ---------------------------------------------------------------------------------------
// The client.

struct ConnectOp {
  explicit ConnectOp(asio::io_context &ctx) : timer(ctx) {}
  asio::steady_timer timer;  // I/O thread only
  bool completed = false;    // I/O thread only
  bool timed_out = false;    // I/O thread only
  std::mutex mutex;
  std::condition_variable cv;
  bool done = false;
  bool ok = false;

  void finish(bool success) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      ok = success;
      done = true;
    }
    cv.notify_all();
  }
  bool wait() {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [this] { return done; });
    return ok;
  }
};

class Client : public std::enable_shared_from_this<Client> {
 public:
  explicit Client(Runtime *rt) : rt_(rt), socket_(rt->ctx()) {}

  Runtime *runtime() const { return rt_; }

  bool connect(const char *address, std::uint16_t port, qz_net_callback callback, void *user) {
    if (rt_->in_io_thread()) return false;  // see the file comment
    std::lock_guard<std::mutex> op_lock(op_mutex_);
    close_from_app_thread();

    Target target;
    if (!parse_address(address, port, target)) return false;
    std::vector<tcp::endpoint> endpoints = resolve(rt_->ctx(), target);
    if (endpoints.empty()) return false;

    std::uint64_t gen;
    {
      std::lock_guard<std::mutex> lock(m_);
      gen = ++gen_;
      callback_ = callback;
      user_ = user;
      ++serial_;
    }
    auto op = std::make_shared<ConnectOp>(rt_->ctx());
    asio::post(rt_->ctx(), [self = shared_from_this(), op, endpoints = std::move(endpoints), gen]() {
      self->start_connect(op, endpoints, gen);
    });
    return op->wait();
  }

  // Callers that send while another caller writes do not wait for the socket: their frame
  // joins a queue that the writing caller sends right after its own, in one write. Many
  // callers on one connection thus cost few writes and no sleeping on a lock.
  bool send(const std::uint8_t *data, std::uint32_t length) {
    SendInProgress counted(*this);
    if (!counted) return false;
    if (length > 0 && data == nullptr) return false;
    const Clock::time_point deadline = Clock::now() + kSendTimeout;
    std::uint64_t gen;
    {
      std::lock_guard<std::mutex> lock(m_);
      if (!open_) return false;
      gen = gen_;
    }
    if (length == 0) return true;
    switch (queue_behind_writer(gen, data, length, deadline)) {
      case Turn::queued:
        return true;
      case Turn::timed_out:
        return false;
      case Turn::writer:
        break;
    }
    return write_as_writer(gen, data, length, deadline);
  }

  enum class Turn { queued, writer, timed_out };

  // Caller's thread. `queued` when the frame joined the queue behind the write in progress
  // on connection `gen`; `writer` when there is none and the caller is the writer now.
  // Waits while the queue is full, or while a write on an older connection ends, but not
  // past `deadline`.
  Turn queue_behind_writer(std::uint64_t gen, const std::uint8_t *data, std::uint32_t length,
                           Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(queue_mutex_);
    for (;;) {
      if (!writing_) {
        writing_ = true;
        writer_gen_ = gen;
        return Turn::writer;
      }
      if (writer_gen_ == gen && queued_.size() + length <= kMaxQueuedBytes) {
        queued_.insert(queued_.end(), data, data + length);
        return Turn::queued;
      }
      if (queue_cv_.wait_until(lock, deadline) == std::cv_status::timeout) return Turn::timed_out;
    }
  }

  // Caller's thread, writer of the connection: writes its own frame, then every frame
  // queued meanwhile, until the queue is empty. A failed write drops what is queued: the
  // connection ends (events 3 and 2), which is how the senders of those frames learn it.
  bool write_as_writer(std::uint64_t gen, const std::uint8_t *data, std::uint32_t length,
                       Clock::time_point deadline) {
    bool own_ok = false;
    {
      std::lock_guard<std::mutex> send_lock(send_mutex_);
      own_ok = write_frames(gen, data, length, deadline);
      bool ok = own_ok;
      for (;;) {
        {
          std::lock_guard<std::mutex> lock(queue_mutex_);
          if (!ok) queued_.clear();
          if (queued_.empty()) {
            writing_ = false;
            release_if_large(queued_);
            break;
          }
          batch_.swap(queued_);
        }
        queue_cv_.notify_all();  // room in the queue again
        ok = write_frames(gen, batch_.data(), batch_.size(), deadline);
        batch_.clear();
        release_if_large(batch_);
      }
    }
    queue_cv_.notify_all();  // no writer now
    return own_ok;
  }

  // Caller's thread, send_mutex_ held: writes whole frames on connection `gen`, if it
  // still stands, by `deadline`.
  bool write_frames(std::uint64_t gen, const std::uint8_t *data, std::size_t length,
                    Clock::time_point deadline) {
    {
      std::lock_guard<std::mutex> lock(m_);
      if (!open_ || gen_ != gen) return false;
    }
    asio::error_code ec;
    write_all(data, length, deadline, ec);
    if (!ec) return true;
    // The stream may hold part of a frame now: end the connection (event 2 follows),
    // after reporting the failure as event 3.
    asio::post(rt_->ctx(), [self = shared_from_this(), gen]() {
      self->deliver(gen, QZ_NET_EVENT_EXCEPTION, nullptr, 0);
    });
    asio::error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_both, ignored);
    return false;
  }

  static void release_if_large(std::vector<std::uint8_t> &bytes) {
    if (bytes.capacity() > kKeepQueueCapacity) std::vector<std::uint8_t>().swap(bytes);
  }

  // Caller's thread, send_mutex_ held. The socket is in non-blocking mode (set once on the
  // I/O thread when the connection came up), so that the I/O thread's reads never change
  // the socket's state flags while this thread reads them; a full send buffer is waited
  // for with a poll on the socket.
  void write_all(const std::uint8_t *data, std::size_t length, Clock::time_point deadline,
                 asio::error_code &ec) {
    std::size_t written = 0;
    while (written < length) {
      const std::size_t n = socket_.write_some(asio::buffer(data + written, length - written), ec);
      if (ec == asio::error::would_block || ec == asio::error::try_again) {
        if (!wait_writable(deadline, ec)) return;
        continue;
      }
      if (ec) return;
      written += n;
    }
  }

  // Waits until the socket takes more bytes (asio's own wait does not block on a socket in
  // non-blocking mode). Gives up at `deadline`, however slowly the peer takes bytes.
  bool wait_writable(Clock::time_point deadline, asio::error_code &ec) {
    const auto fd = socket_.native_handle();
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) {
        ec = asio::error::timed_out;
        return false;
      }
      const int timeout_ms = static_cast<int>(left);
#ifdef _WIN32
      WSAPOLLFD pfd{};
      pfd.fd = fd;
      pfd.events = POLLWRNORM;
      const int r = ::WSAPoll(&pfd, 1, timeout_ms);
      if (r < 0) {
        ec = asio::error_code(::WSAGetLastError(), asio::system_category());
        return false;
      }
#else
      pollfd pfd{};
      pfd.fd = fd;
      pfd.events = POLLOUT;
      const int r = ::poll(&pfd, 1, timeout_ms);
      if (r < 0) {
        if (errno == EINTR) continue;
        ec = asio::error_code(errno, asio::system_category());
        return false;
      }
#endif
      if (r == 0) continue;  // the deadline check above ends it
      ec.clear();
      return true;  // writable, or an error that the next write reports
    }
  }

  // Application thread, at uninit: no send starts from now on; the connection closes,
  // which fails the sends in progress, and they have returned when this returns.
  void release() {
    {
      std::lock_guard<std::mutex> lock(m_);
      released_ = true;
    }
    disconnect();
    queue_cv_.notify_all();
    std::unique_lock<std::mutex> lock(m_);
    cv_.wait(lock, [this] { return sends_in_progress_ == 0; });
  }

  // Ends the connection, if any; see the file comment for the callback guarantee.
  void disconnect() {
    if (rt_->in_io_thread()) {
      // Inside a callback (this client's own or another's): this client's callback is
      // not running concurrently (one I/O thread); close right here.
      {
        std::lock_guard<std::mutex> lock(m_);
        open_ = false;
        ++gen_;
      }
      close_socket();
      return;
    }
    std::lock_guard<std::mutex> op_lock(op_mutex_);
    close_from_app_thread();
  }

 private:
  // Counts one send call for release(); false when the client is being released.
  class SendInProgress {
   public:
    explicit SendInProgress(Client &client) : client_(client) {
      std::lock_guard<std::mutex> lock(client_.m_);
      counted_ = !client_.released_;
      if (counted_) ++client_.sends_in_progress_;
    }
    ~SendInProgress() {
      if (!counted_) return;
      std::lock_guard<std::mutex> lock(client_.m_);
      if (--client_.sends_in_progress_ == 0) client_.cv_.notify_all();
    }
    SendInProgress(const SendInProgress &) = delete;
    SendInProgress &operator=(const SendInProgress &) = delete;
    explicit operator bool() const { return counted_; }

   private:
    Client &client_;
    bool counted_ = false;
  };

  // Application thread, op_mutex_ held: no callback runs or will run when it returns.
  void close_from_app_thread() {
    bool had_socket;
    {
      std::unique_lock<std::mutex> lock(m_);
      open_ = false;
      ++gen_;
      cv_.wait(lock, [this] { return !in_callback_; });
      had_socket = socket_used_;
      socket_used_ = false;
    }
    if (!had_socket) return;
    // Close on the I/O thread, which owns the reads, and wait for it.
    std::promise<void> closed;
    std::future<void> closed_future = closed.get_future();
    asio::post(rt_->ctx(), [self = shared_from_this(), &closed]() {
      self->close_socket();
      closed.set_value();
    });
    closed_future.wait();
  }

  // I/O thread.
  void close_socket() {
    if (!socket_.is_open()) return;
    asio::error_code ignored;
    // shutdown first: it wakes a sender blocked in a write, which then releases the
    // send mutex; close under the send mutex so that no write runs on a closed socket.
    socket_.shutdown(tcp::socket::shutdown_both, ignored);
    std::lock_guard<std::mutex> send_lock(send_mutex_);
    socket_.close(ignored);
  }

  bool is_current(std::uint64_t gen) {
    std::lock_guard<std::mutex> lock(m_);
    return open_ && gen_ == gen;
  }

  // I/O thread.
  void start_connect(const std::shared_ptr<ConnectOp> &op, const std::vector<tcp::endpoint> &endpoints,
                     std::uint64_t gen) {
    {
      std::lock_guard<std::mutex> lock(m_);
      if (gen_ != gen) {
        op->finish(false);
        return;
      }
      socket_used_ = true;
    }
    auto self = shared_from_this();
    op->timer.expires_after(kConnectTimeout);
    op->timer.async_wait([self, op](const asio::error_code &ec) {
      if (ec || op->completed) return;
      op->timed_out = true;
      asio::error_code ignored;
      self->socket_.close(ignored);  // aborts the connect attempt
    });
    asio::async_connect(socket_, endpoints,
                        [self, op, gen](const asio::error_code &ec, const tcp::endpoint &) {
                          self->on_connect(op, gen, ec);
                        });
  }

  // I/O thread.
  void on_connect(const std::shared_ptr<ConnectOp> &op, std::uint64_t gen, const asio::error_code &ec) {
    op->completed = true;
    op->timer.cancel();
    bool ok = !ec && !op->timed_out && socket_.is_open();
#ifndef _WIN32
    if (ok) ok = watch_reads_only();
#endif
    if (ok) {
      asio::error_code nb;
      socket_.non_blocking(true, nb);  // before open_ publishes the socket to senders
      if (nb) ok = false;
    }
    if (ok) {
      std::lock_guard<std::mutex> lock(m_);
      if (gen_ == gen) {
        open_ = true;
      } else {
        ok = false;
      }
    }
    if (!ok) {
      close_socket();
      op->finish(false);
      return;
    }
    asio::error_code ignored;
    socket_.set_option(tcp::no_delay(true), ignored);
    splitter_.reset();
    if (deliver(gen, QZ_NET_EVENT_CONNECTED, nullptr, 0)) start_read(gen);
    op->finish(true);
  }

#ifndef _WIN32
  // I/O thread, before the connection is published. The connect left the socket
  // registered with the reactor for writability as well, so every re-arm of a read wait
  // would report it at once and wake the I/O thread for nothing. Registered afresh, it is
  // watched for reading only: writes never wait on the reactor.
  bool watch_reads_only() {
    asio::error_code ec;
    const tcp::endpoint local = socket_.local_endpoint(ec);
    if (ec) return false;
    const tcp::socket::native_handle_type fd = socket_.release(ec);
    if (ec) return false;
    socket_.assign(local.protocol(), fd, ec);
    if (!ec) return true;
    ::close(fd);
    return false;
  }
#endif

#ifdef _WIN32
  // I/O thread. Completion-based reads into the client's own buffer.
  void start_read(std::uint64_t gen) {
    socket_.async_read_some(asio::buffer(buffer_),
                            [self = shared_from_this(), gen](const asio::error_code &ec, std::size_t n) {
                              if (!self->is_current(gen)) return;  // closed locally meanwhile
                              if (ec) return self->on_peer_closed(gen);
                              if (self->consume(gen, self->buffer_.data(), n)) self->start_read(gen);
                            });
  }
#else
  // I/O thread. Waits until the socket is readable and then reads it dry
  // into the I/O thread's buffer: no client holds a read buffer of its own,
  // and no read is tried before data is there.
  void start_read(std::uint64_t gen) {
    socket_.async_wait(tcp::socket::wait_read, [self = shared_from_this(), gen](const asio::error_code &ec) {
      self->on_readable(gen, ec);
    });
  }

  // I/O thread. A short read empties the socket; bytes that come later
  // report readiness again (the reactor watches edges, and this thread waits
  // again before it looks for them).
  void on_readable(std::uint64_t gen, const asio::error_code &ec) {
    if (!is_current(gen)) return;  // closed locally meanwhile
    if (ec) return on_peer_closed(gen);
    auto &buffer = rt_->read_buffer();
    for (;;) {
      asio::error_code read_ec;
      const std::size_t n = socket_.read_some(asio::buffer(buffer), read_ec);
      if (read_ec == asio::error::would_block || read_ec == asio::error::try_again) break;
      if (read_ec) return on_peer_closed(gen);
      if (!consume(gen, buffer.data(), n)) return;
      if (n < buffer.size()) break;
    }
    start_read(gen);
  }
#endif

  // I/O thread. Delivers the frames in n received bytes; true while the
  // connection stays open.
  bool consume(std::uint64_t gen, const std::uint8_t *data, std::size_t n) {
    const bool alive =
        splitter_.feed(data, n, [this, gen](FrameSplitter::Kind, const std::uint8_t *p, std::size_t len) {
          return deliver(gen, QZ_NET_EVENT_DATA, p, static_cast<std::uint32_t>(len));
        });
    return alive && is_current(gen);
  }

  // I/O thread: end of stream, reset, or another read error.
  void on_peer_closed(std::uint64_t gen) {
    {
      std::unique_lock<std::mutex> lock(m_);
      if (!open_ || gen_ != gen) return;
      open_ = false;
      ++gen_;
      invoke_locked(lock, gen_, QZ_NET_EVENT_DISCONNECTED, nullptr, 0);
    }
    close_socket();
  }

  // I/O thread. Delivers one event if the connection gen is still open; returns whether
  // it still is afterwards.
  bool deliver(std::uint64_t gen, std::uint32_t type, const std::uint8_t *data, std::uint32_t length) {
    std::unique_lock<std::mutex> lock(m_);
    if (!open_ || gen_ != gen) return false;
    invoke_locked(lock, gen, type, data, length);
    return open_ && gen_ == gen;
  }

  // Calls the callback with m_ released; m_ is held again on return.
  void invoke_locked(std::unique_lock<std::mutex> &lock, std::uint64_t gen, std::uint32_t type,
                     const std::uint8_t *data, std::uint32_t length) {
    (void)gen;
    const qz_net_callback callback = callback_;
    void *const user = user_;
    if (callback == nullptr) return;
    TransportEvent event{serial_, type, data, length};
    in_callback_ = true;
    lock.unlock();
    try {
      callback(&event, user);
    } catch (...) {
      // Nothing may escape into the I/O thread.
    }
    lock.lock();
    in_callback_ = false;
    cv_.notify_all();
  }

  Runtime *const rt_;
  tcp::socket socket_;     // I/O thread; also writes and shutdown under send_mutex_
  std::mutex op_mutex_;    // serialises connect / disconnect / uninit of application threads
  std::mutex send_mutex_;  // one write at a time; close waits for a running write

  std::vector<std::uint8_t> batch_;  // queued frames being written, under send_mutex_

  std::mutex queue_mutex_;  // guards the members below; never held across a write
  std::condition_variable queue_cv_;
  bool writing_ = false;              // a caller is the writer (queues or writes)
  std::uint64_t writer_gen_ = 0;      // the connection the writer writes to
  std::vector<std::uint8_t> queued_;  // frames waiting for the writer, in order

  std::mutex m_;  // guards the members below
  std::condition_variable cv_;
  bool open_ = false;         // a connection stands and its events may be delivered
  std::uint64_t gen_ = 0;     // changes whenever a connection attempt starts or ends
  bool in_callback_ = false;  // a callback of this client is running (on the I/O thread)
  bool socket_used_ = false;  // a connect was started since the last close
  bool released_ = false;     // uninit began: no send starts
  int sends_in_progress_ = 0;
  std::uint32_t serial_ = 0;
  qz_net_callback callback_ = nullptr;
  void *user_ = nullptr;

  FrameSplitter splitter_;  // I/O thread
#ifdef _WIN32
  std::array<std::uint8_t, kClientReadBufferSize> buffer_;  // I/O thread
#endif
};

constexpr std::uint32_t kHandleMagic = 0x515A4E54;  // "QZNT"

struct Handle {
  std::uint32_t magic = kHandleMagic;
  std::shared_ptr<Client> client;
};

Client *client_of(void *handle) {
  auto *h = static_cast<Handle *>(handle);
  if (h == nullptr || h->magic != kHandleMagic) return nullptr;
  return h->client.get();
}

}  // namespace

extern "C" {

QZ_NET_API bool qz_net_tcp_client_init(void **handle) {
  if (handle == nullptr) return false;
  try {
    Runtime *rt = acquire_runtime();
    auto *h = new Handle();
    h->client = std::make_shared<Client>(rt);
    *handle = h;
    return true;
  } catch (...) {
    return false;
  }
}

QZ_NET_API bool qz_net_connect_server(void *handle, const char *address, uint16_t port,
                                      qz_net_callback callback, void *user) {
  Client *client = client_of(handle);
  if (client == nullptr) return false;
  try {
    return client->connect(address, port, callback, user);
  } catch (...) {
    return false;
  }
}

QZ_NET_API bool qz_net_send_data_to_server(void *handle, const uint8_t *data, uint32_t length) {
  Client *client = client_of(handle);
  if (client == nullptr) return false;
  try {
    return client->send(data, length);
  } catch (...) {
    return false;
  }
}

QZ_NET_API bool qz_net_disconnect_server(void *handle) {
  Client *client = client_of(handle);
  if (client == nullptr) return false;
  try {
    client->disconnect();
  } catch (...) {
  }
  return true;
}

QZ_NET_API void qz_net_tcp_client_uninit(void **handle) {
  if (handle == nullptr || *handle == nullptr) return;
  auto *h = static_cast<Handle *>(*handle);
  if (h->magic != kHandleMagic) return;
  Runtime *rt = h->client->runtime();
  try {
    // First the callback fence (a running callback may still use the handle) and the
    // senders' way out: the client must outlive every send in progress.
    h->client->release();
  } catch (...) {
  }
  *handle = nullptr;
  h->magic = 0;
  std::shared_ptr<Client> client = std::move(h->client);
  delete h;
  client.reset();  // pending completions on the I/O thread may hold it a little longer
  release_runtime(rt);
}

}  // extern "C"
