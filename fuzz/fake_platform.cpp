#include "fake_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "fuzz_check.h"
#include "net_dev_setting.h"
#include "wire_frame.h"

#define QZ_NET_BUILDING
#define QZ_LOG_BUILDING
#define QZ_COMMON_BUILDING
#include "qz_common.h"
#include "qz_log.h"
#include "qz_net.h"

namespace qz::fuzz {

namespace {

using Bytes = std::vector<uint8_t>;

struct Client {
  qz_net_callback callback = nullptr;
  void *user = nullptr;
  bool open = false;
};

InputReader *g_input = nullptr;
Client *g_client = nullptr;
wire::FrameHeader g_last_request{};

bool call(Client &client, uint32_t type, const Bytes *bytes) {
  TransportEvent event{0, type, bytes != nullptr ? bytes->data() : nullptr,
                       bytes != nullptr ? static_cast<uint32_t>(bytes->size()) : 0};
  return client.callback(&event, client.user);
}

Bytes read_blob(InputReader &in) {
  const uint16_t n = in.u16();
  auto view = in.bytes(n);
  return Bytes(view.begin(), view.end());
}

Bytes frame(const wire::FrameHeader &h, uint8_t code, uint32_t seq, const Bytes &payload) {
  return wire::make_frame(wire::kPackageResponse, h.main, h.sub, code, seq, payload);
}

// A frame whose header fields need not agree with what it carries.
Bytes tampered_frame(InputReader &in, const wire::FrameHeader &request) {
  const uint8_t code = in.u8();
  const uint8_t package_type = in.u8();
  const uint32_t total = in.u32();
  const uint32_t payload_length = in.u32();
  Bytes out = frame(request, code, request.seq, read_blob(in));
  out[wire::kOffPackageType] = package_type;
  wire::store_be32(out.data() + wire::kOffTotalLength, total);
  wire::store_be32(out.data() + wire::kOffPayloadLength, payload_length);
  return out;
}

// Transport events by number: the four the library knows, the data event
// without bytes, and one it does not know.
constexpr uint32_t kEventTypes[] = {QZ_NET_EVENT_CONNECTED, QZ_NET_EVENT_DISCONNECTED, QZ_NET_EVENT_EXCEPTION,
                                    QZ_NET_EVENT_DATA, 0x7F};

// Delivers one batch; true when it ended the connection (which wakes every
// waiting caller).
bool deliver_batch(Client &client, const wire::FrameHeader &request) {
  InputReader &in = *g_input;
  const std::size_t count = in.u8() % (kMaxBatch + 1);
  bool closed = false;
  for (std::size_t i = 0; i < count && client.open; ++i) {
    Bytes bytes;
    switch (static_cast<Delivery>(in.u8() % kDeliveryKinds)) {
      case Delivery::answer: {
        const uint8_t code = in.u8();
        bytes = frame(request, code, request.seq, read_blob(in));
        break;
      }
      case Delivery::forged: {
        wire::FrameHeader h = request;
        h.main = in.u8();
        h.sub = in.u8();
        const uint8_t code = in.u8();
        const auto delta = static_cast<int8_t>(in.u8());
        bytes = frame(h, code, request.seq + static_cast<uint32_t>(delta), read_blob(in));
        break;
      }
      case Delivery::raw:
        bytes = read_blob(in);
        break;
      case Delivery::tampered:
        bytes = tampered_frame(in, request);
        break;
      case Delivery::event: {
        const uint32_t type = kEventTypes[in.u8() % std::size(kEventTypes)];
        if (type == QZ_NET_EVENT_DISCONNECTED) {
          client.open = false;
          closed = true;
        }
        call(client, type, nullptr);
        continue;
      }
      case Delivery::pair: {
        const uint8_t code = in.u8();
        bytes = frame(request, code, request.seq, read_blob(in));
        const Bytes second = bytes;
        bytes.insert(bytes.end(), second.begin(), second.end());
        break;
      }
      case Delivery::count:
        break;
    }
    call(client, QZ_NET_EVENT_DATA, &bytes);
  }
  return closed;
}

// True while the session still waits for an answer to `seq`.
bool still_waiting(Client &client, uint32_t seq) {
  return static_cast<nds::NetDevSetting *>(client.user)->waits_for(seq);
}

void answer_request(Client &client, const wire::FrameHeader &request) {
  if (g_input == nullptr) return;
  const bool closed = deliver_batch(client, request);
  // A request the batch left unanswered is refused at once, so no caller
  // sits out its wait time.
  if (!closed && client.open && still_waiting(client, request.seq)) {
    const Bytes refusal = frame(request, 1, request.seq, {});
    call(client, QZ_NET_EVENT_DATA, &refusal);
  }
  FUZZ_CHECK(!still_waiting(client, request.seq) || closed);
}

}  // namespace

void set_batch_source(InputReader *input) {
  g_input = input;
}

void deliver_unsolicited() {
  if (g_client == nullptr || !g_client->open || g_input == nullptr) return;
  deliver_batch(*g_client, g_last_request);
}

}  // namespace qz::fuzz

