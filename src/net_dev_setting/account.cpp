// Account info (main 48): an opaque block of bytes the device keeps. Sub 128
// writes it, sub 129 reads it. Its bytes never go into a log line.
#include <cstring>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

// Runs under cache_lock. Only the read answer (sub 129) is accepted; the
// answer is a 4-byte count n and n bytes, and a count that runs past the
// payload is refused before anything is allocated.
bool on_response_account(DeviceStateCache &cache, const wire::FrameView &frame) {
  if (frame.header.sub != wire::account::kRead) return false;
  wire::Reader r(frame.payload, frame.payload_size);
  uint32_t n = 0;
  const uint8_t *bytes = nullptr;
  if (!r.u32(n)) return refuse_short_answer("NetDevSetting::on_response_account", frame, 4);
  if (!r.bytes(n, bytes))
    return refuse_short_answer("NetDevSetting::on_response_account", frame, 4 + std::size_t{n});
  cache.account_info.assign(reinterpret_cast<const char *>(bytes), n);
  cache.account_info_len = n;
  return true;
}

bool NetDevSetting::set_account_info(const uint8_t *data, uint32_t len) {
  if (data == nullptr && len != 0) return false;
  return send_cmd(wire::kMainAccount, wire::account::kWrite, len, data, kWaitMs);
}

// On entry *len is the capacity of data; on return it is the size of the
// device's account info. The copy happens under cache_lock, right after this
// call's own answer was parsed, so a concurrent read cannot replace the
// bytes while they are copied.
bool NetDevSetting::get_account_info(uint8_t *data, uint32_t *len) {
  if (len == nullptr) return false;
  const uint32_t capacity = *len;
  // Without a buffer only the size can be asked for.
  if (data == nullptr && capacity != 0) return false;
  uint32_t needed = 0;
  auto copy = [&](const DeviceStateCache &c) {
    needed = c.account_info_len;
    if (needed != 0 && needed <= capacity) std::memcpy(data, c.account_info.data(), needed);
  };
  if (!send_cmd(wire::kMainAccount, wire::account::kRead, 0, nullptr, kWaitMs, copy)) return false;
  *len = needed;
  return needed <= capacity;
}

}  // namespace qz::nds

extern "C" QZ_NDS_API bool qz_nds_set_account_info(qz_nds_handle handle, const uint8_t *data, uint32_t len) {
  return qz::nds::with_session(handle,
                               [&](qz::nds::NetDevSetting &s) { return s.set_account_info(data, len); });
}

extern "C" QZ_NDS_API bool qz_nds_get_account_info(qz_nds_handle handle, uint8_t *data, uint32_t *len) {
  return qz::nds::with_session(handle,
                               [&](qz::nds::NetDevSetting &s) { return s.get_account_info(data, len); });
}
