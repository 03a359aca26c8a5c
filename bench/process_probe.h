// What the benchmark reads about its own process and the machine.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace qz::bench {

// Threads of this process now.
std::size_t thread_count();
// Threads of another process now, and the peak of its resident memory
// since it started its program (VmHWM); zeros when it has ended.
struct ProcessStatus {
  std::size_t threads = 0;
  std::size_t peak_resident_bytes = 0;
};
ProcessStatus process_status(pid_t pid);
// CPU time this process has used so far (all threads, user and system).
double process_cpu_seconds();
// Resident memory of this process now, in bytes.
std::size_t resident_bytes();
// Returns freed heap pages to the system, so a later resident_bytes()
// difference counts only what was allocated in between.
void trim_heap();
// Raises the soft descriptor limit to the hard one; returns the new limit.
std::size_t raise_descriptor_limit();
// "2 CPUs, AMD EPYC, Linux 6.1.0": processors, CPU model, kernel.
std::string machine_description();
// The system's load averages over 1, 5 and 15 minutes, as "0.52 0.40 0.31".
std::string load_average();

}  // namespace qz::bench
