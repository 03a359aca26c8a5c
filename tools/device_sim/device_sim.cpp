#include "device_sim.h"

#include <array>
#include <asio.hpp>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <sstream>
#include <thread>
#include <unordered_map>
#include <utility>

#include "frame_splitter.h"
#include "wire_frame.h"

namespace qz::sim {

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadChunk = 16 * 1024;
// A connection stops reading while this much of its output waits to be sent.
constexpr std::size_t kMaxQueuedBytes = 4 * 1024 * 1024;
constexpr std::size_t kLogPayloadBytes = 64;
constexpr std::chrono::milliseconds kAcceptRetry{50};
constexpr uint8_t kGarbagePattern[] = {0xDE, 0xAD, 0xBE, 0xEF, 0x00, 0x13, 0x37, 0xFF};

std::string endpoint_text(const tcp::endpoint &ep) {
  std::ostringstream out;
  out << ep;
  return out.str();
}

}  // namespace

struct IoThread::Impl {
  asio::io_context io;
  std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work;
  std::thread thread;
  std::atomic<bool> running{false};
};

IoThread::IoThread() : impl_(std::make_unique<Impl>()) {}

IoThread::~IoThread() {
  stop();
}

void IoThread::start() {
  if (impl_->running) return;
  impl_->io.restart();
  impl_->work.emplace(asio::make_work_guard(impl_->io));
  impl_->running = true;
  impl_->thread = std::thread([this] { impl_->io.run(); });
}

void IoThread::stop() {
  if (!impl_->running) return;
  impl_->work.reset();
  impl_->io.stop();
  impl_->thread.join();
  impl_->running = false;
}

bool IoThread::running() const {
  return impl_->running;
}

class Connection;

class DeviceSim::Impl {
 public:
  Impl(IoThread &thread, asio::io_context &io, std::unique_ptr<IoThread> own_thread, SimOptions options,
       DeviceState state)
      : own_thread_(std::move(own_thread)),
        thread_(thread),
        io_(io),
        options_(std::move(options)),
        state_(std::move(state)),
        log_(options_.log) {}

  bool start(std::string *error);
  void stop();
  // Runs `fn` on the I/O thread and waits for it; at once when the thread is
  // this one or does not run.
  void run_on_io(const std::function<void()> &fn);

  // I/O thread only.
  bool listen(std::string &error);
  void do_accept();
  bool open_acceptor(std::string &error);
  void close_acceptor();
  void begin_reboot();
  void end_reboot();
  void apply_refuse();
  void remove(uint64_t id) { connections_.erase(id); }

  // Any thread.
  Reply handle(uint8_t main, uint8_t sub, const uint8_t *payload, std::size_t size) {
    std::lock_guard lock(state_mutex_);
    return handle_request(state_, main, sub, payload, size, strict_.load(std::memory_order_relaxed));
  }
  std::optional<Fault> take_fault(uint8_t main, uint8_t sub);
  void record(uint64_t conn, Direction dir, const uint8_t *p, std::size_t n);
  bool logging() const { return log_.load(std::memory_order_relaxed) != nullptr; }
  void log_line(const std::string &line);

  std::unique_ptr<IoThread> own_thread_;  // destroyed last: the sockets below belong to it
  IoThread &thread_;
  asio::io_context &io_;
  SimOptions options_;
  tcp::acceptor acceptor_{io_};
  tcp::endpoint endpoint_;
  asio::steady_timer reboot_timer_{io_};
  asio::steady_timer accept_retry_{io_};
  std::unordered_map<uint64_t, std::shared_ptr<Connection>> connections_;
  uint64_t next_connection_ = 1;
  bool stopping_ = false;

  std::atomic<bool> running_{false};
  std::atomic<bool> rebooting_{false};
  std::atomic<uint16_t> port_{0};
  std::atomic<RefuseMode> refuse_{RefuseMode::none};
  std::atomic<long long> reboot_ms_{options_.reboot_time.count()};
  std::atomic<bool> strict_{options_.strict};

  mutable std::mutex state_mutex_;
  DeviceState state_;

