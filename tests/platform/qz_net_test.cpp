// qz_net over real loopback connections.
#include "qz_net.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "frame_splitter.h"
#include "test_server.h"

namespace {

using namespace std::chrono_literals;
using qz_test::Bytes;
using qz_test::TestServer;

Bytes make_frame(std::size_t payload_length, std::uint8_t fill, std::uint32_t seq) {
  const std::uint32_t total = static_cast<std::uint32_t>(payload_length + 28);
  Bytes f = {'Q', 'Z', 'S', 'T', 'A', 'R', 'T'};
  for (int shift = 24; shift >= 0; shift -= 8) f.push_back(static_cast<std::uint8_t>(total >> shift));
  f.push_back(1);
  f.push_back(0xA9);
  f.push_back(0x80);
  f.push_back(0);
  for (int shift = 24; shift >= 0; shift -= 8) f.push_back(static_cast<std::uint8_t>(seq >> shift));
  for (int shift = 24; shift >= 0; shift -= 8)
    f.push_back(static_cast<std::uint8_t>(payload_length >> shift));
  f.insert(f.end(), payload_length, fill);
  const char *end = "QZEND";
  f.insert(f.end(), end, end + 5);
  return f;
}

std::uint32_t seq_of(const Bytes &f) {
  return (std::uint32_t{f[15]} << 24) | (std::uint32_t{f[16]} << 16) | (std::uint32_t{f[17]} << 8) | f[18];
}

struct Event {
  std::uint32_t type;
  Bytes data;
  std::thread::id thread;
};

// Records every event; an optional hook runs inside the callback.
struct Recorder {
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<Event> events;
  std::function<void(const TransportEvent &)> hook;

  static bool callback(TransportEvent *event, void *user) {
    auto *self = static_cast<Recorder *>(user);
    {
      std::lock_guard<std::mutex> lock(self->mutex);
      Bytes data;
      if (event->data != nullptr) data.assign(event->data, event->data + event->length);
      self->events.push_back({event->type, std::move(data), std::this_thread::get_id()});
    }
    self->cv.notify_all();
    if (self->hook) self->hook(*event);
    return true;
  }

