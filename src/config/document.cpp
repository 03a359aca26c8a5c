#include "document.h"

#include <cstring>
#include <optional>

#include "qz_nds_config.h"

namespace qz::config {

namespace {

constexpr std::size_t kDocumentMax = std::size_t{8} << 20;
constexpr int kDepthMax = 32;
constexpr std::size_t kIdentityBuffer = 32;
constexpr std::size_t kSerialBuffer = 64;
constexpr const char *kMasked = "********";

// Failures after which the device cannot be asked anything more.
bool ends_session(int kind) {
  return kind == QZ_NDSX_NOT_CONNECTED || kind == QZ_NDSX_CONNECT_FAILED || kind == QZ_NDSX_SEND_FAILED ||
         kind == QZ_NDSX_TIMEOUT || kind == QZ_NDSX_CONNECTION_LOST || kind == QZ_NDSX_CLOSING;
}

Json identity(Session &d) {
  uint16_t value1 = 0, value2 = 0;
  char texts[3][kIdentityBuffer + 1] = {};
  d.call("get machine_info", [&](qz_nds_handle h) {
    return qz_nds_get_machine_info(h, &value1, &value2, nullptr, texts[0], texts[1], texts[2]);
  });
  char sn[kSerialBuffer] = {};
  uint32_t len = 0;
  d.call("get sn", [&](qz_nds_handle h) { return qz_nds_get_sn(h, sn, &len); });
  return Json{{"serial_number", text_json(std::string_view(sn, std::min<std::size_t>(len, kSerialBuffer)))},
              {"text1", text_json(std::string(texts[0], strnlen(texts[0], kIdentityBuffer)))},
              {"text2", text_json(std::string(texts[1], strnlen(texts[1], kIdentityBuffer)))},
              {"text3", text_json(std::string(texts[2], strnlen(texts[2], kIdentityBuffer)))},
              {"value1", value1},
              {"value2", value2}};
}

Json failure_json(const Failure &f) {
  Json out{{"kind", kind_name(f.kind())}};
  if (f.kind() == QZ_NDSX_REFUSED) out["code"] = f.response_code();
  out["message"] = f.what();
  return out;
}

// Whether `current` holds every member of `wanted` (objects) or equals it.
bool holds(const Json &current, const Json &wanted) {
  if (!wanted.is_object()) return current == wanted;
  if (!current.is_object()) return false;
  for (const auto &[key, item] : wanted.items()) {
    if (!current.contains(key) || !holds(current[key], item)) return false;
  }
  return true;
}

// Deepest nesting of arrays and objects, strings skipped; stops counting
// past `limit`.
int nesting(std::string_view text, int limit) {
  int depth = 0, deepest = 0;
  bool in_string = false, escaped = false;
  for (char c : text) {
    if (in_string) {
      if (escaped)
        escaped = false;
      else if (c == '\\')
        escaped = true;
      else if (c == '"')
        in_string = false;
      continue;
    }
    if (c == '"') in_string = true;
    if (c == '{' || c == '[') deepest = std::max(deepest, ++depth);
    if (c == '}' || c == ']') --depth;
    if (deepest > limit) break;
  }
  return deepest;
}

// A document refused as a whole, with every problem found.
class DocumentRefused : public Failure {
 public:
  DocumentRefused(const std::string &message, std::vector<std::string> problems)
      : Failure(QZ_NDSX_BAD_ARGUMENT, message), problems_(std::move(problems)) {}
  const std::vector<std::string> &problems() const { return problems_; }

