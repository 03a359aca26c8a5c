// The session object behind a qz_nds handle: one connection to one device,
// its pending commands and the last known device state.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "commands.h"
#include "qz_log.h"
#include "qz_nds_ext.h"
#include "wire_frame.h"

struct TransportEvent;

namespace qz::nds {

inline constexpr char kTypeTag[] = "net_dev_setting";
inline constexpr char kLogModule[] = "net_dev_setting";
inline constexpr uint16_t kDevicePort = 63201;
inline constexpr uint32_t kWaitMs = 10000;

// Log levels used by the library.
inline constexpr int kLogNotice = 1;
inline constexpr int kLogError = 4;

// Logs one record with the calling file and line and an explicit function
// name ("NetDevSetting::send_cmd" or the export's own name), and hands it to
// the application's log callback when one is set.
#define NDS_LOG(level, function, ...)                                                            \
  do {                                                                                           \
    qz_log_print((level), ::qz::nds::kLogModule, __FILE__, __LINE__, (function), __VA_ARGS__);   \
    if (::qz::nds::log_callback_set()) ::qz::nds::forward_log((level), (function), __VA_ARGS__); \
  } while (0)

bool log_callback_set();
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
void forward_log(int level, const char *function, const char *format, ...);

// The outcome of one export call, as qz_ndsx_last_error reports it.
struct CallError {
  int kind = QZ_NDSX_OK;
  int response_code = 0;
  uint8_t main = 0;
  uint8_t sub = 0;
};

// Records the cause of the failure of the calling thread's current export
// call; the first cause recorded in a call wins. Nothing happens outside an
// export call (on the transport's thread).
void note_error(int kind, uint32_t main = 0, uint32_t sub = 0, int response_code = 0);

// `error` in the form of qz_ndsx_last_error, with `address` cut to fit.
qz_ndsx_error to_public_error(const CallError &error, const std::string &address);
// The outcome of the calling thread's last export call on any session.
const qz_ndsx_error &thread_last_error();
void set_thread_last_error(const CallError &error, const std::string &address);

// Collects the causes noted during one export call on this thread.
class CallScope {
 public:
  CallScope();
  ~CallScope();
  CallScope(const CallScope &) = delete;
  CallScope &operator=(const CallScope &) = delete;
  // The outcome: the first cause noted, or, for a failure without one, an
  // argument the export refused itself.
  CallError outcome(bool ok) const;

 private:
  friend void note_error(int, uint32_t, uint32_t, int);
  CallError error_;
  CallScope *outer_;
};

// Device texts are byte strings: explicit length, NULs allowed.
using ByteString = std::string;

struct OsdItem {
  uint8_t display = 0;
  uint8_t attribute = 0;
  uint16_t value1 = 0;
  uint16_t value2 = 0;
};
inline constexpr int kOsdItemCount = static_cast<int>(wire::osd::kItemCount);
inline constexpr int kChannelNameItem = static_cast<int>(wire::osd::kChannelNameItem);

// Base of every handle object: a type tag that exports check before they
// touch the object.
class _QZBaseObject {
 public:
  explicit _QZBaseObject(const char *tag);
  virtual ~_QZBaseObject();
  virtual void *get_handle();
  virtual void *get_object();

 private:
  friend bool check_type_tag(const void *handle, const char *tag);
  char type_tag_[64];
};

// True when `handle` is non-null and its tag storage starts with `tag`.
bool check_type_tag(const void *handle, const char *tag);

// The session's lock: a recursive mutex made non-recursive by a busy flag.
class BusyLock {
 public:
  void lock();
  void unlock();