  bool wait_for(std::function<bool(const std::vector<Event> &)> pred,
                std::chrono::milliseconds timeout = 5s) {
    std::unique_lock<std::mutex> lock(mutex);
    return cv.wait_for(lock, timeout, [&] { return pred(events); });
  }
  bool wait_count(std::uint32_t type, std::size_t n, std::chrono::milliseconds timeout = 5s) {
    return wait_for([&](const std::vector<Event> &ev) { return count_in(ev, type) >= n; }, timeout);
  }
  std::size_t count(std::uint32_t type) {
    std::lock_guard<std::mutex> lock(mutex);
    return count_in(events, type);
  }
  std::vector<Bytes> data() {
    std::lock_guard<std::mutex> lock(mutex);
    std::vector<Bytes> out;
    for (const auto &e : events)
      if (e.type == QZ_NET_EVENT_DATA) out.push_back(e.data);
    return out;
  }
  static std::size_t count_in(const std::vector<Event> &ev, std::uint32_t type) {
    std::size_t n = 0;
    for (const auto &e : ev) n += e.type == type ? 1 : 0;
    return n;
  }
};

struct Client {
  void *handle = nullptr;
  Client() { EXPECT_TRUE(qz_net_tcp_client_init(&handle)); }
  ~Client() { qz_net_tcp_client_uninit(&handle); }
  bool connect(const std::string &address, std::uint16_t port, Recorder &rec) {
    return qz_net_connect_server(handle, address.c_str(), port, &Recorder::callback, &rec);
  }
  bool send(const Bytes &b) {
    return qz_net_send_data_to_server(handle, b.data(), static_cast<std::uint32_t>(b.size()));
  }
};

std::uint16_t closed_port() {
  asio::io_context ctx;
  asio::ip::tcp::acceptor acceptor(ctx, asio::ip::tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
  const std::uint16_t port = acceptor.local_endpoint().port();
  acceptor.close();
  return port;
}

bool ipv6_loopback_available() {
  try {
    asio::io_context ctx;
    asio::ip::tcp::acceptor acceptor(ctx, asio::ip::tcp::endpoint(asio::ip::make_address("::1"), 0));
    return true;
  } catch (const std::exception &) {
    return false;
  }
}

TEST(QzNet, InitAndUninitHandles) {
  EXPECT_FALSE(qz_net_tcp_client_init(nullptr));
  void *handle = nullptr;
  ASSERT_TRUE(qz_net_tcp_client_init(&handle));
  EXPECT_NE(handle, nullptr);
  EXPECT_FALSE(qz_net_send_data_to_server(handle, reinterpret_cast<const std::uint8_t *>("x"), 1));
  EXPECT_TRUE(qz_net_disconnect_server(handle));  // not connected: harmless
  qz_net_tcp_client_uninit(&handle);
  EXPECT_EQ(handle, nullptr);
  qz_net_tcp_client_uninit(&handle);  // null slot: nothing happens
  qz_net_tcp_client_uninit(nullptr);

  EXPECT_FALSE(qz_net_connect_server(nullptr, "127.0.0.1", 1, &Recorder::callback, nullptr));
  EXPECT_FALSE(qz_net_send_data_to_server(nullptr, reinterpret_cast<const std::uint8_t *>("x"), 1));
  EXPECT_FALSE(qz_net_disconnect_server(nullptr));
}

TEST(QzNet, ConnectDeliversConnectedEventBeforeReturning) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  {
    std::lock_guard<std::mutex> lock(rec.mutex);
    ASSERT_EQ(rec.events.size(), 1u);
    EXPECT_EQ(rec.events[0].type, static_cast<std::uint32_t>(QZ_NET_EVENT_CONNECTED));
    EXPECT_NE(rec.events[0].thread, std::this_thread::get_id());
  }
  ASSERT_NE(server.wait_conn(0), nullptr);
}

TEST(QzNet, DeliversEachFrameWhole) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);

  const Bytes f1 = make_frame(0, 0, 1), f2 = make_frame(10, 2, 2), f3 = make_frame(3000, 3, 3);
  Bytes coalesced = f1;
  coalesced.insert(coalesced.end(), f2.begin(), f2.end());
  coalesced.insert(coalesced.end(), f3.begin(), f3.end());
  ASSERT_TRUE(server.send(conn, coalesced));
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DATA, 3));

  // One frame in pieces, with pauses, so that it arrives over several reads.
  const Bytes big = make_frame(20000, 4, 4);
  for (std::size_t pos = 0; pos < big.size();) {
    const std::size_t n = std::min<std::size_t>(pos < 20 ? 3 : 7000, big.size() - pos);
    ASSERT_TRUE(server.send(
        conn, Bytes(big.begin() + static_cast<long>(pos), big.begin() + static_cast<long>(pos + n))));
    pos += n;
    std::this_thread::sleep_for(5ms);
  }
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DATA, 4));

  // Garbage is delivered as it is, then the next frame.
  const Bytes garbage = {'x', 'y', 'z'};
  ASSERT_TRUE(server.send(conn, garbage));
  std::this_thread::sleep_for(20ms);
  ASSERT_TRUE(server.send(conn, f1));
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DATA, 6));

  const auto data = rec.data();
  ASSERT_EQ(data.size(), 6u);
  EXPECT_EQ(data[0], f1);
  EXPECT_EQ(data[1], f2);
  EXPECT_EQ(data[2], f3);
  EXPECT_EQ(data[3], big);
  EXPECT_EQ(data[4], garbage);
  EXPECT_EQ(data[5], f1);
}

TEST(QzNet, SendsReachTheServer) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  const Bytes f = make_frame(5, 9, 77);
  ASSERT_TRUE(client.send(f));
  ASSERT_TRUE(server.wait_received(conn, f.size()));
  EXPECT_EQ(server.received(conn), f);
}

TEST(QzNet, ConnectToClosedPortFails) {
  Recorder rec;
  Client client;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.connect("127.0.0.1", closed_port(), rec));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
  EXPECT_FALSE(client.send(make_frame(0, 0, 1)));
}

TEST(QzNet, UnresolvableNameFails) {
  Recorder rec;
  Client client;
  EXPECT_FALSE(client.connect("no-such-host.invalid", 63201, rec));
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
}

TEST(QzNet, MalformedAddressesFail) {
  Recorder rec;
  Client client;
  for (const char *address : {"", "127.0.0.1:", "127.0.0.1:abc", "127.0.0.1:70000", "127.0.0.1:0", "[::1",
                              "[::1]x", "[]:80", ":80", "[::1]:"}) {
    EXPECT_FALSE(client.connect(address, 63201, rec)) << address;
  }
  EXPECT_FALSE(qz_net_connect_server(client.handle, nullptr, 63201, &Recorder::callback, &rec));
  EXPECT_FALSE(client.connect("127.0.0.1", 0, rec));
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
}