  std::mutex fault_mutex_;
  std::map<FaultKey, Fault> faults_;

  mutable std::mutex record_mutex_;
  std::atomic<bool> recording_{false};
  std::size_t record_max_ = 4096;
  std::vector<RecordedFrame> recorded_;

  std::mutex log_mutex_;
  std::atomic<std::ostream *> log_;

  std::atomic<uint64_t> accepted_{0}, refused_{0}, requests_{0}, responses_{0}, garbage_{0}, reboots_{0};
  std::atomic<uint64_t> active_{0};
};

// One accepted connection: reassembles request frames from the stream and
// sends the answers one after another, with the delays and pieces that
// faults ask for.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(DeviceSim::Impl &sim, tcp::socket socket, uint64_t id)
      : sim_(sim),
        socket_(std::move(socket)),
        timer_(sim.io_),
        id_(id),
        splitter_(sim.options_.max_request_size) {
    asio::error_code ec;
    peer_ = endpoint_text(socket_.remote_endpoint(ec));
    socket_.set_option(tcp::no_delay(true), ec);
  }

  void start() {
    if (sim_.logging()) sim_.log_line("#" + std::to_string(id_) + " " + peer_ + " connected");
    read();
  }

  void close(const char *why) {
    if (closed_) return;
    closed_ = true;
    asio::error_code ec;
    socket_.shutdown(tcp::socket::shutdown_both, ec);
    socket_.close(ec);
    timer_.cancel();
    --sim_.active_;
    if (sim_.logging()) sim_.log_line("#" + std::to_string(id_) + " " + peer_ + " closed (" + why + ")");
    sim_.remove(id_);  // may drop the last owner; nothing may follow
  }

 private:
  struct Outgoing {
    std::vector<uint8_t> bytes;
    std::size_t limit = 0;  // bytes to send; less than the size when the connection closes mid-answer
    std::chrono::milliseconds delay{0};
    std::size_t chunk = 0;
    std::chrono::milliseconds pause{0};
    bool close_after = false;
    bool reboot = false;
  };

  void read() {
    socket_.async_read_some(asio::buffer(read_buf_),
                            [self = shared_from_this()](asio::error_code ec, std::size_t n) {
                              if (self->closed_) return;
                              if (ec)
                                return self->close(ec == asio::error::eof ? "peer closed" : "read error");
                              self->process_input(n);
                              if (self->closed_) return;
                              if (self->queued_bytes_ > kMaxQueuedBytes) {
                                self->read_paused_ = true;
                              } else {
                                self->read();
                              }
                            });
  }

  // Cuts the n bytes just read into requests and garbage. A request wholly
  // inside the read is handled where it lies; the splitter keeps the rest of
  // one for the next read. A run of bytes that start no frame is logged once.
  void process_input(std::size_t n) {
    using Kind = wire::FrameSplitter::Kind;
    std::size_t no_start = 0;
    splitter_.feed(read_buf_.data(), n, [&](Kind kind, const uint8_t *p, std::size_t len) {
      // Garbage that begins with the start flag is a header refused for its total length.
      const bool refused = kind == Kind::Garbage && len >= wire::kMinPrefixSize &&
                           std::memcmp(p, wire::kStartFlag, wire::kStartFlagSize) == 0;
      if (kind == Kind::Garbage && !refused) {
        no_start += len;
        return true;
      }
      if (no_start != 0) note_garbage(std::exchange(no_start, 0), "no frame start");
      if (refused) {
        note_garbage(len, "total length " + std::to_string(wire::total_length_at(p)));
      } else {
        handle_frame(p, len);
      }
      return !closed_;
    });
    if (no_start != 0) note_garbage(no_start, "no frame start");
  }

  void note_garbage(std::size_t n, const std::string &why) {
    sim_.garbage_ += n;
    if (sim_.logging()) {
      sim_.log_line("#" + std::to_string(id_) + " " + peer_ + " skipped " + std::to_string(n) +
                    " garbage byte(s): " + why);
    }
  }

  void handle_frame(const uint8_t *p, std::size_t total) {
    ++sim_.requests_;
    sim_.record(id_, Direction::request, p, total);
    const uint8_t main = p[wire::kOffMain];
    const uint8_t sub = p[wire::kOffSub];
    const uint32_t seq = wire::load_be32(p + wire::kOffSeq);
    const uint8_t *payload = p + wire::kHeaderSize;
    const std::size_t payload_size = total - wire::kFrameOverhead;
    std::optional<Fault> fault = sim_.take_fault(main, sub);

    Reply reply;
    const char *refusal = nullptr;
    if (fault && fault->code) {
      reply.code = *fault->code;
    } else if (p[wire::kOffPackageType] != wire::kPackageRequest) {
      reply.code = kCodeUnsupported;
      refusal = "package type is not 0";
    } else if (wire::load_be32(p + wire::kOffPayloadLength) != payload_size) {
      reply.code = kCodeBadPayload;
      refusal = "payload length field does not match the total length";
    } else if (std::memcmp(p + total - wire::kEndFlagSize, wire::kEndFlag, wire::kEndFlagSize) != 0) {
      reply.code = kCodeBadPayload;
      refusal = "no QZEND trailer";
    } else {
      reply = sim_.handle(main, sub, payload, payload_size);
      if (reply.code == kCodeUnsupported) refusal = "unknown command";
      if (reply.code == kCodeBadPayload) refusal = "bad payload";
    }

    std::vector<uint8_t> bytes = build_answer(fault, reply, main, sub, seq, payload, payload_size);
    if (sim_.logging()) log_exchange(main, sub, seq, payload, payload_size, reply, bytes, fault, refusal);
    if (fault && fault->no_answer) {
      if (reply.reboot) sim_.begin_reboot();
      return;
    }
    send(std::move(bytes), fault, reply.reboot);
  }

  std::vector<uint8_t> build_answer(const std::optional<Fault> &fault, Reply &reply, uint8_t main,
                                    uint8_t sub, uint32_t seq, const uint8_t *payload,
                                    std::size_t payload_size) {
    std::vector<uint8_t> answer_payload = std::move(reply.payload);
    uint8_t answer_sub = reply.answer_sub.value_or(sub);
    if (fault) {
      if (fault->payload) answer_payload = *fault->payload;
      if (fault->sub) answer_sub = *fault->sub;
      if (fault->truncate && answer_payload.size() > *fault->truncate)
        answer_payload.resize(*fault->truncate);
    }
    std::vector<uint8_t> bytes;
    if (fault && fault->raw_hook) {
      bytes = fault->raw_hook(
          RequestInfo{id_, main, sub, seq, std::vector<uint8_t>(payload, payload + payload_size)});
    } else if (fault && fault->raw) {
      bytes = *fault->raw;
    } else {
      bytes = wire::make_frame(wire::kPackageResponse, main, answer_sub, reply.code, seq, answer_payload);
    }
    if (fault && fault->garbage != 0) {
      std::vector<uint8_t> noise(fault->garbage);
      for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = kGarbagePattern[i % sizeof kGarbagePattern];
      bytes.insert(bytes.begin(), noise.begin(), noise.end());
    }
    return bytes;
  }

  void send(std::vector<uint8_t> bytes, const std::optional<Fault> &fault, bool reboot) {
    Outgoing out;
    if (fault) {
      out.delay = fault->delay;
      out.chunk = fault->chunk_size;
      out.pause = fault->chunk_pause;
      if (fault->coalesce && held_.empty() && !reboot) {
        held_ = std::move(bytes);
        return;
      }
    }
    if (!held_.empty()) {
      bytes.insert(bytes.begin(), held_.begin(), held_.end());
      held_.clear();
    }
    out.limit = bytes.size();
    if (fault && fault->close_after) {
      out.close_after = true;
      if (*fault->close_after < out.limit) out.limit = *fault->close_after;
    }
    out.reboot = reboot;
    out.bytes = std::move(bytes);
    ++sim_.responses_;
    sim_.record(id_, Direction::response, out.bytes.data(), out.limit);
    queued_bytes_ += out.bytes.size();
    queue_.push_back(std::move(out));
    if (!busy_) next();
  }

  void next() {
    if (closed_ || queue_.empty()) {
      busy_ = false;
      return;
    }
    busy_ = true;
    sent_ = 0;
    const Outgoing &cur = queue_.front();
    if (cur.delay.count() > 0) {
      wait_then(cur.delay, [](Connection &c) { c.write_piece(); });
    } else {
      write_piece();
    }
  }

  template <class Then>
  void wait_then(std::chrono::milliseconds time, Then then) {
    timer_.expires_after(time);
    timer_.async_wait([self = shared_from_this(), then](asio::error_code ec) {
      if (ec || self->closed_) return;
      then(*self);
    });
  }

  void write_piece() {
    const Outgoing &cur = queue_.front();
    if (sent_ >= cur.limit) return finish_item();
    std::size_t n = cur.limit - sent_;
    if (cur.chunk != 0 && cur.chunk < n) n = cur.chunk;
    asio::async_write(socket_, asio::buffer(cur.bytes.data() + sent_, n),
                      [self = shared_from_this(), n](asio::error_code ec, std::size_t) {
                        if (self->closed_) return;
                        if (ec) {
                          const bool reboot = self->queue_.front().reboot;
                          self->close("write error");
                          if (reboot) self->sim_.begin_reboot();
                          return;
                        }
                        self->sent_ += n;
                        const Outgoing &item = self->queue_.front();
                        if (self->sent_ < item.limit && item.pause.count() > 0) {
                          self->wait_then(item.pause, [](Connection &c) { c.write_piece(); });
                        } else {
                          self->write_piece();
                        }
                      });
  }

  void finish_item() {
    Outgoing done = std::move(queue_.front());
    queue_.pop_front();
    queued_bytes_ -= done.bytes.size();
    auto keep_alive = shared_from_this();
    if (done.close_after) close("closed mid-answer by fault");
    if (done.reboot) sim_.begin_reboot();
    if (closed_) return;
    if (read_paused_ && queued_bytes_ < kMaxQueuedBytes / 2) {
      read_paused_ = false;
      read();
    }
    next();
  }

  void log_exchange(uint8_t main, uint8_t sub, uint32_t seq, const uint8_t *payload, std::size_t payload_size,
                    const Reply &reply, const std::vector<uint8_t> &answer, const std::optional<Fault> &fault,
                    const char *refusal) {
    std::ostringstream line;
    line << '#' << id_ << ' ' << peer_ << ' ' << unsigned{main} << '/' << unsigned{sub} << " seq=" << seq
         << " in[" << payload_size << "]=" << to_hex(payload, payload_size, kLogPayloadBytes)
         << " -> code=" << unsigned{reply.code};
    if (answer.size() >= wire::kFrameOverhead &&
        !(fault && (fault->raw || fault->raw_hook || fault->garbage))) {
      const std::size_t n = answer.size() - wire::kFrameOverhead;
      line << " out[" << n << "]=" << to_hex(answer.data() + wire::kHeaderSize, n, kLogPayloadBytes);
    } else {
      line << " out(bytes)[" << answer.size()
           << "]=" << to_hex(answer.data(), answer.size(), kLogPayloadBytes);
    }
    if (refusal) line << " refused: " << refusal;
    if (!reply.note.empty()) line << ' ' << reply.note;
    if (fault) line << " fault{" << describe_fault(*fault) << '}';
    sim_.log_line(line.str());
  }

  DeviceSim::Impl &sim_;
  tcp::socket socket_;
  asio::steady_timer timer_;
  uint64_t id_;
  std::string peer_;
  bool closed_ = false;
  std::array<uint8_t, kReadChunk> read_buf_{};
  wire::FrameSplitter splitter_;
  std::deque<Outgoing> queue_;
  std::size_t queued_bytes_ = 0;
  std::size_t sent_ = 0;
  bool busy_ = false;
  bool read_paused_ = false;
  std::vector<uint8_t> held_;  // a coalesced answer waiting for the next one
};

