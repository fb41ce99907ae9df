// Checks a requested stream against the board's state.
#include "net/stream_order.h"

#include <set>

#include "net/fetch.h"
#include "output/escape.h"
#include "output/failure.h"
#include "protocol/channels.h"

namespace zulctl {

void RefuseDuringUpgrade(Client& client) {
    const auto upgrade = ParseUpgradeState(client.Ask("UPGR?"));
    if (upgrade == kDownloading) {
        throw Failure(kRefused, EndpointText(client.Board()) +
                                    " waits for the rest of an upgrade; where that was broken off, \"zulctl upgrade\" "
                                    "starts it afresh and \"zulctl reset\" ends it");
    }
    if (upgrade == kBurning) throw Failure(kRefused, EndpointText(client.Board()) + " is burning an image");
}

std::optional<ScanState> RefuseWhileBusy(Client& client) {
    RefuseDuringUpgrade(client);
    const auto scan = ParseScanState(client.Ask("SCA?"));
    if (scan && scan->state == ScanState::State::kRunning) {
        throw Failure(kRefused, "{} is scanning channel {}; wait for it, or stop it with \"zulctl scan --stop\"",
                      EndpointText(client.Board()), scan->channel);
    }
    return scan;
}

StreamRequest FindStream(Client& client, const StreamChoice& choice) {
    StreamRequest request;
    const auto group = ParseEndpoint(choice.to);
    if (!group) throw Failure(kUsage, "\"{}\" isn't GROUP:PORT", Escaped(choice.to));
    request.to = *group;
    request.slot = choice.slot;
    if (choice.channels.empty()) {
        if (!choice.tunerChannel) throw Failure(kUsage, "stream what? name channels, or give --tuner-channel");
        request.channel = *choice.tunerChannel;
        for (const std::string& text : choice.programmes) request.programmes.push_back(ParseProgramme(text));
        return request;
    }
    if (choice.tunerChannel || !choice.programmes.empty())
        throw Failure(kUsage, "channels by name or by number, not both");
    const auto list = FetchChannels(client);
    std::optional<Channel> first;
    for (const std::string& text : choice.channels) {
        const Channel& channel = FindChannel(list, text);
        if (!first) first = channel;
        if (channel.tunerChannel != first->tunerChannel) {
            throw Failure(kUsage, "{} is on tuner channel {} and {} on {}; a board has one tuner",
                          Escaped(CallName(*first)), first->tunerChannel, Escaped(CallName(channel)),
                          channel.tunerChannel);
        }
        request.programmes.push_back(channel.id);
    }
    request.channel = first->tunerChannel;
    if (choice.whole) request.programmes.clear();
    return request;
}

int FreeSlot(Client& client, const Endpoint& group) {
    const auto status = FetchStatus(client);
    if (status.cut) throw Failure(kRefused, "its status doesn't hold all of its streams; name a slot with --slot");
    std::set<int> used;
    for (const StreamStatus& stream : status.streams) {
        if (!stream.active) continue;
        if (stream.group == group) return stream.id;
        used.insert(stream.id);
    }
    for (int n = 1; n <= kStreamSlots; ++n) {
        if (!used.contains(n % kStreamSlots)) return n % kStreamSlots;
    }
    throw Failure(kRefused, "all {} slots send; stop one, name one with --slot, or --replace them all", kStreamSlots);
}

std::vector<StreamStatus> CheckAgainstBoard(Client& client, const StreamRequest& request) {
    const auto scan = RefuseWhileBusy(client);
    const auto status = FetchStatus(client);
    if (!scan) throw Failure(kNoAnswer, EndpointText(client.Board()) + " gives no status");
    const auto [first, last] = ChannelsOf(status.tunerMode);
    if (request.channel < first || request.channel > last) {
        throw Failure(kUsage, "in {} the tuner has channels {} to {}, not {}", Escaped(status.tunerMode), first, last,
                      request.channel);
    }
    std::vector<StreamStatus> ended;
    for (const StreamStatus& stream : status.streams) {
        const bool replaced = !request.slot || stream.id == *request.slot || stream.id == 0;
        if (stream.active && !replaced && stream.group == request.to) {
            throw Failure(kUsage, "slot {} sends to {} already", stream.id, EndpointText(request.to));
        }
        if (stream.active && !replaced && scan->channel != request.channel) {
            throw Failure(kUsage,
                          "slot {} sends from channel {}; a board has one tuner, so stop that first, or --replace all",
                          stream.id, scan->channel);
        }
        if (stream.active && replaced && stream.group != request.to) ended.push_back(stream);
    }
    return ended;
}

Json StartedJson(const StreamRequest& request, const std::string& text) {
    Json programmes = Json::array();
    for (const ProgrammeId& id : request.programmes) programmes.push_back(id.programme);
    return {{"action", "start"},
            {"request", text},
            {"group", AddressText(request.to.address)},
            {"port", request.to.port},
            {"slot", request.slot.value_or(0)},
            {"tuner_channel", request.channel},
            {"programmes", programmes}};
}

Json StoppedJson(std::optional<int> slot, const std::string& text) {
    return {{"action", "stop"}, {"request", text}, {"slot", slot ? Json(*slot) : Json()}};
}

}  // namespace zulctl
