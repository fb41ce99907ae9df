/// Starting a stream as people say it: found in the channel list, and checked against what the board does at the
/// moment.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "net/board_client.h"
#include "protocol/status.h"
#include "protocol/stream_request.h"

namespace zulctl {

/// What is wanted, in words.
struct StreamChoice {
    std::string to;                         ///< "239.1.1.1:5000"
    std::vector<std::string> channels;      ///< by number, name or index, all on one tuner channel
    std::optional<int> slot;                ///< nothing: in place of all that runs
    std::optional<int> tunerChannel;        ///< in place of `channels`
    std::vector<std::string> programmes{};  ///< with `tunerChannel`: "TSID:NUMBER"; empty: all of it
    bool whole = false;                     ///< the whole multiplex that the channels are in
};

/// Throws Failure(kRefused) while the board takes an upgrade: it would say no.
void RefuseDuringUpgrade(Client& client);
/// As RefuseDuringUpgrade, and while a transmitter scans.
void RefuseWhileBusy(Client& client);

/// Looks the channels up. Throws Failure(kUsage) for what can't be.
StreamRequest FindStream(Client& client, const StreamChoice& choice);

/// \return the slot for a stream of no particular one: where its group is sent already, else the lowest free one, slot
/// 0 last, as starts of the others stop it. Throws Failure(kRefused) where none is free
int FreeSlot(Client& client, const Endpoint& group);

/// Throws Failure for what the board would do without a word: tune nowhere, retune what runs, stop slot 0.
/// \return the slots that the start ends; the group's own isn't among them
std::vector<StreamStatus> CheckAgainstBoard(Client& client, const StreamRequest& request);

/// What was done, as `zulctl.stream/1` without the schema.
/// \param text  the request as it was sent
nlohmann::ordered_json StartedJson(const StreamRequest& request, const std::string& text);
nlohmann::ordered_json StoppedJson(std::optional<int> slot, const std::string& text);

}  // namespace zulctl