// ---- Impl ------------------------------------------------------------------

bool DeviceSim::Impl::start(std::string *error) {
  if (running_) return true;
  if (own_thread_) own_thread_->start();
  std::string message;
  bool listening = false;
  run_on_io([&] { listening = listen(message); });
  if (!listening) {
    if (own_thread_) own_thread_->stop();
    if (error) *error = message;
    return false;
  }
  running_ = true;
  return true;
}

bool DeviceSim::Impl::listen(std::string &error) {
  asio::error_code ec;
  const auto address = asio::ip::make_address(options_.address, ec);
  if (ec) {
    error = "bad listen address \"" + options_.address + "\": " + ec.message();
    return false;
  }
  endpoint_ = tcp::endpoint(address, options_.port);
  if (!open_acceptor(error)) return false;
  // Later reopenings (after a reboot) bind the same port again.
  endpoint_.port(acceptor_.local_endpoint(ec).port());
  port_ = endpoint_.port();
  stopping_ = false;
  if (refuse_ == RefuseMode::stop_listening) close_acceptor();
  do_accept();
  return true;
}

void DeviceSim::Impl::stop() {
  if (!running_) return;
  run_on_io([this] {
    stopping_ = true;
    reboot_timer_.cancel();
    close_acceptor();
    auto open = connections_;
    for (auto &[id, conn] : open) conn->close("simulator stopped");
    connections_.clear();
  });
  if (own_thread_) own_thread_->stop();
  running_ = false;
  rebooting_ = false;
}

