/// Finds the running stream of a channel.
#pragma once

#include <string>

#include "net/session.h"

namespace zulctl {

struct FoundStream {
    Endpoint stream;
    std::uint16_t programme;
};

/// \param channel  by number, name, index or ids
/// \param from     the transmitter to look at; empty: all that are named or heard
/// \return the stream that carries the channel now. Throws Failure where none does, or different programmes are meant
FoundStream FindStreamOf(Session& session, const std::string& channel, const std::string& from);

}  // namespace zulctl
