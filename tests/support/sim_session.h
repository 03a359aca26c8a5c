// GoogleTest fixture for end-to-end tests against the simulated device: a
// simulator on 127.0.0.1 with an ephemeral port, one library session
// connected to it over loopback TCP that has read the device's record (the
// passive wireless requests carry its serial number, and a fault can be seen
// to leave it be), and the library's log lines captured.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "device_sim.h"
#include "log_capture.h"
#include "qz_nds_ext.h"
#include "qz_net_dev_setting.h"

// The sanitizer this build runs under, as GCC or clang tells it.
#if defined(__SANITIZE_ADDRESS__)
#define QZ_ASAN 1
#elif defined(__SANITIZE_THREAD__)
#define QZ_TSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QZ_ASAN 1
#elif __has_feature(thread_sanitizer)
#define QZ_TSAN 1
#endif
#endif

namespace qz::test {

// One library session, released when it goes out of scope.
class SimClient {
 public:
  SimClient() { EXPECT_TRUE(qz_nds_init(&handle)); }
  ~SimClient() {
    if (handle != nullptr) qz_nds_uninit(&handle);
  }
  SimClient(const SimClient &) = delete;
  SimClient &operator=(const SimClient &) = delete;

  bool read_record() const { return qz_nds_get_machine_config_info(handle); }

  qz_nds_handle handle = nullptr;
};

// Entries of a folder, such as the process's threads (/proc/self/task) or
// open descriptors (/proc/self/fd).
inline std::size_t entries_of(const char *folder) {
  std::size_t n = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder)) ++n;
  return n;
}

// Why the last call on `handle` failed; with null, the thread's last call.
inline qz_ndsx_error last_error(qz_nds_handle handle) {
  qz_ndsx_error e{};
  EXPECT_TRUE(qz_ndsx_last_error(handle, &e));
  return e;
}

// Polls `done` every 5 ms until it holds or `limit` passed; true when it held.
template <class Done>
bool eventually(Done done, std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Milliseconds a call took.
template <class Call>
std::chrono::milliseconds time_of(Call call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(sim.start(&error)) << error;
    ASSERT_TRUE(connect(client));
    ASSERT_TRUE(client.read_record());
  }

  // "127.0.0.1:PORT" of the simulator.
  std::string address() const { return "127.0.0.1:" + std::to_string(sim.port()); }
  bool connect(const SimClient &c) const { return qz_nds_connect(c.handle, address().c_str()); }

  // Declared first so that it outlives the sessions that talk to it.
  sim::DeviceSim sim{sim::SimOptions{.port = 0}};
  SimClient client;
  LogCapture log;
};

}  // namespace qz::test
