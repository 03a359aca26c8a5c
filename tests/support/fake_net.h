// A scripted stand-in for the qz_net transport, for unit tests of the session
// core and the families: records what the session sends and delivers the
// answers a test scripts, through the session's own callback.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "frames.h"

namespace qz::test {

// Frames the device answers one request with (possibly none).
using Responder = std::function<std::vector<Bytes>(const wire::FrameView &request)>;

class FakeNet {
 public:
  static FakeNet &instance();

  // Forgets everything: no responder, connect and send succeed, synchronous.
  void reset();
  void set_responder(Responder responder);
  void set_init_result(bool ok);
  void set_connect_result(bool ok);
  void set_send_result(bool ok);
  // When on, answers are delivered from a thread of the fake's own, as the
  // real transport does; otherwise before send returns.
  void set_async(bool async);

  // Every frame the session sent, in order.
  std::vector<Bytes> sent() const;
  std::size_t connect_calls() const;

  // Delivers bytes (event 4) or another event to the connected session.
  bool deliver(const Bytes &bytes);
  bool deliver_event(uint32_t type);

  // Used by the fake C functions.
  struct Client;
  bool init_ok() const;
  bool connect(Client *client);
  bool send(Client *client, const uint8_t *data, uint32_t length);
  void disconnect(Client *client);
  void release(Client *client);

 private:
  FakeNet() = default;
  Client *current() const;

  mutable std::mutex mutex_;
  Responder responder_;
  std::vector<Bytes> sent_;
  bool init_ok_ = true;
  bool connect_ok_ = true;
  bool send_ok_ = true;
  bool async_ = false;
  std::size_t connect_calls_ = 0;
  Client *current_ = nullptr;
};

}  // namespace qz::test
