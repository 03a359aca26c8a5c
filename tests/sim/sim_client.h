// A plain blocking TCP client for the simulator tests, with time limits on
// every read, and helpers to build requests and read answers.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "device_sim.h"
#include "wire_frame.h"

namespace qz::sim::test {

using Bytes = std::vector<uint8_t>;
using namespace std::chrono_literals;

// "00 01 ab" -> bytes; the test's own spelling of expected wire data.
inline Bytes hex(std::string_view text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
    if (d < 0) continue;
    if (high < 0) {
      high = d;
    } else {
      out.push_back(static_cast<uint8_t>(high << 4 | d));
      high = -1;
    }
  }
  return out;
}

inline Bytes text_bytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// A length-prefixed text as the protocol carries it.
inline Bytes lp(std::string_view text) {
  Bytes out;
  wire::Writer(out).lp_text(text);
  return out;
}

inline Bytes request(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
  return wire::make_frame(wire::kPackageRequest, main, sub, wire::kRequestMarker, seq, payload);
}

struct Answer {
  bool valid = false;
  uint8_t main = 0, sub = 0, code = 0;
  uint32_t seq = 0;
  uint32_t payload_length_field = 0;
  Bytes payload;
};

inline Answer parse_answer(const Bytes &frame) {
  Answer a;
  wire::FrameView view;
  if (wire::check_frame(frame.data(), frame.size(), wire::kPackageResponse, view) != wire::FrameError::none)
    return a;
  a.valid =
      view.header.total_length == frame.size() &&
      std::memcmp(frame.data() + frame.size() - wire::kEndFlagSize, wire::kEndFlag, wire::kEndFlagSize) == 0;
  a.main = view.header.main;
  a.sub = view.header.sub;
  a.code = view.header.code;
  a.seq = view.header.seq;
  a.payload_length_field = view.header.payload_length;
  a.payload.assign(view.payload, view.payload + view.payload_size);
  return a;
}

class Client {
 public:
  // Connects to 127.0.0.1:port; connected() tells whether it worked.
  explicit Client(uint16_t port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
      ::close(fd_);
      fd_ = -1;
      return;
    }
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  }
  ~Client() {
    if (fd_ >= 0) ::close(fd_);
  }
  Client(const Client &) = delete;
  Client &operator=(const Client &) = delete;

  bool connected() const { return fd_ >= 0; }

  void send(const Bytes &bytes) {
    std::size_t off = 0;
    while (off < bytes.size()) {
      const ssize_t n = ::send(fd_, bytes.data() + off, bytes.size() - off, MSG_NOSIGNAL);
      if (n <= 0) return;
      off += static_cast<std::size_t>(n);
    }
  }

  // Up to n bytes; fewer when the peer closes or the time runs out.
  Bytes read_exact(std::size_t n, std::chrono::milliseconds timeout = 2000ms) {
    Bytes out;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (out.size() < n) {
      Bytes piece = read_some(deadline - std::chrono::steady_clock::now(), n - out.size());
      if (piece.empty()) break;
      out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
  }

  // What one recv returns within the time (empty on time-out or close).
  Bytes read_some(std::chrono::steady_clock::duration timeout, std::size_t max = 65536) {
    if (!wait_readable(timeout)) return {};
    Bytes buf(max);
    const ssize_t n = ::recv(fd_, buf.data(), buf.size(), 0);
    if (n <= 0) {
      closed_ = true;
      return {};
    }
    buf.resize(static_cast<std::size_t>(n));
    return buf;
  }

  // One whole frame as its total length announces it.
  Bytes read_frame(std::chrono::milliseconds timeout = 2000ms) {
    Bytes head = read_exact(wire::kMinPrefixSize, timeout);
    if (head.size() < wire::kMinPrefixSize) return head;
    const uint32_t total = wire::load_be32(head.data() + wire::kOffTotalLength);
    if (total < wire::kMinPrefixSize || total > (1u << 20)) return head;
    Bytes rest = read_exact(total - wire::kMinPrefixSize, timeout);
    head.insert(head.end(), rest.begin(), rest.end());
    return head;
  }

  Answer exchange(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
    send(request(main, sub, seq, payload));
    return parse_answer(read_frame());
  }

  // True when the peer closes (or resets) the connection within the time.
  bool wait_closed(std::chrono::milliseconds timeout = 2000ms) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!closed_ && std::chrono::steady_clock::now() < deadline) {
      read_some(deadline - std::chrono::steady_clock::now());
    }
    return closed_;
  }

  // True when nothing arrives for the whole time.
  bool silent_for(std::chrono::milliseconds time) { return !wait_readable(time); }

 private:
  bool wait_readable(std::chrono::steady_clock::duration timeout) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count();
    if (ms <= 0) return false;
    pollfd p{fd_, POLLIN, 0};
    return ::poll(&p, 1, static_cast<int>(ms)) > 0;
  }

  int fd_ = -1;
  bool closed_ = false;
};

// A simulator on an ephemeral loopback port, started for each test.
class SimTest : public ::testing::Test {
 protected:
  static constexpr std::chrono::milliseconds kRebootTime{300};

  void SetUp() override {
    SimOptions options;
    options.port = 0;
    options.reboot_time = kRebootTime;
    sim_ = std::make_unique<DeviceSim>(options);
    std::string error;
    ASSERT_TRUE(sim_->start(&error)) << error;
  }

  std::unique_ptr<Client> connect() { return std::make_unique<Client>(sim_->port()); }

  std::unique_ptr<DeviceSim> sim_;
};

}  // namespace qz::sim::test
