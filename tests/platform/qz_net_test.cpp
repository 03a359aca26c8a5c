// qz_net over real loopback connections.
#include "qz_net.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "frame_splitter.h"
#include "test_server.h"

namespace {

using namespace std::chrono_literals;
using qz_test::Bytes;
using qz_test::cat;
using qz_test::make_frame;
using qz_test::TestServer;

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
      self->events.push_back(
          {event->type, Bytes(event->data, event->data + event->length), std::this_thread::get_id()});
    }
    self->cv.notify_all();
    if (self->hook) self->hook(*event);
    return true;
  }
  // The events of one type, after waiting up to 5 s until there are at least n.
  std::vector<Event> of(std::uint32_t type, std::size_t n = 0) {
    std::unique_lock<std::mutex> lock(mutex);
    std::vector<Event> out;
    cv.wait_for(lock, 5s, [&] {
      out.clear();
      for (const auto &e : events)
        if (e.type == type) out.push_back(e);
      return out.size() >= n;
    });
    return out;
  }
  std::size_t count(std::uint32_t type) { return of(type).size(); }
  std::vector<Bytes> data(std::size_t n = 0) {
    std::vector<Bytes> out;
    for (const auto &e : of(QZ_NET_EVENT_DATA, n)) out.push_back(e.data);
    return out;
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

// Null and unconnected handles; a refused connection, a null address and port 0 fail at
// once and deliver no event.
TEST(QzNet, BadHandlesAndFailedConnects) {
  EXPECT_FALSE(qz_net_tcp_client_init(nullptr));
  const std::uint8_t x = 'x';
  EXPECT_FALSE(qz_net_connect_server(nullptr, "127.0.0.1", 1, &Recorder::callback, nullptr));
  EXPECT_FALSE(qz_net_send_data_to_server(nullptr, &x, 1));
  EXPECT_FALSE(qz_net_disconnect_server(nullptr));
  qz_net_tcp_client_uninit(nullptr);
  void *handle = nullptr;
  ASSERT_TRUE(qz_net_tcp_client_init(&handle));
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(qz_net_send_data_to_server(handle, &x, 1));
  EXPECT_TRUE(qz_net_disconnect_server(handle));  // not connected: harmless
  qz_net_tcp_client_uninit(&handle);
  EXPECT_EQ(handle, nullptr);
  qz_net_tcp_client_uninit(&handle);

  const std::uint16_t closed_port = TestServer().port();
  TestServer server;  // its port is the argument below, so only the address can fail
  Recorder rec;
  Client client;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.connect("127.0.0.1", closed_port, rec));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_FALSE(qz_net_connect_server(client.handle, nullptr, server.port(), &Recorder::callback, &rec));
  EXPECT_FALSE(client.connect("127.0.0.1", 0, rec));
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
}

// Event 1 arrives on the I/O thread before connect returns; coalesced frames and the
// garbage between them are delivered one by one (frames of every size and split over
// reads: the next test); a send from inside the callback (here an echo of every
// delivery) reaches the server.
TEST(QzNet, ConnectedBeforeConnectReturnsThenWholeFramesBothWays) {
  TestServer server;
  Recorder rec;
  Client client;
  rec.hook = [&](const TransportEvent &e) {
    EXPECT_TRUE(e.type != QZ_NET_EVENT_DATA || qz_net_send_data_to_server(client.handle, e.data, e.length));
  };
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  const auto connected = rec.of(QZ_NET_EVENT_CONNECTED);
  ASSERT_EQ(connected.size(), 1u);
  EXPECT_NE(connected[0].thread, std::this_thread::get_id());
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);

  const Bytes f1 = make_frame(0, 0, 1), f2 = make_frame(3000, 3, 3), garbage = {'x', 'y', 'z'};
  const std::vector<Bytes> expected = {f1, f2, garbage, f1};
  ASSERT_TRUE(server.send(conn, cat(expected)));
  EXPECT_EQ(rec.data(expected.size()), expected);
  EXPECT_EQ(server.wait_received(conn, cat(expected).size()), cat(expected));
}

