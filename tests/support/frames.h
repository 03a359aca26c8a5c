// Frame helpers shared by the test transports.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "wire_frame.h"

namespace qz::test {

using Bytes = std::vector<uint8_t>;

// The device's answer to `request`: same main, sub and seq, package type 1.
inline Bytes response_to(const wire::FrameView &request, const Bytes &payload = {}, uint8_t code = 0) {
  return wire::make_frame(wire::kPackageResponse, request.header.main, request.header.sub, code,
                          request.header.seq, payload);
}

// A length-prefixed text as the device sends it.
inline Bytes lp_text(std::string_view text) {
  Bytes out;
  wire::Writer(out).lp_text(text);
  return out;
}

}  // namespace qz::test
