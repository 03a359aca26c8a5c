#include "process_probe.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>

namespace qz::bench {

namespace {

// The number after "<key>:" in /proc/self/status, or 0.
std::size_t status_value(const std::string &key) {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, key.size(), key) == 0 && line.size() > key.size() && line[key.size()] == ':') {
      return std::stoull(line.substr(key.size() + 1));
    }
  }
  return 0;
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
  return status_value("Threads");
}

double process_cpu_seconds() {
  timespec t{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::size_t resident_bytes() {
  return status_value("VmRSS") * 1024;
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