// All clients read through the I/O thread's one buffer. Frames around its size and far
// beyond, and many small ones, written to several clients at once, arrive whole and only
// at their own client.
TEST(QzNet, ClientsSharingTheReadBufferGetWholeFramesOfEverySize) {
  constexpr std::size_t kClients = 4, kFrames = 300;
  auto frames_of = [](std::size_t c) {
    const auto fill = static_cast<std::uint8_t>(c);
    std::vector<Bytes> out;
    for (std::size_t size : {0, 100, 4096, 65536 - 28, 65536, 65536 + 1, 200000, 7})
      out.push_back(make_frame(size, fill, static_cast<std::uint32_t>(out.size())));
    while (out.size() < kFrames) out.push_back(make_frame(out.size() * 97 % 5000, fill, out.size()));
    return out;
  };
  TestServer server;
  std::vector<Recorder> recs(kClients);
  std::vector<Client> clients(kClients);
  std::vector<TestServer::ConnPtr> conns;
  for (std::size_t c = 0; c < kClients; ++c) {
    ASSERT_TRUE(clients[c].connect("127.0.0.1", server.port(), recs[c]));
    conns.push_back(server.wait_conn(c));
    ASSERT_NE(conns.back(), nullptr);
  }
  std::vector<std::thread> writers;
  for (std::size_t c = 0; c < kClients; ++c)
    writers.emplace_back([&, c] { EXPECT_TRUE(server.send(conns[c], cat(frames_of(c)))); });
  for (auto &w : writers) w.join();
  for (std::size_t c = 0; c < kClients; ++c) EXPECT_EQ(recs[c].data(kFrames), frames_of(c)) << "client " << c;
}

// Where a text leads (PORT stands for the server's port): a port in the text wins over
// the argument, names are resolved, IPv6 with and without brackets (where this host has
// an IPv6 loopback). Unknown names and malformed texts fail at once and deliver no event.
TEST(QzNet, AddressForms) {
  auto check = [](const char *server_address, std::string text, bool ok) {
    std::unique_ptr<TestServer> server;
    try {
      server = std::make_unique<TestServer>(server_address);
    } catch (const std::system_error &) {
      return;
    }
    const bool port_in_text = text.ends_with("PORT");
    if (port_in_text) text.replace(text.size() - 4, 4, std::to_string(server->port()));
    Recorder rec;
    Client client;
    EXPECT_EQ(client.connect(text, port_in_text ? 1 : server->port(), rec), ok) << text;
    EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), ok ? 1u : 0u) << text;
    EXPECT_EQ(server->wait_conn(0, ok ? 5s : 0s) != nullptr, ok) << text;
  };
  for (const auto &[server_address, text] : {std::pair{"127.0.0.1", "127.0.0.1:PORT"},
                                             {"127.0.0.1", "localhost"},
                                             {"::1", "[::1]:PORT"},
                                             {"::1", "::1"},
                                             {"::1", "[::1]"}})
    check(server_address, text, true);
  for (const char *text : {"no-such-host.invalid", "", "127.0.0.1:", "127.0.0.1:abc", "127.0.0.1:70000",
                           "127.0.0.1:0", "[::1", "[::1]x", "[]:80", ":80", "[::1]:"})
    check("127.0.0.1", text, false);
}

// Connecting again replaces the connection and a local disconnect ends it, both without
// event 2; a peer's close or reset delivers event 2 exactly once. The client works again
// after each.
TEST(QzNet, ConnectionEndings) {
  TestServer server;
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto first = server.wait_conn(0), second = server.wait_conn(1);
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(server.wait_eof(first));
  EXPECT_TRUE(qz_net_disconnect_server(client.handle));
  EXPECT_TRUE(server.wait_eof(second));
  EXPECT_FALSE(client.send(make_frame(0)));
  EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);

  for (std::size_t i = 2; i < 4; ++i) {
    ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
    auto conn = server.wait_conn(i);
    ASSERT_NE(conn, nullptr);
    const Bytes f = make_frame(i, 2, 2);
    ASSERT_TRUE(client.send(f));
    EXPECT_EQ(server.wait_received(conn, f.size()), f);
    server.close(conn, /*reset=*/i == 3);
    ASSERT_EQ(rec.of(QZ_NET_EVENT_DISCONNECTED, i - 1).size(), i - 1);
    EXPECT_FALSE(client.send(make_frame(0)));
    EXPECT_TRUE(qz_net_disconnect_server(client.handle));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), i - 1);
  }
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 4u);
}

