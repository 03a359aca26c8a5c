#include "catalogue.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "device_limits.h"
#include "qz_nds_ext.h"

namespace qz::config {

namespace {

namespace lim = wire::limits;

using Toggle = bool (*)(qz_nds_handle);
using GetByte = bool (*)(qz_nds_handle, uint8_t *);
using SetByte = bool (*)(qz_nds_handle, uint8_t);
using SetSigned = bool (*)(qz_nds_handle, int32_t);
using GetBits = bool (*)(qz_nds_handle, uint32_t *);
using SetText = bool (*)(qz_nds_handle, const char *);
using GetText = bool (*)(qz_nds_handle, char *, uint32_t *);

// The text getters write as many bytes as the device sent, with no capacity
// argument; the transport delivers frames of at most 1 MiB, so no text is
// longer than this. One buffer per thread serves every read.
constexpr std::size_t kTextBufferSize = std::size_t{1} << 20;
// What a link text may be on the wire (the device keeps fewer, lim::kLinkTextMax).
constexpr std::size_t kLinkTextMax = 1024;
constexpr std::size_t kGbBuffer = 64;
constexpr std::size_t kChannelBuffer = 256;
constexpr std::size_t kAccountInfoMax = std::size_t{1} << 20;
constexpr std::size_t kAccountFirstTry = 4096;
constexpr int kOsdItems = 12;
constexpr int kChannelNameItem = 8;
constexpr long long kU8Max = 255;
constexpr long long kU16Max = 65535;
constexpr long long kU32Max = std::numeric_limits<uint32_t>::max();

constexpr std::string_view kSwitches = "Feature switches";
constexpr std::string_view kNumbers = "Numeric settings";
constexpr std::string_view kTime = "System time";
constexpr std::string_view kIp = "IP settings";
constexpr std::string_view kVisual = "Visual camera link";
constexpr std::string_view kMqtt = "MQTT broker";
constexpr std::string_view kGb28181 = "GB/T 28181 platform";
constexpr std::string_view kWatchdog = "Hardware watchdog";
constexpr std::string_view kTemperature = "Temperature options";
constexpr std::string_view kOsd = "OSD items and channel name";
constexpr std::string_view kAccount = "Account info";
constexpr std::string_view kWireless = "Passive wireless";
constexpr std::string_view kVendor = "Vendor flags";

std::string range(long long lo, long long hi) {
  return std::to_string(lo) + ".." + std::to_string(hi);
}
const std::string kLinkCounts = range(0, lim::kLinkCountMax);
const std::string kFramerates = range(lim::kFramerateMin, lim::kFramerateMax);
const std::string kPalettes = range(0, lim::kPaletteMax);
const std::string kLensMethods = range(0, lim::kLensMethodMax);

Field boolean(std::string name = {}) {
  return Field{std::move(name), Type::boolean};
}
Field integer(long long lo, long long hi, std::string name = {}) {
  return Field{std::move(name), Type::integer, lo, hi};
}
Field text_field(std::size_t max_length, std::string name = {}) {
  return Field{std::move(name), Type::text, 0, 0, max_length};
}

std::string what(std::string_view verb, std::string_view name) {
  return std::string(verb) + " " + std::string(name);
}

std::string label(std::string_view name, std::string_view member) {
  return std::string(name) + "." + std::string(member);
}

// Bytes up to the first NUL of a buffer of `size`, at most `size`.
std::string terminated(const char *buffer, std::size_t size) {
  return std::string(buffer, strnlen(buffer, size));
}

// The members of an object value, checked against the setting's fields: an
// object with no member the setting lacks, and every member in `required`.
const Json &members(const Json &value, const Setting &s, std::initializer_list<std::string_view> required) {
  if (!value.is_object()) bad_value(s.name, value, "an object");
  for (const auto &[key, item] : value.items()) {
    const bool known =
        std::any_of(s.fields.begin(), s.fields.end(), [&, k = key](const Field &f) { return f.name == k; });
    if (!known)
      throw Failure(QZ_NDSX_BAD_ARGUMENT, "bad value for " + s.name + ": no member \"" + key + "\"");
  }
  for (auto name : required) {
    if (!value.contains(name))
      throw Failure(QZ_NDSX_BAD_ARGUMENT,
                    "bad value for " + s.name + ": \"" + std::string(name) + "\" is missing");
  }
  return value;
}

const Field &field_of(const Setting &s, std::string_view name) {
  return *std::find_if(s.fields.begin(), s.fields.end(), [&](const Field &f) { return f.name == name; });
}

// One member read by its field's form; `fallback` when the member is absent.
long long member_integer(const Json &v, const Setting &s, std::string_view name, long long fallback = 0) {
  const Field &f = field_of(s, name);
  return v.contains(name) ? integer_value(v[std::string(name)], f.min, f.max, label(s.name, name)) : fallback;
}
std::string member_text(const Json &v, const Setting &s, std::string_view name) {
  const Field &f = field_of(s, name);
  return v.contains(name) ? text_value(v[std::string(name)], f.max_length, label(s.name, name))
                          : std::string();
}
bool member_bool(const Json &v, const Setting &s, std::string_view name) {
  return v.contains(name) && bool_value(v[std::string(name)], label(s.name, name));
}

// ---- Settings of one value ------------------------------------------------------

// Reads one value through a getter's out-parameter and shows it as `shown`
// makes it.
template <class T, class Shown>
std::function<Json(Session &)> reader(std::string name, bool (*get)(qz_nds_handle, T *), Shown shown) {
  return [name = std::move(name), get, shown](Session &d) {
    T value{};
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, &value); });
    return Json(shown(value));
  };
}

