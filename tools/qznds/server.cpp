#include "server.h"

#include <httplib.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "console_web.h"
#include "device.h"
#include "errors.h"
#include "fleet.h"
#include "output.h"

namespace qznds {

namespace {

constexpr std::size_t kBodyMax = std::size_t{8} << 20;
constexpr std::size_t kJobsKept = 64;
constexpr std::size_t kJobsRunning = 8;
constexpr std::chrono::milliseconds kRebootWait{3000};
// Shown in the device list beside the serial number and the frame rate.
constexpr std::array<std::string_view, 4> kKeySettings = {"default_palette", "hdmi", "mqtt_work",
                                                          "rotate180"};

// A request the API refuses: its HTTP status and a one-line message.
class ApiError : public std::runtime_error {
 public:
  ApiError(int status, const std::string &message) : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

Json error_body(const std::string &message) {
  return Json{{"error", {{"message", message}}}};
}

void send_json(httplib::Response &res, const Json &body) {
  res.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

Json body_object(const httplib::Request &req) {
  Json body = Json::parse(req.body, nullptr, false);
  if (body.is_discarded() || !body.is_object()) throw ApiError(400, "the request body is not a JSON object");
  return body;
}

// A document from the browser: an object whose "settings" is an object
// naming settings of the catalogue only. The library checks the values as a
// whole before it writes anything.
Json checked_document(const Json &document, const std::string &what) {
  if (!document.is_object()) throw ApiError(400, what + " is not a JSON object");
  if (!document.contains("settings") || !document["settings"].is_object())
    throw ApiError(400, what + " has no \"settings\" object");
  if (document["settings"].empty()) throw ApiError(400, what + " names no setting");
  for (const auto &[name, value] : document["settings"].items()) {
    if (find_entry(name) == nullptr) throw ApiError(400, what + ": unknown setting \"" + name + "\"");
  }
  return document;
}

std::int64_t unix_time() {
  return static_cast<std::int64_t>(std::time(nullptr));
}

// The device list and its refresh, the wanted document, and the jobs.
class Console {
 public:
  Console(std::vector<Target> targets, const ServeOptions &options)
      : targets_(std::move(targets)), options_(options), states_(targets_.size()) {
    for (std::size_t i = 0; i < targets_.size(); ++i) {
      states_[i] = Json{{"name", targets_[i].name}, {"address", targets_[i].address}, {"state", "unknown"}};
    }
    refresher_ = std::thread([this] { refresh_loop(); });
  }

  ~Console() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    refresher_.join();
    for (auto &[id, job] : jobs_) job->thread.join();
  }

  Console(const Console &) = delete;
  Console &operator=(const Console &) = delete;

  Json devices() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Json{{"devices", states_},
                {"document_set", document_.has_value()},
                {"refreshing", refreshing_},
                {"interval", options_.interval}};
  }

  void request_refresh() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      refresh_wanted_ = true;
    }
    wake_.notify_all();
  }

  std::size_t index_of(const std::string &name) const {
    for (std::size_t i = 0; i < targets_.size(); ++i) {
      if (targets_[i].name == name) return i;
    }
    throw ApiError(404, "no device named \"" + name + "\" in the inventory");
  }
  const Target &target(const std::string &name) const { return targets_[index_of(name)]; }

