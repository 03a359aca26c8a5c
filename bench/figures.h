// Figures the benchmarks collect, keyed by name, and the table printed from
// them at the end of a run.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace qz::bench {

class Figures {
 public:
  // Round-trip samples in microseconds; repetitions add to the same key.
  void add_samples(const std::string &key, const std::vector<double> &us);
  // One measurement of a value (a rate, a time, a size); repetitions keep
  // every value and the table shows their median.
  void add_value(const std::string &key, double value);

  // Percentile q (0 to 1) of the samples of `key`.
  std::optional<double> percentile(const std::string &key, double q) const;
  std::optional<double> value(const std::string &key) const;
  std::size_t sample_count(const std::string &key) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<double>> samples_;
  std::map<std::string, std::vector<double>> values_;
};

Figures &figures();

// What the table states about the setup of the run.
struct RunSetup {
  std::string machine;
  std::string load_at_start;  // load averages, see load_average()
  std::string load_at_end;
  int device_threads = 1;
  std::size_t descriptor_limit = 0;
  int many_callers = 8;
  std::vector<int> session_counts;
  std::vector<int> caller_counts;
  int fleet_cameras = 0;
  int fleet_jobs = 0;
  int fleet_silent = 0;
};

// Prints the table of every figure collected, with baselines, ratios and
// the targets.
void print_table(std::ostream &out, const RunSetup &setup);

// Keys of the figures.
std::string round_trip_key(const std::string &command, const std::string &client);
std::string callers_key(const std::string &client, int callers);
std::string device_key(const std::string &device, int in_flight);
std::string many_key(const std::string &client, int sessions, const std::string &what);
std::string fleet_key(const std::string &row, const std::string &what);

}  // namespace qz::bench