 private:
  std::vector<std::string> problems_;
};

// One setting of the document on its way through apply.
struct Step {
  const Setting *setting;
  Prepared wanted;
  Json before;  // null when not read
  bool written = false;
  std::optional<Json> outcome{};  // the report entry, once final
};

Json shown(const Setting &s, const Json &value) {
  return s.secret && !value.is_null() ? Json(kMasked) : value;
}

Json entry(const Step &step, std::string_view status) {
  Json out{{"setting", step.setting->name}, {"status", status}};
  if (!step.before.is_null()) out["before"] = shown(*step.setting, step.before);
  out["after"] = shown(*step.setting, step.wanted.value);
  return out;
}

Json failed_entry(const Step &step, const Failure &f) {
  Json out = entry(step, f.kind() == QZ_NDSX_REFUSED ? "refused" : "failed");
  out.erase("after");
  out["wanted"] = shown(*step.setting, step.wanted.value);
  out.update(failure_json(f));
  return out;
}

// The steps of a document, every value checked; Failure naming each
// problem when any is found.
std::vector<Step> check_document(const Json &document) {
  std::vector<std::string> problems;
  if (!document.is_object())
    throw DocumentRefused("the document is not a JSON object", {"not a JSON object"});
  for (const auto &[key, item] : document.items()) {
    if (key != "version" && key != "device" && key != "settings" && key != "unreadable")
      problems.push_back("unknown member \"" + key + "\" (version, device, settings)");
  }
  if (document.contains("version") && document["version"] != QZ_NDSX_CONFIG_VERSION)
    problems.push_back("version " + document["version"].dump() + " is not 1");
  if (!document.contains("settings") || !document["settings"].is_object())
    problems.push_back("no \"settings\" object");
  std::vector<Step> steps;
  if (problems.empty()) {
    // The catalogue's order, whatever the document's.
    const Json &wanted = document["settings"];
    for (const auto &[key, item] : wanted.items()) {
      if (find_setting(key) == nullptr || key.find('-') != std::string::npos)
        problems.push_back("unknown setting \"" + key + "\"");
    }
    for (const Setting &s : settings()) {
      if (!wanted.contains(s.name)) continue;
      try {
        steps.push_back(Step{&s, s.prepare(wanted[s.name]), nullptr});
      } catch (const Failure &f) {
        problems.push_back(f.what());
      }
    }
  }
  if (!problems.empty()) {
    std::string message = "the document was refused: " + problems.front();
    if (problems.size() > 1) message += " (and " + std::to_string(problems.size() - 1) + " more)";
    throw DocumentRefused(message, problems);
  }
  return steps;
}

Json count(const std::vector<Step> &steps) {
  Json counts{{"unchanged", 0}, {"changed", 0}, {"would_change", 0}, {"refused", 0}, {"failed", 0}};
  for (const Step &step : steps) {
    const std::string status = (*step.outcome)["status"];
    counts[status] = counts[status].get<int>() + 1;
  }
  return counts;
}

}  // namespace

Json export_document(qz_nds_handle handle, bool with_secrets) {
  Session session(handle);
  session.read_record();
  Json doc{{"version", QZ_NDSX_CONFIG_VERSION}, {"device", identity(session)}};
  Json values = Json::object();
  Json unreadable = Json::object();
  for (const Setting &s : settings()) {
    if (!s.readable() || (s.secret && !with_secrets)) continue;
    try {
      values[s.name] = read_setting(session, s);
    } catch (const Failure &f) {
      if (ends_session(f.kind())) throw;
      Json why = failure_json(f);
      why.erase("message");
      unreadable[s.name] = why;
    }
  }
  doc["settings"] = std::move(values);
  if (!unreadable.empty()) doc["unreadable"] = std::move(unreadable);
  return doc;
}

Json parse_document(std::string_view text) {
  if (text.size() > kDocumentMax) {
    throw Failure(QZ_NDSX_BAD_ARGUMENT,
                  "the document is larger than " + std::to_string(kDocumentMax >> 20) + " MiB");
  }
  if (nesting(text, kDepthMax) > kDepthMax)
    throw Failure(QZ_NDSX_BAD_ARGUMENT,
                  "the document is nested more than " + std::to_string(kDepthMax) + " deep");
  try {
    return Json::parse(text);
  } catch (const Json::exception &e) {  // a syntax error, or a number out of range
    throw Failure(QZ_NDSX_BAD_ARGUMENT, std::string("the document is not JSON: ") + e.what());
  }
}

namespace {

// The steps of a document, or (in `report`) why it was refused: nothing
// then to apply.
std::vector<Step> checked_steps(const Json &document, Json &report) {
  try {
    return check_document(document);
  } catch (const DocumentRefused &f) {
    report["ok"] = false;
    report["error"] = failure_json(f);
    report["error"]["problems"] = f.problems();
    return {};
  }
}

Json empty_report(bool dry_run) {
  return Json{{"ok", true}, {"dry_run", dry_run}, {"counts", Json::object()}, {"settings", Json::array()}};
}

}  // namespace

Json check_document_report(const Json &document) {
  Json report = empty_report(true);
  checked_steps(document, report);
  return report;
}

Json apply_document(qz_nds_handle handle, const Json &document, ApplyOptions options) {
  Json report = empty_report(options.dry_run);
  std::vector<Step> steps = checked_steps(document, report);
  if (!report["ok"].get<bool>()) return report;
  report["ok"] = false;
  Session session(handle);
  std::optional<Failure> ended;
  const auto finish_rest = [&] {
    for (Step &step : steps) {
      if (step.outcome) continue;
      Json out = failed_entry(step, *ended);
      out["message"] = std::string(step.written ? "written, not read back: " : "not tried: ") + ended->what();
      step.outcome = out;
    }
  };
  // Read and compare; write what differs.
  bool cached_written = false;
  for (Step &step : steps) {
    const Setting &s = *step.setting;
    try {
      if (s.readable()) {
        step.before = read_setting(session, s);
        if (!options.force && holds(step.before, step.wanted.compare)) {
          step.outcome = entry(step, "unchanged");
          continue;
        }
      }
      if (options.dry_run) {
        step.outcome = entry(step, "would_change");
        continue;
      }
      write_setting(session, s, step.wanted);
      step.written = true;
      cached_written = cached_written || s.cached;
    } catch (const Failure &f) {
      step.outcome = failed_entry(step, f);
      if (ends_session(f.kind())) {
        ended = f;
        break;
      }
    }
  }
  // Read back what was written: cached values from a record read afresh.
  if (!ended && cached_written) {
    try {
      session.reread_record();
    } catch (const Failure &f) {
      if (ends_session(f.kind())) ended = f;
    }
  }
  for (Step &step : steps) {
    if (ended) break;
    if (!step.written) continue;
    const Setting &s = *step.setting;
    if (!s.readable()) {
      step.outcome = entry(step, "changed");
      continue;
    }
    try {
      const Json after = s.get(session);
      if (holds(after, step.wanted.compare)) {
        step.outcome = entry(step, "changed");
      } else {
        Json out = entry(step, "failed");
        out["after"] = shown(s, after);
        out["wanted"] = shown(s, step.wanted.value);
        out["kind"] = kind_name(QZ_NDSX_BAD_ANSWER);
        out["message"] = s.name + ": the device took the write but reads back another value";
        step.outcome = out;
      }
    } catch (const Failure &f) {
      step.outcome = failed_entry(step, f);
      if (ends_session(f.kind())) ended = f;
    }
  }
  if (ended) finish_rest();
  report["counts"] = count(steps);
  report["settings"] = Json::array();
  bool ok = !ended;
  for (const Step &step : steps) {
    const std::string status = (*step.outcome)["status"];
    ok = ok && (status == "unchanged" || status == "changed" || status == "would_change");
    report["settings"].push_back(*step.outcome);
  }
  report["ok"] = ok;
  if (ended) report["error"] = failure_json(*ended);
  return report;
}

}  // namespace qz::config
