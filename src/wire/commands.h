// The device's command numbers: every main and sub command of the protocol,
// named once for the library and the simulated device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qz::wire {

// ---- Main commands ------------------------------------------------------------

inline constexpr uint8_t kMainAccount = 48;          // 0x30
inline constexpr uint8_t kMainPassiveWireless = 49;  // 0x31
inline constexpr uint8_t kMainControl = 164;         // 0xA4
inline constexpr uint8_t kMainOsd = 168;             // 0xA8
inline constexpr uint8_t kMainSetting = 169;         // 0xA9
inline constexpr uint8_t kMainKeepAlive = 173;       // 0xAD
inline constexpr uint8_t kMainMachineStatus = 174;   // 0xAE

// ---- Sub commands, by main command ----------------------------------------------

namespace account {  // main 48
inline constexpr uint8_t kWrite = 128;
inline constexpr uint8_t kRead = 129;
}  // namespace account

namespace passive_wireless {  // main 49
inline constexpr uint8_t kSetPowerStatus = 130;
inline constexpr uint8_t kGetPowerStatus = 131;
inline constexpr uint8_t kSetDomain = 132;
inline constexpr uint8_t kGetDomain = 133;
}  // namespace passive_wireless

namespace control {  // main 164
inline constexpr uint8_t kReboot = 142;
}  // namespace control

namespace osd {  // main 168
inline constexpr uint8_t kChannelName = 138;
inline constexpr uint8_t kCenterRectangle = 139;
inline constexpr uint8_t kRestore = 140;
// The OSD items, by id; the channel-name item is set through kChannelName
// only, every other item through its own sub command.
inline constexpr std::size_t kItemCount = 12;
inline constexpr std::size_t kChannelNameItem = 8;
inline constexpr uint8_t kNoItemSub = 0;
inline constexpr std::array<uint8_t, kItemCount> kItemSub{128, 129, 130,        131, 132, 135,
                                                          136, 137, kNoItemSub, 133, 134, 141};
static_assert(kItemSub[kChannelNameItem] == kNoItemSub);
}  // namespace osd

namespace keep_alive {  // main 173
inline constexpr uint8_t kKeepAlive = 128;
}  // namespace keep_alive

namespace machine {  // main 174
inline constexpr uint8_t kConfig = 130;
}  // namespace machine

namespace setting {  // main 169: one setting per sub, queries one above their set
inline constexpr uint8_t kHdmi = 128;
inline constexpr uint8_t kOnvif = 129;
inline constexpr uint8_t kLenPos = 130;
inline constexpr uint8_t kDetectSun = 131;
inline constexpr uint8_t kRotate180 = 132;
inline constexpr uint8_t kPsLinkCount = 133;
inline constexpr uint8_t kAdLinkCount = 134;
inline constexpr uint8_t kDefaultPalette = 135;
inline constexpr uint8_t kSystemTime = 136;
inline constexpr uint8_t kSetIpInfo = 138;
inline constexpr uint8_t kGetIpInfo = 139;
inline constexpr uint8_t kLenAdjustMethod = 140;
inline constexpr uint8_t kVisualLinkCount = 141;
inline constexpr uint8_t kPtzLinkCount = 142;
inline constexpr uint8_t kVisualSn = 143;
inline constexpr uint8_t kRadar = 144;
inline constexpr uint8_t kAutoChangeMeas = 145;
inline constexpr uint8_t kAutoFocus = 146;
inline constexpr uint8_t kFramerate = 147;
inline constexpr uint8_t kSetVisualIp = 148;
inline constexpr uint8_t kGetVisualIp = 149;
inline constexpr uint8_t kSetVisualUser = 150;
inline constexpr uint8_t kGetVisualUser = 151;
inline constexpr uint8_t kSetVisualPasswd = 152;
inline constexpr uint8_t kGetVisualPasswd = 153;
inline constexpr uint8_t kSetMqttWork = 154;
inline constexpr uint8_t kGetMqttWork = 155;
inline constexpr uint8_t kSetMqttIp = 156;
inline constexpr uint8_t kGetMqttIp = 157;
inline constexpr uint8_t kSetMqttPort = 158;
inline constexpr uint8_t kGetMqttPort = 159;
inline constexpr uint8_t kSetMqttUser = 160;
inline constexpr uint8_t kGetMqttUser = 161;
inline constexpr uint8_t kSetMqttPasswd = 162;
inline constexpr uint8_t kGetMqttPasswd = 163;
inline constexpr uint8_t kSetZoomControl = 164;
inline constexpr uint8_t kGetZoomControl = 165;
inline constexpr uint8_t kSetDisableTemperatureCorrect = 166;
inline constexpr uint8_t kGetDisableTemperatureCorrect = 167;
inline constexpr uint8_t kSetHardwareWatchdog = 168;
inline constexpr uint8_t kGetHardwareWatchdog = 169;
inline constexpr uint8_t kSetHardwareWatchdogDisable = 170;
inline constexpr uint8_t kGetHardwareWatchdogDisable = 171;
inline constexpr uint8_t kSetHardwareWatchdogDisableTime = 172;
inline constexpr uint8_t kGetHardwareWatchdogDisableTime = 173;
inline constexpr uint8_t kSetGotoPreset = 174;
inline constexpr uint8_t kGetGotoPreset = 175;
inline constexpr uint8_t kSet28181Para = 176;
inline constexpr uint8_t kGet28181Para = 177;
inline constexpr uint8_t kSetHikvisionLinkage = 178;
inline constexpr uint8_t kGetHikvisionLinkage = 179;
inline constexpr uint8_t kSetVisionMaxTemperature = 180;
inline constexpr uint8_t kGetVisionMaxTemperature = 181;
inline constexpr uint8_t kSetAllTemperatureNetworkByteOrder = 182;
inline constexpr uint8_t kGetAllTemperatureNetworkByteOrder = 183;
inline constexpr uint8_t kSetPgSupport = 184;
inline constexpr uint8_t kGetPgSupport = 185;
}  // namespace setting

}  // namespace qz::wire
