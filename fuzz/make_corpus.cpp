// Writes the starting corpus of the three fuzzers: valid frames of every
// command family, and a few hostile ones, in each fuzzer's input format.
//
//   qz_make_corpus OUT_DIR   ->  OUT_DIR/session, OUT_DIR/splitter, OUT_DIR/sim_request
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "device_commands.h"
#include "device_state.h"
#include "session_input.h"
#include "wire_frame.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;
using qz::fuzz::Action;
using qz::fuzz::InputWriter;
using qz::wire::Writer;

bool write_file(const fs::path &path, const Bytes &bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

Bytes lp_text(const std::string &text) {
  Bytes out;
  Writer(out).lp_text(text);
  return out;
}

Bytes u32_payload(uint32_t v) {
  Bytes out;
  Writer(out).u32(v);
  return out;
}

Bytes record_with_name(std::size_t name_length) {
  qz::sim::DeviceState state;
  state.channel_name.assign(name_length, 'N');
  return qz::sim::build_machine_record(state);
}

Bytes ip_block() {
  Bytes out;
  Writer w(out);
  w.u8(1);
  for (const char *text : {"192.168.1.64", "255.255.255.0", "192.168.1.1", "192.168.1.1", "8.8.8.8"})
    w.text_field(text, 15);
  return out;
}

Bytes gb28181_record() {
  Bytes out;
  Writer(out)
      .u8(1)
      .lp_text("34020000002000000001")
      .u16(5060)
      .lp_text("3402000000")
      .lp_text("340200000013")
      .lp_text("12345678");
  return out;
}

Bytes domain_answer() {
  Bytes out;
  Writer(out).lp_text("pw.local").u32(7);
  return out;
}

Bytes account_answer(uint32_t count, std::size_t bytes) {
  Bytes out = u32_payload(count);
  out.insert(out.end(), bytes, 0x5A);
  return out;
}

// ---- Session fuzzer --------------------------------------------------------

std::vector<std::pair<std::string, Bytes>> session_inputs() {
  const Bytes one{1};
  std::vector<std::pair<std::string, Bytes>> out;
  auto add = [&](const std::string &name, const InputWriter &w) { out.emplace_back(name, w.bytes()); };

  add("machine_record", InputWriter().answered(Action::machine_config, record_with_name(6)));
  add("machine_record_long_name", InputWriter().answered(Action::machine_config, record_with_name(255)));
  add("machine_record_short", InputWriter().answered(Action::machine_config, Bytes(266, 0)));
  add("ip_info", InputWriter().answered(Action::ip_get, ip_block()));
  add("account_info", InputWriter().answered(Action::account_get, account_answer(15, 15), {0x01, 0x00}));
  add("account_info_huge_count", InputWriter().answered(Action::account_get, account_answer(0xFFFFFFFF, 8)));
  add("power_status",
      InputWriter().answered(Action::power_status_get, Bytes{0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3}));
  add("domain", InputWriter().answered(Action::domain_get, domain_answer()));
  add("visual_ip", InputWriter().answered(Action::visual_ip_get, lp_text("192.168.1.65")));
  add("visual_user", InputWriter().answered(Action::visual_user_get, lp_text("admin")));
  add("visual_passwd", InputWriter().answered(Action::visual_passwd_get, lp_text("admin12345")));
  add("visual_text_huge_count", InputWriter().answered(Action::visual_ip_get, u32_payload(0xFFFFFFFF)));
  add("zoom_flag", InputWriter().answered(Action::zoom_get, Bytes{7}));
  add("preset_flag", InputWriter().answered(Action::preset_get, one));
  add("mqtt_work", InputWriter().answered(Action::mqtt_work_get, one));
  add("mqtt_ip", InputWriter().answered(Action::mqtt_ip_get, lp_text("192.168.1.10")));
  add("mqtt_port", InputWriter().answered(Action::mqtt_port_get, u32_payload(1883)));
  add("mqtt_user", InputWriter().answered(Action::mqtt_user_get, lp_text("device")));
  add("mqtt_passwd", InputWriter().answered(Action::mqtt_passwd_get, lp_text("mqtt1234")));
  add("gb28181", InputWriter().answered(Action::gb28181_get, gb28181_record()));
  add("gb28181_disabled", InputWriter().answered(Action::gb28181_get, Bytes{0}));
  for (uint8_t which = 0; which < 10; ++which) {
    add("device_byte_" + std::to_string(which), InputWriter().answered(Action::watchdog_get, one, {which}));
  }
  for (uint8_t which = 0; which < 9; ++which) {
    add("switch_" + std::to_string(which), InputWriter().answered(Action::switch_set, {}, {which, 1}));
  }
  for (uint8_t which = 0; which < 7; ++which) {
    add("numeric_" + std::to_string(which),
        InputWriter().answered(Action::numeric_set, {}, {which, 0, 0, 0, 9}));
  }
  add("osd_item", InputWriter().answered(Action::osd_set, {}, {6, 1, 2, 0, 10, 0, 20}));
  add("channel_name", InputWriter().answered(Action::channel_name_set, {}, {6, 6, 3, 1, 0, 0, 5}));
  add("osd_restore", InputWriter().answered(Action::osd_restore, {}));
  add("reboot", InputWriter().answered(Action::reboot, {}));
  add("keep_alive", InputWriter().answered(Action::keep_alive, {}));
  add("system_time", InputWriter().answered(Action::system_time_set, {}, {1, 2, 3, 4, 5, 6, 7, 8}));
  add("setters", InputWriter()
                     .answered(Action::visual_user_set, {}, {5, 1})
                     .answered(Action::mqtt_passwd_set, {}, {8, 0xFF})
                     .answered(Action::gb28181_set, {}, {1, 0x13, 0xC4, 4, 2, 6, 3})
                     .answered(Action::domain_set, {}, {8, 4})
                     .answered(Action::account_set, {}, {0, 32})
                     .answered(Action::ip_set, {}, {1, 12, 3, 13, 4})
                     .answered(Action::visual_sn_set, {}, {1, 0, 0, 12, 7}));

  // Hostile deliveries.
  add("garbage_then_answer",
      InputWriter().step(Action::mqtt_port_get).batch(2).raw(Bytes(300, 0xEE)).answer(u32_payload(8883)));
  add("total_length_1gib", InputWriter()
                               .step(Action::machine_config)
                               .batch(2)
                               .tampered(0, 1, 1u << 30, 0, record_with_name(0))
                               .answer(record_with_name(0)));
  add("package_type_0", InputWriter().step(Action::vendor_get, {6}).batch(1).tampered(0, 0, 29, 1, one));
  add("two_frames_in_one", InputWriter().step(Action::visual_ip_get).batch(1).pair(lp_text("10.0.0.1")));
  add("other_command", InputWriter()
                           .step(Action::zoom_get)
                           .batch(2)
                           .forged(174, 130, 0, 0, record_with_name(3))
                           .forged(48, 129, 0, 1, account_answer(2, 2)));
  add("hang_up_and_reconnect", InputWriter()
                                   .step(Action::mqtt_ip_get)
                                   .batch(1)
                                   .event(1)
                                   .step(Action::connect)
                                   .answered(Action::mqtt_ip_get, lp_text("1.2.3.4")));
  add("refused_then_cached",
      InputWriter().answered(Action::ip_get, {}).step(Action::disconnect).step(Action::machine_info));
  return out;
}

// ---- Frame cutter fuzzer ---------------------------------------------------

Bytes response(uint8_t main, uint8_t sub, uint32_t seq, const Bytes &payload) {
  return qz::wire::make_frame(qz::wire::kPackageResponse, main, sub, 0, seq, payload);
}

// The stream in reads of at most `chunk` bytes, after the cap bytes.
Bytes splitter_input(uint16_t cap, const Bytes &stream, std::size_t chunk) {
  Bytes out{static_cast<uint8_t>(cap >> 8), static_cast<uint8_t>(cap)};
  for (std::size_t pos = 0; pos < stream.size(); pos += chunk) {
    const std::size_t n = std::min(chunk, stream.size() - pos);
    out.push_back(static_cast<uint8_t>(n));
    out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(pos),
               stream.begin() + static_cast<std::ptrdiff_t>(pos + n));
  }
  return out;
}

