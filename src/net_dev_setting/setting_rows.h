// The device's simple settings as table rows: settings that travel as one
// byte and length-prefixed texts. A family describes each of its settings in
// one row, and its exports are one line over the row; the answers to the
// queries of the rows are parsed by the main 169 dispatcher.
#pragma once

#include <cstdint>
#include <span>

#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

// How a one-byte value is kept or handed on: as it is, or 1 exactly when it
// is 1 (else 0).
enum class ByteForm : uint8_t { raw, flag };

// What the exports of a setting report.
enum class Outcome : uint8_t {
  // Whether the exchange succeeded; a failed get leaves its outputs alone.
  exchange,
  // Only whether the arguments were usable: a failed exchange shows in the
  // log alone, and a failed get reports an empty text or 0.
  arguments,
};

// The cache member of a one-byte setting: a byte, or a 32-bit value of which
// only the low byte travels.
class ByteField {
 public:
  constexpr ByteField(uint8_t DeviceStateCache::*byte) : byte_(byte) {}
  constexpr ByteField(int32_t DeviceStateCache::*wide) : wide_(wide) {}
  int32_t read(const DeviceStateCache &cache) const { return byte_ != nullptr ? cache.*byte_ : cache.*wide_; }
  void write(DeviceStateCache &cache, int32_t value) const {
    if (byte_ != nullptr) {
      cache.*byte_ = static_cast<uint8_t>(value);
    } else {
      cache.*wide_ = value;
    }
  }

 private:
  uint8_t DeviceStateCache::*byte_ = nullptr;
  int32_t DeviceStateCache::*wide_ = nullptr;
};

// A setting without a query: the set export remembers the value the device
// accepted, and the get export answers from the session alone.
inline constexpr uint8_t kCached = 0;

// A setting that travels as one byte.
struct ByteSetting {
  uint8_t set_sub;
  uint8_t query_sub = kCached;        // or the sub of the query the get export sends
  ByteField field;                    // the remembered value, or where a query's answer is parsed to
  ByteForm sent = ByteForm::raw;      // the set export's byte on the wire
  ByteForm stored = ByteForm::raw;    // a query's answer in the cache
  ByteForm reported = ByteForm::raw;  // a query's answer to the caller
  // The set export's line when the device does not take the value (with %d
  // for the value), and the one for a 0 where it differs; null: none.
  const char *failed = nullptr;
  const char *off_failed = nullptr;
  Outcome outcome = Outcome::exchange;
  uint8_t main = wire::kMainSetting;
};

// A length-prefixed text under main 169, set and queried with its own subs.
struct TextSetting {
  uint8_t set_sub;
  uint8_t query_sub;
  ByteString DeviceStateCache::*field;
  Outcome outcome = Outcome::exchange;
};

// Export bodies. `function` names the export in its failure line.
bool set_byte(qz_nds_handle handle, const ByteSetting &row, int32_t value, const char *function);
// The value a get export reports: the remembered one, or the answer to this
// call's own query.
bool read_byte(NetDevSetting &session, const ByteSetting &row, int32_t &value);
// 32-bit values are handed out as their bit pattern.
template <class Out>
bool get_byte(qz_nds_handle handle, const ByteSetting &row, Out *out) {
  return with_session(handle, [&](NetDevSetting &s) {
    int32_t value = 0;
    if (out == nullptr || !read_byte(s, row, value)) return false;
    *out = static_cast<Out>(value);
    return true;
  });
}
bool set_text(qz_nds_handle handle, const TextSetting &row, const char *text);
// Copies the text, without a terminator, and sets *len to its size.
bool get_text(qz_nds_handle handle, const TextSetting &row, char *buffer, uint32_t *len);

// Parser of a main 169 answer that no row describes, keyed by sub command.
using SettingParser = bool (*)(DeviceStateCache &cache, const wire::FrameView &frame);
struct SettingParserEntry {
  uint8_t sub;
  SettingParser parse;
};

// What a family hands the main 169 dispatcher: its rows with queries and the
// parsers of its other answers.
struct SettingFamily {
  std::span<const ByteSetting> bytes;
  std::span<const TextSetting> texts;
  std::span<const SettingParserEntry> parsers;
};
extern const SettingFamily kIpSettings;
extern const SettingFamily kVisualLinkSettings;
extern const SettingFamily kMqttSettings;
extern const SettingFamily kGb28181Settings;
extern const SettingFamily kWatchdogSettings;
extern const SettingFamily kTemperatureSettings;
extern const SettingFamily kDeviceControlSettings;

// Stores the answer to a row's query (transport thread, cache lock held).
bool store_byte_answer(DeviceStateCache &cache, const wire::FrameView &frame, const ByteSetting &row);

}  // namespace qz::nds
