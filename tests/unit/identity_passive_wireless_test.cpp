// Passive wireless settings: request payloads keyed by the serial number,
// the parsed answers, the domain buffer rules and refusal of short answers.
#include <array>
#include <cstring>
#include <string>

#include "machine_record.h"
#include "session_fixture.h"

namespace qz::test {
namespace {

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
  EXPECT_EQ(view_request(last_sent()).header.sub, 131);
  EXPECT_EQ(last_payload(), Bytes(4, 0));
  EXPECT_EQ(c, 3u);

  MachineRecord record;
  record.serial = "SERIAL-0123456789ABC";
  answer_all(record.bytes());
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  const std::string &serial = record.serial;
  answer_all();
  const uint32_t s1 = 0x01020304, s2 = 0xA0B0C0D0, s3 = 7;
  EXPECT_FALSE(qz_nds_set_passive_wireless_power_status(handle, &s1, &s2, &s3));
  EXPECT_EQ(view_request(last_sent()).header.sub, 130);
  Bytes expected = lp_text(serial);
  wire::Writer(expected).u32(s1).u32(s2).u32(s3);
  EXPECT_EQ(last_payload(), expected);

  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(handle, "abc", 7));
  EXPECT_EQ(view_request(last_sent()).header.sub, 132);
  expected = lp_text(serial);
  wire::Writer(expected).lp_text("abc").u32(7);
  EXPECT_EQ(last_payload(), expected);

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
    EXPECT_EQ(view_request(last_sent()).header.sub, 133);
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
