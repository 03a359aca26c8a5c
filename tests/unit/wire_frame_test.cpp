// The frame builder against a frame written out by hand, and the
// bounds-checked reader and writer.
#include "wire_frame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qz::wire {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes hex(std::initializer_list<int> values) {
  Bytes out;
  for (int v : values) out.push_back(static_cast<uint8_t>(v));
  return out;
}

TEST(WireFrame, BuildsTheHdmiEnableRequest) {
  const uint8_t one = 1;
  Bytes frame = make_frame(kPackageRequest, 0xA9, 0x80, kRequestMarker, 1, &one, 1);
  EXPECT_EQ(frame, hex({0x51, 0x5A, 0x53, 0x54, 0x41, 0x52, 0x54, 0, 0, 0,    0x1D, 0,    0xA9, 0x80, 2,
                        0,    0,    0,    1,    0,    0,    0,    1, 1, 0x51, 0x5A, 0x45, 0x4E, 0x44}));
}

TEST(WireReader, ReadsBigEndianAndRefusesShortReadsWithoutMoving) {
  const Bytes data = hex({0x12, 0x34, 0x56, 0x78, 0xFF});
  Reader r(data.data(), data.size());
  uint16_t u16 = 0;
  ASSERT_TRUE(r.u16(u16));
  EXPECT_EQ(u16, 0x1234);
  uint32_t u32 = 0;
  EXPECT_FALSE(r.u32(u32));  // only 3 bytes left
  EXPECT_EQ(r.position(), 2u);
  uint8_t u8 = 0;
  ASSERT_TRUE(r.skip(2));
  ASSERT_TRUE(r.u8(u8));
  EXPECT_EQ(u8, 0xFF);
  EXPECT_FALSE(r.u8(u8));
  EXPECT_FALSE(r.skip(1));
}

TEST(WireReader, TextFieldsEndAtTheirFirstNulOrFillTheField) {
  const Bytes data = hex({'a', 'b', 0, 'c', 'x', 'y', 'z', 'w'});
  Reader r(data.data(), data.size());
  std::string text;
  ASSERT_TRUE(r.text_field(4, text));
  EXPECT_EQ(text, "ab");
  ASSERT_TRUE(r.text_field(4, text));
  EXPECT_EQ(text, "xyzw");
  EXPECT_FALSE(r.text_field(1, text));
}

TEST(WireReader, LengthPrefixedTextKeepsNulsAndRefusesCountsPastTheData) {
  Bytes data;
  Writer(data).lp_text(std::string("a\0b", 3)).u8(7);
  Reader r(data.data(), data.size());
  std::string text;
  ASSERT_TRUE(r.lp_text(text));
  EXPECT_EQ(text, std::string("a\0b", 3));
  uint8_t tail = 0;
  ASSERT_TRUE(r.u8(tail));
  EXPECT_EQ(tail, 7);

  for (uint32_t count : {4u, 0xFFFFFFFFu}) {
    Bytes hostile;
    Writer(hostile).u32(count).bytes("abc", 3);
    Reader h(hostile.data(), hostile.size());
    std::string out = "kept";
    EXPECT_FALSE(h.lp_text(out));
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(h.position(), 0u);
  }
}

TEST(WireWriter, TextFieldIsCutAndPadded) {
  Bytes data;
  Writer(data).text_field("abcdef", 4).text_field("ab", 4);
  EXPECT_EQ(data, hex({'a', 'b', 'c', 'd', 'a', 'b', 0, 0}));
}

}  // namespace
}  // namespace qz::wire
