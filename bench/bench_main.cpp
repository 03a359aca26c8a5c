// Cost of SDK calls against what plain sockets achieve on the same machine,
// on loopback against a lean device in a process of its own.
//
//   qz_nds_bench [Google Benchmark flags]
//
// Every benchmark stores its figures; the run ends with one table of
// figures, baselines, ratios and targets (see docs/performance.md).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "figures.h"
#include "fleet_run.h"
#include "lean_device.h"
#include "load.h"
#include "plain_clients.h"
#include "process_probe.h"
#include "qz_net_dev_setting.h"

namespace qz::bench {
namespace {

using Clock = std::chrono::steady_clock;

struct Command {
  const char *name;
  uint8_t main;
  uint8_t sub;
};
constexpr Command kMqttPort{"169/159", 169, 159};
constexpr Command kMachineConfig{"174/130", 174, 130};

constexpr int kDeviceThreads = 1;
constexpr int kManyCallers = 8;
constexpr double kRoundTripSeconds = 1.5;
constexpr double kLoadSeconds = 0.5;  // device alone
constexpr double kSliceSeconds = 0.1;
constexpr int kCallerRounds = 3;
constexpr double kManySliceSeconds = 0.25;
constexpr int kManySlices = 5;
const std::vector<int> kCallerCounts = {1, 2, 4, 8};
const std::vector<int> kSessionCounts = {100, 1000, 10000};
const std::vector<int> kInFlight = {1, 8, 64};
// 64 devices at once: on two CPUs 16 already keep both busy, and the 10
// silent cameras, each holding its job for the answer timeout, then leave
// 54 to the rest of the fleet.
constexpr int kFleetCameras = 1000;
constexpr int kFleetJobs = 64;
constexpr int kFleetSilent = 10;

// One SDK session connected to the device, released on destruction.
class SdkSession {
 public:
  explicit SdkSession(uint16_t port) {
    const std::string address = "127.0.0.1:" + std::to_string(port);
    connected_ = qz_nds_init(&handle_) && qz_nds_connect(handle_, address.c_str());
  }
  ~SdkSession() {
    if (handle_ != nullptr) qz_nds_uninit(&handle_);
  }
  SdkSession(const SdkSession &) = delete;
  SdkSession &operator=(const SdkSession &) = delete;
  bool connected() const { return connected_; }
  qz_nds_handle handle() const { return handle_; }

 private:
  qz_nds_handle handle_ = nullptr;
  bool connected_ = false;
};

// The export behind each command; true when the device's answer came back.
bool sdk_call(qz_nds_handle handle, const Command &command) {
  if (command.main == kMqttPort.main) {
    uint32_t port = 0;
    // The export reports only usable arguments; a failed exchange reads 0.
    return qz_nds_get_mqtt_port(handle, &port) && port != 0;
  }
  return qz_nds_get_machine_config_info(handle);
}

// The devices and the long-lived clients of the round-trip and one-session
// benchmarks, all made before the first benchmark runs.
struct Bench {
  DeviceProcess *device = nullptr;
  std::unique_ptr<SdkSession> sdk;
  std::unique_ptr<BlockingClient> blocking;
  std::unique_ptr<ThreadedClient> threaded;
};
Bench g_bench;

uint16_t device_port() {
  return g_bench.device->lean_port();
}

void fail(benchmark::State &state, const std::string &why) {
  state.SkipWithError(why.c_str());
}

// ---- Round trips --------------------------------------------------------------

// One client under measurement: its figure key and one call.
struct Client {
  std::string key;
  std::function<bool()> call;
};

// Round trips of every client, taken in turns of kTurn calls for `seconds`,
// so that each client meets the same moods of the machine.
void interleaved_round_trips(benchmark::State &state, const std::vector<Client> &clients, double seconds) {
  constexpr int kTurn = 20;
  std::vector<std::vector<double>> us(clients.size());
  for (auto _ : state) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
      for (std::size_t c = 0; c < clients.size(); ++c) {
        for (int i = 0; i < kTurn; ++i) {
          const auto start = Clock::now();
          const bool ok = clients[c].call();
          const auto stop = Clock::now();
          if (!ok) return fail(state, clients[c].key + ": a call failed");
          us[c].push_back(std::chrono::duration<double, std::micro>(stop - start).count());
        }
      }
    }
  }
  for (std::size_t c = 0; c < clients.size(); ++c) {
    figures().add_samples(clients[c].key, us[c]);
    std::sort(us[c].begin(), us[c].end());
    state.counters[clients[c].key.substr(clients[c].key.rfind('/') + 1) + "_p50_us"] =
        us[c][us[c].size() / 2];
  }
}

