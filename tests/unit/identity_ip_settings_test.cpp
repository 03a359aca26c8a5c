// IP settings: the 76-byte block of the set request and of the query's
// answer, the cache rules of both, and refusal of short answers.
#include <array>
#include <cstring>
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using TextBuffers = std::array<std::array<char, 16>, 5>;

// A 76-byte block: flag, then five 15-byte slots.
Bytes ip_block(uint8_t flag, const std::array<std::string, 5> &texts) {
  Bytes b;
  wire::Writer w(b);
  w.u8(flag);
  for (const std::string &t : texts) w.text_field(t, 15);
  return b;
}

class IpSettingsTest : public SessionTest {
 protected:
  bool get_ip(uint8_t &flag, TextBuffers &buffers) {
    return qz_nds_get_ip_info(handle, &flag, buffers[0].data(), buffers[1].data(), buffers[2].data(),
                              buffers[3].data(), buffers[4].data());
  }
  void fill_cache(uint8_t flag, const std::array<std::string, 5> &texts) {
    std::lock_guard guard(session().cache_lock);
    cache().ip_info_flag = flag;
    cache().ip_info_text1 = texts[0];
    cache().ip_info_text2 = texts[1];
    cache().ip_info_text3 = texts[2];
    cache().ip_info_text4 = texts[3];
    cache().ip_info_text5 = texts[4];
  }
  std::array<std::string, 5> cached_texts() {
    const nds::DeviceStateCache &c = cache();
    return {c.ip_info_text1, c.ip_info_text2, c.ip_info_text3, c.ip_info_text4, c.ip_info_text5};
  }
};

TEST_F(IpSettingsTest, SetWithFlagZeroSendsOnlyZerosButCachesTheTexts) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_ip_info(handle, 0, "10.0.0.2", "255.0.0.0", "10.0.0.1", "1.1.1.1", "9.9.9.9"));
  wire::FrameView request = view_request(last_sent());
  EXPECT_EQ(request.header.main, 169);
  EXPECT_EQ(request.header.sub, 138);
  EXPECT_EQ(last_payload(), Bytes(76, 0));
  EXPECT_EQ(cache().ip_info_flag, 0);
  EXPECT_EQ(cached_texts(),
            (std::array<std::string, 5>{"10.0.0.2", "255.0.0.0", "10.0.0.1", "1.1.1.1", "9.9.9.9"}));
}

TEST_F(IpSettingsTest, SetWithFlagSendsSlotsAndCachesTheFlagAsPassed) {
  answer_all();
  fill_cache(0, {"keep1", "keep2", "keep3", "keep4", "keep5"});
  const std::string long_text = "0123456789abcdefghij";  // 20 bytes
  const std::string exact = "123.123.123.123";           // 15 bytes
  ASSERT_TRUE(qz_nds_set_ip_info(handle, 2, "10.0.0.2", nullptr, long_text.c_str(), exact.c_str(), ""));
  EXPECT_EQ(last_payload(), ip_block(1, {"10.0.0.2", "", long_text.substr(0, 15), exact, ""}));
  EXPECT_EQ(cache().ip_info_flag, 2);
  // Whole texts are kept; the null one leaves its member alone.
  EXPECT_EQ(cached_texts(), (std::array<std::string, 5>{"10.0.0.2", "keep2", long_text, exact, ""}));

  TextBuffers out;
  for (auto &b : out) b.fill('\xEE');
  answer_all({}, 1);  // the query fails: the cache answers
  uint8_t flag = 0;
  ASSERT_TRUE(get_ip(flag, out));
  EXPECT_EQ(flag, 2);
  EXPECT_EQ(std::string(out[2].data(), 15), long_text.substr(0, 15));
  EXPECT_EQ(out[2][15], '\xEE');  // no terminator written
  EXPECT_EQ(std::string(out[3].data(), 15), exact);
  EXPECT_EQ(out[4][0], '\xEE');  // empty text: nothing copied
}

