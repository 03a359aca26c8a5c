// A camera's configuration as one document: export reads every readable
// setting of the catalogue, apply makes a camera match a document and
// reports each setting.
#pragma once

#include <string_view>

#include "catalogue.h"

namespace qz::config {

// Reads the identity and every readable setting (the secret ones only when
// `with_secrets`). A setting the device refuses to report goes under
// "unreadable"; a device that stops answering throws Failure.
Json export_document(qz_nds_handle handle, bool with_secrets);

// A document from its text: Failure (bad argument) for text that is no JSON
// object, is nested too deeply or larger than a document can be.
Json parse_document(std::string_view text);

struct ApplyOptions {
  bool dry_run = false;  // read and compare only
  bool force = false;    // write what is equal too
};

// Checks the whole document, then reads, compares, writes and reads back
// each of its settings. The report's "ok" says whether every setting ended
// unchanged or changed; its "error" names what ended the apply early.
Json apply_document(qz_nds_handle handle, const Json &document, ApplyOptions options);

// The report apply gives a document it refuses, with no session: "ok" true
// when the document can be applied.
Json check_document_report(const Json &document);

}  // namespace qz::config
