// Numeric settings: one byte on the wire, the whole value remembered once
// accepted, getters answering from the session; the system time block.
#include <string>
#include <vector>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;

// The byte-wide exports behind the signature of the 32-bit ones.
template <bool (*Set)(qz_nds_handle, uint8_t)>
bool set_u8(qz_nds_handle h, int32_t v) {
  return Set(h, static_cast<uint8_t>(v));
}
template <bool (*Get)(qz_nds_handle, uint8_t *)>
bool get_u8(qz_nds_handle h, uint32_t *out) {
  uint8_t byte = 0;
  const bool ok = Get(h, out != nullptr ? &byte : nullptr);
  if (ok) *out = byte;
  return ok;
}

struct NumericCase {
  const char *name;
  bool (*set)(qz_nds_handle, int32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint8_t sub;
  bool wide;               // a 32-bit value: remembered whole, read back as its bit pattern
  const char *set_failed;  // with %d for the argument
};

#define QZ_U8(set, get) #set, set_u8 < set>, get_u8 < get>
#define QZ_I32(set, get) #set, set, get
const NumericCase kNumerics[] = {
    {QZ_U8(qz_nds_set_ps_link_count, qz_nds_get_ps_link_count), 133, false, "set ps link count = %d failed"},
    {QZ_U8(qz_nds_set_ad_link_count, qz_nds_get_ad_link_count), 134, false, "set ad link count = %d failed"},
    {QZ_U8(qz_nds_set_visual_link_count, qz_nds_get_visual_link_count), 141, false,
     "set visual link count = %d failed"},
    {QZ_U8(qz_nds_set_ptz_link_count, qz_nds_get_ptz_link_count), 142, false,
     "set ptz link count = %d failed"},
    {QZ_U8(qz_nds_set_framerate, qz_nds_get_framerate), 147, false, "set framerate = %d failed"},
    {QZ_I32(qz_nds_set_default_palette, qz_nds_get_default_palette), 135, true, "set palette = %d failed"},
    {QZ_I32(qz_nds_set_len_adjust_method, qz_nds_get_len_adjust_method), 140, true,
     "send len adjust method %d failed"},
};
#undef QZ_U8
#undef QZ_I32

using NumericTest = SessionTest;

TEST_F(NumericTest, ValuesTravelAsTheirLowByteAndAreRememberedOnceAccepted) {
  uint32_t method = 0;
  ASSERT_TRUE(qz_nds_get_len_adjust_method(handle, &method));
  EXPECT_EQ(method, 0xFFFFFFFFu) << "unknown until set";
  for (const NumericCase &c : kNumerics) {
    SCOPED_TRACE(c.name);
    const auto values = c.wide ? std::vector<int32_t>{0x1FF, -1, -2, 3} : std::vector<int32_t>{0, 7, 255};
    for (int32_t value : values) {
      answer_all();
      ASSERT_TRUE(c.set(handle, value));
      EXPECT_EQ(last_sent()[wire::kOffMain], 169);
      EXPECT_EQ(last_sent()[wire::kOffSub], c.sub);
      EXPECT_EQ(last_payload(), Bytes{static_cast<uint8_t>(value)});
      uint32_t got = 0xEE;
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, static_cast<uint32_t>(value));

      // Refused: the value stays, and the line carries the argument.
      answer_all({}, 1);
      const int32_t refused = c.wide ? -300 : 42;
      EXPECT_FALSE(c.set(handle, refused));
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, static_cast<uint32_t>(value));
      std::string line = c.set_failed;
      line.replace(line.find("%d"), 2, std::to_string(refused));
      EXPECT_TRUE(log.contains(kLogError, c.name, line));
    }
    EXPECT_FALSE(c.get(handle, nullptr));
  }
}

TEST_F(NumericTest, SystemTimeBlockIsCarriedUnchanged) {
  EXPECT_FALSE(qz_nds_set_system_time(handle, nullptr));
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());

  answer_all();
  Bytes block(20);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(0xA0 + i);
  ASSERT_TRUE(qz_nds_set_system_time(handle, block.data()));
  EXPECT_EQ(last_sent()[wire::kOffMain], 169);
  EXPECT_EQ(last_sent()[wire::kOffSub], 136);
  EXPECT_EQ(last_payload(), block);

  // A refusal logs only the transaction's lines.
  answer_all({}, 1);
  EXPECT_FALSE(qz_nds_set_system_time(handle, block.data()));
  for (const LogLine &line : log.lines()) EXPECT_NE(line.function, "qz_nds_set_system_time");
}

}  // namespace
}  // namespace qz::test
