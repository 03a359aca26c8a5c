// Temperature measurement options of the device: the disable-temperature-
// correct status and two flags. Setters send the caller's byte unchanged and
// remember nothing; getters ask the device every time.
#include "setting_rows.h"

namespace qz::nds {
namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;
constexpr ByteForm kFlag = ByteForm::flag;

// clang-format off
constexpr ByteSetting kDisableTemperatureCorrect{.set_sub = setting::kSetDisableTemperatureCorrect, .query_sub = setting::kGetDisableTemperatureCorrect, .field = &C::disable_temperature_correct_status};
constexpr ByteSetting kVisionMaxTemperature{.set_sub = setting::kSetVisionMaxTemperature, .query_sub = setting::kGetVisionMaxTemperature, .field = &C::vision_maxtemperature, .stored = kFlag, .reported = kFlag};
constexpr ByteSetting kAllTemperatureNetworkByteOrder{.set_sub = setting::kSetAllTemperatureNetworkByteOrder, .query_sub = setting::kGetAllTemperatureNetworkByteOrder, .field = &C::all_temperature_network_byte_order, .stored = kFlag, .reported = kFlag};
// clang-format on
constexpr ByteSetting kRows[] = {kDisableTemperatureCorrect, kVisionMaxTemperature,
                                 kAllTemperatureNetworkByteOrder};

}  // namespace

const SettingFamily kTemperatureSettings{kRows, {}, {}};

}  // namespace qz::nds

using qz::nds::get_byte;
using qz::nds::set_byte;

extern "C" QZ_NDS_API bool qz_nds_set_disable_temperature_correct_status(qz_nds_handle handle,
                                                                         uint8_t status) {
  return set_byte(handle, qz::nds::kDisableTemperatureCorrect, status, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_disable_temperature_correct_status(qz_nds_handle handle,
                                                                         uint8_t *status) {
  return get_byte(handle, qz::nds::kDisableTemperatureCorrect, status);
}

extern "C" QZ_NDS_API bool qz_nds_set_vision_maxtemperature(qz_nds_handle handle, uint8_t value) {
  return set_byte(handle, qz::nds::kVisionMaxTemperature, value, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_vision_maxtemperature(qz_nds_handle handle, uint8_t *value) {
  return get_byte(handle, qz::nds::kVisionMaxTemperature, value);
}

extern "C" QZ_NDS_API bool qz_nds_set_all_temperature_network_byte_order(qz_nds_handle handle,
                                                                         uint8_t value) {
  return set_byte(handle, qz::nds::kAllTemperatureNetworkByteOrder, value, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_all_temperature_network_byte_order(qz_nds_handle handle,
                                                                         uint8_t *value) {
  return get_byte(handle, qz::nds::kAllTemperatureNetworkByteOrder, value);
}
