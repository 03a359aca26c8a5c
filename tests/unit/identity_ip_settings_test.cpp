// IP settings: the 76-byte block of the set request and of the query's
// answer, the cache rules of both, and refusal of short answers.
#include <array>
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using Texts = std::array<std::string, 5>;
using TextBuffers = std::array<std::array<char, 16>, 5>;

// A 76-byte block: flag, then five 15-byte slots.
Bytes ip_block(uint8_t flag, const Texts &texts) {
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
  // What the session holds: with the query refused, the getter hands it out.
  IpInfo cached() {
    answer_all({}, 1);
    return ip_info();
  }
};

// Flag 0 sends only zeros but caches the texts.
TEST_F(IpSettingsTest, SetSendsTheSlotsOnlyWithAFlagAndCachesTheFlagAsPassed) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_ip_info(handle, 0, "10.0.0.2", "255.0.0.0", "10.0.0.1", "1.1.1.1", "9.9.9.9"));
  EXPECT_EQ(view_request(last_sent()).header.main, 169);
  EXPECT_EQ(view_request(last_sent()).header.sub, 138);
  EXPECT_EQ(last_payload(), Bytes(76, 0));
  EXPECT_EQ(cached(), (IpInfo{0, {"10.0.0.2", "255.0.0.0", "10.0.0.1", "1.1.1.1", "9.9.9.9"}}));

  const std::string long_text = "0123456789abcdefghij";  // 20 bytes
  const std::string exact = "123.123.123.123";           // 15 bytes
  answer_all();
  ASSERT_TRUE(qz_nds_set_ip_info(handle, 2, "10.0.0.2", nullptr, long_text.c_str(), exact.c_str(), ""));
  EXPECT_EQ(last_payload(), ip_block(1, {"10.0.0.2", "", long_text.substr(0, 15), exact, ""}));
  // The null text leaves its member alone.
  const IpInfo kept{2, {"10.0.0.2", "255.0.0.0", long_text.substr(0, 15), exact, ""}};
  EXPECT_EQ(cached(), kept);

  TextBuffers out;
  for (auto &b : out) b.fill('\xEE');
  uint8_t flag = 0;
  ASSERT_TRUE(get_ip(flag, out));
  EXPECT_EQ(flag, 2);
  EXPECT_EQ(std::string(out[2].data(), 15), long_text.substr(0, 15));
  EXPECT_EQ(out[2][15], '\xEE');  // no terminator written
  EXPECT_EQ(std::string(out[3].data(), 15), exact);
  EXPECT_EQ(out[4][0], '\xEE');  // empty text: nothing copied

  // A refused set logs its line and keeps the cache.
  log.clear();
  EXPECT_FALSE(qz_nds_set_ip_info(handle, 1, "x", "x", "x", "x", "x"));
  EXPECT_EQ(log.lines().back().function, "qz_nds_set_ip_info");
  EXPECT_EQ(log.lines().back().message, "set ip info failed");
  EXPECT_EQ(cached(), kept);
}

// The answered flag is stored as 1 exactly when it is 1.
TEST_F(IpSettingsTest, QueryAnswerIsParsedAndHandedOut) {
  const Texts sent = {"192.168.0.9", "255.255.0.0", "192.168.0.1", "abcdefghijklmno", ""};
  for (uint8_t answered : {1, 2}) {
    answer_all(ip_block(answered, sent));
    const IpInfo answer{answered == 1 ? 1 : 0, sent};
    EXPECT_EQ(ip_info(), answer);
    EXPECT_EQ(view_request(last_sent()).header.sub, 139);
    EXPECT_TRUE(last_payload().empty());
    EXPECT_EQ(cached(), answer);
  }
}

// A short answer is refused whole, and the getter hands out the cache.
TEST_F(IpSettingsTest, ShortAnswersAreRefusedWholeAndTheCacheAnswers) {
  const Bytes full = ip_block(1, {"new1", "new2", "new3", "new4", "new5"});
  for (int length : {0, 1, 16, 75}) {
    SCOPED_TRACE(length);
    answer_all();
    ASSERT_TRUE(qz_nds_set_ip_info(handle, 0, "old1", "old2", "old3", "old4", "old5"));
    answer_all(Bytes(full.begin(), full.begin() + length));
    log.clear();
    EXPECT_EQ(ip_info(), (IpInfo{0, {"old1", "old2", "old3", "old4", "old5"}}));
    EXPECT_TRUE(log.contains(nds::kLogError, "on_response_setting",
                             "cmd [169,139]'s response is " + std::to_string(76 - length) + " bytes short"));
  }
}

}  // namespace
}  // namespace qz::test
