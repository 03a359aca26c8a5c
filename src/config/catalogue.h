// The settings catalogue: every setting of the camera that a query or a
// command reads or writes, one entry each, with its name, family, value form
// and range, how it is read and written, whether the session answers it from
// the configuration record (cached) or asks the device (queried), and
// whether it is secret. The command-line tool, the fleet commands and the
// Python binding all work from this one table.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "config_values.h"
#include "qz_net_dev_setting.h"

namespace qz::config {

// A connected session as the catalogue uses it.
class Session {
 public:
  explicit Session(qz_nds_handle handle) : handle_(handle) {}

  // Runs one export and throws Failure, naming `what` ("get framerate"), when
  // it failed. A call whose exchange failed fails even when it returned true
  // (the MQTT exports and the IP settings query do); an argument the session
  // refused counts only when `fn` returned false, so that `fn` can offer a
  // buffer it sized to learn the needed size.
  void call(std::string_view what, const std::function<bool(qz_nds_handle)> &fn);

  // Reads the configuration record once: the cached getters answer from it
  // and the passive wireless requests carry its serial number.
  void read_record();
  // Reads it again, so that cached values show what the device now holds.
  void reread_record();

 private:
  qz_nds_handle handle_;
  bool record_read_ = false;
};

enum class Type { boolean, integer, text, object, time, bytes };

// The form of a value, or of one member of a setting with several values.
struct Field {
  std::string name{};
  Type type = Type::integer;
  long long min = 0;
  long long max = 0;
  std::size_t max_length = 0;
};

// A checked value, ready to be written.
struct Prepared {
  Json value;    // the value as documents show it
  Json compare;  // what a read shows once the device holds it (members of value); null: not readable
  std::function<void(Session &)> send;
};

struct Setting {
  std::string name{};
  std::string family{};
  std::string help{};
  Field form{};                 // the value's type and range
  std::vector<Field> fields{};  // the members of an object, in order
  // The values the device accepts where they are narrower than the form
  // ("1..60"), said when it refuses a write; empty when not known.
  std::string device_accepts{};
  bool cached = false;
  bool set_needs_record = false;
  // The session turns down the device's answer to this write when it comes
  // under the write's own sub command, though the device took the value;
  // such a write is confirmed by reading the value back.
  bool confirm_by_reading = false;
  bool secret = false;
  std::function<Json(Session &)> get{};  // empty: cannot be read
  std::function<Prepared(const Json &)> prepare{};

  bool readable() const { return static_cast<bool>(get); }
};

const std::vector<Setting> &settings();
// Null when there is no such setting; a '-' in the name is read as '_'.
const Setting *find_setting(std::string_view name);

// Reads one setting, reading the configuration record first when it is
// cached there.
Json read_setting(Session &session, const Setting &setting);
// Writes a prepared value: Failure when the device refused it or did not
// answer.
void write_setting(Session &session, const Setting &setting, const Prepared &write);

// The catalogue as JSON (qz_ndsx_settings_catalogue) and the JSON Schema of
// a configuration document (qz_ndsx_config_schema).
const std::string &catalogue_text();
const std::string &schema_text();

}  // namespace qz::config
