// Account info (opaque bytes through main 48, the read's length contract,
// hostile counts), the IP settings' 76-byte block and its cache rules, and
// the passive wireless requests keyed by the serial number, with the domain
// buffer rules. Short answers are refused whole throughout.
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "machine_record.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

using AccountTest = SessionTest;

// *len is the capacity on entry and the info's size on return; the bytes are
// copied only when they fit, and nothing is written past them.
TEST_F(AccountTest, LengthContract) {
  struct Case {
    uint32_t capacity;
    std::size_t info_size;
    bool ok;
  } cases[] = {{10, 12, false}, {12, 12, true}, {20, 12, true}, {0, 0, true}, {5, 0, true}, {0, 1, false}};
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.capacity) + "/" + std::to_string(c.info_size));
    std::string info;
    for (std::size_t i = 0; i < c.info_size; ++i) info.push_back(static_cast<char>(0xA0 + i));
    answer_all(lp_text(info));
    std::array<uint8_t, 32> data;
    data.fill(0xEE);
    uint32_t len = c.capacity;
    EXPECT_EQ(qz_nds_get_account_info(handle, data.data(), &len), c.ok);
    EXPECT_EQ(last_request(), Request(48, 129, {}));
    EXPECT_EQ(len, c.info_size);
    const std::size_t written = c.ok ? c.info_size : 0;
    EXPECT_EQ(std::string(data.begin(), data.begin() + written), info.substr(0, written));
    for (std::size_t i = written; i < data.size(); ++i) ASSERT_EQ(data[i], 0xEE) << i;
  }
  uint32_t len = 0;
  answer_all(lp_text("x"));
  EXPECT_FALSE(qz_nds_get_account_info(handle, nullptr, &len));  // a size query
  EXPECT_EQ(len, 1u);
}

// The write carries the bytes as they are; the device confirms it with the
// read's answer, and an answer under the write's own sub is a refusal.
TEST_F(AccountTest, WriteSendsTheBytesUnchanged) {
  const Bytes info = {0x00, 0x01, 0xFF, 0x7F, 0x00};
  answer_all();
  EXPECT_FALSE(qz_nds_set_account_info(handle, info.data(), static_cast<uint32_t>(info.size())));
  EXPECT_EQ(last_request(), Request(48, 128, info));
  net.set_responder([](const wire::FrameView &request) {  // the read's answer, sub 129
    return std::vector<Bytes>{
        wire::make_frame(wire::kPackageResponse, 48, 129, 0, request.header.seq, lp_text("echo"))};
  });
  EXPECT_TRUE(qz_nds_set_account_info(handle, info.data(), static_cast<uint32_t>(info.size())));
  EXPECT_TRUE(qz_nds_set_account_info(handle, nullptr, 0));  // an empty write is a valid command
  EXPECT_EQ(last_request(), Request(48, 128, {}));
}

// A refusal, or a count that runs past the payload (refused before any
// allocation), leaves the caller's outputs alone.
TEST_F(AccountTest, RefusedShortOrHostileAnswersChangeNothing) {
  struct Case {
    Bytes payload;
    uint8_t code;
    std::size_t missing;
  } cases[] = {
      {lp_text("new"), 1, 0},
      {{}, 0, 4},
      {{0x00, 0x00}, 0, 2},
      {{0x00, 0x00, 0x00, 0x05, 's', 'e', 'c'}, 0, 2},
      {{0xFF, 0xFF, 0xFF, 0xFF, 's', 'e', 'c'}, 0, 4294967292u},
      {{0x80, 0x00, 0x00, 0x00}, 0, 2147483648u},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.payload.size());
    answer_all(c.payload, c.code);
    log.clear();
    uint8_t data[8] = {1, 2};
    uint32_t len = sizeof data;
    EXPECT_FALSE(qz_nds_get_account_info(handle, data, &len));
    EXPECT_EQ(len, sizeof data);
    EXPECT_EQ(data[0], 1);
    const std::string message = "cmd [48,129]'s response is " + std::to_string(c.missing) + " bytes short";
    EXPECT_EQ(log.contains(nds::kLogError, "NetDevSetting::on_response_account", message), c.missing > 0);
    EXPECT_FALSE(log.mentions("sec"));
  }
}

using Texts = std::array<std::string, 5>;

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
  EXPECT_EQ(last_request(), Request(169, 138, Bytes(76, 0)));
  EXPECT_EQ(cached(), (IpInfo{0, {"10.0.0.2", "255.0.0.0", "10.0.0.1", "1.1.1.1", "9.9.9.9"}}));

  const std::string long_text = "0123456789abcdefghij";  // 20 bytes
  const std::string exact = "123.123.123.123";           // 15 bytes
  answer_all();
  ASSERT_TRUE(qz_nds_set_ip_info(handle, 2, "10.0.0.2", nullptr, long_text.c_str(), exact.c_str(), ""));
  EXPECT_EQ(last_request(),
            Request(169, 138, ip_block(1, {"10.0.0.2", "", long_text.substr(0, 15), exact, ""})));
  // The null text leaves its member alone.
  const IpInfo kept{2, {"10.0.0.2", "255.0.0.0", long_text.substr(0, 15), exact, ""}};
  EXPECT_EQ(cached(), kept);

  std::array<std::array<char, 16>, 5> out;
  for (auto &b : out) b.fill('\xEE');
  uint8_t flag = 0;
  ASSERT_TRUE(qz_nds_get_ip_info(handle, &flag, out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                                 out[4].data()));
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
    EXPECT_EQ(last_request(), Request(169, 139, {}));
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

