// Table-driven and randomised tests of qz::net::FrameSplitter (no sockets).
#include "frame_splitter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using qz::net::FrameSplitter;
using Bytes = std::vector<std::uint8_t>;

Bytes frame(std::size_t payload_length, std::uint8_t fill = 0xAB, std::uint32_t seq = 1) {
  const std::uint32_t total = static_cast<std::uint32_t>(payload_length + 28);
  Bytes f = {'Q', 'Z', 'S', 'T', 'A', 'R', 'T'};
  for (int shift = 24; shift >= 0; shift -= 8) f.push_back(static_cast<std::uint8_t>(total >> shift));
  f.push_back(1);     // package type
  f.push_back(0xA9);  // main
  f.push_back(0x80);  // sub
  f.push_back(0);     // response code
  for (int shift = 24; shift >= 0; shift -= 8) f.push_back(static_cast<std::uint8_t>(seq >> shift));
  for (int shift = 24; shift >= 0; shift -= 8)
    f.push_back(static_cast<std::uint8_t>(payload_length >> shift));
  f.insert(f.end(), payload_length, fill);
  const char *end = "QZEND";
  f.insert(f.end(), end, end + 5);
  EXPECT_EQ(f.size(), total);
  return f;
}

Bytes header_with_total(std::uint32_t total) {
  Bytes h = {'Q', 'Z', 'S', 'T', 'A', 'R', 'T'};
  for (int shift = 24; shift >= 0; shift -= 8) h.push_back(static_cast<std::uint8_t>(total >> shift));
  return h;
}

Bytes text(const std::string &s) {
  return Bytes(s.begin(), s.end());
}

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

struct Delivery {
  FrameSplitter::Kind kind;
  Bytes bytes;
};

// Collects deliveries; adjacent garbage deliveries are merged so that results do not
// depend on how garbage happened to be cut.
struct Collector {
  std::vector<Delivery> raw;
  void operator()(FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t n) {
    EXPECT_GT(n, 0u);
    raw.push_back({kind, Bytes(p, p + n)});
  }
  std::vector<Delivery> merged() const {
    std::vector<Delivery> out;
    for (const auto &d : raw) {
      if (d.kind == FrameSplitter::Kind::Garbage && !out.empty() &&
          out.back().kind == FrameSplitter::Kind::Garbage) {
        out.back().bytes.insert(out.back().bytes.end(), d.bytes.begin(), d.bytes.end());
      } else {
        out.push_back(d);
      }
    }
    return out;
  }
  std::vector<Bytes> frames() const {
    std::vector<Bytes> out;
    for (const auto &d : raw)
      if (d.kind == FrameSplitter::Kind::Frame) out.push_back(d.bytes);
    return out;
  }
};

std::vector<Delivery> run_chunks(const Bytes &stream, const std::vector<std::size_t> &cuts,
                                 std::size_t max_frame = FrameSplitter::kDefaultMaxFrame,
                                 std::size_t *left = nullptr) {
  FrameSplitter splitter(max_frame);
  Collector c;
  std::size_t pos = 0;
  for (std::size_t cut : cuts) {
    splitter.feed(stream.data() + pos, cut - pos, c);
    pos = cut;
  }
  splitter.feed(stream.data() + pos, stream.size() - pos, c);
  if (left != nullptr) *left = splitter.buffered();
  return c.merged();
}

void expect_same(const std::vector<Delivery> &actual, const std::vector<Delivery> &expected,
                 const std::string &what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_EQ(actual[i].kind, expected[i].kind) << what << " delivery " << i;
    EXPECT_EQ(actual[i].bytes, expected[i].bytes) << what << " delivery " << i;
  }
}

Delivery F(const Bytes &b) {
  return {FrameSplitter::Kind::Frame, b};
}
Delivery G(const Bytes &b) {
  return {FrameSplitter::Kind::Garbage, b};
}

struct Case {
  const char *name;
  Bytes stream;
  std::vector<Delivery> expected;
  std::size_t left_over;  // bytes still kept at the end
  std::size_t max_frame = FrameSplitter::kDefaultMaxFrame;
};

