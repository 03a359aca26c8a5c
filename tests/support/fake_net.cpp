#include "fake_net.h"

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

// Delivers answers on threads of the fake's own, like a transport's receive
// thread: each job starts after the one before it ended, so deliveries come
// in order and never at the same time.
class AsyncDeliverer {
 public:
  ~AsyncDeliverer() { drain(); }
  void post(std::function<void()> job) {
    std::lock_guard lock(mutex_);
    last_ = std::thread([job = std::move(job), before = std::move(last_)]() mutable {
      if (before.joinable()) before.join();
      job();
    });
  }
  // Waits until every posted job ran.
  void drain() {
    std::thread last;
    {
      std::lock_guard lock(mutex_);
      last.swap(last_);
    }
    if (last.joinable()) last.join();
  }

 private:
  std::mutex mutex_;
  std::thread last_;
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
  auto run = [client, answers = responder(request)] {
    for (const Bytes &answer : answers) call(client, QZ_NET_EVENT_DATA, &answer);
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
