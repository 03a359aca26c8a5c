#include "net_dev_setting.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#endif

#include "qz_common.h"
#include "qz_net.h"
#include "setting_rows.h"

namespace qz::nds {

// ---- Handle objects ---------------------------------------------------------

_QZBaseObject::_QZBaseObject(const char *tag) {
  std::memset(type_tag_, 0, sizeof type_tag_);
  std::size_t n = std::strlen(tag);
  std::memcpy(type_tag_, tag, n < sizeof type_tag_ ? n : sizeof type_tag_);
}

_QZBaseObject::~_QZBaseObject() = default;

void *_QZBaseObject::get_handle() {
  return static_cast<void *>(this);
}

void *_QZBaseObject::get_object() {
  return static_cast<void *>(this);
}

bool check_type_tag(const void *handle, const char *tag) {
  if (handle == nullptr) return false;
  const auto *object = static_cast<const _QZBaseObject *>(handle);
  std::size_t n = std::strlen(tag);
  if (n > sizeof object->type_tag_) return false;
  return std::memcmp(object->type_tag_, tag, n) == 0;
}

// ---- Locks and wake-ups -----------------------------------------------------

void BusyLock::lock() {
  mutex_.lock();
  // No path locks a BusyLock it already holds, so the flag is never found set;
  // it only turns a recursive lock attempt into a visible stall.
  while (busy_) std::this_thread::sleep_for(std::chrono::milliseconds(1000));
  busy_ = true;
}

void BusyLock::unlock() {
  busy_ = false;
  mutex_.unlock();
}

bool ConditionEvent::wait(BusyLock &lock, uint32_t timeout_ms) {
  lock.unlock();
#if defined(__linux__)
  bool woke = wait_for_post(timeout_ms);
#else
  bool woke;
  {
    std::unique_lock guard(mutex_);
    woke = posted_cv_.wait_for(guard, std::chrono::milliseconds(timeout_ms), [this] { return posted_; });
  }
#endif
  lock.lock();
  return woke;
}

#if defined(__linux__)

namespace {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free,
              "a futex word is a plain 32-bit integer");

// Sleeps while *word holds `expected`, for at most `timeout`; returns on a
// wake-up, a changed word, a signal or the timeout alike.
void futex_wait(std::atomic<uint32_t> *word, uint32_t expected, std::chrono::nanoseconds timeout) {
  const auto ns = timeout.count();
  timespec relative{static_cast<std::time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
  ::syscall(SYS_futex, reinterpret_cast<uint32_t *>(word), FUTEX_WAIT_PRIVATE, expected, &relative, nullptr,
            0);
}

void futex_wake_one(void *word) {
  ::syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace

void *ConditionEvent::post() {
  return state_.exchange(kPosted, std::memory_order_acq_rel) == kSleeping ? &state_ : nullptr;
}

void ConditionEvent::wake(void *sleeper) {
  if (sleeper != nullptr) futex_wake_one(sleeper);
}

bool ConditionEvent::wait_for_post(uint32_t timeout_ms) {
  uint32_t seen = kIdle;
  // Posted before the wait began: nothing to sleep for.
  if (!state_.compare_exchange_strong(seen, kSleeping, std::memory_order_acquire)) return true;
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
    futex_wait(&state_, kSleeping, deadline - now);
    if (state_.load(std::memory_order_acquire) == kPosted) return true;
  }
  // Out of time; a post that comes in right now still counts.
  seen = kSleeping;
  return !state_.compare_exchange_strong(seen, kIdle, std::memory_order_acquire);
}

#else

void *ConditionEvent::post() {
  // Notified under the mutex: the waiter cannot see the mark, leave and
  // destroy the event before this call is done with it.
  std::lock_guard guard(mutex_);
  posted_ = true;
  posted_cv_.notify_one();
  return nullptr;
}

void ConditionEvent::wake(void *) {}

#endif

// ---- Pending table ----------------------------------------------------------

bool PendingTable::insert(uint32_t seq, PendingEntry *entry) {
  if (find(seq) != end()) return false;
  slots_.emplace_back(seq, entry);
  return true;
}

PendingTable::iterator PendingTable::find(uint32_t seq) {
  return std::find_if(slots_.begin(), slots_.end(), [seq](const Slot &slot) { return slot.first == seq; });
}

// ---- Lifecycle --------------------------------------------------------------

NetDevSetting::NetDevSetting() : _QZBaseObject(kTypeTag) {}

NetDevSetting::~NetDevSetting() {
  {
    std::lock_guard guard(connection_lock_);
    // Closing the connection fails the writes of callers blocked in a send.
    if (net_handle != nullptr && connected) qz_net_disconnect_server(net_handle);
    connected = false;
  }
  wake_all_waiters(/*closing=*/true);
  // Callers woken above still log and touch the object, and may still be
  // inside the transport, on their way out; the client is released after
  // the last of them has left.
  {
    std::unique_lock guard(calls_mutex_);
    calls_done_.wait(guard, [this] { return active_calls_ == 0; });
  }
  if (net_handle != nullptr) {
    // After this no transport callback runs for this session.
    qz_net_tcp_client_uninit(&net_handle);
    net_handle = nullptr;
  }
  qz_log_uninit();
  pending.clear();
}

// The calling thread's entry in errors_, or null; errors_mutex_ held.
CallError *NetDevSetting::own_error() {
  const auto self = std::this_thread::get_id();
  const auto it =
      std::find_if(errors_.begin(), errors_.end(), [&](const auto &e) { return e.first == self; });
  return it != errors_.end() ? &it->second : nullptr;
}

void NetDevSetting::record_outcome(const CallError &error) {
  std::lock_guard guard(errors_mutex_);
  set_thread_last_error(error, address_);
  if (CallError *own = own_error()) {
    *own = error;
    return;
  }
  if (errors_.size() == kMaxErrorThreads) errors_.erase(errors_.begin());
  errors_.emplace_back(std::this_thread::get_id(), error);
}

qz_ndsx_error NetDevSetting::last_error() {
  std::lock_guard guard(errors_mutex_);
  const CallError *own = own_error();
  return to_public_error(own != nullptr ? *own : CallError{}, address_);
}

std::size_t NetDevSetting::waiting_commands() {
  table_lock.lock();
  const std::size_t n = pending.size();
  table_lock.unlock();
  return n;
}

bool NetDevSetting::waits_for(uint32_t seq) {
  table_lock.lock();
  const auto it = pending.find(seq);
  const bool waiting = it != pending.end() && it->second->status == kStatusPending;
  table_lock.unlock();
  return waiting;
}

void NetDevSetting::leave_call() {
  // Notified under the mutex, so destruction cannot free the object while
  // this call still uses it.
  std::lock_guard guard(calls_mutex_);
  if (--active_calls_ == 0) calls_done_.notify_all();
}

void NetDevSetting::wake_all_waiters(bool closing) {
  table_lock.lock();
  if (closing) closing_ = true;
  for (auto &[seq, entry] : pending) {
    if (entry->ending == Ending::none) entry->ending = closing ? Ending::closing : Ending::connection_lost;
    entry->event.signal_all();
  }
  table_lock.unlock();
}

bool NetDevSetting::init() {
  char path[256] = {0};
  uint32_t size = sizeof path;
  if (qz_get_exe_path(path, &size) != 0) {
    std::fputs("get path faild\n", stderr);
    return false;
  }
  if (!qz_log_init(path, 7, 200)) {
    std::fputs("init log failed\n", stderr);
    return false;
  }
  if (!qz_net_tcp_client_init(&net_handle)) {
    NDS_LOG(kLogError, "NetDevSetting::init", "initial tcp client failed");
    return false;
  }
  return true;
}

// ---- Connection -------------------------------------------------------------

bool NetDevSetting::connect(const char *address) {
  std::lock_guard guard(connection_lock_);
  if (connected) {
    NDS_LOG(kLogNotice, "NetDevSetting::connect", "device is conncted");
    return true;
  }
  {
    std::lock_guard errors_guard(errors_mutex_);
    address_ = address;
  }
  if (!qz_net_connect_server(net_handle, address, kDevicePort, &NetDevSetting::net_callback, this)) {
    NDS_LOG(kLogError, "NetDevSetting::connect", "connect server %s failed", address);
    note_error(QZ_NDSX_CONNECT_FAILED);
    return false;
  }
  return true;
}

bool NetDevSetting::disconnect() {
  std::lock_guard guard(connection_lock_);
  if (!connected) {
    NDS_LOG(kLogError, "NetDevSetting::disconnect", "device is not connected");
    return true;
  }
  connected = false;
  next_seq = 0;
  reset_on_disconnect();
  if (net_handle == nullptr) {
    NDS_LOG(kLogError, "NetDevSetting::disconnect", "disconnect faild, net handle is null");
    note_error(QZ_NDSX_NOT_CONNECTED);
    return false;
  }
  return qz_net_disconnect_server(net_handle);
}

// The settings that belong to one connection; everything else is kept.
void NetDevSetting::reset_on_disconnect() {
  std::lock_guard guard(cache_lock);
  machine_value1 = 0;
  machine_value2 = 0;
  DeviceStateCache &c = cache;
  c.hdmi_enabled = 0;
  c.onvif_enabled = 0;
  c.rotate180_enabled = 0;
  c.center_rectangle_displayed = 0;
  c.ip_info_flag = 0;
  c.default_palette = 0;
  c.ps_link_count = 0;
  c.ad_link_count = 0;
  c.visual_link_count = 0;
  c.ptz_link_count = 0;
  c.framerate = 0;
  c.len_adjust_method = -1;
  c.len_pos_enabled = 0;
  c.detect_sun_enabled = 0;
}

// ---- Receive path -----------------------------------------------------------

bool NetDevSetting::net_callback(TransportEvent *event, void *user) {
  if (event == nullptr || user == nullptr) return false;
  return static_cast<NetDevSetting *>(user)->parse_received_data(0, event->type, event->length, event->data);
}

bool NetDevSetting::parse_received_data(uint32_t data_type, uint32_t event_type, uint32_t length,
                                        const uint8_t *data) {
  switch (event_type) {
    case QZ_NET_EVENT_CONNECTED:
      return on_connected();
    case QZ_NET_EVENT_DISCONNECTED:
      return on_disconnected();
    case QZ_NET_EVENT_EXCEPTION:
      return on_exception();
    case QZ_NET_EVENT_DATA:
      return on_data(data_type, length, data);
    default:
      NDS_LOG(kLogError, "NetDevSetting::parse_received_data", "recv type = %d is not supported",
              static_cast<int>(event_type));
      return false;
  }
}

bool NetDevSetting::on_connected() {
  connected = true;
  NDS_LOG(kLogNotice, "NetDevSetting::on_connected", "net dev setting on connected");
  return true;
}

bool NetDevSetting::on_disconnected() {
  connected = false;
  // No answer can come over a closed connection: let waiting callers fail now
  // rather than at their timeout.
  wake_all_waiters();
  NDS_LOG(kLogNotice, "NetDevSetting::on_disconnected", "net dev setting on disconnected");
  return true;
}

bool NetDevSetting::on_exception() {
  NDS_LOG(kLogNotice, "NetDevSetting::on_exception", "net dev setting on exception");
  return true;
}

bool NetDevSetting::on_data(uint32_t data_type, uint32_t length, const uint8_t *data) {
  if (data == nullptr) return false;
  if (data_type != 0) {
    NDS_LOG(kLogError, "NetDevSetting::on_data", "data type = %d is error", static_cast<int>(data_type));
    return false;
  }
  wire::FrameView frame;
  switch (wire::check_frame(data, length, wire::kPackageResponse, frame)) {
    case wire::FrameError::none:
      break;
    case wire::FrameError::bad_start:
      NDS_LOG(kLogError, "NetDevSetting::on_data", "start falg is error");
      return false;
    case wire::FrameError::bad_total_length:
      NDS_LOG(kLogError, "NetDevSetting::on_data", "total data len = %d is error",
              static_cast<int>(frame.header.total_length));
      return false;
    case wire::FrameError::bad_package_type:
      NDS_LOG(kLogError, "NetDevSetting::on_data", "package type = %d is not supported",
              static_cast<int>(frame.header.package_type));
      return false;
  }

  // Parse and hand the answer to its caller under the cache lock, so the
  // caller copies out its own answer and not a later one.
  bool ok = false;
  void *sleeper = nullptr;
  {
    std::lock_guard cache_guard(cache_lock);
    ok = on_response(frame);
    table_lock.lock();
    auto it = pending.find(frame.header.seq);
    if (it != pending.end()) {
      PendingEntry &entry = *it->second;
      if (ok && entry.sink) entry.sink(cache);
      entry.status = ok ? frame.header.code : kStatusFailure;
      entry.ending = Ending::answered;
      entry.response_code = frame.header.code;
      sleeper = entry.event.post();
    }
    table_lock.unlock();
  }
  // The caller wakes to free locks: it takes the table lock first thing.
  ConditionEvent::wake(sleeper);
  return ok;
}

bool NetDevSetting::on_response(const wire::FrameView &frame) {
  const wire::FrameHeader &h = frame.header;
  if (h.code != 0) {
    NDS_LOG(kLogError, "NetDevSetting::on_response", "cmd [%d,%d]'s response code = %d is not successed",
            h.main, h.sub, h.code);
    return false;
  }
  switch (h.main) {
    case wire::kMainAccount:
      return on_response_account(cache, frame);
    case wire::kMainPassiveWireless:
      return on_response_passive_wireless(cache, frame);
    case wire::kMainControl:
    case wire::kMainOsd:
      return h.payload_length == 0;
    case wire::kMainSetting:
      return on_response_setting(cache, frame);
    case wire::kMainKeepAlive:
      return true;
    case wire::kMainMachineStatus:
      return on_response_machine_status(frame);
    default:
      NDS_LOG(kLogError, "NetDevSetting::on_response", "main cmd = %d is not supported", h.main);
      return false;
  }
}

namespace {

// What parses the answer to one main 169 sub: a row's query, or a parser.
struct AnswerParser {
  const ByteSetting *byte = nullptr;
  const TextSetting *text = nullptr;
  SettingParser parse = nullptr;
};

// Sub command -> parser for main 169, built once from every family's table.
class SettingParserIndex {
 public:
  SettingParserIndex() {
    for (const SettingFamily *family : {&kIpSettings, &kVisualLinkSettings, &kMqttSettings, &kGb28181Settings,
                                        &kWatchdogSettings, &kTemperatureSettings, &kDeviceControlSettings}) {
      for (const ByteSetting &row : family->bytes) {
        if (row.query_sub != kCached) parsers_[row.query_sub].byte = &row;
      }
      for (const TextSetting &row : family->texts) parsers_[row.query_sub].text = &row;
      for (const SettingParserEntry &e : family->parsers) parsers_[e.sub].parse = e.parse;
    }
  }
  const AnswerParser &find(uint8_t sub) const { return parsers_[sub]; }

 private:
  std::array<AnswerParser, 256> parsers_{};
};

}  // namespace

bool on_response_setting(DeviceStateCache &cache, const wire::FrameView &frame) {
  static const SettingParserIndex index;
  const AnswerParser &parser = index.find(frame.header.sub);
  if (parser.byte != nullptr) return store_byte_answer(cache, frame, *parser.byte);
  if (parser.text != nullptr) return NetDevSetting::store_answer_text(frame, cache.*parser.text->field);
  // Subs without a parser (the set commands) carry nothing to parse.
  return parser.parse == nullptr || parser.parse(cache, frame);
}

bool refuse_short_answer(const char *function, const wire::FrameView &frame, std::size_t needed) {
  const std::size_t missing = needed > frame.payload_size ? needed - frame.payload_size : 0;
  NDS_LOG(kLogError, function, "cmd [%d,%d]'s response is %llu bytes short", frame.header.main,
          frame.header.sub, static_cast<unsigned long long>(missing));
  return false;
}

// ---- Command transaction ----------------------------------------------------

bool NetDevSetting::payload_fits(uint32_t main, uint32_t sub, std::size_t size) {
  if (size <= wire::kMaxPayloadSize) return true;
  NDS_LOG(kLogError, "NetDevSetting::send_cmd", "send cmd[%d, %d] size = %llu is over the frame limit of %d",
          static_cast<int>(main), static_cast<int>(sub), static_cast<unsigned long long>(size),
          static_cast<int>(wire::kMaxPayloadSize));
  note_error(QZ_NDSX_BAD_ARGUMENT, main, sub);
  return false;
}

bool NetDevSetting::send_payload(uint32_t main, uint32_t sub, const std::vector<uint8_t> &payload,
                                 uint32_t wait_ms, AnswerSink sink) {
  if (!payload_fits(main, sub, payload.size())) return false;
  return send_cmd(main, sub, static_cast<uint32_t>(payload.size()), payload.data(), wait_ms, sink);
}

bool NetDevSetting::send_cmd(uint32_t main, uint32_t sub, uint32_t payload_len, const void *payload,
                             uint32_t wait_ms, AnswerSink sink) {
  using Clock = std::chrono::steady_clock;
  const auto started = Clock::now();
  if (!connected) {
    NDS_LOG(kLogError, "NetDevSetting::send_cmd", "device is not connected");
    note_error(QZ_NDSX_NOT_CONNECTED, main, sub);
    return false;
  }
  if (payload_len != 0 && payload == nullptr) {
    // The frame would carry bytes nobody filled in.
    NDS_LOG(kLogError, "NetDevSetting::send_cmd", "send cmd[%d, %d] size = %d failed", static_cast<int>(main),
            static_cast<int>(sub), static_cast<int>(payload_len));
    note_error(QZ_NDSX_BAD_ARGUMENT, main, sub);
    return false;
  }
  if (!payload_fits(main, sub, payload_len)) return false;
  // Small frames are built on the stack; large ones get one heap buffer.
  constexpr std::size_t kStackFrame = 512;
  uint8_t stack_buffer[kStackFrame];
  std::unique_ptr<uint8_t[]> heap_buffer;
  const std::size_t buffer_size = std::size_t{payload_len} + wire::kFrameOverhead + 1;
  uint8_t *buffer = stack_buffer;
  if (buffer_size > kStackFrame) {
    heap_buffer.reset(new (std::nothrow) uint8_t[buffer_size]);
    if (!heap_buffer) {
      NDS_LOG(kLogError, "NetDevSetting::send_cmd", "new buffer = %d is failed",
              static_cast<int>(buffer_size));
      note_error(QZ_NDSX_SEND_FAILED, main, sub);
      return false;
    }
    buffer = heap_buffer.get();
  }

  const uint32_t seq = next_seq.fetch_add(1, std::memory_order_relaxed) + 1;
  PendingEntry entry;
  entry.sink = sink;
  bool registered = false;
  if (wait_ms != 0) {
    table_lock.lock();
    // Once destruction began, nothing would wake this caller: it fails now.
    registered = !closing_ && pending.insert(seq, &entry);
    table_lock.unlock();
  }
  const auto frame_size = static_cast<uint32_t>(
      wire::write_frame(buffer, wire::kPackageRequest, static_cast<uint8_t>(main), static_cast<uint8_t>(sub),
                        wire::kRequestMarker, seq, static_cast<const uint8_t *>(payload), payload_len));
  const bool sent = (wait_ms == 0 || registered) && send_data(frame_size, buffer);
  bool result = sent;
  if (wait_ms != 0) {
    // The time the frame took to go out is part of the wait.
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started).count();
    const auto left = spent < wait_ms ? wait_ms - static_cast<uint32_t>(spent) : 0u;
    result = registered ? check_response_status(seq, entry, left) : false;
  }
  if (!result) {
    NDS_LOG(kLogError, "NetDevSetting::send_cmd", "send cmd[%d, %d] size = %d failed", static_cast<int>(main),
            static_cast<int>(sub), static_cast<int>(payload_len));
    // The entry left the table in check_response_status: nobody writes it now.
    note_error(wait_ms != 0 && !registered ? QZ_NDSX_CLOSING : failure_kind(sent, entry), main, sub,
               entry.response_code);
  }
  return result;
}

int NetDevSetting::failure_kind(bool sent, const PendingEntry &entry) {
  switch (entry.ending) {
    case Ending::answered:
      return entry.response_code != 0 ? QZ_NDSX_REFUSED : QZ_NDSX_BAD_ANSWER;
    case Ending::connection_lost:
      return sent ? QZ_NDSX_CONNECTION_LOST : QZ_NDSX_SEND_FAILED;
    case Ending::closing:
      return QZ_NDSX_CLOSING;
    case Ending::none:
      break;
  }
  return sent ? QZ_NDSX_TIMEOUT : QZ_NDSX_SEND_FAILED;
}

bool NetDevSetting::send_data(uint32_t length, const uint8_t *data) {
  if (net_handle == nullptr) {
    NDS_LOG(kLogError, "NetDevSetting::send_data", "net handle is not initialized");
    return false;
  }
  return qz_net_send_data_to_server(net_handle, data, length);
}

bool NetDevSetting::check_response_status(uint32_t seq, PendingEntry &entry, uint32_t wait_ms) {
  wait_lock.lock();
  entry.event.wait(wait_lock, wait_ms);
  wait_lock.unlock();

  table_lock.lock();
  bool ok = false;
  auto it = pending.find(seq);
  if (it != pending.end() && it->second == &entry) {
    // A status of 0 means the answer arrived and was parsed, even when it
    // came in the instant the wait ran out.
    ok = entry.status == kStatusSuccess;
    pending.erase(it);
  }
  if (!ok) {
    NDS_LOG(kLogError, "NetDevSetting::check_response_status", "checkout seq = %d's response failed",
            static_cast<int>(seq));
  }
  table_lock.unlock();
  return ok;
}

}  // namespace qz::nds
