// qz::net::FrameSplitter on its own: tables cut at every position, random streams, memory.
#include "frame_splitter.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "test_server.h"

namespace {

using qz::net::FrameSplitter;
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

Bytes text(const std::string &s) {
  return Bytes(s.begin(), s.end());
}

// Feeds `stream` cut at the ascending positions `cuts`. Adjacent garbage deliveries are
// merged, so the result does not depend on how garbage happened to be cut; `left` gets
// the bytes still kept at the end.
std::vector<Delivery> split(const Bytes &stream, const std::vector<std::size_t> &cuts,
                            std::size_t max_frame = FrameSplitter::kDefaultMaxFrame,
                            std::size_t *left = nullptr) {
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
  if (left != nullptr) *left = splitter.buffered();
  return out;
}

Delivery F(const Bytes &b) {
  return {Kind::Frame, b};
}
Delivery G(const Bytes &b) {
  return {Kind::Garbage, b};
}

struct Case {
  const char *name;
  std::vector<Delivery> deliveries;  // the stream is their bytes, then `kept`
  Bytes kept = {};                   // a possible frame start, kept for the next feed
  std::size_t max_frame = FrameSplitter::kDefaultMaxFrame;
};

std::vector<Case> cases() {
  const Bytes f0 = make_frame(0), f1 = make_frame(1, 0x01, 7), f100 = make_frame(100, 'Z', 9);
  const Bytes inner = make_frame(3, 'Q', 3);  // payload "QQQ"
  return {
      {"minimum frame", {F(f0)}},
      {"coalesced frames", {F(f0), F(f1), F(f100), F(inner)}},
      {"garbage between", {G(text("hello")), F(f0), G(text("xyz")), F(f1), G(text("QZSTAR")), F(f100)}},
      {"garbage after keeps partial flag", {F(f1), G(text("abc"))}, text("QZST")},
      {"garbage only", {G(text("no frame here"))}},
      {"partial flag refuted", {G(text("QZSXQZ")), F(f1)}},
      {"Q runs", {G(text("QQQQZZ")), F(f1)}},
      {"total below 28", {G(cat({frame_prefix(27), text("abc")})), F(f1)}},
      {"total zero", {G(frame_prefix(0)), F(f0)}},
      {"total above cap", {G(cat({frame_prefix(1001), Bytes(50, 0x11)})), F(f1)}, {}, 1000},
      {"total at cap", {F(make_frame(1000 - 28)), F(f0)}, {}, 1000},
      // The length bytes of a refused header are skipped with it, even if a flag starts
      // inside them.
      {"refused header hides overlapping flag", {G(text("QZSTARTQZSTART")), F(f0)}},
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
      EXPECT_TRUE(split(stream, cuts, c.max_frame, &left) == c.deliveries)
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

// Feeds in 4 KiB reads; returns the largest capacity seen.
std::size_t feed_in_reads(FrameSplitter &splitter, const Bytes &stream, std::size_t &garbage,
                          std::vector<Bytes> &frames) {
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
}

TEST(FrameSplitter, MemoryStaysBounded) {
  // A header announcing 1 GiB, 2 MiB of garbage without a 'Q', then a valid frame.
  Bytes stream = frame_prefix(1u << 30);
  std::mt19937 rng(42);
  for (std::size_t i = 0; i < (2u << 20); ++i) {
    const auto b = static_cast<std::uint8_t>(rng());
    stream.push_back(b == 'Q' ? 'q' : b);
  }
  const Bytes tail = make_frame(5, 0x77, 5);
  stream.insert(stream.end(), tail.begin(), tail.end());
  FrameSplitter splitter;
  std::size_t garbage = 0;
  std::vector<Bytes> frames;
  EXPECT_LE(feed_in_reads(splitter, stream, garbage, frames), FrameSplitter::kKeepCapacity);
  EXPECT_EQ(garbage, 11u + (2u << 20));
  EXPECT_EQ(frames, std::vector<Bytes>{tail});

  // A large frame over many reads is reassembled, and the buffer is released after it.
  const Bytes big = make_frame(512 * 1024);
  frames.clear();
  EXPECT_LE(feed_in_reads(splitter, big, garbage, frames), big.size());
  EXPECT_EQ(frames, std::vector<Bytes>{big});
  EXPECT_LE(splitter.capacity(), FrameSplitter::kKeepCapacity);
}

// Random streams of frames, garbage with stray 'Q's and flag fragments, and refused
// headers: every byte is delivered once, frames are whole and valid, and the deliveries
// do not depend on how the stream is cut.
TEST(FrameSplitter, RandomStreamsAndCuts) {
  std::mt19937 rng(1234);
  const std::size_t max_frame = 600;
  for (int round = 0; round < 300; ++round) {
    Bytes stream;
    for (int i = 0, parts = 1 + static_cast<int>(rng() % 12); i < parts; ++i) {
      const unsigned pick = rng() % 5;
      Bytes part;
      if (pick < 2) part = make_frame(rng() % 200, static_cast<std::uint8_t>(rng()), rng());
      if (pick == 2)
        for (std::size_t k = rng() % 30; k > 0; --k)
          part.push_back(static_cast<std::uint8_t>("QZSTAxyz"[rng() % 8]));
      if (pick == 3)
        part =
            frame_prefix(static_cast<std::uint32_t>(rng() % 2 ? rng() % 28 : max_frame + 1 + rng() % 100000));
      if (pick == 4) part = text(std::string("QZSTART").substr(0, 1 + rng() % 6));
      stream.insert(stream.end(), part.begin(), part.end());
    }
    std::size_t whole_left = 0;
    const auto expected = split(stream, {}, max_frame, &whole_left);
    std::size_t total = whole_left;
    for (const auto &d : expected) {
      total += d.bytes.size();
      if (d.kind != Kind::Frame) continue;
      ASSERT_GE(d.bytes.size(), 28u);
      ASSERT_LE(d.bytes.size(), max_frame);
      ASSERT_EQ(std::string(d.bytes.begin(), d.bytes.begin() + 7), "QZSTART");
      ASSERT_EQ(FrameSplitter::read_total(d.bytes.data()), d.bytes.size());
    }
    ASSERT_EQ(total, stream.size());

    for (int trial = 0; trial < 10; ++trial) {
      std::vector<std::size_t> cuts;
      for (std::size_t pos = 1 + rng() % 40; pos < stream.size(); pos += 1 + rng() % 40) cuts.push_back(pos);
      std::size_t left = 0;
      ASSERT_TRUE(split(stream, cuts, max_frame, &left) == expected) << "round " << round;
      ASSERT_EQ(left, whole_left);
    }
  }
}

}  // namespace
