#include "settings.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

#include "device_state.h"
#include "errors.h"

namespace qznds {

namespace {

using Toggle = bool (*)(qz_nds_handle);
using GetByte = bool (*)(qz_nds_handle, uint8_t *);
using SetByte = bool (*)(qz_nds_handle, uint8_t);
using SetSigned = bool (*)(qz_nds_handle, int32_t);
using GetBits = bool (*)(qz_nds_handle, uint32_t *);
using SetText = bool (*)(qz_nds_handle, const char *);
using GetText = bool (*)(qz_nds_handle, char *, uint32_t *);

// The text getters write as many bytes as the device sent, with no capacity
// argument; the transport delivers frames of at most 1 MiB, so no text is
// longer than this.
constexpr std::size_t kTextBufferSize = std::size_t{1} << 20;
constexpr std::size_t kLinkTextMax = 1024;
constexpr std::size_t kIpTextMax = 15;
constexpr std::size_t kVisualSnMax = 32;
constexpr std::size_t kGbTextMax = 63;
constexpr std::size_t kGbBuffer = 64;
constexpr std::size_t kDomainMax = 128;
constexpr std::size_t kChannelNameMax = 255;
constexpr std::size_t kChannelBuffer = 256;
constexpr std::size_t kAccountInfoMax = std::size_t{1} << 20;
constexpr std::size_t kAccountFirstTry = 4096;
constexpr int kOsdItems = 12;
constexpr int kChannelNameItem = 8;
constexpr long long kU8Max = 255;
constexpr long long kU16Max = 65535;
constexpr long long kU32Max = std::numeric_limits<uint32_t>::max();

// What the device accepts of the numeric settings, as the simulated device
// models it.
std::string range(int lo, int hi) {
  return std::to_string(lo) + ".." + std::to_string(hi);
}
const std::string kLinkCounts = range(0, qz::sim::kLinkCountMax);
const std::string kFramerates = range(qz::sim::kFramerateMin, qz::sim::kFramerateMax);
const std::string kPalettes = range(0, qz::sim::kPaletteMax);
const std::string kLensMethods = range(0, qz::sim::kLensMethodMax);

std::string what(std::string_view verb, std::string_view name) {
  return std::string(verb) + " " + std::string(name);
}

std::string label(std::string_view name, std::string_view field) {
  return std::string(name) + " " + std::string(field);
}

// Bytes up to the first NUL of a buffer of `size`, at most `size`.
std::string terminated(const char *buffer, std::size_t size) {
  return std::string(buffer, strnlen(buffer, size));
}

// ---- Entry builders -------------------------------------------------------

// A feature with enable and disable exports and a 0/1 getter.
Setting toggle(std::string name, std::string_view family, std::string help, Toggle on, Toggle off, GetByte is,
               bool cached) {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .form = "on|off",
            .help = std::move(help),
            .get_needs_record = cached};
  s.get = [name = s.name, is](Device &d) {
    uint8_t value = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return is(h, &value); });
    return Json(value != 0);
  };
  s.prepare = [name = s.name, on, off](const Args &args) {
    expect_count(args, 1, name, "on|off");
    const bool enable = parse_on_off(args[0], name);
    return PreparedWrite{enable, [=](Device &d) { d.call(what("set", name), enable ? on : off); }};
  };
  return s;
}

// An on/off flag written as one byte (1 or 0) and read back as 0/1.
Setting flag(std::string name, std::string_view family, std::string help, SetByte set, GetByte get) {
  Setting s{
      .name = std::move(name), .family = std::string(family), .form = "on|off", .help = std::move(help)};
  s.get = [name = s.name, get](Device &d) {
    uint8_t value = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, &value); });
    return Json(value != 0);
  };
  s.prepare = [name = s.name, set](const Args &args) {
    expect_count(args, 1, name, "on|off");
    const bool enable = parse_on_off(args[0], name);
    return PreparedWrite{enable, [=](Device &d) {
                           d.call(what("set", name), [&](qz_nds_handle h) { return set(h, enable ? 1 : 0); });
                         }};
  };
  return s;
}