std::vector<std::pair<std::string, Bytes>> splitter_inputs() {
  const std::vector<Bytes> frames = {
      response(174, 130, 1, record_with_name(6)),
      response(169, 139, 2, ip_block()),
      response(48, 129, 3, account_answer(4, 4)),
      response(49, 133, 4, domain_answer()),
      response(169, 149, 5, lp_text("192.168.1.65")),
      response(169, 177, 6, gb28181_record()),
      response(169, 169, 7, Bytes{1}),
      response(168, 128, 8, {}),
      response(173, 128, 9, {}),
  };
  Bytes all;
  for (const Bytes &f : frames) all.insert(all.end(), f.begin(), f.end());
  Bytes hostile = {'x', 'Q', 'Z', 'S', 'Q', 'Z', 'S', 'T', 'A', 'R', 'T', 0x40, 0, 0, 0};  // 1 GiB total
  hostile.insert(hostile.end(), frames[1].begin(), frames[1].end());
  const Bytes partial_flag = {'Q', 'Z', 'S', 'T', 'A'};
  hostile.insert(hostile.end(), partial_flag.begin(), partial_flag.end());
  hostile.insert(hostile.end(), frames[6].begin(), frames[6].end());

  return {
      {"frames_whole", splitter_input(0xFFFF, all, 255)},
      {"frames_by_7", splitter_input(0xFFFF, all, 7)},
      {"frames_by_1", splitter_input(0xFFFF, frames[6], 1)},
      {"frames_small_cap", splitter_input(100, all, 64)},
      {"hostile", splitter_input(0xFFFF, hostile, 13)},
  };
}

