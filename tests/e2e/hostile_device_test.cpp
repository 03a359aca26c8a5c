// A broken or malicious camera over real loopback TCP: a frame that claims
// 1 GiB, floods of garbage and of valid frames nobody asked for, silence, a
// hang-up or reset mid-frame, counts that claim 4 GiB and bytes trickled one
// at a time. The session refuses what it cannot use without growing in
// memory or waiting past its wait time, and works again after a new connect.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frames.h"
#include "qz_nds_ext.h"
#include "sim_session.h"
#include "wire_frame.h"

#if defined(QZ_ASAN)
extern "C" void __sanitizer_purge_allocator();
#endif

namespace qz::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kWait = 10000ms;   // the library's wait for an answer
constexpr auto kPrompt = 3000ms;  // a call the session can refuse without waiting
#if defined(QZ_ASAN) || defined(QZ_TSAN)
// Shadow memory and allocator bookkeeping grow with the bytes the threads touch.
constexpr std::size_t kGrowthLimit = 12u << 20;
#else
constexpr std::size_t kGrowthLimit = 6u << 20;
#endif

std::size_t resident_bytes() {
#if defined(QZ_ASAN)
  // Freed blocks wait in a quarantine and stay resident.
  __sanitizer_purge_allocator();
#endif
  std::ifstream statm("/proc/self/statm");
  std::size_t total_pages = 0, resident_pages = 0;
  statm >> total_pages >> resident_pages;
  return resident_pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void expect_bounded_memory(std::size_t baseline, const std::string &what) {
  const std::size_t now = resident_bytes();
  std::printf("[ memory   ] %s: baseline %zu KiB, now %zu KiB\n", what.c_str(), baseline / 1024, now / 1024);
  EXPECT_LE(now, baseline + kGrowthLimit) << what;
}

// ---- A device of raw sockets -------------------------------------------------

class Peer {
 public:
  Peer(int fd, const std::atomic<bool> &stopping) : fd_(fd), stopping_(stopping) {}

  bool send(const uint8_t *p, std::size_t n) {
    while (n > 0 && !stopping_) {
      const ssize_t sent = ::send(fd_, p, n, MSG_NOSIGNAL);
      if (sent <= 0) return false;
      p += sent;
      n -= static_cast<std::size_t>(sent);
    }
    return n == 0;
  }
  bool send(const Bytes &bytes) { return send(bytes.data(), bytes.size()); }
  // Streams n bytes of `pattern` repeated, never holding more than 64 KiB.
  bool stream(std::size_t n, const Bytes &pattern) {
    Bytes block;
    while (block.size() < (64u << 10)) block.insert(block.end(), pattern.begin(), pattern.end());
    for (std::size_t left = n; left > 0;) {
      const std::size_t k = std::min(left, block.size());
      if (!send(block.data(), k)) return false;
      left -= k;
    }
    return true;
  }
  // A reset instead of an orderly close.
  void reset() {
    linger hard{1, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    hang_up();
  }
  void hang_up() { closed_ = true; }
  bool closed() const { return closed_; }

 private:
  int fd_;
  const std::atomic<bool> &stopping_;
  bool closed_ = false;
};

// How a device takes bytes: all there are, `bytes` every `pause`, or (bytes
// 0) none at all.
struct Reading {
  std::size_t bytes = 4096;
  std::chrono::milliseconds pause{0};
};

// Serves one connection at a time on an ephemeral loopback port and hands
// every whole request frame to the handler; without one, requests go
// unanswered.
class RawDevice {
 public:
  using Handler = std::function<void(Peer &, const wire::FrameView &)>;

  explicit RawDevice(Reading reading = {}) : reading_(reading) {
    listen_fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (::bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
        ::listen(listen_fd_, 8) != 0 ||
        ::getsockname(listen_fd_, reinterpret_cast<sockaddr *>(&addr), &len) != 0) {
      ADD_FAILURE() << "cannot listen on 127.0.0.1";
    }
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~RawDevice() {
    stopping_ = true;
    thread_.join();
    ::close(listen_fd_);
  }

  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  void set_handler(Handler handler) {
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
  }

 private:
  static bool readable(int fd) {
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, 50) > 0;
  }

  void serve() {
    while (!stopping_) {
      if (!readable(listen_fd_)) continue;
      const int fd = ::accept(listen_fd_, nullptr, nullptr);
      if (fd < 0) continue;
      const int one = 1;
      ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      serve_connection(fd);
      ::close(fd);
    }
  }

  void serve_connection(int fd) {
    Peer peer(fd, stopping_);
    Bytes in;
    std::vector<uint8_t> buffer(std::max<std::size_t>(reading_.bytes, 1));
    while (!stopping_ && !peer.closed()) {
      if (reading_.bytes == 0) {
        std::this_thread::sleep_for(50ms);
        continue;
      }
      if (!readable(fd)) continue;
      const ssize_t n = ::recv(fd, buffer.data(), buffer.size(), 0);
      if (n <= 0) return;
      for (auto slept = 0ms; slept < reading_.pause && !stopping_; slept += 50ms)
        std::this_thread::sleep_for(50ms);
      in.insert(in.end(), buffer.data(), buffer.data() + n);
      while (in.size() >= wire::kMinPrefixSize && !peer.closed()) {
        const std::size_t total = wire::load_be32(in.data() + wire::kOffTotalLength);
        if (in.size() < total) break;
        wire::FrameView request;
        if (wire::check_frame(in.data(), total, wire::kPackageRequest, request) != wire::FrameError::none) {
          ADD_FAILURE() << "the library sent a broken frame";
          return;
        }
        Handler handler;
        {
          std::lock_guard lock(mutex_);
          handler = handler_;
        }
        if (handler) handler(peer, request);
        in.erase(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(total));
      }
    }
  }

  const Reading reading_;
  int listen_fd_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::mutex mutex_;
  Handler handler_;
  std::thread thread_;
};

void answer_port(Peer &peer, const wire::FrameView &request, uint32_t port) {
  Bytes payload;
  wire::Writer(payload).u32(port);
  peer.send(response_to(request, payload));
}

enum class Then { go_on, connect, disconnect_and_connect };

// One way the device answers an MQTT port query (which reports a failed
// exchange as port 0), how long the call may take and what it takes to go on.
struct Hostile {
  const char *name;
  RawDevice::Handler handler;
  uint32_t port;
  std::chrono::milliseconds at_least, below;
  Then then;
  void (*check)(qz_nds_handle) = nullptr;
};

// Names the row where ctest lists the test, rather than its bytes.
void PrintTo(const Hostile &h, std::ostream *os) {
  *os << h.name;
}

RawDevice::Handler hang_up_mid_frame(bool reset) {
  return [reset](Peer &peer, const wire::FrameView &r) {
    Bytes frame = response_to(r, Bytes{0, 0, 0, 1});
    frame.resize(frame.size() / 2);
    peer.send(frame);
    reset ? peer.reset() : peer.hang_up();
  };
}

const Hostile kHostile[] = {
    // The header announces 1 GiB and 16 MiB follow; a cutter that waited for
    // the whole frame would hold them all.
    {"frame_of_1gib",
     [](Peer &peer, const wire::FrameView &r) {
       Bytes header = response_to(r);
       wire::store_be32(header.data() + wire::kOffTotalLength, 1u << 30);
       header.resize(wire::kHeaderSize);
       peer.send(header);
       peer.stream(16u << 20, {0});
       answer_port(peer, r, 5060);
     },
     5060, 0ms, kWait, Then::go_on},
    // 50 MiB full of broken start flags, so the cutter keeps looking.
    {"garbage_flood",
     [](Peer &peer, const wire::FrameView &r) {
       peer.stream(50u << 20, {'Q', 'Z', 'S', 'T', 'A', 'R', 0xFF, 'Q', 'Z', 0x00, 'x'});
       answer_port(peer, r, 5061);
     },
     5061, 0ms, kWait, Then::go_on},
    // 40,000 whole configuration records under a seq no request has, each
    // parsed into the session; the last one is what the session then holds.
    {"unasked_frames",
     [](Peer &peer, const wire::FrameView &r) {
       Bytes record(267 + 255, 'r');
       record[260] = 255;  // the longest channel name
       const Bytes unasked =
           wire::make_frame(wire::kPackageResponse, 174, 130, 0, r.header.seq + 1000, record);
       peer.stream(unasked.size() * 40000, unasked);
       answer_port(peer, r, 5062);
     },
     5062, 0ms, kWait, Then::go_on,
     [](qz_nds_handle h) {
       char name[256] = {};
       ASSERT_TRUE(qz_nds_osd_get_channel_info(h, name, nullptr, nullptr, nullptr, nullptr));
       EXPECT_EQ(std::string(name, 255), std::string(255, 'r'));
     }},
    {"silent", nullptr, 0, kWait - 100ms, kWait + 1500ms, Then::disconnect_and_connect},
    {"reset_mid_frame", hang_up_mid_frame(true), 0, 0ms, kPrompt, Then::connect},
    {"close_mid_frame", hang_up_mid_frame(false), 0, 0ms, kPrompt, Then::connect},
};

class HostileDevice : public ::testing::TestWithParam<Hostile> {};

TEST_P(HostileDevice, CallEndsInTimeInBoundedMemoryAndTheSessionRecovers) {
  const Hostile &h = GetParam();
  RawDevice device;
  SimClient s;
  // Every path used once, so lazily allocated state exists before the baseline.
  device.set_handler([](Peer &peer, const wire::FrameView &r) {
    peer.send(Bytes(100, 0xEE));
    answer_port(peer, r, 1883);
  });
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  uint32_t port = 0;
  ASSERT_TRUE(qz_nds_get_mqtt_port(s.handle, &port));
  ASSERT_EQ(port, 1883u);
  const std::size_t baseline = resident_bytes();

  device.set_handler(h.handler);
  port = 7;
  bool ok = false;
  const auto took = time_of([&] { ok = qz_nds_get_mqtt_port(s.handle, &port); });
  std::printf("[ hostile  ] %s: %lld ms\n", h.name, static_cast<long long>(took.count()));
  EXPECT_TRUE(ok);
  EXPECT_EQ(port, h.port);
  EXPECT_GE(took, h.at_least);
  EXPECT_LT(took, h.below);
  expect_bounded_memory(baseline, h.name);
  if (h.check) h.check(s.handle);
  if (h.then == Then::disconnect_and_connect) {
    ASSERT_TRUE(qz_nds_disconnect(s.handle));
  }
  // After a hang-up the session knows it: a new connect goes through.
  if (h.then != Then::go_on) {
    ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  }
  // The session works: the answer to a port query comes through.
  device.set_handler([](Peer &peer, const wire::FrameView &r) { answer_port(peer, r, 8883); });
  EXPECT_TRUE(qz_nds_get_mqtt_port(s.handle, &port));
  EXPECT_EQ(port, 8883u);
}

INSTANTIATE_TEST_SUITE_P(Cases, HostileDevice, ::testing::ValuesIn(kHostile),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- Slow and stalled devices ------------------------------------------------

// A device that takes frames a trickle at a time cannot hold a call past its
// wait: the hand-over of a frame counts against it. Loopback buffers take
// several MiB, so many callers send 1 MiB each, more than the device reads in
// the wait; the connection, which then holds part of a frame, is ended, and
// the session knows it.
TEST(SlowDevice, LargeWritesToADeviceReadingATrickleEndWithinTheWait) {
  RawDevice device({.bytes = 1u << 20, .pause = 2000ms});
  SimClient s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  const std::vector<uint8_t> block(wire::kMaxPayloadSize, 0x5A);
  constexpr int kCallers = 16;
  std::vector<std::chrono::milliseconds> took(kCallers);
  std::vector<int> kinds(kCallers);
  std::vector<std::thread> callers;
  for (int i = 0; i < kCallers; ++i) {
    callers.emplace_back([&, i] {
      took[i] = time_of([&] { EXPECT_FALSE(qz_nds_set_account_info(s.handle, block.data(), block.size())); });
      kinds[i] = last_error(s.handle).kind;
    });
  }
  for (auto &c : callers) c.join();
  const auto longest = *std::max_element(took.begin(), took.end());
  std::printf("[ slow     ] %d x 1 MiB to a trickling device: longest call %lld ms\n", kCallers,
              static_cast<long long>(longest.count()));
  EXPECT_LT(longest, kWait + 1500ms);
  // A caller whose frame did not go out in time failed to send; the others
  // lost their connection with it, or their wait ran out at the same time.
  EXPECT_NE(std::count(kinds.begin(), kinds.end(), QZ_NDSX_SEND_FAILED), 0);
  for (int kind : kinds)
    EXPECT_TRUE(kind == QZ_NDSX_SEND_FAILED || kind == QZ_NDSX_CONNECTION_LOST || kind == QZ_NDSX_TIMEOUT)
        << kind;
  EXPECT_LT(time_of([&] { EXPECT_FALSE(qz_nds_get_machine_config_info(s.handle)); }), kPrompt);
}

// uninit while threads are inside exports, blocked on a device that reads
// nothing: each of them returns, and nothing they touch is freed under them
// (the sanitizers see to the latter).
TEST(SlowDevice, UninitWhileThreadsSendToADeviceThatDoesNotReadReleasesThemAll) {
  RawDevice device({.bytes = 0});
  qz_nds_handle handle = nullptr;
  ASSERT_TRUE(qz_nds_init(&handle));
  ASSERT_TRUE(qz_nds_connect(handle, device.address().c_str()));
  constexpr int kThreads = 8;
  const std::vector<uint8_t> block(wire::kMaxPayloadSize, 0x33);
  std::atomic<int> inside{0}, succeeded{0}, closing{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      ++inside;
      if (qz_nds_set_account_info(handle, block.data(), block.size())) ++succeeded;
      // The session is gone: the thread's last call of all says why.
      closing += last_error(nullptr).kind == QZ_NDSX_CLOSING ? 1 : 0;
    });
  }
  ASSERT_TRUE(eventually([&] { return inside == kThreads; }));
  std::this_thread::sleep_for(500ms);  // into their writes and waits
  qz_nds_handle doomed = handle;
  EXPECT_LT(time_of([&] { EXPECT_TRUE(qz_nds_uninit(&doomed)); }), kPrompt);
  EXPECT_LT(time_of([&] {
              for (auto &t : threads) t.join();
            }),
            kPrompt);
  EXPECT_EQ(succeeded, 0);
  EXPECT_EQ(closing, kThreads);
}

// ---- The simulated device with faults ------------------------------------------

using HostileSim = SimTest;

Bytes count_then(uint32_t count, std::size_t bytes) {
  Bytes out;
  wire::Writer(out).u32(count);
  out.resize(out.size() + bytes, 'x');
  return out;
}

// One query whose answer carries a count, and how to ask it.
struct CountedAnswer {
  const char *name;
  uint8_t main;
  uint8_t sub;
  Bytes payload;
  std::function<bool(qz_nds_handle)> query;  // true when the export succeeded
};

std::vector<CountedAnswer> counted_answers(uint32_t count) {
  // Enabled, then the first text's count.
  Bytes gb28181{1};
  const Bytes text = count_then(count, 8);
  gb28181.insert(gb28181.end(), text.begin(), text.end());
  std::vector<CountedAnswer> out = {
      {"account", 48, 129, count_then(count, 16),
       [](qz_nds_handle h) {
         uint8_t data[64];
         uint32_t len = sizeof data;
         return qz_nds_get_account_info(h, data, &len);
       }},
      {"domain", 49, 133, count_then(count, 16),
       [](qz_nds_handle h) {
         char domain[128];
         uint32_t value = 0;
         return qz_nds_get_passive_wireless_domain(h, domain, &value);
       }},
      {"gb28181", 169, 177, gb28181,
       [](qz_nds_handle h) {
         uint8_t enable = 0;
         uint16_t port = 0;
         char t1[64], t2[64], t3[64], t4[64];
         return qz_nds_28181_get_para(h, &enable, t1, &port, t2, t3, t4);
       }},
  };
  // The linked camera's and the broker's texts, by the sub command of their answer.
  const std::pair<uint8_t, bool (*)(qz_nds_handle, char *, uint32_t *)> texts[] = {
      {149, qz_nds_get_visual_ip}, {151, qz_nds_get_visual_user}, {153, qz_nds_get_visual_passwd},
      {157, qz_nds_get_mqtt_ip},   {161, qz_nds_get_mqtt_user},   {163, qz_nds_get_mqtt_passwd}};
  for (const auto &[sub, getter] : texts) {
    out.push_back({"text", 169, sub, text, [getter](qz_nds_handle h) {
                     std::vector<char> buffer(4096);
                     uint32_t len = 0;
                     return getter(h, buffer.data(), &len) && len != 0;
                   }});
  }
  return out;
}

TEST_F(HostileSim, CountsOfFourGibibytesAreRefusedAtOnceAndNothingGrows) {
  const std::size_t baseline = resident_bytes();
  for (uint32_t count : {0xFFFFFFFFu, 0x80000000u, 17u}) {
    for (const CountedAnswer &c : counted_answers(count)) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.sub) + " count " + std::to_string(count));
      sim.set_fault(sim::FaultKey::command(c.main, c.sub), {.payload = c.payload, .times = 1});
      bool ok = true;
      EXPECT_LT(time_of([&] { ok = c.query(client.handle); }), kPrompt);
      EXPECT_FALSE(ok);
    }
  }
  expect_bounded_memory(baseline, "huge_counts");
  // Nothing of it stuck: the real answers come through again.
  for (const CountedAnswer &c : counted_answers(0))
    EXPECT_TRUE(c.query(client.handle)) << c.name << " " << int{c.sub};
}

