// Account info: opaque bytes written and read through main 48, the length
// contract of the read, and refusal of hostile counts.
#include <array>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "session_fixture.h"

namespace qz::test {
namespace {

// The read answer: 4-byte count, then the bytes.
Bytes account_answer(const std::string &info) {
  Bytes b;
  wire::Writer(b).lp_text(info);
  return b;
}

class AccountTest : public SessionTest {};

struct CapacityCase {
  uint32_t capacity;
  std::size_t info_size;
  bool ok;
};

TEST_F(AccountTest, LengthContract) {
  const CapacityCase cases[] = {
      {10, 12, false},  // too small: size reported, buffer untouched
      {12, 12, true},   // exact
      {20, 12, true},   // larger: only the info's bytes written
      {0, 0, true},     // empty info
      {5, 0, true},    {0, 1, false},
  };
  for (const CapacityCase &c : cases) {
    SCOPED_TRACE(std::to_string(c.capacity) + "/" + std::to_string(c.info_size));
    std::string info;
    for (std::size_t i = 0; i < c.info_size; ++i) info.push_back(static_cast<char>(0xA0 + i));
    answer_all(account_answer(info));
    std::array<uint8_t, 32> data;
    data.fill(0xEE);
    uint32_t len = c.capacity;
    EXPECT_EQ(qz_nds_get_account_info(handle, data.data(), &len), c.ok);
    EXPECT_EQ(len, c.info_size);
    const std::size_t written = c.ok ? c.info_size : 0;
    EXPECT_EQ(std::string(data.begin(), data.begin() + written), info.substr(0, written));
    for (std::size_t i = written; i < data.size(); ++i) ASSERT_EQ(data[i], 0xEE) << i;
    // The cache holds the answer either way.
    EXPECT_EQ(cache().account_info, info);
    EXPECT_EQ(cache().account_info_len, c.info_size);
  }
}

TEST_F(AccountTest, ReadRequestIsMain48Sub129WithNoPayload) {
  answer_all(account_answer("x"));
  uint32_t len = 0;
  EXPECT_FALSE(qz_nds_get_account_info(handle, nullptr, &len));  // size query
  EXPECT_EQ(len, 1u);
  wire::FrameView request = view_request(last_sent());
  EXPECT_EQ(request.header.main, 48);
  EXPECT_EQ(request.header.sub, 129);
  EXPECT_TRUE(last_payload().empty());
}

TEST_F(AccountTest, WriteSendsTheBytesUnchangedAndFailsOnItsOwnSubAnswer) {
  const Bytes info = {0x00, 0x01, 0xFF, 0x7F, 0x00};
  answer_all();  // the device answers with sub 128: refused
  EXPECT_FALSE(qz_nds_set_account_info(handle, info.data(), static_cast<uint32_t>(info.size())));
  wire::FrameView request = view_request(last_sent());
  EXPECT_EQ(request.header.main, 48);
  EXPECT_EQ(request.header.sub, 128);
  EXPECT_EQ(last_payload(), info);

  net.set_responder([](const wire::FrameView &request) {
    return std::vector<Bytes>{
        wire::make_frame(wire::kPackageResponse, 48, 129, 0, request.header.seq, account_answer("echo"))};
  });
  EXPECT_TRUE(qz_nds_set_account_info(handle, info.data(), static_cast<uint32_t>(info.size())));
}

TEST_F(AccountTest, FailedReadLeavesOutputsAlone) {
  answer_all({}, 1);
  std::array<uint8_t, 4> data{1, 2, 3, 4};
  uint32_t len = 4;
  EXPECT_FALSE(qz_nds_get_account_info(handle, data.data(), &len));
  EXPECT_EQ(len, 4u);
  EXPECT_EQ(data, (std::array<uint8_t, 4>{1, 2, 3, 4}));
}

struct ShortCase {
  Bytes payload;
  std::size_t missing;
};

// A count that runs past the payload is refused before allocation; the
// previous info stays.
TEST_F(AccountTest, ShortOrHostileAnswersAreRefused) {
  const ShortCase cases[] = {
      {{}, 4},
      {{0x00, 0x00}, 2},
      {{0x00, 0x00, 0x00, 0x05, 's', 'e', 'c'}, 2},
      {{0xFF, 0xFF, 0xFF, 0xFF, 's', 'e', 'c'}, 4294967292u},
      {{0x80, 0x00, 0x00, 0x00}, 2147483648u},
  };
  answer_all(account_answer("previous"));
  uint32_t len = 0;
  qz_nds_get_account_info(handle, nullptr, &len);
  for (const ShortCase &c : cases) {
    SCOPED_TRACE(c.payload.size());
    answer_all(c.payload);
    log.clear();
    uint8_t data[8] = {};
    len = sizeof data;
    EXPECT_FALSE(qz_nds_get_account_info(handle, data, &len));
    EXPECT_EQ(len, sizeof data);
    EXPECT_EQ(cache().account_info, "previous");
    EXPECT_EQ(cache().account_info_len, 8u);
    const std::string message = "cmd [48,129]'s response is " + std::to_string(c.missing) + " bytes short";
    EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_account", message));
    EXPECT_FALSE(log.mentions("sec"));
  }
}

TEST_F(AccountTest, NullPointersAreRefusedWithoutSending) {
  uint8_t data[4];
  uint32_t len = 4;
  EXPECT_FALSE(qz_nds_get_account_info(handle, data, nullptr));
  EXPECT_FALSE(qz_nds_get_account_info(handle, nullptr, &len));
  EXPECT_FALSE(qz_nds_set_account_info(handle, nullptr, 3));
  EXPECT_FALSE(qz_nds_get_account_info(nullptr, data, &len));
  EXPECT_FALSE(qz_nds_set_account_info(nullptr, data, 1));
  EXPECT_TRUE(net.sent().empty());
  // An empty write is a valid command.
  net.set_responder([](const wire::FrameView &request) {
    return std::vector<Bytes>{
        wire::make_frame(wire::kPackageResponse, 48, 129, 0, request.header.seq, account_answer(""))};
  });
  EXPECT_TRUE(qz_nds_set_account_info(handle, nullptr, 0));
}

TEST_F(AccountTest, AccountBytesNeverReachTheLog) {
  const std::string secret = "user=admin;pass=hunter2";
  answer_all({}, 1);
  EXPECT_FALSE(qz_nds_set_account_info(handle, reinterpret_cast<const uint8_t *>(secret.data()),
                                       static_cast<uint32_t>(secret.size())));
  answer_all(account_answer(secret));
  uint8_t small[4];
  uint32_t len = sizeof small;
  EXPECT_FALSE(qz_nds_get_account_info(handle, small, &len));
  EXPECT_FALSE(log.mentions("hunter2"));
  EXPECT_FALSE(log.mentions("admin"));
}

// Each reader gets the answer to its own request, even when answers arrive
// on the transport thread while the other reader copies.
TEST_F(AccountTest, ConcurrentReadersEachGetTheirOwnAnswer) {
  static thread_local uint32_t my_seq = 0;
  net.set_async(true);
  net.set_responder([](const wire::FrameView &request) {
    my_seq = request.header.seq;  // the responder runs on the sending thread
    std::string info(4 + request.header.seq % 16, 'p');
    wire::store_be32(reinterpret_cast<uint8_t *>(info.data()), request.header.seq);
    return std::vector<Bytes>{response_to(request, account_answer(info))};
  });
  auto reader = [this](int *failures) {
    for (int i = 0; i < 100; ++i) {
      std::array<uint8_t, 32> data{};
      uint32_t len = data.size();
      if (!qz_nds_get_account_info(handle, data.data(), &len) || len != 4 + my_seq % 16 ||
          wire::load_be32(data.data()) != my_seq)
        ++*failures;
    }
  };
  int failures_a = 0, failures_b = 0;
  std::thread a(reader, &failures_a), b(reader, &failures_b);
  a.join();
  b.join();
  EXPECT_EQ(failures_a, 0);
  EXPECT_EQ(failures_b, 0);
}

}  // namespace
}  // namespace qz::test