  void set_document(Json document) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      document_ = std::move(document);
    }
    request_refresh();
  }

  // Starts applying `document` to the devices; returns the job's id.
  int start_job(const std::vector<std::size_t> &indexes, const Json &document, bool dry_run) {
    auto job = std::make_unique<Job>();
    job->dry_run = dry_run;
    for (std::size_t i : indexes) job->targets.push_back(targets_[i]);
    for (const Target &t : job->targets) {
      job->devices.push_back(Json{{"device", t.address}, {"name", t.name}, {"status", "pending"}});
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t running = 0;
    for (const auto &[id, kept] : jobs_) running += kept->finished ? 0 : 1;
    if (running >= kJobsRunning) throw ApiError(429, "too many jobs running; try again when one has ended");
    forget_finished_jobs();
    const int id = next_job_++;
    Job &j = *job;
    const unsigned flags = dry_run ? QZ_NDSX_DRY_RUN : 0;
    j.thread = std::thread([this, &j, document, flags] {
      run_fleet(
          j.targets, options_.jobs,
          [&](Device &d, const Target &t) {
            return Json{{"report", d.apply(document_for(document, t, Json::object()), flags)}};
          },
          check_report,
          [&](std::size_t i, const DeviceOutcome &o) {
            const std::lock_guard<std::mutex> lock(mutex_);
            j.devices[i] = outcome_json(j.targets[i], o);
            j.devices[i]["status"] = o.ok ? "ok" : "failed";
            ++j.done;
            if (!o.ok) ++j.failed;
          });
      {
        // Nothing after this takes the mutex: forget_finished_jobs() joins
        // finished threads while holding it.
        const std::lock_guard<std::mutex> lock(mutex_);
        j.finished = true;
        refresh_wanted_ = true;
      }
      wake_.notify_all();
    });
    jobs_.emplace(id, std::move(job));
    return id;
  }

  Json job(int id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = jobs_.find(id);
    if (found == jobs_.end()) throw ApiError(404, "no job " + std::to_string(id));
    const Job &j = *found->second;
    return Json{{"id", id},           {"dry_run", j.dry_run},   {"total", j.targets.size()}, {"done", j.done},
                {"failed", j.failed}, {"finished", j.finished}, {"devices", j.devices}};
  }

 private:
  struct Job {
    std::vector<Target> targets;
    Json devices = Json::array();
    std::size_t done = 0;
    std::size_t failed = 0;
    bool dry_run = false;
    bool finished = false;
    std::thread thread;
  };

  // Keeps the last kJobsKept jobs; a finished job's thread has nothing left
  // to do but return. Called with mutex_ held.
  void forget_finished_jobs() {
    for (auto it = jobs_.begin(); jobs_.size() >= kJobsKept && it != jobs_.end();) {
      if (!it->second->finished) {
        ++it;
        continue;
      }
      it->second->thread.join();
      it = jobs_.erase(it);
    }
  }

  void refresh_loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
      refresh_wanted_ = false;
      refreshing_ = true;
      const std::optional<Json> document = document_;
      lock.unlock();
      refresh(document);
      lock.lock();
      refreshing_ = false;
      wake_.wait_for(lock, std::chrono::duration<double>(std::max(options_.interval, 0.5)),
                     [this] { return stopping_ || refresh_wanted_; });
    }
  }

  // Every device read once, at most options_.jobs at a time; each entry of
  // the list is replaced as its device finishes, so a silent camera holds
  // back only its own.
  void refresh(const std::optional<Json> &document) {
    const auto work = [&document](Device &d, const Target &t) {
      const Json config = d.export_config(false);
      const Json &settings = config["settings"];
      Json state{{"serial_number", config["device"].value("serial_number", Json())},
                 {"framerate", settings.value("framerate", Json())},
                 {"settings", Json::object()}};
      for (std::string_view key : kKeySettings) {
        if (settings.contains(key)) state["settings"][std::string(key)] = settings[std::string(key)];
      }
      if (document) {
        const Json drift = drift_from(d, *document, t);
        state["drift"] = drift.size();
        state["drift_settings"] = drift;
      }
      return state;
    };
    run_fleet(
        targets_, options_.jobs, work, [](const Json &, const Target &) {},
        [&](std::size_t i, const DeviceOutcome &o) {
          Json state{{"name", targets_[i].name}, {"address", targets_[i].address}};
          if (o.ok) {
            state["state"] = "reachable";
            state.update(o.result);
          } else {
            state["state"] = "down";
            state["kind"] = kind_name(o.error->kind());
            state["message"] = o.error->what();
          }
          state["checked_at"] = unix_time();
          const std::lock_guard<std::mutex> lock(mutex_);
          states_[i] = std::move(state);
        });
  }

  const std::vector<Target> targets_;
  const ServeOptions options_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Json> states_;
  std::optional<Json> document_;
  std::map<int, std::unique_ptr<Job>> jobs_;
  int next_job_ = 1;
  bool stopping_ = false;
  bool refresh_wanted_ = false;
  bool refreshing_ = false;
  std::thread refresher_;
};

// ---- the HTTP side ----------------------------------------------------------------

struct ListenAddress {
  std::string host;  // as bound: no brackets
  int port = 0;
  bool loopback = false;
};

ListenAddress parse_listen(const std::string &text) {
  const auto colon = text.rfind(':');
  const auto bad = [&](const std::string &why) {
    return ToolError(ErrorKind::usage, "--listen " + text + ": " + why + " (HOST:PORT, e.g. 127.0.0.1:8080)");
  };
  if (colon == std::string::npos || colon == 0) throw bad("no port");
  ListenAddress out;
  out.host = text.substr(0, colon);
  if (out.host.size() > 2 && out.host.front() == '[' && out.host.back() == ']')
    out.host = out.host.substr(1, out.host.size() - 2);
  const std::string port = text.substr(colon + 1);
  if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
      std::stoi(port) > 65535)
    throw bad("the port is not a number from 0 to 65535");
  out.port = std::stoi(port);
  out.loopback = out.host == "localhost" || out.host == "::1" || out.host.starts_with("127.");
  return out;
}

