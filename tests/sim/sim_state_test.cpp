// State files and the command line fault grammar.
#include <cstdio>
#include <fstream>

#include "sim_client.h"

namespace qz::sim::test {
namespace {

DeviceState unusual_state() {
  DeviceState s;
  s.device_sn = std::string(32, '7');
  s.machine_text2 = std::string("\xff\xfe\x00x", 4);  // not UTF-8, NUL inside
  s.channel_name = "Kanal \xc3\xa4";                  // UTF-8
  s.ip_info_texts[4] = "123456789012345";
  s.osd_items[11] = OsdItem{1, 200, 0xFFFF, 7};
  s.account_info = {0, 1, 2, 0xFF};
  s.system_time[19] = 0x5A;
  s.mqtt_port = 65535;
  s.passive_wireless_power_status3 = 0xFFFFFFFF;
  s.default_palette = 0x80;
  return s;
}

std::string temp_path(const char *name) {
  return (std::string(::testing::TempDir()) + name + std::to_string(::getpid()) + ".json");
}

TEST(SimState, JsonRoundTripKeepsEveryByte) {
  const DeviceState original = unusual_state();
  const nlohmann::json j = state_to_json(original);
  EXPECT_NO_THROW((void)j.dump());
  DeviceState back;
  std::string error;
  ASSERT_TRUE(state_from_json(j, back, error)) << error;
  EXPECT_TRUE(back == original);
}

TEST(SimState, PartialJsonChangesOnlyTheKeysGiven) {
  DeviceState s;
  std::string error;
  ASSERT_TRUE(
      state_from_json(nlohmann::json::parse(R"({"framerate": 50, "mqtt_ip": {"hex": "3100"}})"), s, error))
      << error;
  DeviceState expected;
  expected.framerate = 50;
  expected.mqtt_ip = std::string("1\0", 2);
  EXPECT_TRUE(s == expected);
}

TEST(SimState, BadJsonIsRefusedWithTheKeyAndLeavesTheState) {
  const std::vector<std::pair<const char *, const char *>> cases = {
      {R"({"framerate": 256})", "framerate"},
      {R"({"framerate": -1})", "framerate"},
      {R"({"hdmi_enabled": "yes"})", "hdmi_enabled"},
      {R"({"device_sn": "123456789012345678901234567890123"})", "device_sn"},
      {R"({"ip_info_texts": ["a", "b"]})", "ip_info_texts"},
      {R"({"system_time": "00"})", "system_time"},
      {R"({"account_info": "zz"})", "account_info"},
      {R"({"osd_items": [1,2,3,4,5,6,7,8,9,10,11,12]})", "osd_items"},
      {R"([1, 2])", "object"},
  };
  for (const auto &[text, key] : cases) {
    SCOPED_TRACE(text);
    DeviceState s;
    std::string error;
    EXPECT_FALSE(state_from_json(nlohmann::json::parse(text), s, error));
    EXPECT_NE(error.find(key), std::string::npos) << error;
    EXPECT_TRUE(s == DeviceState{});
  }
}

class SimStateFiles : public SimTest {};

TEST_F(SimStateFiles, SavedStateLoadsIntoAnotherSimulatorAndShowsOnTheWire) {
  const std::string path = temp_path("qz_sim_state");
  sim_->set_state(unusual_state());
  auto c = connect();
  ASSERT_EQ(c->exchange(169, 147, 1, {60}).code, 0);
  std::string error;
  ASSERT_TRUE(sim_->save_state(path, &error)) << error;

  SimOptions options;
  options.port = 0;
  DeviceSim other(options);
  ASSERT_TRUE(other.load_state(path, &error)) << error;
  ASSERT_TRUE(other.start(&error)) << error;
  EXPECT_TRUE(other.state() == sim_->state());
  Client oc(other.port());
  const Answer rec = oc.exchange(174, 130, 1);
  ASSERT_GE(rec.payload.size(), 267u);
  EXPECT_EQ(Bytes(rec.payload.begin() + 49, rec.payload.begin() + 81), Bytes(32, '7'));
  EXPECT_EQ(rec.payload[187], 60);
  std::remove(path.c_str());

  EXPECT_FALSE(other.load_state(path, &error));
  EXPECT_NE(error.find(path), std::string::npos);
}

struct GrammarCase {
  const char *text;
  FaultKey key;
  std::function<bool(const Fault &)> check;
};

TEST(SimFaultGrammar, ParsesEveryAction) {
  using std::chrono::milliseconds;
  const std::vector<GrammarCase> cases = {
      {"169:159:code=3", FaultKey::command(169, 159), [](const Fault &f) { return f.code == 3; }},
      {"all:delay=200", FaultKey::any(), [](const Fault &f) { return f.delay == milliseconds(200); }},
      {"0xA9:*:drop", FaultKey::main_command(169), [](const Fault &f) { return f.no_answer; }},
      {"174:130:sub=131,truncate=10", FaultKey::command(174, 130),
       [](const Fault &f) { return f.sub == 131 && f.truncate == 10u; }},
      {"all:payload=ff:ff:ff:ff", FaultKey::any(),
       [](const Fault &f) {
         return f.payload == Bytes{0xFF, 0xFF, 0xFF, 0xFF};
       }},
      {"all:raw=515a", FaultKey::any(),
       [](const Fault &f) {
         return f.raw == Bytes{0x51, 0x5A};
       }},
      {"all:garbage=5,coalesce", FaultKey::any(),
       [](const Fault &f) { return f.garbage == 5u && f.coalesce; }},
      {"all:close=12", FaultKey::any(), [](const Fault &f) { return f.close_after == 12u; }},
      {"all:chunks=4", FaultKey::any(),
       [](const Fault &f) { return f.chunk_size == 4u && f.chunk_pause == milliseconds(20); }},
      {"all:pause=0,chunks=4,times=2", FaultKey::any(),
       [](const Fault &f) {
         return f.chunk_size == 4u && f.chunk_pause == milliseconds(0) && f.times == 2u;
       }},
  };
  for (const auto &t : cases) {
    SCOPED_TRACE(t.text);
    FaultKey key;
    Fault fault;
    std::string error;
    ASSERT_TRUE(parse_fault_spec(t.text, key, fault, error)) << error;
    EXPECT_EQ(key, t.key);
    EXPECT_TRUE(t.check(fault));
  }
}

TEST(SimFaultGrammar, RefusesMalformedSpecs) {
  for (const char *text : {"", "all", "all:", "169:code=3", "256:1:drop", "169:159:code=256", "all:delay=x",
                           "all:drop=1", "all:chunks=0", "all:raw=abc", "all:bogus", "169:*"}) {
    SCOPED_TRACE(text);
    FaultKey key;
    Fault fault;
    std::string error;
    EXPECT_FALSE(parse_fault_spec(text, key, fault, error));
    EXPECT_FALSE(error.empty());
  }
}

}  // namespace
}  // namespace qz::sim::test
