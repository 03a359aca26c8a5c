// The layout of the 20-byte system time block that the project's tools use:
// qznds fills it, the simulated device reads it back to show the time it was
// set to. The SDK passes the block on unread, so the layout is the tools'
// choice: eight big-endian 16-bit fields (year, month, day, hour, minute,
// second, millisecond, weekday with 0 = Sunday), local time, then four zero
// bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace qz::wire {

inline constexpr std::size_t kSystemTimeSize = 20;
using SystemTimeBlock = std::array<uint8_t, kSystemTimeSize>;

// A local date and time; the weekday follows from the date.
struct CivilTime {
  int year, month, day, hour, minute, second, millisecond;
  bool operator==(const CivilTime &) const = default;
};

// False for a date that does not exist or a field out of its range (years
// 1970 to 2099).
bool valid_time(const CivilTime &time);

// The block for a valid time.
SystemTimeBlock encode_system_time(const CivilTime &time);

// The time in a block of this layout; nothing for a block of another layout
// (a field out of range, a wrong weekday, non-zero trailing bytes).
std::optional<CivilTime> decode_system_time(const SystemTimeBlock &block);

// The local clock's time now.
CivilTime local_now();

// "YYYY-MM-DDTHH:MM:SS", with ".mmm" when `with_milliseconds`.
std::string format_time(const CivilTime &time, bool with_milliseconds);

// The time a block was set to, with milliseconds; "" for another layout.
std::string system_time_text(const SystemTimeBlock &block);

}  // namespace qz::wire
