// Device control (reboot, keep-alive) and the two vendor flags. The flags'
// setters send the caller's byte and remember nothing; their getters ask the
// device every time and report 1 exactly when it answered 1.
#include "setting_rows.h"

namespace qz::nds {

bool NetDevSetting::reboot() {
  return send_cmd(wire::kMainControl, wire::control::kReboot, 0, nullptr, 0);
}

bool NetDevSetting::keep_alive() {
  return send_cmd(wire::kMainKeepAlive, wire::keep_alive::kKeepAlive, 0, nullptr, 0);
}

namespace {

namespace setting = wire::setting;
using C = DeviceStateCache;
constexpr ByteForm kFlag = ByteForm::flag;

// clang-format off
constexpr ByteSetting kHikvisionLinkage{.set_sub = setting::kSetHikvisionLinkage, .query_sub = setting::kGetHikvisionLinkage, .field = &C::hikvision_linkage, .stored = kFlag, .reported = kFlag};
constexpr ByteSetting kPgSupport{.set_sub = setting::kSetPgSupport, .query_sub = setting::kGetPgSupport, .field = &C::pg_support, .stored = kFlag, .reported = kFlag};
// clang-format on
constexpr ByteSetting kRows[] = {kHikvisionLinkage, kPgSupport};

}  // namespace

const SettingFamily kDeviceControlSettings{kRows, {}, {}};

}  // namespace qz::nds

using qz::nds::get_byte;
using qz::nds::NetDevSetting;
using qz::nds::set_byte;
using qz::nds::with_session;

// Neither waits for the device: success means the frame was sent.
extern "C" QZ_NDS_API bool qz_nds_reboot(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.reboot(); });
}
extern "C" QZ_NDS_API bool qz_nds_keep_alive(qz_nds_handle handle) {
  return with_session(handle, [](NetDevSetting &s) { return s.keep_alive(); });
}

extern "C" QZ_NDS_API bool qz_nds_set_hikvision_linkage(qz_nds_handle handle, uint8_t value) {
  return set_byte(handle, qz::nds::kHikvisionLinkage, value, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_hikvision_linkage(qz_nds_handle handle, uint8_t *value) {
  return get_byte(handle, qz::nds::kHikvisionLinkage, value);
}

extern "C" QZ_NDS_API bool qz_nds_set_pg_support(qz_nds_handle handle, uint8_t value) {
  return set_byte(handle, qz::nds::kPgSupport, value, __func__);
}
extern "C" QZ_NDS_API bool qz_nds_get_pg_support(qz_nds_handle handle, uint8_t *value) {
  return get_byte(handle, qz::nds::kPgSupport, value);
}
