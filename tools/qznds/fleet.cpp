#include "fleet.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string_view>
#include <thread>

#include "files.h"

namespace qznds {

namespace {

constexpr std::size_t kInventoryMax = std::size_t{16} << 20;
constexpr int kBarWidth = 30;

[[noreturn]] void bad_inventory(const std::string &path, const std::string &problem) {
  throw ToolError(ErrorKind::bad_value, "inventory " + path + ": " + problem);
}

std::vector<Target> json_inventory(const std::string &path, const std::string &text) {
  const Json doc = Json::parse(text, nullptr, false);
  if (doc.is_discarded()) bad_inventory(path, "not JSON");
  const Json *list = doc.is_array() ? &doc : nullptr;
  if (doc.is_object() && doc.contains("devices")) list = &doc["devices"];
  if (list == nullptr || !list->is_array()) bad_inventory(path, "no \"devices\" list");
  std::vector<Target> out;
  for (const Json &item : *list) {
    const std::string where = "device " + std::to_string(out.size() + 1);
    if (item.is_string()) {
      out.push_back(Target{item.get<std::string>(), item.get<std::string>()});
      continue;
    }
    if (!item.is_object() || !item.contains("address") || !item["address"].is_string())
      bad_inventory(path, where + " has no \"address\"");
    Target t{item["address"], item.value("name", item["address"].get<std::string>())};
    if (item.contains("settings")) {
      if (!item["settings"].is_object()) bad_inventory(path, where + ": \"settings\" is not an object");
      t.settings = item["settings"];
    }
    out.push_back(std::move(t));
  }
  return out;
}

std::vector<Target> line_inventory(const std::string &text) {
  std::vector<Target> out;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    line = line.substr(0, line.find('#'));
    std::istringstream words(line);
    std::string address, name;
    if (!(words >> address)) continue;
    if (!(words >> name)) name = address;
    out.push_back(Target{address, name});
  }
  return out;
}

bool glob_match(std::string_view pattern, std::string_view text) {
  std::size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

std::vector<Target> limit_targets(std::vector<Target> targets, const std::vector<std::string> &patterns) {
  if (patterns.empty()) return targets;
  const auto matches = [](const Target &t, std::string_view pattern) {
    return glob_match(pattern, t.name) || glob_match(pattern, t.address);
  };
  const bool any_plain =
      std::any_of(patterns.begin(), patterns.end(), [](const std::string &p) { return !p.starts_with('!'); });
  std::erase_if(targets, [&](const Target &t) {
    bool kept = !any_plain;
    for (const std::string &p : patterns) {
      if (p.starts_with('!')) {
        if (matches(t, std::string_view(p).substr(1))) return true;
      } else if (matches(t, p)) {
        kept = true;
      }
    }
    return !kept;
  });
  if (targets.empty()) {
    std::string list;
    for (const std::string &p : patterns) list += (list.empty() ? "" : " ") + p;
    throw ToolError(ErrorKind::bad_value, "--limit " + list + ": no device of the inventory is left");
  }
  return targets;
}

}  // namespace

std::vector<Target> load_inventory(const std::string &path, const std::vector<std::string> &limits) {
  const std::string text = read_user_file(path, kInventoryMax, "inventory");
  const auto first = text.find_first_not_of(" \t\r\n");
  const bool json = first != std::string::npos && (text[first] == '{' || text[first] == '[');
  std::vector<Target> out = json ? json_inventory(path, text) : line_inventory(text);
  if (out.empty()) bad_inventory(path, "lists no device");
  return limit_targets(std::move(out), limits);
}

Json document_for(const Json &document, const Target &target, const Json &secrets) {
  Json out = document;
  if (!out.contains("settings") || !out["settings"].is_object())
    return out;  // the library says what is wrong
  out["settings"].update(target.settings);
  out["settings"].update(secrets);
  return out;
}

void parallel_for(std::size_t count, int jobs, const std::function<void(std::size_t)> &fn) {
  std::atomic<std::size_t> next{0};
  const auto worker = [&] {
    for (std::size_t i = next++; i < count; i = next++) fn(i);
  };
  const auto threads_wanted = std::min(static_cast<std::size_t>(std::max(1, jobs)), count);
  std::vector<std::thread> threads;
  for (std::size_t t = 1; t < threads_wanted; ++t) threads.emplace_back(worker);
  worker();
  for (auto &t : threads) t.join();
}

void run_fleet(const std::vector<Target> &targets, int jobs, const DeviceWork &work, const ResultCheck &check,
               const std::function<void(std::size_t, const DeviceOutcome &)> &done) {
  std::mutex done_mutex;
  parallel_for(targets.size(), jobs, [&](std::size_t i) {
    const auto start = std::chrono::steady_clock::now();
    DeviceOutcome outcome;
    try {
      Device device;
      device.connect(targets[i].address);
      outcome.result = work(device, targets[i]);
      check(outcome.result, targets[i]);
      outcome.ok = true;
    } catch (const ToolError &error) {
      outcome.error = error;
    } catch (const std::exception &error) {
      outcome.error = ToolError(ErrorKind::failed, error.what());
    }
    outcome.elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    const std::lock_guard<std::mutex> lock(done_mutex);
    done(i, outcome);
  });
}

Json drift_from(Device &device, const Json &document, const Target &target) {
  const Json report = device.apply(document_for(document, target, Json::object()), QZ_NDSX_DRY_RUN);
  Json drift = Json::array();
  for (const Json &s : report.value("settings", Json::array())) {
    if (s.value("status", "") != "unchanged") drift.push_back(s["setting"]);
  }
  return drift;
}

void check_report(const Json &result, const Target &target) {
  const Json &report = result.contains("report") ? result["report"] : result;
  if (!report.value("ok", false)) throw report_failure(report, target.address);
}

DeviceOutcome run_one(const Target &target, const DeviceWork &work, const ResultCheck &check) {
  DeviceOutcome out;
  run_fleet({target}, 1, work, check, [&](std::size_t, const DeviceOutcome &o) { out = o; });
  return out;
}

ProgressBar::ProgressBar(std::size_t total, std::string verb)
    : shown_(is_terminal(stderr)),
      total_(total),
      verb_(std::move(verb)),
      start_(std::chrono::steady_clock::now()) {
  draw(0, 0, true);
}

ProgressBar::~ProgressBar() {
  finish();
}

void ProgressBar::update(std::size_t done, std::size_t failed) {
  draw(done, failed, done == total_);
}

void ProgressBar::finish() {
  if (!shown_) return;
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
  shown_ = false;
}

void ProgressBar::draw(std::size_t done, std::size_t failed, bool force) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (!force && now - last_draw_ < std::chrono::milliseconds(100)) return;
  last_draw_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const int filled = total_ == 0 ? kBarWidth : static_cast<int>(kBarWidth * done / total_);
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.append(static_cast<std::size_t>(kBarWidth - filled), '.');
  std::fprintf(stderr, "\r\033[K%s [%s] %zu/%zu done, %zu failed, %.1f/s", verb_.c_str(), bar.c_str(), done,
               total_, failed, seconds > 0 ? static_cast<double>(done) / seconds : 0.0);
  std::fflush(stderr);
}

}  // namespace qznds
