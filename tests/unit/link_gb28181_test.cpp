// GB/T 28181 parameters: the record's bytes, the 64-byte text fields of the
// read, the disabled answer that keeps the last enabled texts, and answers
// cut short.
#include <array>
#include <cstring>
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

TEST_F(Gb28181Test, WriteSendsTheRecord) {
  struct Case {
    uint8_t enable;
    const char *t1;
    uint16_t port;
    Bytes payload;
  };
  const Case cases[] = {
      {0, "34020000002000000001", 5060, {0x00}},
      {1, "", 700, {1, 0, 0, 0, 0, 0x02, 0xBC, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {1, "ab", 1, {1, 0, 0, 0, 2, 'a', 'b', 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {7, "ab", 1, {1, 0, 0, 0, 2, 'a', 'b', 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  };
  answer_all();
  for (const Case &c : cases) {
    ASSERT_TRUE(qz_nds_28181_set_para(handle, c.enable, c.t1, c.port, "", "", ""));
    EXPECT_EQ(last_sent()[wire::kOffSub], 176);
    EXPECT_EQ(last_payload(), c.payload) << int{c.enable};
  }
  ASSERT_TRUE(qz_nds_28181_set_para(handle, 1, "a", 0x1234, "bc", "", "d"));
  EXPECT_EQ(last_payload(),
            (Bytes{1, 0, 0, 0, 1, 'a', 0x12, 0x34, 0, 0, 0, 2, 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 1, 'd'}));
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
  EXPECT_EQ(last_sent()[wire::kOffSub], 177);
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

}  // namespace
}  // namespace qz::test