Bytes status_answer(uint32_t s1, uint32_t s2, uint32_t s3) {
  Bytes b;
  wire::Writer(b).u32(s1).u32(s2).u32(s3);
  return b;
}

using PassiveWirelessTest = SessionTest;

// Requests open with the serial key: empty before any record, then the
// record's serial number. The device confirms a write with a read's answer;
// an answer under the write's own sub is a refusal.
TEST_F(PassiveWirelessTest, RequestsCarryTheKeyAndWritesAreConfirmedByAReadAnswer) {
  answer_all(status_answer(1, 2, 3));
  uint32_t a = 0, b = 0, c = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(handle, &a, &b, &c));
  EXPECT_EQ(last_request(), Request(49, 131, Bytes(4, 0)));
  EXPECT_EQ(c, 3u);

  MachineRecord record;
  record.serial = "SERIAL-0123456789ABC";
  answer_all(record.bytes());
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  const std::string &serial = record.serial;
  answer_all();
  const uint32_t s1 = 0x01020304, s2 = 0xA0B0C0D0, s3 = 7;
  EXPECT_FALSE(qz_nds_set_passive_wireless_power_status(handle, &s1, &s2, &s3));
  Bytes expected = lp_text(serial);
  wire::Writer(expected).u32(s1).u32(s2).u32(s3);
  EXPECT_EQ(last_request(), Request(49, 130, expected));

  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(handle, "abc", 7));
  expected = lp_text(serial);
  wire::Writer(expected).lp_text("abc").u32(7);
  EXPECT_EQ(last_request(), Request(49, 132, expected));

  net.set_responder([](const wire::FrameView &request) {
    return std::vector<Bytes>{
        wire::make_frame(wire::kPackageResponse, 49, 131, 0, request.header.seq, status_answer(1, 2, 3))};
  });
  EXPECT_TRUE(qz_nds_set_passive_wireless_power_status(handle, &s1, &s2, &s3));
  EXPECT_TRUE(qz_nds_set_passive_wireless_domain(handle, "new", 1));
}

// The domain is copied into the caller's 128-byte buffer, zero-filled; one
// that does not fit fails the read and writes nothing.
TEST_F(PassiveWirelessTest, DomainReadFitsThe128ByteBuffer) {
  const std::pair<std::string, bool> cases[] = {
      {"lab.example", true},          {"", true},
      {std::string("a\0b", 3), true},  // a NUL inside is copied too
      {std::string(128, 'd'), true},  {std::string(129, 'd'), false},
  };
  for (const auto &[domain, ok] : cases) {
    SCOPED_TRACE(domain.size());
    Bytes answer;
    wire::Writer(answer).lp_text(domain).u32(42);
    answer_all(answer);
    std::array<char, 130> buffer;
    buffer.fill('\xEE');
    uint32_t value = 1;
    EXPECT_EQ(qz_nds_get_passive_wireless_domain(handle, buffer.data(), &value), ok);
    EXPECT_EQ(last_request(), Request(49, 133, lp_text("")));
    if (ok) {
      Bytes expected(128, 0);
      std::memcpy(expected.data(), domain.data(), domain.size());
      EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 128), expected);
      EXPECT_EQ(value, 42u);
    } else {
      EXPECT_EQ(buffer[0], '\xEE');
      EXPECT_EQ(value, 1u);
    }
    EXPECT_EQ(buffer[128], '\xEE');  // nothing past the 128 bytes
  }
}

TEST_F(PassiveWirelessTest, ShortAnswersAreRefusedWhole) {
  struct Case {
    uint8_t sub;
    Bytes payload;
    std::size_t missing;
  } cases[] = {
      {131, {}, 12},
      {131, Bytes(11, 1), 1},
      {131, Bytes(4, 1), 8},
      {133, {}, 4},
      {133, {0, 0}, 2},
      {133, {0, 0, 0, 3, 'a', 'b'}, 5},        // count runs past the payload
      {133, {0, 0, 0, 2, 'a', 'b', 0, 0}, 2},  // value cut short
      {133, {0, 0, 0, 0}, 4},                  // no value at all
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.sub) + "/" + std::to_string(c.payload.size()));
    answer_all(c.payload);
    log.clear();
    uint32_t a = 1, b = 1, d = 1;
    std::array<char, 130> buffer{};
    const bool ok = c.sub == 131 ? qz_nds_get_passive_wireless_power_status(handle, &a, &b, &d)
                                 : qz_nds_get_passive_wireless_domain(handle, buffer.data(), &a);
    EXPECT_FALSE(ok);
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(buffer[0], 0);
    const std::string message =
        "cmd [49," + std::to_string(c.sub) + "]'s response is " + std::to_string(c.missing) + " bytes short";
    EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_passive_wireless", message));
  }
}

}  // namespace
}  // namespace qz::test
