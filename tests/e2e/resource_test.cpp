// Sessions that come and go leave nothing behind: a thousand cycles of init,
// a refused connect and a call on it, connect, one command, disconnect and
// uninit against the simulated device
// end with the descriptors and threads the process started with (the
// transport's shared I/O thread may come and go with its clients) and, under
// LeakSanitizer, with no leak.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "sim_session.h"

#if defined(QZ_ASAN)
#include <sanitizer/lsan_interface.h>
#endif

namespace qz::test {
namespace {

std::size_t open_descriptors() {
  return entries_of("/proc/self/fd");
}
std::size_t threads() {
  return entries_of("/proc/self/task");
}

// One whole life of a session; false at the first step that failed.
bool session_cycle(const std::string &address, const std::string &refusing) {
  qz_nds_handle handle = nullptr;
  bool ok = qz_nds_init(&handle) && !qz_nds_connect(handle, refusing.c_str()) && !qz_nds_reboot(handle);
  ok = ok && qz_nds_connect(handle, address.c_str());
  uint8_t enabled = 0;
  ok = ok && qz_nds_is_enable_hardware_watchdog(handle, &enabled);
  ok = ok && qz_nds_disconnect(handle);
  return qz_nds_uninit(&handle) && ok && handle == nullptr;
}

TEST(Resources, ThousandSessionCyclesLeaveNoDescriptorThreadOrLeak) {
  constexpr int kCycles = 1000;
  sim::DeviceSim sim{sim::SimOptions{.port = 0}};
  std::string error;
  ASSERT_TRUE(sim.start(&error)) << error;
  const std::string address = "127.0.0.1:" + std::to_string(sim.port());
  // A loopback port nothing listens on any more.
  sim::DeviceSim gone{sim::SimOptions{.port = 0}};
  ASSERT_TRUE(gone.start(&error)) << error;
  const std::string refusing = "127.0.0.1:" + std::to_string(gone.port());
  gone.stop();
  // One cycle first, so that lazily created process state (the log file,
  // resolver caches) exists before counting; the simulator closes its side
  // of a connection a moment after the library did.
  ASSERT_TRUE(session_cycle(address, refusing));
  ASSERT_TRUE(eventually([&] { return sim.stats().active == 0; }));
  const std::size_t fds_before = open_descriptors();
  const std::size_t threads_before = threads();

  int failed = 0;
  for (int i = 0; i < kCycles; ++i) failed += session_cycle(address, refusing) ? 0 : 1;
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(sim.stats().accepted, static_cast<uint64_t>(kCycles) + 1);

  ASSERT_TRUE(eventually([&] { return sim.stats().active == 0; }));
  const std::size_t fds_after = open_descriptors();
  const std::size_t threads_after = threads();
  std::printf("[ resource ] %d cycles: descriptors %zu -> %zu, threads %zu -> %zu\n", kCycles, fds_before,
              fds_after, threads_before, threads_after);
  EXPECT_EQ(fds_after, fds_before);
  // The transport's I/O thread lives while a client does; at most it remains.
  EXPECT_LE(threads_after, threads_before + 1);
#if defined(QZ_ASAN)
  EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#endif
}

}  // namespace
}  // namespace qz::test
