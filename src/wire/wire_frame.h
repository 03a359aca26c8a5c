// Frame codec of the device protocol: building request frames, validating
// received frames, and bounds-checked big-endian readers and writers for
// payloads. Pure code: no I/O, no logging, no allocation beyond the caller's
// own containers. Shared by the library and the simulated device.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace qz::wire {

inline constexpr char kStartFlag[] = "QZSTART";  // 7 bytes on the wire, no NUL
inline constexpr char kEndFlag[] = "QZEND";      // 5 bytes on the wire, no NUL
inline constexpr std::size_t kStartFlagSize = 7;
inline constexpr std::size_t kEndFlagSize = 5;
inline constexpr std::size_t kHeaderSize = 23;
inline constexpr std::size_t kFrameOverhead = kHeaderSize + kEndFlagSize;  // 28
// Smallest delivery that holds the start flag and the total length field.
inline constexpr std::size_t kMinPrefixSize = 11;
// Largest frame either side takes: the transport and the simulated device
// drop longer ones, so a longer request is refused before it is sent.
inline constexpr std::size_t kMaxFrameSize = std::size_t{1} << 20;
inline constexpr std::size_t kMaxPayloadSize = kMaxFrameSize - kFrameOverhead;

// Byte offsets of the header fields.
inline constexpr std::size_t kOffTotalLength = 7;
inline constexpr std::size_t kOffPackageType = 11;
inline constexpr std::size_t kOffMain = 12;
inline constexpr std::size_t kOffSub = 13;
inline constexpr std::size_t kOffCode = 14;  // request marker / response code
inline constexpr std::size_t kOffSeq = 15;
inline constexpr std::size_t kOffPayloadLength = 19;

inline constexpr uint8_t kPackageRequest = 0;
inline constexpr uint8_t kPackageResponse = 1;
inline constexpr uint8_t kRequestMarker = 2;

inline uint16_t load_be16(const uint8_t *p) {
  return static_cast<uint16_t>((p[0] << 8) | p[1]);
}
inline uint32_t load_be32(const uint8_t *p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}
inline void store_be16(uint8_t *p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}
inline void store_be32(uint8_t *p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v >> 24);
  p[1] = static_cast<uint8_t>(v >> 16);
  p[2] = static_cast<uint8_t>(v >> 8);
  p[3] = static_cast<uint8_t>(v);
}

// The total length field of the frame header at `header`, which must hold at
// least kMinPrefixSize bytes.
inline uint32_t total_length_at(const uint8_t *header) {
  return load_be32(header + kOffTotalLength);
}

// The fields of a frame header, decoded.
struct FrameHeader {
  uint32_t total_length = 0;
  uint8_t package_type = 0;
  uint8_t main = 0;
  uint8_t sub = 0;
  uint8_t code = 0;  // 2 in requests, the response code in responses
  uint32_t seq = 0;
  uint32_t payload_length = 0;  // the header's own field, not checked against anything
};

// A validated frame inside a delivery. `payload` spans the bytes between the
// header and the trailer as the total length places them.
struct FrameView {
  FrameHeader header;
  const uint8_t *bytes = nullptr;  // first byte of the frame
  const uint8_t *payload = nullptr;
  std::size_t payload_size = 0;
};

// Writes a whole frame of payload_size + 28 bytes into `out`, which must hold
// that many bytes. Returns the number of bytes written.
std::size_t write_frame(uint8_t *out, uint8_t package_type, uint8_t main, uint8_t sub, uint8_t code,
                        uint32_t seq, const uint8_t *payload, uint32_t payload_size);

// Builds a frame into a new vector (tests, the simulated device).
std::vector<uint8_t> make_frame(uint8_t package_type, uint8_t main, uint8_t sub, uint8_t code, uint32_t seq,
                                const uint8_t *payload, uint32_t payload_size);
inline std::vector<uint8_t> make_frame(uint8_t package_type, uint8_t main, uint8_t sub, uint8_t code,
                                       uint32_t seq, const std::vector<uint8_t> &payload) {
  return make_frame(package_type, main, sub, code, seq, payload.data(),
                    static_cast<uint32_t>(payload.size()));
}

enum class FrameError {
  none,
  bad_start,         // fewer than 11 bytes, or no "QZSTART"
  bad_total_length,  // total length < 28 or > bytes delivered
  bad_package_type,  // package type is not the expected one
};

// Validates the frame that starts at data[0], in the library's order of
// tests: start flag, total length against `size`, package type. On success
// fills `view`. On failure `view.header` holds whatever could be read (the
// total length for bad_total_length, the package type for bad_package_type).
FrameError check_frame(const uint8_t *data, std::size_t size, uint8_t expected_package_type, FrameView &view);

// Bounds-checked big-endian reader over (pointer, length). Every read either
// succeeds entirely or fails and leaves the reader where it was; nothing is
// ever read past data + size.
class Reader {
 public:
  Reader(const uint8_t *data, std::size_t size) : data_(data), size_(size) {}

  std::size_t remaining() const { return size_ - pos_; }
  std::size_t position() const { return pos_; }
  bool has(std::size_t n) const { return n <= remaining(); }

  bool u8(uint8_t &out);
  bool u16(uint16_t &out);
  bool u32(uint32_t &out);
  bool skip(std::size_t n);
  // Points `out` at the next n bytes and advances past them.
  bool bytes(std::size_t n, const uint8_t *&out);
  // A fixed-width text field: the field's bytes up to its first NUL, or the
  // whole field when it holds none.
  bool text_field(std::size_t width, std::string &out);
  // A length-prefixed text: a 4-byte big-endian count n, then n bytes (kept
  // as they are, NULs included). Fails when n runs past the data.
  bool lp_text(std::string &out);

 private:
  const uint8_t *data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

// Big-endian writer appending to a byte vector.
class Writer {
 public:
  explicit Writer(std::vector<uint8_t> &out) : out_(out) {}
  Writer &u8(uint8_t v);
  Writer &u16(uint16_t v);
  Writer &u32(uint32_t v);
  Writer &bytes(const void *data, std::size_t n);
  // A fixed-width text field: the text's bytes, cut to `width`, NUL-padded.
  Writer &text_field(std::string_view text, std::size_t width);
  // A length-prefixed text: 4-byte big-endian count, then the bytes.
  Writer &lp_text(std::string_view text);

 private:
  std::vector<uint8_t> &out_;
};

}  // namespace qz::wire
