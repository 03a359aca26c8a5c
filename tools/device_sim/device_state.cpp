#include "device_state.h"

#include <limits>
#include <set>

namespace qz::sim {

namespace {

using nlohmann::json;

// The key of a time block's text: the block's key and this.
constexpr const char *kTimeTextSuffix = "_text";

// True when the JSON serialiser accepts the text as it is (valid UTF-8).
bool dumps_as_string(const std::string &text) {
  try {
    (void)json(text).dump();
    return true;
  } catch (const json::type_error &) {
    return false;
  }
}

json text_to_json(const std::string &text) {
  if (dumps_as_string(text)) return text;
  return json{{"hex", to_hex(reinterpret_cast<const uint8_t *>(text.data()), text.size())}};
}

// Writes every field into a JSON object.
class ToJson {
 public:
  explicit ToJson(json &out) : out_(out) {}
  template <class T>
  void number(const char *key, T &value) {
    out_[key] = value;
  }
  void text(const char *key, std::string &value, std::size_t) { out_[key] = text_to_json(value); }
  void bytes(const char *key, std::vector<uint8_t> &value, std::size_t) {
    out_[key] = to_hex(value.data(), value.size());
  }
  void time_block(const char *key, SystemTimeBlock &value) {
    out_[key] = to_hex(value.data(), value.size());
    const std::string text = system_time_text(value);
    out_[std::string(key) + kTimeTextSuffix] = text.empty() ? json(nullptr) : json(text);
  }
  template <std::size_t N>
  void texts(const char *key, std::array<std::string, N> &values, std::size_t) {
    json list = json::array();
    for (const auto &t : values) list.push_back(text_to_json(t));
    out_[key] = list;
  }
  template <std::size_t N>
  void osd_items(const char *key, std::array<OsdItem, N> &items) {
    json list = json::array();
    for (const auto &it : items) {
      list.push_back({{"display", it.display},
                      {"attribute", it.attribute},
                      {"value1", it.value1},
                      {"value2", it.value2}});
    }
    out_[key] = list;
  }

 private:
  json &out_;
};

// Reads the fields present in a JSON object, checking type and size. Stops
// at the first error.
class FromJson {
 public:
  FromJson(const json &in, std::string &error) : in_(in), error_(error) {}
  bool ok() const { return ok_; }

  // After every field was visited: a key that named none is a mistake (a
  // misspelt key would otherwise leave its field at the default unnoticed).
  void refuse_unknown_keys(const std::string &where = "") {
    for (const auto &item : in_.items()) {
      if (!ok_ || known_.contains(item.key())) continue;
      ok_ = false;
      error_ = where + "unknown key \"" + item.key() + "\"";
    }
  }

  template <class T>
  void number(const char *key, T &value) {
    const json *j = find(key);
    if (j) read_number(key, *j, value);
  }
  void text(const char *key, std::string &value, std::size_t max) {
    const json *j = find(key);
    if (j) read_text(key, *j, value, max);
  }
  void bytes(const char *key, std::vector<uint8_t> &value, std::size_t max) {
    const json *j = find(key);
    if (!j) return;
    std::vector<uint8_t> parsed;
    if (!j->is_string() || !from_hex(j->get<std::string>(), parsed)) return fail(key, "expects a hex string");
    if (parsed.size() > max) return fail(key, "is longer than " + std::to_string(max) + " bytes");
    value = std::move(parsed);
  }
  // The block only: its text is derived from it.
  void time_block(const char *key, SystemTimeBlock &value) {
    known_.insert(std::string(key) + kTimeTextSuffix);
    std::vector<uint8_t> parsed(value.begin(), value.end());
    bytes(key, parsed, value.size());
    if (!ok_ || !find(key)) return;
    if (parsed.size() != value.size())
      return fail(key, "expects exactly " + std::to_string(value.size()) + " bytes");
    std::copy(parsed.begin(), parsed.end(), value.begin());
  }
  template <std::size_t N>
  void texts(const char *key, std::array<std::string, N> &values, std::size_t max) {
    const json *j = find(key);
    if (!j) return;
    if (!j->is_array() || j->size() != N)
      return fail(key, "expects a list of " + std::to_string(N) + " texts");
    for (std::size_t i = 0; i < N && ok_; ++i) read_text(key, (*j)[i], values[i], max);
  }
  template <std::size_t N>
  void osd_items(const char *key, std::array<OsdItem, N> &items) {
    const json *j = find(key);
    if (!j) return;
    if (!j->is_array() || j->size() != N)
      return fail(key, "expects a list of " + std::to_string(N) + " items");
    for (std::size_t i = 0; i < N && ok_; ++i) {
      const json &item = (*j)[i];
      if (!item.is_object()) return fail(key, "expects objects");
      FromJson sub(item, error_);
      sub.number("display", items[i].display);
      sub.number("attribute", items[i].attribute);
      sub.number("value1", items[i].value1);
      sub.number("value2", items[i].value2);
      sub.refuse_unknown_keys(std::string("\"") + key + "\" item " + std::to_string(i) + ": ");
      ok_ = sub.ok();
    }
  }

