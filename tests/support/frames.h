// Frame helpers shared by the test transports.
#pragma once

#include <cstdint>
#include <vector>

#include "wire_frame.h"

namespace qz::test {

using Bytes = std::vector<uint8_t>;

// The device's answer to `request`: same main, sub and seq, package type 1.
inline Bytes response_to(const wire::FrameView &request, const Bytes &payload = {}, uint8_t code = 0) {
  return wire::make_frame(wire::kPackageResponse, request.header.main, request.header.sub, code, request.header.seq,
                          payload);
}

}  // namespace qz::test
