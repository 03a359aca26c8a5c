#include "net_dev_setting.h"

namespace qz::nds {

bool on_response_passive_wireless(NetDevSetting &, const wire::FrameView &) { return false; }

}  // namespace qz::nds