TEST(QzNet, PortInTheAddressOverridesTheArgument) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1:" + std::to_string(server.port()), 1, rec));
  EXPECT_NE(server.wait_conn(0), nullptr);
}

TEST(QzNet, HostNameIsResolved) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("localhost", server.port(), rec));
  EXPECT_NE(server.wait_conn(0), nullptr);
}

TEST(QzNet, Ipv6AddressForms) {
  if (!ipv6_loopback_available()) GTEST_SKIP() << "no IPv6 loopback";
  TestServer server("::1");
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("[::1]:" + std::to_string(server.port()), 1, rec));
  ASSERT_NE(server.wait_conn(0), nullptr);
  ASSERT_TRUE(client.connect("::1", server.port(), rec));
  ASSERT_NE(server.wait_conn(1), nullptr);
  ASSERT_TRUE(client.connect("[::1]", server.port(), rec));
  ASSERT_NE(server.wait_conn(2), nullptr);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 3u);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);
}

TEST(QzNet, PeerCloseDeliversDisconnectedOnce) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  server.close(conn);
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DISCONNECTED, 1));
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(client.send(make_frame(0, 0, 1)));
  EXPECT_TRUE(qz_net_disconnect_server(client.handle));
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 1u);
}

TEST(QzNet, PeerResetDeliversDisconnectedOnce) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  server.reset(conn);
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DISCONNECTED, 1));
  // Sending into the dead connection fails (possibly only after the reset arrived).
  EXPECT_FALSE(client.send(make_frame(0, 0, 1)));
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 1u);
}

TEST(QzNet, LocalDisconnectDeliversNoDisconnectedEvent) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  EXPECT_TRUE(qz_net_disconnect_server(client.handle));
  EXPECT_TRUE(server.wait_eof(conn));
  EXPECT_FALSE(client.send(make_frame(0, 0, 1)));
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);

  // The client can connect again.
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn2 = server.wait_conn(1);
  ASSERT_NE(conn2, nullptr);
  ASSERT_TRUE(client.send(make_frame(1, 1, 1)));
  EXPECT_TRUE(server.wait_received(conn2, 29));
}

TEST(QzNet, ConnectWhileConnectedReplacesTheConnection) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto first = server.wait_conn(0);
  ASSERT_NE(first, nullptr);
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto second = server.wait_conn(1);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(server.wait_eof(first));
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 2u);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);
  const Bytes f = make_frame(2, 2, 2);
  ASSERT_TRUE(client.send(f));
  ASSERT_TRUE(server.wait_received(second, f.size()));
}

// The server floods frames; the client is closed while callbacks run. After the close
// call returns, no callback may run.
void flood_then_close(bool use_uninit) {
  TestServer server;
  Recorder rec;
  std::atomic<bool> closed{false};
  std::atomic<int> late{0};
  rec.hook = [&](const TransportEvent &) {
    if (closed.load()) ++late;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (closed.load()) ++late;
  };
  void *handle = nullptr;
  ASSERT_TRUE(qz_net_tcp_client_init(&handle));
  ASSERT_TRUE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  std::atomic<bool> stop{false};
  std::thread flooder([&] {
    Bytes burst;
    for (int i = 0; i < 50; ++i) {
      const Bytes f = make_frame(static_cast<std::size_t>(i * 7), 1, static_cast<std::uint32_t>(i));
      burst.insert(burst.end(), f.begin(), f.end());
    }
    while (!stop.load() && server.send(conn, burst)) {
    }
  });
  ASSERT_TRUE(rec.wait_count(QZ_NET_EVENT_DATA, 200));
  if (use_uninit) {
    qz_net_tcp_client_uninit(&handle);
    EXPECT_EQ(handle, nullptr);
  } else {
    EXPECT_TRUE(qz_net_disconnect_server(handle));
  }
  closed = true;
  const std::size_t events_at_close = rec.data().size();
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(late.load(), 0);
  EXPECT_EQ(rec.data().size(), events_at_close);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);
  stop = true;
  flooder.join();
  qz_net_tcp_client_uninit(&handle);
}