std::string read_token(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::string token;
  if (!file || !std::getline(file, token))
    throw ToolError(ErrorKind::bad_value, "--token-file " + path + " cannot be read");
  while (!token.empty() && std::isspace(static_cast<unsigned char>(token.back()))) token.pop_back();
  if (token.size() < 16 || token.find_first_of(" \t") != std::string::npos)
    throw ToolError(ErrorKind::bad_value,
                    "--token-file " + path + ": the token needs 16 or more characters, no blanks");
  return token;
}

std::string new_token() {
  std::random_device random;
  std::string token;
  static constexpr char kHex[] = "0123456789abcdef";
  for (int i = 0; i < 32; ++i) token.push_back(kHex[random() % 16]);
  return token;
}

// Compares in a time that does not depend on where the texts differ.
bool same_secret(const std::string &a, const std::string &b) {
  if (a.size() != b.size()) return false;
  unsigned char diff = 0;
  for (std::size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
  return diff == 0;
}

// Whether the Host header names this machine's loopback: a page of another
// site that renamed itself to 127.0.0.1 (DNS rebinding) sends its own name.
bool loopback_host(const std::string &host_header) {
  std::string host = host_header.substr(0, host_header.rfind(':'));
  if (host_header.starts_with("[")) host = host_header.substr(0, host_header.find(']') + 1);
  return host == "localhost" || host == "[::1]" || host.starts_with("127.");
}

int require_int(const std::string &text, const std::string &what) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
    throw ApiError(404, "no " + what + " " + text);
  return std::stoi(text);
}

using ApiHandler = std::function<Json(const httplib::Request &, httplib::Response &)>;

httplib::Server::Handler api(ApiHandler fn) {
  return [fn = std::move(fn)](const httplib::Request &req, httplib::Response &res) {
    try {
      send_json(res, fn(req, res));
    } catch (const ApiError &error) {
      res.status = error.status();
      send_json(res, error_body(error.what()));
    } catch (const std::exception &error) {
      res.status = 500;
      send_json(res, error_body(error.what()));
    }
  };
}

void add_routes(httplib::Server &server, Console &console) {
  server.Get("/api/catalogue", api([](const httplib::Request &, httplib::Response &) {
               return Json{{"settings", Json::parse(qz_ndsx_settings_catalogue())}};
             }));
  server.Get("/api/devices",
             api([&](const httplib::Request &, httplib::Response &) { return console.devices(); }));
  server.Post("/api/refresh", api([&](const httplib::Request &, httplib::Response &res) {
                console.request_refresh();
                res.status = 202;
                return Json{{"refresh", "started"}};
              }));
  server.Get(R"(/api/devices/([^/]+)/config)", api([&](const httplib::Request &req, httplib::Response &) {
               const Target &t = console.target(req.matches[1]);
               const DeviceOutcome o = run_one(
                   t, [](Device &d, const Target &) { return d.export_config(false); },
                   [](const Json &, const Target &) {});
               if (!o.ok) throw ApiError(502, t.name + ": " + o.error->what());
               Json doc = o.result;
               doc["device"]["address"] = t.address;
               doc["device"]["name"] = t.name;
               return doc;
             }));
  server.Post(R"(/api/devices/([^/]+)/settings)", api([&](const httplib::Request &req, httplib::Response &) {
                const Target &t = console.target(req.matches[1]);
                const Json part = checked_document(body_object(req), "the body");
                const Json document{{"settings", part["settings"]}};
                const DeviceOutcome o = run_one(
                    t,
                    [&](Device &d, const Target &) {
                      return Json{{"report", d.apply(document, 0)}};
                    },
                    check_report);
                Json out{{"ok", o.ok}, {"command", "apply"}, {"device", t.address}};
                out.update(o.result.is_object() ? o.result : Json::object());
                if (o.error) out["error"] = error_json(*o.error);
                if (o.error && o.error->kind() == ErrorKind::bad_value)
                  throw ApiError(400, t.name + ": " + o.error->what());
                console.request_refresh();
                return out;
              }));
  server.Post(R"(/api/devices/([^/]+)/reboot)", api([&](const httplib::Request &req, httplib::Response &) {
                const Target &t = console.target(req.matches[1]);
                if (body_object(req).value("confirm", Json(false)) != Json(true))
                  throw ApiError(400, "a reboot needs {\"confirm\": true}");
                const DeviceOutcome o = run_one(
                    t,
                    [](Device &d, const Target &) {
                      return Json{{"connection_closed", d.reboot(kRebootWait)}};
                    },
                    [](const Json &, const Target &) {});
                console.request_refresh();
                return outcome_json(t, o);
              }));
  server.Post("/api/apply", api([&](const httplib::Request &req, httplib::Response &res) {
                const Json body = body_object(req);
                if (!body.contains("devices") || !body["devices"].is_array() || body["devices"].empty())
                  throw ApiError(400, "\"devices\" must be a non-empty list of device names");
                if (body.contains("dry_run") && !body["dry_run"].is_boolean())
                  throw ApiError(400, "\"dry_run\" must be true or false");
                std::vector<std::size_t> indexes;
                for (const Json &name : body["devices"]) {
                  if (!name.is_string()) throw ApiError(400, "\"devices\" must list device names");
                  indexes.push_back(console.index_of(name));
                }
                const Json document = checked_document(body.value("document", Json()), "the document");
                const int id = console.start_job(indexes, document, body.value("dry_run", false));
                res.status = 202;
                return Json{{"job", id}};
              }));
  server.Get(R"(/api/jobs/([^/]+))", api([&](const httplib::Request &req, httplib::Response &) {
               return console.job(require_int(req.matches[1], "job"));
             }));
  server.Put("/api/document", api([&](const httplib::Request &req, httplib::Response &) {
               console.set_document(checked_document(body_object(req), "the document"));
               return Json{{"document", "set"}};
             }));
  for (const web::File &file : web::kFiles) {
    const auto handler = [&file](const httplib::Request &, httplib::Response &res) {
      res.set_content(std::string(file.body), std::string(file.type));
    };
    server.Get("/" + std::string(file.path), handler);
    if (file.path == "index.html") server.Get("/", handler);
  }
}

