// Device control (reboot, keep-alive) and the two vendor flags. Also home of
// the one-byte device settings and queries that the watchdog, temperature and
// vendor flag exports share: a setting is sent and not remembered, a query
// asks the device every time and reports the answer to its own request.
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

bool NetDevSetting::send_setting_byte(uint32_t sub, uint8_t value) {
  return send_cmd(169, sub, 1, &value, kWaitMs);
}

bool NetDevSetting::query_setting_byte(const ByteQuery &query, uint8_t *answer) {
  if (answer == nullptr) return false;
  // Copied under the cache lock right after this request's own answer was
  // parsed, so a concurrent query of the same setting cannot replace it.
  uint8_t stored = 0;
  auto copy = [&] { stored = cache.*query.field; };
  if (!send_cmd(169, query.sub, 0, nullptr, kWaitMs, copy)) return false;
  *answer = query.reported == AnswerByte::raw ? stored : static_cast<uint8_t>(stored == 1 ? 1 : 0);
  return true;
}

// Runs on the transport thread with the cache lock held.
bool NetDevSetting::store_answer_byte(const wire::FrameView &frame, const ByteQuery &query) {
  wire::Reader reader(frame.payload, frame.payload_size);
  uint8_t byte = 0;
  if (!reader.u8(byte)) return refuse_short_answer(kSettingHandlerName, frame, 1);
  cache.*query.field = query.stored == AnswerByte::raw ? byte : static_cast<uint8_t>(byte == 1 ? 1 : 0);
  return true;
}

bool NetDevSetting::reboot() {
  return send_cmd(164, 142, 0, nullptr, 0);
}

bool NetDevSetting::keep_alive() {
  return send_cmd(173, 128, 0, nullptr, 0);
}

namespace {

using AnswerByte = NetDevSetting::AnswerByte;
constexpr NetDevSetting::ByteQuery kHikvisionLinkage{179, &DeviceStateCache::hikvision_linkage,
                                                     AnswerByte::flag, AnswerByte::flag};
constexpr NetDevSetting::ByteQuery kPgSupport{185, &DeviceStateCache::pg_support, AnswerByte::flag,
                                              AnswerByte::flag};

constexpr SettingParserEntry kEntries[] = {
    {kHikvisionLinkage.sub, NetDevSetting::parse_answer_byte<kHikvisionLinkage>},
    {kPgSupport.sub, NetDevSetting::parse_answer_byte<kPgSupport>},
};

}  // namespace

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kDeviceControlSettingParsers{kEntries};

}  // namespace qz::nds

using qz::nds::NetDevSetting;
using qz::nds::with_session;

// Neither waits for the device: success means the frame was sent.
extern "C" QZ_NDS_API bool qz_nds_reboot(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.reboot(); });
}
extern "C" QZ_NDS_API bool qz_nds_keep_alive(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.keep_alive(); });
}

extern "C" QZ_NDS_API bool qz_nds_set_hikvision_linkage(qz_nds_handle handle, uint8_t value) {
  return with_session(handle, [&](NetDevSetting &s) { return s.send_setting_byte(178, value); });
}
extern "C" QZ_NDS_API bool qz_nds_get_hikvision_linkage(qz_nds_handle handle, uint8_t *value) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kHikvisionLinkage, value); });
}

extern "C" QZ_NDS_API bool qz_nds_set_pg_support(qz_nds_handle handle, uint8_t value) {
  return with_session(handle, [&](NetDevSetting &s) { return s.send_setting_byte(184, value); });
}
extern "C" QZ_NDS_API bool qz_nds_get_pg_support(qz_nds_handle handle, uint8_t *value) {
  return with_session(handle,
                      [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kPgSupport, value); });
}
