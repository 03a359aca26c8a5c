// State as JSON and in files, and the command line fault grammar.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <tuple>

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

TEST(SimState, JsonRoundTripKeepsEveryByteAndPartialJsonChangesOnlyItsKeys) {
  const DeviceState original = unusual_state();
  DeviceState back;
  std::string error;
  ASSERT_TRUE(state_from_json(nlohmann::json::parse(state_to_json(original).dump()), back, error)) << error;
  EXPECT_TRUE(back == original);

  DeviceState s;
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
      {R"({"mqtt_ip": {"hex": "31", "ascii": "1"}})", "mqtt_ip"},
      {R"([1, 2])", "object"},
      {R"({"framerate": 50, "framerat": 50})", "unknown key \"framerat\""},
      {R"({"osd_items": [{"display": 1, "x": 1}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}]})",
       "\"osd_items\" item 0: unknown key \"x\""},
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

// What the programs print when a state file cannot be used: one line with the
// file and the problem. A failed load leaves the state as it was.
TEST(SimStateFile, EveryProblemIsOneLineNamingTheFileAndWhatIsWrong) {
  const std::string dir = ::testing::TempDir() + "qz_sim_state_" + std::to_string(getpid());
  std::filesystem::create_directories(dir);
  const std::string plain = dir + "/plain.json";
  const std::string bad_json = dir + "/bad.json";
  const std::string unknown_key = dir + "/unknown.json";
  std::ofstream(plain) << "{}";
  std::ofstream(bad_json) << R"({"framerate": 50,)";
  std::ofstream(unknown_key) << R"({"framerate": 50, "framerat": 50})";
  struct Case {
    bool save;
    std::string path;
    std::string says;
  };
  const Case cases[] = {
      {false, dir, "cannot read: is a directory"},
      {false, dir + "/missing.json", "cannot read: No such file or directory"},
      {false, plain + "/state.json", "cannot read: Not a directory"},
      {false, bad_json, "not valid JSON: parse error at line 1, column 18"},
      {false, unknown_key, "unknown key \"framerat\""},
      {true, dir, "cannot write: is a directory"},
      {true, plain + "/state.json", "cannot write: Not a directory"},
      {true, "/dev/full", "cannot write: No space left on device"},  // a full disk
  };
  for (const auto &[save, path, says] : cases) {
    SCOPED_TRACE(path);
    DeviceState state;
    state.framerate = 7;
    std::string error;
    EXPECT_FALSE(save ? save_state_file(path, state, error) : load_state_file(path, state, error));
    EXPECT_EQ(error.rfind("state file " + path + ": ", 0), 0u) << error;
    EXPECT_NE(error.find(says), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    EXPECT_EQ(state.framerate, 7);
  }
  std::filesystem::remove_all(dir);
}

// Every field a fault text can set (raw_hook has no spelling).
auto fields(const Fault &f) {
  return std::tie(f.code, f.payload, f.sub, f.truncate, f.raw, f.garbage, f.delay, f.no_answer, f.coalesce,
                  f.close_after, f.chunk_size, f.chunk_pause, f.times);
}

TEST(SimFaultGrammar, ParsesEveryActionAndRefusesMalformedTexts) {
  const std::vector<std::tuple<const char *, FaultKey, Fault>> cases = {
      {"169:159:code=3", FaultKey::command(169, 159), {.code = 3}},
      {"all:delay=200", FaultKey::any(), {.delay = 200ms}},
      {"0xA9:*:drop", FaultKey::main_command(169), {.no_answer = true}},
      {"silent", FaultKey::any(), {.no_answer = true}},
      {"174:130:sub=131,truncate=10", FaultKey::command(174, 130), {.sub = 131, .truncate = 10}},
      {"all:payload=ff:ff:ff:ff", FaultKey::any(), {.payload = Bytes(4, 0xFF)}},
      {"all:raw=515a", FaultKey::any(), {.raw = Bytes{0x51, 0x5A}}},
      {"all:garbage=5,coalesce", FaultKey::any(), {.garbage = 5, .coalesce = true}},
      {"all:close=12", FaultKey::any(), {.close_after = 12}},
      {"all:chunks=4", FaultKey::any(), {.chunk_size = 4, .chunk_pause = 20ms}},
      {"all:pause=0,chunks=4,times=2", FaultKey::any(), {.chunk_size = 4, .chunk_pause = 0ms, .times = 2}},
  };
  for (const auto &[text, expected_key, expected] : cases) {
    SCOPED_TRACE(text);
    FaultKey key;
    Fault fault;
    std::string error;
    ASSERT_TRUE(parse_fault_spec(text, key, fault, error)) << error;
    EXPECT_EQ(key, expected_key);
    EXPECT_TRUE(fields(fault) == fields(expected));
  }
  for (const char *text :
       {"", "all", "all:", "169:code=3", "256:1:drop", "169:159:code=256", "all:delay=x", "all:drop=1",
        "all:chunks=0", "all:raw=abc", "all:bogus", "169:*", "silent:drop"}) {
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
