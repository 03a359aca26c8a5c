// Cuts a TCP byte stream into deliveries of the device frame protocol: the one
// cutter of the transport (qz_net) and the simulated device.
//
// A frame starts with the 7 ASCII bytes "QZSTART", followed by its total length as an
// unsigned 32-bit big-endian number at offset 7. The total counts the 23-byte header and
// the 5-byte trailer, so it is at least 28; the splitter refuses totals above a cap
// (kMaxFrameSize, 1 MiB, by default).
//
// Every byte fed is delivered exactly once, in order, as part of either
//  - a Frame delivery: one whole frame (a "QZSTART" with a valid total length, and
//    exactly that many bytes), or
//  - a Garbage delivery: bytes that do not start a frame. After garbage the splitter
//    resynchronises on the next "QZSTART". A "QZSTART" whose total length is below 28
//    or above the cap is refused: its 11 header bytes are delivered as garbage and the
//    search goes on right after them. The transport and the simulated device both
//    follow this rule: a refused header arrives whole, so whoever reports it can read
//    its total length, and a frame that starts inside those length bytes is lost
//    with them.
// Bytes that may still become a frame (a possible partial "QZSTART" at the end of a
// read, a partial header, a partial frame) are kept until the next feed.
//
// Memory: a frame wholly inside one fed buffer is delivered straight from that buffer
// (no copy, no allocation). Only a frame split over several feeds is reassembled in an
// internal buffer, which never holds more than the cap; after a large frame the buffer
// is released again, so an idle splitter holds at most kKeepCapacity bytes.
//
// The class is pure (no sockets, no threads, no locks): one instance is used by one
// thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "wire_frame.h"

namespace qz::wire {

class FrameSplitter {
 public:
  enum class Kind { Frame, Garbage };

  // Reassembly memory kept between frames.
  static constexpr std::size_t kKeepCapacity = 16 * 1024;

  // Called for every delivery; returns false to stop feeding (the rest of the fed
  // buffer is then dropped and the splitter reset).
  using DeliverFn = bool (*)(void *ctx, Kind kind, const std::uint8_t *data, std::size_t length);

  // Caps below kFrameOverhead are raised to it.
  explicit FrameSplitter(std::size_t max_frame = kMaxFrameSize);

  // Feeds n bytes. Returns false when a delivery asked to stop.
  bool feed(const std::uint8_t *data, std::size_t n, DeliverFn fn, void *ctx);

  // Convenience form taking any callable bool(Kind, const uint8_t*, size_t) or
  // void(Kind, const uint8_t*, size_t).
  template <class F>
  bool feed(const std::uint8_t *data, std::size_t n, F &&f) {
    using Fn = std::remove_reference_t<F>;
    return feed(
        data, n,
        [](void *ctx, Kind kind, const std::uint8_t *p, std::size_t len) -> bool {
          Fn &fn = *static_cast<Fn *>(ctx);
          if constexpr (std::is_same_v<decltype(fn(kind, p, len)), void>) {
            fn(kind, p, len);
            return true;
          } else {
            return static_cast<bool>(fn(kind, p, len));
          }
        },
        const_cast<void *>(static_cast<const void *>(&f)));
  }

  // Drops any kept bytes (e.g. on a new connection) and releases large buffers.
  void reset();

  std::size_t max_frame() const { return max_frame_; }
  // Bytes currently kept for the next feed.
  std::size_t buffered() const { return pending_.size(); }
  // Bytes currently allocated for reassembly.
  std::size_t capacity() const { return pending_.capacity(); }

 private:
  bool valid_total(std::uint32_t total) const { return total >= kFrameOverhead && total <= max_frame_; }
  bool feed_direct(const std::uint8_t *data, std::size_t n, DeliverFn fn, void *ctx);
  void release_if_large();

  std::size_t max_frame_;
  // Kept bytes: a proper prefix of "QZSTART" (1..6 bytes), or "QZSTART" and part of the
  // length (7..10 bytes), or the first part of a frame whose total is known.
  std::vector<std::uint8_t> pending_;
};

}  // namespace qz::wire