void round_trips(benchmark::State &state, Command command) {
  interleaved_round_trips(
      state,
      {
          {round_trip_key(command.name, "a"),
           [=] { return g_bench.blocking->round_trip(command.main, command.sub); }},
          {round_trip_key(command.name, "b"),
           [=] { return g_bench.threaded->round_trip(command.main, command.sub); }},
          {round_trip_key(command.name, "sdk"), [=] { return sdk_call(g_bench.sdk->handle(), command); }},
      },
      kRoundTripSeconds);
}

// ---- Device alone -------------------------------------------------------------

// Answers per second of one device on one plain connection, `in_flight`
// requests written at once.
void device_alone(benchmark::State &state, std::string device, int in_flight) {
  BlockingClient client;
  const uint16_t port = device == "lean" ? g_bench.device->lean_port() : g_bench.device->sim_port();
  if (!client.connect(port)) return fail(state, "connect failed");
  for (auto _ : state) {
    const LoadResult r = run_load(1, 1, kLoadSeconds, [&](std::size_t) {
      return client.pipelined(kMqttPort.main, kMqttPort.sub, in_flight);
    });
    if (r.failures != 0) return fail(state, "a request failed");
    const double answers = r.calls_per_second * in_flight;
    figures().add_value(device_key(device, in_flight), answers);
    state.counters["answers_per_s"] = answers;
  }
}

// ---- One session, several callers -------------------------------------------

// Throughput of the SDK and of baseline (b) with 1, 2, 4 and 8 callers on one
// connection, in slices of kSliceSeconds taken in turns.
void callers_on_one_session(benchmark::State &state) {
  auto sdk = [](std::size_t) { return sdk_call(g_bench.sdk->handle(), kMqttPort); };
  auto threaded = [](std::size_t) { return g_bench.threaded->round_trip(kMqttPort.main, kMqttPort.sub); };
  for (auto _ : state) {
    for (int round = 0; round < kCallerRounds; ++round) {
      for (int n : kCallerCounts) {
        for (const char *client : {"sdk", "b"}) {
          const double device_before = g_bench.device->cpu_seconds();
          const double own_before = process_cpu_seconds();
          const LoadResult r =
              client[0] == 's' ? run_load(n, 1, kSliceSeconds, sdk) : run_load(n, 1, kSliceSeconds, threaded);
          if (r.failures != 0) return fail(state, std::to_string(r.failures) + " calls failed");
          const double device_cpu = g_bench.device->cpu_seconds() - device_before;
          const double own_cpu = process_cpu_seconds() - own_before;
          const std::string key = callers_key(client, n);
          figures().add_value(key, r.calls_per_second);
          figures().add_value(key + "/device_cpu", device_cpu / r.seconds);
          figures().add_value(key + "/cpu_us_per_call",
                              (device_cpu + own_cpu) * 1e6 / static_cast<double>(r.calls));
        }
      }
    }
  }
  for (int n : kCallerCounts) {
    state.counters["sdk_calls_per_s_" + std::to_string(n)] =
        figures().value(callers_key("sdk", n)).value_or(0);
  }
}

// ---- Many sessions --------------------------------------------------------------