// One unsigned byte.
Setting byte(std::string name, std::string_view family, std::string help, SetByte set, GetByte get,
             bool cached, std::string accepts = "") {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .form = "0..255",
            .help = std::move(help),
            .get_needs_record = cached,
            .device_accepts = std::move(accepts)};
  s.get = [name = s.name, get](Device &d) {
    uint8_t value = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, &value); });
    return Json(value);
  };
  s.prepare = [name = s.name, set](const Args &args) {
    expect_count(args, 1, name, "0..255");
    const auto value = static_cast<uint8_t>(parse_integer(args[0], 0, kU8Max, name));
    return PreparedWrite{
        value, [=](Device &d) { d.call(what("set", name), [&](qz_nds_handle h) { return set(h, value); }); }};
  };
  return s;
}

// A 32-bit value of which only the low byte travels; the record brings it
// back as a signed byte, so the signed byte range is what round-trips.
Setting signed_byte(std::string name, std::string_view family, std::string help, SetSigned set, GetBits get,
                    std::string accepts) {
  Setting s{.name = std::move(name),
            .family = std::string(family),
            .form = "-128..127",
            .help = std::move(help),
            .get_needs_record = true,
            .device_accepts = std::move(accepts)};
  s.get = [name = s.name, get](Device &d) {
    uint32_t bits = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, &bits); });
    return Json(static_cast<int32_t>(bits));
  };
  s.prepare = [name = s.name, set](const Args &args) {
    expect_count(args, 1, name, "-128..127");
    const auto value = static_cast<int32_t>(parse_integer(args[0], -128, 127, name));
    return PreparedWrite{
        value, [=](Device &d) { d.call(what("set", name), [&](qz_nds_handle h) { return set(h, value); }); }};
  };
  return s;
}

// A text of the linked equipment, asked from the device on every read.
Setting text(std::string name, std::string_view family, std::string help, SetText set, GetText get) {
  const std::string form = "TEXT (up to " + std::to_string(kLinkTextMax) + " bytes)";
  Setting s{.name = std::move(name), .family = std::string(family), .form = form, .help = std::move(help)};
  s.get = [name = s.name, get](Device &d) {
    std::vector<char> buffer(kTextBufferSize);
    uint32_t len = 0;
    d.call(what("get", name), [&](qz_nds_handle h) { return get(h, buffer.data(), &len); });
    return text_json(std::string_view(buffer.data(), std::min<std::size_t>(len, buffer.size())));
  };
  s.prepare = [name = s.name, set, form](const Args &args) {
    expect_count(args, 1, name, form);
    std::string value = parse_text(args[0], kLinkTextMax, name);
    return PreparedWrite{text_json(value), [=](Device &d) {
                           d.call(what("set", name), [&](qz_nds_handle h) { return set(h, value.c_str()); });
                         }};
  };
  return s;
}

// ---- Settings with several values ------------------------------------------

