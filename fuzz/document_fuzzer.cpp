// Fuzzes the check of configuration documents: any text handed to apply (from
// a file, the console or a program) is parsed and every value checked against
// the catalogue before anything could be sent.
//
// Input: the document's text. Checked:
//  - the check never throws and always gives a report with "ok";
//  - a document it accepts is a JSON object whose "settings" name only
//    settings of the catalogue, and checking it again gives the same verdict.
#include <cstdint>
#include <string_view>

#include "catalogue.h"
#include "document.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace qz::config;
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  Json document;
  try {
    document = parse_document(text);
  } catch (const Failure &) {
    return 0;
  }
  const Json report = check_document_report(document);
  FUZZ_CHECK(report.contains("ok") && report["ok"].is_boolean());
  if (!report["ok"].get<bool>()) return 0;
  FUZZ_CHECK(document.is_object() && document["settings"].is_object());
  for (const auto &[name, value] : document["settings"].items()) FUZZ_CHECK(find_setting(name) != nullptr);
  FUZZ_CHECK(check_document_report(document)["ok"] == true);
  return 0;
}
