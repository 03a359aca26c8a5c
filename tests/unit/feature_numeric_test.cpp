// Numeric settings through the scripted transport: one byte on the wire, the
// whole value remembered once accepted, getters answering from the session,
// and the system time block carried unchanged.
#include <gtest/gtest.h>

#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::DeviceStateCache;
using nds::kLogError;

// "... = %d ..." with the argument filled in.
std::string with_value(std::string format, long long value) {
  return format.replace(format.find("%d"), 2, std::to_string(value));
}

struct CountCase {
  const char *name;
  bool (*set)(qz_nds_handle, uint8_t);
  bool (*get)(qz_nds_handle, uint8_t *);
  uint8_t sub;
  uint8_t DeviceStateCache::*field;
  const char *set_failed;
};

#define QZ_SETTER(set) #set, set
const CountCase kCounts[] = {
    {QZ_SETTER(qz_nds_set_ps_link_count), qz_nds_get_ps_link_count, 133, &DeviceStateCache::ps_link_count,
     "set ps link count = %d failed"},
    {QZ_SETTER(qz_nds_set_ad_link_count), qz_nds_get_ad_link_count, 134, &DeviceStateCache::ad_link_count,
     "set ad link count = %d failed"},
    {QZ_SETTER(qz_nds_set_visual_link_count), qz_nds_get_visual_link_count, 141,
     &DeviceStateCache::visual_link_count, "set visual link count = %d failed"},
    {QZ_SETTER(qz_nds_set_ptz_link_count), qz_nds_get_ptz_link_count, 142, &DeviceStateCache::ptz_link_count,
     "set ptz link count = %d failed"},
    {QZ_SETTER(qz_nds_set_framerate), qz_nds_get_framerate, 147, &DeviceStateCache::framerate,
     "set framerate = %d failed"},
};

struct WideCase {
  const char *name;
  bool (*set)(qz_nds_handle, int32_t);
  bool (*get)(qz_nds_handle, uint32_t *);
  uint8_t sub;
  int32_t DeviceStateCache::*field;
  const char *set_failed;
};

const WideCase kWide[] = {
    {QZ_SETTER(qz_nds_set_default_palette), qz_nds_get_default_palette, 135,
     &DeviceStateCache::default_palette, "set palette = %d failed"},
    {QZ_SETTER(qz_nds_set_len_adjust_method), qz_nds_get_len_adjust_method, 140,
     &DeviceStateCache::len_adjust_method, "send len adjust method %d failed"},
};
#undef QZ_SETTER

using NumericTest = SessionTest;

TEST_F(NumericTest, CountsTravelAsOneByteAndAreRememberedUnchecked) {
  answer_all();
  for (const CountCase &c : kCounts) {
    SCOPED_TRACE(c.name);
    for (uint8_t value : {uint8_t{0}, uint8_t{7}, uint8_t{255}}) {
      ASSERT_TRUE(c.set(handle, value));
      EXPECT_EQ(last_sent()[wire::kOffMain], 169);
      EXPECT_EQ(last_sent()[wire::kOffSub], c.sub);
      EXPECT_EQ(last_payload(), Bytes{value});
      uint8_t got = 0xEE;
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, value);
    }
  }
}

TEST_F(NumericTest, WideValuesSendTheLowByteAndRememberTheWholeValue) {
  answer_all();
  for (const WideCase &c : kWide) {
    SCOPED_TRACE(c.name);
    for (int32_t value : {0x1FF, -1, -2, 3}) {
      ASSERT_TRUE(c.set(handle, value));
      EXPECT_EQ(last_sent()[wire::kOffSub], c.sub);
      EXPECT_EQ(last_payload(), Bytes{static_cast<uint8_t>(value & 0xFF)});
      uint32_t got = 0;
      ASSERT_TRUE(c.get(handle, &got));
      EXPECT_EQ(got, static_cast<uint32_t>(value));
    }
  }
}

TEST_F(NumericTest, UnknownLensAdjustMethodReadsAllOnesUntilSetAndAfterDisconnect) {
  uint32_t method = 0;
  ASSERT_TRUE(qz_nds_get_len_adjust_method(handle, &method));
  EXPECT_EQ(method, 0xFFFFFFFFu);
  answer_all();
  ASSERT_TRUE(qz_nds_set_len_adjust_method(handle, 2));
  ASSERT_TRUE(qz_nds_get_len_adjust_method(handle, &method));
  EXPECT_EQ(method, 2u);
  ASSERT_TRUE(qz_nds_disconnect(handle));
  ASSERT_TRUE(qz_nds_get_len_adjust_method(handle, &method));
  EXPECT_EQ(method, 0xFFFFFFFFu);
}

TEST_F(NumericTest, RefusedSetKeepsTheValueAndLogsTheArgument) {
  answer_all({}, 1);
  for (const CountCase &c : kCounts) {
    SCOPED_TRACE(c.name);
    cache().*c.field = 4;
    EXPECT_FALSE(c.set(handle, 255));
    EXPECT_EQ(cache().*c.field, 4);
    EXPECT_TRUE(log.contains(kLogError, c.name, with_value(c.set_failed, 255)));
  }
  for (const WideCase &c : kWide) {
    SCOPED_TRACE(c.name);
    cache().*c.field = 4;
    EXPECT_FALSE(c.set(handle, -300));
    EXPECT_EQ(cache().*c.field, 4);
    EXPECT_TRUE(log.contains(kLogError, c.name, with_value(c.set_failed, -300)));
  }
}

TEST_F(NumericTest, GettersRefuseANullOutPointer) {
  for (const CountCase &c : kCounts) EXPECT_FALSE(c.get(handle, nullptr)) << c.name;
  for (const WideCase &c : kWide) EXPECT_FALSE(c.get(handle, nullptr)) << c.name;
  EXPECT_TRUE(net.sent().empty());
}

TEST_F(NumericTest, SystemTimeBlockIsCarriedUnchanged) {
  answer_all();
  Bytes block(20);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(0xA0 + i);
  ASSERT_TRUE(qz_nds_set_system_time(handle, block.data()));
  EXPECT_EQ(last_sent()[wire::kOffMain], 169);
  EXPECT_EQ(last_sent()[wire::kOffSub], 136);
  EXPECT_EQ(last_payload(), block);
}

TEST_F(NumericTest, SystemTimeWithoutABlockSendsNothingAndAFailureLogsNothingOfItsOwn) {
  EXPECT_FALSE(qz_nds_set_system_time(handle, nullptr));
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());

  answer_all({}, 1);
  const Bytes block(20, 0);
  EXPECT_FALSE(qz_nds_set_system_time(handle, block.data()));
  for (const LogLine &line : log.lines()) EXPECT_NE(line.function, "qz_nds_set_system_time");
}

}  // namespace
}  // namespace qz::test
