#include "fleet.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace qz::sim {

namespace {

// Digits of the camera numbers in names and file names: four, more for a
// fleet past 9999.
std::size_t number_width(std::size_t count) {
  std::size_t digits = 1;
  for (std::size_t n = count; n >= 10; n /= 10) ++digits;
  return std::max<std::size_t>(digits, 4);
}

std::string zero_padded(std::size_t number, std::size_t width) {
  std::string text = std::to_string(number);
  return std::string(width > text.size() ? width - text.size() : 0, '0') + text;
}

// The base serial with its last characters replaced by the camera number,
// so it stays within the serial's width and each camera's is its own.
std::string camera_serial(const std::string &base, const std::string &number) {
  return base.substr(0, base.size() - std::min(base.size(), number.size())) + number;
}

}  // namespace

Fleet::Fleet(std::size_t count, SimOptions base, DeviceState base_state)
    : base_(std::move(base)), number_width_(number_width(count)) {
  cameras_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    SimOptions options = base_;
    if (base_.port != 0) options.port = static_cast<uint16_t>(base_.port + i);  // checked by start()
    DeviceState state = base_state;
    if (count > 1) {
      options.log_prefix = base_.log_prefix + name(i) + ' ';
      state.device_sn = camera_serial(base_state.device_sn, numbered(i));
    }
    cameras_.push_back(std::make_unique<DeviceSim>(thread_, std::move(options), std::move(state)));
  }
}

Fleet::~Fleet() {
  stop();
}

bool Fleet::start(std::string *error) {
  if (base_.port != 0 && base_.port + size() > 65536) {
    if (error) {
      *error =
          std::to_string(size()) + " cameras from port " + std::to_string(base_.port) + " go past port 65535";
    }
    return false;
  }
  thread_.start();
  std::string message;
  for (std::size_t i = 0; i < size(); ++i) {
    if (camera(i).start(&message)) continue;
    stop();
    if (error) *error = name(i) + ": " + message;
    return false;
  }
  return true;
}

void Fleet::stop() {
  for (auto &camera : cameras_) camera->stop();
  thread_.stop();
}

std::string Fleet::numbered(std::size_t i) const {
  return zero_padded(i + 1, number_width_);
}

std::string Fleet::name(std::size_t i) const {
  return "cam-" + numbered(i);
}

std::string Fleet::address(std::size_t i) const {
  const bool v6 = base_.address.find(':') != std::string::npos;
  const std::string host = v6 ? '[' + base_.address + ']' : base_.address;
  return host + ':' + std::to_string(port(i));
}

nlohmann::ordered_json Fleet::inventory() const {
  nlohmann::ordered_json devices = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < size(); ++i) devices.push_back({{"address", address(i)}, {"name", name(i)}});
  return {{"devices", std::move(devices)}};
}

std::string Fleet::state_path(const std::string &dir, std::size_t i) const {
  return (std::filesystem::path(dir) / ("camera-" + numbered(i) + ".json")).string();
}

bool Fleet::load_states(const std::string &dir, std::string *error) {
  for (std::size_t i = 0; i < size(); ++i) {
    const std::string path = state_path(dir, i);
    std::error_code ec;
    if (!std::filesystem::exists(path, ec) && !ec) continue;  // a camera not saved yet
    if (!camera(i).load_state(path, error)) return false;
  }
  return true;
}

bool Fleet::save_states(const std::string &dir, std::string *error) const {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) {
    if (error) *error = "state directory " + dir + ": cannot create: " + ec.message();
    return false;
  }
  bool saved = true;
  for (std::size_t i = 0; i < size(); ++i) {
    std::string message;
    if (camera(i).save_state(state_path(dir, i), &message)) continue;
    if (saved && error) *error = message;
    saved = false;
  }
  return saved;
}

}  // namespace qz::sim