Setting ip_info() {
  const std::string form = "0 | 1 TEXT1 TEXT2 TEXT3 TEXT4 TEXT5 (texts up to 15 bytes)";
  Setting s{.name = "ip-info",
            .family = std::string(kFamilyIp),
            .form = form,
            .help =
                "IP settings flag and five texts (e.g. 1 192.168.1.64 255.255.255.0 192.168.1.1 "
                "192.168.1.1 8.8.8.8); the texts travel only with flag 1"};
  s.get = [](Device &d) {
    uint8_t flag = 0;
    char texts[5][kIpTextMax + 1] = {};
    d.call("get ip-info", [&](qz_nds_handle h) {
      return qz_nds_get_ip_info(h, &flag, texts[0], texts[1], texts[2], texts[3], texts[4]);
    });
    Json value{{"flag", flag}};
    for (int i = 0; i < 5; ++i)
      value["text" + std::to_string(i + 1)] = text_json(terminated(texts[i], kIpTextMax));
    return value;
  };
  s.prepare = [form](const Args &args) {
    if (args.empty()) expect_count(args, 1, "ip-info", form);
    const bool flag = parse_integer(args[0], 0, 1, "ip-info FLAG") == 1;
    expect_count(args, flag ? 6 : 1, "ip-info", form);
    std::vector<std::string> texts;
    Json value{{"flag", flag ? 1 : 0}};
    for (std::size_t i = 1; i < args.size(); ++i) {
      texts.push_back(parse_text(args[i], kIpTextMax, label("ip-info", "TEXT" + std::to_string(i))));
      value["text" + std::to_string(i)] = text_json(texts.back());
    }
    return PreparedWrite{value, [flag, texts](Device &d) {
                           d.call("set ip-info", [&](qz_nds_handle h) {
                             if (!flag)
                               return qz_nds_set_ip_info(h, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
                             return qz_nds_set_ip_info(h, 1, texts[0].c_str(), texts[1].c_str(),
                                                       texts[2].c_str(), texts[3].c_str(), texts[4].c_str());
                           });
                         }};
  };
  return s;
}

Setting visual_sn() {
  const std::string form = "SUPPORT(on|off) SAME_IP(on|off) [SN] (SN up to 32 bytes)";
  Setting s{.name = "visual-sn",
            .family = std::string(kFamilyVisual),
            .form = form,
            .help =
                "visual camera support, same-IP flag and serial number; a supported camera on an IP of "
                "its own needs its serial number"};
  s.prepare = [form](const Args &args) {
    if (args.size() != 3) expect_count(args, 2, "visual-sn", form);
    const bool support = parse_on_off(args[0], "visual-sn SUPPORT");
    const bool same_ip = parse_on_off(args[1], "visual-sn SAME_IP");
    std::string sn = args.size() == 3 ? parse_text(args[2], kVisualSnMax, "visual-sn SN") : "";
    if (support && !same_ip && sn.empty()) {
      throw ToolError(
          ErrorKind::bad_value,
          "bad value for visual-sn: a supported camera on an IP of its own needs its serial number "
          "(SUPPORT on, SAME_IP off, SN missing)");
    }
    Json value{{"support", support}, {"same_ip", same_ip}, {"sn", text_json(sn)}};
    return PreparedWrite{value, [=](Device &d) {
                           d.call("set visual-sn", [&](qz_nds_handle h) {
                             return qz_nds_set_visual_sn(h, support ? 1 : 0, same_ip ? 1 : 0,
                                                         sn.empty() ? nullptr : sn.data(),
                                                         static_cast<uint32_t>(sn.size()));
                           });
                         }};
  };
  return s;
}

Setting mqtt_port() {
  Setting s{.name = "mqtt-port",
            .family = std::string(kFamilyMqtt),
            .form = "1..65535",
            .help = "MQTT broker port"};
  s.get = [](Device &d) {
    uint32_t port = 0;
    d.call("get mqtt-port", [&](qz_nds_handle h) { return qz_nds_get_mqtt_port(h, &port); });
    return Json(port);
  };
  s.prepare = [](const Args &args) {
    expect_count(args, 1, "mqtt-port", "1..65535");
    const auto port = static_cast<uint32_t>(parse_integer(args[0], 1, kU16Max, "mqtt-port"));
    return PreparedWrite{port, [=](Device &d) {
                           d.call("set mqtt-port",
                                  [&](qz_nds_handle h) { return qz_nds_set_mqtt_port(h, port); });
                         }};
  };
  return s;
}

Setting gb28181() {
  const std::string form = "off | on TEXT1 PORT(1..65535) TEXT2 TEXT3 TEXT4 (texts up to 63 bytes)";
  Setting s{.name = "gb28181",
            .family = std::string(kFamilyGb28181),
            .form = form,
            .help = "GB/T 28181 platform parameters: enable, four texts and the port"};
  s.get = [](Device &d) {
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
  s.prepare = [form](const Args &args) {
    if (args.empty()) expect_count(args, 1, "gb28181", form);
    const bool enable = parse_on_off(args[0], "gb28181 ENABLE");
    expect_count(args, enable ? 6 : 1, "gb28181", form);
    if (!enable) {
      return PreparedWrite{Json{{"enable", false}}, [](Device &d) {
                             d.call("set gb28181", [](qz_nds_handle h) {
                               return qz_nds_28181_set_para(h, 0, "", 0, "", "", "");
                             });
                           }};
    }
    const std::string t1 = parse_text(args[1], kGbTextMax, "gb28181 TEXT1");
    const auto port = static_cast<uint16_t>(parse_integer(args[2], 1, kU16Max, "gb28181 PORT"));
    const std::string t2 = parse_text(args[3], kGbTextMax, "gb28181 TEXT2");
    const std::string t3 = parse_text(args[4], kGbTextMax, "gb28181 TEXT3");
    const std::string t4 = parse_text(args[5], kGbTextMax, "gb28181 TEXT4");
    Json value{{"enable", true},         {"text1", text_json(t1)}, {"port", port},
               {"text2", text_json(t2)}, {"text3", text_json(t3)}, {"text4", text_json(t4)}};
    return PreparedWrite{value, [=](Device &d) {
                           d.call("set gb28181", [&](qz_nds_handle h) {
                             return qz_nds_28181_set_para(h, 1, t1.c_str(), port, t2.c_str(), t3.c_str(),
                                                          t4.c_str());
                           });
                         }};
  };
  return s;
}

Setting system_time() {
  const std::string form = "now | YYYY-MM-DDTHH:MM:SS | hex:40HEXDIGITS";
  Setting s{.name = "system-time",
            .family = std::string(kFamilyTime),
            .form = form,
            .help = "sets the device clock from the local clock (now) or a given local time"};
  s.prepare = [form](const Args &args) {
    expect_count(args, 1, "system-time", form);
    std::string shown;
    const SystemTimeBlock block = parse_system_time(args[0], "system-time", shown);
    Json value{{"time", shown.empty() ? Json(nullptr) : Json(shown)},
               {"block", to_hex(block.data(), block.size())}};
    return PreparedWrite{value, [=](Device &d) {
                           d.call("set system-time",
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

std::string read_account_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw ToolError(ErrorKind::bad_value, "bad value for account-info: cannot read the file " + path);
  std::string bytes;
  char chunk[4096];
  while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
    bytes.append(chunk, static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > kAccountInfoMax) {
      throw ToolError(ErrorKind::bad_value, "bad value for account-info: " + path + " is larger than " +
                                                std::to_string(kAccountInfoMax) + " bytes");
    }
  }
  return bytes;
}

// The device's account info. The first read offers a small buffer; when the
// info is larger the SDK reports its size and the read is repeated with a
// buffer of that size.
std::string get_account_info(Device &d) {
  std::vector<uint8_t> data(kAccountFirstTry);
  for (int attempt = 0; attempt < 3; ++attempt) {
    const auto capacity = static_cast<uint32_t>(data.size());
    uint32_t len = capacity;
    bool fitted = false;
    d.call("get account-info", [&](qz_nds_handle h) {
      len = capacity;
      fitted = qz_nds_get_account_info(h, data.data(), &len);
      return fitted || len > capacity;
    });
    if (fitted) return std::string(data.begin(), data.begin() + len);
    if (len > kAccountInfoMax) {
      throw ToolError(ErrorKind::bad_answer, "get account-info: the device reports " + std::to_string(len) +
                                                 " bytes, more than the " + std::to_string(kAccountInfoMax) +
                                                 " accepted");
    }
    data.resize(len);
  }
  throw ToolError(ErrorKind::bad_answer, "get account-info: the size changed between reads");
}

Setting account_info() {
  Setting s{.name = "account-info",
            .family = std::string(kFamilyAccount),
            .form = "FILE (its bytes, up to 1 MiB)",
            .help = "the device's account information block, sent and shown as opaque bytes",
            .confirm_by_reading = true};
  s.get = [](Device &d) { return account_json(get_account_info(d)); };
  s.prepare = [](const Args &args) {
    expect_count(args, 1, "account-info", "FILE");
    const std::string bytes = read_account_file(args[0]);
    return PreparedWrite{account_json(bytes), [=](Device &d) {
                           d.call("set account-info", [&](qz_nds_handle h) {
                             return qz_nds_set_account_info(h,
                                                            reinterpret_cast<const uint8_t *>(bytes.data()),
                                                            static_cast<uint32_t>(bytes.size()));
                           });
                         }};
  };
  return s;
}

Setting power_status() {
  const std::string form = "STATUS1 STATUS2 STATUS3 (each 0..4294967295)";
  Setting s{.name = "passive-wireless-power-status",
            .family = std::string(kFamilyWireless),
            .form = form,
            .help = "the three passive wireless power status values",
            .get_needs_record = true,
            .set_needs_record = true,
            .confirm_by_reading = true};
  s.get = [](Device &d) {
    uint32_t v[3] = {};
    d.call("get passive-wireless-power-status",
           [&](qz_nds_handle h) { return qz_nds_get_passive_wireless_power_status(h, &v[0], &v[1], &v[2]); });
    return Json{{"status1", v[0]}, {"status2", v[1]}, {"status3", v[2]}};
  };
  s.prepare = [form](const Args &args) {
    expect_count(args, 3, "passive-wireless-power-status", form);
    uint32_t v[3];
    for (int i = 0; i < 3; ++i) {
      v[i] = static_cast<uint32_t>(parse_integer(
          args[i], 0, kU32Max, label("passive-wireless-power-status", "STATUS" + std::to_string(i + 1))));
    }
    Json value{{"status1", v[0]}, {"status2", v[1]}, {"status3", v[2]}};
    return PreparedWrite{value, [a = v[0], b = v[1], c = v[2]](Device &d) {
                           d.call("set passive-wireless-power-status", [&](qz_nds_handle h) {
                             return qz_nds_set_passive_wireless_power_status(h, &a, &b, &c);
                           });
                         }};
  };
  return s;
}

Setting domain() {
  const std::string form = "DOMAIN VALUE (domain up to 128 bytes, value 0..4294967295)";
  Setting s{.name = "passive-wireless-domain",
            .family = std::string(kFamilyWireless),
            .form = form,
            .help = "the passive wireless domain and its value",
            .get_needs_record = true,
            .set_needs_record = true,
            .confirm_by_reading = true};
  s.get = [](Device &d) {
    char text[kDomainMax + 1] = {};
    uint32_t value = 0;
    d.call("get passive-wireless-domain",
           [&](qz_nds_handle h) { return qz_nds_get_passive_wireless_domain(h, text, &value); });
    return Json{{"domain", text_json(terminated(text, kDomainMax))}, {"value", value}};
  };
  s.prepare = [form](const Args &args) {
    expect_count(args, 2, "passive-wireless-domain", form);
    const std::string text = parse_text(args[0], kDomainMax, "passive-wireless-domain DOMAIN");
    const auto value =
        static_cast<uint32_t>(parse_integer(args[1], 0, kU32Max, "passive-wireless-domain VALUE"));
    return PreparedWrite{Json{{"domain", text_json(text)}, {"value", value}}, [=](Device &d) {
                           d.call("set passive-wireless-domain", [&](qz_nds_handle h) {
                             return qz_nds_set_passive_wireless_domain(h, text.c_str(), value);
                           });
                         }};
  };
  return s;
}

// The four values of an OSD item after its name (and, for the channel, name).
struct OsdValues {
  bool display;
  uint8_t attribute;
  uint16_t value1;
  uint16_t value2;
};

constexpr std::string_view kOsdForm = "DISPLAY(on|off) ATTRIBUTE(0..255) VALUE1(0..65535) VALUE2(0..65535)";

OsdValues parse_osd(const Args &args, std::size_t first, const std::string &name) {
  return OsdValues{parse_on_off(args[first], label(name, "DISPLAY")),
                   static_cast<uint8_t>(parse_integer(args[first + 1], 0, kU8Max, label(name, "ATTRIBUTE"))),
                   static_cast<uint16_t>(parse_integer(args[first + 2], 0, kU16Max, label(name, "VALUE1"))),
                   static_cast<uint16_t>(parse_integer(args[first + 3], 0, kU16Max, label(name, "VALUE2")))};
}

Json osd_json(bool display, uint8_t attribute, uint16_t value1, uint16_t value2) {
  return Json{{"display", display}, {"attribute", attribute}, {"value1", value1}, {"value2", value2}};
}

Setting osd_item(int id) {
  const std::string name = "osd-item-" + std::to_string(id);
  Setting s{.name = name,
            .family = std::string(kFamilyOsd),
            .form = std::string(kOsdForm),
            .help = "OSD item " + std::to_string(id),
            .get_needs_record = true};
  s.get = [name, id](Device &d) {
    uint8_t display = 0, attribute = 0;
    uint16_t value1 = 0, value2 = 0;
    d.call(what("get", name), [&](qz_nds_handle h) {
      return qz_nds_get_osd_setting(h, id, &display, &attribute, &value1, &value2);
    });
    return osd_json(display != 0, attribute, value1, value2);
  };
  s.prepare = [name, id](const Args &args) {
    expect_count(args, 4, name, kOsdForm);
    const OsdValues v = parse_osd(args, 0, name);
    return PreparedWrite{osd_json(v.display, v.attribute, v.value1, v.value2), [=](Device &d) {
                           d.call(what("set", name), [&](qz_nds_handle h) {
                             return qz_nds_set_osd_setting(h, id, v.display ? 1 : 0, v.attribute, v.value1,
                                                           v.value2);
                           });
                         }};
  };
  return s;
}

Setting channel_name() {
  const std::string form = "NAME " + std::string(kOsdForm) + " (name up to 255 bytes)";
  Setting s{.name = "channel-name",
            .family = std::string(kFamilyOsd),
            .form = form,
            .help = "the channel name and its OSD item (item 8)",
            .get_needs_record = true};
  s.get = [](Device &d) {
    char name[kChannelBuffer + 1] = {};
    uint8_t display = 0, attribute = 0;
    uint16_t value1 = 0, value2 = 0;
    d.call("get channel-name", [&](qz_nds_handle h) {
      return qz_nds_osd_get_channel_info(h, name, &display, &attribute, &value1, &value2);
    });
    Json value{{"name", text_json(terminated(name, kChannelBuffer))}};
    value.update(osd_json(display != 0, attribute, value1, value2));
    return value;
  };
  s.prepare = [form](const Args &args) {
    expect_count(args, 5, "channel-name", form);
    const std::string name = parse_text(args[0], kChannelNameMax, "channel-name NAME");
    const OsdValues v = parse_osd(args, 1, "channel-name");
    Json value{{"name", text_json(name)}};
    value.update(osd_json(v.display, v.attribute, v.value1, v.value2));
    return PreparedWrite{value, [=](Device &d) {
                           d.call("set channel-name", [&](qz_nds_handle h) {
                             return qz_nds_osd_set_channel_name(h, static_cast<uint8_t>(name.size()),
                                                                name.c_str(), v.display ? 1 : 0, v.attribute,
                                                                v.value1, v.value2);
                           });
                         }};
  };
  return s;
}

// ---- The table ---------------------------------------------------------------

std::vector<Setting> build_table() {
  const auto sw = kFamilySwitches;
  const auto num = kFamilyNumbers;
  std::vector<Setting> t = {
      toggle("hdmi", sw, "HDMI output", qz_nds_enable_hdmi, qz_nds_disable_hdmi, qz_nds_is_enabled_hdmi,
             true),
      toggle("onvif", sw, "ONVIF", qz_nds_enable_onvif, qz_nds_disable_onvif, qz_nds_is_enabled_onvif, true),
      toggle("len-pos", sw, "lens position", qz_nds_enable_len_pos, qz_nds_disable_len_pos,
             qz_nds_is_enabled_len_pos, true),
      toggle("detect-sun", sw, "sun detection", qz_nds_enable_detect_sun, qz_nds_disable_detect_sun,
             qz_nds_is_enabled_detect_sun, true),
      toggle("rotate180", sw, "image rotated by 180 degrees", qz_nds_enable_rotate180,
             qz_nds_disable_rotate180, qz_nds_is_enabled_rotate180, true),
      toggle("radar", sw, "radar", qz_nds_enable_radar, qz_nds_disable_radar, qz_nds_is_enabled_radar, true),
      toggle("auto-change-meas", sw, "automatic change of the measurement", qz_nds_enable_auto_change_meas,
             qz_nds_disable_auto_change_meas, qz_nds_is_enabled_auto_change_meas, true),
      toggle("auto-focus", sw, "auto focus", qz_nds_enable_auto_focus, qz_nds_disable_auto_focus,
             qz_nds_is_enabled_auto_focus, true),
      toggle("center-rectangle", sw, "centre rectangle overlay", qz_nds_display_center_rectangle,
             qz_nds_hide_center_rectangle, qz_nds_is_display_center_rectangle, true),

      byte("ps-link-count", num, "ps link count", qz_nds_set_ps_link_count, qz_nds_get_ps_link_count, true,
           kLinkCounts),
      byte("ad-link-count", num, "ad link count", qz_nds_set_ad_link_count, qz_nds_get_ad_link_count, true,
           kLinkCounts),
      byte("visual-link-count", num, "visual camera link count", qz_nds_set_visual_link_count,
           qz_nds_get_visual_link_count, true, kLinkCounts),
      byte("ptz-link-count", num, "ptz link count", qz_nds_set_ptz_link_count, qz_nds_get_ptz_link_count,
           true, kLinkCounts),
      signed_byte("default-palette", num, "default palette", qz_nds_set_default_palette,
                  qz_nds_get_default_palette, kPalettes),
      byte("framerate", num, "frame rate", qz_nds_set_framerate, qz_nds_get_framerate, true, kFramerates),
      signed_byte("len-adjust-method", num, "lens adjust method (-1: not known)",
                  qz_nds_set_len_adjust_method, qz_nds_get_len_adjust_method, kLensMethods),
      system_time(),

      ip_info(),

      text("visual-ip", kFamilyVisual, "visual camera IP address", qz_nds_set_visual_ip,
           qz_nds_get_visual_ip),
      text("visual-user", kFamilyVisual, "visual camera login user", qz_nds_set_visual_user,
           qz_nds_get_visual_user),
      text("visual-passwd", kFamilyVisual, "visual camera login password", qz_nds_set_visual_passwd,
           qz_nds_get_visual_passwd),
      visual_sn(),
      byte("visual-zoom-control-flag", kFamilyVisual, "zoom control flag, kept as the device stores it",
           qz_nds_set_visual_zoom_control_flag, qz_nds_get_visual_zoom_control_flag, false),
      byte("visual-gotopreset-when-start", kFamilyVisual,
           "go to preset at start, kept as the device stores it", qz_nds_set_visual_gotopreset_when_start,
           qz_nds_get_visual_gotopreset_when_start, false),

      flag("mqtt-work", kFamilyMqtt, "MQTT operation", qz_nds_set_mqtt_work, qz_nds_get_mqtt_work),
      text("mqtt-ip", kFamilyMqtt, "MQTT broker IP address", qz_nds_set_mqtt_ip, qz_nds_get_mqtt_ip),
      mqtt_port(),
      text("mqtt-user", kFamilyMqtt, "MQTT broker login user", qz_nds_set_mqtt_user, qz_nds_get_mqtt_user),
      text("mqtt-passwd", kFamilyMqtt, "MQTT broker login password", qz_nds_set_mqtt_passwd,
           qz_nds_get_mqtt_passwd),

      gb28181(),

      toggle("hardware-watchdog", kFamilyWatchdog, "hardware watchdog", qz_nds_enable_hardware_watchdog,
             qz_nds_disable_hardware_watchdog, qz_nds_is_enable_hardware_watchdog, false),
      toggle("hardware-watchdog-disable", kFamilyWatchdog, "hardware watchdog disable function",
             qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable,
             qz_nds_isenable_hardware_watchdog_disable, false),
      byte("hardware-watchdog-disable-time", kFamilyWatchdog, "hardware watchdog disable time",
           qz_nds_set_hardware_watchdog_disable_time, qz_nds_get_hardware_watchdog_disable_time, false),

      byte("disable-temperature-correct-status", kFamilyTemperature, "disable temperature correct status",
           qz_nds_set_disable_temperature_correct_status, qz_nds_get_disable_temperature_correct_status,
           false),
      flag("vision-maxtemperature", kFamilyTemperature, "vision max temperature",
           qz_nds_set_vision_maxtemperature, qz_nds_get_vision_maxtemperature),
      flag("all-temperature-network-byte-order", kFamilyTemperature, "all temperatures in network byte order",
           qz_nds_set_all_temperature_network_byte_order, qz_nds_get_all_temperature_network_byte_order),
  };
  for (int id = 0; id < kOsdItems; ++id) {
    if (id != kChannelNameItem) t.push_back(osd_item(id));
  }
  t.push_back(channel_name());
  t.push_back(account_info());
  t.push_back(power_status());
  t.push_back(domain());
  t.push_back(flag("hikvision-linkage", kFamilyVendor, "hikvision linkage flag", qz_nds_set_hikvision_linkage,
                   qz_nds_get_hikvision_linkage));
  t.push_back(
      flag("pg-support", kFamilyVendor, "pg support flag", qz_nds_set_pg_support, qz_nds_get_pg_support));
  return t;
}

}  // namespace

const std::vector<Setting> &settings() {
  static const std::vector<Setting> table = build_table();
  return table;
}

const Setting *find_setting(std::string_view name) {
  for (const auto &s : settings()) {
    if (s.name == name) return &s;
  }
  return nullptr;
}

Json read_setting(Device &device, const Setting &setting) {
  if (setting.get_needs_record) device.read_record();
  return setting.get(device);
}

void write_setting(Device &device, const Setting &setting, const PreparedWrite &write) {
  if (setting.set_needs_record) device.read_record();
  try {
    write.send(device);
  } catch (const ToolError &error) {
    if (error.kind() == ErrorKind::refused && !setting.device_accepts.empty()) {
      throw ToolError(error.kind(),
                      std::string(error.what()) + "; the device accepts " + setting.device_accepts,
                      error.response_code());
    }
    // The device answered in time with response code 0; whether it took the
    // value is then told by the value itself.
    if (!setting.confirm_by_reading || error.kind() != ErrorKind::bad_answer) throw;
    if (read_setting(device, setting) != write.value) throw;
  }
}

}  // namespace qznds
