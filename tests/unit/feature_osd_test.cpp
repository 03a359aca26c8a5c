// OSD items and the channel name through the scripted transport: item ids to
// sub commands, the 6-byte item payload, display kept as passed, and the
// channel name's count byte against the whole remembered text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using nds::kLogError;
using nds::kLogNotice;

struct Item {
  uint8_t display = 0, attribute = 0;
  uint16_t value1 = 0, value2 = 0;
  bool operator==(const Item &) const = default;
};

class OsdTest : public SessionTest {
 protected:
  Item item(int32_t id) {
    Item out{0xEE, 0xEE, 0xEEEE, 0xEEEE};
    EXPECT_TRUE(qz_nds_get_osd_setting(handle, id, &out.display, &out.attribute, &out.value1, &out.value2));
    return out;
  }
  uint8_t sent_main() { return last_sent()[wire::kOffMain]; }
  uint8_t sent_sub() { return last_sent()[wire::kOffSub]; }
};

TEST_F(OsdTest, EachItemIdGoesToItsSubCommand) {
  const std::pair<int32_t, uint8_t> kIdToSub[] = {{0, 128}, {1, 129}, {2, 130}, {3, 131},  {4, 132}, {5, 135},
                                                  {6, 136}, {7, 137}, {9, 133}, {10, 134}, {11, 141}};
  answer_all();
  for (auto [id, sub] : kIdToSub) {
    SCOPED_TRACE(id);
    const Item set{1, static_cast<uint8_t>(id), static_cast<uint16_t>(0x0100 + id),
                   static_cast<uint16_t>(0xA000 + id)};
    ASSERT_TRUE(qz_nds_set_osd_setting(handle, id, set.display, set.attribute, set.value1, set.value2));
    EXPECT_EQ(sent_main(), 168);
    EXPECT_EQ(sent_sub(), sub);
    EXPECT_EQ(last_payload(), (Bytes{1, static_cast<uint8_t>(id), 0x01, static_cast<uint8_t>(id), 0xA0,
                                     static_cast<uint8_t>(id)}));
    EXPECT_EQ(item(id), set);
  }
  EXPECT_EQ(item(8), Item{}) << "the channel-name item is not touched";
}

TEST_F(OsdTest, DisplayTravelsAsZeroOrOneButIsRememberedAsPassed) {
  answer_all();
  for (auto [display, sent] : {std::pair<uint8_t, uint8_t>{9, 1}, {0, 0}, {1, 1}, {255, 1}}) {
    ASSERT_TRUE(qz_nds_set_osd_setting(handle, 2, display, 0, 0, 0));
    EXPECT_EQ(last_payload()[0], sent);
    EXPECT_EQ(item(2).display, display);
  }
}

TEST_F(OsdTest, UnsupportedIdsAreRefusedWithoutSending) {
  answer_all();
  for (int32_t id : {8, -1}) {
    EXPECT_FALSE(qz_nds_set_osd_setting(handle, id, 1, 1, 1, 1));
    EXPECT_TRUE(log.contains(kLogError, "qz_nds_set_osd_setting",
                             "osd = " + std::to_string(id) + " is not supproted"));
  }
  log.clear();
  for (int32_t id : {12, 1000}) EXPECT_FALSE(qz_nds_set_osd_setting(handle, id, 1, 1, 1, 1));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(net.sent().empty());

  uint8_t display = 0x5A;
  for (int32_t id : {12, -1})
    EXPECT_FALSE(qz_nds_get_osd_setting(handle, id, &display, nullptr, nullptr, nullptr));
  EXPECT_EQ(display, 0x5A);
}

TEST_F(OsdTest, RefusedOrAnsweredWithPayloadKeepsTheItem) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_osd_setting(handle, 3, 1, 2, 3, 4));
  // A device refusal, and an answer carrying bytes, which main 168 never does.
  for (auto [payload, code] : {std::pair<Bytes, uint8_t>{{}, 1}, {{0}, 0}}) {
    answer_all(payload, code);
    log.clear();
    EXPECT_FALSE(qz_nds_set_osd_setting(handle, 3, 0, 9, 9, 9));
    EXPECT_EQ(item(3), (Item{1, 2, 3, 4}));
    EXPECT_TRUE(log.contains(kLogError, "qz_nds_set_osd_setting", "set osd = 3 config failed"));
  }
}