// A checked value `shown` as documents show it, written as `arg` through `set`.
template <class Arg, class Set>
Prepared write_of(const std::string &name, Json shown, Arg arg, Set set) {
  return Prepared{shown, shown, [=](Session &d) {
                    d.call(what("set", name), [&](qz_nds_handle h) { return set(h, arg); });
                  }};
}

bool nonzero(uint8_t value) {
  return value != 0;
}

// A feature with enable and disable exports and a 0/1 getter.
Setting toggle(std::string name, std::string_view family, std::string help, Toggle on, Toggle off, GetByte is,
               bool cached) {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .help = std::move(help),
            .form = boolean(),
            .cached = cached};
  s.get = reader(s.name, is, nonzero);
  s.prepare = [name = s.name, on, off](const Json &v) {
    const bool enable = bool_value(v, name);
    return Prepared{enable, enable, [=](Session &d) { d.call(what("set", name), enable ? on : off); }};
  };
  return s;
}

// An on/off flag written as one byte (1 or 0) and read back as 0/1.
Setting flag(std::string name, std::string_view family, std::string help, SetByte set, GetByte get) {
  Setting s{
      .name = std::move(name), .family = std::string(family), .help = std::move(help), .form = boolean()};
  s.get = reader(s.name, get, nonzero);
  s.prepare = [name = s.name, set](const Json &v) {
    const bool enable = bool_value(v, name);
    return write_of(name, enable, static_cast<uint8_t>(enable ? 1 : 0), set);
  };
  return s;
}

// One unsigned byte.
Setting byte(std::string name, std::string_view family, std::string help, SetByte set, GetByte get,
             bool cached, std::string accepts = "") {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .help = std::move(help),
            .form = integer(0, kU8Max),
            .device_accepts = std::move(accepts),
            .cached = cached};
  s.get = reader(s.name, get, [](uint8_t value) { return value; });
  s.prepare = [name = s.name, set](const Json &v) {
    const auto value = static_cast<uint8_t>(integer_value(v, 0, kU8Max, name));
    return write_of(name, value, value, set);
  };
  return s;
}

// A 32-bit value of which only the low byte travels; the record brings it
// back as a signed byte, so the signed byte range is what round-trips.
Setting signed_byte(std::string name, std::string_view family, std::string help, SetSigned set, GetBits get,
                    std::string accepts) {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .help = std::move(help),
            .form = integer(-128, 127),
            .device_accepts = std::move(accepts),
            .cached = true};
  s.get = reader(s.name, get, [](uint32_t bits) { return static_cast<int32_t>(bits); });
  s.prepare = [name = s.name, set](const Json &v) {
    const auto value = static_cast<int32_t>(integer_value(v, -128, 127, name));
    return write_of(name, value, value, set);
  };
  return s;
}

// A text of the linked equipment, asked from the device on every read.
Setting text(std::string name, std::string_view family, std::string help, SetText set, GetText get,
             bool secret = false) {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .help = std::move(help),
            .form = text_field(kLinkTextMax),
            .device_accepts = "texts of up to " + std::to_string(lim::kLinkTextMax) + " bytes",
            .secret = secret};
  s.get = [name = s.name, get](Session &d) {
    // Not zeroed: only the pages the texts fill become resident, not 1 MiB
    // for every thread that reads one (a tool working on 64 devices at once).
    thread_local const auto buffer = std::make_unique_for_overwrite<char[]>(kTextBufferSize);
    uint32_t len = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, buffer.get(), &len); });
    return text_json(std::string_view(buffer.get(), std::min<std::size_t>(len, kTextBufferSize)));
  };
  s.prepare = [name = s.name, set](const Json &v) {
    std::string value = text_value(v, kLinkTextMax, name);
    return Prepared{text_json(value), text_json(value), [=](Session &d) {
                      d.call(what("set", name), [&](qz_nds_handle h) { return set(h, value.c_str()); });
                    }};
  };
  return s;
}

// ---- Settings with several values -----------------------------------------------