 private:
  std::recursive_mutex mutex_;
  bool busy_ = false;
};

// Wake-up object of one waiting command. Each pending entry has its own, so a
// response wakes exactly the caller that waits for it. On Linux it is one
// futex word: a waiter sleeps in the kernel only when nothing was posted yet,
// and a signaller calls into the kernel only when a waiter sleeps.
class ConditionEvent {
 public:
  // Releases `lock`, waits until signalled or until timeout_ms passed, takes
  // `lock` again. True when a signal ended the wait.
  bool wait(BusyLock &lock, uint32_t timeout_ms);
  // Wakes the waiter; a signal given before the wait starts is kept.
  void signal_one() { wake(post()); }
  // The same: an event has one waiter (used at session destruction).
  void signal_all() { signal_one(); }

  // signal_one in two steps, so that the kernel call can be made after the
  // signaller released the locks that the woken caller takes next: post()
  // marks the event signalled (under those locks, while the event surely
  // lives) and returns what wake() needs, or null when nobody sleeps.
  void *post();
  // Uses only the address that post() returned, never the event itself,
  // which may be gone by then (its waiter may have seen the mark and left);
  // a stray wake-up at that address is harmless, as for every futex user.
  static void wake(void *sleeper);

 private:
#if defined(__linux__)
  bool wait_for_post(uint32_t timeout_ms);
  static constexpr uint32_t kIdle = 0;
  static constexpr uint32_t kPosted = 1;
  static constexpr uint32_t kSleeping = 2;
  std::atomic<uint32_t> state_{kIdle};
#else
  // Elsewhere a mutex and a condition variable: the C++ runtime's atomic
  // waits are not reliable there (MinGW's libstdc++ 12 can miss a notify).
  std::mutex mutex_;
  std::condition_variable posted_cv_;
  bool posted_ = false;
#endif
};

struct DeviceStateCache;

// Type-erased reference to a callable run with the cache, under its lock,
// right after the response of one command was parsed, to copy that command's
// answer out before another response can replace it. Never owns the callable.
class AnswerSink {
 public:
  AnswerSink() = default;
  template <class F>
  requires(!std::is_same_v<std::remove_cvref_t<F>, AnswerSink>) AnswerSink(F &f)
      : object_(&f), call_([](void *o, const DeviceStateCache &cache) { (*static_cast<F *>(o))(cache); }) {}
  explicit operator bool() const { return call_ != nullptr; }
  void operator()(const DeviceStateCache &cache) const { call_(object_, cache); }

 private:
  void *object_ = nullptr;
  void (*call_)(void *, const DeviceStateCache &) = nullptr;
};

// Response status of a pending command.
inline constexpr uint32_t kStatusSuccess = 0;
inline constexpr uint32_t kStatusFailure = 1;
inline constexpr uint32_t kStatusPending = 2;

// How a waited command's wait ended, besides by its timeout.
enum class Ending : uint8_t { none, answered, connection_lost, closing };

// One waited command, from registration until its caller's wait has ended.
// Lives on the caller's stack; the pending table points to it. The fields
// are written under table_lock.
struct PendingEntry {
  uint32_t status = kStatusPending;
  Ending ending = Ending::none;
  uint8_t response_code = 0;
  AnswerSink sink;
  ConditionEvent event;
};

// The pending table: (seq, entry) pairs in registration order. Few callers
// wait on one session at a time and the device answers in order, so the
// oldest entries are looked at first and an answer finds its caller in a step
// or two. The storage grows to the largest number of callers that ever waited
// at once and is reused after that: registering a command allocates nothing.
class PendingTable {
 public:
  using Slot = std::pair<uint32_t, PendingEntry *>;
  using iterator = std::vector<Slot>::iterator;

  // Registers `entry` under `seq`. An entry that already holds seq stays, and
  // the result is false.
  bool insert(uint32_t seq, PendingEntry *entry);
  iterator find(uint32_t seq);
  void erase(iterator it) { slots_.erase(it); }
  iterator begin() { return slots_.begin(); }
  iterator end() { return slots_.end(); }
  bool empty() const { return slots_.empty(); }
  std::size_t size() const { return slots_.size(); }
  void clear() { slots_.clear(); }

