// qz::wire::FrameSplitter on its own: a table cut at every position, stop/reset, memory.
#include "frame_splitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_server.h"

namespace {

using qz::wire::FrameSplitter;
using qz_test::Bytes;
using qz_test::cat;
using qz_test::frame_prefix;
using qz_test::make_frame;
using Kind = FrameSplitter::Kind;

struct Delivery {
  Kind kind;
  Bytes bytes;
  bool operator==(const Delivery &) const = default;
};

// Feeds `stream` cut at the ascending positions `cuts`. Adjacent garbage deliveries are
// merged, so the result does not depend on how garbage happened to be cut; `left` gets
// the bytes still kept at the end.
std::vector<Delivery> split(const Bytes &stream, const std::vector<std::size_t> &cuts, std::size_t max_frame,
                            std::size_t &left) {
  FrameSplitter splitter(max_frame);
  std::vector<Delivery> out;
  auto deliver = [&](Kind kind, const std::uint8_t *p, std::size_t n) {
    EXPECT_GT(n, 0u);
    if (kind == Kind::Garbage && !out.empty() && out.back().kind == Kind::Garbage) {
      out.back().bytes.insert(out.back().bytes.end(), p, p + n);
    } else {
      out.push_back({kind, Bytes(p, p + n)});
    }
  };
  std::size_t pos = 0;
  for (std::size_t cut : cuts) {
    splitter.feed(stream.data() + pos, cut - pos, deliver);
    pos = cut;
  }
  splitter.feed(stream.data() + pos, stream.size() - pos, deliver);
  left = splitter.buffered();
  return out;
}

struct Case {
  const char *name;
  std::vector<Delivery> deliveries;  // the stream is their bytes, then `kept`
  Bytes kept = {};                   // a possible frame start, kept for the next feed
  std::size_t max_frame = qz::wire::kMaxFrameSize;
};

std::vector<Case> cases() {
  auto F = [](const Bytes &b) { return Delivery{Kind::Frame, b}; };
  auto G = [](const std::string &s) { return Delivery{Kind::Garbage, Bytes(s.begin(), s.end())}; };
  const Bytes f0 = make_frame(0), f1 = make_frame(1, 0x01, 7), f100 = make_frame(100, 'Z', 9);
  const Bytes inner = make_frame(3, 'Q', 3);  // payload "QQQ"
  auto refused = [](std::uint32_t total, std::size_t extra) {
    return Delivery{Kind::Garbage, cat({frame_prefix(total), Bytes(extra, 0x11)})};
  };
  return {
      {"minimum frame", {F(f0)}},
      {"coalesced frames", {F(f0), F(f1), F(f100), F(inner)}},
      {"garbage between", {G("hello"), F(f0), G("xyz"), F(f1), G("QZSTAR"), F(f100)}},
      {"garbage after keeps partial flag", {F(f1), G("abc")}, Bytes{'Q', 'Z', 'S', 'T'}},
      {"garbage only", {G("no frame here")}},
      {"partial flag refuted", {G("QZSXQZ"), F(f1)}},
      {"Q runs", {G("QQQQZZ"), F(f1)}},
      {"total below 28", {refused(27, 3), F(f1)}},
      {"total zero", {refused(0, 0), F(f0)}},
      {"total above cap", {refused(1001, 50), F(f1)}, {}, 1000},
      {"total at cap", {F(make_frame(1000 - 28)), F(f0)}, {}, 1000},
      // The length bytes of a refused header are skipped with it, even if a flag starts
      // inside them.
      {"refused header hides overlapping flag", {G("QZSTARTQZSTART"), F(f0)}},
      {"incomplete frame kept", {F(f0)}, Bytes(f100.begin(), f100.begin() + 40)},
      {"incomplete header kept", {F(f0)}, Bytes(f1.begin(), f1.begin() + 9)},
  };
}

// Whole, cut once at every position, and one byte at a time: the same deliveries.
TEST(FrameSplitter, TableGivesTheSameDeliveriesHoweverTheStreamIsCut) {
  for (const Case &c : cases()) {
    Bytes stream;
    for (const auto &d : c.deliveries) stream.insert(stream.end(), d.bytes.begin(), d.bytes.end());
    stream.insert(stream.end(), c.kept.begin(), c.kept.end());
    std::vector<std::vector<std::size_t>> cut_sets = {{}, {}};
    for (std::size_t i = 0; i <= stream.size(); ++i) {
      cut_sets.push_back({i});
      if (i > 0 && i < stream.size()) cut_sets[1].push_back(i);
    }
    for (const auto &cuts : cut_sets) {
      std::size_t left = 0;
      EXPECT_TRUE(split(stream, cuts, c.max_frame, left) == c.deliveries)
          << c.name << " cut at " << ::testing::PrintToString(cuts);
      EXPECT_EQ(left, c.kept.size()) << c.name;
    }
  }
}

TEST(FrameSplitter, StopFromTheCallbackDropsTheRestAndResetDropsKeptBytes) {
  const Bytes stream = cat({make_frame(1), make_frame(2), make_frame(3)});
  FrameSplitter splitter;
  int calls = 0;
  EXPECT_FALSE(splitter.feed(stream.data(), stream.size(),
                             [&](Kind, const std::uint8_t *, std::size_t) { return ++calls < 2; }));
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(splitter.buffered(), 0u);

  const Bytes f = make_frame(10);
  std::vector<Bytes> frames;
  auto collect = [&](Kind, const std::uint8_t *p, std::size_t n) { frames.emplace_back(p, p + n); };
  splitter.feed(f.data(), 20, collect);
  EXPECT_EQ(splitter.buffered(), 20u);
  splitter.reset();
  EXPECT_EQ(splitter.buffered(), 0u);
  splitter.feed(f.data(), f.size(), collect);
  EXPECT_EQ(frames, std::vector<Bytes>{f});
}

TEST(FrameSplitter, MemoryStaysBounded) {
  FrameSplitter splitter;
  std::size_t garbage = 0;
  std::vector<Bytes> frames;
  // Feeds in 4 KiB reads; returns the largest capacity seen.
  auto feed_in_reads = [&](const Bytes &stream) {
    std::size_t max_capacity = 0;
    for (std::size_t pos = 0; pos < stream.size(); pos += 4096) {
      splitter.feed(stream.data() + pos, std::min<std::size_t>(4096, stream.size() - pos),
                    [&](Kind kind, const std::uint8_t *p, std::size_t n) {
                      if (kind == Kind::Garbage) garbage += n;
                      if (kind == Kind::Frame) frames.emplace_back(p, p + n);
                    });
      max_capacity = std::max(max_capacity, splitter.capacity());
    }
    return max_capacity;
  };
  // A header announcing 1 GiB, 2 MiB of garbage ending in a partial flag, then a frame.
  const Bytes tail = make_frame(5, 0x77, 5);
  const Bytes flood = cat({frame_prefix(1u << 30), Bytes((2u << 20) - 3, 'x'), {'Q', 'Z', 'S'}, tail});
  EXPECT_LE(feed_in_reads(flood), FrameSplitter::kKeepCapacity);
  EXPECT_EQ(garbage, 11u + (2u << 20));
  EXPECT_EQ(frames, std::vector<Bytes>{tail});

  // A large frame over many reads is reassembled, and the buffer is released after it.
  const Bytes big = make_frame(512 * 1024);
  frames.clear();
  EXPECT_LE(feed_in_reads(big), big.size());
  EXPECT_EQ(frames, std::vector<Bytes>{big});
  EXPECT_LE(splitter.capacity(), FrameSplitter::kKeepCapacity);
}

}  // namespace
