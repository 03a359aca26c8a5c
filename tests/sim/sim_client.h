// A plain blocking TCP client for the simulator tests, with time limits on every read,
// and helpers to build requests and read answers.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
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

// "00 01 ab" -> bytes.
inline Bytes hex(std::string_view text) {
  Bytes out;
  std::string digits;
  for (char c : text)
    if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

inline Bytes lp(std::string_view text) {
  Bytes out;
  wire::Writer(out).lp_text(text);
  return out;
}

inline Bytes request(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
  return wire::make_frame(wire::kPackageRequest, main, sub, wire::kRequestMarker, seq, payload);
}

struct Answer {
  bool valid = false;  // a whole response frame, trailer included
  uint8_t main = 0, sub = 0, code = 0;
  uint32_t seq = 0;
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
  a.payload.assign(view.payload, view.payload + view.payload_size);
  return a;
}

class Client {
  using Clock = std::chrono::steady_clock;

 public:
  explicit Client(uint16_t port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
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
    for (std::size_t off = 0; off < bytes.size();) {
      const ssize_t n = ::send(fd_, bytes.data() + off, bytes.size() - off, MSG_NOSIGNAL);
      if (n <= 0) return;
      off += static_cast<std::size_t>(n);
    }
  }

  // Up to n bytes; fewer when the peer closes or 2 s pass.
  Bytes read_exact(std::size_t n) {
    Bytes out(n);
    std::size_t got = 0;
    for (const auto deadline = Clock::now() + 2s; got < n && !closed_ && readable_before(deadline);) {
      const ssize_t r = ::recv(fd_, out.data() + got, n - got, 0);
      closed_ = r <= 0;
      got += r > 0 ? static_cast<std::size_t>(r) : 0;
    }
    out.resize(got);
    return out;
  }

  // One whole frame as its total length announces it.
  Bytes read_frame() {
    Bytes head = read_exact(wire::kMinPrefixSize);
    if (head.size() < wire::kMinPrefixSize) return head;
    const uint32_t total = wire::load_be32(head.data() + wire::kOffTotalLength);
    if (total < wire::kMinPrefixSize || total > (1u << 20)) return head;
    const Bytes rest = read_exact(total - wire::kMinPrefixSize);
    return concat({head, rest});
  }

  Answer exchange(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload = {}) {
    send(request(main, sub, seq, payload));
    return parse_answer(read_frame());
  }

  // True when the peer closes (or resets) the connection within 2 s.
  bool wait_closed() {
    for (const auto deadline = Clock::now() + 2s; !closed_ && readable_before(deadline);) {
      uint8_t byte;
      closed_ = ::recv(fd_, &byte, 1, 0) <= 0;
    }
    return closed_;
  }

  // True when nothing arrives for the whole time.
  bool silent_for(std::chrono::milliseconds time) { return !readable_before(Clock::now() + time); }

 private:
  bool readable_before(Clock::time_point deadline) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd p{fd_, POLLIN, 0};
    return ms > 0 && ::poll(&p, 1, static_cast<int>(ms)) > 0;
  }

  int fd_ = -1;
  bool closed_ = false;
};

// A simulator on an ephemeral loopback port, started for each test.
class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(sim_.start(&error)) << error;
  }

  std::unique_ptr<Client> connect() { return std::make_unique<Client>(sim_.port()); }

  DeviceSim sim_{SimOptions{.port = 0}};
};

}  // namespace qz::sim::test