// Connects `sessions` sessions one after another, keeps them busy with the
// caller threads, then releases them. Figures: connect time, throughput,
// threads and resident memory per session.
template <class Session, class Connect, class Call>
void many_sessions(benchmark::State &state, const std::string &client, int sessions, Connect connect,
                   Call call) {
  for (auto _ : state) {
    trim_heap();
    const std::size_t threads_before = thread_count();
    const std::size_t resident_before = resident_bytes();
    std::vector<std::unique_ptr<Session>> all;
    all.reserve(static_cast<std::size_t>(sessions));
    const auto start = Clock::now();
    for (int i = 0; i < sessions; ++i) {
      all.push_back(connect());
      if (!all.back()) return fail(state, "connect " + std::to_string(i + 1) + " failed");
    }
    const double connect_s = std::chrono::duration<double>(Clock::now() - start).count();
    const std::size_t threads_idle = thread_count();
    const double resident_per_session =
        (static_cast<double>(resident_bytes()) - static_cast<double>(resident_before)) / sessions;

    // Slices of at least one sweep over every session; their median rate
    // shrugs off a passing burst of other load on the machine.
    std::vector<double> rates;
    std::size_t failures = 0, threads_busy = 0;
    for (int slice = 0; slice < kManySlices; ++slice) {
      const LoadResult r =
          run_load(kManyCallers, all.size(), kManySliceSeconds, [&](std::size_t i) { return call(*all[i]); });
      rates.push_back(r.calls_per_second);
      failures += r.failures;
      threads_busy = std::max(threads_busy, r.threads_while_busy);
    }
    std::sort(rates.begin(), rates.end());
    const double resident_busy =
        (static_cast<double>(resident_bytes()) - static_cast<double>(resident_before)) / sessions;
    all.clear();

    if (failures != 0) return fail(state, std::to_string(failures) + " calls failed");
    auto put = [&](const char *what, double v) {
      figures().add_value(many_key(client, sessions, what), v);
      state.counters[what] = v;
    };
    put("connect_ms", connect_s * 1e3);
    put("calls_per_s", rates[rates.size() / 2]);
    put("threads_before", static_cast<double>(threads_before));
    put("threads_idle", static_cast<double>(threads_idle));
    put("threads_busy", static_cast<double>(threads_busy));
    put("rss_per_session", resident_per_session);
    put("rss_per_session_busy", resident_busy);
  }
}

void many_sdk(benchmark::State &state, int sessions) {
  many_sessions<SdkSession>(
      state, "sdk", sessions,
      []() -> std::unique_ptr<SdkSession> {
        auto s = std::make_unique<SdkSession>(device_port());
        return s->connected() ? std::move(s) : nullptr;
      },
      [](SdkSession &s) { return sdk_call(s.handle(), kMqttPort); });
}

void many_plain(benchmark::State &state, int sessions) {
  many_sessions<BlockingClient>(
      state, "a", sessions,
      []() -> std::unique_ptr<BlockingClient> {
        auto c = std::make_unique<BlockingClient>();
        return c->connect(device_port()) ? std::move(c) : nullptr;
      },
      [](BlockingClient &c) { return c.round_trip(kMqttPort.main, kMqttPort.sub); });
}

// ---- Fleet ------------------------------------------------------------------------

// The tool on a fleet of simulated cameras, each program in a process of its
// own (the paths come from the build).
void fleet(benchmark::State &state, FleetRow row) {
  const FleetSetup setup{.tool = QZ_BENCH_QZNDS,
                         .sim = QZ_BENCH_QZNDS_SIM,
                         .cameras = kFleetCameras,
                         .jobs = kFleetJobs,
                         .silent = kFleetSilent,
                         .work_dir = (std::filesystem::temp_directory_path() /
                                      ("qz_nds_bench_fleet." + std::to_string(::getpid())) / row.key)
                                         .string()};
  for (const std::string &program : {setup.tool, setup.sim}) {
    if (!std::filesystem::exists(program)) return fail(state, program + " is not built");
  }
  for (auto _ : state) {
    FleetMeasure m;
    std::string error;
    const bool ok = measure_fleet_row(row, setup, m, error);
    std::filesystem::remove_all(std::filesystem::path(setup.work_dir).parent_path());
    if (!ok) return fail(state, error);
    auto put = [&](const char *what, double v) {
      figures().add_value(fleet_key(row.key, what), v);
      state.counters[what] = v;
    };
    put("seconds", m.run.process.seconds);
    put("threads", static_cast<double>(m.run.process.peak_threads));
    put("resident_bytes", static_cast<double>(m.run.process.peak_resident_bytes));
    if (m.again) put("again_seconds", m.again->process.seconds);
  }
}

