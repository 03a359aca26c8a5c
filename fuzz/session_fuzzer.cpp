// Fuzzes the receive path of a connected session: every export runs against
// a device whose answers come from the input (session_input.h), then every
// export that answers from the session copies its values out. Output buffers
// have exactly the size each export documents, so a write past one shows
// under AddressSanitizer.
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "fuzz_check.h"
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"
#include "session_input.h"

namespace qz::fuzz {
namespace {

using Handle = qz_nds_handle;
using Args = InputReader;

// A frame payload holds at most 0xFFFF bytes here, so no device text is
// longer; the text getters without a capacity get a buffer that size.
constexpr std::size_t kTextBuffer = 0xFFFF;

// Heap buffer of exactly n bytes, so AddressSanitizer sees its end.
struct Buffer {
  explicit Buffer(std::size_t n) : size(n), data(std::make_unique<char[]>(n == 0 ? 1 : n)) {}
  std::size_t size;
  std::unique_ptr<char[]> data;
  char *get() { return data.get(); }
  bool terminated() const { return std::memchr(data.get(), 0, size) != nullptr; }
};

// A NUL-free text of the length the argument gives; 0xFF as its fill byte
// asks for printf directives, which must never reach a log format.
std::string text_arg(Args &a) {
  const uint8_t length = a.u8();
  const uint8_t fill = a.u8();
  if (fill == 0xFF) {
    std::string out;
    while (out.size() < length) out += "%s%n";
    return out.substr(0, length);
  }
  return std::string(length, static_cast<char>('A' + fill % 26));
}

bool is_flag(uint8_t v) {
  return v == 0 || v == 1;
}

void get_text(bool (*getter)(Handle, char *, uint32_t *), Handle h) {
  static Buffer buffer(kTextBuffer);
  uint32_t len = 0xDEADBEEF;
  if (getter(h, buffer.get(), &len)) FUZZ_CHECK(len <= kTextBuffer);
}

void get_flag(bool (*getter)(Handle, uint8_t *), Handle h, bool zero_or_one) {
  uint8_t v = 0xEE;
  if (getter(h, &v) && zero_or_one) FUZZ_CHECK(is_flag(v));
}

// ---- Grouped exports, picked by an argument --------------------------------

struct Switch {
  bool (*enable)(Handle);
  bool (*disable)(Handle);
  bool (*get)(Handle, uint8_t *);
};
constexpr Switch kSwitches[] = {
    {qz_nds_enable_hdmi, qz_nds_disable_hdmi, qz_nds_is_enabled_hdmi},
    {qz_nds_enable_onvif, qz_nds_disable_onvif, qz_nds_is_enabled_onvif},
    {qz_nds_enable_len_pos, qz_nds_disable_len_pos, qz_nds_is_enabled_len_pos},
    {qz_nds_enable_detect_sun, qz_nds_disable_detect_sun, qz_nds_is_enabled_detect_sun},
    {qz_nds_enable_rotate180, qz_nds_disable_rotate180, qz_nds_is_enabled_rotate180},
    {qz_nds_enable_radar, qz_nds_disable_radar, qz_nds_is_enabled_radar},
    {qz_nds_enable_auto_change_meas, qz_nds_disable_auto_change_meas, qz_nds_is_enabled_auto_change_meas},
    {qz_nds_enable_auto_focus, qz_nds_disable_auto_focus, qz_nds_is_enabled_auto_focus},
    {qz_nds_display_center_rectangle, qz_nds_hide_center_rectangle, qz_nds_is_display_center_rectangle},
};

struct ByteSetting {
  bool (*set)(Handle, uint8_t);
  bool (*get)(Handle, uint8_t *);
  bool zero_or_one;  // the getter reports only 0 or 1
};
constexpr ByteSetting kNumeric[] = {
    {qz_nds_set_ps_link_count, qz_nds_get_ps_link_count, false},
    {qz_nds_set_ad_link_count, qz_nds_get_ad_link_count, false},
    {qz_nds_set_visual_link_count, qz_nds_get_visual_link_count, false},
    {qz_nds_set_ptz_link_count, qz_nds_get_ptz_link_count, false},
    {qz_nds_set_framerate, qz_nds_get_framerate, false},
};
constexpr ByteSetting kDeviceBytes[] = {
    {qz_nds_set_hardware_watchdog_disable_time, qz_nds_get_hardware_watchdog_disable_time, false},
    {qz_nds_set_disable_temperature_correct_status, qz_nds_get_disable_temperature_correct_status, false},
    {qz_nds_set_vision_maxtemperature, qz_nds_get_vision_maxtemperature, true},
    {qz_nds_set_all_temperature_network_byte_order, qz_nds_get_all_temperature_network_byte_order, true},
    {qz_nds_set_hikvision_linkage, qz_nds_get_hikvision_linkage, true},
    {qz_nds_set_pg_support, qz_nds_get_pg_support, true},
    {qz_nds_set_visual_zoom_control_flag, qz_nds_get_visual_zoom_control_flag, false},
    {qz_nds_set_visual_gotopreset_when_start, qz_nds_get_visual_gotopreset_when_start, false},
};

struct Watchdog {
  bool (*enable)(Handle);
  bool (*disable)(Handle);
  bool (*get)(Handle, uint8_t *);
};
constexpr Watchdog kWatchdogs[] = {
    {qz_nds_enable_hardware_watchdog, qz_nds_disable_hardware_watchdog, qz_nds_is_enable_hardware_watchdog},
    {qz_nds_enable_hardware_watchdog_disable, qz_nds_disable_hardware_watchdog_disable,
     qz_nds_isenable_hardware_watchdog_disable},
};

template <class T, std::size_t N>
const T &pick(const T (&table)[N], Args &a) {
  return table[a.u8() % N];
}

// ---- Exports with their own checks -----------------------------------------

void machine_info(Handle h) {
  uint16_t v1 = 0, v2 = 0;
  Buffer sn(32), t1(32), t2(32), t3(32);
  FUZZ_CHECK(qz_nds_get_machine_info(h, &v1, &v2, sn.get(), t1.get(), t2.get(), t3.get()));
}

void ip_get(Handle h) {
  uint8_t flag = 0;
  std::array<Buffer, 5> t{Buffer(15), Buffer(15), Buffer(15), Buffer(15), Buffer(15)};
  FUZZ_CHECK(qz_nds_get_ip_info(h, &flag, t[0].get(), t[1].get(), t[2].get(), t[3].get(), t[4].get()));
}

void sn_get(Handle h) {
  Buffer sn(32);
  uint32_t len = 0;
  if (qz_nds_get_sn(h, sn.get(), &len)) FUZZ_CHECK(len <= 32);
}

void account_set(Handle h, Args &a) {
  std::vector<uint8_t> data(a.u16() % 5000, 0xA5);
  qz_nds_set_account_info(h, data.data(), static_cast<uint32_t>(data.size()));
}

void account_get(Handle h, Args &a) {
  const uint32_t capacity = a.u16() % 1024;
  Buffer data(capacity);
  uint32_t len = capacity;
  const bool ok =
      qz_nds_get_account_info(h, capacity != 0 ? reinterpret_cast<uint8_t *>(data.get()) : nullptr, &len);
  if (ok) FUZZ_CHECK(len <= capacity);
}

void power_status_set(Handle h, Args &a) {
  const uint32_t s1 = a.u16(), s2 = a.u16(), s3 = a.u32();
  qz_nds_set_passive_wireless_power_status(h, &s1, &s2, &s3);
}

void power_status_get(Handle h) {
  uint32_t s1 = 0, s2 = 0, s3 = 0;
  qz_nds_get_passive_wireless_power_status(h, &s1, &s2, &s3);
}

void domain_set(Handle h, Args &a) {
  const std::string domain = text_arg(a);
  qz_nds_set_passive_wireless_domain(h, domain.c_str(), a.u32());
}

void domain_get(Handle h) {
  Buffer domain(128);
  uint32_t value = 0;
  qz_nds_get_passive_wireless_domain(h, domain.get(), &value);
}

void visual_sn_set(Handle h, Args &a) {
  const uint8_t support = a.u8(), same_ip = a.u8();
  const bool null_sn = a.u8() & 1;
  const std::string sn = text_arg(a);
  qz_nds_set_visual_sn(h, support, same_ip, null_sn ? nullptr : sn.c_str(), static_cast<uint32_t>(sn.size()));
}

void gb28181_set(Handle h, Args &a) {
  const uint8_t enable = a.u8();
  const uint16_t port = a.u16();
  const std::string t1 = text_arg(a), t2 = text_arg(a);
  qz_nds_28181_set_para(h, enable, t1.c_str(), port, t2.c_str(), "", t1.c_str());
}

void gb28181_get(Handle h) {
  uint8_t enable = 0;
  uint16_t port = 0;
  std::array<Buffer, 4> t{Buffer(64), Buffer(64), Buffer(64), Buffer(64)};
  if (!qz_nds_28181_get_para(h, &enable, t[0].get(), &port, t[1].get(), t[2].get(), t[3].get())) return;
  FUZZ_CHECK(is_flag(enable));
  for (const Buffer &text : t) FUZZ_CHECK(text.terminated());
}

void numeric_set(Handle h, Args &a) {
  const uint8_t which = a.u8() % (std::size(kNumeric) + 2);
  const auto value = static_cast<int32_t>(a.u32());
  if (which < std::size(kNumeric)) {
    kNumeric[which].set(h, static_cast<uint8_t>(value));
  } else if (which == std::size(kNumeric)) {
    qz_nds_set_default_palette(h, value);
  } else {
    qz_nds_set_len_adjust_method(h, value);
  }
}

void numeric_get(Handle h, Args &a) {
  const uint8_t which = a.u8() % (std::size(kNumeric) + 2);
  uint32_t value = 0;
  if (which < std::size(kNumeric)) {
    get_flag(kNumeric[which].get, h, false);
  } else if (which == std::size(kNumeric)) {
    FUZZ_CHECK(qz_nds_get_default_palette(h, &value));
  } else {
    FUZZ_CHECK(qz_nds_get_len_adjust_method(h, &value));
  }
}

void system_time_set(Handle h, Args &a) {
  std::array<uint8_t, 20> block{};
  for (uint8_t &b : block) b = a.u8();
  qz_nds_set_system_time(h, block.data());
}

void device_byte_set(Handle h, Args &a) {
  const uint8_t which = a.u8() % (std::size(kWatchdogs) + std::size(kDeviceBytes));
  const uint8_t value = a.u8();
  if (which < std::size(kWatchdogs)) {
    (value & 1 ? kWatchdogs[which].enable : kWatchdogs[which].disable)(h);
  } else {
    kDeviceBytes[which - std::size(kWatchdogs)].set(h, value);
  }
}

void device_byte_get(Handle h, Args &a) {
  const uint8_t which = a.u8() % (std::size(kWatchdogs) + std::size(kDeviceBytes));
  if (which < std::size(kWatchdogs)) {
    get_flag(kWatchdogs[which].get, h, true);
  } else {
    const ByteSetting &s = kDeviceBytes[which - std::size(kWatchdogs)];
    get_flag(s.get, h, s.zero_or_one);
  }
}

// OSD ids from -1 to 12, one past each end.
int32_t osd_id(Args &a) {
  return static_cast<int32_t>(a.u8() % 14) - 1;
}

void osd_set(Handle h, Args &a) {
  const int32_t id = osd_id(a);
  const uint8_t display = a.u8(), attribute = a.u8();
  const uint16_t value1 = a.u16(), value2 = a.u16();
  qz_nds_set_osd_setting(h, id, display, attribute, value1, value2);
}

void osd_get(Handle h, int32_t id) {
  uint8_t display = 0, attribute = 0;
  uint16_t v1 = 0, v2 = 0;
  const bool ok = qz_nds_get_osd_setting(h, id, &display, &attribute, &v1, &v2);
  FUZZ_CHECK(ok == (id >= 0 && id < 12));
}

void channel_name_set(Handle h, Args &a) {
  const uint8_t name_length = a.u8();
  const std::string name = text_arg(a);
  const uint8_t display = a.u8(), attribute = a.u8();
  const uint16_t value1 = a.u16();
  qz_nds_osd_set_channel_name(h, name_length, name.c_str(), display, attribute, value1, 0);
}

void channel_info_get(Handle h) {
  Buffer name(256);
  uint8_t display = 0, attribute = 0;
  uint16_t v1 = 0, v2 = 0;
  FUZZ_CHECK(qz_nds_osd_get_channel_info(h, name.get(), &display, &attribute, &v1, &v2));
}

void run(Action action, Handle h, Args &a) {
  switch (action) {
    case Action::connect:
      qz_nds_connect(h, "device");
      break;
    case Action::disconnect:
      qz_nds_disconnect(h);
      break;
    case Action::machine_config:
      qz_nds_get_machine_config_info(h);
      break;
    case Action::machine_info:
      machine_info(h);
      break;
    case Action::ip_set: {
      const uint8_t flag = a.u8();
      const std::string t1 = text_arg(a), t2 = text_arg(a);
      qz_nds_set_ip_info(h, flag, t1.c_str(), t2.c_str(), nullptr, t1.c_str(), "");
      break;
    }
    case Action::ip_get:
      ip_get(h);
      break;
    case Action::sn_get:
      sn_get(h);
      break;
    case Action::account_set:
      account_set(h, a);
      break;
    case Action::account_get:
      account_get(h, a);
      break;
    case Action::power_status_set:
      power_status_set(h, a);
      break;
    case Action::power_status_get:
      power_status_get(h);
      break;
    case Action::domain_set:
      domain_set(h, a);
      break;
    case Action::domain_get:
      domain_get(h);
      break;
    case Action::visual_ip_set:
      qz_nds_set_visual_ip(h, text_arg(a).c_str());
      break;
    case Action::visual_ip_get:
      get_text(qz_nds_get_visual_ip, h);
      break;
    case Action::visual_user_set:
      qz_nds_set_visual_user(h, text_arg(a).c_str());
      break;
    case Action::visual_user_get:
      get_text(qz_nds_get_visual_user, h);
      break;
    case Action::visual_passwd_set:
      qz_nds_set_visual_passwd(h, text_arg(a).c_str());
      break;
    case Action::visual_passwd_get:
      get_text(qz_nds_get_visual_passwd, h);
      break;
    case Action::visual_sn_set:
      visual_sn_set(h, a);
      break;
    case Action::zoom_set:
      qz_nds_set_visual_zoom_control_flag(h, a.u8());
      break;
    case Action::zoom_get:
      get_flag(qz_nds_get_visual_zoom_control_flag, h, false);
      break;
    case Action::preset_set:
      qz_nds_set_visual_gotopreset_when_start(h, a.u8());
      break;
    case Action::preset_get:
      get_flag(qz_nds_get_visual_gotopreset_when_start, h, false);
      break;
    case Action::mqtt_work_set:
      FUZZ_CHECK(qz_nds_set_mqtt_work(h, a.u8()));
      break;
    case Action::mqtt_work_get:
      get_flag(qz_nds_get_mqtt_work, h, true);
      break;
    case Action::mqtt_ip_set:
      FUZZ_CHECK(qz_nds_set_mqtt_ip(h, text_arg(a).c_str()));
      break;
    case Action::mqtt_ip_get:
      get_text(qz_nds_get_mqtt_ip, h);
      break;
    case Action::mqtt_port_set:
      FUZZ_CHECK(qz_nds_set_mqtt_port(h, a.u32()));
      break;
    case Action::mqtt_port_get: {
      uint32_t port = 0;
      FUZZ_CHECK(qz_nds_get_mqtt_port(h, &port));
      break;
    }
    case Action::mqtt_user_set:
      FUZZ_CHECK(qz_nds_set_mqtt_user(h, text_arg(a).c_str()));
      break;
    case Action::mqtt_user_get:
      get_text(qz_nds_get_mqtt_user, h);
      break;
    case Action::mqtt_passwd_set:
      FUZZ_CHECK(qz_nds_set_mqtt_passwd(h, text_arg(a).c_str()));
      break;
    case Action::mqtt_passwd_get:
      get_text(qz_nds_get_mqtt_passwd, h);
      break;
    case Action::gb28181_set:
      gb28181_set(h, a);
      break;
    case Action::gb28181_get:
      gb28181_get(h);
      break;
    case Action::switch_set: {
      const Switch &s = pick(kSwitches, a);
      (a.u8() & 1 ? s.enable : s.disable)(h);
      break;
    }
    case Action::switch_get: {
      uint8_t v = 0xEE;
      FUZZ_CHECK(pick(kSwitches, a).get(h, &v));
      FUZZ_CHECK(is_flag(v));
      break;
    }
    case Action::numeric_set:
      numeric_set(h, a);
      break;
    case Action::numeric_get:
      numeric_get(h, a);
      break;
    case Action::system_time_set:
      system_time_set(h, a);
      break;
    case Action::watchdog_set:
    case Action::temperature_set:
    case Action::vendor_set:
      device_byte_set(h, a);
      break;
    case Action::watchdog_get:
    case Action::temperature_get:
    case Action::vendor_get:
      device_byte_get(h, a);
      break;
    case Action::osd_set:
      osd_set(h, a);
      break;
    case Action::osd_get:
      osd_get(h, osd_id(a));
      break;
    case Action::channel_name_set:
      channel_name_set(h, a);
      break;
    case Action::channel_info_get:
      channel_info_get(h);
      break;
    case Action::osd_restore:
      qz_nds_osd_restore_config(h);
      break;
    case Action::reboot:
      qz_nds_reboot(h);
      break;
    case Action::keep_alive:
      qz_nds_keep_alive(h);
      break;
    case Action::unsolicited:
      deliver_unsolicited();
      break;
    case Action::count:
      break;
  }
}

// After every export: its pending entry is gone.
void check_session(Handle h) {
  FUZZ_CHECK(nds::NetDevSetting::from_handle(h)->waiting_commands() == 0);
}

// Copies out everything the session answers from its own values.
void read_back(Handle h) {
  machine_info(h);
  ip_get(h);
  sn_get(h);
  channel_info_get(h);
  for (int32_t id = -1; id <= 12; ++id) osd_get(h, id);
  for (const Switch &s : kSwitches) {
    uint8_t v = 0xEE;
    FUZZ_CHECK(s.get(h, &v) && is_flag(v));
  }
  for (const ByteSetting &s : kNumeric) get_flag(s.get, h, false);
  uint32_t value = 0;
  FUZZ_CHECK(qz_nds_get_default_palette(h, &value));
  FUZZ_CHECK(qz_nds_get_len_adjust_method(h, &value));
}

}  // namespace
}  // namespace qz::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace qz::fuzz;
  InputReader input(data, size);
  set_batch_source(&input);
  qz_nds_handle h = nullptr;
  FUZZ_CHECK(qz_nds_init(&h));
  FUZZ_CHECK(qz_nds_connect(h, "device"));
  while (!input.done()) {
    const auto action = static_cast<Action>(input.u8() % kActionCount);
    const auto args = input.bytes(kArgCount);
    InputReader a(args.data(), args.size());
    run(action, h, a);
    check_session(h);
  }
  read_back(h);
  FUZZ_CHECK(qz_nds_uninit(&h) && h == nullptr);
  set_batch_source(nullptr);
  return 0;
}
