// Every way a command fails: its exit code, its words, and (with --json) the
// error object on stdout.
#include <algorithm>

#include "cli_runner.h"

namespace qz::cli_test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using qz::sim::Fault;
using qz::sim::FaultKey;
using qz::sim::RefuseMode;

enum Exit { kFailed = 1, kUsage, kBadValue, kUnreachable, kRefused, kTimeout, kBadAnswer };

// The error object of a failed --json run, after checking its exit code.
json error_of(const RunResult &run, int exit_code, const std::string &kind) {
  EXPECT_EQ(run.exit_code, exit_code) << run.out << run.err;
  const json doc = run.json();
  EXPECT_EQ(doc["ok"], false);
  EXPECT_EQ(doc["error"]["kind"], kind);
  EXPECT_EQ(doc["error"]["exit_code"], exit_code);
  return doc["error"];
}

bool mentions(const json &error, const std::string &text) {
  return error["message"].get<std::string>().find(text) != std::string::npos;
}

struct DeviceFailure {
  std::string name;
  std::string kind;
  int exit_code;
  Fault fault;  // on every command
  std::vector<std::string> args;
  std::string says;  // the whole message; ADDR stands for the device's address
  json response_code = nullptr;
  RefuseMode refuse = RefuseMode::none;
  bool waits = false;  // waits out the SDK's 10 s
};

void PrintTo(const DeviceFailure &f, std::ostream *os) {
  *os << f.name;
}

class CliDeviceFailure : public CliTest, public ::testing::WithParamInterface<DeviceFailure> {};

// The JSON error object and the text mode's one line on stderr carry the same
// message.
TEST_P(CliDeviceFailure, ExitsWithItsCodeAndSaysWhatHappened) {
  const DeviceFailure &f = GetParam();
  sim.set_fault(FaultKey::any(), f.fault);
  sim.set_refuse(f.refuse);
  std::string says = f.says;
  says.replace(says.find("ADDR"), 4, device_address());
  const RunResult run = run_json(f.args);
  const json error = error_of(run, f.exit_code, f.kind);
  EXPECT_EQ(error["message"], says);
  EXPECT_EQ(error.value("response_code", json()), f.response_code);
  if (f.waits) {
    EXPECT_GE(run.elapsed, 9500ms);
    return;  // once is enough
  }
  std::vector<std::string> args = {"--device", device_address()};
  args.insert(args.end(), f.args.begin(), f.args.end());
  const RunResult text = run_qznds(args);
  EXPECT_EQ(text.exit_code, f.exit_code);
  EXPECT_EQ(text.err, "qznds: " + says + "\n");
  EXPECT_TRUE(text.out.empty()) << text.out;
}

// The timeout case waits out the SDK's 10 s; ctest runs it beside the others.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Cases, CliDeviceFailure, ::testing::Values(
    // Refused by the device's own range check, which the message names.
    DeviceFailure{"refused", "refused", kRefused, {}, {"set", "framerate", "61"},
                  "set framerate: the device refused the request (response code 2); the device accepts 1..60 "
                  "(device ADDR)", 2},
    // The MQTT exports return true whatever the answer was.
    DeviceFailure{"bad_answer", "bad_answer", kBadAnswer, {.truncate = 1}, {"get", "mqtt-port"},
                  "get mqtt_port: the device's answer could not be used (device ADDR)"},
    DeviceFailure{"timeout", "timeout", kTimeout, {.no_answer = true}, {"set", "framerate", "30"},
                  "read the configuration: no answer from the device in time (device ADDR)", {},
                  RefuseMode::none, true},
    DeviceFailure{"connection_lost", "unreachable", kUnreachable, {.close_after = 5},
                  {"set", "framerate", "30"},
                  "read the configuration: the connection to the device was lost (device ADDR)"},
    DeviceFailure{"unreachable", "unreachable", kUnreachable, {}, {"info"},
                  "connect: the device could not be reached (device ADDR)", {}, RefuseMode::stop_listening}),
    [](const auto &info) { return info.param.name; });
// clang-format on

