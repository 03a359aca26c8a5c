#include "process_probe.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>

namespace qz::bench {

namespace {

// The numbers after "<key>:" in a /proc/PID/status file, in the order of
// `keys`; 0 for a key not found (or a process that is gone).
template <std::size_t N>
std::array<std::size_t, N> status_values(const std::string &path,
                                         const std::array<std::string_view, N> &keys) {
  std::array<std::size_t, N> values{};
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    for (std::size_t k = 0; k < N; ++k) {
      const std::string_view key = keys[k];
      if (line.size() > key.size() && line.compare(0, key.size(), key) == 0 && line[key.size()] == ':')
        values[k] = std::stoull(line.substr(key.size() + 1));
    }
  }
  return values;
}

std::size_t own_status_value(std::string_view key) {
  return status_values<1>("/proc/self/status", {key})[0];
}

std::string cpu_model() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("model name", 0) == 0) {
      const std::size_t colon = line.find(':');
      if (colon != std::string::npos) return line.substr(line.find_first_not_of(" \t", colon + 1));
    }
  }
  return "unknown CPU";
}

}  // namespace

std::size_t thread_count() {
  return own_status_value("Threads");
}

ProcessStatus process_status(pid_t pid) {
  const auto [threads, peak_kib] =
      status_values<2>("/proc/" + std::to_string(pid) + "/status", {"Threads", "VmHWM"});
  return {threads, peak_kib * 1024};
}

double process_cpu_seconds() {
  timespec t{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::size_t resident_bytes() {
  return own_status_value("VmRSS") * 1024;
}

void trim_heap() {
  ::malloc_trim(0);
}

std::size_t raise_descriptor_limit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<std::size_t>(limit.rlim_cur);
}

std::string machine_description() {
  utsname name{};
  ::uname(&name);
  return std::to_string(::sysconf(_SC_NPROCESSORS_ONLN)) + " CPUs, " + cpu_model() + ", " + name.sysname +
         " " + name.release;
}

std::string load_average() {
  std::ifstream in("/proc/loadavg");
  std::string one, five, fifteen;
  in >> one >> five >> fifteen;
  return one + " " + five + " " + fifteen;
}

}  // namespace qz::bench
