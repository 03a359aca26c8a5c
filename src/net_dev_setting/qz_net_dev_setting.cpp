// Lifecycle and connection exports. Each export checks the handle, then
// calls into the session.
#include "qz_net_dev_setting.h"

#include <new>
#include <string>

#include "net_dev_setting.h"

using qz::nds::NetDevSetting;

extern "C" {

namespace {

// Records the outcome of init or uninit for the calling thread.
bool lifecycle_outcome(bool ok, int kind_on_failure) {
  qz::nds::set_thread_last_error(qz::nds::CallError{ok ? QZ_NDSX_OK : kind_on_failure}, {});
  return ok;
}

}  // namespace

QZ_NDS_API bool qz_nds_init(qz_nds_handle *handle_out) {
  if (handle_out == nullptr) return lifecycle_outcome(false, QZ_NDSX_BAD_ARGUMENT);
  auto *session = new (std::nothrow) NetDevSetting();
  if (session == nullptr) {
    *handle_out = nullptr;
    return lifecycle_outcome(false, QZ_NDSX_INIT_FAILED);
  }
  *handle_out = static_cast<qz_nds_handle>(session->get_handle());
  const bool ok = session->init();
  session->record_outcome(qz::nds::CallError{ok ? QZ_NDSX_OK : QZ_NDSX_INIT_FAILED});
  return ok;
}

QZ_NDS_API bool qz_nds_uninit(qz_nds_handle *handle_io) {
  if (handle_io == nullptr || !qz::nds::check_type_tag(*handle_io, qz::nds::kTypeTag))
    return lifecycle_outcome(false, QZ_NDSX_BAD_ARGUMENT);
  delete NetDevSetting::from_handle(*handle_io);
  *handle_io = nullptr;
  return lifecycle_outcome(true, QZ_NDSX_OK);
}

QZ_NDS_API bool qz_nds_connect(qz_nds_handle handle, const char *address) {
  return qz::nds::with_session(handle, [address](NetDevSetting &s) {
    if (address == nullptr) return false;
    const std::string copy(address);
    return s.connect(copy.c_str());
  });
}

QZ_NDS_API bool qz_nds_disconnect(qz_nds_handle handle) {
  return qz::nds::with_session(handle, [](NetDevSetting &s) { return s.disconnect(); });
}

}  // extern "C"
