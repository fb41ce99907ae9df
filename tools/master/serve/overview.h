/// A snapshot of everything known and measured, with its faults. Pages, metrics and JSON are made from it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "doctor/diagnosis.h"
#include "output/output.h"
#include "plan/plan.h"
#include "serve/board_watch.h"
#include "serve/stills.h"
#include "serve/stream_watch.h"

namespace zulctl::serve {

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
    bool takesOrders;

    std::vector<StreamSource> SourcesOf(const Endpoint& group) const;
    /// \return the fault that darkens a receiver's television; nothing where there is none, or none is known yet
    std::optional<Diagnosis> DarknessOf(const BoardState& receiver) const;
    /// \return how a transmitter differs from the plan, empty where it doesn't; nothing for a board that the plan
    /// doesn't name, or whose state isn't known
    std::optional<std::vector<std::string>> DifferencesOf(const BoardState& transmitter) const;
};

/// \return "Mbit/s by the second" and everything else that the page shows: zulctl.overview/1
std::string OverviewJson(const Overview& overview);
/// \return the shape of `zulctl status --json`: zulctl.status/1
std::string StatusJson(const Overview& overview);
/// \return the shapes of `zulctl channels --json`, `guide --json` and `probe --json`
std::string ChannelsJson(const BoardState& board);
std::string GuideJson(const BoardState& board);
std::string ProbeJson(const Measured& stream);
/// \return the object with its schema in front, on one line
std::string WithSchema(const char* schema, const Json& body);
/// \return {"schema": "zulctl.error/1", "error": text}
std::string ErrorJson(const std::string& text);

/// \return Prometheus' text format, version 0.0.4
std::string MetricsText(const Overview& overview);

}  // namespace zulctl::serve
