// Visual camera link settings through the scripted transport: request bytes,
// answers kept byte for byte, and failed or short answers that leave the
// caller's outputs and the cache alone.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <thread>

#include "session_fixture.h"

namespace qz::test {
namespace {

struct TextItem {
  bool (*set)(qz_nds_handle, const char *);
  uint8_t set_sub;
  bool (*get)(qz_nds_handle, char *, uint32_t *);
  nds::ByteString nds::DeviceStateCache::*field;
};
const TextItem kTextItems[] = {
    {qz_nds_set_visual_ip, 148, qz_nds_get_visual_ip, &nds::DeviceStateCache::visual_ip},
    {qz_nds_set_visual_user, 150, qz_nds_get_visual_user, &nds::DeviceStateCache::visual_user},
    {qz_nds_set_visual_passwd, 152, qz_nds_get_visual_passwd, &nds::DeviceStateCache::visual_passwd},
};

using VisualLinkTest = SessionTest;

TEST_F(VisualLinkTest, TextsTravelAsLengthPrefixedTextsNulsIncluded) {
  const std::string with_nul("ab\0cd", 5);
  for (const TextItem &item : kTextItems) {
    answer_all();
    for (const std::string text : {"", "192.168.1.64"}) {
      ASSERT_TRUE(item.set(handle, text.c_str()));
      EXPECT_EQ(last_sent()[wire::kOffSub], item.set_sub);
      EXPECT_EQ(last_payload(), lp_text(text));
    }
    answer_all(lp_text(with_nul));
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    uint32_t len = 0;
    ASSERT_TRUE(item.get(handle, buffer, &len));
    EXPECT_EQ(last_sent()[wire::kOffSub], item.set_sub + 1);
    EXPECT_EQ(std::string(buffer, len), with_nul);
    EXPECT_EQ(buffer[5], '#') << "no terminator is added";
  }
}

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
  cache().visual_ip = "old";
  for (const Case &c : cases) {
    answer_all(c.payload, c.code);
    log.clear();
    char buffer[4] = {'#'};
    uint32_t len = 5;
    EXPECT_FALSE(qz_nds_get_visual_ip(handle, buffer, &len));
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(cache().visual_ip, "old");
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

TEST_F(VisualLinkTest, FlagsTravelUnchanged) {
  for (uint8_t value : {0, 2, 255}) {
    answer_all();
    ASSERT_TRUE(qz_nds_set_visual_zoom_control_flag(handle, value));
    EXPECT_EQ(last_payload(), Bytes{value});
    ASSERT_TRUE(qz_nds_set_visual_gotopreset_when_start(handle, value));
    EXPECT_EQ(last_sent()[wire::kOffSub], 174);
    EXPECT_EQ(last_payload(), Bytes{value});
    answer_all({value});
    uint8_t zoom = 7, preset = 7;
    ASSERT_TRUE(qz_nds_get_visual_zoom_control_flag(handle, &zoom));
    ASSERT_TRUE(qz_nds_get_visual_gotopreset_when_start(handle, &preset));
    EXPECT_EQ(zoom, value);
    EXPECT_EQ(preset, value);
  }
}

// Answers arrive on the transport's thread while other callers ask for the
// same item: every caller gets the answer to its own request.
TEST_F(VisualLinkTest, ConcurrentGettersEachReadTheirOwnAnswer) {
  net.set_async(true);
  net.set_responder([](const wire::FrameView &request) {
    return std::vector<Bytes>{response_to(request, lp_text("seq-" + std::to_string(request.header.seq)))};
  });
  constexpr int kThreads = 4, kRounds = 25;
  std::vector<std::string> answers[kThreads];
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        char buffer[32];
        uint32_t len = 0;
        if (qz_nds_get_visual_ip(handle, buffer, &len)) answers[t].emplace_back(buffer, len);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  std::set<std::string> distinct;
  for (const auto &list : answers) distinct.insert(list.begin(), list.end());
  EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kRounds));
}

}  // namespace
}  // namespace qz::test