TEST_F(IpSettingsTest, RefusedSetLogsAndKeepsTheCache) {
  fill_cache(1, {"a", "b", "c", "d", "e"});
  answer_all({}, 1);
  log.clear();
  EXPECT_FALSE(qz_nds_set_ip_info(handle, 1, "x", "x", "x", "x", "x"));
  EXPECT_TRUE(log.contains(nds::kLogError, "qz_nds_set_ip_info", "set ip info failed"));
  EXPECT_EQ(log.lines().back().message, "set ip info failed");
  EXPECT_EQ(cache().ip_info_flag, 1);
  EXPECT_EQ(cached_texts(), (std::array<std::string, 5>{"a", "b", "c", "d", "e"}));
}

TEST_F(IpSettingsTest, QueryAnswerIsParsedAndHandedOut) {
  const std::string fifteen = "abcdefghijklmno";
  answer_all(ip_block(1, {"192.168.0.9", "255.255.0.0", "192.168.0.1", fifteen, ""}));
  TextBuffers out{};
  uint8_t flag = 0;
  ASSERT_TRUE(get_ip(flag, out));
  EXPECT_EQ(view_request(last_sent()).header.sub, 139);
  EXPECT_TRUE(last_payload().empty());
  EXPECT_EQ(flag, 1);
  EXPECT_STREQ(out[0].data(), "192.168.0.9");
  EXPECT_STREQ(out[2].data(), "192.168.0.1");
  EXPECT_STREQ(out[3].data(), fifteen.c_str());
  EXPECT_EQ(cache().ip_info_text4, fifteen);
  EXPECT_EQ(cache().ip_info_text5, "");
}

TEST_F(IpSettingsTest, AnsweredFlagOtherThanOneIsStoredAsZero) {
  fill_cache(1, {});
  answer_all(ip_block(2, {}));
  uint8_t flag = 7;
  ASSERT_TRUE(qz_nds_get_ip_info(handle, &flag, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(cache().ip_info_flag, 0);
}

TEST_F(IpSettingsTest, NotConnectedGetAnswersFromTheCache) {
  fill_cache(1, {"t1", "t2", "t3", "t4", "t5"});
  ASSERT_TRUE(qz_nds_disconnect(handle));  // resets the flag only
  log.clear();
  TextBuffers out{};
  uint8_t flag = 9;
  ASSERT_TRUE(get_ip(flag, out));
  EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::send_cmd", "device is not connected"));
  EXPECT_EQ(flag, 0);
  EXPECT_STREQ(out[0].data(), "t1");
  EXPECT_STREQ(out[4].data(), "t5");
}

TEST_F(IpSettingsTest, ShortAnswersAreRefusedWhole) {
  const Bytes full = ip_block(1, {"new1", "new2", "new3", "new4", "new5"});
  for (std::size_t length : {0, 1, 16, 75}) {
    SCOPED_TRACE(length);
    fill_cache(0, {"old1", "old2", "old3", "old4", "old5"});
    answer_all(Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(length)));
    log.clear();
    TextBuffers out{};
    uint8_t flag = 9;
    ASSERT_TRUE(get_ip(flag, out));  // falls back to the cache
    EXPECT_EQ(flag, 0);
    EXPECT_STREQ(out[0].data(), "old1");
    EXPECT_EQ(cached_texts(), (std::array<std::string, 5>{"old1", "old2", "old3", "old4", "old5"}));
    const std::string message = "cmd [169,139]'s response is " + std::to_string(76 - length) + " bytes short";
    EXPECT_TRUE(log.contains(nds::kLogError, "on_response_setting", message));
  }
}

TEST_F(IpSettingsTest, NullHandleIsRefusedSilently) {
  char buffer[32];
  uint32_t len = 0;
  uint8_t flag = 0;
  EXPECT_FALSE(qz_nds_set_ip_info(nullptr, 1, "a", "b", "c", "d", "e"));
  EXPECT_FALSE(qz_nds_get_ip_info(nullptr, &flag, buffer, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(qz_nds_get_sn(nullptr, buffer, &len));
  EXPECT_FALSE(qz_nds_get_machine_info(nullptr, nullptr, nullptr, buffer, nullptr, nullptr, nullptr));
  EXPECT_FALSE(qz_nds_get_machine_config_info(nullptr));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(net.sent().empty());
}

}  // namespace
}  // namespace qz::test
