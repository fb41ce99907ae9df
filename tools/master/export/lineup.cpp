// The line-up and its JSON.
#include "export/lineup.h"

#include <fmt/format.h>

#include <algorithm>

#include "protocol/reply_json.h"

namespace zulctl {

std::string LineupEntry::Id() const {
    return fmt::format("p{:x}.t{:x}.c{}.zul", channel.id.programme, channel.id.transportId, channel.tunerChannel);
}

Lineup LineupOf(const std::string& board, const std::vector<Channel>& channels, const TransmitterStatus& status,
                int tunedChannel) {
    Lineup lineup;
    for (const Channel& channel : channels) {
        LineupEntry entry{board, channel, std::nullopt, false, {}};
        for (const StreamStatus& stream : status.streams) {
            const auto& numbers = stream.programmes;
            if (!stream.active || channel.tunerChannel != tunedChannel ||
                std::find(numbers.begin(), numbers.end(), channel.id.programme) == numbers.end()) {
                continue;
            }
            // A player works better with a stream of this programme alone.
            if (entry.stream && !entry.shares) break;
            if (entry.stream && numbers.size() > 1) continue;
            entry.stream = stream.group;
            entry.shares = numbers.size() > 1;
        }
        lineup.push_back(std::move(entry));
    }
    return lineup;
}

Json JsonOf(const Lineup& lineup) {
    Json list = Json::array();
    for (const LineupEntry& entry : lineup) {
        Json item = {{"id", entry.Id()}, {"board", entry.board}};
        item.update(JsonOf(entry.channel));
        item["stream"] = Json();
        if (entry.stream) {
            item["stream"] = {
                {"group", AddressText(entry.stream->address)}, {"port", entry.stream->port}, {"shared", entry.shares}};
        }
        item["events"] = Json::array();
        for (const GuideEvent& event : entry.events) item["events"].push_back(JsonOf(event));
        list.push_back(std::move(item));
    }
    return list;
}

}  // namespace zulctl
