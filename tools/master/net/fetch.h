/// Data that takes several requests to fetch from a board: its channel list and its guide.
#pragma once

#include <vector>

#include "net/board_client.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"

namespace zulctl {

/// Asks a transmitter for its channel list. A datagram lost in the middle of a long list can't be detected, so a list
/// of several datagrams is requested again until two in a row are equal. Throws Failure.
std::vector<Channel> FetchChannels(Client& client);

/// A transmitter's status. Throws Failure for any other reply.
TransmitterStatus FetchStatus(Client& client);

/// What a transmitter has and sends.
struct Sent {
    std::vector<Channel> channels;
    TransmitterStatus status;
    int tunedChannel;
};
Sent FetchSent(Client& client);

/// Guide queries of one programme. The board knows the guide of the channel it is tuned to. Throw Failure.
std::vector<GuideEvent> FetchNowAndNext(Client& client, const ProgrammeId& id, Ear* ear);
std::vector<GuideEvent> FetchMoment(Client& client, const ProgrammeId& id, Minutes moment, Ear* ear);
/// All events from now over a span of up to 99 hours; continues with single moments where one reply can't hold them.
std::vector<GuideEvent> FetchListing(Client& client, const ProgrammeId& id, std::chrono::minutes span, Ear* ear);

}  // namespace zulctl