TEST_F(OsdTest, ChannelNameSendsNameLengthBytesAndRemembersTheWholeName) {
  answer_all();
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 3, "abcdef", 7, 2, 0x0102, 0x0304));
  EXPECT_EQ(sent_main(), 168);
  EXPECT_EQ(sent_sub(), 138);
  EXPECT_EQ(last_payload(), (Bytes{1, 2, 0x01, 0x02, 0x03, 0x04, 3, 'a', 'b', 'c'}));
  EXPECT_TRUE(log.lines().empty());

  char name[300];
  std::memset(name, 0x55, sizeof name);
  Item got;
  ASSERT_TRUE(
      qz_nds_osd_get_channel_info(handle, name, &got.display, &got.attribute, &got.value1, &got.value2));
  EXPECT_EQ(std::string(name, 6), "abcdef");
  EXPECT_EQ(name[6], 0x55) << "no terminator is added";
  EXPECT_EQ(got, (Item{7, 2, 0x0102, 0x0304}));
  EXPECT_EQ(item(8), got) << "item 8 is the channel-name item";
}

TEST_F(OsdTest, ChannelNameWithoutBytesIsANoticeNotARefusal) {
  answer_all();
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 0, "whole", 1, 0, 0, 0));
  EXPECT_TRUE(log.contains(kLogNotice, "qz_nds_osd_set_channel_name", "channel name's bytes = 0"));
  EXPECT_EQ(last_payload(), (Bytes{1, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(cache().channel_name, "whole");

  // A null name goes as an empty one, whatever length was given.
  log.clear();
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 5, nullptr, 0, 0, 0, 0));
  EXPECT_TRUE(log.contains(kLogNotice, "qz_nds_osd_set_channel_name", "channel name's bytes = 5"));
  EXPECT_EQ(last_payload(), (Bytes{0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(cache().channel_name, "");
}

TEST_F(OsdTest, ChannelNameShorterThanItsLengthIsPaddedNotOverread) {
  answer_all();
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 4, "ab", 0, 0, 0, 0));
  EXPECT_EQ(last_payload(), (Bytes{0, 0, 0, 0, 0, 0, 4, 'a', 'b', 0, 0}));
  EXPECT_EQ(cache().channel_name, "ab");
}

TEST_F(OsdTest, RefusedChannelNameKeepsTheCache) {
  answer_all();
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 3, "old", 1, 1, 1, 1));
  answer_all({}, 1);
  log.clear();
  EXPECT_FALSE(qz_nds_osd_set_channel_name(handle, 3, "new", 0, 0, 0, 0));
  EXPECT_TRUE(log.contains(kLogError, "qz_nds_osd_set_channel_name", "set channel name failed"));
  EXPECT_EQ(cache().channel_name, "old");
  EXPECT_EQ(item(8), (Item{1, 1, 1, 1}));
}

TEST_F(OsdTest, LongChannelNameIsCutToTheBuffer) {
  answer_all();
  const std::string long_name(300, 'x');
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 255, long_name.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(last_payload().size(), 7u + 255u);
  char name[300];
  std::memset(name, 0, sizeof name);
  ASSERT_TRUE(qz_nds_osd_get_channel_info(handle, name, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(std::string(name), std::string(256, 'x'));
}

TEST_F(OsdTest, RestoreSendsAnEmptyRequestAndKeepsTheItems) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_osd_setting(handle, 0, 1, 1, 1, 1));
  ASSERT_TRUE(qz_nds_osd_restore_config(handle));
  EXPECT_EQ(sent_main(), 168);
  EXPECT_EQ(sent_sub(), 140);
  EXPECT_TRUE(last_payload().empty());
  EXPECT_EQ(item(0), (Item{1, 1, 1, 1}));

  answer_all({}, 1);
  log.clear();
  EXPECT_FALSE(qz_nds_osd_restore_config(handle));
  for (const LogLine &line : log.lines()) EXPECT_NE(line.function, "qz_nds_osd_restore_config");
}

}  // namespace
}  // namespace qz::test