std::vector<Case> cases() {
  const Bytes f0 = frame(0);
  const Bytes f1 = frame(1, 0x01, 7);
  const Bytes f100 = frame(100, 0x5A, 9);  // payload of 'Z' bytes
  const Bytes inner = frame(3, 'Q', 3);    // payload "QQQ"
  std::vector<Case> out;
  out.push_back({"whole frame", f1, {F(f1)}, 0});
  out.push_back({"minimum frame", f0, {F(f0)}, 0});
  out.push_back({"coalesced frames", cat({f0, f1, f100, inner}), {F(f0), F(f1), F(f100), F(inner)}, 0});
  out.push_back({"garbage before", cat({text("hello"), f1}), {G(text("hello")), F(f1)}, 0});
  out.push_back({"garbage between",
                 cat({f0, text("xyz"), f1, text("QZSTAR"), f100}),
                 {F(f0), G(text("xyz")), F(f1), G(text("QZSTAR")), F(f100)},
                 0});
  out.push_back({"garbage after keeps partial flag", cat({f1, text("abcQZST")}), {F(f1), G(text("abc"))}, 4});
  out.push_back({"garbage only", text("no frame here"), {G(text("no frame here"))}, 0});
  out.push_back({"partial flag refuted", cat({text("QZS"), text("XQZ"), f1}), {G(text("QZSXQZ")), F(f1)}, 0});
  out.push_back({"Q runs", cat({text("QQQQZZ"), f1}), {G(text("QQQQZZ")), F(f1)}, 0});
  out.push_back({"total below 28",
                 cat({header_with_total(27), text("abc"), f1}),
                 {G(cat({header_with_total(27), text("abc")})), F(f1)},
                 0});
  out.push_back({"total zero", cat({header_with_total(0), f0}), {G(header_with_total(0)), F(f0)}, 0});
  out.push_back({"total above cap",
                 cat({header_with_total(1001), Bytes(50, 0x11), f1}),
                 {G(cat({header_with_total(1001), Bytes(50, 0x11)})), F(f1)},
                 0,
                 1000});
  out.push_back({"total at cap", cat({frame(1000 - 28), f0}), {F(frame(1000 - 28)), F(f0)}, 0, 1000});
  out.push_back({"refused header hides overlapping flag",
                 // The length bytes of a refused header are skipped with it, even if a
                 // flag starts inside them.
                 cat({text("QZSTARTQZST"), text("ART"), f0}),
                 {G(text("QZSTARTQZSTART")), F(f0)},
                 0});
  out.push_back({"incomplete frame kept", cat({f0, Bytes(f100.begin(), f100.begin() + 40)}), {F(f0)}, 40});
  out.push_back({"incomplete header kept", cat({f0, Bytes(f1.begin(), f1.begin() + 9)}), {F(f0)}, 9});
  return out;
}

TEST(FrameSplitter, TableWholeFeed) {
  for (const Case &c : cases()) {
    std::size_t left = 0;
    expect_same(run_chunks(c.stream, {}, c.max_frame, &left), c.expected, c.name);
    EXPECT_EQ(left, c.left_over) << c.name;
  }
}

TEST(FrameSplitter, TableSplitAtEveryPosition) {
  for (const Case &c : cases()) {
    for (std::size_t cut = 0; cut <= c.stream.size(); ++cut) {
      std::size_t left = 0;
      expect_same(run_chunks(c.stream, {cut}, c.max_frame, &left), c.expected,
                  std::string(c.name) + " cut at " + std::to_string(cut));
      EXPECT_EQ(left, c.left_over) << c.name << " cut at " << cut;
    }
  }
}

TEST(FrameSplitter, TableSplitAtEveryPairOfPositions) {
  for (const Case &c : cases()) {
    if (c.stream.size() > 200) continue;
    for (std::size_t a = 0; a <= c.stream.size(); ++a) {
      for (std::size_t b = a; b <= c.stream.size(); ++b) {
        expect_same(run_chunks(c.stream, {a, b}, c.max_frame), c.expected,
                    std::string(c.name) + " cuts " + std::to_string(a) + "," + std::to_string(b));
      }
    }
  }
}

TEST(FrameSplitter, TableOneByteAtATime) {
  for (const Case &c : cases()) {
    std::vector<std::size_t> cuts;
    for (std::size_t i = 1; i < c.stream.size(); ++i) cuts.push_back(i);
    expect_same(run_chunks(c.stream, cuts, c.max_frame), c.expected, std::string(c.name) + " bytewise");
  }
}

TEST(FrameSplitter, WholeFramesAreDeliveredFromTheFedBuffer) {
  const Bytes stream = cat({text("junk"), frame(10), frame(20), frame(0)});
  FrameSplitter splitter;
  int frames = 0;
  splitter.feed(stream.data(), stream.size(),
                [&](FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t n) {
                  EXPECT_GE(p, stream.data());
                  EXPECT_LE(p + n, stream.data() + stream.size());
                  if (kind == FrameSplitter::Kind::Frame) ++frames;
                });
  EXPECT_EQ(frames, 3);
  EXPECT_EQ(splitter.buffered(), 0u);
}

TEST(FrameSplitter, StopsWhenTheCallbackSaysSo) {
  const Bytes stream = cat({frame(1), frame(2), frame(3)});
  FrameSplitter splitter;
  int calls = 0;
  const bool result =
      splitter.feed(stream.data(), stream.size(),
                    [&](FrameSplitter::Kind, const std::uint8_t *, std::size_t) { return ++calls < 2; });
  EXPECT_FALSE(result);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(splitter.buffered(), 0u);
}