void DeviceSim::Impl::run_on_io(const std::function<void()> &fn) {
  if (!thread_.running() || io_.get_executor().running_in_this_thread()) return fn();
  std::promise<void> done;
  asio::post(io_, [&] {
    fn();
    done.set_value();
  });
  done.get_future().wait();
}

bool DeviceSim::Impl::open_acceptor(std::string &error) {
  asio::error_code ec;
  acceptor_.open(endpoint_.protocol(), ec);
  if (!ec) acceptor_.set_option(tcp::acceptor::reuse_address(true), ec);
  if (!ec) acceptor_.bind(endpoint_, ec);
  if (!ec) acceptor_.listen(asio::socket_base::max_listen_connections, ec);
  if (ec) {
    error = "cannot listen on " + endpoint_text(endpoint_) + ": " + ec.message();
    asio::error_code ignored;
    acceptor_.close(ignored);
    return false;
  }
  return true;
}

void DeviceSim::Impl::close_acceptor() {
  asio::error_code ec;
  accept_retry_.cancel();
  acceptor_.close(ec);
}

void DeviceSim::Impl::do_accept() {
  if (!acceptor_.is_open() || stopping_) return;
  acceptor_.async_accept([this](asio::error_code ec, tcp::socket socket) {
    if (ec == asio::error::operation_aborted || stopping_ || !acceptor_.is_open()) return;
    if (ec) {
      // Out of descriptors or similar: try again shortly instead of spinning.
      if (logging()) log_line("accept failed: " + ec.message());
      accept_retry_.expires_after(kAcceptRetry);
      accept_retry_.async_wait([this](asio::error_code wait_ec) {
        if (!wait_ec) do_accept();
      });
      return;
    }
    if (refuse_ == RefuseMode::close_on_accept || rebooting_) {
      ++refused_;
      asio::error_code ignored;
      if (logging()) log_line(endpoint_text(socket.remote_endpoint(ignored)) + " refused (closed on accept)");
      socket.close(ignored);
    } else {
      ++accepted_;
      ++active_;
      const uint64_t id = next_connection_++;
      auto conn = std::make_shared<Connection>(*this, std::move(socket), id);
      connections_.emplace(id, conn);
      conn->start();
    }
    do_accept();
  });
}