 private:
  std::vector<Slot> slots_;
};

// The last known device parameters. Guarded by NetDevSetting::cache_lock:
// parsers write under it on the transport thread, exports read and write
// under it on callers' threads.
struct DeviceStateCache {
  ByteString machine_text1;
  ByteString machine_text3;
  ByteString machine_text2;
  ByteString device_sn;
  ByteString ip_info_text1;
  ByteString ip_info_text2;
  ByteString ip_info_text3;
  ByteString ip_info_text4;
  ByteString ip_info_text5;
  ByteString channel_name;
  std::array<OsdItem, kOsdItemCount> osd_items{};
  uint8_t hdmi_enabled = 0;
  uint8_t onvif_enabled = 0;
  uint8_t rotate180_enabled = 0;
  uint8_t center_rectangle_displayed = 0;
  uint8_t ip_info_flag = 0;
  int32_t default_palette = 0;
  uint8_t ps_link_count = 0;
  uint8_t ad_link_count = 0;
  uint8_t visual_link_count = 0;
  uint8_t ptz_link_count = 0;
  uint8_t framerate = 0;
  int32_t len_adjust_method = -1;
  uint8_t len_pos_enabled = 0;
  uint8_t detect_sun_enabled = 0;
  uint8_t radar_enabled = 0;
  uint8_t auto_change_meas_enabled = 0;
  uint8_t auto_focus_enabled = 0;
  uint32_t passive_wireless_power_status1 = 0;
  uint32_t passive_wireless_power_status2 = 0;
  uint32_t passive_wireless_power_status3 = 0;
  ByteString passive_wireless_domain;
  uint32_t passive_wireless_domain_value = 0;
  // Owned account info bytes; std::string frees them on replacement and
  // destruction. account_info_len mirrors account_info.size().
  ByteString account_info;
  uint32_t account_info_len = 0;
  ByteString visual_ip;
  ByteString visual_user;
  ByteString visual_passwd;
  uint8_t visual_zoom_control_flag = 0;
  uint8_t visual_gotopreset_when_start = 0;
  uint8_t mqtt_work = 0;
  ByteString mqtt_ip;
  uint32_t mqtt_port = 0;
  ByteString mqtt_user;
  ByteString mqtt_passwd;
  uint8_t disable_temperature_correct_status = 0;
  uint8_t hardware_watchdog = 0;
  uint8_t hardware_watchdog_disable = 0;
  uint8_t hardware_watchdog_disable_time = 0;
  uint8_t gb28181_enable = 0;
  ByteString gb28181_text1;
  uint16_t gb28181_port = 0;
  ByteString gb28181_text2;
  ByteString gb28181_text3;
  ByteString gb28181_text4;
  uint8_t hikvision_linkage = 0;
  uint8_t vision_maxtemperature = 0;
  uint8_t all_temperature_network_byte_order = 1;
  uint8_t pg_support = 0;
};

class NetDevSetting : public _QZBaseObject {
 public:
  NetDevSetting();
  ~NetDevSetting() override;
  NetDevSetting(const NetDevSetting &) = delete;
  NetDevSetting &operator=(const NetDevSetting &) = delete;

  static NetDevSetting *from_handle(void *handle) {
    return static_cast<NetDevSetting *>(static_cast<_QZBaseObject *>(handle));
  }

  bool init();
  bool connect(const char *address);
  bool disconnect();

  // Receive path, on the transport's thread.
  static bool net_callback(TransportEvent *event, void *user);
  bool parse_received_data(uint32_t data_type, uint32_t event_type, uint32_t length, const uint8_t *data);
  bool on_connected();
  bool on_disconnected();
  bool on_exception();
  bool on_data(uint32_t data_type, uint32_t length, const uint8_t *data);
  bool on_response(const wire::FrameView &frame);

