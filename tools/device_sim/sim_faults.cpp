#include "sim_faults.h"

#include <charconv>

#include "device_state.h"

namespace qz::sim {

namespace {

constexpr std::chrono::milliseconds kDefaultChunkPause{20};

// Decimal or 0x-prefixed hex, within [0, max].
bool parse_number(std::string_view text, uint64_t max, uint64_t &out) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty()) return false;
  uint64_t value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (ec != std::errc{} || end != text.data() + text.size() || value > max) return false;
  out = value;
  return true;
}

// Takes the text up to the next ':' off the front of `rest`.
std::string_view take_field(std::string_view &rest) {
  const auto colon = rest.find(':');
  std::string_view field = rest.substr(0, colon);
  rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
  return field;
}

bool parse_target(std::string_view &rest, FaultKey &key, std::string &error) {
  const std::string_view first = take_field(rest);
  if (first == "all") {
    key = FaultKey::any();
    return true;
  }
  const std::string_view second = take_field(rest);
  uint64_t main = 0, sub = 0;
  if (!parse_number(first, 255, main)) {
    error = "bad target \"" + std::string(first) + "\": expected all or MAIN:SUB";
    return false;
  }
  if (second == "*") {
    key = FaultKey::main_command(static_cast<uint8_t>(main));
    return true;
  }
  if (!parse_number(second, 255, sub)) {
    error = "bad sub command \"" + std::string(second) + "\"";
    return false;
  }
  key = FaultKey::command(static_cast<uint8_t>(main), static_cast<uint8_t>(sub));
  return true;
}

bool parse_action(std::string_view action, Fault &fault, bool &pause_given, std::string &error) {
  const auto eq = action.find('=');
  const std::string_view name = action.substr(0, eq);
  const std::string_view value = eq == std::string_view::npos ? std::string_view{} : action.substr(eq + 1);
  const bool has_value = eq != std::string_view::npos;
  uint64_t n = 0;
  auto number = [&](uint64_t max) { return has_value && parse_number(value, max, n); };
  auto bytes = [&](std::optional<std::vector<uint8_t>> &out) {
    std::vector<uint8_t> parsed;
    if (!has_value || !from_hex(value, parsed)) return false;
    out = std::move(parsed);
    return true;
  };
  bool ok = false;
  if (name == "code") {
    if ((ok = number(255))) fault.code = static_cast<uint8_t>(n);
  } else if (name == "delay") {
    if ((ok = number(3'600'000))) fault.delay = std::chrono::milliseconds(n);
  } else if (name == "drop") {
    ok = !has_value;
    fault.no_answer = true;
  } else if (name == "sub") {
    if ((ok = number(255))) fault.sub = static_cast<uint8_t>(n);
  } else if (name == "truncate") {
    if ((ok = number(1u << 20))) fault.truncate = static_cast<std::size_t>(n);
  } else if (name == "payload") {
    ok = bytes(fault.payload);
  } else if (name == "raw") {
    ok = bytes(fault.raw);
  } else if (name == "garbage") {
    if ((ok = number(1u << 20))) fault.garbage = static_cast<std::size_t>(n);
  } else if (name == "coalesce") {
    ok = !has_value;
    fault.coalesce = true;
  } else if (name == "close") {
    if ((ok = number(1u << 20))) fault.close_after = static_cast<std::size_t>(n);
  } else if (name == "chunks") {
    if ((ok = number(1u << 20) && n > 0)) fault.chunk_size = static_cast<std::size_t>(n);
  } else if (name == "pause") {
    if ((ok = number(3'600'000))) fault.chunk_pause = std::chrono::milliseconds(n);
    pause_given = true;
  } else if (name == "times") {
    if ((ok = number(1'000'000'000))) fault.times = static_cast<unsigned>(n);
  } else {
    error = "unknown action \"" + std::string(name) + "\"";
    return false;
  }
  if (!ok) error = "bad value in \"" + std::string(action) + "\"";
  return ok;
}

}  // namespace

bool parse_fault_spec(std::string_view text, FaultKey &key, Fault &fault, std::string &error) {
  if (text == "silent") text = "all:drop";
  std::string_view rest = text;
  FaultKey parsed_key;
  if (!parse_target(rest, parsed_key, error)) return false;
  if (rest.empty()) {
    error = "no action after the target in \"" + std::string(text) + "\"";
    return false;
  }
  Fault parsed;
  bool pause_given = false;
  while (!rest.empty()) {
    const auto comma = rest.find(',');
    const std::string_view action = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view{} : rest.substr(comma + 1);
    if (!parse_action(action, parsed, pause_given, error)) return false;
  }
  if (parsed.chunk_size != 0 && !pause_given) parsed.chunk_pause = kDefaultChunkPause;
  key = parsed_key;
  fault = std::move(parsed);
  return true;
}

bool parse_refuse_mode(std::string_view text, RefuseMode &mode) {
  if (text == "none") {
    mode = RefuseMode::none;
  } else if (text == "close") {
    mode = RefuseMode::close_on_accept;
  } else if (text == "stop") {
    mode = RefuseMode::stop_listening;
  } else {
    return false;
  }
  return true;
}

std::string fault_grammar_help() {
  return R"(Faults (--fault, repeatable):
  --fault TARGET:ACTION[,ACTION...]  or  --fault silent (the same as all:drop)
  TARGET    all | MAIN:SUB | MAIN:*     numbers in decimal or 0x hex
  ACTION    code=N       answer with response code N and no payload (request not handled)
            delay=MS     wait MS milliseconds before answering (other connections go on)
            drop         send no answer (the request is still handled)
            sub=N        answer under sub command N
            truncate=N   cut the answer's payload to N bytes (frame lengths follow)
            payload=HEX  answer with this payload instead
            raw=HEX      send these bytes instead of the answer frame
            garbage=N    send N bytes of garbage before the answer
            coalesce     hold the answer and send it in one write with the next one
            close=N      send the first N bytes of the answer, then close the connection
            chunks=N     send the answer in N-byte pieces ...
            pause=MS     ... MS milliseconds apart (default 20)
            times=N      only for the next N matching requests
  The most specific target wins: MAIN:SUB, then MAIN:*, then all.
  Examples: --fault 169:159:code=3   --fault all:delay=200   --fault 174:130:chunks=16,pause=50
Connections (--refuse): none | close (accept and close at once) | stop (stop listening)
)";
}

std::string describe_fault(const Fault &f) {
  std::string out;
  auto add = [&out](const std::string &part) {
    if (!out.empty()) out += ',';
    out += part;
  };
  if (f.code) add("code=" + std::to_string(*f.code));
  if (f.payload) add("payload");
  if (f.sub) add("sub=" + std::to_string(*f.sub));
  if (f.truncate) add("truncate=" + std::to_string(*f.truncate));
  if (f.raw || f.raw_hook) add("raw");
  if (f.garbage) add("garbage=" + std::to_string(f.garbage));
  if (f.delay.count()) add("delay=" + std::to_string(f.delay.count()));
  if (f.no_answer) add("drop");
  if (f.coalesce) add("coalesce");
  if (f.close_after) add("close=" + std::to_string(*f.close_after));
  if (f.chunk_size)
    add("chunks=" + std::to_string(f.chunk_size) + "/" + std::to_string(f.chunk_pause.count()));
  return out;
}

}  // namespace qz::sim
