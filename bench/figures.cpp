#include "figures.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "fleet_run.h"

namespace qz::bench {

// ---- Figures ------------------------------------------------------------------

void Figures::add_samples(const std::string &key, const std::vector<double> &us) {
  std::lock_guard lock(mutex_);
  auto &all = samples_[key];
  all.insert(all.end(), us.begin(), us.end());
}

void Figures::add_value(const std::string &key, double value) {
  std::lock_guard lock(mutex_);
  values_[key].push_back(value);
}

namespace {

std::optional<double> nth(std::vector<double> v, double q) {
  if (v.empty()) return std::nullopt;
  const auto i = static_cast<std::size_t>(std::min(q * static_cast<double>(v.size()), double(v.size() - 1)));
  std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(i), v.end());
  return v[i];
}

}  // namespace

std::optional<double> Figures::percentile(const std::string &key, double q) const {
  std::lock_guard lock(mutex_);
  auto it = samples_.find(key);
  if (it == samples_.end()) return std::nullopt;
  return nth(it->second, q);
}

std::optional<double> Figures::value(const std::string &key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return nth(it->second, 0.5);
}

std::size_t Figures::sample_count(const std::string &key) const {
  std::lock_guard lock(mutex_);
  auto it = samples_.find(key);
  return it == samples_.end() ? 0 : it->second.size();
}

Figures &figures() {
  static Figures f;
  return f;
}

std::string round_trip_key(const std::string &command, const std::string &client) {
  return "rt/" + command + "/" + client;
}
std::string callers_key(const std::string &client, int callers) {
  return "callers/" + client + "/" + std::to_string(callers);
}
std::string device_key(const std::string &device, int in_flight) {
  return "device/" + device + "/" + std::to_string(in_flight);
}
std::string many_key(const std::string &client, int sessions, const std::string &what) {
  return "many/" + client + "/" + std::to_string(sessions) + "/" + what;
}

std::string fleet_key(const std::string &row, const std::string &what) {
  return "fleet/" + row + "/" + what;
}

// ---- Table --------------------------------------------------------------------

