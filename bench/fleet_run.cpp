#include "fleet_run.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "process_probe.h"

namespace qz::bench {

namespace {

using Clock = std::chrono::steady_clock;

std::string read_all(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

int exit_code_of(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

pid_t spawn(const std::vector<std::string> &argv, const std::string &out_file, const std::string &err_file,
            std::string &error) {
  // Everything the child needs is made before the fork: between fork and exec
  // a child of a threaded process may only make async-signal-safe calls.
  std::vector<char *> args;
  for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
  args.push_back(nullptr);
  const int out = ::open(out_file.empty() ? "/dev/null" : out_file.c_str(),
                         O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const int err = ::open(err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  // Closed by a successful exec; the child writes errno into it when the exec fails.
  int exec_pipe[2] = {-1, -1};
  const pid_t parent = ::getpid();
  const pid_t pid = out < 0 || err < 0 || ::pipe2(exec_pipe, O_CLOEXEC) != 0 ? -1 : ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(127);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    // The benchmark's own descriptors (sessions, the device's stop pipe) stay here.
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    ::execv(args[0], args.data());
    const int why = errno;
    (void)!::write(exec_pipe[1], &why, sizeof why);
    ::_exit(127);
  }
  for (int fd : {out, err, exec_pipe[1]}) {
    if (fd >= 0) ::close(fd);
  }
  // Until the exec, the child is a copy of this process: its memory is not
  // the program's.
  int why = 0;
  ssize_t got = -1;
  if (pid > 0) {
    do {
      got = ::read(exec_pipe[0], &why, sizeof why);
    } while (got < 0 && errno == EINTR);
  }
  if (exec_pipe[0] >= 0) ::close(exec_pipe[0]);
  if (pid > 0 && got == 0) return pid;
  error = "cannot start " + argv[0] + (got > 0 ? std::string(": ") + std::strerror(why) : std::string());
  if (pid > 0) ::waitpid(pid, nullptr, 0);
  return -1;
}

ProcessRun run_measured(const std::vector<std::string> &argv, const std::string &work_dir) {
  ProcessRun run;
  const std::string out_file = work_dir + "/stdout", err_file = work_dir + "/stderr";
  const auto start = Clock::now();
  const pid_t pid = spawn(argv, out_file, err_file, run.err);
  if (pid < 0) return run;
  // Not getrusage's ru_maxrss: a forked child counts the resident memory of
  // this process at the fork, before it starts its own program.
  int status = 0;
  for (;;) {
    const pid_t done = ::waitpid(pid, &status, WNOHANG);
    if (done == pid || done < 0) break;
    const ProcessStatus now = process_status(pid);
    run.peak_threads = std::max(run.peak_threads, now.threads);
    run.peak_resident_bytes = std::max(run.peak_resident_bytes, now.peak_resident_bytes);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  run.exit_code = exit_code_of(status);
  run.out = read_all(out_file);
  run.err += read_all(err_file);
  return run;
}

// ---- SimFleet ---------------------------------------------------------------------

SimFleet::~SimFleet() {
  stop();
}

bool SimFleet::start(const std::string &program, int cameras, const std::vector<int> &silent,
                     const std::string &work_dir, std::string &error) {
  inventory_ = work_dir + "/inventory.json";
  std::filesystem::remove(inventory_);
  std::vector<std::string> argv = {program,    "--cameras",   std::to_string(cameras),
                                   "--listen", "127.0.0.1:0", "--inventory-out",
                                   inventory_};
  for (int camera : silent) {
    argv.push_back("--camera-fault");
    argv.push_back(std::to_string(camera) + ":silent");
  }
  const std::string err_file = work_dir + "/sim-stderr";
  pid_ = spawn(argv, "", err_file, error);
  if (pid_ < 0) return false;
  // The inventory appears once every camera listens.
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  while (!std::filesystem::exists(inventory_)) {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      error = program + " ended (" + std::to_string(exit_code_of(status)) + "): " + read_all(err_file);
      return false;
    }
    if (Clock::now() > deadline) {
      stop();
      error = program + " wrote no inventory within 30 s";
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

void SimFleet::stop() {
  if (pid_ < 0) return;
  ::kill(pid_, SIGTERM);
  ::waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

// ---- The tool ---------------------------------------------------------------------

FleetRun run_fleet_command(const std::string &tool, const std::string &inventory, int jobs,
                           const std::vector<std::string> &command, const std::string &work_dir) {
  std::vector<std::string> argv = {tool, "--inventory", inventory, "--jobs", std::to_string(jobs), "--json"};
  argv.insert(argv.end(), command.begin(), command.end());
  FleetRun run{run_measured(argv, work_dir), {}, {}};
  std::istringstream lines(run.process.out);
  std::string line;
  while (std::getline(lines, line)) {
    Json item = Json::parse(line, nullptr, false);
    if (item.contains("summary")) {
      run.summary = item["summary"];
    } else if (item.contains("device")) {
      run.devices.push_back(std::move(item));
    }
  }
  return run;
}

Json ten_setting_change() {
  return Json{{"settings",
               {{"framerate", 30},
                {"mqtt_port", 8883},
                {"mqtt_ip", "10.0.0.5"},
                {"onvif", false},
                {"hdmi", false},
                {"radar", true},
                {"rotate180", true},
                {"auto_focus", false},
                {"default_palette", 3},
                {"ps_link_count", 2}}}};
}

std::string check_fleet_run(const FleetRun &run, std::size_t devices, std::size_t ok, int changed) {
  if (!run.summary.is_object()) {
    return "no summary (exit code " + std::to_string(run.process.exit_code) + "): " + run.process.err;
  }
  if (run.devices.size() != devices || run.summary.value("ok", 0u) != ok ||
      run.summary.value("failed", 0u) != devices - ok) {
    return "expected " + std::to_string(ok) + " of " + std::to_string(devices) +
           " devices ok, got: " + run.summary.dump();
  }
  if (changed < 0) return {};
  for (const Json &device : run.devices) {
    if (!device.value("ok", false)) continue;
    const Json &counts = device["result"]["report"]["counts"];
    if (counts.value("changed", -1) != changed) {
      return device.value("name", "?") + ": expected " + std::to_string(changed) + " changed, got counts " +
             counts.dump();
    }
  }
  return {};
}

bool measure_fleet_row(const FleetRow &row, const FleetSetup &setup, FleetMeasure &out, std::string &error) {
  std::vector<int> silent;
  for (int i = 0; row.silent && i < setup.silent; ++i)
    silent.push_back(i * setup.cameras / setup.silent + setup.cameras / setup.silent / 2 + 1);
  const auto answering = static_cast<std::size_t>(setup.cameras) - silent.size();
  std::filesystem::create_directories(setup.work_dir);
  SimFleet fleet;
  if (!fleet.start(setup.sim, setup.cameras, silent, setup.work_dir, error)) return false;
  const auto run = [&](const std::vector<std::string> &command) {
    return run_fleet_command(setup.tool, fleet.inventory(), setup.jobs, command, setup.work_dir);
  };
  if (!row.apply) {
    const std::string folder = setup.work_dir + "/export";
    out.run = run({"export", "-o", folder});
    std::filesystem::remove_all(folder);
    error = check_fleet_run(out.run, static_cast<std::size_t>(setup.cameras), answering, -1);
    return error.empty();
  }
  const std::string document = setup.work_dir + "/change.json";
  std::ofstream(document) << ten_setting_change().dump() << '\n';
  out.run = run({"apply", document});
  error = check_fleet_run(out.run, static_cast<std::size_t>(setup.cameras), answering, 10);
  if (!error.empty() || row.silent) return error.empty();
  out.again = run({"apply", document});
  error = check_fleet_run(*out.again, static_cast<std::size_t>(setup.cameras), answering, 0);
  if (!error.empty()) error = "applied again: " + error;
  return error.empty();
}

}  // namespace qz::bench
