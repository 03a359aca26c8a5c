#include "scripted_device.h"

#include <list>
#include <thread>

#include <asio.hpp>

namespace qz::test {

using asio::ip::tcp;

struct ScriptedDevice::Impl {
  asio::io_context io;
  tcp::acceptor acceptor{io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0)};
  std::thread accept_thread;
  mutable std::mutex mutex;
  Script script;
  std::vector<Bytes> requests;
  std::list<std::shared_ptr<tcp::socket>> sockets;
  std::list<std::thread> workers;
  std::atomic<bool> stopping{false};

  void accept_loop() {
    while (!stopping) {
      auto socket = std::make_shared<tcp::socket>(io);
      asio::error_code ec;
      acceptor.accept(*socket, ec);
      if (ec || stopping) return;
      socket->set_option(tcp::no_delay(true), ec);
      std::lock_guard lock(mutex);
      sockets.push_back(socket);
      workers.emplace_back([this, socket] { serve(*socket); });
    }
  }

  // Reads whole frames off the stream and answers each by the script.
  void serve(tcp::socket &socket) {
    Bytes buffer;
    uint8_t chunk[4096];
    while (!stopping) {
      asio::error_code ec;
      std::size_t n = socket.read_some(asio::buffer(chunk), ec);
      if (ec) return;
      buffer.insert(buffer.end(), chunk, chunk + n);
      while (buffer.size() >= wire::kMinPrefixSize) {
        uint32_t total = wire::load_be32(buffer.data() + wire::kOffTotalLength);
        if (total < wire::kFrameOverhead || total > (1u << 20)) return;  // not a frame: hang up
        if (buffer.size() < total) break;
        Bytes frame(buffer.begin(), buffer.begin() + total);
        buffer.erase(buffer.begin(), buffer.begin() + total);
        if (!answer_frame(socket, frame)) return;
      }
    }
  }

  bool answer_frame(tcp::socket &socket, const Bytes &frame) {
    wire::FrameView request;
    if (wire::check_frame(frame.data(), frame.size(), wire::kPackageRequest, request) != wire::FrameError::none)
      return false;
    Script current;
    {
      std::lock_guard lock(mutex);
      requests.push_back(frame);
      current = script;
    }
    if (!current) return true;
    for (const DeviceWrite &write : current(request)) {
      if (write.pause.count() > 0) std::this_thread::sleep_for(write.pause);
      asio::error_code ec;
      if (!write.bytes.empty()) asio::write(socket, asio::buffer(write.bytes), ec);
      if (ec) return false;
      if (write.close_after) {
        // Ends the connection; the descriptor is closed by stop(), after this
        // thread has finished with it.
        socket.shutdown(tcp::socket::shutdown_both, ec);
        return false;
      }
    }
    return true;
  }

  void stop() {
    stopping = true;
    asio::error_code ec;
    // Wake the blocking accept with a throwaway connection, then close.
    if (accept_thread.joinable()) {
      tcp::socket poke(io);
      poke.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), port), ec);
      accept_thread.join();
    }
    acceptor.close(ec);
    // No new connection comes now. Shutting a socket down wakes its worker's
    // blocking read; a descriptor is closed only once its worker is gone, so
    // no thread reads a descriptor that another closes. The workers are
    // joined without the lock, which they take to record requests.
    std::list<std::shared_ptr<tcp::socket>> open;
    std::list<std::thread> running;
    {
      std::lock_guard lock(mutex);
      open = sockets;
      running.swap(workers);
    }
    for (auto &socket : open) socket->shutdown(tcp::socket::shutdown_both, ec);
    for (auto &worker : running) worker.join();
    for (auto &socket : open) socket->close(ec);
  }

  uint16_t port = 0;
};

ScriptedDevice::ScriptedDevice() : impl_(std::make_unique<Impl>()) {
  impl_->port = impl_->acceptor.local_endpoint().port();
  impl_->accept_thread = std::thread([this] { impl_->accept_loop(); });
}

ScriptedDevice::~ScriptedDevice() { impl_->stop(); }

uint16_t ScriptedDevice::port() const { return impl_->port; }

std::string ScriptedDevice::address() const { return "127.0.0.1:" + std::to_string(impl_->port); }

void ScriptedDevice::set_script(Script script) {
  std::lock_guard lock(impl_->mutex);
  impl_->script = std::move(script);
}

void ScriptedDevice::set_responder(Responder responder) {
  set_script([responder = std::move(responder)](const wire::FrameView &request) {
    std::vector<DeviceWrite> writes;
    for (Bytes &frame : responder(request)) writes.push_back({std::move(frame)});
    return writes;
  });
}

std::vector<Bytes> ScriptedDevice::requests() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->requests;
}

std::size_t ScriptedDevice::connections() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->sockets.size();
}

}  // namespace qz::test