TEST(QzNet, NoCallbackAfterDisconnectReturns) {
  for (int i = 0; i < 5; ++i) flood_then_close(false);
}

TEST(QzNet, NoCallbackAfterUninitReturns) {
  for (int i = 0; i < 5; ++i) flood_then_close(true);
}

TEST(QzNet, DisconnectFromInsideTheCallback) {
  TestServer server;
  Recorder rec;
  void *handle = nullptr;
  ASSERT_TRUE(qz_net_tcp_client_init(&handle));
  std::atomic<int> after{0};
  std::atomic<bool> done{false};
  rec.hook = [&](const TransportEvent &event) {
    if (done.load()) {
      ++after;
      return;
    }
    if (event.type == QZ_NET_EVENT_DATA) {
      EXPECT_TRUE(qz_net_disconnect_server(handle));
      // Connecting from a callback is refused rather than deadlocking.
      EXPECT_FALSE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
      done = true;
    }
  };
  ASSERT_TRUE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  Bytes many;
  for (int i = 0; i < 20; ++i) {
    const Bytes f = make_frame(1, 1, static_cast<std::uint32_t>(i));
    many.insert(many.end(), f.begin(), f.end());
  }
  ASSERT_TRUE(server.send(conn, many));
  for (int i = 0; i < 500 && !done.load(); ++i) std::this_thread::sleep_for(10ms);
  ASSERT_TRUE(done.load());
  EXPECT_TRUE(server.wait_eof(conn));
  server.send(conn, many);
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(after.load(), 0);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DATA), 1u);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);
  qz_net_tcp_client_uninit(&handle);
}

TEST(QzNet, UninitFromInsideTheCallback) {
  TestServer server;
  Recorder rec;
  void *handle = nullptr;
  ASSERT_TRUE(qz_net_tcp_client_init(&handle));
  std::atomic<int> after{0};
  std::atomic<bool> done{false};
  rec.hook = [&](const TransportEvent &event) {
    if (done.load()) {
      ++after;
      return;
    }
    if (event.type == QZ_NET_EVENT_DATA) {
      qz_net_tcp_client_uninit(&handle);  // possibly the process's last client
      done = true;
    }
  };
  ASSERT_TRUE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  Bytes many;
  for (int i = 0; i < 20; ++i) {
    const Bytes f = make_frame(1, 1, static_cast<std::uint32_t>(i));
    many.insert(many.end(), f.begin(), f.end());
  }
  ASSERT_TRUE(server.send(conn, many));
  for (int i = 0; i < 500 && !done.load(); ++i) std::this_thread::sleep_for(10ms);
  ASSERT_TRUE(done.load());
  EXPECT_TRUE(server.wait_eof(conn));
  EXPECT_EQ(handle, nullptr);
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(after.load(), 0);

  // A new client works afterwards (a new I/O thread if the old one wound down).
  Recorder rec2;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec2));
  EXPECT_NE(server.wait_conn(1), nullptr);
}

TEST(QzNet, ConcurrentSendsAreNotInterleaved) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);

  constexpr int kThreads = 8;
  constexpr int kFrames = 400;
  std::vector<std::thread> threads;
  std::size_t expected_bytes = 0;
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kFrames; ++i)
      expected_bytes += 28 + static_cast<std::size_t>((i * 37 + t * 11) % 3000);
  std::atomic<int> failures{0};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kFrames; ++i) {
        const Bytes f = make_frame(static_cast<std::size_t>((i * 37 + t * 11) % 3000),
                                   static_cast<std::uint8_t>(t), static_cast<std::uint32_t>(t * 100000 + i));
        if (!client.send(f)) ++failures;
      }
    });
  }
  for (auto &th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  ASSERT_TRUE(server.wait_received(conn, expected_bytes, 20s));

  const Bytes stream = server.received(conn);
  EXPECT_EQ(stream.size(), expected_bytes);
  qz::net::FrameSplitter splitter;
  std::vector<int> next(kThreads, 0);
  int frames = 0, garbage = 0;
  splitter.feed(stream.data(), stream.size(),
                [&](qz::net::FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t n) {
                  if (kind != qz::net::FrameSplitter::Kind::Frame) {
                    ++garbage;
                    return;
                  }
                  const Bytes f(p, p + n);
                  const std::uint32_t seq = seq_of(f);
                  const int t = static_cast<int>(seq / 100000), i = static_cast<int>(seq % 100000);
                  ASSERT_LT(t, kThreads);
                  EXPECT_EQ(i, next[static_cast<std::size_t>(t)]++);
                  EXPECT_EQ(f, make_frame(static_cast<std::size_t>((i * 37 + t * 11) % 3000),
                                          static_cast<std::uint8_t>(t), seq));
                  ++frames;
                });
  EXPECT_EQ(garbage, 0);
  EXPECT_EQ(frames, kThreads * kFrames);
}