// A caller's length that does not fit a frame: 32-bit totals that would wrap,
// and payloads just over the largest frame the device takes.
struct Oversized {
  const char *name;
  std::function<bool(qz_nds_handle)> call;
  bool reports_failure = true;  // the MQTT setters report only their arguments
};

std::vector<Oversized> oversized_requests(const std::vector<uint8_t> &over, const std::string &text) {
  const auto *bytes = over.data();
  const auto size = static_cast<uint32_t>(over.size());
  const char *t = text.c_str();
  static const uint8_t small[16] = {};
  return {
      {"account_4gib", [](qz_nds_handle h) { return qz_nds_set_account_info(h, small, 0xFFFFFFFFu); }},
      {"account_total_wraps_to_0",
       [](qz_nds_handle h) { return qz_nds_set_account_info(h, small, 0xFFFFFFE4u); }},
      {"account_over_frame", [=](qz_nds_handle h) { return qz_nds_set_account_info(h, bytes, size); }},
      {"visual_sn_padded_4gib",
       [](qz_nds_handle h) { return qz_nds_set_visual_sn(h, 0, 1, nullptr, 0xFFFFFFFFu); }},
      {"visual_sn_over_frame",
       [=](qz_nds_handle h) {
         return qz_nds_set_visual_sn(h, 1, 0, reinterpret_cast<const char *>(bytes), size);
       }},
      {"visual_ip", [=](qz_nds_handle h) { return qz_nds_set_visual_ip(h, t); }},
      {"gb28181_text", [=](qz_nds_handle h) { return qz_nds_28181_set_para(h, 1, t, 5060, "b", "c", "d"); }},
      {"passive_wireless_domain",
       [=](qz_nds_handle h) { return qz_nds_set_passive_wireless_domain(h, t, 1); }},
      {"mqtt_user", [=](qz_nds_handle h) { return qz_nds_set_mqtt_user(h, t); }, false},
  };
}

