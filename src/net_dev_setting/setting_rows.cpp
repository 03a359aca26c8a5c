// The export bodies that run a setting row, the parsers of the answers to the
// rows' queries, and the main 169 helpers the link families share.
#include "setting_rows.h"

#include <cstring>
#include <vector>

namespace qz::nds {

namespace {

int32_t in_form(ByteForm form, int32_t value) {
  return form == ByteForm::flag ? (value == 1 ? 1 : 0) : value;
}

}  // namespace

bool NetDevSetting::send_setting(uint32_t sub, const std::vector<uint8_t> &payload) {
  return send_payload(wire::kMainSetting, sub, payload, kWaitMs);
}

bool NetDevSetting::send_text_setting(uint32_t sub, const char *text) {
  std::vector<uint8_t> payload;
  wire::Writer(payload).lp_text(text);
  return send_setting(sub, payload);
}

bool NetDevSetting::read_answer_text(wire::Reader &r, const wire::FrameView &frame, ByteString &out) {
  if (r.lp_text(out)) return true;
  // Say how far the count, or the text it announces, runs past the payload.
  std::size_t needed = r.position() + 4;
  if (r.has(4)) needed += wire::load_be32(frame.payload + r.position());
  return refuse_short_answer(kSettingHandlerName, frame, needed);
}

bool NetDevSetting::store_answer_text(const wire::FrameView &frame, ByteString &field) {
  wire::Reader r(frame.payload, frame.payload_size);
  ByteString text;
  if (!read_answer_text(r, frame, text)) return false;
  field = std::move(text);
  return true;
}

bool set_byte(qz_nds_handle handle, const ByteSetting &row, int32_t value, const char *function) {
  return with_session(handle, [&](NetDevSetting &s) {
    const auto byte = static_cast<uint8_t>(in_form(row.sent, static_cast<uint8_t>(value)));
    if (s.send_cmd(row.main, row.set_sub, 1, &byte, kWaitMs)) {
      if (row.query_sub == kCached) s.with_cache([&](DeviceStateCache &c) { row.field.write(c, value); });
      return true;
    }
    const char *line = value == 0 && row.off_failed != nullptr ? row.off_failed : row.failed;
    if (line != nullptr) NDS_LOG(kLogError, function, line, static_cast<int>(value));
    return row.outcome == Outcome::arguments;
  });
}

bool read_byte(NetDevSetting &s, const ByteSetting &row, int32_t &value) {
  if (row.query_sub == kCached) {
    value = s.with_cache([&](const DeviceStateCache &c) { return row.field.read(c); });
    return true;
  }
  // Copied under the cache lock right after this request's own answer was
  // parsed, so a concurrent query of the same setting cannot replace it.
  int32_t answer = 0;
  auto copy = [&](const DeviceStateCache &c) { answer = row.field.read(c); };
  if (!s.send_cmd(row.main, row.query_sub, 0, nullptr, kWaitMs, copy)) {
    if (row.outcome == Outcome::exchange) return false;
    answer = 0;  // never an older cached value
  }
  value = in_form(row.reported, answer);
  return true;
}

bool store_byte_answer(DeviceStateCache &cache, const wire::FrameView &frame, const ByteSetting &row) {
  wire::Reader reader(frame.payload, frame.payload_size);
  uint8_t byte = 0;
  if (!reader.u8(byte)) return refuse_short_answer(kSettingHandlerName, frame, 1);
  row.field.write(cache, in_form(row.stored, byte));
  return true;
}

bool set_text(qz_nds_handle handle, const TextSetting &row, const char *text) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (text == nullptr) return false;
    return s.send_text_setting(row.set_sub, text) || row.outcome == Outcome::arguments;
  });
}

bool get_text(qz_nds_handle handle, const TextSetting &row, char *buffer, uint32_t *len) {
  return with_session(handle, [&](NetDevSetting &s) {
    if (buffer == nullptr || len == nullptr) return false;
    ByteString text;
    auto copy = [&](const DeviceStateCache &c) { text = c.*row.field; };
    if (!s.send_cmd(wire::kMainSetting, row.query_sub, 0, nullptr, kWaitMs, copy)) {
      if (row.outcome == Outcome::exchange) return false;
      text.clear();
    }
    if (!text.empty()) std::memcpy(buffer, text.data(), text.size());
    *len = static_cast<uint32_t>(text.size());
    return true;
  });
}

}  // namespace qz::nds
