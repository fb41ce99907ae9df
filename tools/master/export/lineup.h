/// The line-up of transmitters: channels, the streams that carry them now, and the guide; in forms for players and for
/// people.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "output/output.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/status.h"

namespace zulctl {

/// A channel of a transmitter.
struct LineupEntry {
    std::string board;
    Channel channel;
    std::optional<Endpoint> stream;  ///< the stream that carries it now
    bool shares = false;             ///< the stream carries other programmes too
    std::vector<GuideEvent> events;

    /// \return an identifier such as "p3.t811.c4.zul" of programme, transport stream and tuner channel, in hexadecimal
    /// except for the last: it survives renaming, renumbering and new scans. All boards give a programme the same one
    std::string Id() const;
};
using Lineup = std::vector<LineupEntry>;

/// Matches the channels of one board with its streams. Programme numbers are unique only within a tuner channel.
Lineup LineupOf(const std::string& board, const std::vector<Channel>& channels, const TransmitterStatus& status,
                int tunedChannel);

enum class Player { kVlc, kKodi };

/// \return a playlist of the running streams, in the dialect of a player
/// \param guide  address of an XMLTV guide for the head line, or empty
std::string M3uText(const Lineup& lineup, Player player, const std::string& guide);

/// \return the guide as XMLTV, in UTC: channels with at least one event. A programme that several
/// boards have is listed once
std::string XmltvText(const Lineup& lineup);

Json JsonOf(const Lineup& lineup);

struct GridRow {
    std::string name;  ///< escaped
    std::vector<GuideEvent> events;
};

/// Draws rows from `start` on for `span`, one line a programme under a line of hours, no wider than `width` columns.
/// The event at `now` is shown inverse where there is colour.
std::string DrawGrid(const std::vector<GridRow>& rows, Minutes start, std::chrono::minutes span, Minutes now,
                     std::size_t width, bool colour);

}  // namespace zulctl
