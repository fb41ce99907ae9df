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
        const StreamStatus* best = nullptr;
        for (const StreamStatus& stream : status.streams) {
            const bool carries = stream.active && channel.tunerChannel == tunedChannel &&
                                 std::ranges::count(stream.programmes, channel.id.programme) > 0;
            // A player works better with a stream of this programme alone.
            const bool isBetter = best == nullptr || (best->programmes.size() > 1 && stream.programmes.size() == 1);
            if (carries && isBetter) best = &stream;
        }
        LineupEntry entry{board, channel, std::nullopt, best != nullptr && best->programmes.size() > 1, {}};
        if (best != nullptr) entry.stream = best->group;
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