void DeviceSim::Impl::begin_reboot() {
  if (rebooting_ || stopping_) return;
  rebooting_ = true;
  ++reboots_;
  const std::chrono::milliseconds time{reboot_ms_.load()};
  if (logging()) log_line("rebooting: dropping all connections for " + std::to_string(time.count()) + " ms");
  close_acceptor();
  auto open = connections_;
  for (auto &[id, conn] : open) conn->close("reboot");
  reboot_timer_.expires_after(time);
  reboot_timer_.async_wait([this](asio::error_code ec) {
    if (!ec) end_reboot();
  });
}

void DeviceSim::Impl::end_reboot() {
  rebooting_ = false;
  if (logging()) log_line("reboot done");
  apply_refuse();
}

// Opens or closes the listening socket as the refuse mode and reboot want.
void DeviceSim::Impl::apply_refuse() {
  if (stopping_ || rebooting_) return;
  const bool want_open = refuse_ != RefuseMode::stop_listening;
  if (want_open == acceptor_.is_open()) return;
  if (!want_open) {
    close_acceptor();
    if (logging()) log_line("stopped listening");
    return;
  }
  std::string error;
  if (open_acceptor(error)) {
    if (logging()) log_line("listening on " + endpoint_text(endpoint_));
    do_accept();
    return;
  }
  // The port may still be held for a moment: retry.
  if (logging()) log_line(error);
  reboot_timer_.expires_after(kAcceptRetry);
  reboot_timer_.async_wait([this](asio::error_code ec) {
    if (!ec) apply_refuse();
  });
}