 private:
  const json *find(const char *key) {
    if (!ok_) return nullptr;
    known_.insert(key);
    auto it = in_.find(key);
    return it == in_.end() ? nullptr : &*it;
  }
  template <class T>
  void read_number(const char *key, const json &j, T &value) {
    if (!j.is_number_integer()) return fail(key, "expects an integer");
    if (j.is_number_unsigned()) {
      const auto v = j.get<uint64_t>();
      if (v > std::numeric_limits<T>::max()) return fail(key, "is out of range");
      value = static_cast<T>(v);
      return;
    }
    const auto v = j.get<int64_t>();
    if (v < 0 || static_cast<uint64_t>(v) > std::numeric_limits<T>::max())
      return fail(key, "is out of range");
    value = static_cast<T>(v);
  }
  void read_text(const char *key, const json &j, std::string &value, std::size_t max) {
    std::string parsed;
    if (j.is_string()) {
      parsed = j.get<std::string>();
    } else if (j.is_object() && j.size() == 1 && j.contains("hex") && j["hex"].is_string()) {
      std::vector<uint8_t> raw;
      if (!from_hex(j["hex"].get<std::string>(), raw)) return fail(key, "holds bad hex");
      parsed.assign(raw.begin(), raw.end());
    } else {
      return fail(key, "expects a text or {\"hex\": ...}");
    }
    if (parsed.size() > max) return fail(key, "is longer than " + std::to_string(max) + " bytes");
    value = std::move(parsed);
  }
  void fail(const char *key, const std::string &what) {
    if (!ok_) return;
    ok_ = false;
    error_ = std::string("\"") + key + "\" " + what;
  }

  const json &in_;
  std::string &error_;
  bool ok_ = true;
  std::set<std::string> known_;  // the keys asked for
};

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::array<OsdItem, kOsdItemCount> DeviceState::default_osd_items() {
  // Items 0 to 4 shown along the top edge, the channel name (8) bottom left.
  std::array<OsdItem, kOsdItemCount> items{};
  for (std::size_t i = 0; i < kOsdItemCount; ++i) {
    items[i].display = i < 5 ? 1 : 0;
    items[i].value1 = static_cast<uint16_t>(16 + 120 * (i % 5));
    items[i].value2 = static_cast<uint16_t>(16 + 32 * (i / 5));
  }
  items[8] = OsdItem{1, 0, 16, 480};
  return items;
}

nlohmann::json state_to_json(const DeviceState &state) {
  json out = json::object();
  DeviceState copy = state;
  ToJson writer(out);
  visit_fields(copy, writer);
  return out;
}

bool state_from_json(const nlohmann::json &json_in, DeviceState &state, std::string &error) {
  if (!json_in.is_object()) {
    error = "the state must be a JSON object";
    return false;
  }
  DeviceState next = state;
  FromJson reader(json_in, error);
  visit_fields(next, reader);
  reader.refuse_unknown_keys();
  if (!reader.ok()) return false;
  state = std::move(next);
  return true;
}

std::string to_hex(const uint8_t *data, std::size_t size, std::size_t max_bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const std::size_t n = size < max_bytes ? size : max_bytes;
  std::string out;
  out.reserve(n * 2 + 3);
  for (std::size_t i = 0; i < n; ++i) {
    out.push_back(kDigits[data[i] >> 4]);
    out.push_back(kDigits[data[i] & 0x0F]);
  }
  if (n < size) out += "...";
  return out;
}

bool from_hex(std::string_view text, std::vector<uint8_t> &out) {
  std::vector<uint8_t> bytes;
  int high = -1;
  for (char c : text) {
    if (c == ' ' || c == ':' || c == '-') continue;  // separators some people type
    const int d = hex_digit(c);
    if (d < 0) return false;
    if (high < 0) {
      high = d;
    } else {
      bytes.push_back(static_cast<uint8_t>(high << 4 | d));
      high = -1;
    }
  }
  if (high >= 0) return false;
  out = std::move(bytes);
  return true;
}

}  // namespace qz::sim
