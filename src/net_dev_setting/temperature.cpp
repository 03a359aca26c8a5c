// Temperature measurement options of the device: the disable-temperature-
// correct status and two flags. Setters send the caller's byte unchanged and
// remember nothing; getters ask the device every time.
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {
namespace {

using AnswerByte = NetDevSetting::AnswerByte;
constexpr NetDevSetting::ByteQuery kDisableTemperatureCorrect{
    167, &DeviceStateCache::disable_temperature_correct_status, AnswerByte::raw, AnswerByte::raw};
constexpr NetDevSetting::ByteQuery kVisionMaxTemperature{181, &DeviceStateCache::vision_maxtemperature,
                                                         AnswerByte::flag, AnswerByte::flag};
constexpr NetDevSetting::ByteQuery kAllTemperatureNetworkByteOrder{
    183, &DeviceStateCache::all_temperature_network_byte_order, AnswerByte::flag, AnswerByte::flag};

constexpr uint8_t kSetDisableTemperatureCorrect = 166;
constexpr uint8_t kSetVisionMaxTemperature = 180;
constexpr uint8_t kSetAllTemperatureNetworkByteOrder = 182;

constexpr SettingParserEntry kEntries[] = {
    {kDisableTemperatureCorrect.sub, NetDevSetting::parse_answer_byte<kDisableTemperatureCorrect>},
    {kVisionMaxTemperature.sub, NetDevSetting::parse_answer_byte<kVisionMaxTemperature>},
    {kAllTemperatureNetworkByteOrder.sub, NetDevSetting::parse_answer_byte<kAllTemperatureNetworkByteOrder>},
};

}  // namespace

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kTemperatureSettingParsers{kEntries};

}  // namespace qz::nds

using qz::nds::NetDevSetting;
using qz::nds::with_session;

extern "C" QZ_NDS_API bool qz_nds_set_disable_temperature_correct_status(qz_nds_handle handle,
                                                                         uint8_t status) {
  return with_session(handle, [&](NetDevSetting &s) {
    return s.send_setting_byte(qz::nds::kSetDisableTemperatureCorrect, status);
  });
}
extern "C" QZ_NDS_API bool qz_nds_get_disable_temperature_correct_status(qz_nds_handle handle,
                                                                         uint8_t *status) {
  return with_session(handle, [&](NetDevSetting &s) {
    return s.query_setting_byte(qz::nds::kDisableTemperatureCorrect, status);
  });
}

extern "C" QZ_NDS_API bool qz_nds_set_vision_maxtemperature(qz_nds_handle handle, uint8_t value) {
  return with_session(handle, [&](NetDevSetting &s) {
    return s.send_setting_byte(qz::nds::kSetVisionMaxTemperature, value);
  });
}
extern "C" QZ_NDS_API bool qz_nds_get_vision_maxtemperature(qz_nds_handle handle, uint8_t *value) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kVisionMaxTemperature, value); });
}

extern "C" QZ_NDS_API bool qz_nds_set_all_temperature_network_byte_order(qz_nds_handle handle,
                                                                         uint8_t value) {
  return with_session(handle, [&](NetDevSetting &s) {
    return s.send_setting_byte(qz::nds::kSetAllTemperatureNetworkByteOrder, value);
  });
}
extern "C" QZ_NDS_API bool qz_nds_get_all_temperature_network_byte_order(qz_nds_handle handle,
                                                                         uint8_t *value) {
  return with_session(handle, [&](NetDevSetting &s) {
    return s.query_setting_byte(qz::nds::kAllTemperatureNetworkByteOrder, value);
  });
}