using qz::fuzz::Client;

extern "C" {

QZ_NET_API bool qz_net_tcp_client_init(void **handle) {
  if (handle == nullptr) return false;
  FUZZ_CHECK(qz::fuzz::g_client == nullptr);  // one session per input
  qz::fuzz::g_client = new Client;
  *handle = qz::fuzz::g_client;
  return true;
}

QZ_NET_API bool qz_net_connect_server(void *handle, const char *address, uint16_t, qz_net_callback callback,
                                      void *user) {
  auto *client = static_cast<Client *>(handle);
  FUZZ_CHECK(client != nullptr && address != nullptr && callback != nullptr);
  client->callback = callback;
  client->user = user;
  client->open = true;
  qz::fuzz::call(*client, QZ_NET_EVENT_CONNECTED, nullptr);
  return true;
}

QZ_NET_API bool qz_net_send_data_to_server(void *handle, const uint8_t *data, uint32_t length) {
  auto *client = static_cast<Client *>(handle);
  if (client == nullptr || !client->open) return false;
  qz::wire::FrameView request;
  FUZZ_CHECK(qz::wire::check_frame(data, length, qz::wire::kPackageRequest, request) ==
             qz::wire::FrameError::none);
  FUZZ_CHECK(request.header.total_length == length);
  qz::fuzz::g_last_request = request.header;
  qz::fuzz::answer_request(*client, request.header);
  return true;
}

QZ_NET_API bool qz_net_disconnect_server(void *handle) {
  if (handle == nullptr) return false;
  static_cast<Client *>(handle)->open = false;
  return true;
}

QZ_NET_API void qz_net_tcp_client_uninit(void **handle) {
  if (handle == nullptr || *handle == nullptr) return;
  auto *client = static_cast<Client *>(*handle);
  if (client == qz::fuzz::g_client) qz::fuzz::g_client = nullptr;
  delete client;
  *handle = nullptr;
}

QZ_LOG_API bool qz_log_init(const char *, int, int) {
  return true;
}

// Formats every record, so a format that does not match its arguments shows
// under the sanitizers, and drops it.
QZ_LOG_API void qz_log_print(int, const char *module, const char *, int, const char *function,
                             const char *format, ...) {
  FUZZ_CHECK(module != nullptr && function != nullptr && format != nullptr);
  char message[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof message, format, args);
  va_end(args);
}

QZ_LOG_API void qz_log_uninit(void) {}

QZ_COMMON_API int qz_get_exe_path(char *buffer, uint32_t *size) {
  static constexpr char kPath[] = "/tmp";
  if (buffer == nullptr || size == nullptr || *size < sizeof kPath) return 1;
  std::memcpy(buffer, kPath, sizeof kPath);
  *size = sizeof kPath - 1;
  return 0;
}

}  // extern "C"