// ---- Registration -----------------------------------------------------------------

void register_benchmarks(std::size_t descriptor_limit, std::vector<int> &session_counts) {
  for (const std::string device : {"lean", "sim"}) {
    for (int n : kInFlight) {
      benchmark::RegisterBenchmark(("device_alone/" + device + "/in_flight:" + std::to_string(n)).c_str(),
                                   device_alone, device, n)
          ->Iterations(1)
          ->Unit(benchmark::kMillisecond);
    }
  }
  for (const Command &c : {kMqttPort, kMachineConfig}) {
    const std::string name = std::string("round_trip/") + (c.main == 169 ? "mqtt_port" : "machine_config");
    benchmark::RegisterBenchmark(name.c_str(), round_trips, c)->Iterations(1)->Unit(benchmark::kMillisecond);
  }
  // A silent camera costs one answer timeout (10 s): those rows run once.
  for (const FleetRow &row : kFleetRows) {
    benchmark::RegisterBenchmark((std::string("fleet/") + row.key).c_str(), fleet, row)
        ->Iterations(1)
        ->Repetitions(row.silent ? 1 : 3)
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RegisterBenchmark("one_session/callers", callers_on_one_session)
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
  // Each session takes one descriptor here and one in the device process;
  // keep a margin for the rest of the process.
  for (int n : kSessionCounts) {
    const int usable =
        static_cast<int>(std::min<std::size_t>(n, descriptor_limit > 200 ? descriptor_limit - 200 : 0));
    if (usable <= 0) continue;
    session_counts.push_back(usable);
    benchmark::RegisterBenchmark(("many_sessions/sdk/sessions:" + std::to_string(usable)).c_str(), many_sdk,
                                 usable)
        ->Iterations(1)
        ->Repetitions(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("many_sessions/a_blocking/sessions:" + std::to_string(usable)).c_str(),
                                 many_plain, usable)
        ->Iterations(1)
        ->Repetitions(1)
        ->Unit(benchmark::kMillisecond);
  }
}

int run(int argc, char **argv) {
  RunSetup setup;
  setup.load_at_start = load_average();
  setup.descriptor_limit = raise_descriptor_limit();
  setup.machine = machine_description();
  setup.device_threads = kDeviceThreads;
  setup.many_callers = kManyCallers;
  setup.caller_counts = kCallerCounts;
  setup.fleet_cameras = kFleetCameras;
  setup.fleet_jobs = kFleetJobs;
  setup.fleet_silent = kFleetSilent;

  // The device process is forked before any thread exists.
  DeviceProcess device;
  std::string error;
  if (!device.start(kDeviceThreads, error)) {
    std::cerr << "device: " << error << "\n";
    return 1;
  }
  g_bench.device = &device;
  g_bench.sdk = std::make_unique<SdkSession>(device.lean_port());
  g_bench.blocking = std::make_unique<BlockingClient>();
  g_bench.threaded = std::make_unique<ThreadedClient>();
  if (!g_bench.sdk->connected() || !g_bench.blocking->connect(device.lean_port()) ||
      !g_bench.threaded->connect(device.lean_port())) {
    std::cerr << "cannot connect to the device on 127.0.0.1:" << device.lean_port() << "\n";
    return 1;
  }

  // Repetitions in random order, so that each figure and its baseline share
  // the machine's moods; command-line flags come later and win.
  std::vector<std::string> defaults = {"--benchmark_repetitions=3",
                                       "--benchmark_enable_random_interleaving=true"};
  std::vector<char *> args = {argv[0]};
  for (auto &d : defaults) args.push_back(d.data());
  for (int i = 1; i < argc; ++i) args.push_back(argv[i]);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  register_benchmarks(setup.descriptor_limit, setup.session_counts);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  setup.load_at_end = load_average();
  print_table(std::cout, setup);
  g_bench = {};
  return 0;
}

}  // namespace
}  // namespace qz::bench

int main(int argc, char **argv) {
  return qz::bench::run(argc, argv);
}