TEST(QzNet, SendFromInsideTheCallback) {
  TestServer server;
  Recorder rec;
  Client client;
  rec.hook = [&](const TransportEvent &event) {
    if (event.type == QZ_NET_EVENT_DATA) {
      EXPECT_TRUE(qz_net_send_data_to_server(client.handle, event.data, event.length));
    }
  };
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);
  const Bytes f = make_frame(100, 5, 5);
  ASSERT_TRUE(server.send(conn, f));
  ASSERT_TRUE(server.wait_received(conn, f.size()));
  EXPECT_EQ(server.received(conn), f);
}

TEST(QzNet, ConnectTimesOutAfterAboutThreeSeconds) {
  // A listener with backlog 0 that never accepts: once its queue is full, the kernel
  // drops further SYNs and a connect attempt hangs.
  asio::io_context ctx;
  asio::ip::tcp::acceptor acceptor(ctx);
  const asio::ip::tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
  acceptor.open(endpoint.protocol());
  acceptor.bind(endpoint);
  acceptor.listen(0);
  const std::uint16_t port = acceptor.local_endpoint().port();
  std::vector<std::unique_ptr<asio::ip::tcp::socket>> fillers;
  for (int i = 0; i < 4; ++i) {
    fillers.push_back(std::make_unique<asio::ip::tcp::socket>(ctx));
    fillers.back()->async_connect(asio::ip::tcp::endpoint(endpoint.address(), port),
                                  [](const asio::error_code &) {});
  }
  ctx.run_for(300ms);

  // Only meaningful if the queue is really full: probe with a plain connect first.
  {
    asio::io_context probe_ctx;
    asio::ip::tcp::socket probe(probe_ctx);
    bool connected = false;
    probe.async_connect(asio::ip::tcp::endpoint(endpoint.address(), port),
                        [&](const asio::error_code &ec) { connected = !ec; });
    probe_ctx.run_for(500ms);
    if (connected) GTEST_SKIP() << "the kernel accepted beyond the backlog; no hanging connect here";
  }

  Recorder rec;
  Client client;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.connect("127.0.0.1", port, rec));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 2500ms);
  EXPECT_LE(elapsed, 6s);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
}

#ifdef __linux__
std::size_t thread_count() {
  std::size_t n = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) ++n;
  return n;
}

TEST(QzNet, OneIoThreadServesAllClientsAndStopsWithTheLast) {
  TestServer server;
  const std::size_t before = thread_count();
  constexpr int kClients = 100;
  std::vector<std::unique_ptr<Recorder>> recs;
  std::vector<void *> handles(kClients, nullptr);
  for (int i = 0; i < kClients; ++i) {
    recs.push_back(std::make_unique<Recorder>());
    ASSERT_TRUE(qz_net_tcp_client_init(&handles[static_cast<std::size_t>(i)]));
    ASSERT_TRUE(qz_net_connect_server(handles[static_cast<std::size_t>(i)], "127.0.0.1", server.port(),
                                      &Recorder::callback, recs.back().get()));
  }
  EXPECT_EQ(thread_count(), before + 1);
  for (int i = 0; i < kClients; ++i) {
    auto conn = server.wait_conn(static_cast<std::size_t>(i));
    ASSERT_NE(conn, nullptr);
    ASSERT_TRUE(server.send(conn, make_frame(static_cast<std::size_t>(i), 1, static_cast<std::uint32_t>(i))));
  }
  std::set<std::thread::id> callback_threads;
  for (auto &rec : recs) {
    ASSERT_TRUE(rec->wait_count(QZ_NET_EVENT_DATA, 1));
    std::lock_guard<std::mutex> lock(rec->mutex);
    for (const auto &e : rec->events) callback_threads.insert(e.thread);
  }
  EXPECT_EQ(callback_threads.size(), 1u);
  for (auto &h : handles) qz_net_tcp_client_uninit(&h);
  EXPECT_EQ(thread_count(), before);
}
#endif

}  // namespace
