// The error channel against the simulated device over loopback TCP: why a
// call failed, per session and per thread, whether a session is connected,
// the log callback and the error texts. The kind each device fault brings is
// the Python binding's test_errors and the CLI's CliDeviceFailure.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qz_nds_ext.h"
#include "sim_session.h"

namespace qz::test {
namespace {

bool read_record(qz_nds_handle h) {
  return qz_nds_get_machine_config_info(h);
}
bool set_framerate(qz_nds_handle h) {
  return qz_nds_set_framerate(h, 30);
}

using ErrorChannel = SimTest;

// A session that never connected; a device that stops listening (its
// standing connection goes on), then closes each new connection at once:
// the calls fail promptly. A device that goes away ends the connection.
TEST_F(ErrorChannel, ConnectionStatesAndRefusedConnectionsHaveTheirKinds) {
  using namespace std::chrono_literals;
  SimClient other;
  EXPECT_FALSE(other.read_record());
  EXPECT_EQ(last_error(other.handle).kind, QZ_NDSX_NOT_CONNECTED);
  EXPECT_EQ(last_error(other.handle).main_command, 174);
  bool up = false;
  EXPECT_TRUE(qz_ndsx_is_connected(client.handle, &up) && up);
  EXPECT_TRUE(qz_ndsx_is_connected(other.handle, &up) && !up);

  sim.set_refuse(sim::RefuseMode::stop_listening);
  EXPECT_LT(time_of([&] { EXPECT_FALSE(connect(other)); }), 4s);
  EXPECT_EQ(last_error(other.handle).kind, QZ_NDSX_CONNECT_FAILED);
  EXPECT_EQ(std::string(last_error(other.handle).address), address());
  EXPECT_TRUE(client.read_record());
  sim.set_refuse(sim::RefuseMode::close_on_accept);
  connect(other);  // the TCP connect itself may get through
  EXPECT_LT(time_of([&] { EXPECT_FALSE(other.read_record()); }), 2s);
  sim.set_refuse(sim::RefuseMode::none);
  ASSERT_TRUE(eventually([&] { return connect(other) && other.read_record(); }));

  sim.stop();
  EXPECT_TRUE(eventually([&] { return qz_ndsx_is_connected(client.handle, &up) && !up; }));
  EXPECT_FALSE(qz_ndsx_last_error(client.handle, nullptr));
}

// Two threads on one session fail differently at the same time; each reads
// the cause of its own call: kind, response code, command and address.
TEST_F(ErrorChannel, ConcurrentCallersEachReadTheirOwnError) {
  sim.set_fault(sim::FaultKey::command(169, 147), {.code = 3});
  sim.set_fault(sim::FaultKey::command(174, 130), {.truncate = 10});
  const std::string at = address();
  std::atomic<int> wrong{0};
  auto loop = [&](bool (*call)(qz_nds_handle), int kind, int code, int main, int sub) {
    for (int i = 0; i < 100; ++i) {
      const bool ok = call(client.handle);
      const qz_ndsx_error e = last_error(client.handle);
      if (ok || e.kind != kind || e.response_code != code || e.main_command != main || e.sub_command != sub ||
          e.address != at)
        ++wrong;
    }
  };
  std::thread refused(loop, set_framerate, QZ_NDSX_REFUSED, 3, 169, 147);
  std::thread short_answer(loop, read_record, QZ_NDSX_BAD_ANSWER, 0, 174, 130);
  refused.join();
  short_answer.join();
  EXPECT_EQ(wrong, 0);
  // A thread that made no call on the session has nothing to report.
  EXPECT_EQ(last_error(client.handle).kind, QZ_NDSX_OK);
}

// The application receives the library's log lines, formatted, on the
// thread that logs them, until it removes its callback.
TEST_F(ErrorChannel, LogLinesReachTheApplicationsCallback) {
  struct Seen {
    std::mutex mutex;
    std::vector<std::string> lines;
  } seen;
  auto callback = [](int level, const char *module, const char *function, const char *text, void *user) {
    auto *s = static_cast<Seen *>(user);
    std::lock_guard lock(s->mutex);
    s->lines.push_back(std::to_string(level) + " " + module + " " + function + ": " + text);
  };
  ASSERT_TRUE(qz_ndsx_set_log_callback(callback, &seen));
  sim.set_fault(sim::FaultKey::command(169, 147), {.code = 3});
  EXPECT_FALSE(set_framerate(client.handle));
  ASSERT_TRUE(qz_ndsx_set_log_callback(nullptr, nullptr));
  EXPECT_FALSE(set_framerate(client.handle));
  const std::vector<std::string> expected = {
      "4 net_dev_setting NetDevSetting::on_response: cmd [169,147]'s response code = 3 is not successed",
      "4 net_dev_setting NetDevSetting::check_response_status: checkout seq = 2's response failed",
      "4 net_dev_setting NetDevSetting::send_cmd: send cmd[169, 147] size = 1 failed",
      "4 net_dev_setting qz_nds_set_framerate: set framerate = 30 failed"};
  std::lock_guard lock(seen.mutex);
  EXPECT_EQ(seen.lines, expected);
}

TEST(ErrorTexts, EveryKindHasItsOwnText) {
  std::vector<std::string> texts;
  for (int kind = QZ_NDSX_OK; kind <= QZ_NDSX_INIT_FAILED; ++kind) texts.emplace_back(qz_ndsx_strerror(kind));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_NE(texts[i], "unknown error") << i;
    for (std::size_t j = 0; j < i; ++j) EXPECT_NE(texts[i], texts[j]);
  }
  EXPECT_STREQ(qz_ndsx_strerror(99), "unknown error");
}

}  // namespace
}  // namespace qz::test
