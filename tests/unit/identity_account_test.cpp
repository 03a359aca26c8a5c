// Account info: opaque bytes written and read through main 48, the length
// contract of the read, and refusal of hostile counts.
#include <array>
#include <string>
#include <vector>

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
    EXPECT_EQ(view_request(last_sent()).header.sub, 129);
    EXPECT_TRUE(last_payload().empty());
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
  EXPECT_EQ(view_request(last_sent()).header.main, 48);
  EXPECT_EQ(view_request(last_sent()).header.sub, 128);
  EXPECT_EQ(last_payload(), info);
  net.set_responder([](const wire::FrameView &request) {  // the read's answer, sub 129
    return std::vector<Bytes>{
        wire::make_frame(wire::kPackageResponse, 48, 129, 0, request.header.seq, lp_text("echo"))};
  });
  EXPECT_TRUE(qz_nds_set_account_info(handle, info.data(), static_cast<uint32_t>(info.size())));
  EXPECT_TRUE(qz_nds_set_account_info(handle, nullptr, 0));  // an empty write is a valid command
  EXPECT_TRUE(last_payload().empty());
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

}  // namespace
}  // namespace qz::test
