// Fuzzes the frame cutter of the transport and the simulated device with an
// arbitrary byte stream cut into arbitrary reads.
//
// Input: cap(2) then chunks, each len(1) and len bytes. The frame cap is
// 28 + cap (0xFFFF: the default of 1 MiB). Checked:
//  - a frame delivery starts with "QZSTART" and is exactly as long as its
//    total length field says, which lies between 28 and the cap;
//  - a garbage delivery holds no "QZSTART", or is a refused 11-byte header;
//  - every byte fed comes out once and in order, but for the kept tail;
//  - kept bytes and allocation stay within the cap, and an idle cutter holds
//    no more than its small reserve;
//  - the same stream fed in one piece gives the same frames;
//  - a delivery that asks to stop leaves the cutter empty.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "frame_splitter.h"
#include "fuzz_check.h"

namespace {

using qz::wire::FrameSplitter;
using qz::wire::kFrameOverhead;
using qz::wire::kMinPrefixSize;
using qz::wire::total_length_at;
using Bytes = std::vector<uint8_t>;

constexpr std::string_view kFlag(qz::wire::kStartFlag, qz::wire::kStartFlagSize);

struct Cut {
  Bytes delivered;  // every delivered byte, in order
  Bytes garbage;    // the garbage bytes, in order
  std::vector<Bytes> frames;
};

bool contains_flag(const uint8_t *p, std::size_t n) {
  std::string_view text(reinterpret_cast<const char *>(p), n);
  return text.find(kFlag) != std::string_view::npos;
}

void check_delivery(const FrameSplitter &s, FrameSplitter::Kind kind, const uint8_t *p, std::size_t n) {
  FUZZ_CHECK(p != nullptr && n > 0);
  const bool starts_with_flag = n >= kFlag.size() && std::memcmp(p, kFlag.data(), kFlag.size()) == 0;
  if (kind == FrameSplitter::Kind::Frame) {
    FUZZ_CHECK(starts_with_flag && n >= kMinPrefixSize);
    FUZZ_CHECK(total_length_at(p) == n);
    FUZZ_CHECK(n >= kFrameOverhead && n <= s.max_frame());
    return;
  }
  if (starts_with_flag) {
    // A header refused for its total length.
    FUZZ_CHECK(n == kMinPrefixSize);
    const uint32_t total = total_length_at(p);
    FUZZ_CHECK(total < kFrameOverhead || total > s.max_frame());
    FUZZ_CHECK(!contains_flag(p + 1, n - 1));
  } else {
    FUZZ_CHECK(!contains_flag(p, n));
  }
}

void check_memory(const FrameSplitter &s) {
  FUZZ_CHECK(s.buffered() < s.max_frame());
  FUZZ_CHECK(s.capacity() <= std::max(s.max_frame(), FrameSplitter::kKeepCapacity));
  if (s.buffered() == 0) FUZZ_CHECK(s.capacity() <= FrameSplitter::kKeepCapacity);
}

// Feeds `chunks` in turn and records what comes out.
Cut cut(FrameSplitter &s, const std::vector<std::basic_string_view<uint8_t>> &chunks) {
  Cut out;
  auto record = [&](FrameSplitter::Kind kind, const uint8_t *p, std::size_t n) {
    check_delivery(s, kind, p, n);
    out.delivered.insert(out.delivered.end(), p, p + n);
    if (kind == FrameSplitter::Kind::Frame) {
      out.frames.emplace_back(p, p + n);
    } else {
      out.garbage.insert(out.garbage.end(), p, p + n);
    }
  };
  for (const auto &chunk : chunks) {
    FUZZ_CHECK(s.feed(chunk.data(), chunk.size(), record));
    check_memory(s);
  }
  return out;
}

// Stops at the stop-th delivery; the cutter must then hold nothing.
void cut_with_stop(std::size_t max_frame, const Bytes &stream, std::size_t stop) {
  FrameSplitter s(max_frame);
  std::size_t seen = 0;
  const bool went_on =
      s.feed(stream.data(), stream.size(),
             [&](FrameSplitter::Kind, const uint8_t *, std::size_t) { return ++seen != stop; });
  if (!went_on) {
    FUZZ_CHECK(seen == stop);
    FUZZ_CHECK(s.buffered() == 0 && s.capacity() <= FrameSplitter::kKeepCapacity);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const uint16_t cap = static_cast<uint16_t>(data[0] << 8 | data[1]);
  const std::size_t max_frame = cap == 0xFFFF ? qz::wire::kMaxFrameSize : kFrameOverhead + cap;

  std::vector<std::basic_string_view<uint8_t>> chunks;
  Bytes stream;
  for (std::size_t pos = 2; pos < size;) {
    const std::size_t n = std::min<std::size_t>(data[pos], size - pos - 1);
    chunks.emplace_back(data + pos + 1, n);
    stream.insert(stream.end(), data + pos + 1, data + pos + 1 + n);
    pos += 1 + n;
  }

  FrameSplitter chunked(max_frame);
  const Cut a = cut(chunked, chunks);
  // Exactly once and in order: what came out plus what is kept is the stream.
  FUZZ_CHECK(a.delivered.size() + chunked.buffered() == stream.size());
  FUZZ_CHECK(std::equal(a.delivered.begin(), a.delivered.end(), stream.begin()));

  FrameSplitter whole(max_frame);
  const Cut b = cut(whole, {std::basic_string_view<uint8_t>(stream.data(), stream.size())});
  FUZZ_CHECK(a.frames == b.frames);
  FUZZ_CHECK(a.garbage == b.garbage);
  FUZZ_CHECK(chunked.buffered() == whole.buffered());

  chunked.reset();
  FUZZ_CHECK(chunked.buffered() == 0 && chunked.capacity() <= FrameSplitter::kKeepCapacity);

  if (!chunks.empty()) cut_with_stop(max_frame, stream, 1 + chunks.size() % 4);
  return 0;
}