Setting ip_info() {
  Setting s{.name = "ip_info",
            .family = std::string(kIp),
            .help =
                "IP settings flag and five texts (e.g. 192.168.1.64 255.255.255.0 192.168.1.1 192.168.1.1 "
                "8.8.8.8); the texts travel only with flag 1",
            .form = {.type = Type::object},
            .fields = {integer(0, 1, "flag")}};
  for (std::size_t i = 1; i <= lim::kIpTextCount; ++i)
    s.fields.push_back(text_field(lim::kIpTextMax, "text" + std::to_string(i)));
  s.get = [](Session &d) {
    uint8_t flag = 0;
    char texts[lim::kIpTextCount][lim::kIpTextMax + 1] = {};
    d.call("get ip_info", [&](qz_nds_handle h) {
      return qz_nds_get_ip_info(h, &flag, texts[0], texts[1], texts[2], texts[3], texts[4]);
    });
    Json value{{"flag", flag}};
    for (std::size_t i = 0; i < lim::kIpTextCount; ++i)
      value["text" + std::to_string(i + 1)] = text_json(terminated(texts[i], lim::kIpTextMax));
    return value;
  };
  s.prepare = [s](const Json &v) {
    members(v, s, {"flag"});
    const bool flag = member_integer(v, s, "flag") == 1;
    if (!flag) {
      return Prepared{Json{{"flag", 0}}, Json{{"flag", 0}}, [](Session &d) {
                        d.call("set ip_info", [](qz_nds_handle h) {
                          return qz_nds_set_ip_info(h, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
                        });
                      }};
    }
    members(v, s, {"text1", "text2", "text3", "text4", "text5"});
    std::vector<std::string> texts;
    Json value{{"flag", 1}};
    for (std::size_t i = 1; i <= lim::kIpTextCount; ++i) {
      const std::string key = "text" + std::to_string(i);
      texts.push_back(member_text(v, s, key));
      value[key] = text_json(texts.back());
    }
    return Prepared{value, value, [texts](Session &d) {
                      d.call("set ip_info", [&](qz_nds_handle h) {
                        return qz_nds_set_ip_info(h, 1, texts[0].c_str(), texts[1].c_str(), texts[2].c_str(),
                                                  texts[3].c_str(), texts[4].c_str());
                      });
                    }};
  };
  return s;
}

Setting visual_sn() {
  Setting s{.name = "visual_sn",
            .family = std::string(kVisual),
            .help =
                "visual camera support, same-IP flag and serial number; a supported camera on an IP of "
                "its own needs its serial number (write only)",
            .form = {.type = Type::object},
            .fields = {boolean("support"), boolean("same_ip"), text_field(lim::kVisualSnMax, "sn")}};
  s.prepare = [s](const Json &v) {
    members(v, s, {"support", "same_ip"});
    const bool support = member_bool(v, s, "support");
    const bool same_ip = member_bool(v, s, "same_ip");
    std::string sn = member_text(v, s, "sn");
    if (support && !same_ip && sn.empty()) {
      throw Failure(QZ_NDSX_BAD_ARGUMENT,
                    "bad value for visual_sn: a supported camera on an IP of its own needs its serial number "
                    "(support true, same_ip false, sn missing)");
    }
    Json value{{"support", support}, {"same_ip", same_ip}, {"sn", text_json(sn)}};
    return Prepared{value, nullptr, [=](Session &d) {
                      d.call("set visual_sn", [&](qz_nds_handle h) {
                        return qz_nds_set_visual_sn(h, support ? 1 : 0, same_ip ? 1 : 0,
                                                    sn.empty() ? nullptr : sn.data(),
                                                    static_cast<uint32_t>(sn.size()));
                      });
                    }};
  };
  return s;
}

Setting mqtt_port() {
  Setting s{.name = "mqtt_port",
            .family = std::string(kMqtt),
            .help = "MQTT broker port",
            .form = integer(1, kU16Max)};
  s.get = reader(s.name, qz_nds_get_mqtt_port, [](uint32_t port) { return port; });
  s.prepare = [](const Json &v) {
    const auto port = static_cast<uint32_t>(integer_value(v, 1, kU16Max, "mqtt_port"));
    return write_of("mqtt_port", port, port, qz_nds_set_mqtt_port);
  };
  return s;
}

Setting gb28181() {
  Setting s{.name = "gb28181",
            .family = std::string(kGb28181),
            .help = "GB/T 28181 platform parameters: enable, four texts and the port",
            .form = {.type = Type::object},
            .fields = {boolean("enable"), text_field(lim::kGb28181TextMax, "text1"),
                       integer(0, kU16Max, "port"), text_field(lim::kGb28181TextMax, "text2"),
                       text_field(lim::kGb28181TextMax, "text3"), text_field(lim::kGb28181TextMax, "text4")}};
  s.get = [](Session &d) {
    uint8_t enable = 0;
    uint16_t port = 0;
    char texts[4][kGbBuffer] = {};
    d.call("get gb28181", [&](qz_nds_handle h) {
      return qz_nds_28181_get_para(h, &enable, texts[0], &port, texts[1], texts[2], texts[3]);
    });
    return Json{{"enable", enable != 0},
                {"text1", text_json(terminated(texts[0], kGbBuffer))},
                {"port", port},
                {"text2", text_json(terminated(texts[1], kGbBuffer))},
                {"text3", text_json(terminated(texts[2], kGbBuffer))},
                {"text4", text_json(terminated(texts[3], kGbBuffer))}};
  };
  s.prepare = [s](const Json &v) {
    members(v, s, {"enable"});
    if (!member_bool(v, s, "enable")) {
      // A disabled platform: parameters given are checked, then left out of
      // the write and the comparison.
      for (const char *text : {"text1", "text2", "text3", "text4"}) member_text(v, s, text);
      member_integer(v, s, "port");
      return Prepared{Json{{"enable", false}}, Json{{"enable", false}}, [](Session &d) {
                        d.call("set gb28181", [](qz_nds_handle h) {
                          return qz_nds_28181_set_para(h, 0, "", 0, "", "", "");
                        });
                      }};
    }
    members(v, s, {"text1", "port", "text2", "text3", "text4"});
    const std::string t1 = member_text(v, s, "text1");
    const auto port = static_cast<uint16_t>(member_integer(v, s, "port"));
    if (port == 0) bad_value("gb28181.port", v["port"], "an integer in 1..65535");
    const std::string t2 = member_text(v, s, "text2");
    const std::string t3 = member_text(v, s, "text3");
    const std::string t4 = member_text(v, s, "text4");
    Json value{{"enable", true},         {"text1", text_json(t1)}, {"port", port},
               {"text2", text_json(t2)}, {"text3", text_json(t3)}, {"text4", text_json(t4)}};
    return Prepared{value, value, [=](Session &d) {
                      d.call("set gb28181", [&](qz_nds_handle h) {
                        return qz_nds_28181_set_para(h, 1, t1.c_str(), port, t2.c_str(), t3.c_str(),
                                                     t4.c_str());
                      });
                    }};
  };
  return s;
}

Setting system_time() {
  Setting s{.name = "system_time",
            .family = std::string(kTime),
            .help = "sets the device clock from the local clock (\"now\") or a given local time (write only)",
            .form = {.type = Type::time}};
  s.prepare = [](const Json &v) {
    std::string shown;
    const wire::SystemTimeBlock block = system_time_value(v, "system_time", shown);
    Json value = shown.empty() ? Json("hex:" + to_hex(block.data(), block.size())) : Json(shown);
    return Prepared{value, nullptr, [=](Session &d) {
                      d.call("set system_time",
                             [&](qz_nds_handle h) { return qz_nds_set_system_time(h, block.data()); });
                    }};
  };
  return s;
}

Json account_json(const std::string &bytes) {
  Json value{{"size", bytes.size()}};
  const Json text = text_json(bytes);
  if (text.is_string()) value["text"] = text;
  value["hex"] = to_hex(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  return value;
}

// The device's account info. The first read offers a small buffer; when the
// info is larger the session reports its size and the read is repeated with
// a buffer of that size.
std::string get_account_info(Session &d) {
  std::vector<uint8_t> data(kAccountFirstTry);
  for (int attempt = 0; attempt < 3; ++attempt) {
    const auto capacity = static_cast<uint32_t>(data.size());
    uint32_t len = capacity;
    bool fitted = false;
    d.call("get account_info", [&](qz_nds_handle h) {
      len = capacity;
      fitted = qz_nds_get_account_info(h, data.data(), &len);
      return fitted || len > capacity;
    });
    if (fitted) return std::string(data.begin(), data.begin() + len);
    if (len > kAccountInfoMax) {
      throw Failure(QZ_NDSX_BAD_ANSWER, "get account_info: the device reports " + std::to_string(len) +
                                            " bytes, more than the " + std::to_string(kAccountInfoMax) +
                                            " accepted");
    }
    data.resize(len);
  }
  throw Failure(QZ_NDSX_BAD_ANSWER, "get account_info: the size changed between reads");
}

Setting account_info() {
  Setting s{
      .name = "account_info",
      .family = std::string(kAccount),
      .help = "the device's account information block, opaque bytes ({\"hex\": ...} or {\"text\": ...})",
      .form = {.type = Type::bytes, .max_length = kAccountInfoMax},
      .confirm_by_reading = true,
      .secret = true};
  s.get = [](Session &d) { return account_json(get_account_info(d)); };
  s.prepare = [](const Json &v) {
    std::string bytes;
    const bool as_hex = v.is_object() && v.contains("hex") && v["hex"].is_string();
    if (as_hex && !from_hex(v["hex"].get<std::string>(), bytes))
      bad_value("account_info.hex", v["hex"], "an even number of hex digits");
    if (!as_hex) {
      if (!(v.is_object() && v.contains("text")))
        bad_value("account_info", v, "{\"hex\": ...} or {\"text\": ...}");
      bytes = text_value(v["text"], kAccountInfoMax, "account_info.text");
    }
    if (bytes.size() > kAccountInfoMax)
      bad_value("account_info", Json(bytes.size()), "at most " + std::to_string(kAccountInfoMax) + " bytes");
    const Json value = account_json(bytes);
    return Prepared{value, Json{{"hex", value["hex"]}}, [=](Session &d) {
                      d.call("set account_info", [&](qz_nds_handle h) {
                        return qz_nds_set_account_info(h, reinterpret_cast<const uint8_t *>(bytes.data()),
                                                       static_cast<uint32_t>(bytes.size()));
                      });
                    }};
  };
  return s;
}

Setting power_status() {
  Setting s{.name = "passive_wireless_power_status",
            .family = std::string(kWireless),
            .help = "the three passive wireless power status values",
            .form = {.type = Type::object},
            .fields = {integer(0, kU32Max, "status1"), integer(0, kU32Max, "status2"),
                       integer(0, kU32Max, "status3")},
            .cached = true,
            .set_needs_record = true,
            .confirm_by_reading = true};
  s.get = [](Session &d) {
    uint32_t v[3] = {};
    d.call("get passive_wireless_power_status",
           [&](qz_nds_handle h) { return qz_nds_get_passive_wireless_power_status(h, &v[0], &v[1], &v[2]); });
    return Json{{"status1", v[0]}, {"status2", v[1]}, {"status3", v[2]}};
  };
  s.prepare = [s](const Json &v) {
    members(v, s, {"status1", "status2", "status3"});
    const auto a = static_cast<uint32_t>(member_integer(v, s, "status1"));
    const auto b = static_cast<uint32_t>(member_integer(v, s, "status2"));
    const auto c = static_cast<uint32_t>(member_integer(v, s, "status3"));
    Json value{{"status1", a}, {"status2", b}, {"status3", c}};
    return Prepared{value, value, [=](Session &d) {
                      d.call("set passive_wireless_power_status", [&](qz_nds_handle h) {
                        return qz_nds_set_passive_wireless_power_status(h, &a, &b, &c);
                      });
                    }};
  };
  return s;
}

Setting domain() {
  Setting s{.name = "passive_wireless_domain",
            .family = std::string(kWireless),
            .help = "the passive wireless domain and its value",
            .form = {.type = Type::object},
            .fields = {text_field(lim::kDomainMax, "domain"), integer(0, kU32Max, "value")},
            .cached = true,
            .set_needs_record = true,
            .confirm_by_reading = true};
  s.get = [](Session &d) {
    char text[lim::kDomainMax + 1] = {};
    uint32_t value = 0;
    d.call("get passive_wireless_domain",
           [&](qz_nds_handle h) { return qz_nds_get_passive_wireless_domain(h, text, &value); });
    return Json{{"domain", text_json(terminated(text, lim::kDomainMax))}, {"value", value}};
  };
  s.prepare = [s](const Json &v) {
    members(v, s, {"domain", "value"});
    const std::string text = member_text(v, s, "domain");
    const auto number = static_cast<uint32_t>(member_integer(v, s, "value"));
    Json value{{"domain", text_json(text)}, {"value", number}};
    return Prepared{value, value, [=](Session &d) {
                      d.call("set passive_wireless_domain", [&](qz_nds_handle h) {
                        return qz_nds_set_passive_wireless_domain(h, text.c_str(), number);
                      });
                    }};
  };
  return s;
}

// The four values of an OSD item (after the name, for the channel).
struct OsdValues {
  bool display;
  uint8_t attribute;
  uint16_t value1;
  uint16_t value2;
};

std::vector<Field> osd_fields() {
  return {boolean("display"), integer(0, kU8Max, "attribute"), integer(0, kU16Max, "value1"),
          integer(0, kU16Max, "value2")};
}

OsdValues osd_values(const Json &v, const Setting &s) {
  members(v, s, {"display", "attribute", "value1", "value2"});
  return OsdValues{member_bool(v, s, "display"), static_cast<uint8_t>(member_integer(v, s, "attribute")),
                   static_cast<uint16_t>(member_integer(v, s, "value1")),
                   static_cast<uint16_t>(member_integer(v, s, "value2"))};
}

Json osd_json(bool display, uint8_t attribute, uint16_t value1, uint16_t value2) {
  return Json{{"display", display}, {"attribute", attribute}, {"value1", value1}, {"value2", value2}};
}

Setting osd_item(int id) {
  Setting s{.name = "osd_item_" + std::to_string(id),
            .family = std::string(kOsd),
            .help = "OSD item " + std::to_string(id),
            .form = {.type = Type::object},
            .fields = osd_fields(),
            .cached = true};
  s.get = [name = s.name, id](Session &d) {
    uint8_t display = 0, attribute = 0;
    uint16_t value1 = 0, value2 = 0;
    d.call(what("get", name), [&](qz_nds_handle h) {
      return qz_nds_get_osd_setting(h, id, &display, &attribute, &value1, &value2);
    });
    return osd_json(display != 0, attribute, value1, value2);
  };
  s.prepare = [s, id](const Json &v) {
    const OsdValues o = osd_values(v, s);
    const Json value = osd_json(o.display, o.attribute, o.value1, o.value2);
    return Prepared{value, value, [=, name = s.name](Session &d) {
                      d.call(what("set", name), [&](qz_nds_handle h) {
                        return qz_nds_set_osd_setting(h, id, o.display ? 1 : 0, o.attribute, o.value1,
                                                      o.value2);
                      });
                    }};
  };
  return s;
}

Setting channel_name() {
  Setting s{.name = "channel_name",
            .family = std::string(kOsd),
            .help = "the channel name and its OSD item (item 8)",
            .form = {.type = Type::object},
            .fields = osd_fields(),
            .cached = true};
  s.fields.insert(s.fields.begin(), text_field(lim::kChannelNameMax, "name"));
  s.get = [](Session &d) {
    char name[kChannelBuffer + 1] = {};
    uint8_t display = 0, attribute = 0;
    uint16_t value1 = 0, value2 = 0;
    d.call("get channel_name", [&](qz_nds_handle h) {
      return qz_nds_osd_get_channel_info(h, name, &display, &attribute, &value1, &value2);
    });
    Json value{{"name", text_json(terminated(name, kChannelBuffer))}};
    value.update(osd_json(display != 0, attribute, value1, value2));
    return value;
  };
  s.prepare = [s](const Json &v) {
    members(v, s, {"name"});
    const std::string name = member_text(v, s, "name");
    const OsdValues o = osd_values(v, s);
    Json value{{"name", text_json(name)}};
    value.update(osd_json(o.display, o.attribute, o.value1, o.value2));
    return Prepared{value, value, [=](Session &d) {
                      d.call("set channel_name", [&](qz_nds_handle h) {
                        return qz_nds_osd_set_channel_name(h, static_cast<uint8_t>(name.size()), name.c_str(),
                                                           o.display ? 1 : 0, o.attribute, o.value1,
                                                           o.value2);
                      });
                    }};
  };
  return s;
}

// ---- The table ------------------------------------------------------------------

std::vector<Setting> build_table() {
  const auto sw = kSwitches;
  const auto num = kNumbers;
  std::vector<Setting> t = {
      toggle("hdmi", sw, "HDMI output", qz_nds_enable_hdmi, qz_nds_disable_hdmi, qz_nds_is_enabled_hdmi,
             true),
      toggle("onvif", sw, "ONVIF", qz_nds_enable_onvif, qz_nds_disable_onvif, qz_nds_is_enabled_onvif, true),
      toggle("len_pos", sw, "lens position", qz_nds_enable_len_pos, qz_nds_disable_len_pos,
             qz_nds_is_enabled_len_pos, true),
      toggle("detect_sun", sw, "sun detection", qz_nds_enable_detect_sun, qz_nds_disable_detect_sun,
             qz_nds_is_enabled_detect_sun, true),
      toggle("rotate180", sw, "image rotated by 180 degrees", qz_nds_enable_rotate180,
             qz_nds_disable_rotate180, qz_nds_is_enabled_rotate180, true),
      toggle("radar", sw, "radar", qz_nds_enable_radar, qz_nds_disable_radar, qz_nds_is_enabled_radar, true),
      toggle("auto_change_meas", sw, "automatic change of the measurement", qz_nds_enable_auto_change_meas,
             qz_nds_disable_auto_change_meas, qz_nds_is_enabled_auto_change_meas, true),
      toggle("auto_focus", sw, "auto focus", qz_nds_enable_auto_focus, qz_nds_disable_auto_focus,
             qz_nds_is_enabled_auto_focus, true),
      toggle("center_rectangle", sw, "centre rectangle overlay", qz_nds_display_center_rectangle,
             qz_nds_hide_center_rectangle, qz_nds_is_display_center_rectangle, true),

      byte("ps_link_count", num, "ps link count", qz_nds_set_ps_link_count, qz_nds_get_ps_link_count, true,
           kLinkCounts),
      byte("ad_link_count", num, "ad link count", qz_nds_set_ad_link_count, qz_nds_get_ad_link_count, true,
           kLinkCounts),
      byte("visual_link_count", num, "visual camera link count", qz_nds_set_visual_link_count,
           qz_nds_get_visual_link_count, true, kLinkCounts),
      byte("ptz_link_count", num, "ptz link count", qz_nds_set_ptz_link_count, qz_nds_get_ptz_link_count,
           true, kLinkCounts),
      signed_byte("default_palette", num, "default palette", qz_nds_set_default_palette,
                  qz_nds_get_default_palette, kPalettes),
      byte("framerate", num, "frame rate", qz_nds_set_framerate, qz_nds_get_framerate, true, kFramerates),
      signed_byte("len_adjust_method", num, "lens adjust method (-1: not known)",
                  qz_nds_set_len_adjust_method, qz_nds_get_len_adjust_method, kLensMethods),
      system_time(),

      ip_info(),

      text("visual_ip", kVisual, "visual camera IP address", qz_nds_set_visual_ip, qz_nds_get_visual_ip),
      text("visual_user", kVisual, "visual camera login user", qz_nds_set_visual_user,
           qz_nds_get_visual_user),
      text("visual_passwd", kVisual, "visual camera login password", qz_nds_set_visual_passwd,
           qz_nds_get_visual_passwd, true),
      visual_sn(),
      byte("visual_zoom_control_flag", kVisual, "zoom control flag, kept as the device stores it",
           qz_nds_set_visual_zoom_control_flag, qz_nds_get_visual_zoom_control_flag, false),
      byte("visual_gotopreset_when_start", kVisual, "go to preset at start, kept as the device stores it",
           qz_nds_set_visual_gotopreset_when_start, qz_nds_get_visual_gotopreset_when_start, false),

      flag("mqtt_work", kMqtt, "MQTT operation", qz_nds_set_mqtt_work, qz_nds_get_mqtt_work),
      text("mqtt_ip", kMqtt, "MQTT broker IP address", qz_nds_set_mqtt_ip, qz_nds_get_mqtt_ip),
      mqtt_port(),
      text("mqtt_user", kMqtt, "MQTT broker login user", qz_nds_set_mqtt_user, qz_nds_get_mqtt_user),
      text("mqtt_passwd", kMqtt, "MQTT broker login password", qz_nds_set_mqtt_passwd, qz_nds_get_mqtt_passwd,
           true),

      gb28181(),

      toggle("hardware_watchdog", kWatchdog, "hardware watchdog", qz_nds_enable_hardware_watchdog,
             qz_nds_disable_hardware_watchdog, qz_nds_is_enable_hardware_watchdog, false),
      toggle("hardware_watchdog_disable", kWatchdog, "hardware watchdog disable function",
             qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable,
             qz_nds_isenable_hardware_watchdog_disable, false),
      byte("hardware_watchdog_disable_time", kWatchdog, "hardware watchdog disable time",
           qz_nds_set_hardware_watchdog_disable_time, qz_nds_get_hardware_watchdog_disable_time, false),

      byte("disable_temperature_correct_status", kTemperature, "disable temperature correct status",
           qz_nds_set_disable_temperature_correct_status, qz_nds_get_disable_temperature_correct_status,
           false),
      flag("vision_maxtemperature", kTemperature, "vision max temperature", qz_nds_set_vision_maxtemperature,
           qz_nds_get_vision_maxtemperature),
      flag("all_temperature_network_byte_order", kTemperature, "all temperatures in network byte order",
           qz_nds_set_all_temperature_network_byte_order, qz_nds_get_all_temperature_network_byte_order),
  };
  for (int id = 0; id < kOsdItems; ++id) {
    if (id != kChannelNameItem) t.push_back(osd_item(id));
  }
  t.push_back(channel_name());
  t.push_back(account_info());
  t.push_back(power_status());
  t.push_back(domain());
  t.push_back(flag("hikvision_linkage", kVendor, "hikvision linkage flag", qz_nds_set_hikvision_linkage,
                   qz_nds_get_hikvision_linkage));
  t.push_back(flag("pg_support", kVendor, "pg support flag", qz_nds_set_pg_support, qz_nds_get_pg_support));
  return t;
}

// ---- Descriptions -----------------------------------------------------------------

const char *type_name(Type type) {
  switch (type) {
    case Type::boolean:
      return "boolean";
    case Type::integer:
      return "integer";
    case Type::text:
      return "text";
    case Type::object:
      return "object";
    case Type::time:
      return "time";
    case Type::bytes:
      return "bytes";
  }
  return "";
}

// What a value of the form looks like, for people ("on|off", "0..255").
std::string form_text(const Field &f) {
  switch (f.type) {
    case Type::boolean:
      return "on|off";
    case Type::integer:
      return range(f.min, f.max);
    case Type::text:
      return "TEXT (up to " + std::to_string(f.max_length) + " bytes)";
    case Type::time:
      return "now | YYYY-MM-DDTHH:MM:SS | hex:40HEXDIGITS";
    case Type::bytes:
      return "FILE (its bytes, up to " + std::to_string(f.max_length >> 20) + " MiB)";
    case Type::object:
      break;
  }
  return "";
}

std::string form_text(const Setting &s) {
  if (s.form.type != Type::object) return form_text(s.form);
  std::string out;
  for (const Field &f : s.fields) {
    if (!out.empty()) out += ' ';
    std::string upper = f.name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    out += upper + "(" +
           (f.type == Type::text ? "up to " + std::to_string(f.max_length) + " bytes" : form_text(f)) + ")";
  }
  return out;
}

Json field_json(const Field &f) {
  Json out{{"type", type_name(f.type)}};
  if (!f.name.empty()) out = Json{{"name", f.name}, {"type", type_name(f.type)}};
  if (f.type == Type::integer) {
    out["min"] = f.min;
    out["max"] = f.max;
  }
  if (f.type == Type::text || f.type == Type::bytes) out["max_length"] = f.max_length;
  return out;
}

// The JSON Schema of one value of a field. Texts are strings or
// {"hex": ...}; their byte lengths are checked on apply.
Json field_schema(const Field &f) {
  switch (f.type) {
    case Type::boolean:
      return Json{{"type", "boolean"}};
    case Type::integer:
      return Json{{"type", "integer"}, {"minimum", f.min}, {"maximum", f.max}};
    case Type::text:
      return Json{{"$ref", "#/$defs/text"}};
    case Type::time:
      return Json{{"type", "string"}};
    case Type::bytes:
      return Json{{"$ref", "#/$defs/bytes"}};
    case Type::object:
      break;
  }
  return Json::object();
}

Json setting_schema(const Setting &s) {
  Json schema = field_schema(s.form);
  if (s.form.type == Type::object) {
    Json properties = Json::object();
    for (const Field &f : s.fields) properties[f.name] = field_schema(f);
    schema = Json{{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
  }
  schema["description"] = s.help;
  return schema;
}

Json build_catalogue() {
  Json out = Json::array();
  for (const Setting &s : settings()) {
    Json entry{{"name", s.name},
               {"family", s.family},
               {"help", s.help},
               {"form", form_text(s)},
               {"type", type_name(s.form.type)}};
    entry.update(field_json(s.form));
    if (!s.fields.empty()) {
      entry["fields"] = Json::array();
      for (const Field &f : s.fields) entry["fields"].push_back(field_json(f));
    }
    if (!s.device_accepts.empty()) entry["device_accepts"] = s.device_accepts;
    entry["readable"] = s.readable();
    entry["writable"] = true;
    entry["source"] = s.readable() ? (s.cached ? "cached" : "queried") : "write_only";
    entry["secret"] = s.secret;
    out.push_back(std::move(entry));
  }
  return out;
}

Json build_schema() {
  Json properties = Json::object();
  for (const Setting &s : settings()) properties[s.name] = setting_schema(s);
  const Json text{
      {"oneOf",
       Json::array({Json{{"type", "string"}},
                    Json{{"type", "object"},
                         {"properties", {{"hex", {{"type", "string"}, {"pattern", "^([0-9a-fA-F]{2})*$"}}}}},
                         {"required", {"hex"}},
                         {"additionalProperties", false}}})}};
  const Json bytes{{"type", "object"},
                   {"properties",
                    {{"size", {{"type", "integer"}, {"minimum", 0}}},
                     {"text", {{"type", "string"}}},
                     {"hex", {{"type", "string"}, {"pattern", "^([0-9a-fA-F]{2})*$"}}}}},
                   {"additionalProperties", false}};
  const Json unreadable{{"type", "object"},
                        {"properties", {{"kind", {{"type", "string"}}}, {"code", {{"type", "integer"}}}}},
                        {"required", {"kind"}}};
  return Json{
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"$id", "https://qz-nds.invalid/schema/config-1.json"},
      {"title", "qz_nds camera configuration"},
      {"description",
       "A camera's configuration as qznds export writes it and qznds apply reads it (any part of it)."},
      {"type", "object"},
      {"properties",
       {{"version", {{"const", 1}}},
        {"device", {{"type", "object"}, {"description", "Who was exported; not applied."}}},
        {"settings", {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}}},
        {"unreadable", {{"type", "object"}, {"additionalProperties", unreadable}}}}},
      {"required", {"settings"}},
      {"additionalProperties", false},
      {"$defs", {{"text", text}, {"bytes", bytes}}}};
}

}  // namespace

// ---- Session ------------------------------------------------------------------------

void Session::call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn) {
  const bool returned = fn(handle_);
  qz_ndsx_error error{};
  qz_ndsx_last_error(handle_, &error);
  if (returned && (error.kind == QZ_NDSX_OK || error.kind == QZ_NDSX_BAD_ARGUMENT)) return;
  if (error.kind == QZ_NDSX_OK) error.kind = QZ_NDSX_BAD_ARGUMENT;
  std::string message = std::string(what) + ": " + qz_ndsx_strerror(error.kind);
  if (error.kind == QZ_NDSX_REFUSED)
    message += " (response code " + std::to_string(error.response_code) + ")";
  throw Failure(error.kind, message, error.response_code);
}

