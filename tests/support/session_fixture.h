// GoogleTest fixture: a session initialised and connected through the
// scripted transport, with its log lines captured.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <utility>

#include "fake_net.h"
#include "log_capture.h"
#include "net_dev_setting.h"
#include "qz_net_dev_setting.h"

namespace qz::test {

class SessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    net.reset();
    ASSERT_TRUE(qz_nds_init(&handle));
    ASSERT_TRUE(qz_nds_connect(handle, "device"));
    log.clear();
  }
  void TearDown() override {
    qz_nds_uninit(&handle);
    net.reset();
  }

  nds::NetDevSetting &session() { return *nds::NetDevSetting::from_handle(handle); }

  // Values as the getters report them; each getter is expected to succeed.
  uint8_t read(bool (*get)(qz_nds_handle, uint8_t *)) {
    uint8_t value = 0xEE;
    EXPECT_TRUE(get(handle, &value));
    return value;
  }
  uint32_t read(bool (*get)(qz_nds_handle, uint32_t *)) {
    uint32_t value = 0xEEEEEEEE;
    EXPECT_TRUE(get(handle, &value));
    return value;
  }
  // The IP settings' flag and texts, each text up to its 15 bytes.
  using IpInfo = std::pair<uint8_t, std::array<std::string, 5>>;
  IpInfo ip_info() {
    std::array<std::array<char, 16>, 5> b{};
    IpInfo info{0xEE, {}};
    EXPECT_TRUE(qz_nds_get_ip_info(handle, &info.first, b[0].data(), b[1].data(), b[2].data(), b[3].data(),
                                   b[4].data()));
    for (std::size_t i = 0; i < b.size(); ++i) info.second[i] = b[i].data();
    return info;
  }
  // One OSD item as (display, attribute, value1, value2).
  using Osd = std::tuple<int, int, int, int>;
  Osd osd_item(int32_t id) {
    uint8_t display = 0xEE, attribute = 0xEE;
    uint16_t value1 = 0xEEEE, value2 = 0xEEEE;
    EXPECT_TRUE(qz_nds_get_osd_setting(handle, id, &display, &attribute, &value1, &value2));
    return {display, attribute, value1, value2};
  }
  // The channel name up to its first NUL.
  std::string channel_name() {
    char name[257] = {};
    EXPECT_TRUE(qz_nds_osd_get_channel_info(handle, name, nullptr, nullptr, nullptr, nullptr));
    return name;
  }

  // Answers every request with `payload` and response code `code`.
  void answer_all(const Bytes &payload = {}, uint8_t code = 0) {
    net.set_responder([payload, code](const wire::FrameView &request) {
      return std::vector<Bytes>{response_to(request, payload, code)};
    });
  }
  // The last frame the session sent, and that frame decoded as (main, sub,
  // payload); the frame must be a whole request.
  Bytes last_sent() const {
    auto frames = net.sent();
    return frames.empty() ? Bytes{} : frames.back();
  }
  using Request = std::tuple<int, int, Bytes>;
  Request last_request() const {
    const Bytes frame = last_sent();
    wire::FrameView v;
    EXPECT_EQ(wire::check_frame(frame.data(), frame.size(), wire::kPackageRequest, v),
              wire::FrameError::none);
    return {v.header.main, v.header.sub, Bytes(v.payload, v.payload + v.payload_size)};
  }

  qz_nds_handle handle = nullptr;
  FakeNet &net = FakeNet::instance();
  LogCapture log;
};

}  // namespace qz::test
