// On-screen display items of the device (main 168): eleven plain items, the
// channel-name item with its text, and a restore of the device's defaults.
// Set exports remember what the device accepted; get exports answer from the
// session alone.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {
namespace {

using wire::osd::kItemSub;
// The channel name buffer the caller hands to qz_nds_osd_get_channel_info.
constexpr std::size_t kChannelNameBuffer = 256;

// The 6 bytes every item request starts with; the wire carries display as
// 0/1 whatever the caller passed.
void write_item(wire::Writer &writer, const OsdItem &item) {
  writer.u8(item.display != 0 ? 1 : 0).u8(item.attribute).u16(item.value1).u16(item.value2);
}

// Length of `text` up to its NUL, looking at no more than `limit` bytes.
std::size_t bounded_length(const char *text, std::size_t limit) {
  std::size_t n = 0;
  while (n < limit && text[n] != '\0') ++n;
  return n;
}

// Copies the non-null out-parameters from `item`.
void copy_item(const OsdItem &item, uint8_t *display, uint8_t *attribute, uint16_t *value1,
               uint16_t *value2) {
  if (display != nullptr) *display = item.display;
  if (attribute != nullptr) *attribute = item.attribute;
  if (value1 != nullptr) *value1 = item.value1;
  if (value2 != nullptr) *value2 = item.value2;
}

}  // namespace

bool NetDevSetting::set_osd_item(int id, const OsdItem &item) {
  if (id < 0 || id >= kOsdItemCount || kItemSub[id] == wire::osd::kNoItemSub) return false;
  std::vector<uint8_t> payload;
  wire::Writer writer(payload);
  write_item(writer, item);
  if (!send_payload(wire::kMainOsd, kItemSub[id], payload, kWaitMs)) {
    return false;
  }
  std::lock_guard guard(cache_lock);
  cache.osd_items[id] = item;
  return true;
}

// The wire carries the first name_length bytes of the name after a count
// byte; a name shorter than that is padded with NULs instead of being read
// past its end. A null name goes as an empty one.
bool NetDevSetting::set_channel_name(uint8_t name_length, const char *name, const OsdItem &item) {
  const uint8_t count = name != nullptr ? name_length : 0;
  const std::size_t available = name != nullptr ? bounded_length(name, count) : 0;
  std::vector<uint8_t> payload;
  wire::Writer writer(payload);
  write_item(writer, item);
  writer.u8(count).text_field(std::string_view(name != nullptr ? name : "", available), count);
  if (!send_payload(wire::kMainOsd, wire::osd::kChannelName, payload, kWaitMs)) {
    return false;
  }
  // The session keeps the whole name, whatever part of it was sent.
  std::lock_guard guard(cache_lock);
  cache.channel_name = name != nullptr ? name : "";
  cache.osd_items[kChannelNameItem] = item;
  return true;
}

bool NetDevSetting::osd_restore_config() {
  return send_cmd(wire::kMainOsd, wire::osd::kRestore, 0, nullptr, kWaitMs);
}

}  // namespace qz::nds

using qz::nds::DeviceStateCache;
using qz::nds::NetDevSetting;
using qz::nds::OsdItem;
using qz::nds::with_session;

extern "C" QZ_NDS_API bool qz_nds_set_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t display,
                                                  uint8_t attribute, uint16_t value1, uint16_t value2) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (osd_id >= qz::nds::kOsdItemCount) return false;
    if (osd_id < 0 || osd_id == qz::nds::kChannelNameItem) {
      NDS_LOG(qz::nds::kLogError, "qz_nds_set_osd_setting", "osd = %d is not supproted", osd_id);
      return false;
    }
    if (s.set_osd_item(osd_id, OsdItem{display, attribute, value1, value2})) return true;
    NDS_LOG(qz::nds::kLogError, "qz_nds_set_osd_setting", "set osd = %d config failed", osd_id);
    return false;
  });
}

extern "C" QZ_NDS_API bool qz_nds_get_osd_setting(qz_nds_handle handle, int32_t osd_id, uint8_t *display,
                                                  uint8_t *attribute, uint16_t *value1, uint16_t *value2) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (osd_id < 0 || osd_id >= qz::nds::kOsdItemCount) return false;
    s.with_cache([&](const DeviceStateCache &c) {
      qz::nds::copy_item(c.osd_items[osd_id], display, attribute, value1, value2);
    });
    return true;
  });
}

extern "C" QZ_NDS_API bool qz_nds_osd_set_channel_name(qz_nds_handle handle, uint8_t name_length,
                                                       const char *name, uint8_t display, uint8_t attribute,
                                                       uint16_t value1, uint16_t value2) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (name == nullptr || name_length == 0) {
      NDS_LOG(qz::nds::kLogNotice, "qz_nds_osd_set_channel_name", "channel name's bytes = %d", name_length);
    }
    if (s.set_channel_name(name_length, name, OsdItem{display, attribute, value1, value2})) return true;
    NDS_LOG(qz::nds::kLogError, "qz_nds_osd_set_channel_name", "set channel name failed");
    return false;
  });
}

extern "C" QZ_NDS_API bool qz_nds_osd_get_channel_info(qz_nds_handle handle, char *name, uint8_t *display,
                                                       uint8_t *attribute, uint16_t *value1,
                                                       uint16_t *value2) {
  return with_session(handle, [&](NetDevSetting &s) {
    s.with_cache([&](const DeviceStateCache &c) {
      if (name != nullptr) {
        // At most the buffer's 256 bytes, and no terminator of our own.
        std::memcpy(name, c.channel_name.data(),
                    std::min(c.channel_name.size(), qz::nds::kChannelNameBuffer));
      }
      qz::nds::copy_item(c.osd_items[qz::nds::kChannelNameItem], display, attribute, value1, value2);
    });
    return true;
  });
}

extern "C" QZ_NDS_API bool qz_nds_osd_restore_config(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.osd_restore_config(); });
}
