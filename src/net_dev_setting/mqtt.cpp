#include "net_dev_setting.h"

namespace qz::nds {

// Parsers of this family's main 169 answers, by sub command.
const std::span<const SettingParserEntry> kMqttSettingParsers{};

}  // namespace qz::nds
