// The benchmark's own parts: the lean device must answer like the simulated
// device, in order, to every client (pipelined requests go through its request
// cutter); the baselines must match answers to their callers; the load must
// reach every session; the fleet figures' path must check what the tool did.
#include "lean_device.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <thread>

#include "device_commands.h"
#include "fleet_run.h"
#include "load.h"
#include "plain_clients.h"
#include "qz_net_dev_setting.h"
#include "wire_frame.h"

namespace qz::bench {
namespace {

using Bytes = std::vector<uint8_t>;

// What the simulated device answers to one request on a fresh state.
Bytes simulated_answer(const Bytes &request, sim::DeviceState &state) {
  const std::size_t payload = request.size() - wire::kFrameOverhead;
  sim::Reply r = sim::handle_request(state, request[wire::kOffMain], request[wire::kOffSub],
                                     request.data() + wire::kHeaderSize, payload);
  return wire::make_frame(wire::kPackageResponse, request[wire::kOffMain],
                          r.answer_sub.value_or(request[wire::kOffSub]), r.code,
                          wire::load_be32(request.data() + wire::kOffSeq), r.payload);
}

TEST(AnswerBook, AnswersLikeTheSimulatedDeviceAndKeepsSettings) {
  AnswerBook book;
  sim::DeviceState reference;
  const Bytes requests[] = {
      query_frame(169, 159, 5),
      query_frame(174, 130, 6),
      query_frame(169, 159, 7),  // the same query again: from the book, new seq
      wire::make_frame(wire::kPackageRequest, 169, 158, 2, 8, Bytes{0, 0, 0x1f, 0x90}),
      query_frame(169, 159, 9),  // after the set: the new port
      query_frame(250, 1, 10),   // unknown command
  };
  for (const Bytes &request : requests) {
    SCOPED_TRACE(wire::load_be32(request.data() + wire::kOffSeq));
    Bytes out;
    book.answer(request.data(), request.size(), out);
    EXPECT_EQ(out, simulated_answer(request, reference));
  }
}

// A lean device serving on a thread of this process, for one test.
class ServedDevice {
 public:
  ServedDevice() {
    EXPECT_EQ(::pipe(stop_), 0);
    std::string error;
    EXPECT_TRUE(device_.listen(2, error)) << error;
    thread_ = std::thread([this] { device_.serve(stop_[0]); });
  }
  ~ServedDevice() {
    ::close(stop_[1]);
    thread_.join();
    ::close(stop_[0]);
  }
  uint16_t port() const { return device_.port(); }

 private:
  LeanDevice device_;
  int stop_[2] = {-1, -1};
  std::thread thread_;
};

TEST(LeanDevice, AnswersPlainClientsInOrder) {
  ServedDevice device;
  BlockingClient client;
  ASSERT_TRUE(client.connect(device.port()));
  EXPECT_TRUE(client.round_trip(169, 159));
  EXPECT_TRUE(client.round_trip(174, 130));
  EXPECT_GE(client.last_answer_size(), 267u + wire::kFrameOverhead);
  for (int n : {1, 8, 300}) EXPECT_TRUE(client.pipelined(169, 159, n)) << n;
}

TEST(LeanDevice, AnswersEachCallerOfTheReceiveThreadBaseline) {
  ServedDevice device;
  ThreadedClient client;
  ASSERT_TRUE(client.connect(device.port()));
  std::atomic<int> failed{0};
  std::vector<std::thread> callers;
  for (int t = 0; t < 6; ++t) {
    callers.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        if (!client.round_trip(t % 2 ? 169 : 174, t % 2 ? 159 : 130)) ++failed;
      }
    });
  }
  for (auto &c : callers) c.join();
  EXPECT_EQ(failed, 0);
  // A command the device refuses comes back as a failure, not a hang.
  EXPECT_FALSE(client.round_trip(250, 1));
  client.close();
  EXPECT_FALSE(client.round_trip(169, 159));
}

TEST(LeanDevice, ServesTheSdk) {
  ServedDevice device;
  qz_nds_handle handle = nullptr;
  ASSERT_TRUE(qz_nds_init(&handle));
  const std::string address = "127.0.0.1:" + std::to_string(device.port());
  ASSERT_TRUE(qz_nds_connect(handle, address.c_str()));
  uint32_t port = 0;
  EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port));
  EXPECT_EQ(port, sim::DeviceState{}.mqtt_port);
  EXPECT_TRUE(qz_nds_get_machine_config_info(handle));
  qz_nds_uninit(&handle);
}

TEST(Load, EverySessionBelongsToExactlyOneCaller) {
  struct Case {
    std::size_t callers, sessions;
  } cases[] = {{8, 10000}, {8, 100}, {3, 10}, {1, 5}};
  for (const Case &c : cases) {
    std::multiset<std::size_t> seen;
    for (std::size_t t = 0; t < c.callers; ++t) {
      for (std::size_t s : slice_of(t, c.callers, c.sessions)) seen.insert(s);
    }
    EXPECT_EQ(seen.size(), c.sessions);
    EXPECT_EQ(std::set<std::size_t>(seen.begin(), seen.end()).size(), c.sessions);
  }
  // Fewer sessions than callers: the callers share them.
  EXPECT_EQ(slice_of(5, 8, 1), std::vector<std::size_t>{0});
  EXPECT_EQ(slice_of(5, 8, 2), std::vector<std::size_t>{1});
}

TEST(Load, CallsEverySessionAndCountsFailures) {
  std::vector<std::atomic<int>> calls(50);
  const LoadResult r = run_load(4, calls.size(), 0.05, [&](std::size_t s) {
    ++calls[s];
    return s != 7;
  });
  for (auto &c : calls) EXPECT_GE(c.load(), 1);
  EXPECT_EQ(r.failures, static_cast<std::size_t>(calls[7].load()));
  EXPECT_GT(r.calls_per_second, 0);
}

// The fleet figures' own path on 20 cameras: the tool's runs are measured,
// an apply changes the ten settings and a second one none, and the checks
// refuse counts that do not match.
TEST(FleetRun, ExportAndApplyOnTwentyCamerasAreMeasuredAndChecked) {
  const FleetSetup setup{.tool = QZ_BENCH_QZNDS,
                         .sim = QZ_BENCH_QZNDS_SIM,
                         .cameras = 20,
                         .jobs = 4,
                         .silent = 0,
                         .work_dir = ::testing::TempDir() + "qz_bench_fleet_" + std::to_string(getpid())};
  for (const FleetRow &row : {kFleetRows[0], kFleetRows[1]}) {
    SCOPED_TRACE(row.key);
    FleetMeasure m;
    std::string error;
    ASSERT_TRUE(measure_fleet_row(row, setup, m, error)) << error;
    EXPECT_GT(m.run.process.seconds, 0);
    EXPECT_GT(m.run.process.peak_threads, 0u);
    EXPECT_GT(m.run.process.peak_resident_bytes, 0u);
    EXPECT_EQ(m.again.has_value(), row.apply);
    EXPECT_NE(check_fleet_run(m.run, 20, 19, -1), "");
    if (m.again) {
      EXPECT_NE(check_fleet_run(*m.again, 20, 20, 10), "");
    }
  }
  std::filesystem::remove_all(setup.work_dir);
}

}  // namespace
}  // namespace qz::bench
