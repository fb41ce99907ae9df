// Lines on what happens on a board.
#include "story.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "infrared_service.h"

namespace board {

namespace {

constexpr std::pair<std::int32_t, const char*> kNames[] = {
    {START_IMAGE_DISPLAY, "START_IMAGE_DISPLAY"},
    {START_STREAM_DISPLAY, "START_STREAM_DISPLAY"},
    {STOP_IMAGE, "STOP_IMAGE"},
    {SET_RESOLUTION, "SET_RESOLUTION"},
    {BROWSER_START, "BROWSER_START"},
    {BROWSER_NEXT, "BROWSER_NEXT"},
    {BROWSER_STOP, "BROWSER_STOP"},
    {STOP_VIDEO, "STOP_VIDEO"},
    {START_VIDEO_PLAY, "START_VIDEO_PLAY"},
    {START_PICTURE_PLAY, "START_PICTURE_PLAY"},
    {STOP_ALL, "STOP_ALL"},
    {PLAYER_CTL, "PLAYER_CTL"},
    {COLOR_BAR, "COLOR_BAR"},
    {OSD_START, "OSD_START"},
    {OSD_STOP, "OSD_STOP"},
    {VIDEO_NEXT, "VIDEO_NEXT"},
    {PICTURE_NEXT, "PICTURE_NEXT"},
    {OSD_LAYER, "OSD_LAYER"},
    {VIDEO_LAYER, "VIDEO_LAYER"},
    {BROWSER_LAYER, "BROWSER_LAYER"},
    {DEBUG_CMMD, "DEBUG_CMMD"},
    {VPLAYER_STATUS, "VPLAYER_STATUS"},
    {START_TUNER_CHANNEL, "START_TUNER_CHANNEL"},
    {HWC_DISPLAY, "HWC_DISPLAY"},
    {TUNER_SCAN, "TUNER_SCAN"},
};

/// \return an order's name, or its number
std::string OrderName(std::int32_t command) {
    for (const auto& [number, name] : kNames) {
        if (number == command) return name;
    }
    return fmt::format("order {}", command);
}

}  // namespace

std::string Describe(const SettingsRequest& request) {
    const std::string& name = request.name.empty() ? request.oid : request.name;
    return request.set ? fmt::format("set {} to {}", name, request.value) : fmt::format("get {}", name);
}

std::string Describe(const Burn& burn) {
    if (!burn.good) return fmt::format("can't burn {}", burn.image);
    return fmt::format("burnt the {} bytes of {} into {}, read back the same", burn.size, burn.image, burn.copy);
}

std::string Describe(const RemountRequest& request) {
    return fmt::format("/mnt/hd{} is to be {}", request.part, request.writable ? "writable" : "read-only");
}

std::string Describe(const Tuning& tuning) {
    if (tuning.channel == 0) return "stopped";
    return fmt::format("channel {}, strength {} of 5", tuning.channel, tuning.strength);
}

std::string Describe(const sMSG_COMMON_FORMAT& order) {
    const auto place = [](const sKBL_LAYER_INFO& layer) {
        return fmt::format("{} {} {} {}, alpha {}", layer.centerX, layer.centerY, layer.width, layer.height,
                           layer.alpha);
    };
    std::string details;
    switch (order.cmmd.cmmdId) {
        case START_STREAM_DISPLAY:
            details = fmt::format(" {:.15}:{}, programme {}, audio PID {}", order.streamStart.addr,
                                  order.streamStart.portNo & 0xFFFF, order.streamStart.videoInfo.vType >> 16,
                                  order.streamStart.videoInfo.aType >> 16);
            break;
        case BROWSER_START:
        case START_VIDEO_PLAY:
        case START_PICTURE_PLAY:
            details = fmt::format(" {:.255} at {}", order.fileStart.fileName, place(order.fileStart.dispParam));
            break;
        case VIDEO_LAYER:
        case BROWSER_LAYER:
        case OSD_LAYER: details = " " + place(order.layer); break;
        case DEBUG_CMMD:
            details = fmt::format(" {} {} {}", order.dbg.param[0], order.dbg.param[1], order.dbg.param[2]);
            break;
        default: break;
    }
    return OrderName(order.cmmd.cmmdId) + details;
}

std::string Describe(const BrowserOrder& order) {
    if (order.statusRequest) return "asked for its status";
    constexpr std::string_view kKey = "-k";
    if (!order.text.starts_with(kKey)) return "got " + Describe(order.text);
    const int code = std::atoi(order.text.c_str() + kKey.size());
    return fmt::format("got the key {} ({})", KeyName(code), Describe(order.text));
}

std::string Describe(const Screen& screen) {
    std::string layers;
    const auto add = [&layers](const Layer& layer, const std::string& what) {
        if (!layer.IsVisible()) return;
        layers += fmt::format("{}{} on {} x {} %, alpha {}", layers.empty() ? "" : "; ", what, layer.place.width,
                              layer.place.height, std::min(layer.place.alpha, 255));
    };
    add(screen.video, screen.programme == 0 ? "no picture yet" : fmt::format("programme {}", screen.programme));
    add(screen.browser, screen.browser.item);
    add(screen.picture, screen.picture.item);
    return layers.empty() ? "nothing" : layers;
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
