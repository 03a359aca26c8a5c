// The transport under load: every client reads through the I/O thread's one
// buffer, and callers that send while another one writes queue their frames
// behind that write.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "lean_device.h"
#include "plain_clients.h"
#include "qz_net.h"
#include "wire_frame.h"

namespace qz::bench {
namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<uint8_t>;

// A request frame whose payload is `size` bytes of `fill`; seq tells it apart.
Bytes frame_of(std::size_t size, uint8_t fill, uint32_t seq) {
  const Bytes payload(size, fill);
  return wire::make_frame(wire::kPackageResponse, 169, 128, 0, seq, payload);
}

// Accepts connections on 127.0.0.1 and hands out their descriptors.
class Listener {
 public:
  Listener() {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
    EXPECT_EQ(::listen(fd_, 16), 0);
    ::getsockname(fd_, reinterpret_cast<sockaddr *>(&addr), &len);
    port_ = ntohs(addr.sin_port);
  }
  ~Listener() { ::close(fd_); }
  uint16_t port() const { return port_; }
  int accept_one() { return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC); }

 private:
  int fd_ = -1;
  uint16_t port_ = 0;
};

// One qz_net client that records the frames its callback receives.
class RecordingClient {
 public:
  RecordingClient() { EXPECT_TRUE(qz_net_tcp_client_init(&handle_)); }
  ~RecordingClient() { qz_net_tcp_client_uninit(&handle_); }
  bool connect(uint16_t port) { return qz_net_connect_server(handle_, "127.0.0.1", port, &on_event, this); }
  bool send(const Bytes &b) {
    return qz_net_send_data_to_server(handle_, b.data(), static_cast<uint32_t>(b.size()));
  }

  // Waits until `count` deliveries arrived; returns them.
  std::vector<Bytes> wait_frames(std::size_t count) {
    std::unique_lock lock(mutex_);
    cv_.wait_for(lock, 10s, [&] { return frames_.size() >= count; });
    return frames_;
  }

 private:
  static bool on_event(TransportEvent *event, void *user) {
    auto *self = static_cast<RecordingClient *>(user);
    if (event->type != QZ_NET_EVENT_DATA) return true;
    std::lock_guard lock(self->mutex_);
    self->frames_.emplace_back(event->data, event->data + event->length);
    self->cv_.notify_all();
    return true;
  }

  void *handle_ = nullptr;
  std::mutex mutex_;
  std::condition_variable cv_;
  std::vector<Bytes> frames_;
};

TEST(Transport, DeliversFramesOfEverySizeWhole) {
  Listener listener;
  RecordingClient client;
  ASSERT_TRUE(client.connect(listener.port()));
  const int fd = listener.accept_one();
  ASSERT_GE(fd, 0);
  // Around the read buffer's size and well beyond it, back to back.
  const std::size_t sizes[] = {0, 100, 4096, 65536 - 28, 65536, 65536 + 1, 200000, 7};
  std::vector<Bytes> sent;
  Bytes stream;
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    sent.push_back(frame_of(sizes[i], static_cast<uint8_t>(i + 1), static_cast<uint32_t>(i)));
    stream.insert(stream.end(), sent.back().begin(), sent.back().end());
  }
  ASSERT_TRUE(send_all(fd, stream.data(), stream.size()));
  EXPECT_EQ(client.wait_frames(sent.size()), sent);
  ::close(fd);
}

TEST(Transport, ClientsSharingTheReadBufferGetOnlyTheirOwnFrames) {
  constexpr int kClients = 4, kFrames = 300;
  Listener listener;
  std::vector<std::unique_ptr<RecordingClient>> clients;
  std::vector<int> fds;
  for (int c = 0; c < kClients; ++c) {
    clients.push_back(std::make_unique<RecordingClient>());
    ASSERT_TRUE(clients.back()->connect(listener.port()));
    fds.push_back(listener.accept_one());
    ASSERT_GE(fds.back(), 0);
  }
  // Every connection is written at the same time, so reads of different
  // clients follow each other on the I/O thread.
  std::vector<std::thread> writers;
  for (int c = 0; c < kClients; ++c) {
    writers.emplace_back([&, c] {
      for (int i = 0; i < kFrames; ++i) {
        const Bytes f = frame_of(static_cast<std::size_t>(i * 97 % 5000), static_cast<uint8_t>(c), i);
        send_all(fds[c], f.data(), f.size());
      }
    });
  }
  for (auto &w : writers) w.join();
  for (int c = 0; c < kClients; ++c) {
    const std::vector<Bytes> got = clients[c]->wait_frames(kFrames);
    ASSERT_EQ(got.size(), static_cast<std::size_t>(kFrames)) << "client " << c;
    for (int i = 0; i < kFrames; ++i) {
      EXPECT_EQ(got[i], frame_of(static_cast<std::size_t>(i * 97 % 5000), static_cast<uint8_t>(c), i))
          << "client " << c << " frame " << i;
    }
    ::close(fds[c]);
  }
}

// The peer stops reading: one caller's write stalls, the others queue behind
// it until the queue is full and then wait; nothing grows without bound. Once
// the peer reads again every frame arrives whole, each thread's in order.
TEST(Transport, SendsQueueBehindAStalledWriteUpToABound) {
  constexpr int kThreads = 8, kFrames = 2000;
  constexpr std::size_t kFrameSize = 3000;
  Listener listener;
  RecordingClient client;
  ASSERT_TRUE(client.connect(listener.port()));
  const int fd = listener.accept_one();
  ASSERT_GE(fd, 0);

  std::atomic<std::size_t> accepted{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < kFrames; ++i) {
        const Bytes f = frame_of(kFrameSize, static_cast<uint8_t>(t), static_cast<uint32_t>(t * 100000 + i));
        if (client.send(f)) {
          accepted += f.size();
        } else {
          ++failures;
        }
      }
    });
  }
  // While nobody reads, the accepted bytes stop growing (kernel buffers and
  // the bounded queue are full), far below what the senders have.
  std::size_t before = 0, after = accepted;
  for (int i = 0; i < 50 && after != before; ++i) {
    before = after;
    std::this_thread::sleep_for(100ms);
    after = accepted;
  }
  EXPECT_EQ(after, before);
  // Loopback buffers take a few MiB, the queue 1 MiB; the senders hold 48 MB.
  EXPECT_LT(after, std::size_t{16} << 20);

  // Read everything and check it frame by frame.
  std::vector<int> next(kThreads, 0);
  std::size_t frames = 0;
  RequestCutter cutter;
  Bytes buffer(1 << 16);
  while (frames < std::size_t{kThreads} * kFrames) {
    const ssize_t n = ::recv(fd, buffer.data(), buffer.size(), 0);
    ASSERT_GT(n, 0);
    cutter.feed(buffer.data(), static_cast<std::size_t>(n), [&](const uint8_t *p, std::size_t size) {
      const uint32_t seq = wire::load_be32(p + wire::kOffSeq);
      const int t = static_cast<int>(seq / 100000), i = static_cast<int>(seq % 100000);
      ASSERT_LT(t, kThreads);
      EXPECT_EQ(i, next[t]++);
      EXPECT_EQ(Bytes(p, p + size), frame_of(kFrameSize, static_cast<uint8_t>(t), seq));
      ++frames;
    });
  }
  for (auto &s : senders) s.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(cutter.kept(), 0u);
  ::close(fd);
}

}  // namespace
}  // namespace qz::bench
