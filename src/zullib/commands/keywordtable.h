/// The shape of the command protocol's keyword table.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "commands/commandmanager.h"

/// Boards that accept a keyword.
enum class Roles { kBoth, kTransmitter, kReceiver };

/// What a board of the other role says besides its "KO\r\n".
enum class WrongRole { kSilent, kLog, kPanic };

/// What may stand behind a command: a line end that is cut, or bytes as they came.
enum class Framing { kLine, kRaw };

/// One row of the command protocol. The first row that matches a request decides.
struct CommandManager::Command {
    std::string_view keyword;
    std::size_t chars;  ///< leading characters compared, without regard to case
    Roles roles;        ///< boards that accept it
    WrongRole refuse;   ///< how another board says no
    Framing framing;    ///< kLine: a line end behind it is cut
    char* (*handle)(CommandManager& board, char* cmd, int len);
};
