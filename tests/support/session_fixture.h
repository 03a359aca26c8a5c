// GoogleTest fixture: a session initialised and connected through the
// scripted transport, with its log lines captured.
#pragma once

#include <gtest/gtest.h>

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
  nds::DeviceStateCache &cache() { return session().cache; }

  // Answers every request with `payload` and response code `code`.
  void answer_all(const Bytes &payload = {}, uint8_t code = 0) {
    net.set_responder([payload, code](const wire::FrameView &request) {
      return std::vector<Bytes>{response_to(request, payload, code)};
    });
  }
  // Answers nothing: the command runs into its timeout.
  void answer_none() {
    net.set_responder([](const wire::FrameView &) { return std::vector<Bytes>{}; });
  }
  // The last frame the session sent, decoded.
  Bytes last_sent() const {
    auto frames = net.sent();
    return frames.empty() ? Bytes{} : frames.back();
  }
  Bytes last_payload() const {
    Bytes frame = last_sent();
    if (frame.size() < wire::kFrameOverhead) return {};
    return Bytes(frame.begin() + wire::kHeaderSize, frame.end() - wire::kEndFlagSize);
  }

  qz_nds_handle handle = nullptr;
  FakeNet &net = FakeNet::instance();
  LogCapture log;
};

}  // namespace qz::test
