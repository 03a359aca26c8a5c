#include "system_time.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <iterator>

namespace qz::wire {

namespace {

constexpr std::size_t kFieldCount = 8;

std::chrono::year_month_day date_of(const CivilTime &t) {
  return {std::chrono::year{t.year}, std::chrono::month(static_cast<unsigned>(t.month)),
          std::chrono::day(static_cast<unsigned>(t.day))};
}

int weekday_of(const CivilTime &t) {
  return static_cast<int>(std::chrono::weekday(std::chrono::sys_days(date_of(t))).c_encoding());
}

}  // namespace

bool valid_time(const CivilTime &t) {
  const auto in = [](int value, int lo, int hi) { return value >= lo && value <= hi; };
  return in(t.year, 1970, 2099) && in(t.month, 1, 12) && in(t.day, 1, 31) && date_of(t).ok() &&
         in(t.hour, 0, 23) && in(t.minute, 0, 59) && in(t.second, 0, 59) && in(t.millisecond, 0, 999);
}

SystemTimeBlock encode_system_time(const CivilTime &t) {
  const int fields[kFieldCount] = {t.year,   t.month,  t.day,         t.hour,
                                   t.minute, t.second, t.millisecond, weekday_of(t)};
  SystemTimeBlock block{};
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    block[2 * i] = static_cast<uint8_t>((fields[i] >> 8) & 0xFF);
    block[2 * i + 1] = static_cast<uint8_t>(fields[i] & 0xFF);
  }
  return block;
}

std::optional<CivilTime> decode_system_time(const SystemTimeBlock &block) {
  int fields[kFieldCount];
  for (std::size_t i = 0; i < kFieldCount; ++i) fields[i] = block[2 * i] << 8 | block[2 * i + 1];
  for (std::size_t i = 2 * kFieldCount; i < block.size(); ++i) {
    if (block[i] != 0) return std::nullopt;
  }
  const CivilTime t{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6]};
  if (!valid_time(t) || weekday_of(t) != fields[7]) return std::nullopt;
  return t;
}

std::string format_time(const CivilTime &t, bool with_milliseconds) {
  char text[80];  // room for any int in every field
  int n = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", t.year, t.month, t.day, t.hour,
                        t.minute, t.second);
  if (with_milliseconds) std::snprintf(text + n, sizeof text - n, ".%03d", t.millisecond);
  return text;
}

std::string system_time_text(const SystemTimeBlock &block) {
  const auto time = decode_system_time(block);
  return time ? format_time(*time, true) : "";
}

CivilTime local_now() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm tm{};
#ifdef _WIN32
  localtime_s(&tm, &seconds);
#else
  localtime_r(&seconds, &tm);
#endif
  const auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  return CivilTime{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,          tm.tm_hour,
                   tm.tm_min,         tm.tm_sec,     static_cast<int>(ms)};
}

}  // namespace qz::wire
