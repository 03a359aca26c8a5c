// Values of the secret settings (passwords, account info), which the tool
// never takes from its command line: from the environment, a file or stdin.
#pragma once

#include <string>

#include "catalogue.h"

namespace qznds {

// "env": QZNDS_<NAME> for each secret setting that is set (QZNDS_MQTT_PASSWD);
// "-": a JSON object on stdin; anything else: a JSON object in that file.
// The object's keys are secret settings ({"mqtt_passwd": "..."}).
// ToolError(bad_value) for a key that is no secret setting or a source that
// cannot be read.
Json load_secrets(const std::string &source);

}  // namespace qznds