std::optional<Fault> DeviceSim::Impl::take_fault(uint8_t main, uint8_t sub) {
  std::lock_guard lock(fault_mutex_);
  if (faults_.empty()) return std::nullopt;
  for (const FaultKey &key : {FaultKey::command(main, sub), FaultKey::main_command(main), FaultKey::any()}) {
    auto it = faults_.find(key);
    if (it == faults_.end()) continue;
    Fault fault = it->second;
    if (it->second.times != 0 && --it->second.times == 0) faults_.erase(it);
    return fault;
  }
  return std::nullopt;
}

void DeviceSim::Impl::record(uint64_t conn, Direction dir, const uint8_t *p, std::size_t n) {
  if (!recording_.load(std::memory_order_relaxed)) return;
  std::lock_guard lock(record_mutex_);
  if (recorded_.size() >= record_max_) return;
  recorded_.push_back(RecordedFrame{conn, dir, std::vector<uint8_t>(p, p + n)});
}

void DeviceSim::Impl::log_line(const std::string &line) {
  std::lock_guard lock(log_mutex_);
  std::ostream *out = log_.load();
  if (out) *out << options_.log_prefix << line << '\n' << std::flush;
}

// ---- DeviceSim -------------------------------------------------------------

DeviceSim::DeviceSim(SimOptions options, DeviceState state) {
  auto own = std::make_unique<IoThread>();
  IoThread &thread = *own;
  impl_ =
      std::make_unique<Impl>(thread, thread.impl_->io, std::move(own), std::move(options), std::move(state));
}

DeviceSim::DeviceSim(IoThread &thread, SimOptions options, DeviceState state)
    : impl_(std::make_unique<Impl>(thread, thread.impl_->io, nullptr, std::move(options), std::move(state))) {
}

DeviceSim::~DeviceSim() {
  stop();
}

bool DeviceSim::start(std::string *error) {
  return impl_->start(error);
}
void DeviceSim::stop() {
  impl_->stop();
}
bool DeviceSim::running() const {
  return impl_->running_;
}
uint16_t DeviceSim::port() const {
  return impl_->port_;
}

DeviceState DeviceSim::state() const {
  std::lock_guard lock(impl_->state_mutex_);
  return impl_->state_;
}

void DeviceSim::set_state(const DeviceState &state) {
  std::lock_guard lock(impl_->state_mutex_);
  impl_->state_ = state;
}

void DeviceSim::update_state(const std::function<void(DeviceState &)> &change) {
  std::lock_guard lock(impl_->state_mutex_);
  change(impl_->state_);
}

nlohmann::json DeviceSim::to_json() const {
  return state_to_json(state());
}

bool DeviceSim::load_state(const std::string &path, std::string *error) {
  std::string message;
  DeviceState next = state();
  if (!load_state_file(path, next, message)) {
    if (error) *error = message;
    return false;
  }
  set_state(next);
  return true;
}

bool DeviceSim::save_state(const std::string &path, std::string *error) const {
  std::string message;
  if (save_state_file(path, state(), message)) return true;
  if (error) *error = message;
  return false;
}