// The server floods frames while callbacks run slowly. Once disconnect or uninit has
// returned, called from the test's thread or from inside a callback, no callback runs,
// no event 2 comes, and a new client works (a new I/O thread if the old one wound down).
TEST(QzNet, NoCallbackAfterDisconnectOrUninit) {
  for (int round = 0; round < 8; ++round) {  // each of the four ways twice
    const bool use_uninit = round & 1, inside = round & 2;
    TestServer server;
    Recorder rec;
    void *handle = nullptr;
    ASSERT_TRUE(qz_net_tcp_client_init(&handle));
    std::atomic<bool> closed{false};
    std::atomic<int> late{0};
    auto close = [&] {  // uninit possibly ends the process's last client
      EXPECT_TRUE(use_uninit ? (qz_net_tcp_client_uninit(&handle), true) : qz_net_disconnect_server(handle));
      closed = true;
    };
    rec.hook = [&](const TransportEvent &event) {
      if (closed.load()) ++late;
      if (event.type != QZ_NET_EVENT_DATA || closed.load()) return;
      if (inside) {
        // Connecting from a callback is refused rather than deadlocking.
        EXPECT_FALSE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
        return close();
      }
      std::this_thread::sleep_for(200us);
      if (closed.load()) ++late;
    };
    ASSERT_TRUE(qz_net_connect_server(handle, "127.0.0.1", server.port(), &Recorder::callback, &rec));
    auto conn = server.wait_conn(0);
    ASSERT_NE(conn, nullptr);
    std::atomic<bool> stop{false};
    std::thread flooder([&] {
      Bytes burst;
      for (std::uint32_t i = 0; i < 20; ++i) burst = cat({burst, make_frame(i, 1, i)});
      while (!stop.load() && server.send(conn, burst)) {
      }
    });
    if (!inside) {
      ASSERT_GE(rec.data(200).size(), 200u);
      close();
    }
    EXPECT_TRUE(server.wait_eof(conn));
    for (int i = 0; i < 500 && !closed.load(); ++i) std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(100ms);
    EXPECT_TRUE(closed.load());
    EXPECT_EQ(late.load(), 0) << "round " << round;
    EXPECT_EQ(rec.count(QZ_NET_EVENT_DISCONNECTED), 0u);
    stop = true;
    flooder.join();
    qz_net_tcp_client_uninit(&handle);

    Recorder rec2;
    Client client;
    ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec2));
    EXPECT_NE(server.wait_conn(1), nullptr);
  }
}

