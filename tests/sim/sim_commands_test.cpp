// The simulated device's refusals on the wire: bad payloads, unknown commands and
// malformed frames get non-zero codes and change nothing.
#include <sstream>

#include "sim_client.h"

namespace qz::sim::test {
namespace {

class SimCommands : public SimTest {};

struct Refusal {
  const char *name;
  uint8_t main, sub;
  Bytes payload;
  uint8_t code;
};

TEST_F(SimCommands, RefusesBadRequestsAndKeepsTheState) {
  const std::vector<Refusal> cases = {
      {"switch value 2", 169, 128, {2}, 2},
      {"switch without payload", 169, 129, {}, 2},
      {"switch with two bytes", 169, 130, {1, 1}, 2},
      {"link count 17", 169, 133, {17}, 2},
      {"palette 16", 169, 135, {16}, 2},
      {"system time 19 bytes", 169, 136, Bytes(19, 1), 2},
      {"ip block 75 bytes", 169, 138, Bytes(75, 0), 2},
      {"ip flag 2", 169, 138, concat({{2}, Bytes(75, 0)}), 2},
      {"query with payload", 169, 139, {0}, 2},
      {"mqtt port 0", 169, 158, hex("00 00 00 00"), 2},
      {"mqtt port 65536", 169, 158, hex("00 01 00 00"), 2},
      {"mqtt port 3 bytes", 169, 158, hex("00 03 70"), 2},
      {"text count past payload", 169, 156, hex("00 00 00 05 61 62 63"), 2},
      {"text too long", 169, 156, lp(std::string(65, 'x')), 2},
      {"text with trailing byte", 169, 150, concat({lp("ab"), {0}}), 2},
      {"visual sn missing", 169, 143, hex("01 00 00 00 00 00"), 2},
      {"visual sn count huge", 169, 143, hex("00 01 FF FF FF FF 41"), 2},
      {"gb28181 text of 64", 169, 176,
       concat({{1}, lp(std::string(64, 'a')), hex("13 c4"), lp(""), lp(""), lp("")}), 2},
      {"gb28181 port 0", 169, 176, concat({{1}, lp(""), hex("00 00"), lp(""), lp(""), lp("")}), 2},
      {"gb28181 disabled with more", 169, 176, {0, 0}, 2},
      {"osd display 2", 168, 128, hex("02 00 00 00 00 00"), 2},
      {"osd 5 bytes", 168, 133, hex("01 00 00 00 00"), 2},
      {"channel name count past payload", 168, 138, hex("01 00 00 00 00 00 05 61 62 63"), 2},
      {"wrong serial key", 49, 131, lp("NOT-THE-SN"), 2},
      {"power status short", 49, 130, concat({lp("QZT6402403180017"), hex("00 00 00 01")}), 2},
      {"account info too long", 48, 128, Bytes(4097, 1), 2},
      {"reboot with payload", 164, 142, {1}, 2},
      {"sub 137 is not a command", 169, 137, {}, 1},
      {"sub 186", 169, 186, {}, 1},
      {"unknown main", 170, 128, {}, 1},
      {"machine status sub 131", 174, 131, {}, 1},
      {"control sub 141", 164, 141, {}, 1},
      {"osd sub 142", 168, 142, {}, 1},
      {"account sub 130", 48, 130, {}, 1},
      {"passive wireless sub 134", 49, 134, {}, 1},
  };
  auto c = connect();
  const DeviceState before = sim_.state();
  uint32_t seq = 1;
  for (const auto &r : cases) {
    SCOPED_TRACE(r.name);
    const Answer a = c->exchange(r.main, r.sub, seq, r.payload);
    ASSERT_TRUE(a.valid);
    EXPECT_EQ(a.code, r.code);
    EXPECT_EQ(a.seq, seq++);
    EXPECT_TRUE(a.payload.empty());
  }
  EXPECT_TRUE(sim_.state() == before);

  // Lenient mode stores odd values but still checks lengths.
  sim_.set_strict(false);
  EXPECT_EQ(c->exchange(169, 178, seq++, {3}).code, 0);
  EXPECT_EQ(c->exchange(169, 179, seq++).payload, Bytes{3});
  EXPECT_EQ(c->exchange(169, 128, seq++, {}).code, 2);
  EXPECT_EQ(c->exchange(169, 158, seq++, hex("00 00 00")).code, 2);
}

// A block in the tools' layout shows as the time it holds, in the log and the
// state JSON; any other 20 bytes are kept as they came and show as no time.
TEST_F(SimCommands, SystemTimeBlockShowsTheTimeItWasSetTo) {
  // 2026-03-01 is a Sunday (weekday 0).
  const Bytes tools_layout = hex("07 ea 00 03 00 01 00 0c 00 22 00 38 00 fa 00 00 00 00 00 00");
  auto with = [&](std::size_t at, uint8_t value) {
    Bytes b = tools_layout;
    b[at] = value;
    return b;
  };
  const std::vector<std::pair<Bytes, std::string>> cases = {
      {tools_layout, "2026-03-01T12:34:56.250"},
      {with(15, 1), ""},   // wrong weekday
      {with(3, 13), ""},   // month 13
      {with(5, 32), ""},   // day 32
      {with(19, 1), ""},   // trailing byte set
      {Bytes(20, 0), ""},  // year 0
  };
  std::ostringstream log;
  sim_.set_log(&log);
  auto c = connect();
  uint32_t seq = 1;
  for (const auto &[block, text] : cases) {
    SCOPED_TRACE(text.empty() ? "another layout" : text);
    log.str("");
    ASSERT_EQ(c->exchange(169, 136, seq++, block).code, 0);
    const DeviceState state = sim_.state();
    EXPECT_EQ(Bytes(state.system_time.begin(), state.system_time.end()), block);
    const auto shown = state_to_json(state)["system_time_text"];
    EXPECT_EQ(shown, text.empty() ? nlohmann::json() : nlohmann::json(text));
    EXPECT_NE(
        log.str().find(text.empty() ? "system time block in another layout" : "system time set to " + text),
        std::string::npos)
        << log.str();
  }
  sim_.set_log(nullptr);
}

TEST_F(SimCommands, MalformedFramesAreAnsweredWithNonZeroCodes) {
  auto c = connect();
  Bytes wrong_type = request(169, 128, 1, {0});
  wrong_type[wire::kOffPackageType] = 1;
  Bytes wrong_length_field = request(169, 128, 2, {0});
  wrong_length_field[wire::kOffPayloadLength + 3] = 2;
  Bytes broken_trailer = request(169, 128, 3, {0});
  broken_trailer.back() = 'X';
  c->send(concat({wrong_type, wrong_length_field, broken_trailer}));
  for (uint8_t expected : {1, 2, 2}) {
    const Answer a = parse_answer(c->read_frame());
    ASSERT_TRUE(a.valid);
    EXPECT_EQ(a.code, expected);
    EXPECT_EQ(a.main, 169);
    EXPECT_EQ(a.sub, 128);
  }
  EXPECT_EQ(sim_.state().hdmi_enabled, DeviceState{}.hdmi_enabled);
}

}  // namespace
}  // namespace qz::sim::test
