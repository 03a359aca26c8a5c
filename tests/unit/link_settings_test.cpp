// Links to other systems. GB/T 28181: the record's bytes, the 64-byte text
// fields of the read, the disabled answer that keeps the last enabled texts,
// and answers cut short. MQTT: request bytes, and exports that answer true
// whatever the exchange did, reporting empty or zero values after a failure
// rather than an older cached one. Visual camera: the serial number record
// and failed or short answers that leave the caller's outputs alone.
#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>

#include "session_fixture.h"

namespace qz::test {
namespace {

// An enabled record as the device answers it.
Bytes record(const std::string &t1, uint16_t port, const std::string &t2, const std::string &t3,
             const std::string &t4) {
  Bytes out;
  wire::Writer(out).u8(1).lp_text(t1).u16(port).lp_text(t2).lp_text(t3).lp_text(t4);
  return out;
}

// The read's outputs; each text buffer has a canary area behind its 64 bytes.
// A disabled answer hands out the texts and port the session holds.
struct Outputs {
  uint8_t enable = 0xEE;
  uint16_t port = 0xEEEE;
  std::array<std::array<char, 72>, 4> texts;
  Outputs() {
    for (auto &t : texts) t.fill('#');
  }
  bool read(qz_nds_handle h) {
    return qz_nds_28181_get_para(h, &enable, texts[0].data(), &port, texts[1].data(), texts[2].data(),
                                 texts[3].data());
  }
  std::string text(int i) const { return texts[i].data(); }
  // Zero-filled up to 64 bytes, untouched behind.
  bool field_ok(int i) const {
    const auto &t = texts[i];
    for (std::size_t k = std::strlen(t.data()); k < t.size(); ++k) {
      if (t[k] != (k < 64 ? 0 : '#')) return false;
    }
    return true;
  }
};

using Gb28181Test = SessionTest;

// Disabled, only the flag goes out; any other flag sends 1 and the texts.
TEST_F(Gb28181Test, WriteSendsTheRecord) {
  struct Case {
    uint8_t enable;
    const char *t1;
    uint16_t port;
    const char *t2, *t4;
    Bytes payload;
  };
  // clang-format off
  const Case cases[] = {
      {0, "34020000002000000001", 5060, "x", "y", {0x00}},
      {7, "ab", 0x1234, "bc", "d",
       {1, 0, 0, 0, 2, 'a', 'b', 0x12, 0x34, 0, 0, 0, 2, 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 1, 'd'}},
  };
  // clang-format on
  answer_all();
  for (const Case &c : cases) {
    ASSERT_TRUE(qz_nds_28181_set_para(handle, c.enable, c.t1, c.port, c.t2, "", c.t4));
    EXPECT_EQ(last_request(), Request(169, 176, c.payload)) << int{c.enable};
  }
  answer_all({0});
  Outputs cached;
  ASSERT_TRUE(cached.read(handle));
  EXPECT_EQ(cached.port, 0) << "the write leaves the cached record alone";
  EXPECT_EQ(cached.text(0), "");
}

// A text keeps at most 63 bytes and stops at a NUL; the following fields are
// still found where the declared counts put them.
TEST_F(Gb28181Test, ReadCutsTextsToTheirField) {
  const std::string t63(63, 'x');
  const std::string t70 = std::string(63, 'y') + "OVERRUN";
  answer_all(record(std::string("ab\0cd", 5), 5060, t63, t70, "last"));
  Outputs out;
  ASSERT_TRUE(out.read(handle));
  EXPECT_EQ(last_request(), Request(169, 177, {}));
  EXPECT_EQ(out.enable, 1);
  EXPECT_EQ(out.text(0), "ab");
  EXPECT_EQ(out.port, 5060);
  EXPECT_EQ(out.text(1), t63);
  EXPECT_EQ(out.text(2), std::string(63, 'y'));
  EXPECT_EQ(out.text(3), "last");
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(out.field_ok(i)) << i;
}

TEST_F(Gb28181Test, DisabledAnswerKeepsTheLastEnabledRecord) {
  answer_all({2, 0xFF});  // only the first byte is read
  Outputs fresh;
  ASSERT_TRUE(fresh.read(handle));
  EXPECT_EQ(std::tie(fresh.enable, fresh.port), std::tuple(0, 0));
  EXPECT_TRUE(fresh.text(0).empty() && fresh.field_ok(0));
  answer_all(record("t1", 15060, "t2", "t3", "t4"));
  ASSERT_TRUE(Outputs().read(handle));
  answer_all({0});
  Outputs later;
  ASSERT_TRUE(later.read(handle));
  EXPECT_EQ(std::tie(later.enable, later.port), std::tuple(0, 15060));
  EXPECT_EQ(later.text(0) + later.text(3), "t1t4");
}

// A refusal, or any cut of a valid record, fails the read and writes nothing;
// a cut one with one line saying how many bytes were missing.
TEST_F(Gb28181Test, RefusedOrTruncatedAnswersChangeNothing) {
  answer_all(record("keep", 9, "k2", "k3", "k4"));
  ASSERT_TRUE(Outputs().read(handle));

  const Bytes full = record("abc", 5060, "de", "f", "ghij");  // 29 bytes
  struct Case {
    std::size_t keep;
    uint8_t code;
    int missing;
  };
  // Cut inside: nothing, the first count, text 1, the port, a later count, text 4.
  const Case cases[] = {{29, 1, 0}, {0, 0, 1}, {3, 0, 2}, {6, 0, 2}, {9, 0, 1}, {13, 0, 1}, {27, 0, 2}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.keep);
    answer_all(Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(c.keep)), c.code);
    log.clear();
    Outputs out;
    EXPECT_FALSE(out.read(handle));
    EXPECT_EQ(std::tie(out.enable, out.port, out.texts[0][0]), std::tuple(0xEE, 0xEEEE, '#'));
    EXPECT_EQ(log.mentions("bytes short"), c.missing > 0);
    EXPECT_EQ(log.contains(nds::kLogError, "on_response_setting",
                           "cmd [169,177]'s response is " + std::to_string(c.missing) + " bytes short"),
              c.missing > 0);
  }
  answer_all({0});
  Outputs cached;
  ASSERT_TRUE(cached.read(handle));
  EXPECT_EQ(cached.text(0) + cached.text(3) + std::to_string(cached.port), "keepk49");
}