// Sends queue behind the write in progress. While the peer does not read, that write
// stalls and the senders wait once the queue is full: the bytes taken stop growing, far
// below what the senders hold. Once the peer reads, every frame arrives whole, and each
// thread's frames in its order.
TEST(QzNet, ConcurrentSendsQueueBehindAStalledWriteUpToABound) {
  TestServer server("127.0.0.1", /*reading=*/false);
  Recorder rec;
  Client client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), rec));
  auto conn = server.wait_conn(0);
  ASSERT_NE(conn, nullptr);

  constexpr std::uint32_t kThreads = 8, kFrames = 4000;   // about 48 MB
  auto frame_of = [](std::uint32_t t, std::uint32_t i) {  // the seq holds thread and index
    return make_frame((i * 37 + t * 11) % 3000, static_cast<std::uint8_t>(t), t << 24 | i);
  };
  std::size_t expected_bytes = 0;
  std::atomic<std::size_t> taken{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (std::uint32_t t = 0; t < kThreads; ++t) {
    for (std::uint32_t i = 0; i < kFrames; ++i) expected_bytes += frame_of(t, i).size();
    threads.emplace_back([&, t] {
      for (std::uint32_t i = 0; i < kFrames; ++i) {
        const Bytes f = frame_of(t, i);
        if (client.send(f))
          taken += f.size();
        else
          ++failures;
      }
    });
  }
  // Loopback buffers take a few MiB, the queue 1 MiB. Reading must start within the
  // 10 s after which a stalled write fails.
  std::size_t before = 0, after = taken;
  for (int polls = 0; polls < 40 && (after == 0 || after != before); ++polls) {
    before = after;
    std::this_thread::sleep_for(100ms);
    after = taken;
  }
  EXPECT_EQ(after, before);
  EXPECT_LT(after, std::size_t{16} << 20);
  server.start_reading(conn);
  for (auto &th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);

  const Bytes stream = server.wait_received(conn, expected_bytes, 20s);
  EXPECT_EQ(stream.size(), expected_bytes);
  std::vector<std::uint32_t> next(kThreads, 0);
  qz::wire::FrameSplitter().feed(
      stream.data(), stream.size(),
      [&](qz::wire::FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t n) {
        ASSERT_EQ(kind, qz::wire::FrameSplitter::Kind::Frame);
        const std::uint32_t t = p[15], i = std::uint32_t{p[17]} << 8 | p[18];
        ASSERT_LT(t, kThreads);
        EXPECT_EQ(i, next[t]++);
        EXPECT_EQ(Bytes(p, p + n), frame_of(t, i));
      });
  EXPECT_EQ(next, std::vector<std::uint32_t>(kThreads, kFrames));
}

TEST(QzNet, ConnectTimesOutAfterAboutThreeSeconds) {
  // A listener with backlog 0 that never accepts: once its queue is full, the kernel
  // drops further SYNs and a connect attempt hangs. Only meaningful if some of the
  // sockets that fill it hang.
  using asio::ip::tcp;
  asio::io_context ctx;
  tcp::acceptor acceptor(ctx, tcp::v4());
  acceptor.bind({asio::ip::make_address("127.0.0.1"), 0});
  acceptor.listen(0);
  const tcp::endpoint target = acceptor.local_endpoint();
  std::vector<std::unique_ptr<tcp::socket>> fillers;
  int connected = 0;
  for (int i = 0; i < 6; ++i) {
    fillers.push_back(std::make_unique<tcp::socket>(ctx));
    fillers.back()->async_connect(target, [&](const asio::error_code &ec) { connected += ec ? 0 : 1; });
  }
  ctx.run_for(800ms);
  if (connected == 6) GTEST_SKIP() << "the kernel accepted beyond the backlog; no hanging connect here";
  Recorder rec;
  Client client;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.connect("127.0.0.1", target.port(), rec));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 2500ms);
  EXPECT_LE(elapsed, 6s);
  EXPECT_EQ(rec.count(QZ_NET_EVENT_CONNECTED), 0u);
}

#ifdef __linux__
// Callbacks of all clients run on one extra thread, which goes with the last client.
TEST(QzNet, OneIoThreadServesAllClientsAndStopsWithTheLast) {
  auto thread_count = [] {
    auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  TestServer server;
  const auto before = thread_count();
  constexpr std::size_t kClients = 100;
  std::vector<Recorder> recs(kClients);
  std::vector<Client> clients(kClients);
  for (std::size_t i = 0; i < kClients; ++i) {
    ASSERT_TRUE(clients[i].connect("127.0.0.1", server.port(), recs[i]));
    auto conn = server.wait_conn(i);
    ASSERT_NE(conn, nullptr);
    ASSERT_TRUE(server.send(conn, make_frame(i)));
  }
  for (auto &rec : recs) ASSERT_EQ(rec.of(QZ_NET_EVENT_DATA, 1).size(), 1u);
  EXPECT_EQ(thread_count(), before + 1);
  clients.clear();  // uninit each
  // The thread has ended; the kernel may take a moment to drop its entry.
  for (int i = 0; i < 200 && thread_count() != before; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(thread_count(), before);
}
#endif

}  // namespace
