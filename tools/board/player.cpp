// The player: orders of the module, and their effect on the screen.
#include "player.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

namespace board {

namespace {

constexpr int kQueueKey = 1234;
constexpr long kOrderType = 2;
constexpr int kPortMask = 0xFFFF;
constexpr int kSwitchPids = 14;  ///< first parameter of DEBUG_CMMD: other PIDs of the running stream

// Types as this player numbers them in the status block, by stream_type (ISO/IEC 13818-1, table 2-34; A/53, part 3).
constexpr std::uint32_t VideoCode(int streamType) {
    switch (streamType) {
        case 0: return 0;
        case 0x1B: return 22;  // H.264
        case 0x24: return 23;  // H.265
        default: return 2;     // MPEG-1 and MPEG-2
    }
}
constexpr std::uint32_t AudioCode(int streamType) {
    switch (streamType) {
        case 0: return 0;
        case 0x81: return 7;  // AC-3
        case 0x87: return 6;  // E-AC-3
        default: return 2;    // MPEG
    }
}

template <std::size_t Size>
std::string Text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}

}  // namespace

Player::Player(StatusBlock& block, Duties duties)
    : mBlock(block),
      mDuties(std::move(duties)),
      mReader(kQueueKey, [this](const Message& message, Fault fault) { Take(message, fault); }) {}

Screen Player::Shown() const {
    std::shared_ptr<StreamTap> tap;
    Screen screen;
    {
        const std::lock_guard lock(mMutex);
        tap = mTap;
        screen = mScreen;
    }
    if (tap) screen.videoBytes = tap->LastBytes();
    return screen;
}

void Player::Take(const Message& message, Fault fault) {
    if (message.type != kOrderType || message.bytes.size() < sizeof(std::int32_t)) return;
    sMSG_COMMON_FORMAT order{};
    std::memcpy(&order, message.bytes.data(), std::min(message.bytes.size(), sizeof order));
    if (fault != Fault::kSilent) Obey(order);
    mOrders.Add(order);
}

void Player::Obey(const sMSG_COMMON_FORMAT& record) {
    switch (record.cmmd.cmmdId) {
        case START_STREAM_DISPLAY: return Play(record.streamStart);
        case DEBUG_CMMD:
            if (record.dbg.param[0] == kSwitchPids && mTap) mTap->Choose(record.dbg.param[1], record.dbg.param[2]);
            return;
        case STOP_VIDEO: return StopVideo();
        case STOP_ALL: StopVideo(); break;
        default: break;
    }
    const std::lock_guard lock(mMutex);
    switch (record.cmmd.cmmdId) {
        case STOP_ALL: mScreen.browser.item = mScreen.picture.item = ""; break;
        case BROWSER_STOP: mScreen.browser.item = ""; break;
        case STOP_IMAGE: mScreen.picture.item = ""; break;
        case VIDEO_LAYER: mScreen.video.place = record.layer; break;
        case BROWSER_LAYER: mScreen.browser.place = record.layer; break;
        case OSD_LAYER: mScreen.picture.place = record.layer; break;
        case BROWSER_START:
        case BROWSER_NEXT: mScreen.browser = {record.fileStart.dispParam, Text(record.fileStart.fileName)}; break;
        case START_PICTURE_PLAY:
        case PICTURE_NEXT: mScreen.picture = {record.fileStart.dispParam, Text(record.fileStart.fileName)}; break;
        default: break;
    }
    mBlock.Layer(0, mScreen.video.IsVisible() ? 1 : 0, mScreen.video.item);
    mBlock.Layer(1, mScreen.browser.IsVisible() ? 1 : 0, mScreen.browser.item);
}

void Player::Play(const sSTART_STREAM_DISPLAY& order) {
    StopVideo();
    const std::string group = Text(order.addr);
    const int port = order.portNo & kPortMask;
    std::shared_ptr<StreamTap> tap;
    try {
        tap = std::make_shared<StreamTap>(group, port, order.videoInfo.vType >> 16 & 0xFFFF,
                                          order.videoInfo.aType >> 16 & 0xFFFF, mDuties.section,
                                          [this](const ProgrammeStreams& streams) { TellStreams(streams); });
    } catch (const std::system_error&) {
        return;  // as a real player: no picture and no report
    }
    const std::string item = fmt::format("Stream {}:{}", group, port);
    {
        const std::lock_guard lock(mMutex);
        mTap = std::move(tap);
        mScreen.video = {order.dispParam, item};
    }
    mBlock.Layer(0, 1, item);
    mDuties.item(item);
}

void Player::StopVideo() {
    std::shared_ptr<StreamTap> tap;
    {
        const std::lock_guard lock(mMutex);
        tap = std::exchange(mTap, nullptr);
        mScreen.video.item = "";
    }
    if (!tap) return;
    tap.reset();  // ends its thread, which reports streams until then
    TellStreams({});
    mDuties.item("");
}

void Player::TellStreams(const ProgrammeStreams& streams) {
    {
        const std::lock_guard lock(mMutex);
        mScreen.programme = streams.videoType == 0 ? 0 : streams.programme;
    }
    mBlock.Programme(static_cast<std::uint32_t>(streams.programme));
    mBlock.VideoType(VideoCode(streams.videoType));
    mBlock.AudioType(AudioCode(streams.audioType));
}

}  // namespace board