void Session::read_record() {
  if (record_read_) return;
  reread_record();
}

void Session::reread_record() {
  call("read the configuration", [](qz_nds_handle h) { return qz_nds_get_machine_config_info(h); });
  record_read_ = true;
}

// ---- The catalogue -------------------------------------------------------------------

const std::vector<Setting> &settings() {
  static const std::vector<Setting> table = build_table();
  return table;
}

const Setting *find_setting(std::string_view name) {
  std::string key(name);
  std::replace(key.begin(), key.end(), '-', '_');
  for (const auto &s : settings()) {
    if (s.name == key) return &s;
  }
  return nullptr;
}

Json read_setting(Session &session, const Setting &setting) {
  if (setting.cached) session.read_record();
  return setting.get(session);
}

void write_setting(Session &session, const Setting &setting, const Prepared &write) {
  if (setting.set_needs_record) session.read_record();
  try {
    write.send(session);
  } catch (const Failure &error) {
    if (error.kind() == QZ_NDSX_REFUSED && !setting.device_accepts.empty()) {
      throw Failure(error.kind(),
                    std::string(error.what()) + "; the device accepts " + setting.device_accepts,
                    error.response_code());
    }
    // The device answered in time with response code 0; whether it took the
    // value is then told by the value itself (apply reads every write back).
    if (!setting.confirm_by_reading || error.kind() != QZ_NDSX_BAD_ANSWER) throw;
  }
}

const std::string &catalogue_text() {
  static const std::string text = build_catalogue().dump(2);
  return text;
}

const std::string &schema_text() {
  static const std::string text = build_schema().dump(2);
  return text;
}

}  // namespace qz::config
