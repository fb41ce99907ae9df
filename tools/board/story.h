/// What the board's processes did, as lines for people.
#pragma once

#include <string>

#include "settings_agent.h"
#include "system_daemon.h"
#include "tuner.h"

namespace board {

std::string Describe(const SettingsRequest& request);
std::string Describe(const Burn& burn);
std::string Describe(const RemountRequest& request);
std::string Describe(const Tuning& tuning);
inline std::string Describe(const std::string& line) { return line; }

}  // namespace board
