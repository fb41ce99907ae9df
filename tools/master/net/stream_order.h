/// Starts of streams as users describe them: looked up in the channel list, and checked against the board's current
/// state.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "net/board_client.h"
#include "output/output.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {

/// A requested stream, as the user describes it.
struct StreamChoice {
    std::string to;                         ///< "239.1.1.1:5000"
    std::vector<std::string> channels;      ///< by number, name or index, all on one tuner channel
    std::optional<int> slot;                ///< nothing: replaces all running streams
    std::optional<int> tunerChannel;        ///< in place of `channels`
    std::vector<std::string> programmes{};  ///< with `tunerChannel`: "TSID:NUMBER"; empty: all of it
    bool whole = false;                     ///< the whole multiplex that the channels are in
};

/// Throws Failure(kRefused) during an upgrade of the board, which would refuse.
void RefuseDuringUpgrade(Client& client);
/// As RefuseDuringUpgrade, and while a transmitter scans. \return what it is tuned to, where it reports that
std::optional<ScanState> RefuseWhileBusy(Client& client);

/// Looks the channels up. Throws Failure(kUsage) for an impossible request.
StreamRequest FindStream(Client& client, const StreamChoice& choice);

/// \return the slot for a stream without a given one: the one that already sends to its group, else the lowest free
/// one, slot 0 last, as starts of the others stop it. Throws Failure(kRefused) where none is free
int FreeSlot(Client& client, const Endpoint& group);

/// Throws Failure for what the board would do silently: tune to no channel, retune running streams, stop slot 0.
/// \return the slots that the start ends, except the group's own
std::vector<StreamStatus> CheckAgainstBoard(Client& client, const StreamRequest& request);

/// What was done, as `zulctl.stream/1` without the schema.
/// \param text  the request as it was sent
Json StartedJson(const StreamRequest& request, const std::string& text);
Json StoppedJson(std::optional<int> slot, const std::string& text);

}  // namespace zulctl
