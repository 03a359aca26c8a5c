// The qz_ndsx_ extensions: the outcome of each thread's last call on a
// session, error texts, the log callback and the run-time version.
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "net_dev_setting.h"
#include "qz_nds_ext.h"

namespace qz::nds {

// ---- Outcome of the current call ------------------------------------------------

namespace {
thread_local CallScope *t_current_call = nullptr;
}  // namespace

CallScope::CallScope() : outer_(t_current_call) {
  t_current_call = this;
}

CallScope::~CallScope() {
  t_current_call = outer_;
}

CallError CallScope::outcome(bool ok) const {
  CallError out = error_;
  if (!ok && out.kind == QZ_NDSX_OK) out.kind = QZ_NDSX_BAD_ARGUMENT;
  return out;
}

qz_ndsx_error to_public_error(const CallError &error, const std::string &address) {
  qz_ndsx_error out{};
  out.kind = error.kind;
  out.response_code = error.response_code;
  out.main_command = error.main;
  out.sub_command = error.sub;
  const std::size_t n = std::min(address.size(), sizeof out.address - 1);
  std::memcpy(out.address, address.data(), n);
  out.address[n] = '\0';
  return out;
}

namespace {
thread_local qz_ndsx_error t_last_error{};
}  // namespace

const qz_ndsx_error &thread_last_error() {
  return t_last_error;
}

void set_thread_last_error(const CallError &error, const std::string &address) {
  // A success leaves no address behind: nothing to copy on the fast path.
  t_last_error = to_public_error(error, error.kind == QZ_NDSX_OK ? std::string() : address);
}

void note_error(int kind, uint32_t main, uint32_t sub, int response_code) {
  CallScope *call = t_current_call;
  if (call == nullptr || call->error_.kind != QZ_NDSX_OK) return;
  call->error_ = CallError{kind, response_code, static_cast<uint8_t>(main), static_cast<uint8_t>(sub)};
}

// ---- Log callback ---------------------------------------------------------------

namespace {

std::atomic<bool> g_log_callback_set{false};
std::mutex g_log_callback_mutex;
qz_ndsx_log_fn g_log_callback = nullptr;
void *g_log_callback_user = nullptr;

}  // namespace

bool log_callback_set() {
  return g_log_callback_set.load(std::memory_order_relaxed);
}

void forward_log(int level, const char *function, const char *format, ...) {
  qz_ndsx_log_fn fn;
  void *user;
  {
    std::lock_guard guard(g_log_callback_mutex);
    fn = g_log_callback;
    user = g_log_callback_user;
  }
  if (fn == nullptr) return;
  char text[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  fn(level, kLogModule, function, text, user);
}

}  // namespace qz::nds

extern "C" {

QZ_NDS_API bool qz_ndsx_last_error(qz_nds_handle handle, qz_ndsx_error *out) {
  using qz::nds::NetDevSetting;
  if (out == nullptr) return false;
  if (handle == nullptr) {
    *out = qz::nds::thread_last_error();
    return true;
  }
  if (!qz::nds::check_type_tag(handle, qz::nds::kTypeTag)) return false;
  NetDevSetting *session = NetDevSetting::from_handle(handle);
  session->enter_call();
  *out = session->last_error();
  session->leave_call();
  return true;
}

QZ_NDS_API bool qz_ndsx_is_connected(qz_nds_handle handle, bool *connected) {
  if (connected == nullptr || !qz::nds::check_type_tag(handle, qz::nds::kTypeTag)) return false;
  *connected = qz::nds::NetDevSetting::from_handle(handle)->is_connected();
  return true;
}

QZ_NDS_API const char *qz_ndsx_strerror(int kind) {
  switch (kind) {
    case QZ_NDSX_OK:
      return "no error";
    case QZ_NDSX_BAD_ARGUMENT:
      return "an argument was refused before anything was sent";
    case QZ_NDSX_NOT_CONNECTED:
      return "the session is not connected to a device";
    case QZ_NDSX_CONNECT_FAILED:
      return "the device could not be reached";
    case QZ_NDSX_SEND_FAILED:
      return "the request could not be sent to the device";
    case QZ_NDSX_TIMEOUT:
      return "no answer from the device in time";
    case QZ_NDSX_REFUSED:
      return "the device refused the request";
    case QZ_NDSX_BAD_ANSWER:
      return "the device's answer could not be used";
    case QZ_NDSX_CONNECTION_LOST:
      return "the connection to the device was lost";
    case QZ_NDSX_CLOSING:
      return "the session is being released";
    case QZ_NDSX_INIT_FAILED:
      return "the session could not be set up";
    default:
      return "unknown error";
  }
}

QZ_NDS_API const char *qz_ndsx_version(void) {
  return QZ_NDS_VERSION_STRING;
}

QZ_NDS_API bool qz_ndsx_set_log_callback(qz_ndsx_log_fn fn, void *user) {
  std::lock_guard guard(qz::nds::g_log_callback_mutex);
  qz::nds::g_log_callback = fn;
  qz::nds::g_log_callback_user = user;
  qz::nds::g_log_callback_set.store(fn != nullptr, std::memory_order_relaxed);
  return true;
}

}  // extern "C"
