#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::nds {

bool NetDevSetting::get_machine_config_info() { return send_cmd(174, 130, 0, nullptr, kWaitMs); }

bool NetDevSetting::on_response_machine_status(const wire::FrameView &frame) {
  if (frame.header.sub != 130) {
    NDS_LOG(kLogError, "NetDevSetting::on_response_machine_status",
            "QZ_MACHINE_STATUS's vicd cmd = %d is not supported", frame.header.sub);
    return false;
  }
  return true;
}

}  // namespace qz::nds

extern "C" QZ_NDS_API bool qz_nds_get_machine_config_info(qz_nds_handle handle) {
  return qz::nds::with_session(handle, [](qz::nds::NetDevSetting &s) { return s.get_machine_config_info(); });
}
