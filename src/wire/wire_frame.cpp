#include "wire_frame.h"

namespace qz::wire {

std::size_t write_frame(uint8_t *out, uint8_t package_type, uint8_t main, uint8_t sub, uint8_t code,
                        uint32_t seq, const uint8_t *payload, uint32_t payload_size) {
  std::memcpy(out, kStartFlag, kStartFlagSize);
  store_be32(out + kOffTotalLength, payload_size + static_cast<uint32_t>(kFrameOverhead));
  out[kOffPackageType] = package_type;
  out[kOffMain] = main;
  out[kOffSub] = sub;
  out[kOffCode] = code;
  store_be32(out + kOffSeq, seq);
  store_be32(out + kOffPayloadLength, payload_size);
  if (payload_size != 0 && payload != nullptr) std::memcpy(out + kHeaderSize, payload, payload_size);
  std::memcpy(out + kHeaderSize + payload_size, kEndFlag, kEndFlagSize);
  return kFrameOverhead + payload_size;
}

std::vector<uint8_t> make_frame(uint8_t package_type, uint8_t main, uint8_t sub, uint8_t code, uint32_t seq,
                                const uint8_t *payload, uint32_t payload_size) {
  std::vector<uint8_t> frame(kFrameOverhead + payload_size);
  write_frame(frame.data(), package_type, main, sub, code, seq, payload, payload_size);
  return frame;
}

FrameError check_frame(const uint8_t *data, std::size_t size, uint8_t expected_package_type,
                       FrameView &view) {
  view = FrameView{};
  if (size < kMinPrefixSize || std::memcmp(data, kStartFlag, kStartFlagSize) != 0)
    return FrameError::bad_start;
  FrameHeader &h = view.header;
  h.total_length = total_length_at(data);
  if (h.total_length < kFrameOverhead || h.total_length > size) return FrameError::bad_total_length;
  h.package_type = data[kOffPackageType];
  if (h.package_type != expected_package_type) return FrameError::bad_package_type;
  h.main = data[kOffMain];
  h.sub = data[kOffSub];
  h.code = data[kOffCode];
  h.seq = load_be32(data + kOffSeq);
  h.payload_length = load_be32(data + kOffPayloadLength);
  view.bytes = data;
  view.payload = data + kHeaderSize;
  view.payload_size = h.total_length - kFrameOverhead;
  return FrameError::none;
}

bool Reader::u8(uint8_t &out) {
  if (!has(1)) return false;
  out = data_[pos_++];
  return true;
}

bool Reader::u16(uint16_t &out) {
  if (!has(2)) return false;
  out = load_be16(data_ + pos_);
  pos_ += 2;
  return true;
}

bool Reader::u32(uint32_t &out) {
  if (!has(4)) return false;
  out = load_be32(data_ + pos_);
  pos_ += 4;
  return true;
}

bool Reader::skip(std::size_t n) {
  if (!has(n)) return false;
  pos_ += n;
  return true;
}

bool Reader::bytes(std::size_t n, const uint8_t *&out) {
  if (!has(n)) return false;
  out = data_ + pos_;
  pos_ += n;
  return true;
}

bool Reader::text_field(std::size_t width, std::string &out) {
  const uint8_t *p = nullptr;
  if (!bytes(width, p)) return false;
  const void *nul = std::memchr(p, 0, width);
  std::size_t n = nul ? static_cast<std::size_t>(static_cast<const uint8_t *>(nul) - p) : width;
  out.assign(reinterpret_cast<const char *>(p), n);
  return true;
}

bool Reader::lp_text(std::string &out) {
  if (!has(4)) return false;
  uint32_t n = load_be32(data_ + pos_);
  if (!has(std::size_t{4} + n)) return false;
  out.assign(reinterpret_cast<const char *>(data_ + pos_ + 4), n);
  pos_ += std::size_t{4} + n;
  return true;
}

Writer &Writer::u8(uint8_t v) {
  out_.push_back(v);
  return *this;
}

Writer &Writer::u16(uint16_t v) {
  uint8_t b[2];
  store_be16(b, v);
  return bytes(b, 2);
}

Writer &Writer::u32(uint32_t v) {
  uint8_t b[4];
  store_be32(b, v);
  return bytes(b, 4);
}

Writer &Writer::bytes(const void *data, std::size_t n) {
  const auto *p = static_cast<const uint8_t *>(data);
  if (n != 0) out_.insert(out_.end(), p, p + n);
  return *this;
}

Writer &Writer::text_field(std::string_view text, std::size_t width) {
  std::size_t n = text.size() < width ? text.size() : width;
  bytes(text.data(), n);
  out_.insert(out_.end(), width - n, uint8_t{0});
  return *this;
}

Writer &Writer::lp_text(std::string_view text) {
  u32(static_cast<uint32_t>(text.size()));
  return bytes(text.data(), text.size());
}

}  // namespace qz::wire
