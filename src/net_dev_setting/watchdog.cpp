// The device's hardware watchdog: whether it runs, whether its disable
// function is on, and the disable time. Setters send one byte and remember
// nothing; getters ask the device every time.
#include "setting_rows.h"

namespace qz::nds {
namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;

// The answers are stored as received; the two states are reported as 0/1.
// clang-format off
constexpr ByteSetting kWatchdog{.set_sub = setting::kSetHardwareWatchdog, .query_sub = setting::kGetHardwareWatchdog, .field = &C::hardware_watchdog, .reported = ByteForm::flag};
constexpr ByteSetting kWatchdogDisable{.set_sub = setting::kSetHardwareWatchdogDisable, .query_sub = setting::kGetHardwareWatchdogDisable, .field = &C::hardware_watchdog_disable, .reported = ByteForm::flag};
constexpr ByteSetting kWatchdogDisableTime{.set_sub = setting::kSetHardwareWatchdogDisableTime, .query_sub = setting::kGetHardwareWatchdogDisableTime, .field = &C::hardware_watchdog_disable_time};
// clang-format on
constexpr ByteSetting kRows[] = {kWatchdog, kWatchdogDisable, kWatchdogDisableTime};

}  // namespace

const SettingFamily kWatchdogSettings{kRows, {}, {}};

}  // namespace qz::nds

using qz::nds::get_byte;
using qz::nds::set_byte;

extern "C" QZ_NDS_API bool qz_nds_enable_hardware_watchdog(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kWatchdog, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_hardware_watchdog(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kWatchdog, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_is_enable_hardware_watchdog(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kWatchdog, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_enable_hardware_watchdog_disable(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kWatchdogDisable, 1, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_disable_hardware_watchdog_disable(qz_nds_handle handle) {
  return set_byte(handle, qz::nds::kWatchdogDisable, 0, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_isenable_hardware_watchdog_disable(qz_nds_handle handle, uint8_t *enabled) {
  return get_byte(handle, qz::nds::kWatchdogDisable, enabled);
}

extern "C" QZ_NDS_API bool qz_nds_set_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t time) {
  return set_byte(handle, qz::nds::kWatchdogDisableTime, time, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t *time) {
  return get_byte(handle, qz::nds::kWatchdogDisableTime, time);
}
