// IP settings (main 169, subs 138 and 139) and the serial number getter.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "setting_rows.h"

namespace qz::nds {

namespace {

using IpTexts = NetDevSetting::IpTexts;
using IpTextBuffers = NetDevSetting::IpTextBuffers;
constexpr std::size_t kIpTextCount = NetDevSetting::kIpTextCount;

// The IP settings block: one flag byte and five 15-byte text slots.
constexpr std::size_t kIpTextWidth = 15;
constexpr std::size_t kIpBlockSize = 1 + kIpTextCount * kIpTextWidth;  // 76

struct IpInfo {
  uint8_t flag = 0;
  std::array<ByteString, kIpTextCount> texts;
};

template <class Cache>
auto ip_text_members(Cache &c) {
  return std::array{&c.ip_info_text1, &c.ip_info_text2, &c.ip_info_text3, &c.ip_info_text4, &c.ip_info_text5};
}

IpInfo cached_ip_info(const DeviceStateCache &c) {
  IpInfo info;
  info.flag = c.ip_info_flag;
  auto members = ip_text_members(c);
  for (std::size_t i = 0; i < kIpTextCount; ++i) info.texts[i] = *members[i];
  return info;
}

// The request block: the flag reduced to 0 or 1; the texts travel, cut to
// their slots, only when the flag is set.
std::vector<uint8_t> build_ip_block(uint8_t flag, const IpTexts &texts) {
  std::vector<uint8_t> block;
  block.reserve(kIpBlockSize);
  wire::Writer w(block);
  w.u8(flag != 0 ? 1 : 0);
  for (const char *text : texts) {
    w.text_field(flag != 0 && text != nullptr ? std::string_view(text) : std::string_view(), kIpTextWidth);
  }
  return block;
}

// Answer to sub 139: the 76-byte block. Runs under cache_lock.
bool parse_ip_info(DeviceStateCache &c, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  IpInfo info;
  bool ok = r.u8(info.flag);
  for (ByteString &text : info.texts) ok = ok && r.text_field(kIpTextWidth, text);
  if (!ok) return refuse_short_answer(kSettingHandlerName, frame, kIpBlockSize);
  c.ip_info_flag = info.flag == 1 ? 1 : 0;
  auto members = ip_text_members(c);
  for (std::size_t i = 0; i < kIpTextCount; ++i) *members[i] = std::move(info.texts[i]);
  return true;
}

constexpr SettingParserEntry kEntries[] = {{wire::setting::kGetIpInfo, parse_ip_info}};

}  // namespace

const SettingFamily kIpSettings{{}, {}, kEntries};

bool NetDevSetting::set_ip_info(uint8_t flag, const IpTexts &texts) {
  const std::vector<uint8_t> block = build_ip_block(flag, texts);
  if (!send_payload(wire::kMainSetting, wire::setting::kSetIpInfo, block, kWaitMs)) {
    NDS_LOG(kLogError, "qz_nds_set_ip_info", "set ip info failed");
    return false;
  }
  // The cache keeps the flag as passed and each given text whole.
  std::lock_guard guard(cache_lock);
  cache.ip_info_flag = flag;
  auto members = ip_text_members(cache);
  for (std::size_t i = 0; i < kIpTextCount; ++i) {
    if (texts[i] != nullptr) members[i]->assign(texts[i]);
  }
  return true;
}

bool NetDevSetting::get_ip_info(uint8_t *flag, const IpTextBuffers &texts) {
  std::optional<IpInfo> answer;
  auto copy = [&](const DeviceStateCache &c) { answer = cached_ip_info(c); };
  // A failed query is not an error here: the cached values are handed out.
  if (!send_cmd(wire::kMainSetting, wire::setting::kGetIpInfo, 0, nullptr, kWaitMs, copy)) {
    std::lock_guard guard(cache_lock);
    answer = cached_ip_info(cache);
  }
  if (flag != nullptr) *flag = answer->flag;
  for (std::size_t i = 0; i < kIpTextCount; ++i) {
    if (texts[i] == nullptr) continue;
    const ByteString &text = answer->texts[i];
    std::memcpy(texts[i], text.data(), std::min(text.size(), kIpTextWidth));
  }
  return true;
}

bool NetDevSetting::get_sn(char *sn, uint32_t *len) {
  if (sn == nullptr || len == nullptr) return false;
  std::lock_guard guard(cache_lock);
  std::memcpy(sn, cache.device_sn.data(), cache.device_sn.size());
  *len = static_cast<uint32_t>(cache.device_sn.size());
  return true;
}

}  // namespace qz::nds

extern "C" QZ_NDS_API bool qz_nds_set_ip_info(qz_nds_handle handle, uint8_t flag, const char *text1,
                                              const char *text2, const char *text3, const char *text4,
                                              const char *text5) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return s.set_ip_info(flag, {text1, text2, text3, text4, text5});
  });
}

extern "C" QZ_NDS_API bool qz_nds_get_ip_info(qz_nds_handle handle, uint8_t *flag, char *text1, char *text2,
                                              char *text3, char *text4, char *text5) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) {
    return s.get_ip_info(flag, {text1, text2, text3, text4, text5});
  });
}

extern "C" QZ_NDS_API bool qz_nds_get_sn(qz_nds_handle handle, char *sn, uint32_t *len) {
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &s) { return s.get_sn(sn, len); });
}