  // One command transaction. With wait_ms 0 nothing is registered and the
  // result says whether the frame was handed to the transport. Otherwise the
  // result is true when the device answered with response code 0 and the
  // answer was parsed; `sink`, if given, then ran under the cache lock.
  //
  // A request whose frame would exceed wire::kMaxFrameSize is refused before
  // anything is sent (one log line, seq unchanged). The answer wait is
  // measured from the start of the call, so the time the transport took to
  // hand the frame over counts against it: a waited command returns within
  // max(wait_ms, the transport's send bound).
  bool send_cmd(uint32_t main, uint32_t sub, uint32_t payload_len, const void *payload, uint32_t wait_ms,
                AnswerSink sink = {});
  // send_cmd for a payload built by the caller, of any size.
  bool send_payload(uint32_t main, uint32_t sub, const std::vector<uint8_t> &payload, uint32_t wait_ms,
                    AnswerSink sink = {});
  // False, with one level-4 line, when a payload of `size` bytes does not fit
  // in a frame.
  static bool payload_fits(uint32_t main, uint32_t sub, std::size_t size);
  // What made a waited or unwaited exchange fail, from whether its frame
  // went out and how its wait ended.
  static int failure_kind(bool sent, const PendingEntry &entry);
  bool send_data(uint32_t length, const uint8_t *data);
  bool check_response_status(uint32_t seq, PendingEntry &entry, uint32_t wait_ms);

  // Export bracket: counts callers inside the object, so destruction can
  // wait until callers it woke have left.
  void enter_call() {
    std::lock_guard guard(calls_mutex_);
    ++active_calls_;
  }
  void leave_call();

  // Per-thread outcome of the last export call (qz_ndsx_last_error).
  void record_outcome(const CallError &error);
  qz_ndsx_error last_error();

  // ---- Device identity and status --------------------------------------
  bool get_machine_config_info();
  bool on_response_machine_status(const wire::FrameView &frame);
  static constexpr std::size_t kIpTextCount = 5;
  using IpTexts = std::array<const char *, kIpTextCount>;
  using IpTextBuffers = std::array<char *, kIpTextCount>;
  bool get_machine_info(uint16_t *value1, uint16_t *value2, char *sn, char *text1, char *text2, char *text3);
  bool set_ip_info(uint8_t flag, const IpTexts &texts);
  bool get_ip_info(uint8_t *flag, const IpTextBuffers &texts);
  bool get_sn(char *sn, uint32_t *len);
  bool set_account_info(const uint8_t *data, uint32_t len);
  bool get_account_info(uint8_t *data, uint32_t *len);
  bool set_passive_wireless_power_status(const uint32_t *status1, const uint32_t *status2,
                                         const uint32_t *status3);
  bool get_passive_wireless_power_status(uint32_t *status1, uint32_t *status2, uint32_t *status3);
  bool set_passive_wireless_domain(const char *domain, uint32_t value);
  bool get_passive_wireless_domain(char *domain, uint32_t *value);
  // A passive wireless request payload opened by the serial key.
  std::vector<uint8_t> passive_wireless_request();

  // ---- Linked equipment and cloud settings -----------------------------
  bool set_28181_para(uint8_t enable, const char *text1, uint16_t port, const char *text2, const char *text3,
                      const char *text4);
  bool get_28181_para(uint8_t *enable, char *text1, uint16_t *port, char *text2, char *text3, char *text4);
  // Sends one main 169 setting and waits for the device's answer.
  bool send_setting(uint32_t sub, const std::vector<uint8_t> &payload);
  bool send_text_setting(uint32_t sub, const char *text);
  // Reads a length-prefixed text of an answer; one that runs past the payload
  // refuses the answer (one log line).
  static bool read_answer_text(wire::Reader &r, const wire::FrameView &frame, ByteString &out);
  // Replaces `field` with the length-prefixed text that makes up the answer.
  static bool store_answer_text(const wire::FrameView &frame, ByteString &field);