TEST(FrameSplitter, HugeAnnouncedLengthKeepsMemoryBounded) {
  // A "frame" announcing 1 GiB followed by 2 MiB of garbage, fed in 4 KiB reads, then a
  // valid frame.
  Bytes stream = header_with_total(1u << 30);
  std::mt19937 rng(42);
  for (std::size_t i = 0; i < (2u << 20); ++i) {
    std::uint8_t b = static_cast<std::uint8_t>(rng());
    if (b == 'Q') b = 'q';
    stream.push_back(b);
  }
  const Bytes tail = frame(5, 0x77, 5);
  stream.insert(stream.end(), tail.begin(), tail.end());

  FrameSplitter splitter;
  std::size_t garbage = 0;
  std::vector<Bytes> frames;
  std::size_t max_capacity = 0;
  for (std::size_t pos = 0; pos < stream.size(); pos += 4096) {
    const std::size_t n = std::min<std::size_t>(4096, stream.size() - pos);
    splitter.feed(stream.data() + pos, n,
                  [&](FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t len) {
                    if (kind == FrameSplitter::Kind::Garbage) {
                      garbage += len;
                    } else {
                      frames.emplace_back(p, p + len);
                    }
                  });
    max_capacity = std::max(max_capacity, splitter.capacity());
    ASSERT_LE(splitter.buffered(), FrameSplitter::kPrefixLen);
  }
  EXPECT_EQ(garbage, 11u + (2u << 20));
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0], tail);
  EXPECT_LE(max_capacity, FrameSplitter::kKeepCapacity);
}

TEST(FrameSplitter, ReassemblyBufferIsReleasedAfterALargeFrame) {
  const Bytes big = frame(512 * 1024);
  FrameSplitter splitter;
  std::size_t frames = 0;
  for (std::size_t pos = 0; pos < big.size(); pos += 4096) {
    const std::size_t n = std::min<std::size_t>(4096, big.size() - pos);
    splitter.feed(big.data() + pos, n, [&](FrameSplitter::Kind kind, const std::uint8_t *p, std::size_t len) {
      ASSERT_EQ(kind, FrameSplitter::Kind::Frame);
      EXPECT_EQ(Bytes(p, p + len), big);
      ++frames;
    });
    EXPECT_LE(splitter.capacity(), big.size());
  }
  EXPECT_EQ(frames, 1u);
  EXPECT_LE(splitter.capacity(), FrameSplitter::kKeepCapacity);
}

TEST(FrameSplitter, ResetDropsKeptBytes) {
  const Bytes f = frame(10);
  FrameSplitter splitter;
  Collector c;
  splitter.feed(f.data(), 20, c);
  EXPECT_EQ(splitter.buffered(), 20u);
  splitter.reset();
  EXPECT_EQ(splitter.buffered(), 0u);
  splitter.feed(f.data(), f.size(), c);
  ASSERT_EQ(c.frames().size(), 1u);
  EXPECT_EQ(c.frames()[0], f);
}

// Random streams of frames, garbage (with stray 'Q's and flag fragments) and refused
// headers, cut at random: every byte is delivered once, frames are whole and valid, and
// the deliveries do not depend on how the stream was cut.
TEST(FrameSplitter, RandomStreamsAndCuts) {
  std::mt19937 rng(1234);
  const std::size_t max_frame = 600;
  for (int round = 0; round < 300; ++round) {
    Bytes stream;
    const int parts = 1 + static_cast<int>(rng() % 12);
    for (int i = 0; i < parts; ++i) {
      switch (rng() % 5) {
        case 0:
        case 1: {
          const Bytes f = frame(rng() % 200, static_cast<std::uint8_t>(rng()), rng());
          stream.insert(stream.end(), f.begin(), f.end());
          break;
        }
        case 2: {
          const std::size_t n = rng() % 30;
          for (std::size_t k = 0; k < n; ++k)
            stream.push_back(static_cast<std::uint8_t>("QZSTAxyz"[rng() % 8]));
          break;
        }
        case 3: {
          const Bytes h =
              header_with_total(rng() % 2 ? static_cast<std::uint32_t>(rng() % 28)
                                          : static_cast<std::uint32_t>(max_frame + 1 + rng() % 100000));
          stream.insert(stream.end(), h.begin(), h.end());
          break;
        }
        default: {
          const std::string flag = "QZSTART";
          const std::size_t n = 1 + rng() % 6;
          stream.insert(stream.end(), flag.begin(), flag.begin() + static_cast<long>(n));
          break;
        }
      }
    }
    std::size_t whole_left = 0;
    const auto expected = run_chunks(stream, {}, max_frame, &whole_left);

    // Every byte accounted for.
    std::size_t total = whole_left;
    for (const auto &d : expected) {
      total += d.bytes.size();
      if (d.kind == FrameSplitter::Kind::Frame) {
        ASSERT_GE(d.bytes.size(), 28u);
        ASSERT_LE(d.bytes.size(), max_frame);
        ASSERT_EQ(std::string(d.bytes.begin(), d.bytes.begin() + 7), "QZSTART");
        ASSERT_EQ(FrameSplitter::read_total(d.bytes.data()), d.bytes.size());
      }
    }
    ASSERT_EQ(total, stream.size());

    for (int trial = 0; trial < 10; ++trial) {
      std::vector<std::size_t> cuts;
      std::size_t pos = 0;
      while (true) {
        pos += 1 + rng() % 40;
        if (pos >= stream.size()) break;
        cuts.push_back(pos);
      }
      std::size_t left = 0;
      expect_same(run_chunks(stream, cuts, max_frame, &left), expected, "round " + std::to_string(round));
      ASSERT_EQ(left, whole_left);
    }
  }
}

}  // namespace
