/// The plan of what transmitters send, and the steps to reach it.
///
///     [boards.attic]                       # name of boards.toml, or an address in quotes
///     streams = [
///         {to = "239.1.1.1:5000", channels = ["CINEMA"]},
///         {to = "239.1.1.2:5000", channels = ["7.1", "7.3"], slot = 2},
///         {to = "239.1.1.3:5000", channels = ["NEWS"], whole = true},    # the multiplex that NEWS is in
///     ]
///     [boards."10.0.0.7"]
///     streams = []                         # sends nothing
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "protocol/channels.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {

struct PlannedStream {
    Endpoint to;
    std::vector<std::string> channels;  ///< by number, name or index; at least one
    bool whole = false;
    std::optional<int> slot;
    std::string place;  ///< "plan.toml:7", for messages
};

struct PlannedBoard {
    std::string board;
    std::vector<PlannedStream> streams;
};

/// Reads a plan. Throws Failure(kUsage) with the position of an error or a conflict: two streams to one group, or in
/// one slot of a board.
std::vector<PlannedBoard> ReadPlan(const std::string& path);

/// \return what a board sends now as a plan: channels by number where it is unique, else by transport and programme id.
/// Streams of programmes that the list doesn't have are left out. \param tuned  channel that the tuner is on
PlannedBoard PlanOf(const std::string& board, const std::vector<StreamStatus>& streams,
                    const std::vector<Channel>& channels, int tuned);
/// \return the text of a plan, as ReadPlan takes it
std::string PlanText(const std::vector<PlannedBoard>& plan);

/// A planned stream by the numbers of a board.
struct WantedStream {
    StreamRequest request;
    std::set<std::uint16_t> programmes;  ///< that it must carry; where request names none, at least these
    std::string what;                    ///< its channels, for people; escaped

    bool IsAt(const StreamStatus& stream) const;
};

/// Looks the channels up. Throws Failure(kUsage) for one that doesn't exist, and when the board's one tuner would need
/// two channels.
std::vector<WantedStream> Wanted(const PlannedBoard& plan, const std::vector<Channel>& channels);

struct PlanStep {
    enum class Kind { kKeep, kStop, kStart };
    Kind kind;
    std::optional<int> slot;  ///< nothing: all
    std::optional<Endpoint> to;
    std::string what;     ///< for people; escaped
    std::string why;      ///< for people
    std::string request;  ///< empty where nothing is sent
};

/// \return "slot 2 to 239.1.1.2:5000, CINEMA: it isn't sent": the difference that a step removes
std::string StepText(const PlanStep& step);

/// Finds the steps, in the order in which they must be done: starting or stopping a slot stops slot 0, and a group
/// moves from one slot to another only when the first has stopped. Streams without a slot take the one that sends to
/// their group already, or the next free one, slot 0 last. \param tuned  channel that the tuner is on
std::vector<PlanStep> StepsTo(std::vector<WantedStream> wanted, const std::vector<StreamStatus>& streams, int tuned);

/// The file next to a plan whose presence pauses those who keep it.
std::string PauseFile(const std::string& plan);
bool PlanIsPaused(const std::string& plan);

}  // namespace zulctl