namespace {

std::string format(const char *fmt, ...) {
  char buffer[512];
  va_list args;
  va_start(args, fmt);
  std::vsnprintf(buffer, sizeof buffer, fmt, args);
  va_end(args);
  return buffer;
}

// A number right-aligned in `width`, or "-" when it was not measured.
std::string cell(std::optional<double> v, int width, int decimals) {
  if (!v || !std::isfinite(*v)) return format("%*s", width, "-");
  return format("%*.*f", width, decimals, *v);
}

std::optional<double> ratio(std::optional<double> a, std::optional<double> b) {
  if (!a || !b || *b == 0) return std::nullopt;
  return *a / *b;
}

const char *verdict(bool met) {
  return met ? "met" : "MISSED";
}

void print_device_alone(std::ostream &out) {
  const Figures &f = figures();
  out << "\n1. Device alone: plain socket, one connection, requests written together (169/159)\n";
  out << "   device                  in flight    answers/s\n";
  for (const char *device : {"lean", "sim"}) {
    for (int n : {1, 8, 64}) {
      const auto v = f.value(device_key(device, n));
      if (!v) continue;
      out << format("   %-22s %10d %12s\n", device[0] == 'l' ? "lean device (used)" : "simulated device", n,
                    cell(v, 12, 0).c_str());
    }
  }
}

void print_round_trips(std::ostream &out) {
  const Figures &f = figures();
  out << "\n2. Round trip, one session, one caller          median us    p99 us   median/(a)  median/(b)\n";
  struct Row {
    const char *client;
    const char *label;
  };
  const Row rows[] = {{"a", "(a) blocking socket"}, {"b", "(b) receive thread + condvar"}, {"sdk", nullptr}};
  std::string targets;
  for (const char *command : {"169/159", "174/130"}) {
    const bool small = command[1] == '6';
    if (f.sample_count(round_trip_key(command, "sdk")) == 0 &&
        f.sample_count(round_trip_key(command, "a")) == 0)
      continue;
    out << "   " << command << (small ? " (small answer)" : " (267-byte record)") << "\n";
    const auto a = f.percentile(round_trip_key(command, "a"), 0.5);
    const auto b = f.percentile(round_trip_key(command, "b"), 0.5);
    for (const Row &row : rows) {
      const std::string key = round_trip_key(command, row.client);
      const auto median = f.percentile(key, 0.5);
      const char *label = row.label ? row.label
                          : small   ? "SDK qz_nds_get_mqtt_port"
                                    : "SDK qz_nds_get_machine_config_info";
      out << format("     %-40s %9s %9s %11s %11s\n", label, cell(median, 9, 1).c_str(),
                    cell(f.percentile(key, 0.99), 9, 1).c_str(), cell(ratio(median, a), 11, 2).c_str(),
                    cell(ratio(median, b), 11, 2).c_str());
    }
    const auto sdk = f.percentile(round_trip_key(command, "sdk"), 0.5);
    const auto vs_b = ratio(sdk, b);
    const auto vs_a = ratio(sdk, a);
    if (vs_b && vs_a) {
      targets += format("   Target %s: SDK <= 1.15 x (b): %.2f x, %s; aim 1.3 x (a): %.2f x, %s\n", command,
                        *vs_b, verdict(*vs_b <= 1.15), *vs_a, verdict(*vs_a <= 1.3));
    }
  }
  out << targets;
}

void print_callers(std::ostream &out, const RunSetup &setup) {
  const Figures &f = figures();
  out << "\n3. One session, several caller threads (169/159)\n";
  out << "   callers   SDK calls/s  x 1 caller   (b) calls/s  x 1 caller   SDK/(b)   device CPU"
         "   CPU us/call: SDK   (b)\n";
  const auto sdk1 = f.value(callers_key("sdk", 1));
  const auto b1 = f.value(callers_key("b", 1));
  for (int n : setup.caller_counts) {
    const auto sdk = f.value(callers_key("sdk", n));
    const auto b = f.value(callers_key("b", n));
    if (!sdk && !b) continue;
    const auto cpu = f.value(callers_key("sdk", n) + "/device_cpu");
    out << format("   %7d %13s %11s %13s %11s %9s %11s%% %18s %5s\n", n, cell(sdk, 13, 0).c_str(),
                  cell(ratio(sdk, sdk1), 11, 2).c_str(), cell(b, 13, 0).c_str(),
                  cell(ratio(b, b1), 11, 2).c_str(), cell(ratio(sdk, b), 9, 2).c_str(),
                  cell(cpu ? std::optional(*cpu * 100) : cpu, 11, 0).c_str(),
                  cell(f.value(callers_key("sdk", n) + "/cpu_us_per_call"), 18, 1).c_str(),
                  cell(f.value(callers_key("b", n) + "/cpu_us_per_call"), 5, 1).c_str());
  }
  if (const auto scale = ratio(f.value(callers_key("sdk", 8)), sdk1)) {
    out << format("   Target: 8 callers >= 3 x 1 caller: %.2f x, %s\n", *scale, verdict(*scale >= 3));
  }
}

void print_many(std::ostream &out, const RunSetup &setup) {
  const Figures &f = figures();
  out << format("\n4. Many sessions in one process; %d caller threads call every session in turn (169/159)\n",
                setup.many_callers);
  out << "   sessions  connect all ms: SDK  plain  SDK/plain   calls/s: SDK    plain  SDK/plain"
         "   threads before/idle/busy   RSS KiB/session idle/busy\n";
  bool threads_met = true, memory_met = true, any = false;
  for (int n : setup.session_counts) {
    auto sdk = [&](const char *what) { return f.value(many_key("sdk", n, what)); };
    auto plain = [&](const char *what) { return f.value(many_key("a", n, what)); };
    if (!sdk("connect_ms") && !plain("connect_ms")) continue;
    const auto before = sdk("threads_before"), idle = sdk("threads_idle"), busy = sdk("threads_busy");
    const auto rss_idle = sdk("rss_per_session"), rss_busy = sdk("rss_per_session_busy");
    out << format("   %8d %19s %6s %10s %14s %8s %10s   %10s/%s/%s %21s/%s\n", n,
                  cell(sdk("connect_ms"), 19, 0).c_str(), cell(plain("connect_ms"), 6, 0).c_str(),
                  cell(ratio(sdk("connect_ms"), plain("connect_ms")), 10, 2).c_str(),
                  cell(sdk("calls_per_s"), 14, 0).c_str(), cell(plain("calls_per_s"), 8, 0).c_str(),
                  cell(ratio(sdk("calls_per_s"), plain("calls_per_s")), 10, 2).c_str(),
                  cell(before, 10, 0).c_str(), cell(idle, 1, 0).c_str(), cell(busy, 1, 0).c_str(),
                  cell(rss_idle ? std::optional(*rss_idle / 1024) : rss_idle, 21, 1).c_str(),
                  cell(rss_busy ? std::optional(*rss_busy / 1024) : rss_busy, 1, 1).c_str());
    if (!before || !idle || !busy || !rss_idle || !rss_busy) continue;
    any = true;
    threads_met = threads_met && *idle == *before && *busy == *before + setup.many_callers;
    memory_met = memory_met && std::max(*rss_idle, *rss_busy) <= 32 * 1024;
  }
  out << "   (threads before: main thread, the transport's one I/O thread, the receive thread of baseline "
         "(b))\n";
  if (any) {
    out << format(
        "   Target: threads = fixed number + callers at every size: %s; memory <= 32 KiB/session: %s\n",
        verdict(threads_met), verdict(memory_met));
  }
  const int largest = setup.session_counts.empty() ? 0 : setup.session_counts.back();
  if (largest < 10000) {
    out << format("   Note: descriptor limit %zu allowed %d sessions, not 10000\n", setup.descriptor_limit,
                  largest);
  }
}

void print_fleet(std::ostream &out, const RunSetup &setup) {
  const Figures &f = figures();
  out << format("\n5. Fleet: qznds --jobs %d on %d cameras of qznds-sim (each program in its own process)\n",
                setup.fleet_jobs, setup.fleet_cameras);
  out << "   run                              seconds   target           ms/camera   x (a)   peak threads"
         "   peak RSS MiB\n";
  const auto floor_ms = f.percentile(round_trip_key("169/159", "a"), 0.5);
  bool shown = false;
  for (const FleetRow &row : kFleetRows) {
    auto value = [&](const char *what) { return f.value(fleet_key(row.key, what)); };
    const auto seconds = value("seconds");
    if (!seconds) continue;
    shown = true;
    const auto ms_per_camera = std::optional(*seconds * 1e3 / setup.fleet_cameras);
    const auto resident = value("resident_bytes");
    out << format(
        "   %-32s %7s %6.0f s %-7s %11s %7s %14s %14s\n", row.label, cell(seconds, 7, 2).c_str(),
        row.target_seconds, verdict(*seconds <= row.target_seconds), cell(ms_per_camera, 11, 3).c_str(),
        cell(ratio(ms_per_camera, floor_ms ? std::optional(*floor_ms / 1e3) : floor_ms), 7, 1).c_str(),
        cell(value("threads"), 14, 0).c_str(),
        cell(resident ? std::optional(*resident / (1 << 20)) : resident, 14, 1).c_str());
  }
  if (!shown) return;
  out << format(
      "   (seconds: wall time of the qznds process; ms/camera: seconds / cameras, x (a) its ratio to the\n"
      "   round trip of baseline (a); %d silent cameras each hold a job for the 10 s answer timeout)\n",
      setup.fleet_silent);
  if (const auto again = f.value(fleet_key("apply", "again_seconds"))) {
    out << format("   The same document applied again: 0 changed on every camera, %.2f s\n", *again);
  }
}

}  // namespace

void print_table(std::ostream &out, const RunSetup &setup) {
  out << "\n==== qz_nds performance: " << setup.machine << " ====\n";
  out << format(
      "Loopback; lean device in its own process (%d thread); figures are medians over repetitions.\n",
      setup.device_threads);
  out << "Load average (1, 5, 15 min) at start " << setup.load_at_start << ", at end " << setup.load_at_end
      << "; other processes on these CPUs disturb the figures.\n";
  out << "Baselines: (a) blocking socket, send then read; (b) blocking socket with a receive thread that "
         "hands\n"
         "each answer to its caller through a condition variable.\n";
  print_device_alone(out);
  print_round_trips(out);
  print_callers(out, setup);
  print_many(out, setup);
  print_fleet(out, setup);
  out.flush();
}

}  // namespace qz::bench