  // ---- Device feature settings -----------------------------------------
  // OSD items (main 168); the cache keeps `item` as passed once accepted.
  // `id` is 0 to 11 but not the channel-name item 8.
  bool set_osd_item(int id, const OsdItem &item);
  bool set_channel_name(uint8_t name_length, const char *name, const OsdItem &item);
  bool osd_restore_config();

  // Sent without waiting: true when the frame was handed to the transport.
  bool reboot();
  bool keep_alive();

  // Runs f(cache) under the cache lock: how exports read and change the
  // device state they keep.
  template <class F>
  decltype(auto) with_cache(F &&f) {
    std::lock_guard guard(cache_lock);
    return f(cache);
  }
  bool is_connected() const { return connected; }
  // The seq of the last command sent on this connection (0 before any).
  uint32_t last_seq() const { return next_seq; }
  // Commands waiting for their answer.
  std::size_t waiting_commands();
  // True while the command `seq` waits for its answer.
  bool waits_for(uint32_t seq);

 private:
  // Members in declaration order.
  std::atomic<bool> connected{false};
  void *net_handle = nullptr;
  std::atomic<uint32_t> next_seq{0};
  uint16_t machine_value1 = 0;  // guarded by cache_lock, like the cache
  uint16_t machine_value2 = 0;
  BusyLock wait_lock;
  BusyLock table_lock;
  PendingTable pending;
  std::mutex cache_lock;
  DeviceStateCache cache;

  void reset_on_disconnect();
  // Wakes every waiting caller; with `closing`, also refuses every command
  // registered from now on.
  void wake_all_waiters(bool closing = false);

  // Serialises connect, disconnect and destruction, so that `connected`
  // and the transport's connection change together: a connect can never
  // complete between a disconnect's clearing of the flag and its close.
  std::mutex connection_lock_;
  // Set under table_lock once destruction began: send_cmd refuses.
  bool closing_ = false;

  // The last outcome of each thread that called, oldest first; at most
  // kMaxErrorThreads threads are remembered.
  static constexpr std::size_t kMaxErrorThreads = 64;
  std::mutex errors_mutex_;
  std::vector<std::pair<std::thread::id, CallError>> errors_;
  std::string address_;  // last address given to connect, under errors_mutex_
  CallError *own_error();

  // Callers inside an export; destruction waits until none is left.
  std::mutex calls_mutex_;
  std::condition_variable calls_done_;
  int active_calls_ = 0;
};

// Refuses an answer that lacks bytes of the `needed` it must carry: one
// level-4 line naming the command and the missing count. Returns false.
bool refuse_short_answer(const char *function, const wire::FrameView &frame, std::size_t needed);

// Function name of the log lines of main 169 answer parsers.
inline constexpr char kSettingHandlerName[] = "on_response_setting";

// Response handlers of the families, run under the cache lock.
bool on_response_account(DeviceStateCache &cache, const wire::FrameView &frame);
bool on_response_passive_wireless(DeviceStateCache &cache, const wire::FrameView &frame);
bool on_response_setting(DeviceStateCache &cache, const wire::FrameView &frame);

// Runs `f(session)` for a handle whose tag checks; false otherwise, with no
// log line. Every export but init and uninit goes through here.
template <class F>
bool with_session(void *handle, F &&f) {
  if (!check_type_tag(handle, kTypeTag)) {
    set_thread_last_error(CallError{QZ_NDSX_BAD_ARGUMENT}, {});
    return false;
  }
  NetDevSetting *session = NetDevSetting::from_handle(handle);
  session->enter_call();
  bool ok = false;
  {
    CallScope scope;
    try {
      ok = f(*session);
    } catch (...) {
      // Nothing is thrown across the library boundary (allocation failure).
      note_error(QZ_NDSX_SEND_FAILED);
      ok = false;
    }
    session->record_outcome(scope.outcome(ok));
  }
  session->leave_call();
  return ok;
}

}  // namespace qz::nds