using MqttTest = SessionTest;

// The set requests; only 1 switches the work on. The reads are
// SimFeatureE2E.EveryQueryAsksTheDeviceEachTime.
TEST_F(MqttTest, SetRequestBytes) {
  answer_all();
  ASSERT_TRUE(qz_nds_set_mqtt_port(handle, 880));
  EXPECT_EQ(last_request(), Request(169, 158, {0x00, 0x00, 0x03, 0x70}));
  for (auto [value, on] : {std::pair<uint8_t, uint8_t>{1, 1}, {0, 0}, {2, 0}, {255, 0}}) {
    ASSERT_TRUE(qz_nds_set_mqtt_work(handle, value));
    EXPECT_EQ(last_request(), Request(169, 154, {on})) << int{value};
  }
  ASSERT_TRUE(qz_nds_set_mqtt_passwd(handle, ""));
  EXPECT_EQ(last_request(), Request(169, 162, {0, 0, 0, 0}));
}

// Refused, empty or never sent: still true, and the gets report nothing,
// not what an earlier answer left in the cache.
TEST_F(MqttTest, FailedExchangesStillReturnTrueWithEmptyValues) {
  char buffer[8] = {'#'};
  uint32_t len = 99, port = 99;
  uint8_t work = 99;
  // Earlier answers leave an ip, port 1883 and work on in the session.
  answer_all(lp_text("old"));
  qz_nds_get_mqtt_ip(handle, buffer, &len);
  answer_all({0, 0, 7, 0x5B});
  qz_nds_get_mqtt_port(handle, &port);
  answer_all({1});
  qz_nds_get_mqtt_work(handle, &work);
  ASSERT_EQ(std::tie(len, port, work), std::make_tuple(3u, 1883u, uint8_t{1}));
  const std::pair<const char *, std::function<void()>> failures[] = {
      {"refused", [&] { answer_all(lp_text("new"), 1); }},
      {"empty", [&] { answer_all({}); }},
      {"not connected", [&] { ASSERT_TRUE(qz_nds_disconnect(handle)); }},
  };
  for (const auto &[name, arrange] : failures) {
    SCOPED_TRACE(name);
    arrange();
    log.clear();
    EXPECT_TRUE(qz_nds_set_mqtt_work(handle, 1));
    EXPECT_TRUE(qz_nds_set_mqtt_port(handle, 1884));
    EXPECT_TRUE(qz_nds_set_mqtt_ip(handle, "x"));
    buffer[0] = '#';
    len = port = work = 99;
    EXPECT_TRUE(qz_nds_get_mqtt_ip(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_user(handle, buffer, &len));
    EXPECT_TRUE(qz_nds_get_mqtt_port(handle, &port));
    EXPECT_TRUE(qz_nds_get_mqtt_work(handle, &work));
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(port, 0u);
    EXPECT_EQ(work, 0);
    EXPECT_FALSE(log.lines().empty()) << "the failure shows in the log";
  }
}

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
      EXPECT_EQ(last_request(), Request(169, 143, c.payload));
    }
  }
}

}  // namespace
}  // namespace qz::test
