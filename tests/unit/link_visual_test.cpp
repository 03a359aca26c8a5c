// Visual camera link settings: the serial number record and its checks, and
// failed or short answers that leave the caller's outputs alone.
#include <string>

#include "session_fixture.h"

namespace qz::test {
namespace {

using VisualLinkTest = SessionTest;

// A refusal or an answer shorter than it announces fails the get; the short
// one with a single line saying how many bytes were missing.
TEST_F(VisualLinkTest, FailedOrShortAnswersLeaveEverythingAlone) {
  struct Case {
    Bytes payload;
    uint8_t code;
    const char *line;
  };
  const Case cases[] = {
      {lp_text("new"), 1, nullptr},
      {{0, 0}, 0, "cmd [169,149]'s response is 2 bytes short"},
      {{0, 0, 0, 10, 'a', 'b', 'c'}, 0, "cmd [169,149]'s response is 7 bytes short"},
      {{0xFF, 0xFF, 0xFF, 0xFF, 'a'}, 0, nullptr},
  };
  for (const Case &c : cases) {
    answer_all(c.payload, c.code);
    log.clear();
    char buffer[4] = {'#'};
    uint32_t len = 5;
    EXPECT_FALSE(qz_nds_get_visual_ip(handle, buffer, &len));
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(buffer[0], '#');
    if (c.line != nullptr) {
      EXPECT_TRUE(log.contains(nds::kLogError, "on_response_setting", c.line));
    }
    int short_lines = 0;
    for (const std::string &m : log.messages()) short_lines += m.find("bytes short") != std::string::npos;
    EXPECT_EQ(short_lines, c.code == 0 ? 1 : 0);
  }
  answer_all({});
  uint8_t flag = 9;
  EXPECT_FALSE(qz_nds_get_visual_gotopreset_when_start(handle, &flag));
  EXPECT_EQ(flag, 9);
  EXPECT_TRUE(
      log.contains(nds::kLogError, "on_response_setting", "cmd [169,175]'s response is 1 bytes short"));
}

TEST_F(VisualLinkTest, SerialNumberRecord) {
  struct Case {
    uint8_t support, same_ip;
    const char *sn;
    uint32_t len;
    Bytes payload;  // empty: refused, nothing sent
  };
  const Case cases[] = {
      {0, 3, nullptr, 0, {0, 1, 0, 0, 0, 0}},
      {1, 1, nullptr, 0, {1, 1, 0, 0, 0, 0}},
      {5, 7, "SN", 2, {1, 1, 0, 0, 0, 2, 'S', 'N'}},
      {0, 0, nullptr, 3, {0, 0, 0, 0, 0, 3, 0, 0, 0}},
      {1, 0, nullptr, 0, {}},
      {1, 0, nullptr, 4, {}},
      {1, 0, "SN", 0, {}},
  };
  answer_all();
  for (const Case &c : cases) {
    const std::size_t sent_before = net.sent().size();
    log.clear();
    EXPECT_EQ(qz_nds_set_visual_sn(handle, c.support, c.same_ip, c.sn, c.len), !c.payload.empty());
    if (c.payload.empty()) {
      EXPECT_EQ(net.sent().size(), sent_before);
      EXPECT_EQ(log.lines().size(), 1u);
      EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::set_visual_sn",
                               "set_visual_sn: support, not same ip, sz_sz empty or len error."));
    } else {
      EXPECT_EQ(last_sent()[wire::kOffSub], 143);
      EXPECT_EQ(last_payload(), c.payload);
    }
  }
}

}  // namespace
}  // namespace qz::test
