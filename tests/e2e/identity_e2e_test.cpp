// Device identity over real loopback TCP: the configuration record and the
// getters that answer from it, an IP settings round trip, the account read
// and a passive wireless read keyed by the record's serial number.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <mutex>
#include <string>

#include "machine_record.h"
#include "qz_net_dev_setting.h"
#include "scripted_device.h"

namespace qz::test {
namespace {

const std::string kSerial = "E2E-SERIAL-0001";

class Session {
 public:
  Session() { EXPECT_TRUE(qz_nds_init(&handle)); }
  ~Session() { qz_nds_uninit(&handle); }
  qz_nds_handle handle = nullptr;
};

// A device that remembers the IP block it was given and answers the
// identity commands.
class IdentityDevice {
 public:
  IdentityDevice() {
    record_.text1 = "model-x";
    record_.serial = kSerial;
    record_.value1 = 0x0102;
    record_.value2 = 0x0304;
    record_.ip_flag = 1;
    record_.ip_texts = {"10.1.1.5", "255.255.255.0", "10.1.1.1", "", ""};
    record_.channel_name = "yard";
    ip_block_.assign(76, 0);
    device_.set_responder([this](const wire::FrameView &r) { return answer(r); });
  }
  std::string address() const { return device_.address(); }
  std::vector<Bytes> requests() const { return device_.requests(); }

 private:
  std::vector<Bytes> answer(const wire::FrameView &r) {
    std::lock_guard lock(mutex_);
    const uint8_t main = r.header.main, sub = r.header.sub;
    Bytes payload;
    if (main == 174 && sub == 130) payload = record_.bytes();
    if (main == 169 && sub == 138) ip_block_.assign(r.payload, r.payload + r.payload_size);
    if (main == 169 && sub == 139) payload = ip_block_;
    if (main == 48 && sub == 129) wire::Writer(payload).lp_text(std::string("\x01\x02secret\x00", 9));
    if (main == 49 && sub == 133) wire::Writer(payload).lp_text("zone-7").u32(77);
    return {response_to(r, payload)};
  }

  std::mutex mutex_;
  MachineRecord record_;
  Bytes ip_block_;
  ScriptedDevice device_;
};

TEST(IdentityE2E, ConfigurationRecordFillsTheIdentityGetters) {
  IdentityDevice device;
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  ASSERT_TRUE(qz_nds_get_machine_config_info(s.handle));
  EXPECT_EQ(device.requests().at(0), wire::make_frame(wire::kPackageRequest, 174, 130, 2, 1, nullptr, 0));

  uint16_t v1 = 0, v2 = 0;
  char sn[32], t1[32];
  ASSERT_TRUE(qz_nds_get_machine_info(s.handle, &v1, &v2, sn, t1, nullptr, nullptr));
  EXPECT_EQ(v1, 0x0102);
  EXPECT_EQ(v2, 0x0304);
  EXPECT_STREQ(sn, kSerial.c_str());
  EXPECT_STREQ(t1, "model-x");

  char serial[32];
  uint32_t len = 0;
  ASSERT_TRUE(qz_nds_get_sn(s.handle, serial, &len));
  EXPECT_EQ(std::string(serial, len), kSerial);
}

TEST(IdentityE2E, IpSettingsRoundTrip) {
  IdentityDevice device;
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  ASSERT_TRUE(
      qz_nds_set_ip_info(s.handle, 1, "192.168.7.20", "255.255.0.0", "192.168.7.1", "8.8.4.4", nullptr));
  std::array<std::array<char, 16>, 5> out{};
  uint8_t flag = 0;
  ASSERT_TRUE(qz_nds_get_ip_info(s.handle, &flag, out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                                 out[4].data()));
  EXPECT_EQ(flag, 1);
  EXPECT_STREQ(out[0].data(), "192.168.7.20");
  EXPECT_STREQ(out[3].data(), "8.8.4.4");
  EXPECT_STREQ(out[4].data(), "");
}

TEST(IdentityE2E, AccountReadWithSizeQueryThenCopy) {
  IdentityDevice device;
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  uint32_t len = 0;
  EXPECT_FALSE(qz_nds_get_account_info(s.handle, nullptr, &len));
  ASSERT_EQ(len, 9u);
  std::array<uint8_t, 9> data{};
  ASSERT_TRUE(qz_nds_get_account_info(s.handle, data.data(), &len));
  EXPECT_EQ(std::string(data.begin(), data.end()), std::string("\x01\x02secret\x00", 9));
}

TEST(IdentityE2E, PassiveWirelessReadCarriesTheSerialKey) {
  IdentityDevice device;
  Session s;
  ASSERT_TRUE(qz_nds_connect(s.handle, device.address().c_str()));
  ASSERT_TRUE(qz_nds_get_machine_config_info(s.handle));
  char domain[128];
  uint32_t value = 0;
  ASSERT_TRUE(qz_nds_get_passive_wireless_domain(s.handle, domain, &value));
  EXPECT_STREQ(domain, "zone-7");
  EXPECT_EQ(value, 77u);
  Bytes key;
  wire::Writer(key).lp_text(kSerial);
  const Bytes request = device.requests().back();
  EXPECT_EQ(Bytes(request.begin() + wire::kHeaderSize, request.end() - wire::kEndFlagSize), key);
}

}  // namespace
}  // namespace qz::test
