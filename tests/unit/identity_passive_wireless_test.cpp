// Passive wireless settings: request payloads keyed by the serial number,
// the parsed answers, the domain buffer rules and refusal of short answers.
#include <array>
#include <cstring>
#include <string>
#include <thread>

#include "session_fixture.h"

namespace qz::test {
namespace {

const std::string kSerial20 = "SERIAL-0123456789ABC";

Bytes be32(uint32_t v) {
  Bytes b;
  wire::Writer(b).u32(v);
  return b;
}

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

Bytes text_bytes(const std::string &s) {
  return Bytes(s.begin(), s.end());
}

Bytes domain_answer(const std::string &domain, uint32_t value) {
  Bytes b;
  wire::Writer(b).lp_text(domain).u32(value);
  return b;
}

class PassiveWirelessTest : public SessionTest {
 protected:
  void set_serial(const std::string &sn) {
    std::lock_guard guard(session().cache_lock);
    cache().device_sn = sn;
  }
  bool get_domain(std::array<char, 130> &buffer, uint32_t &value) {
    return qz_nds_get_passive_wireless_domain(handle, buffer.data(), &value);
  }
};

TEST_F(PassiveWirelessTest, RequestsOpenWithAnEmptyKeyBeforeAnyRecord) {
  answer_all(concat({be32(1), be32(2), be32(3)}));
  uint32_t s1 = 0, s2 = 0, s3 = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(handle, &s1, &s2, &s3));
  wire::FrameView request = view_request(last_sent());
  EXPECT_EQ(request.header.main, 49);
  EXPECT_EQ(request.header.sub, 131);
  EXPECT_EQ(last_payload(), Bytes(4, 0));
}

TEST_F(PassiveWirelessTest, PowerStatusWritePayload) {
  set_serial(kSerial20);
  answer_all({}, 1);
  const uint32_t s1 = 0x01020304, s2 = 0xA0B0C0D0, s3 = 7;
  EXPECT_FALSE(qz_nds_set_passive_wireless_power_status(handle, &s1, &s2, &s3));
  EXPECT_EQ(view_request(last_sent()).header.sub, 130);
  EXPECT_EQ(last_payload(), concat({be32(20), text_bytes(kSerial20), be32(s1), be32(s2), be32(s3)}));
  EXPECT_EQ(last_payload().size(), 36u);
}

TEST_F(PassiveWirelessTest, DomainWritePayload) {
  set_serial(kSerial20);
  answer_all({}, 1);
  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(handle, "abc", 7));
  EXPECT_EQ(view_request(last_sent()).header.sub, 132);
  EXPECT_EQ(last_payload(), concat({be32(20), text_bytes(kSerial20), Bytes{0, 0, 0, 3, 0x61, 0x62, 0x63},
                                    Bytes{0, 0, 0, 7}}));
}

// The device answering a write with the write's own sub command is a
// refusal, and the cache stays as it was.
TEST_F(PassiveWirelessTest, WritesAnsweredWithTheirOwnSubFail) {
  {
    std::lock_guard guard(session().cache_lock);
    cache().passive_wireless_power_status1 = 11;
    cache().passive_wireless_domain = "kept";
  }
  answer_all(concat({be32(1), be32(2), be32(3)}));
  const uint32_t v = 5;
  EXPECT_FALSE(qz_nds_set_passive_wireless_power_status(handle, &v, &v, &v));
  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(handle, "new", 1));
  EXPECT_EQ(cache().passive_wireless_power_status1, 11u);
  EXPECT_EQ(cache().passive_wireless_domain, "kept");

  // Answered under a read sub command, the write succeeds.
  net.set_responder([](const wire::FrameView &request) {
    return std::vector<Bytes>{wire::make_frame(wire::kPackageResponse, 49, 131, 0, request.header.seq,
                                               concat({be32(1), be32(2), be32(3)}))};
  });
  EXPECT_TRUE(qz_nds_set_passive_wireless_power_status(handle, &v, &v, &v));
  EXPECT_TRUE(qz_nds_set_passive_wireless_domain(handle, "new", 1));
}

TEST_F(PassiveWirelessTest, PowerStatusReadStoresAndHandsOut) {
  set_serial("SN1");
  answer_all(concat({be32(0xDEADBEEF), be32(2), be32(0xFFFFFFFF)}));
  uint32_t s1 = 0, s2 = 0, s3 = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_power_status(handle, &s1, &s2, &s3));
  EXPECT_EQ(last_payload(), concat({be32(3), text_bytes("SN1")}));
  EXPECT_EQ(s1, 0xDEADBEEFu);
  EXPECT_EQ(s2, 2u);
  EXPECT_EQ(s3, 0xFFFFFFFFu);
  EXPECT_EQ(cache().passive_wireless_power_status3, 0xFFFFFFFFu);
}

struct DomainCase {
  std::string domain;
  bool ok;
};

