/// Commands on one board or several, those that consist of one request, answered by OK, and the stream of a channel.
#pragma once

#include <functional>
#include <string>

#include "export/lineup.h"
#include "net/session.h"
#include "protocol/channels.h"

namespace zulctl {

/// What a command did on a board.
struct Done {
    Json body;                        ///< members of the object for one board
    std::string line{};               ///< for people; escaped
    std::vector<Channel> channels{};  ///< shown as a table
};

/// Prints what a command did: the object of `schema` for one board; for those of several --board or --all, one table or
/// one `zulctl.results/1`. Throws the failure of one board, and kPartly where some of several failed.
/// \param what  that failed boards did, as in "2 of 3 boards failed"
void Report(Session& session, std::string_view schema, const std::vector<Outcome<Done>>& outcomes,
            const char* what = "failed");
/// Does the work on the boards of the command line in parallel, and reports.
void RunOnBoards(Session& session, std::optional<Role> role, std::string_view schema,
                 const std::function<Done(const Target&)>& work);

/// Refuses during an upgrade, sends the request, throws Failure unless the board replies OK, and prints what was done.
/// \param check  called before the request is sent; throws Failure to prevent that
void RunOrder(Session& session, std::optional<Role> role, const std::string& request, const std::string& what,
              const std::string& done, const std::function<void(Client&)>& check = {});

/// \param channel  by number, name, index or ids
/// \param from     the transmitter to look at; empty: all that are named or heard
/// \return the channel with the stream that carries it now. Throws Failure where none does, or different programmes are
/// meant
LineupEntry FindSent(Session& session, const std::string& channel, const std::string& from);

}  // namespace zulctl
