// The qz_ndsx_ functions of configuration documents: thin exports over the
// catalogue and the document engine. Nothing is thrown across the library
// boundary; each call records its outcome like the qz_nds_ calls.
#include <cstdlib>
#include <cstring>

#include "document.h"
#include "net_dev_setting.h"
#include "qz_nds_config.h"

namespace {

using qz::config::Failure;
using qz::config::Json;

char *copy_out(const std::string &text) {
  char *out = static_cast<char *>(std::malloc(text.size() + 1));
  if (out != nullptr) std::memcpy(out, text.c_str(), text.size() + 1);
  return out;
}

void note(const Failure &f) {
  qz::nds::note_error(f.kind(), 0, 0, f.response_code());
}

// Runs `produce` on a session and hands its text to `*out` (null on failure).
template <class F>
bool produce_text(qz_nds_handle handle, char **out, F &&produce) {
  if (out != nullptr) *out = nullptr;
  return qz::nds::with_session(handle, [&](qz::nds::NetDevSetting &) {
    if (out == nullptr) return false;
    try {
      bool ok = true;
      const std::string text = produce(ok);
      *out = copy_out(text);
      return ok && *out != nullptr;
    } catch (const Failure &f) {
      note(f);
      return false;
    }
  });
}

}  // namespace

extern "C" {

QZ_NDS_API const char *qz_ndsx_settings_catalogue(void) {
  try {
    return qz::config::catalogue_text().c_str();
  } catch (...) {
    return "[]";
  }
}

QZ_NDS_API const char *qz_ndsx_config_schema(void) {
  try {
    return qz::config::schema_text().c_str();
  } catch (...) {
    return "{}";
  }
}

QZ_NDS_API bool qz_ndsx_get_setting(qz_nds_handle handle, const char *name, char **value_json) {
  return produce_text(handle, value_json, [&](bool &) {
    const qz::config::Setting *s = name != nullptr ? qz::config::find_setting(name) : nullptr;
    if (s == nullptr || !s->readable())
      throw Failure(QZ_NDSX_BAD_ARGUMENT, "no readable setting of that name");
    qz::config::Session session(handle);
    return qz::config::read_setting(session, *s).dump();
  });
}

QZ_NDS_API bool qz_ndsx_export_config(qz_nds_handle handle, unsigned flags, char **document_json) {
  return produce_text(handle, document_json, [&](bool &) {
    return qz::config::export_document(handle, (flags & QZ_NDSX_WITH_SECRETS) != 0).dump(2);
  });
}

QZ_NDS_API bool qz_ndsx_apply_config(qz_nds_handle handle, const char *document_json, unsigned flags,
                                     char **report_json) {
  char *unused = nullptr;
  char **out = report_json != nullptr ? report_json : &unused;
  const bool ok = produce_text(handle, out, [&](bool &fine) {
    Json report;
    try {
      if (document_json == nullptr) throw Failure(QZ_NDSX_BAD_ARGUMENT, "no document");
      const Json document = qz::config::parse_document(document_json);
      report = qz::config::apply_document(
          handle, document,
          {.dry_run = (flags & QZ_NDSX_DRY_RUN) != 0, .force = (flags & QZ_NDSX_FORCE) != 0});
    } catch (const Failure &f) {
      report = Json{{"ok", false},
                    {"dry_run", (flags & QZ_NDSX_DRY_RUN) != 0},
                    {"counts", Json::object()},
                    {"settings", Json::array()},
                    {"error", {{"kind", qz::config::kind_name(f.kind())}, {"message", f.what()}}}};
    }
    fine = report["ok"].get<bool>();
    if (!fine) {
      // The outcome of the call: what ended it, else the first setting that failed.
      const Json *why = report.contains("error") ? &report["error"] : nullptr;
      for (const Json &item : report["settings"]) {
        if (why == nullptr && item.contains("kind")) why = &item;
      }
      if (why != nullptr) {
        qz::nds::note_error(qz::config::kind_of((*why)["kind"].get<std::string>()), 0, 0,
                            why->value("code", 0));
      }
    }
    return report.dump(2);
  });
  qz_ndsx_free(unused);
  return ok;
}

QZ_NDS_API bool qz_ndsx_check_config(const char *document_json, char **report_json) {
  if (report_json != nullptr) *report_json = nullptr;
  try {
    Json report;
    try {
      if (document_json == nullptr) throw Failure(QZ_NDSX_BAD_ARGUMENT, "no document");
      report = qz::config::check_document_report(qz::config::parse_document(document_json));
    } catch (const Failure &f) {
      report =
          Json{{"ok", false}, {"error", {{"kind", qz::config::kind_name(f.kind())}, {"message", f.what()}}}};
    }
    if (report_json != nullptr) *report_json = copy_out(report.dump(2));
    return report["ok"].get<bool>();
  } catch (...) {
    return false;
  }
}

QZ_NDS_API void qz_ndsx_free(char *text) {
  std::free(text);
}

}  // extern "C"
