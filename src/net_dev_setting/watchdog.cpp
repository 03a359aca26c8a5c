// The device's hardware watchdog: whether it runs, whether its disable
// function is on, and the disable time. Setters send one byte and remember
// nothing; getters ask the device every time.
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {
namespace {

// The answers are stored as received; the two states are reported as 0/1.
using AnswerByte = NetDevSetting::AnswerByte;
constexpr NetDevSetting::ByteQuery kWatchdog{169, &DeviceStateCache::hardware_watchdog, AnswerByte::raw,
                                             AnswerByte::flag};
constexpr NetDevSetting::ByteQuery kWatchdogDisable{171, &DeviceStateCache::hardware_watchdog_disable,
                                                    AnswerByte::raw, AnswerByte::flag};
constexpr NetDevSetting::ByteQuery kWatchdogDisableTime{
    173, &DeviceStateCache::hardware_watchdog_disable_time, AnswerByte::raw, AnswerByte::raw};

constexpr uint8_t kSetWatchdog = 168;
constexpr uint8_t kSetWatchdogDisable = 170;
constexpr uint8_t kSetWatchdogDisableTime = 172;

constexpr SettingParserEntry kEntries[] = {
    {kWatchdog.sub, NetDevSetting::parse_answer_byte<kWatchdog>},
    {kWatchdogDisable.sub, NetDevSetting::parse_answer_byte<kWatchdogDisable>},
    {kWatchdogDisableTime.sub, NetDevSetting::parse_answer_byte<kWatchdogDisableTime>},
};

}  // namespace

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kWatchdogSettingParsers{kEntries};

}  // namespace qz::nds

using qz::nds::NetDevSetting;
using qz::nds::with_session;

extern "C" QZ_NDS_API bool qz_nds_enable_hardware_watchdog(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.send_setting_byte(qz::nds::kSetWatchdog, 1); });
}
extern "C" QZ_NDS_API bool qz_nds_disable_hardware_watchdog(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.send_setting_byte(qz::nds::kSetWatchdog, 0); });
}
extern "C" QZ_NDS_API bool qz_nds_is_enable_hardware_watchdog(qz_nds_handle handle, uint8_t *enabled) {
  return with_session(handle,
                      [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kWatchdog, enabled); });
}

extern "C" QZ_NDS_API bool qz_nds_enable_hardware_watchdog_disable(qz_nds_handle handle) {
  return with_session(handle,
                      [](NetDevSetting &s) { return s.send_setting_byte(qz::nds::kSetWatchdogDisable, 1); });
}
extern "C" QZ_NDS_API bool qz_nds_disable_hardware_watchdog_disable(qz_nds_handle handle) {
  return with_session(handle,
                      [](NetDevSetting &s) { return s.send_setting_byte(qz::nds::kSetWatchdogDisable, 0); });
}
extern "C" QZ_NDS_API bool qz_nds_isenable_hardware_watchdog_disable(qz_nds_handle handle, uint8_t *enabled) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kWatchdogDisable, enabled); });
}

extern "C" QZ_NDS_API bool qz_nds_set_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t time) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.send_setting_byte(qz::nds::kSetWatchdogDisableTime, time); });
}
extern "C" QZ_NDS_API bool qz_nds_get_hardware_watchdog_disable_time(qz_nds_handle handle, uint8_t *time) {
  return with_session(
      handle, [&](NetDevSetting &s) { return s.query_setting_byte(qz::nds::kWatchdogDisableTime, time); });
}
