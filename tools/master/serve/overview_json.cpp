// The overview as JSON.
#include <algorithm>

#include "output/escape.h"
#include "protocol/reply_json.h"
#include "serve/overview.h"
#include "stream/probe.h"

namespace zulctl::serve {

namespace {

/// A board that doesn't answer may be tuning or restarting; it counts as silent after this many seconds.
constexpr double kBoardPatience = 20;

const char* HealthNameOf(const BoardState& board, Clock::time_point now) {
    if (!board.busy.empty()) return "busy";
    if (board.lastAnswer && board.trouble.empty()) return "good";
    return board.SilentSeconds(now) < kBoardPatience ? "waiting" : "silent";
}

const char* NameOf(Health health) {
    constexpr const char* kNames[] = {"waiting", "good", "faulty", "silent"};
    return kNames[static_cast<std::size_t>(health)];
}

/// \return null for an empty text
Json OrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json StatusOf(const BoardState& board) {
    std::string error = !board.busy.empty() ? board.busy : board.trouble;
    if (error.empty() && !board.lastAnswer) error = "not asked yet";
    const bool answered = error.empty();
    return BoardJson(board.name, board.at, board.role, answered ? board.transmitter : std::nullopt,
                     answered ? board.receiver : std::nullopt, board.scan, error);
}

/// What the page shows of a board: its last status stays while it doesn't answer.
Json JsonOf(const BoardState& board, const Overview& overview) {
    const Clock::time_point now = overview.now;
    const auto dark = overview.DarknessOf(board);
    Json json = {{"id", EndpointText(board.at)}};
    json.update(StatusOf(board));
    if (board.transmitter) json["transmitter"] = JsonOf(*board.transmitter);
    if (board.receiver) json["receiver"] = JsonOf(*board.receiver);
    json["health"] = HealthNameOf(board, now);
    json["silent_seconds"] = board.SilentSeconds(now);
    json["model"] = board.model;
    json["version"] = board.version;
    json["dark"] = dark ? Json(*dark) : Json();
    if (board.role != Role::kTransmitter) return json;
    const auto differences = overview.DifferencesOf(board);
    json["plan"] = differences ? Json({{"as_planned", differences->empty()},
                                       {"paused", overview.planIsPaused},
                                       {"differences", *differences}})
                               : Json();
    json["scan"] = board.scan ? JsonOf(*board.scan) : Json();
    using SystemClock = std::chrono::system_clock;
    json["broadcast_time"] =
        board.broadcastAhead ? Json(UtcText(SystemClock::time_point(now.time_since_epoch() + *board.broadcastAhead)))
                             : Json();
    json["channels_revision"] = board.channelsRevision;
    json["guide_revision"] = board.guideRevision;
    json["channels_error"] = OrNull(board.channelsTrouble);
    json["guide_error"] = OrNull(board.guideTrouble);
    return json;
}

/// \return the channel of a programme number on the channel that the board is tuned to, or null
const Channel* ChannelOf(const BoardState& board, std::uint16_t programme) {
    if (!board.channels || !board.scan) return nullptr;
    const auto found = std::ranges::find_if(*board.channels, [&](const Channel& channel) {
        return channel.id.programme == programme && (channel.tunerChannel & 0xFF) == board.scan->channel;
    });
    return found == board.channels->end() ? nullptr : &*found;
}

Json JsonOf(const StreamSource& source) {
    Json programmes = Json::array();
    for (const std::uint16_t number : source.slot->programmes) {
        const Channel* channel = ChannelOf(*source.board, number);
        programmes.push_back(
            {{"programme", number},
             {"name", channel != nullptr ? Json(channel->name) : Json()},
             {"number", channel != nullptr && channel->number != 0 ? Json(channel->NumberText()) : Json()}});
    }
    return {{"board", EndpointText(source.board->at)}, {"slot", source.slot->id}, {"programmes", programmes}};
}

Json JsonOf(const Overview& overview, std::size_t index) {
    const Measured& stream = overview.streams[index];
    const Still& still = overview.stills[index];
    Json senders = Json::array();
    Json sources = Json::array(), players = Json::array(), faults = Json::array(), notes = Json::array();
    for (const StreamSource& source : overview.SourcesOf(stream.group)) sources.push_back(JsonOf(source));
    for (const BoardState& board : overview.boards) {
        if (board.receiver && board.receiver->Group() == stream.group) players.push_back(EndpointText(board.at));
    }
    Json bits = Json::array(), errors = Json::array();
    for (const Sample& sample : stream.history) bits.push_back(sample.bits), errors.push_back(sample.errors);
    if (stream.heard) {
        for (const std::uint32_t address : stream.heard->sources) senders.push_back(AddressText(address));
        for (const Finding& finding : Judge(stream.heard->report))
            (finding.fault ? faults : notes).push_back(finding.text);
    }
    const double age = std::chrono::duration<double>(overview.now - still.taken).count();
    return {{"stream", EndpointText(stream.group)},
            {"health", NameOf(HealthOf(stream))},
            {"error", OrNull(stream.trouble)},
            {"bits_per_second", stream.BitRate()},
            {"recent_errors", stream.RecentErrors(60)},
            {"continuity_errors", stream.counts.continuityErrors},
            {"sync_losses", stream.counts.syncLosses},
            {"dropped_here", stream.droppedHere},
            {"watched_seconds", stream.watchedSeconds},
            {"silent_seconds", stream.silentSeconds},
            {"faults", faults},
            {"notes", notes},
            {"sources", sources},
            {"senders", senders},
            {"players", players},
            {"picture", still.jpeg ? Json({{"number", still.number}, {"age_seconds", age}}) : Json()},
            {"picture_error", OrNull(still.trouble)},
            {"history", {{"bits", bits}, {"errors", errors}}}};
}

}  // namespace

std::string WithSchema(const char* schema, const Json& body) {
    std::string text = JsonText(schema, body, -1);
    text.pop_back();
    return text;
}

std::string OverviewJson(const Overview& overview) {
    Json boards = Json::array(), streams = Json::array();
    for (const BoardState& board : overview.boards) boards.push_back(JsonOf(board, overview));
    for (std::size_t n = 0; n < overview.streams.size(); ++n) streams.push_back(JsonOf(overview, n));
    return WithSchema("zulctl.overview/1", {{"time", UtcNow()},
                                            {"takes_orders", overview.takesOrders},
                                            {"history_seconds", kHistorySeconds},
                                            {"boards", boards},
                                            {"streams", streams}});
}

std::string StatusJson(const Overview& overview) {
    Json boards = Json::array();
    for (const BoardState& board : overview.boards) boards.push_back(StatusOf(board));
    return WithSchema("zulctl.status/1", {{"boards", boards}});
}

std::string ChannelsJson(const BoardState& board) {
    return WithSchema("zulctl.channels/1", {{"channels", board.channels ? JsonOf(*board.channels) : Json::array()}});
}

std::string GuideJson(const BoardState& board) {
    return WithSchema("zulctl.guide/1", {{"guide", board.guide ? JsonOf(*board.guide) : Json::array()}});
}

std::string ProbeJson(const Measured& stream) {
    const StreamReport report = stream.heard ? stream.heard->report : StreamReport{};
    return WithSchema("zulctl.probe/1",
                      JsonOf(EndpointText(stream.group), report, Judge(report), HealthOf(stream) == Health::kGood));
}

std::string ErrorJson(const std::string& text) { return WithSchema("zulctl.error/1", {{"error", text}}); }

}  // namespace zulctl::serve