TEST_F(PassiveWirelessTest, DomainReadFitsThe128ByteBuffer) {
  const DomainCase cases[] = {
      {"lab.example", true},          {"", true},
      {std::string("a\0b", 3), true},  // a NUL inside stays in the cache
      {std::string(128, 'd'), true},  {std::string(129, 'd'), false},
  };
  for (const DomainCase &c : cases) {
    SCOPED_TRACE(c.domain.size());
    answer_all(domain_answer(c.domain, 42));
    std::array<char, 130> buffer;
    buffer.fill('\xEE');
    uint32_t value = 1;
    EXPECT_EQ(get_domain(buffer, value), c.ok);
    EXPECT_EQ(view_request(last_sent()).header.sub, 133);
    EXPECT_EQ(cache().passive_wireless_domain, c.domain);
    EXPECT_EQ(cache().passive_wireless_domain_value, 42u);
    if (c.ok) {
      Bytes expected(128, 0);
      std::memcpy(expected.data(), c.domain.data(), c.domain.size());
      EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 128), expected);
      EXPECT_EQ(value, 42u);
    } else {
      EXPECT_EQ(buffer[0], '\xEE');
      EXPECT_EQ(value, 1u);
    }
    EXPECT_EQ(buffer[128], '\xEE');  // nothing past the 128 bytes
  }
}

struct ShortAnswer {
  uint8_t sub;
  Bytes payload;
  std::size_t missing;
};

TEST_F(PassiveWirelessTest, ShortAnswersAreRefusedWhole) {
  const ShortAnswer cases[] = {
      {131, {}, 12},
      {131, Bytes(11, 1), 1},
      {131, Bytes(4, 1), 8},
      {133, {}, 4},
      {133, {0, 0}, 2},
      {133, {0, 0, 0, 3, 'a', 'b'}, 5},        // count runs past the payload
      {133, {0, 0, 0, 2, 'a', 'b', 0, 0}, 2},  // value cut short
      {133, {0, 0, 0, 0}, 4},                  // no value at all
  };
  {
    std::lock_guard guard(session().cache_lock);
    cache().passive_wireless_power_status2 = 22;
    cache().passive_wireless_domain = "old";
    cache().passive_wireless_domain_value = 33;
  }
  for (const ShortAnswer &c : cases) {
    SCOPED_TRACE(std::to_string(c.sub) + "/" + std::to_string(c.payload.size()));
    answer_all(c.payload);
    log.clear();
    uint32_t a = 1, b = 1, d = 1;
    std::array<char, 130> buffer{};
    const bool ok =
        c.sub == 131 ? qz_nds_get_passive_wireless_power_status(handle, &a, &b, &d) : get_domain(buffer, a);
    EXPECT_FALSE(ok);
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(cache().passive_wireless_power_status2, 22u);
    EXPECT_EQ(cache().passive_wireless_domain, "old");
    EXPECT_EQ(cache().passive_wireless_domain_value, 33u);
    const std::string message =
        "cmd [49," + std::to_string(c.sub) + "]'s response is " + std::to_string(c.missing) + " bytes short";
    EXPECT_TRUE(log.contains(nds::kLogError, "NetDevSetting::on_response_passive_wireless", message));
  }
}

TEST_F(PassiveWirelessTest, NullPointersAreRefusedWithoutSending) {
  uint32_t v = 0;
  char domain[128];
  EXPECT_FALSE(qz_nds_set_passive_wireless_power_status(handle, &v, nullptr, &v));
  EXPECT_FALSE(qz_nds_get_passive_wireless_power_status(handle, &v, &v, nullptr));
  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(handle, nullptr, 1));
  EXPECT_FALSE(qz_nds_get_passive_wireless_domain(handle, nullptr, &v));
  EXPECT_FALSE(qz_nds_get_passive_wireless_domain(handle, domain, nullptr));
  EXPECT_FALSE(qz_nds_get_passive_wireless_power_status(nullptr, &v, &v, &v));
  EXPECT_FALSE(qz_nds_set_passive_wireless_domain(nullptr, "x", 1));
  EXPECT_TRUE(net.sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

// Concurrent readers each get the values of their own answer.
TEST_F(PassiveWirelessTest, ConcurrentReadersEachGetTheirOwnAnswer) {
  static thread_local uint32_t my_seq = 0;
  net.set_async(true);
  net.set_responder([](const wire::FrameView &request) {
    my_seq = request.header.seq;  // the responder runs on the sending thread
    const uint32_t s = request.header.seq;
    return std::vector<Bytes>{response_to(request, concat({be32(s), be32(s * 3), be32(~s)}))};
  });
  auto reader = [this](int *failures) {
    for (int i = 0; i < 100; ++i) {
      uint32_t a = 0, b = 0, c = 0;
      if (!qz_nds_get_passive_wireless_power_status(handle, &a, &b, &c) || a != my_seq || b != my_seq * 3 ||
          c != ~my_seq)
        ++*failures;
    }
  };
  int failures_a = 0, failures_b = 0;
  std::thread ta(reader, &failures_a), tb(reader, &failures_b);
  ta.join();
  tb.join();
  EXPECT_EQ(failures_a, 0);
  EXPECT_EQ(failures_b, 0);
}

}  // namespace
}  // namespace qz::test
