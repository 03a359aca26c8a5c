// Lifecycle and connection exports. Each export checks the handle, then
// calls into the session.
#include "qz_net_dev_setting.h"

#include <new>
#include <string>

#include "net_dev_setting.h"

using qz::nds::NetDevSetting;

extern "C" {

QZ_NDS_API bool qz_nds_init(qz_nds_handle *handle_out) {
  if (handle_out == nullptr) return false;
  auto *session = new (std::nothrow) NetDevSetting();
  if (session == nullptr) {
    *handle_out = nullptr;
    return false;
  }
  *handle_out = session->get_handle();
  return session->init();
}

QZ_NDS_API bool qz_nds_uninit(qz_nds_handle *handle_io) {
  if (handle_io == nullptr) return false;
  if (!qz::nds::check_type_tag(*handle_io, qz::nds::kTypeTag)) return false;
  delete NetDevSetting::from_handle(*handle_io);
  *handle_io = nullptr;
  return true;
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