// A refusal that an MQTT export hides behind true is still an error, and
// --verbose shows the SDK's own lines beside the tool's.
TEST_F(CliTest, RefusalOfAnExportThatReturnsTrueIsStillAnError) {
  sim.set_fault(FaultKey::command(169, 158), {.code = 3});
  const RunResult run = run_qznds({"--device", device_address(), "--verbose", "set", "mqtt-port", "8883"});
  EXPECT_EQ(run.exit_code, kRefused);
  EXPECT_NE(run.err.find("refused the request (response code 3"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("cmd [169,158]'s response code = 3 is not successed"), std::string::npos) << run.err;
}

// The SDK turns down an account write answered under the write's own sub
// command; the tool then trusts the value read back, and only that.
TEST_F(CliTest, WriteTheSdkTurnsDownStandsWhenTheReadBackMatches) {
  sim.set_fault(FaultKey::command(48, 128), {.sub = 128});
  const std::string file = write_temp_file("account_echo", "user=ops");
  const RunResult confirmed = run_json({"set", "account-info", file});
  EXPECT_EQ(confirmed.exit_code, 0) << confirmed.out << confirmed.err;
  const auto stored = sim.state().account_info;
  EXPECT_EQ(std::string(stored.begin(), stored.end()), "user=ops");

  sim.set_fault(FaultKey::command(48, 129), {.payload = std::vector<uint8_t>{0, 0, 0, 1, 'x'}});
  error_of(run_json({"set", "account-info", file}), kBadAnswer, "bad_answer");
}

struct BadValue {
  std::vector<std::string> args;
  std::string says;  // part of the message: the accepted range or form
};

void PrintTo(const BadValue &v, std::ostream *os) {
  *os << v.args[0] << " ... (" << v.says << ")";
}

class CliBadValue : public CliTest, public ::testing::WithParamInterface<BadValue> {};

// Refused before connecting: the device sees no connection at all.
TEST_P(CliBadValue, SaysTheAcceptedFormAndSendsNothing) {
  std::vector<std::string> args = {"set"};
  args.insert(args.end(), GetParam().args.begin(), GetParam().args.end());
  const json error = error_of(run_json(args), kBadValue, "bad_value");
  EXPECT_TRUE(mentions(error, GetParam().says)) << error;
  std::string name = GetParam().args[0];
  std::replace(name.begin(), name.end(), '-', '_');
  EXPECT_TRUE(mentions(error, name)) << error;
  EXPECT_EQ(sim.stats().accepted, 0u);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Forms, CliBadValue, ::testing::Values(
    BadValue{{"framerate", "256"}, "an integer in 0..255"}, BadValue{{"framerate", "25fps"}, "is not an integer"},
    BadValue{{"default-palette", "128"}, "-128..127"}, BadValue{{"hdmi", "maybe"}, "on or off"},
    BadValue{{"mqtt-port", "0"}, "1..65535"}, BadValue{{"ip-info", "1", "10.0.0.5"}, "\"text2\" is missing"},
    BadValue{{"ip-info", "1", "10.0.0.5", "255.255.255.0", "1234567890123456", "a", "b"}, "at most 15"},
    BadValue{{"visual-sn", "on", "off"}, "needs its serial number"},
    BadValue{{"system-time", "2026-02-30T00:00:00"}, "YYYY-MM-DDTHH:MM:SS"},
    BadValue{{"osd-item-3", "on", "1", "70000", "0"}, "value1"},
    BadValue{{"gb28181", "on", "a", "5060", "b", "c"}, "\"text4\" is missing"},
    BadValue{{"account-info", "/nonexistent/account.bin"}, "cannot be read"}));
// clang-format on

TEST(CliUsage, MistakesOnTheCommandLineAreUsageErrors) {
  const RunResult no_device = run_qznds({"get", "framerate"});
  EXPECT_EQ(no_device.exit_code, kUsage);
  EXPECT_NE(no_device.err.find("--device HOST[:PORT]"), std::string::npos) << no_device.err;
  EXPECT_EQ(run_qznds({"--simulate"}).exit_code, kUsage);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"get", "brightness"}, "unknown setting \"brightness\""},
      {{"get", "system-time"}, "cannot be read"},
      {{"--device", "127.0.0.1", "info"}, "--device"},
      {{"frobnicate"}, "unknown command: frobnicate"},
      {{"--frob", "info"}, "unknown option: --frob"},
      {{"get", "framerate", "extra"}, "unexpected argument: extra"},
  };
  for (const auto &[args, says] : cases) {
    std::vector<std::string> full = {"--json", "--simulate"};
    full.insert(full.end(), args.begin(), args.end());
    const json error = error_of(run_qznds(full), kUsage, "usage");
    EXPECT_TRUE(mentions(error, says)) << error;
  }
}

// A state file that cannot be used (each problem's wording is sim_state_test's),
// and (qznds-sim) every other mistake on the command line: the documented exit
// code and one line on stderr that says what is wrong, nothing on stdout.
TEST(CliUsage, StateFileProblemsAndSimulatorMistakesSayWhatIsWrongInOneLine) {
  const std::string dir = ::testing::TempDir();
  const std::string plain = write_temp_file("plain.json", "{}");
  const std::string bad_json = write_temp_file("bad.json", R"({"framerate": 42,)");
  struct Case {
    std::string program;
    std::vector<std::string> args;
    int exit_code;
    std::string says;
  };
  const std::string sim = QZNDS_SIM_BINARY;
  // clang-format off
  const Case cases[] = {
      {sim, {"--print-state", "--state", dir}, kUsage, "state file " + dir + ": cannot read: is a directory"},
      {sim, {"--bogus"}, kUsage, "unknown option: --bogus"},
      {sim, {"--reboot-time", "-1"}, kUsage, "--reboot-time"},
      {sim, {"--print-state", "--listen", "127.0.0.1:70000"}, kUsage, "bad --listen"},
      {sim, {"--print-state", "--fault", "all:bogus"}, kUsage, "--fault all:bogus"},
      {sim, {"--cameras", "3", "--camera-fault", "4:silent"}, kUsage, "--camera-fault 4:silent: no camera 4"},
      {QZNDS_BINARY, {"--simulate", "--sim-state", bad_json, "info"}, kBadValue, "not valid JSON"},
      // Found only when the settings are saved, after the command ran.
      {QZNDS_BINARY, {"--simulate", "--sim-state", plain + "/x", "info"}, kFailed, "Not a directory"},
  };
  // clang-format on
  for (const auto &[program, args, exit_code, says] : cases) {
    SCOPED_TRACE(program + " " + args[0] + " " + args.back());
    const RunResult run = run_program(program, args);
    EXPECT_EQ(run.exit_code, exit_code);
    EXPECT_NE(run.err.find(says), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
  }
  for (const auto &file : {plain, bad_json}) unlink(file.c_str());
}

}  // namespace
}  // namespace qz::cli_test
