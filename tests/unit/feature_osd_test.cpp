// OSD items and the channel name: item ids to sub commands, the 6-byte item
// payload, and the channel name's count byte against the remembered text.
#include <algorithm>
#include <cstring>
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;
using nds::kLogNotice;
using OsdTest = SessionTest;

// Display travels as 0 or 1 but is remembered as passed.
TEST_F(OsdTest, EachItemIdGoesToItsSubCommand) {
  const std::pair<int32_t, uint8_t> kIdToSub[] = {{0, 128}, {1, 129}, {2, 130}, {3, 131},  {4, 132}, {5, 135},
                                                  {6, 136}, {7, 137}, {9, 133}, {10, 134}, {11, 141}};
  answer_all();
  for (auto [id, sub] : kIdToSub) {
    SCOPED_TRACE(id);
    const auto n = static_cast<uint8_t>(id);
    const uint8_t display = id % 3 == 0 ? 9 : static_cast<uint8_t>(id % 2);
    ASSERT_TRUE(qz_nds_set_osd_setting(handle, id, display, n, 0x0100 + id, 0xA000 + id));
    EXPECT_EQ(last_request(), Request(168, sub, {display != 0, n, 0x01, n, 0xA0, n}));
    EXPECT_EQ(osd_item(id), Osd(display, n, 0x0100 + id, 0xA000 + id));
  }
  EXPECT_EQ(osd_item(8), Osd(0, 0, 0, 0)) << "the channel-name item is not touched";
}

TEST_F(OsdTest, UnsupportedIdsAreRefusedWithoutSending) {
  for (int32_t id : {8, -1}) {
    EXPECT_FALSE(qz_nds_set_osd_setting(handle, id, 1, 1, 1, 1));
    EXPECT_TRUE(log.contains(kLogError, "qz_nds_set_osd_setting",
                             "osd = " + std::to_string(id) + " is not supproted"));
  }
  log.clear();
  uint8_t display = 0x5A;
  EXPECT_FALSE(qz_nds_set_osd_setting(handle, 12, 1, 1, 1, 1));
  EXPECT_FALSE(qz_nds_get_osd_setting(handle, 12, &display, nullptr, nullptr, nullptr));
  EXPECT_EQ(display, 0x5A);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(net.sent().empty());
}

// A refusal keeps what the session had.
TEST_F(OsdTest, RefusedSetKeepsTheItemAndTheName) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_osd_setting(handle, 3, 1, 2, 3, 4));
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 3, "old", 1, 1, 1, 1));
  answer_all({}, 1);
  EXPECT_FALSE(qz_nds_set_osd_setting(handle, 3, 0, 9, 9, 9));
  EXPECT_EQ(osd_item(3), Osd(1, 2, 3, 4));
  EXPECT_TRUE(log.contains(kLogError, "qz_nds_set_osd_setting", "set osd = 3 config failed"));
  EXPECT_FALSE(qz_nds_osd_set_channel_name(handle, 3, "new", 0, 0, 0, 0));
  EXPECT_TRUE(log.contains(kLogError, "qz_nds_osd_set_channel_name", "set channel name failed"));
  EXPECT_EQ(channel_name(), "old");
  EXPECT_EQ(osd_item(8), Osd(1, 1, 1, 1));
  // Restore sends an empty request; a refusal has no line of its own.
  log.clear();
  EXPECT_FALSE(qz_nds_osd_restore_config(handle));
  EXPECT_EQ(last_request(), Request(168, 140, {}));
  for (const LogLine &line : log.lines()) EXPECT_NE(line.function, "qz_nds_osd_restore_config");
}

// The wire carries the count byte and that many bytes of the name (padded,
// never read past the name's end); the session keeps the whole name and
// hands out at most 256 bytes of it, without a terminator.
TEST_F(OsdTest, ChannelNameSendsItsCountAndRemembersTheWholeName) {
  const std::string long_name(300, 'x');
  struct Case {
    uint8_t length;
    const char *name;
    Bytes sent;  // after the 6 item bytes
    std::string kept;
    const char *notice;
  } cases[] = {
      {3, "abcdef", {3, 'a', 'b', 'c'}, "abcdef", nullptr},
      {4, "ab", {4, 'a', 'b', 0, 0}, "ab", nullptr},
      {0, "whole", {0}, "whole", "channel name's bytes = 0"},
      {5, nullptr, {0}, "", "channel name's bytes = 5"},
      {255, long_name.c_str(), {}, long_name, nullptr},
  };
  cases[4].sent.assign(256, 'x');
  cases[4].sent[0] = 255;
  answer_all();
  for (const Case &c : cases) {
    SCOPED_TRACE(c.kept.substr(0, 8));
    log.clear();
    ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, c.length, c.name, 7, 2, 0x0102, 0x0304));
    // Sized up front: GCC 12 at -O2 misreads a growing insert as out of bounds.
    const uint8_t head[] = {1, 2, 0x01, 0x02, 0x03, 0x04};
    Bytes expected(sizeof head + c.sent.size());
    std::copy(std::begin(head), std::end(head), expected.begin());
    std::copy(c.sent.begin(), c.sent.end(), expected.begin() + sizeof head);
    EXPECT_EQ(last_request(), Request(168, 138, expected));
    EXPECT_TRUE(c.notice ? log.contains(kLogNotice, "qz_nds_osd_set_channel_name", c.notice)
                         : log.lines().empty());

    char name[300];
    std::memset(name, 0x55, sizeof name);
    uint8_t display = 0, attribute = 0;
    uint16_t value1 = 0, value2 = 0;
    ASSERT_TRUE(qz_nds_osd_get_channel_info(handle, name, &display, &attribute, &value1, &value2));
    const std::size_t shown = std::min<std::size_t>(c.kept.size(), 256);
    EXPECT_EQ(std::string(name, shown), c.kept.substr(0, shown));
    EXPECT_EQ(name[shown], 0x55) << "no terminator is added";
    EXPECT_EQ(Osd(display, attribute, value1, value2), Osd(7, 2, 0x0102, 0x0304));
    EXPECT_EQ(osd_item(8), Osd(7, 2, 0x0102, 0x0304)) << "item 8 is the channel-name item";
  }
}

}  // namespace
}  // namespace qz::test
