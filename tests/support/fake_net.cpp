#include "fake_net.h"

#include <condition_variable>
#include <deque>
#include <thread>

#define QZ_NET_BUILDING
#include "qz_net.h"

namespace qz::test {

struct FakeNet::Client {
  qz_net_callback callback = nullptr;
  void *user = nullptr;
  bool connected = false;
};

namespace {

// Delivers answers on a thread of its own, in order, like a transport's
// receive thread.
class AsyncDeliverer {
 public:
  ~AsyncDeliverer() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
      cv_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
  }
  void post(std::function<void()> job) {
    std::lock_guard lock(mutex_);
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    jobs_.push_back(std::move(job));
    cv_.notify_one();
  }
  // Waits until every posted job ran.
  void drain() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return jobs_.empty() && !busy_; });
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    while (true) {
      cv_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
      if (jobs_.empty()) return;
      auto job = std::move(jobs_.front());
      jobs_.pop_front();
      busy_ = true;
      lock.unlock();
      job();
      lock.lock();
      busy_ = false;
      idle_.notify_all();
    }
  }
  std::mutex mutex_;
  std::condition_variable cv_, idle_;
  std::deque<std::function<void()>> jobs_;
  std::thread thread_;
  bool stopping_ = false;
  bool busy_ = false;
};

AsyncDeliverer &deliverer() {
  static AsyncDeliverer d;
  return d;
}

bool call(FakeNet::Client *client, uint32_t type, const Bytes *bytes) {
  TransportEvent event{0, type, bytes ? bytes->data() : nullptr,
                       bytes ? static_cast<uint32_t>(bytes->size()) : 0};
  return client->callback(&event, client->user);
}

}  // namespace

FakeNet &FakeNet::instance() {
  static FakeNet net;
  return net;
}

void FakeNet::reset() {
  deliverer().drain();
  std::lock_guard lock(mutex_);
  responder_ = nullptr;
  sent_.clear();
  init_ok_ = connect_ok_ = send_ok_ = true;
  async_ = false;
  connect_calls_ = 0;
}

void FakeNet::set_init_result(bool ok) {
  std::lock_guard lock(mutex_);
  init_ok_ = ok;
}

bool FakeNet::init_ok() const {
  std::lock_guard lock(mutex_);
  return init_ok_;
}

void FakeNet::set_responder(Responder responder) {
  std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
}
void FakeNet::set_connect_result(bool ok) {
  std::lock_guard lock(mutex_);
  connect_ok_ = ok;
}
void FakeNet::set_send_result(bool ok) {
  std::lock_guard lock(mutex_);
  send_ok_ = ok;
}
void FakeNet::set_async(bool async) {
  std::lock_guard lock(mutex_);
  async_ = async;
}

std::vector<Bytes> FakeNet::sent() const {
  std::lock_guard lock(mutex_);
  return sent_;
}
std::size_t FakeNet::connect_calls() const {
  std::lock_guard lock(mutex_);
  return connect_calls_;
}

FakeNet::Client *FakeNet::current() const {
  std::lock_guard lock(mutex_);
  return current_;
}

bool FakeNet::deliver(const Bytes &bytes) {
  Client *client = current();
  return client != nullptr && call(client, QZ_NET_EVENT_DATA, &bytes);
}

bool FakeNet::deliver_event(uint32_t type) {
  Client *client = current();
  if (client == nullptr) return false;
  if (type == QZ_NET_EVENT_DISCONNECTED) client->connected = false;
  return call(client, type, nullptr);
}

bool FakeNet::connect(Client *client) {
  {
    std::lock_guard lock(mutex_);
    ++connect_calls_;
    if (!connect_ok_) return false;
    current_ = client;
    client->connected = true;
  }
  call(client, QZ_NET_EVENT_CONNECTED, nullptr);
  return true;
}

bool FakeNet::send(Client *client, const uint8_t *data, uint32_t length) {
  Responder responder;
  bool async;
  {
    std::lock_guard lock(mutex_);
    sent_.emplace_back(data, data + length);
    if (!send_ok_ || !client->connected) return false;
    responder = responder_;
    async = async_;
  }
  if (!responder) return true;
  wire::FrameView request;
  if (wire::check_frame(data, length, wire::kPackageRequest, request) != wire::FrameError::none) return true;
  auto answers = std::make_shared<std::vector<Bytes>>(responder(request));
  auto run = [client, answers] {
    for (const Bytes &answer : *answers) call(client, QZ_NET_EVENT_DATA, &answer);
  };
  if (async)
    deliverer().post(run);
  else
    run();
  return true;
}

void FakeNet::disconnect(Client *client) {
  deliverer().drain();
  std::lock_guard lock(mutex_);
  client->connected = false;
}

void FakeNet::release(Client *client) {
  deliverer().drain();
  std::lock_guard lock(mutex_);
  if (current_ == client) current_ = nullptr;
  delete client;
}

}  // namespace qz::test

using qz::test::FakeNet;

extern "C" {

QZ_NET_API bool qz_net_tcp_client_init(void **handle) {
  if (handle == nullptr || !FakeNet::instance().init_ok()) return false;
  *handle = new FakeNet::Client;
  return true;
}

QZ_NET_API bool qz_net_connect_server(void *handle, const char *, uint16_t, qz_net_callback callback,
                                      void *user) {
  auto *client = static_cast<FakeNet::Client *>(handle);
  client->callback = callback;
  client->user = user;
  return FakeNet::instance().connect(client);
}

QZ_NET_API bool qz_net_send_data_to_server(void *handle, const uint8_t *data, uint32_t length) {
  return FakeNet::instance().send(static_cast<FakeNet::Client *>(handle), data, length);
}

QZ_NET_API bool qz_net_disconnect_server(void *handle) {
  FakeNet::instance().disconnect(static_cast<FakeNet::Client *>(handle));
  return true;
}

QZ_NET_API void qz_net_tcp_client_uninit(void **handle) {
  if (handle == nullptr || *handle == nullptr) return;
  FakeNet::instance().release(static_cast<FakeNet::Client *>(*handle));
  *handle = nullptr;
}

}  // extern "C"