// ---- Simulated device fuzzer -----------------------------------------------

Bytes sim_request(uint8_t main, uint8_t sub, const Bytes &payload, bool strict = true) {
  Bytes out{static_cast<uint8_t>(strict ? 0 : 1), main, sub, static_cast<uint8_t>(payload.size() >> 8),
            static_cast<uint8_t>(payload.size())};
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

std::vector<std::pair<std::string, Bytes>> sim_inputs() {
  const Bytes key = lp_text(qz::sim::DeviceState{}.device_sn);
  auto keyed = [&](const Bytes &rest) {
    Bytes out = key;
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
  };
  Bytes visual_sn;
  Writer(visual_sn).u8(1).u8(0).lp_text("VS2403180017");
  Bytes channel{1, 2, 0, 3, 0, 4, 4, 'y', 'a', 'r', 'd'};
  std::vector<std::pair<std::string, Bytes>> out = {
      {"machine_config", sim_request(174, 130, {})},
      {"ip_info", sim_request(169, 138, ip_block())},
      {"account", sim_request(48, 128, Bytes(16, 'a'))},
      {"power_status", sim_request(49, 130, keyed(Bytes(12, 1)))},
      {"domain", sim_request(49, 132, keyed(domain_answer()))},
      {"visual_ip", sim_request(169, 148, lp_text("10.0.0.5"))},
      {"visual_sn", sim_request(169, 143, visual_sn)},
      {"mqtt_port", sim_request(169, 158, u32_payload(1883))},
      {"gb28181", sim_request(169, 176, gb28181_record())},
      {"system_time", sim_request(169, 136, Bytes(20, 3))},
      {"osd_item", sim_request(168, 135, Bytes{1, 2, 0, 3, 0, 4})},
      {"channel_name", sim_request(168, 138, channel)},
      {"reboot", sim_request(164, 142, {})},
      {"keep_alive", sim_request(173, 128, {})},
      {"framerate_lenient", sim_request(169, 147, Bytes{200}, false)},
  };
  // Every query the library sends, in one input.
  Bytes queries;
  for (uint8_t sub :
       {139, 149, 151, 153, 155, 157, 159, 161, 163, 165, 167, 169, 171, 173, 175, 177, 179, 181, 183, 185}) {
    const Bytes q = sim_request(169, sub, {});
    queries.insert(queries.end(), q.begin(), q.end());
  }
  for (const Bytes &q : {sim_request(48, 129, {}), sim_request(49, 131, key), sim_request(49, 133, key)})
    queries.insert(queries.end(), q.begin(), q.end());
  out.emplace_back("queries", queries);
  return out;
}

bool write_corpus(const fs::path &dir, const std::vector<std::pair<std::string, Bytes>> &inputs) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  if (ec) return false;
  for (const auto &[name, bytes] : inputs) {
    if (!write_file(dir / name, bytes)) return false;
  }
  std::printf("%s: %zu inputs\n", dir.string().c_str(), inputs.size());
  return true;
}

}  // namespace

// Documents: a whole one, parts, and near misses.
std::vector<std::pair<std::string, Bytes>> document_inputs() {
  const char *texts[] = {
      R"({"version": 1, "settings": {"framerate": 30, "hdmi": true, "mqtt_ip": "10.0.0.2"}})",
      R"({"settings": {"ip_info": {"flag": 1, "text1": "a", "text2": "b", "text3": "c", "text4": "d", "text5": "e"}}})",
      R"({"settings": {"gb28181": {"enable": false}, "osd_item_3": {"display": true, "attribute": 1, "value1": 2, "value2": 3}}})",
      R"({"settings": {"account_info": {"hex": "00ff"}, "system_time": "2026-01-02T03:04:05", "visual_sn": {"support": true, "same_ip": true}}})",
      R"({"settings": {"channel_name": {"name": {"hex": "ff"}, "display": 1, "attribute": 0, "value1": 0, "value2": 0}}})",
      R"([[[[{"settings": 1}]]]])",
  };
  std::vector<std::pair<std::string, Bytes>> out;
  for (std::size_t i = 0; i < std::size(texts); ++i)
    out.emplace_back("document-" + std::to_string(i), Bytes(texts[i], texts[i] + std::strlen(texts[i])));
  return out;
}

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUT_DIR\n", argv[0]);
    return 2;
  }
  const fs::path out = argv[1];
  const bool ok =
      write_corpus(out / "session", session_inputs()) && write_corpus(out / "splitter", splitter_inputs()) &&
      write_corpus(out / "sim_request", sim_inputs()) && write_corpus(out / "document", document_inputs());
  if (!ok) std::fprintf(stderr, "cannot write the corpus under %s\n", out.string().c_str());
  return ok ? 0 : 1;
}
