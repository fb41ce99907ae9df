// The lines that tell what happens on a board.
#include "story.h"

#include <fmt/format.h>

namespace board {

std::string Describe(const SettingsRequest& request) {
    const std::string& name = request.name.empty() ? request.oid : request.name;
    return request.set ? fmt::format("set {} to {}", name, request.value) : fmt::format("get {}", name);
}

std::string Describe(const Burn& burn) {
    if (burn.copy.empty()) return fmt::format("can't burn {}", burn.image);
    return fmt::format("burnt {} into {}", burn.image, burn.copy);
}

std::string Describe(const RemountRequest& request) {
    return fmt::format("/mnt/hd{} is to be {}", request.part, request.writable ? "writable" : "read-only");
}

std::string Describe(const Tuning& tuning) {
    if (tuning.channel == 0) return "stopped";
    return fmt::format("channel {}, strength {} of 5", tuning.channel, tuning.strength);
}

std::string Describe(const PlayerOrder& order) {
    const auto place = [](const sKBL_LAYER_INFO& layer) {
        return fmt::format("{} {} {} {}, alpha {}", layer.centerX, layer.centerY, layer.width, layer.height,
                           layer.alpha);
    };
    const sMSG_COMMON_FORMAT& record = order.record;
    std::string details;
    switch (order.command) {
        case START_STREAM_DISPLAY:
            details = fmt::format(" {:.15}:{}, programme {}, audio PID {}", record.streamStart.addr,
                                  record.streamStart.portNo & 0xFFFF, record.streamStart.videoInfo.vType >> 16,
                                  record.streamStart.videoInfo.aType >> 16);
            break;
        case BROWSER_START:
        case START_VIDEO_PLAY:
        case START_PICTURE_PLAY:
            details = fmt::format(" {:.255} at {}", record.fileStart.fileName, place(record.fileStart.dispParam));
            break;
        case VIDEO_LAYER:
        case BROWSER_LAYER:
        case OSD_LAYER: details = " " + place(record.layer); break;
        case DEBUG_CMMD:
            details = fmt::format(" {} {} {}", record.dbg.param[0], record.dbg.param[1], record.dbg.param[2]);
            break;
        default: break;
    }
    return OrderName(order.command) + details;
}

std::string Describe(const BrowserOrder& order) {
    return order.statusRequest ? "asked for its status" : "got " + Describe(order.text);
}

std::string Describe(const std::string& bytes) {
    std::string shown;
    for (const char byte : bytes) {
        const bool printable = byte >= ' ' && byte <= '~' && byte != '\\';
        shown += printable ? std::string(1, byte) : fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
    return shown;
}

}  // namespace board
