// Fuzzes the simulated device's request handling with a sequence of
// requests against one device state.
//
// Input: requests, each flags(1) main(1) sub(1) len(2) payload; bit 0 of the
// flags turns the strict value checks off. Checked after every request:
//  - the response code is 0, 1 or 2, and a refusal carries no payload and
//    leaves the state as it was;
//  - answers to main 164 and 168 carry no payload;
//  - every text the device keeps stays within its limit;
//  - the configuration record is 267 bytes plus the channel name.
// At the end the state survives its JSON round trip unchanged.
#include <cstdint>
#include <string>

#include "commands.h"
#include "device_commands.h"
#include "device_state.h"
#include "fuzz_check.h"

namespace {

using namespace qz::sim;

void check_limits(const DeviceState &s) {
  FUZZ_CHECK(s.machine_text1.size() <= kIdentityTextMax && s.device_sn.size() <= kSerialNumberMax);
  for (const std::string &text : s.ip_info_texts) FUZZ_CHECK(text.size() <= kIpTextMax);
  for (const std::string *text :
       {&s.visual_ip, &s.visual_user, &s.visual_passwd, &s.mqtt_ip, &s.mqtt_user, &s.mqtt_passwd}) {
    FUZZ_CHECK(text->size() <= kLinkTextMax);
  }
  FUZZ_CHECK(s.visual_sn.size() <= kVisualSnMax);
  FUZZ_CHECK(s.channel_name.size() <= kChannelNameMax);
  for (const std::string *text : {&s.gb28181_text1, &s.gb28181_text2, &s.gb28181_text3, &s.gb28181_text4}) {
    FUZZ_CHECK(text->size() <= kGb28181TextMax);
  }
  FUZZ_CHECK(s.passive_wireless_domain.size() <= kDomainMax);
  FUZZ_CHECK(s.account_info.size() <= kAccountInfoMax);
  FUZZ_CHECK(build_machine_record(s).size() == 267 + s.channel_name.size());
}

void check_reply(const DeviceState &before, const DeviceState &after, uint8_t main, const Reply &reply) {
  FUZZ_CHECK(reply.code == kCodeOk || reply.code == kCodeUnsupported || reply.code == kCodeBadPayload);
  if (reply.code != kCodeOk) {
    FUZZ_CHECK(reply.payload.empty() && !reply.reboot);
    FUZZ_CHECK(before == after);
  }
  if (main == qz::wire::kMainControl || main == qz::wire::kMainOsd) FUZZ_CHECK(reply.payload.empty());
  if (reply.reboot) FUZZ_CHECK(main == qz::wire::kMainControl);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  DeviceState state;
  std::size_t pos = 0;
  while (size - pos >= 5) {
    const bool strict = (data[pos] & 1) == 0;
    const uint8_t main = data[pos + 1];
    const uint8_t sub = data[pos + 2];
    const std::size_t declared = std::size_t{data[pos + 3]} << 8 | data[pos + 4];
    pos += 5;
    const std::size_t n = declared < size - pos ? declared : size - pos;
    const DeviceState before = state;
    const Reply reply = handle_request(state, main, sub, data + pos, n, strict);
    pos += n;
    check_reply(before, state, main, reply);
    check_limits(state);
  }
  DeviceState restored;
  std::string error;
  FUZZ_CHECK(state_from_json(state_to_json(state), restored, error));
  FUZZ_CHECK(restored == state);
  return 0;
}
