// What the camera accepts of the values the protocol can carry: the longest
// texts it keeps and the ranges of its small numbers. The simulated device
// refuses what lies outside them; the settings catalogue names them when a
// camera refuses a value.
#pragma once

#include <cstddef>
#include <cstdint>

#include "machine_record_layout.h"

namespace qz::wire::limits {

inline constexpr std::size_t kIdentityTextMax = machine_record::kIdentityTextWidth;
inline constexpr std::size_t kSerialNumberMax = machine_record::kSerialWidth;
inline constexpr std::size_t kIpTextMax = machine_record::kIpTextWidth;
inline constexpr std::size_t kIpTextCount = machine_record::kIpTextCount;
inline constexpr std::size_t kChannelNameMax = machine_record::kMaxNameLength;
inline constexpr std::size_t kLinkTextMax = 64;  // visual camera and MQTT texts
inline constexpr std::size_t kVisualSnMax = 32;
inline constexpr std::size_t kGb28181TextMax = 63;
inline constexpr std::size_t kDomainMax = 128;
inline constexpr std::size_t kAccountInfoMax = 4096;

inline constexpr uint8_t kLinkCountMax = 16;
inline constexpr uint8_t kPaletteMax = 15;
inline constexpr uint8_t kFramerateMin = 1;
inline constexpr uint8_t kFramerateMax = 60;
inline constexpr uint8_t kLensMethodMax = 3;

}  // namespace qz::wire::limits