void DeviceSim::set_fault(const FaultKey &key, Fault fault) {
  std::lock_guard lock(impl_->fault_mutex_);
  impl_->faults_[key] = std::move(fault);
}

void DeviceSim::clear_fault(const FaultKey &key) {
  std::lock_guard lock(impl_->fault_mutex_);
  impl_->faults_.erase(key);
}

void DeviceSim::clear_faults() {
  std::lock_guard lock(impl_->fault_mutex_);
  impl_->faults_.clear();
}

void DeviceSim::set_refuse(RefuseMode mode) {
  impl_->refuse_ = mode;
  impl_->run_on_io([this] {
    if (impl_->running_) impl_->apply_refuse();
  });
}

void DeviceSim::reboot() {
  impl_->run_on_io([this] {
    if (impl_->running_) impl_->begin_reboot();
  });
}

bool DeviceSim::rebooting() const {
  return impl_->rebooting_;
}

void DeviceSim::set_reboot_time(std::chrono::milliseconds time) {
  impl_->reboot_ms_ = time.count();
}

void DeviceSim::set_recording(bool on, std::size_t max_frames) {
  std::lock_guard lock(impl_->record_mutex_);
  impl_->record_max_ = max_frames;
  impl_->recording_ = on;
}

std::vector<RecordedFrame> DeviceSim::recorded() const {
  std::lock_guard lock(impl_->record_mutex_);
  return impl_->recorded_;
}

void DeviceSim::clear_recorded() {
  std::lock_guard lock(impl_->record_mutex_);
  impl_->recorded_.clear();
}

void DeviceSim::set_log(std::ostream *log) {
  impl_->log_ = log;
}

void DeviceSim::set_strict(bool strict) {
  impl_->strict_ = strict;
}

SimStats DeviceSim::stats() const {
  const Impl &i = *impl_;
  return SimStats{i.accepted_, i.refused_, i.active_, i.requests_, i.responses_, i.garbage_, i.reboots_};
}

namespace {

// "state file PATH: WHAT", the one form of every state file problem.
bool state_file_problem(const std::string &path, const std::string &what, std::string &error) {
  error = "state file " + path + ": " + what;
  return false;
}

// Why the last system call failed, in words.
std::string system_reason() {
  const int code = errno;
  return code != 0 ? std::generic_category().message(code) : "input/output error";
}

// Opens `file` unless `path` is a directory (POSIX systems open one like a
// file, and reading it then fails). Returns why it did not open.
template <class Stream>
std::optional<std::string> open_state_file(Stream &file, const std::string &path, std::ios::openmode mode) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) return "is a directory";
  errno = 0;
  file.open(path, mode);
  if (file.is_open()) return std::nullopt;
  return system_reason();
}

}  // namespace

bool load_state_file(const std::string &path, DeviceState &state, std::string &error) {
  std::ifstream in;
  if (auto why = open_state_file(in, path, std::ios::binary))
    return state_file_problem(path, "cannot read: " + *why, error);
  nlohmann::json json;
  try {
    json = nlohmann::json::parse(in);
  } catch (const nlohmann::json::parse_error &e) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
    const std::string what = e.what();
    const auto start = what.find("] ");
    return state_file_problem(
        path, "not valid JSON: " + what.substr(start == std::string::npos ? 0 : start + 2), error);
  } catch (const std::ios_base::failure &) {
    return state_file_problem(path, "cannot read: " + system_reason(), error);
  }
  std::string problem;
  if (!state_from_json(json, state, problem)) return state_file_problem(path, problem, error);
  return true;
}

bool save_state_file(const std::string &path, const DeviceState &state, std::string &error) {
  std::ofstream out;
  if (auto why = open_state_file(out, path, std::ios::binary | std::ios::trunc))
    return state_file_problem(path, "cannot write: " + *why, error);
  errno = 0;
  out << state_to_json(state).dump(2) << '\n';
  // A full disk may show only when the buffer goes out, on close.
  out.close();
  if (!out) return state_file_problem(path, "cannot write: " + system_reason(), error);
  return true;
}

}  // namespace qz::sim
