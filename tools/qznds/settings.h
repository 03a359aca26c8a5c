// Every setting the tool reads or writes, one entry each: its name, value form
// and help, how to read it and how to write it. Adding a setting is adding one
// entry to the table in settings.cpp.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "device.h"
#include "values.h"

namespace qznds {

// A checked value, ready to be written.
struct PreparedWrite {
  Json value;                          // what is written, as the output shows it
  std::function<void(Device &)> send;  // the SDK call(s) that write it
};

struct Setting {
  std::string name;
  std::string family;
  std::string form;  // the values of `set NAME ...`
  std::string help;
  // The configuration record is read first: the cached getters answer from
  // it, and the passive wireless requests carry its serial number.
  bool get_needs_record = false;
  bool set_needs_record = false;
  // The SDK turns down the device's answer to this write when it comes under
  // the write's own sub command, though the device took the value; such a
  // write is confirmed by reading the value back.
  bool confirm_by_reading = false;
  // The values the device accepts where they are narrower than the form
  // ("1..60"), said when it refuses a write; empty when not known.
  std::string device_accepts{};
  std::function<Json(Device &)> get{};                   // empty: cannot be read
  std::function<PreparedWrite(const Args &)> prepare{};  // empty: cannot be written; throws bad_value

  bool readable() const { return static_cast<bool>(get); }
  bool writable() const { return static_cast<bool>(prepare); }
};

const std::vector<Setting> &settings();
// Null when there is no such setting.
const Setting *find_setting(std::string_view name);

// Reads or writes one setting, reading the configuration record first when
// the setting needs it.
Json read_setting(Device &device, const Setting &setting);
void write_setting(Device &device, const Setting &setting, const PreparedWrite &write);

// Family names, in the order of the table (for --help and info).
inline constexpr std::string_view kFamilySwitches = "Feature switches";
inline constexpr std::string_view kFamilyNumbers = "Numeric settings";
inline constexpr std::string_view kFamilyTime = "System time";
inline constexpr std::string_view kFamilyIp = "IP settings";
inline constexpr std::string_view kFamilyVisual = "Visual camera link";
inline constexpr std::string_view kFamilyMqtt = "MQTT broker";
inline constexpr std::string_view kFamilyGb28181 = "GB/T 28181 platform";
inline constexpr std::string_view kFamilyWatchdog = "Hardware watchdog";
inline constexpr std::string_view kFamilyTemperature = "Temperature options";
inline constexpr std::string_view kFamilyOsd = "OSD items and channel name";
inline constexpr std::string_view kFamilyAccount = "Account info";
inline constexpr std::string_view kFamilyWireless = "Passive wireless";
inline constexpr std::string_view kFamilyVendor = "Vendor flags";

}  // namespace qznds
