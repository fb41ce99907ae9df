/// What the board's processes did, as readable lines.
#pragma once

#include <string>

#include "browser_controller.h"
#include "player.h"
#include "screen.h"
#include "settings_agent.h"
#include "system_daemon.h"
#include "tuner.h"

namespace board {

std::string Describe(const SettingsRequest& request);
std::string Describe(const Burn& burn);
std::string Describe(const RemountRequest& request);
std::string Describe(const Tuning& tuning);
std::string Describe(const sMSG_COMMON_FORMAT& order);
std::string Describe(const BrowserOrder& order);
/// The visible layers, the lowest first.
std::string Describe(const Screen& screen);
/// A line of a tool, or bytes of the serial port: unprintable bytes as \xNN.
std::string Describe(const std::string& bytes);

}  // namespace board
