// Channels and events as JSON.
#include "protocol/channel_json.h"

#include "protocol/moment.h"

namespace zulctl {

using Json = nlohmann::ordered_json;

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

}  // namespace zulctl
