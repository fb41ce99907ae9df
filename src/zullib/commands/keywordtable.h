/// The shape of the command protocol's keyword table.
#pragma once

#include <cstddef>
#include <string_view>

#include "commands/commandmanager.h"

/// Boards that accept a keyword.
enum class Roles { kBoth, kTransmitter, kReceiver };

/// What a board of the other role reports, besides the reply "KO\r\n".
enum class WrongRole {
    kSilent,
    kLog,          ///< LOG "This command is only for receiver"
    kPanic,        ///< PANIC "Bad type %c"
    kPanicRxOnly,  ///< PANIC "Rx only"
};

/// Whether a trailing CR LF is cut.
enum class Framing { kLine, kRaw };

/// One row of the command protocol. The first row that matches a request decides. Role and upgrade are checked in this
/// order, before the handler runs.
struct CommandManager::Command {
    std::string_view keyword;
    std::size_t chars;      ///< leading characters compared, without regard to case
    Roles roles;            ///< boards that accept it
    WrongRole refuse;       ///< reported by a board of the other role
    const char* upgrading;  ///< logged when refused during an upgrade; null for a command that is accepted then
    Framing framing;        ///< kRaw: the handler gets the bytes as received
    char* (*handle)(CommandManager& board, Request request);
};
