/// Orders that come over HTTP: starting and stopping streams and playing them, with the checks of the command line.
#pragma once

#include <string>
#include <utility>

#include "serve/board_watch.h"

namespace zulctl::serve {

/// Obeys the order of a path, whose body is a JSON object:
///     /api/stream/start  {"board": ID, "channels": [TEXT...], "to": "GROUP:PORT",
///                         "slot": 0 to 7 or null, "whole": BOOL}
///     /api/stream/stop   {"board": ID, "slot": 0 to 7 or null}
///     /api/play          {"board": ID, "stream": "GROUP:PORT", "programme": NUMBER or null}
///     /api/play/stop     {"board": ID}
/// Only watched boards take orders. \return the HTTP status, and what the command line prints with --json, or an error
std::pair<int, std::string> Obey(BoardWatch& boards, const std::string& path, const std::string& body);

}  // namespace zulctl::serve
