/// A snapshot of everything known and measured, with its faults. Pages, metrics and JSON are made from it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "doctor/diagnosis.h"
#include "plan/plan.h"
#include "serve/board_watch.h"
#include "serve/stills.h"
#include "serve/stream_watch.h"

namespace zulctl::serve {

enum class BoardHealth { kWaiting, kGood, kBusy, kSilent };
const char* BoardHealthName(BoardHealth health);

/// A board that doesn't answer may be tuning or restarting; it counts as silent after this many seconds.
inline constexpr double kBoardPatience = 20;

BoardHealth HealthOf(const BoardState& board, Clock::time_point now);

/// A slot of a transmitter that feeds a stream.
struct StreamSource {
    const BoardState* board;
    const StreamStatus* slot;
};

struct Overview {
    Clock::time_point now;
    std::vector<BoardState> boards;
    std::vector<Measured> streams;
    std::vector<Still> stills;  ///< one a stream, in their order
    const std::map<Endpoint, PlannedBoard>& plan;
    bool planIsPaused;

    std::vector<StreamSource> SourcesOf(const Endpoint& group) const;
    /// \return receivers that play the group
    std::vector<const BoardState*> PlayersOf(const Endpoint& group) const;
    /// \return the fault that darkens a receiver's television; nothing where there is none, or none is known yet
    std::optional<Diagnosis> DarknessOf(const BoardState& receiver) const;
    /// \return how a transmitter differs from the plan, empty where it doesn't; nothing for a board that the plan
    /// doesn't name, or whose state isn't known
    std::optional<std::vector<std::string>> DifferencesOf(const BoardState& transmitter) const;
};

/// \return the channel of a programme number on the channel that the board is tuned to, or null
const Channel* ChannelOf(const BoardState& board, std::uint16_t programme);
/// \return the broadcast's time now; nothing before the first report
std::optional<std::chrono::sys_seconds> BroadcastNow(const BoardState& board, Clock::time_point now);

/// \return "Mbit/s by the second" and everything else that the page shows: zulctl.overview/1
std::string OverviewJson(const Overview& overview, bool takesOrders);
/// \return the shape of `zulctl status --json`: zulctl.status/1
std::string StatusJson(const Overview& overview);
/// \return the shapes of `zulctl channels --json`, `guide --json` and `probe --json`
std::string ChannelsJson(const BoardState& board);
std::string GuideJson(const BoardState& board);
std::string ProbeJson(const Measured& stream);
/// \return {"schema": "zulctl.error/1", "error": text}
std::string ErrorJson(const std::string& text);

/// \return Prometheus' text format, version 0.0.4
std::string MetricsText(const Overview& overview);

}  // namespace zulctl::serve
