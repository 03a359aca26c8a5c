// Device feature settings over real loopback TCP: switches and numeric
// settings remembered after the device accepted them, OSD requests, a device
// query answered per request even with several callers at once, and
// commands that are sent without waiting.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "machine_record.h"
#include "qz_net_dev_setting.h"
#include "scripted_device.h"

namespace qz::test {
namespace {

using namespace std::chrono_literals;

class FeatureE2E : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(qz_nds_init(&handle)); }
  void TearDown() override { qz_nds_uninit(&handle); }
  void connect() { ASSERT_TRUE(qz_nds_connect(handle, device.address().c_str())); }
  // Accepts every command, answering without a payload.
  void accept_all() {
    device.set_responder([](const wire::FrameView &r) { return std::vector<Bytes>{response_to(r)}; });
  }

  ScriptedDevice device;
  qz_nds_handle handle = nullptr;
};

TEST_F(FeatureE2E, SwitchIsSentOnceAndAnsweredFromTheSession) {
  accept_all();
  connect();
  ASSERT_TRUE(qz_nds_enable_radar(handle));
  uint8_t radar = 0;
  ASSERT_TRUE(qz_nds_is_enabled_radar(handle, &radar));
  EXPECT_EQ(radar, 1);
  ASSERT_TRUE(qz_nds_hide_center_rectangle(handle));
  const std::vector<Bytes> expected = {
      wire::make_frame(wire::kPackageRequest, 169, 144, 2, 1, Bytes{1}),
      wire::make_frame(wire::kPackageRequest, 168, 139, 2, 2, Bytes{0}),
  };
  EXPECT_EQ(device.requests(), expected);
}

TEST_F(FeatureE2E, NumericAndOsdSettingsTravelAsTheirPayloads) {
  accept_all();
  connect();
  ASSERT_TRUE(qz_nds_set_default_palette(handle, 0x1FF));
  ASSERT_TRUE(qz_nds_set_osd_setting(handle, 5, 1, 2, 0x0102, 0x0304));
  ASSERT_TRUE(qz_nds_osd_set_channel_name(handle, 3, "abcdef", 1, 2, 0x0102, 0x0304));
  const std::vector<Bytes> expected = {
      wire::make_frame(wire::kPackageRequest, 169, 135, 2, 1, Bytes{0xFF}),
      wire::make_frame(wire::kPackageRequest, 168, 135, 2, 2, Bytes{1, 2, 1, 2, 3, 4}),
      wire::make_frame(wire::kPackageRequest, 168, 138, 2, 3, Bytes{1, 2, 1, 2, 3, 4, 3, 'a', 'b', 'c'}),
  };
  EXPECT_EQ(device.requests(), expected);

  uint32_t palette = 0;
  ASSERT_TRUE(qz_nds_get_default_palette(handle, &palette));
  EXPECT_EQ(palette, 0x1FFu);
  char name[256] = {};
  uint8_t display = 0;
  ASSERT_TRUE(qz_nds_osd_get_channel_info(handle, name, &display, nullptr, nullptr, nullptr));
  EXPECT_STREQ(name, "abcdef");
  EXPECT_EQ(display, 1);
}

TEST_F(FeatureE2E, ConcurrentQueriesEachReportTheirOwnAnswer) {
  // Each answer carries its request's seq, so every caller must report a
  // different value and together they report every seq once.
  device.set_responder([](const wire::FrameView &r) {
    return std::vector<Bytes>{response_to(r, {static_cast<uint8_t>(r.header.seq)})};
  });
  connect();
  constexpr int kThreads = 4, kEach = 50;
  std::mutex mutex;
  std::vector<int> reported;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) {
        uint8_t time = 0;
        if (!qz_nds_get_hardware_watchdog_disable_time(handle, &time)) {
          ++failures;
          continue;
        }
        std::lock_guard guard(mutex);
        reported.push_back(time);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  std::sort(reported.begin(), reported.end());
  std::vector<int> every_seq(kThreads * kEach);
  for (int i = 0; i < kThreads * kEach; ++i) every_seq[i] = i + 1;
  EXPECT_EQ(reported, every_seq);
}

TEST_F(FeatureE2E, RebootAndKeepAliveDoNotWaitForAnAnswer) {
  device.set_responder([](const wire::FrameView &) { return std::vector<Bytes>{}; });
  connect();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(qz_nds_keep_alive(handle));
  EXPECT_TRUE(qz_nds_reboot(handle));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  for (int i = 0; i < 200 && device.requests().size() < 2; ++i) std::this_thread::sleep_for(10ms);
  const std::vector<Bytes> expected = {
      wire::make_frame(wire::kPackageRequest, 173, 128, 2, 1, nullptr, 0),
      wire::make_frame(wire::kPackageRequest, 164, 142, 2, 2, nullptr, 0),
  };
  EXPECT_EQ(device.requests(), expected);
}

TEST_F(FeatureE2E, ConfigurationRecordFeedsTheSessionGetters) {
  MachineRecord record;
  record.hdmi = 1;
  record.radar = 2;  // only 1 counts as on
  record.default_palette = 0xFE;
  record.framerate = 25;
  record.osd_items[8] = {1, 3, 0x0010, 0x0020};
  record.channel_name = "gate";
  device.set_responder([&record](const wire::FrameView &r) {
    if (r.header.main == 174) return std::vector<Bytes>{response_to(r, record.bytes())};
    return std::vector<Bytes>{response_to(r)};
  });
  connect();
  ASSERT_TRUE(qz_nds_get_machine_config_info(handle));
  uint8_t hdmi = 0, radar = 9, framerate = 0, attribute = 0;
  uint32_t palette = 0;
  ASSERT_TRUE(qz_nds_is_enabled_hdmi(handle, &hdmi));
  ASSERT_TRUE(qz_nds_is_enabled_radar(handle, &radar));
  ASSERT_TRUE(qz_nds_get_framerate(handle, &framerate));
  ASSERT_TRUE(qz_nds_get_default_palette(handle, &palette));
  EXPECT_EQ(hdmi, 1);
  EXPECT_EQ(radar, 0);
  EXPECT_EQ(framerate, 25);
  EXPECT_EQ(palette, 0xFFFFFFFEu) << "the palette byte is signed";
  char name[256] = {};
  ASSERT_TRUE(qz_nds_osd_get_channel_info(handle, name, nullptr, &attribute, nullptr, nullptr));
  EXPECT_STREQ(name, "gate");
  EXPECT_EQ(attribute, 3);

  // A switch then overrides the record's value.
  ASSERT_TRUE(qz_nds_disable_hdmi(handle));
  ASSERT_TRUE(qz_nds_is_enabled_hdmi(handle, &hdmi));
  EXPECT_EQ(hdmi, 0);
}

}  // namespace
}  // namespace qz::test