TEST_F(HostileSim, RequestsThatDoNotFitAFrameAreRefusedBeforeAnythingIsSent) {
  const std::vector<uint8_t> over(wire::kMaxPayloadSize + 1, 'o');
  const std::string text(wire::kMaxPayloadSize, 't');
  uint8_t enabled = 0;
  for (const Oversized &o : oversized_requests(over, text)) {
    SCOPED_TRACE(o.name);
    const sim::SimStats before = sim.stats();
    log.clear();
    bool ok = !o.reports_failure;
    EXPECT_LT(time_of([&] { ok = o.call(client.handle); }), kPrompt);
    EXPECT_EQ(ok, !o.reports_failure);
    int refusals = 0;
    for (const LogLine &line : log.lines())
      refusals += line.level == 4 && line.message.find("over the frame limit") != std::string::npos;
    EXPECT_EQ(refusals, 1);
    // Once a query behind it is answered, the device has seen that one request, and no bytes of another.
    ASSERT_TRUE(qz_nds_is_enable_hardware_watchdog(client.handle, &enabled));
    EXPECT_EQ(sim.stats().requests, before.requests + 1);
    EXPECT_EQ(sim.stats().garbage_bytes, before.garbage_bytes);
  }
  // The largest frame still goes out and reaches the device whole.
  const std::vector<uint8_t> largest(wire::kMaxPayloadSize, 'l');
  sim.set_recording(true);
  qz_nds_set_account_info(client.handle, largest.data(), static_cast<uint32_t>(largest.size()));
  const auto recorded = sim.recorded();
  ASSERT_FALSE(recorded.empty());
  EXPECT_EQ(recorded.front().bytes.size(), wire::kMaxFrameSize);
}

}  // namespace
}  // namespace qz::test
