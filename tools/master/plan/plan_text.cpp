// A plan from what runs.
#include <fmt/format.h>

#include <toml++/toml.h>
#include <algorithm>
#include <sstream>

#include "plan/plan.h"

namespace zulctl {

namespace {

std::string Quoted(const std::string& text) {
    std::ostringstream out;
    out << toml::value<std::string>(text);
    return out.str();
}

}  // namespace

PlannedBoard PlanOf(const std::string& board, const std::vector<StreamStatus>& streams,
                    const std::vector<Channel>& channels, int tuned) {
    std::vector<Channel> here;
    std::copy_if(channels.begin(), channels.end(), std::back_inserter(here),
                 [&](const Channel& channel) { return channel.tunerChannel == tuned; });
    const auto nameOf = [&](const Channel& channel) {
        const auto same = std::count_if(channels.begin(), channels.end(),
                                        [&](const Channel& other) { return other.number == channel.number; });
        if (channel.number != 0 && same == 1) return channel.NumberText();
        return fmt::format("{:04x}:{:04x}", channel.id.transportId, channel.id.programme);
    };
    PlannedBoard plan{board, {}};
    for (const StreamStatus& stream : streams) {
        PlannedStream planned{stream.group, {}, false, stream.id, ""};
        for (const Channel& channel : here) {
            if (std::count(stream.programmes.begin(), stream.programmes.end(), channel.id.programme) > 0)
                planned.channels.push_back(nameOf(channel));
        }
        if (!stream.active || planned.channels.empty()) continue;
        // A status doesn't say whether it is the whole multiplex; one that has all programmes of it may as well be.
        planned.whole = planned.channels.size() == here.size() && here.size() > 1;
        if (planned.whole) planned.channels.resize(1);
        plan.streams.push_back(std::move(planned));
    }
    return plan;
}

std::string PlanText(const std::vector<PlannedBoard>& plan) {
    std::string text;
    for (const PlannedBoard& board : plan) {
        text += fmt::format("{}[boards.{}]\nstreams = [\n", text.empty() ? "" : "\n", Quoted(board.board));
        for (const PlannedStream& stream : board.streams) {
            std::string channels;
            for (const std::string& channel : stream.channels)
                channels += (channels.empty() ? "" : ", ") + Quoted(channel);
            text += fmt::format("    {{to = {}, channels = [{}], slot = {}{}}},\n", Quoted(EndpointText(stream.to)),
                                channels, stream.slot.value_or(0), stream.whole ? ", whole = true" : "");
        }
        text += "]\n";
    }
    return text;
}

}  // namespace zulctl
