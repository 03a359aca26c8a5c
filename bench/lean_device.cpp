#include "lean_device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "device_commands.h"
#include "device_sim.h"
#include "wire_frame.h"

namespace qz::bench {

namespace {

constexpr std::size_t kMaxRequest = std::size_t{1} << 20;
constexpr std::size_t kReadChunk = 64 * 1024;
constexpr int kMaxEvents = 256;

std::string errno_text(const char *what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

// ---- AnswerBook -------------------------------------------------------------

void AnswerBook::answer(const uint8_t *request, std::size_t size, std::vector<uint8_t> &out) {
  const uint8_t main = request[wire::kOffMain];
  const uint8_t sub = request[wire::kOffSub];
  const uint32_t seq = wire::load_be32(request + wire::kOffSeq);
  const std::size_t payload_size = size - wire::kFrameOverhead;
  std::lock_guard lock(mutex_);
  if (payload_size == 0 && request[wire::kOffPackageType] == wire::kPackageRequest) {
    const std::vector<uint8_t> &frame = query_answer(main, sub);
    const std::size_t at = out.size();
    out.insert(out.end(), frame.begin(), frame.end());
    wire::store_be32(out.data() + at + wire::kOffSeq, seq);
    return;
  }
  sim::Reply reply;
  if (request[wire::kOffPackageType] != wire::kPackageRequest) {
    reply.code = sim::kCodeUnsupported;
  } else {
    reply = sim::handle_request(state_, main, sub, request + wire::kHeaderSize, payload_size);
    // Settings may change query answers: build those again when asked.
    queries_.clear();
  }
  const auto frame = wire::make_frame(wire::kPackageResponse, main, reply.answer_sub.value_or(sub),
                                      reply.code, seq, reply.payload);
  out.insert(out.end(), frame.begin(), frame.end());
}

const std::vector<uint8_t> &AnswerBook::query_answer(uint8_t main, uint8_t sub) {
  const auto key = static_cast<uint16_t>(main << 8 | sub);
  auto it = queries_.find(key);
  if (it == queries_.end()) {
    sim::Reply reply = sim::handle_request(state_, main, sub, nullptr, 0);
    auto frame = wire::make_frame(wire::kPackageResponse, main, reply.answer_sub.value_or(sub), reply.code, 0,
                                  reply.payload);
    it = queries_.emplace(key, std::move(frame)).first;
  }
  return it->second;
}

// ---- RequestCutter ----------------------------------------------------------

long RequestCutter::frame_at(const uint8_t *p, std::size_t n) {
  const std::size_t flag = std::min(n, wire::kStartFlagSize);
  if (std::memcmp(p, wire::kStartFlag, flag) != 0) return -1;
  if (n < wire::kMinPrefixSize) return 0;
  const uint32_t total = wire::load_be32(p + wire::kOffTotalLength);
  if (total < wire::kFrameOverhead || total > kMaxRequest) return -1;
  return total <= n ? static_cast<long>(total) : 0;
}

// ---- LeanDevice -------------------------------------------------------------

namespace {

// One accepted connection of one serving thread.
struct Connection {
  int fd = -1;
  RequestCutter cutter;
  std::vector<uint8_t> unsent;  // answers the socket did not take yet
};

int open_listener(uint16_t port, std::string &error) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    error = errno_text("socket");
    return -1;
  }
  const int one = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &one, sizeof one);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(port);
  if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || ::listen(fd, SOMAXCONN) != 0) {
    error = errno_text("bind/listen");
    ::close(fd);
    return -1;
  }
  return fd;
}

uint16_t bound_port(int fd) {
  sockaddr_in addr{};
  socklen_t len = sizeof addr;
  ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
  return ntohs(addr.sin_port);
}

// Sends what it can of `bytes`; the rest waits in the connection.
bool send_or_keep(Connection &c, const uint8_t *bytes, std::size_t n) {
  std::size_t sent = 0;
  while (sent < n) {
    const ssize_t r = ::send(c.fd, bytes + sent, n - sent, MSG_NOSIGNAL);
    if (r > 0) {
      sent += static_cast<std::size_t>(r);
      continue;
    }
    if (r < 0 && errno == EINTR) continue;
    if (r < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    return false;
  }
  c.unsent.insert(c.unsent.end(), bytes + sent, bytes + n);
  return true;
}

}  // namespace

LeanDevice::~LeanDevice() {
  for (int fd : listeners_) ::close(fd);
}

bool LeanDevice::listen(int threads, std::string &error) {
  for (int i = 0; i < std::max(threads, 1); ++i) {
    const int fd = open_listener(port_, error);
    if (fd < 0) return false;
    listeners_.push_back(fd);
    port_ = bound_port(fd);
  }
  return true;
}

void LeanDevice::serve(int stop_fd) {
  std::vector<std::thread> others;
  for (std::size_t i = 1; i < listeners_.size(); ++i) {
    others.emplace_back([this, i, stop_fd] { serve_one(listeners_[i], stop_fd); });
  }
  serve_one(listeners_[0], stop_fd);
  for (auto &t : others) t.join();
}

