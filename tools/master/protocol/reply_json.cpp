// Channels, events and a board's status as JSON.
#include "protocol/reply_json.h"

#include "output/escape.h"

namespace zulctl {

Json JsonOf(const Channel& channel) {
    return {{"number", channel.number == 0 ? Json() : Json(channel.NumberText())},
            {"name", channel.name},
            {"tuner_channel", channel.tunerChannel},
            {"transport_stream_id", channel.id.transportId},
            {"programme", channel.id.programme},
            {"signal_percent", channel.signal * 100 / 255},
            {"video_type", channel.videoType == 0 ? Json() : Json(channel.videoType)},
            {"audio_type", channel.audioType == 0 ? Json() : Json(channel.audioType)},
            {"scrambled", channel.scrambled}};
}

Json JsonOf(const std::vector<Channel>& channels) {
    Json list = Json::array();
    for (const Channel& channel : channels) {
        Json item = {{"index", channel.index}};
        item.update(JsonOf(channel));
        list.push_back(item);
    }
    return list;
}

Json JsonOf(const GuideEvent& event) {
    return {{"start", UtcText(event.start)},
            {"end", UtcText(event.End())},
            {"duration_minutes", event.duration.count()},
            {"title", event.title},
            {"text", event.text.empty() ? Json() : Json(event.text)}};
}

Json JsonOf(const std::vector<ChannelGuide>& guides) {
    Json list = Json::array();
    for (const ChannelGuide& guide : guides) {
        Json events = Json::array();
        for (const GuideEvent& event : guide.events) events.push_back(JsonOf(event));
        list.push_back({{"channel", JsonOf(guide.channel)}, {"events", events}});
    }
    return list;
}

Json JsonOf(const TransmitterStatus& status) {
    Json streams = Json::array();
    for (const StreamStatus& stream : status.streams) {
        streams.push_back({{"slot", stream.id},
                           {"active", stream.active},
                           {"group", AddressText(stream.group.address)},
                           {"port", stream.group.port},
                           {"programmes", stream.programmes}});
    }
    return {{"locked", status.locked},
            {"signal_percent", status.signal * 100 / 255},
            {"tuner_mode", status.tunerMode},
            {"load_percent", status.load},
            {"cut", status.cut},
            {"streams", streams}};
}

Json JsonOf(const ReceiverStatus& status) {
    const bool ordered = !status.address.empty();
    return {{"last_unit", status.lastUnit},
            {"plays_stream", status.playsStream},
            {"group", ordered ? Json(status.address) : Json()},
            {"port", ordered ? Json(status.port) : Json()},
            {"programme", status.playsStream ? Json(status.programme) : Json()},
            {"video_code", status.video},
            {"audio_code", status.audio},
            {"browser_up", status.browserUp},
            {"load_percent", status.load}};
}

Json JsonOf(const ScanState& scan) {
    return {{"state", ScanStateName(scan.state)}, {"channel", scan.channel}, {"found", scan.found}};
}

Json BoardJson(const std::string& name, const Endpoint& at, Role role,
               const std::optional<TransmitterStatus>& transmitter, const std::optional<ReceiverStatus>& receiver,
               const std::optional<ScanState>& scan, const std::string& error) {
    return {{"name", name},
            {"address", AddressText(at.address)},
            {"port", at.port},
            {"role", RoleName(role)},
            {"answered", error.empty()},
            {"error", error.empty() ? Json() : Json(error)},
            {"transmitter", transmitter ? JsonOf(*transmitter) : Json()},
            {"scan", scan ? JsonOf(*scan) : Json()},
            {"receiver", receiver ? JsonOf(*receiver) : Json()}};
}

}  // namespace zulctl
