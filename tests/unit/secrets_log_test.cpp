// No export writes a password, a user name, account info or another secret
// into a log line: every export that carries one runs against a device that
// accepts, refuses, cuts or echoes it, or without a connection, and the
// captured log must not show the secret, a piece of it or its bytes in hex.
#include <functional>
#include <string>
#include <vector>

#include "session_fixture.h"

namespace qz::test {
namespace {

// An export that carries a secret: how to call it with one, and the answer
// of a device that sends one back (none for a set).
struct SecretExport {
  const char *name;
  std::function<void(qz_nds_handle, const std::string &secret)> call;
  std::function<Bytes(const std::string &secret)> answer;
};

template <bool (*Set)(qz_nds_handle, const char *)>
void set_text(qz_nds_handle h, const std::string &s) {
  Set(h, s.c_str());
}
template <bool (*Get)(qz_nds_handle, char *, uint32_t *)>
void get_text(qz_nds_handle h, const std::string &) {
  char buffer[256];
  uint32_t len = 0;
  Get(h, buffer, &len);
}

const SecretExport kExports[] = {
    {"set_visual_user", set_text<qz_nds_set_visual_user>, {}},
    {"get_visual_user", get_text<qz_nds_get_visual_user>, lp_text},
    {"set_visual_passwd", set_text<qz_nds_set_visual_passwd>, {}},
    {"get_visual_passwd", get_text<qz_nds_get_visual_passwd>, lp_text},
    {"set_visual_sn",
     [](qz_nds_handle h, const std::string &s) {
       qz_nds_set_visual_sn(h, 1, 0, s.c_str(), static_cast<uint32_t>(s.size()));
     },
     {}},
    {"set_mqtt_user", set_text<qz_nds_set_mqtt_user>, {}},
    {"get_mqtt_user", get_text<qz_nds_get_mqtt_user>, lp_text},
    {"set_mqtt_passwd", set_text<qz_nds_set_mqtt_passwd>, {}},
    {"get_mqtt_passwd", get_text<qz_nds_get_mqtt_passwd>, lp_text},
    {"set_account_info",
     [](qz_nds_handle h, const std::string &s) {
       qz_nds_set_account_info(h, reinterpret_cast<const uint8_t *>(s.data()),
                               static_cast<uint32_t>(s.size()));
     },
     {}},
    {"get_account_info",
     [](qz_nds_handle h, const std::string &) {
       uint8_t data[256];
       uint32_t len = sizeof data;
       qz_nds_get_account_info(h, data, &len);
     },
     lp_text},
    {"28181_set_para",
     [](qz_nds_handle h, const std::string &s) {
       qz_nds_28181_set_para(h, 1, s.c_str(), 5060, s.c_str(), s.c_str(), s.c_str());
     },
     {}},
    {"28181_get_para",
     [](qz_nds_handle h, const std::string &) {
       uint8_t enable = 0;
       uint16_t port = 0;
       char t1[64], t2[64], t3[64], t4[64];
       qz_nds_28181_get_para(h, &enable, t1, &port, t2, t3, t4);
     },
     [](const std::string &s) {
       Bytes out;
       wire::Writer(out).u8(1).lp_text(s).u16(5060).lp_text(s).lp_text(s).lp_text(s);
       return out;
     }},
    {"set_passive_wireless_domain",
     [](qz_nds_handle h, const std::string &s) { qz_nds_set_passive_wireless_domain(h, s.c_str(), 9); },
     {}},
    {"get_passive_wireless_domain",
     [](qz_nds_handle h, const std::string &) {
       char domain[128];
       uint32_t value = 0;
       qz_nds_get_passive_wireless_domain(h, domain, &value);
     },
     [](const std::string &s) {
       Bytes out;
       wire::Writer(out).lp_text(s).u32(9);
       return out;
     }},
};

// What the device does with the request.
enum class Device {
  accepts,        // answers with the secret, code 0
  refuses,        // the same answer with code 1
  cuts,           // the answer without its last byte
  echoes,         // code 3, the request's own payload (with the secret) as payload
  garbage_first,  // the secret as bare bytes, then a refusal
  not_connected,  // the request is never sent
};

// A secret with printf directives too: it must never become a format.
const std::string kSecret = "Pw-7%s%n-s3cr3t!";

// Pieces of it that must not show: itself, its first half, and its first
// four bytes in hex either case, packed or spaced.
const char *const kTraces[] = {"Pw-7%s%n-s3cr3t!", "Pw-7%s%n",    "50772d37",
                               "50772D37",         "50 77 2d 37", "50 77 2D 37"};

std::vector<Bytes> device_answer(Device device, const SecretExport &e, const wire::FrameView &r) {
  Bytes payload = e.answer ? e.answer(kSecret) : Bytes{};
  switch (device) {
    case Device::accepts:
      return {response_to(r, payload)};
    case Device::refuses:
      return {response_to(r, payload, 1)};
    case Device::cuts:
      if (!payload.empty()) payload.pop_back();
      return {response_to(r, payload)};
    case Device::echoes:
      return {response_to(r, Bytes(r.payload, r.payload + r.payload_size), 3)};
    case Device::garbage_first:
      return {Bytes(kSecret.begin(), kSecret.end()), response_to(r, payload, 1)};
    case Device::not_connected:
      break;
  }
  return {};
}

using SecretsLog = SessionTest;

// Without a connection last, as it stays.
TEST_F(SecretsLog, NoLogLineShowsTheSecret) {
  for (Device device : {Device::accepts, Device::refuses, Device::cuts, Device::echoes, Device::garbage_first,
                        Device::not_connected}) {
    if (device == Device::not_connected) {
      ASSERT_TRUE(qz_nds_disconnect(handle));
    }
    for (const SecretExport &exported : kExports) {
      SCOPED_TRACE(testing::Message() << exported.name << " device " << static_cast<int>(device));
      log.clear();
      net.set_responder([&](const wire::FrameView &r) { return device_answer(device, exported, r); });
      exported.call(handle, kSecret);
      // A failed exchange was logged, so the capture saw lines to look through.
      if (device == Device::not_connected) {
        EXPECT_TRUE(log.mentions("device is not connected"));
      } else if (device != Device::accepts && (device != Device::cuts || exported.answer)) {
        EXPECT_FALSE(log.lines().empty());
      }
      for (const char *trace : kTraces) EXPECT_FALSE(log.mentions(trace)) << trace;
    }
  }
}

}  // namespace
}  // namespace qz::test