// Every API call carries the token when one is set, and a changing call
// carries JSON (a page of another site cannot send that without asking).
void add_guards(httplib::Server &server, const std::string &token, bool loopback) {
  server.set_pre_routing_handler([token, loopback](const httplib::Request &req, httplib::Response &res) {
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_header("Cache-Control", "no-store");
    res.set_header("Content-Security-Policy",
                   "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'; form-action 'none'");
    if (!req.path.starts_with("/api/")) return httplib::Server::HandlerResponse::Unhandled;
    std::string refusal;
    int status = 400;
    if (!token.empty() && !same_secret(req.get_header_value("Authorization"), "Bearer " + token)) {
      status = 401;
      refusal = "this console needs its token: Authorization: Bearer TOKEN";
    } else if (loopback && token.empty() && !loopback_host(req.get_header_value("Host"))) {
      status = 403;
      refusal = "the console answers only to its loopback address";
    } else if ((req.method == "POST" || req.method == "PUT") &&
               !req.get_header_value("Content-Type").starts_with("application/json")) {
      status = 415;
      refusal = "the request body must be JSON (Content-Type: application/json)";
    }
    if (refusal.empty()) return httplib::Server::HandlerResponse::Unhandled;
    res.status = status;
    send_json(res, error_body(refusal));
    return httplib::Server::HandlerResponse::Handled;
  });
  server.set_error_handler(
      httplib::Server::HandlerWithResponse([](const httplib::Request &req, httplib::Response &res) {
        if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
        std::string message = "HTTP status " + std::to_string(res.status);
        if (res.status == 404) message = "no such path: " + req.method + " " + req.path;
        if (res.status == 413) message = "the request body is larger than 8 MiB";
        send_json(res, error_body(message));
        return httplib::Server::HandlerResponse::Handled;
      }));
}

std::atomic<bool> g_stop{false};

}  // namespace

int serve(const ServeOptions &options) {
  const ListenAddress listen = parse_listen(options.listen);
  std::vector<Target> targets = load_inventory(options.inventory, options.limits);
  std::string token;
  if (!options.token_file.empty()) {
    token = read_token(options.token_file);
  } else if (!listen.loopback) {
    token = new_token();
    std::cerr << "qznds: console token (give it in the page): " << token << '\n';
  }

  httplib::Server server;
  server.set_payload_max_length(kBodyMax);
  int port = listen.port;
  if (port == 0) {
    port = server.bind_to_any_port(listen.host);
    if (port < 0) port = 0;
  } else if (!server.bind_to_port(listen.host, port)) {
    port = 0;
  }
  if (port == 0) throw ToolError(ErrorKind::failed, "cannot listen on " + options.listen);

  Console console(std::move(targets), options);
  add_guards(server, token, listen.loopback);
  add_routes(server, console);

  g_stop = false;
  std::signal(SIGINT, [](int) { g_stop = true; });
  std::signal(SIGTERM, [](int) { g_stop = true; });
  std::thread stopper([&server] {
    while (!g_stop) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.stop();
  });
  const std::string host = listen.host.find(':') != std::string::npos ? "[" + listen.host + "]" : listen.host;
  std::cerr << "qznds: console on http://" << host << ":" << port << "/" << std::endl;
  server.listen_after_bind();
  g_stop = true;
  stopper.join();
  return kExitOk;
}

}  // namespace qznds
