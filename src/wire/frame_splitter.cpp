#include "frame_splitter.h"

#include <algorithm>
#include <cstring>

namespace qz::wire {

namespace {

const std::uint8_t *const kFlag = reinterpret_cast<const std::uint8_t *>(kStartFlag);

// Position of the first complete "QZSTART" in [p, p + n), or n when there is none.
std::size_t find_start(const std::uint8_t *p, std::size_t n) {
  std::size_t i = 0;
  while (i + kStartFlagSize <= n) {
    const void *q = std::memchr(p + i, 'Q', n - i - kStartFlagSize + 1);
    if (q == nullptr) return n;
    i = static_cast<std::size_t>(static_cast<const std::uint8_t *>(q) - p);
    if (std::memcmp(p + i, kFlag, kStartFlagSize) == 0) return i;
    ++i;
  }
  return n;
}

// Length k (0..6) of the longest tail of [p, p + n) that is a proper prefix of "QZSTART".
// "QZSTART" has no border (no proper suffix is also a prefix), so at most one 'Q' among
// the last 6 bytes can begin such a tail: the last one.
std::size_t partial_start_tail(const std::uint8_t *p, std::size_t n) {
  const std::size_t window = std::min<std::size_t>(n, kStartFlagSize - 1);
  for (std::size_t k = window; k > 0; --k) {
    if (std::memcmp(p + n - k, kFlag, k) == 0) return k;
  }
  return 0;
}

}  // namespace

FrameSplitter::FrameSplitter(std::size_t max_frame) : max_frame_(std::max(max_frame, kFrameOverhead)) {}

void FrameSplitter::reset() {
  pending_.clear();
  release_if_large();
}

void FrameSplitter::release_if_large() {
  if (pending_.capacity() > kKeepCapacity) {
    std::vector<std::uint8_t>().swap(pending_);
  }
}

bool FrameSplitter::feed(const std::uint8_t *data, std::size_t n, DeliverFn fn, void *ctx) {
  if (n == 0) return true;
  if (data == nullptr) return true;

  std::size_t pos = 0;
  if (!pending_.empty()) {
    // 1. A possible partial "QZSTART" is kept: complete or refute it.
    if (pending_.size() < kStartFlagSize) {
      const std::size_t have = pending_.size();
      const std::size_t need = kStartFlagSize - have;
      const std::size_t take = std::min(need, n);
      if (std::memcmp(data, kFlag + have, take) != 0) {
        // Not a frame start. No frame can start inside the kept bytes either (the flag
        // has no border), so they are garbage; the new bytes are looked at afresh.
        std::vector<std::uint8_t> garbage;
        garbage.swap(pending_);
        const bool go_on = fn(ctx, Kind::Garbage, garbage.data(), garbage.size());
        garbage.clear();
        if (garbage.capacity() <= kKeepCapacity) pending_.swap(garbage);  // keep the allocation
        if (!go_on) {
          reset();
          return false;
        }
        return feed_direct(data, n, fn, ctx);
      }
      pending_.insert(pending_.end(), data, data + take);
      pos = take;
      if (pending_.size() < kStartFlagSize) return true;  // still a partial flag, input used up
    }

    // 2. "QZSTART" is kept: complete the total length.
    if (pending_.size() < kMinPrefixSize) {
      const std::size_t take = std::min(kMinPrefixSize - pending_.size(), n - pos);
      pending_.insert(pending_.end(), data + pos, data + pos + take);
      pos += take;
      if (pending_.size() < kMinPrefixSize) return true;
      const std::uint32_t total = total_length_at(pending_.data());
      if (!valid_total(total)) {
        const bool go_on = fn(ctx, Kind::Garbage, pending_.data(), pending_.size());
        pending_.clear();
        if (!go_on) {
          reset();
          return false;
        }
        return feed_direct(data + pos, n - pos, fn, ctx);
      }
      pending_.reserve(total);
    }

    // 3. Part of a frame of known total length is kept: complete it.
    const std::size_t total = total_length_at(pending_.data());
    const std::size_t take = std::min(total - pending_.size(), n - pos);
    pending_.insert(pending_.end(), data + pos, data + pos + take);
    pos += take;
    if (pending_.size() < total) return true;
    const bool go_on = fn(ctx, Kind::Frame, pending_.data(), pending_.size());
    pending_.clear();
    release_if_large();
    if (!go_on) {
      reset();
      return false;
    }
  }
  return feed_direct(data + pos, n - pos, fn, ctx);
}

// Parses [data, data + n) with nothing kept from earlier feeds.
bool FrameSplitter::feed_direct(const std::uint8_t *data, std::size_t n, DeliverFn fn, void *ctx) {
  std::size_t pos = 0;
  while (pos < n) {
    const std::size_t rest = n - pos;
    const std::size_t start = find_start(data + pos, rest);
    if (start == rest) {
      // No complete flag: everything is garbage but a possible partial flag at the end.
      const std::size_t keep = partial_start_tail(data + pos, rest);
      if (rest > keep) {
        if (!fn(ctx, Kind::Garbage, data + pos, rest - keep)) {
          reset();
          return false;
        }
      }
      pending_.assign(data + n - keep, data + n);
      return true;
    }
    if (start > 0) {
      if (!fn(ctx, Kind::Garbage, data + pos, start)) {
        reset();
        return false;
      }
      pos += start;
    }
    // A flag at pos.
    const std::size_t avail = n - pos;
    if (avail < kMinPrefixSize) {
      pending_.assign(data + pos, data + n);
      return true;
    }
    const std::uint32_t total = total_length_at(data + pos);
    if (!valid_total(total)) {
      if (!fn(ctx, Kind::Garbage, data + pos, kMinPrefixSize)) {
        reset();
        return false;
      }
      pos += kMinPrefixSize;
      continue;
    }
    if (avail >= total) {
      if (!fn(ctx, Kind::Frame, data + pos, total)) {
        reset();
        return false;
      }
      pos += total;
      continue;
    }
    // Partial frame: reassemble.
    pending_.reserve(total);
    pending_.assign(data + pos, data + n);
    return true;
  }
  return true;
}

}  // namespace qz::wire
