// Passive wireless settings (main 49): the power status (three values) and
// the domain (a text and a value). Every request opens with the device's
// serial number as a length-prefixed text, the key the device checks.
#include <cstring>
#include <vector>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

namespace {

// Capacity of the caller's domain buffer.
constexpr std::size_t kDomainBuffer = 128;
constexpr const char *kParserName = "NetDevSetting::on_response_passive_wireless";

// Answer to sub 131: three 32-bit values.
bool parse_power_status(DeviceStateCache &cache, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint32_t s1 = 0, s2 = 0, s3 = 0;
  if (!r.u32(s1) || !r.u32(s2) || !r.u32(s3)) return refuse_short_answer(kParserName, frame, 12);
  cache.passive_wireless_power_status1 = s1;
  cache.passive_wireless_power_status2 = s2;
  cache.passive_wireless_power_status3 = s3;
  return true;
}

// Bytes an answer to sub 133 must carry: the count, the m bytes it
// announces and the value.
std::size_t domain_answer_size(const wire::FrameView &frame) {
  if (frame.payload_size < 4) return 4;
  return 8 + std::size_t{wire::load_be32(frame.payload)};
}

// Answer to sub 133: the domain as a length-prefixed text, then its value.
bool parse_domain(DeviceStateCache &cache, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  ByteString domain;
  uint32_t value = 0;
  if (!r.lp_text(domain) || !r.u32(value))
    return refuse_short_answer(kParserName, frame, domain_answer_size(frame));
  cache.passive_wireless_domain = std::move(domain);
  cache.passive_wireless_domain_value = value;
  return true;
}

}  // namespace

// Runs under cache_lock. Only the read answers carry something; a write
// answered with its own sub command counts as failed.
bool on_response_passive_wireless(DeviceStateCache &cache, const wire::FrameView &frame) {
  switch (frame.header.sub) {
    case wire::passive_wireless::kGetPowerStatus:
      return parse_power_status(cache, frame);
    case wire::passive_wireless::kGetDomain:
      return parse_domain(cache, frame);
    default:
      return false;
  }
}

// A request payload that starts with the serial number as it is cached now.
std::vector<uint8_t> NetDevSetting::passive_wireless_request() {
  std::vector<uint8_t> payload;
  std::lock_guard guard(cache_lock);
  wire::Writer(payload).lp_text(cache.device_sn);
  return payload;
}

bool NetDevSetting::set_passive_wireless_power_status(const uint32_t *status1, const uint32_t *status2,
                                                      const uint32_t *status3) {
  if (status1 == nullptr || status2 == nullptr || status3 == nullptr) return false;
  std::vector<uint8_t> payload = passive_wireless_request();
  wire::Writer(payload).u32(*status1).u32(*status2).u32(*status3);
  return send_payload(wire::kMainPassiveWireless, wire::passive_wireless::kSetPowerStatus, payload, kWaitMs);
}

bool NetDevSetting::get_passive_wireless_power_status(uint32_t *status1, uint32_t *status2,
                                                      uint32_t *status3) {
  if (status1 == nullptr || status2 == nullptr || status3 == nullptr) return false;
  uint32_t s1 = 0, s2 = 0, s3 = 0;
  auto copy = [&](const DeviceStateCache &c) {
    s1 = c.passive_wireless_power_status1;
    s2 = c.passive_wireless_power_status2;
    s3 = c.passive_wireless_power_status3;
  };
  const std::vector<uint8_t> payload = passive_wireless_request();
  if (!send_payload(wire::kMainPassiveWireless, wire::passive_wireless::kGetPowerStatus, payload, kWaitMs,
                    copy))
    return false;
  *status1 = s1;
  *status2 = s2;
  *status3 = s3;
  return true;
}

bool NetDevSetting::set_passive_wireless_domain(const char *domain, uint32_t value) {
  if (domain == nullptr) return false;
  std::vector<uint8_t> payload = passive_wireless_request();
  wire::Writer(payload).lp_text(domain).u32(value);
  return send_payload(wire::kMainPassiveWireless, wire::passive_wireless::kSetDomain, payload, kWaitMs);
}

bool NetDevSetting::get_passive_wireless_domain(char *domain, uint32_t *value) {
  if (domain == nullptr || value == nullptr) return false;
  char text[kDomainBuffer] = {};
  std::size_t length = 0;
  uint32_t answered_value = 0;
  auto copy = [&](const DeviceStateCache &c) {
    length = c.passive_wireless_domain.size();
    if (length <= kDomainBuffer) std::memcpy(text, c.passive_wireless_domain.data(), length);
    answered_value = c.passive_wireless_domain_value;
  };
  const std::vector<uint8_t> payload = passive_wireless_request();
  if (!send_payload(wire::kMainPassiveWireless, wire::passive_wireless::kGetDomain, payload, kWaitMs, copy))
    return false;
  // A domain that does not fit the caller's buffer is refused whole.
  if (length > kDomainBuffer) return false;
  std::memcpy(domain, text, kDomainBuffer);
  *value = answered_value;
  return true;
}

}  // namespace qz::nds

extern "C" QZ_NDS_API bool qz_nds_set_passive_wireless_power_status(qz_nds_handle handle,
                                                                    const uint32_t *status1,
                                                                    const uint32_t *status2,
                                                                    const uint32_t *status3) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return s.set_passive_wireless_power_status(status1, status2, status3);
  });
}

extern "C" QZ_NDS_API bool qz_nds_get_passive_wireless_power_status(qz_nds_handle handle, uint32_t *status1,
                                                                    uint32_t *status2, uint32_t *status3) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return s.get_passive_wireless_power_status(status1, status2, status3);
  });
}

extern "C" QZ_NDS_API bool qz_nds_set_passive_wireless_domain(qz_nds_handle handle, const char *domain,
                                                              uint32_t value) {
  return qz::nds::with_session(
      handle, [&](qz::nds::NetDevSetting &s) { return s.set_passive_wireless_domain(domain, value); });
}

extern "C" QZ_NDS_API bool qz_nds_get_passive_wireless_domain(qz_nds_handle handle, char *domain,
                                                              uint32_t *value) {
  return qz::nds::with_session(
      handle, [&](qz::nds::NetDevSetting &s) { return s.get_passive_wireless_domain(domain, value); });
}
