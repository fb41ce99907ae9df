// A board's status as JSON.
#include "protocol/status_json.h"

namespace zulctl {

using Json = nlohmann::ordered_json;

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
    return {{"last_unit", status.lastUnit}, {"plays_stream", status.playsStream}, {"group", status.address},
            {"port", status.port},          {"programme", status.programme},      {"video_code", status.video},
            {"audio_code", status.audio},   {"browser_up", status.browserUp},     {"load_percent", status.load}};
}

Json BoardJson(const std::string& name, const Endpoint& at, Role role,
               const std::optional<TransmitterStatus>& transmitter, const std::optional<ReceiverStatus>& receiver,
               const std::string& error) {
    Json board = {{"name", name},
                  {"address", AddressText(at.address)},
                  {"port", at.port},
                  {"role", RoleName(role)},
                  {"answered", error.empty()}};
    if (transmitter) board["transmitter"] = JsonOf(*transmitter);
    if (receiver) board["receiver"] = JsonOf(*receiver);
    if (!error.empty()) board["error"] = error;
    return board;
}

}  // namespace zulctl
