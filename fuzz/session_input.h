// Input format of the session fuzzer, shared by the fuzzer that reads it and
// the corpus generator that writes it.
//
// An input is a sequence of steps:
//   step     := action(1) args(8)
// The action byte picks an export (modulo kActionCount); the eight argument
// bytes give its values. Every request frame the export sends is answered by
// one batch of deliveries, read from the input right when the request goes
// out:
//   batch    := count(1) delivery*            count % 4 deliveries
//   delivery := kind(1) ...                    kind % kDeliveryKinds
//     answer    code(1) len(2) payload          frame answering the request
//     forged    main(1) sub(1) code(1) seq_delta(1) len(2) payload
//     raw       len(2) bytes                    bytes as they are
//     tampered  code(1) package_type(1) total(4) payload_length(4) len(2) payload
//     event     type(1)                         a transport event, no bytes
//     pair      code(1) len(2) payload          the answer twice in one delivery
// Numbers are big-endian. Reading past the end of the input gives zeros and
// empty byte runs, so every input is valid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qz::fuzz {

enum class Action : uint8_t {
  connect,
  disconnect,
  machine_config,
  machine_info,
  ip_set,
  ip_get,
  sn_get,
  account_set,
  account_get,
  power_status_set,
  power_status_get,
  domain_set,
  domain_get,
  visual_ip_set,
  visual_ip_get,
  visual_user_set,
  visual_user_get,
  visual_passwd_set,
  visual_passwd_get,
  visual_sn_set,
  zoom_set,
  zoom_get,
  preset_set,
  preset_get,
  mqtt_work_set,
  mqtt_work_get,
  mqtt_ip_set,
  mqtt_ip_get,
  mqtt_port_set,
  mqtt_port_get,
  mqtt_user_set,
  mqtt_user_get,
  mqtt_passwd_set,
  mqtt_passwd_get,
  gb28181_set,
  gb28181_get,
  switch_set,   // args[0] picks the switch, args[1] on or off
  switch_get,   // from the session
  numeric_set,  // args[0] picks the setting, args[1..4] the value
  numeric_get,  // from the session
  system_time_set,
  watchdog_set,  // args[0] picks the setting
  watchdog_get,
  temperature_set,
  temperature_get,
  osd_set,
  osd_get,
  channel_name_set,
  channel_info_get,
  osd_restore,
  reboot,
  keep_alive,
  vendor_set,
  vendor_get,
  unsolicited,  // a batch delivered with no request outstanding
  count
};
inline constexpr std::size_t kActionCount = static_cast<std::size_t>(Action::count);
inline constexpr std::size_t kArgCount = 8;

enum class Delivery : uint8_t { answer, forged, raw, tampered, event, pair, count };
inline constexpr std::size_t kDeliveryKinds = static_cast<std::size_t>(Delivery::count);
inline constexpr std::size_t kMaxBatch = 3;

// Reads the input front to back; past the end it yields zeros.
class InputReader {
 public:
  InputReader(const uint8_t *data, std::size_t size) : data_(data), size_(size) {}

  bool done() const { return pos_ >= size_; }
  uint8_t u8() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint16_t u16() {
    const uint8_t high = u8();  // operands of | are not sequenced: read in order
    return static_cast<uint16_t>(high << 8 | u8());
  }
  uint32_t u32() {
    const uint16_t high = u16();
    return uint32_t{high} << 16 | u16();
  }
  // Up to n bytes, fewer at the end of the input.
  std::basic_string_view<uint8_t> bytes(std::size_t n) {
    const std::size_t take = n < size_ - pos_ ? n : size_ - pos_;
    std::basic_string_view<uint8_t> out(data_ + pos_, take);
    pos_ += take;
    return out;
  }

 private:
  const uint8_t *data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

// Writes inputs for the corpus, mirroring InputReader.
class InputWriter {
 public:
  InputWriter &step(Action action, std::vector<uint8_t> args = {}) {
    args.resize(kArgCount, 0);
    u8(static_cast<uint8_t>(action));
    out_.insert(out_.end(), args.begin(), args.end());
    return *this;
  }
  InputWriter &batch(uint8_t count) { return u8(count); }
  InputWriter &answer(const std::vector<uint8_t> &payload, uint8_t code = 0) {
    u8(static_cast<uint8_t>(Delivery::answer)).u8(code);
    return blob(payload);
  }
  InputWriter &forged(uint8_t main, uint8_t sub, uint8_t code, int8_t seq_delta,
                      const std::vector<uint8_t> &payload) {
    u8(static_cast<uint8_t>(Delivery::forged)).u8(main).u8(sub).u8(code).u8(static_cast<uint8_t>(seq_delta));
    return blob(payload);
  }
  InputWriter &raw(const std::vector<uint8_t> &bytes) {
    u8(static_cast<uint8_t>(Delivery::raw));
    return blob(bytes);
  }
  InputWriter &tampered(uint8_t code, uint8_t package_type, uint32_t total, uint32_t payload_length,
                        const std::vector<uint8_t> &payload) {
    u8(static_cast<uint8_t>(Delivery::tampered)).u8(code).u8(package_type).u32(total).u32(payload_length);
    return blob(payload);
  }
  InputWriter &event(uint8_t type) { return u8(static_cast<uint8_t>(Delivery::event)).u8(type); }
  InputWriter &pair(const std::vector<uint8_t> &payload, uint8_t code = 0) {
    u8(static_cast<uint8_t>(Delivery::pair)).u8(code);
    return blob(payload);
  }
  // One request answered by one frame with `payload`.
  InputWriter &answered(Action action, const std::vector<uint8_t> &payload, std::vector<uint8_t> args = {}) {
    return step(action, std::move(args)).batch(1).answer(payload);
  }

  const std::vector<uint8_t> &bytes() const { return out_; }

 private:
  InputWriter &u8(uint8_t v) {
    out_.push_back(v);
    return *this;
  }
  InputWriter &u32(uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) u8(static_cast<uint8_t>(v >> shift));
    return *this;
  }
  InputWriter &blob(const std::vector<uint8_t> &bytes) {
    const std::size_t n = bytes.size() < 0xFFFF ? bytes.size() : 0xFFFF;
    u8(static_cast<uint8_t>(n >> 8)).u8(static_cast<uint8_t>(n));
    out_.insert(out_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
    return *this;
  }

  std::vector<uint8_t> out_;
};

}  // namespace qz::fuzz