void LeanDevice::serve_one(int listen_fd, int stop_fd) {
  const int ep = ::epoll_create1(EPOLL_CLOEXEC);
  if (ep < 0) return;
  auto watch = [ep](int fd, uint32_t events, int op) {
    epoll_event ev{};
    ev.events = events;
    ev.data.fd = fd;
    return ::epoll_ctl(ep, op, fd, &ev) == 0;
  };
  watch(listen_fd, EPOLLIN, EPOLL_CTL_ADD);
  watch(stop_fd, EPOLLIN, EPOLL_CTL_ADD);

  std::vector<std::unique_ptr<Connection>> by_fd;
  std::vector<uint8_t> input(kReadChunk);
  std::vector<uint8_t> answers;
  auto drop = [&](Connection &c) {
    ::epoll_ctl(ep, EPOLL_CTL_DEL, c.fd, nullptr);
    ::close(c.fd);
    by_fd[static_cast<std::size_t>(c.fd)].reset();
  };
  auto accept_all = [&] {
    for (;;) {
      const int fd = ::accept4(listen_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (fd < 0) return;
      const int one = 1;
      ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      if (static_cast<std::size_t>(fd) >= by_fd.size()) by_fd.resize(static_cast<std::size_t>(fd) + 1024);
      by_fd[static_cast<std::size_t>(fd)] = std::make_unique<Connection>();
      by_fd[static_cast<std::size_t>(fd)]->fd = fd;
      watch(fd, EPOLLIN | EPOLLRDHUP, EPOLL_CTL_ADD);
    }
  };
  // Reads once and answers every whole request in one send.
  auto serve_input = [&](Connection &c) {
    const ssize_t n = ::recv(c.fd, input.data(), input.size(), 0);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) return drop(c);
    if (n < 0) return;
    answers.clear();
    c.cutter.feed(input.data(), static_cast<std::size_t>(n),
                  [&](const uint8_t *p, std::size_t size) { book_.answer(p, size, answers); });
    if (answers.empty()) return;
    const bool was_blocked = !c.unsent.empty();
    if (was_blocked) {
      c.unsent.insert(c.unsent.end(), answers.begin(), answers.end());
      return;
    }
    if (!send_or_keep(c, answers.data(), answers.size())) return drop(c);
    if (!c.unsent.empty()) watch(c.fd, EPOLLIN | EPOLLOUT | EPOLLRDHUP, EPOLL_CTL_MOD);
  };
  auto serve_output = [&](Connection &c) {
    std::vector<uint8_t> rest;
    rest.swap(c.unsent);
    if (!send_or_keep(c, rest.data(), rest.size())) return drop(c);
    if (c.unsent.empty()) watch(c.fd, EPOLLIN | EPOLLRDHUP, EPOLL_CTL_MOD);
  };

  epoll_event events[kMaxEvents];
  for (;;) {
    const int n = ::epoll_wait(ep, events, kMaxEvents, -1);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    bool stop = false;
    for (int i = 0; i < n; ++i) {
      const int fd = events[i].data.fd;
      if (fd == stop_fd) {
        stop = true;
      } else if (fd == listen_fd) {
        accept_all();
      } else if (auto &c = by_fd[static_cast<std::size_t>(fd)]; c) {
        if (events[i].events & EPOLLOUT) serve_output(*c);
        if (c && (events[i].events & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR))) serve_input(*c);
      }
    }
    if (stop) break;
  }
  for (auto &c : by_fd) {
    if (c) ::close(c->fd);
  }
  ::close(ep);
}

// ---- DeviceProcess ----------------------------------------------------------

namespace {

// The child: both devices up, their ports reported through `report_fd`, then
// serving until the parent closes the stop pipe.
[[noreturn]] void run_child(int lean_threads, int stop_fd, int report_fd) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::string error;
  LeanDevice lean;
  sim::SimOptions options;
  options.port = 0;
  sim::DeviceSim simulated(options);
  uint16_t ports[2] = {0, 0};
  if (lean.listen(lean_threads, error) && simulated.start(&error)) {
    ports[0] = lean.port();
    ports[1] = simulated.port();
  }
  if (::write(report_fd, ports, sizeof ports) != sizeof ports || ports[0] == 0) ::_exit(1);
  ::close(report_fd);
  lean.serve(stop_fd);
  simulated.stop();
  ::_exit(0);
}

}  // namespace

bool DeviceProcess::start(int lean_threads, std::string &error) {
  int stop_pipe[2];
  int report_pipe[2];
  if (::pipe2(stop_pipe, O_CLOEXEC) != 0 || ::pipe2(report_pipe, O_CLOEXEC) != 0) {
    error = errno_text("pipe");
    return false;
  }
  pid_ = ::fork();
  if (pid_ < 0) {
    error = errno_text("fork");
    return false;
  }
  if (pid_ == 0) {
    ::close(stop_pipe[1]);
    ::close(report_pipe[0]);
    run_child(lean_threads, stop_pipe[0], report_pipe[1]);
  }
  ::close(stop_pipe[0]);
  ::close(report_pipe[1]);
  stop_fd_ = stop_pipe[1];
  uint16_t ports[2] = {0, 0};
  const ssize_t n = ::read(report_pipe[0], ports, sizeof ports);
  ::close(report_pipe[0]);
  if (n != sizeof ports || ports[0] == 0) {
    error = "the device process did not start";
    return false;
  }
  lean_port_ = ports[0];
  sim_port_ = ports[1];
  return true;
}

DeviceProcess::~DeviceProcess() {
  if (stop_fd_ >= 0) ::close(stop_fd_);
  if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
}

double DeviceProcess::cpu_seconds() const {
  if (pid_ <= 0) return 0;
  std::ifstream in("/proc/" + std::to_string(pid_) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // Fields after the command name, which is in parentheses: utime and stime
  // are the 12th and 13th of them.
  const std::size_t close = text.rfind(')');
  if (close == std::string::npos) return 0;
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  unsigned long long utime = 0, stime = 0;
  for (int i = 1; i <= 13 && fields >> field; ++i) {
    if (i == 12) utime = std::stoull(field);
    if (i == 13) stime = std::stoull(field);
  }
  return static_cast<double>(utime + stime) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

}  // namespace qz::bench
