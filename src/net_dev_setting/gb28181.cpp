// GB/T 28181 platform parameters: an enable flag, four texts and a port,
// written and read as one record (main 169, subs 176 and 177). The library
// gives the texts no meaning; the device decides what each one carries.
#include <algorithm>
#include <cstring>
#include <vector>

#include "setting_rows.h"

namespace qz::nds {

namespace {

// Each text is read into and handed out through a 64-byte field, so at most
// 63 bytes and a NUL.
constexpr std::size_t kTextField = 64;
constexpr std::size_t kMaxText = kTextField - 1;

// One record as the read reports it.
struct Gb28181Para {
  uint8_t enable = 0;
  ByteString text1;
  uint16_t port = 0;
  ByteString text2;
  ByteString text3;
  ByteString text4;
};

// A text of the answer as the 64-byte field keeps it: cut at its first NUL
// and to 63 bytes. The walk goes on by the declared count all the same.
bool read_para_text(wire::Reader &r, const wire::FrameView &frame, ByteString &out) {
  ByteString text;
  if (!NetDevSetting::read_answer_text(r, frame, text)) return false;
  const std::size_t nul = text.find('\0');
  text.resize(std::min({nul == ByteString::npos ? text.size() : nul, kMaxText}));
  out = std::move(text);
  return true;
}

// Answer to sub 177. Anything but 1 in the first byte means disabled, and
// then the record ends there: the texts and port of the last enabled answer
// stay in the cache.
bool parse_gb28181_para(DeviceStateCache &c, const wire::FrameView &frame) {
  wire::Reader r(frame.payload, frame.payload_size);
  uint8_t enable = 0;
  if (!r.u8(enable)) return refuse_short_answer(kSettingHandlerName, frame, 1);
  if (enable != 1) {
    c.gb28181_enable = 0;
    return true;
  }
  Gb28181Para para;
  if (!read_para_text(r, frame, para.text1)) return false;
  if (!r.u16(para.port)) return refuse_short_answer(kSettingHandlerName, frame, r.position() + 2);
  if (!read_para_text(r, frame, para.text2) || !read_para_text(r, frame, para.text3) ||
      !read_para_text(r, frame, para.text4)) {
    return false;
  }
  c.gb28181_enable = 1;
  c.gb28181_text1 = std::move(para.text1);
  c.gb28181_port = para.port;
  c.gb28181_text2 = std::move(para.text2);
  c.gb28181_text3 = std::move(para.text3);
  c.gb28181_text4 = std::move(para.text4);
  return true;
}

constexpr SettingParserEntry kEntries[] = {{wire::setting::kGet28181Para, parse_gb28181_para}};

// Fills a caller's 64-byte field: zeroes, then the text, always terminated.
void copy_to_field(char *field, const ByteString &text) {
  std::memset(field, 0, kTextField);
  std::memcpy(field, text.data(), std::min(text.size(), kMaxText));
}

}  // namespace

const SettingFamily kGb28181Settings{{}, {}, kEntries};

// ---- Command methods --------------------------------------------------------

bool NetDevSetting::set_28181_para(uint8_t enable, const char *text1, uint16_t port, const char *text2,
                                   const char *text3, const char *text4) {
  if (text1 == nullptr || text2 == nullptr || text3 == nullptr || text4 == nullptr) return false;
  std::vector<uint8_t> payload;
  wire::Writer w(payload);
  if (enable == 0) {
    // A disabled record is the enable byte alone.
    w.u8(0);
  } else {
    w.u8(1).lp_text(text1).u16(port).lp_text(text2).lp_text(text3).lp_text(text4);
  }
  return send_setting(wire::setting::kSet28181Para, payload);
}

bool NetDevSetting::get_28181_para(uint8_t *enable, char *text1, uint16_t *port, char *text2, char *text3,
                                   char *text4) {
  if (enable == nullptr || text1 == nullptr || port == nullptr || text2 == nullptr || text3 == nullptr ||
      text4 == nullptr) {
    return false;
  }
  Gb28181Para para;
  auto copy = [&](const DeviceStateCache &c) {
    para = {c.gb28181_enable, c.gb28181_text1, c.gb28181_port,
            c.gb28181_text2,  c.gb28181_text3, c.gb28181_text4};
  };
  if (!send_cmd(wire::kMainSetting, wire::setting::kGet28181Para, 0, nullptr, kWaitMs, copy)) return false;
  *enable = para.enable;
  copy_to_field(text1, para.text1);
  *port = para.port;
  copy_to_field(text2, para.text2);
  copy_to_field(text3, para.text3);
  copy_to_field(text4, para.text4);
  return true;
}

}  // namespace qz::nds

// ---- Exports ----------------------------------------------------------------

using qz::nds::NetDevSetting;
using qz::nds::with_session;

extern "C" {

QZ_NDS_API bool qz_nds_28181_set_para(qz_nds_handle handle, uint8_t enable, const char *text1, uint16_t port,
                                      const char *text2, const char *text3, const char *text4) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.set_28181_para(enable, text1, port, text2, text3, text4); });
}

QZ_NDS_API bool qz_nds_28181_get_para(qz_nds_handle handle, uint8_t *enable, char *text1, uint16_t *port,
                                      char *text2, char *text3, char *text4) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.get_28181_para(enable, text1, port, text2, text3, text4); });
}

}  // extern "C"
