// The frame builder against a frame written out by hand. The reader's and
// writer's bounds show in every family's short and hostile answers.
#include "wire_frame.h"

#include <gtest/gtest.h>

#include <vector>

namespace qz::wire {
namespace {

TEST(WireFrame, BuildsTheHdmiEnableRequest) {
  const uint8_t one = 1;
  const std::vector<uint8_t> expected = {0x51, 0x5A, 0x53, 0x54, 0x41, 0x52, 0x54, 0,    0,   0,
                                         0x1D, 0,    0xA9, 0x80, 2,    0,    0,    0,    1,   0,
                                         0,    0,    1,    1,    0x51, 0x5A, 0x45, 0x4E, 0x44};
  EXPECT_EQ(make_frame(kPackageRequest, 0xA9, 0x80, kRequestMarker, 1, &one, 1), expected);
}

}  // namespace
}  // namespace qz::wire
