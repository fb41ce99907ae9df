// Options that steer what is shown: layers, resolution, tuner, messages, disks, and the player's debug orders.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "playback/m710cmmd.h"
#include "playback/playeroptions.h"

namespace {

constexpr unsigned kDaemonQueue = 1240;  ///< of -mount, which the system daemon serves
constexpr unsigned kDaemonType = 20;
constexpr std::int32_t kAnswerQueue = 1234;
constexpr std::int32_t kAnswerType = 2;
constexpr std::int32_t kMountCount = 15;

constexpr std::int32_t kImageSeconds = 10;

constexpr int kLayerWords = 6;       ///< that must be there
constexpr int kLayerWordsAndOne = 7;  ///< with the one that may be

constexpr std::int32_t kDefaultChannel = 14;
constexpr std::int32_t kDefaultSubChannel = 1;

constexpr int kDebugWords = 5;  ///< behind the first one
constexpr std::int32_t kFirstTextDebug = 7;  ///< the debug orders that take a text, up to and with:
constexpr std::int32_t kLastTextDebug = 9;

}  // namespace

int RunPlain(const PlayerOption& option, PaddedRecord& record, const Words& /*words*/, int at) {
    SendToPlayer(option, record, option.size);
    return at + 1;
}

int RunExit(const PlayerOption& /*option*/, PaddedRecord& /*record*/, const Words& /*words*/, int /*at*/) { std::exit(0); }

/// -mount partNo ro/rw
int RunMount(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1, 2)) return kEndOfLine;
    std::int32_t* const param = record.record.sapp.param;
    param[0] = kAnswerQueue;
    param[1] = kAnswerType;
    param[2] = 0;
    param[3] = ValueOf(words[at + 1], Number::kUnsigned);
    param[4] = std::string_view(words[at + 2]) == "rw" ? 1 : 0;
    param[5] = kMountCount;
    send_msg(kDaemonQueue, kDaemonType, static_cast<unsigned>(option.cmmdId), param, option.size);
    return at + 3;
}

/// -image and a word that isn't read
int RunImage(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    sSTART_IMAGE_DISPLAY& image = record.record.imageStart;
    image.pic1Id = image.pic2Id = 1;
    image.durSec = kImageSeconds;
    SendToPlayer(option, record, option.size);
    return at + 2;
}

/// -trick cmmd [param]
int RunTrick(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    sKBL_PLAYER_CTL& control = record.record.playerCtl;
    control.playerCmmd = ValueOf(words[at + 1], Number::kUnsigned);
    if (words.Usable(at + 2)) control.param[0] = ValueOf(words[at + 2], Number::kUnsigned);
    std::printf("[m710cmmd] trick id = %d/%d\n", control.playerCmmd, control.param[0]);
    SendToPlayer(option, record, option.size);
    return at + 3;
}

/// -res index
int RunResolution(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    std::int32_t& index = record.record.setting.tvRes;
    index = ValueOf(words[at + 1], Number::kUnsigned);
    std::printf("[kb] resolution index = %d\n", index);
    SendToPlayer(option, record, option.size);
    return at + 2;
}

/// -vs, -ps, -os: Cx Cy W H asp alpha [xymod]; asp stands before alpha here, and behind it in the record
int RunLayer(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1, kLayerWords)) return kEndOfLine;
    sKBL_LAYER_INFO& layer = record.record.layer;
    const Field fields[] = {{&layer.centerX, Number::kSigned}, {&layer.centerY, Number::kSigned},
                            {&layer.width, Number::kSigned},   {&layer.height, Number::kSigned},
                            {&layer.asp, Number::kSigned},     {&layer.alpha, Number::kSigned},
                            {&layer.xyMode, Number::kSigned}};
    static_assert(std::size(fields) == kLayerWordsAndOne);
    TakeTail(words, at + 1, fields);
    std::printf("[kb] %s command %d\n", words[at], option.cmmdId);
    SendToPlayer(option, record, option.size);
    return at + 1 + kLayerWordsAndOne;
}

/// -hwc message [duration [position]]
int RunMessage(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return at + 2;
    sHWC_MSG_DISPLAY& message = record.record.hwcMsg;
    const char* const text = words[at + 1];
    std::memcpy(message.hwcMsg, text, strnlen(text, sizeof message.hwcMsg));
    std::int32_t duration = 0, position = 0;
    const Field fields[] = {{&duration, Number::kUnsigned}, {&position, Number::kUnsigned}};
    const int next = TakeTail(words, at + 2, fields);
    message.duration = static_cast<std::uint32_t>(duration);
    message.position = static_cast<std::uint32_t>(position);
    std::printf("\n[m710cmmd] hwc = %.12s. dur = %u-sec. pos = %u.\n\n", message.hwcMsg, message.duration, message.position);
    SendToPlayer(option, record, option.size);
    return next;
}

/// -atsc [chId [subId [duration]]]
int RunTuner(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    sSTART_TUNER_CHANNEL& tuner = record.record.tunerStart;
    std::int32_t duration = 0;
    const Field fields[] = {{&tuner.channelNo, Number::kUnsigned}, {&tuner.subChannelNo, Number::kUnsigned},
                            {&duration, Number::kUnsigned}};
    const int next = TakeTail(words, at + 1, fields);
    if (tuner.channelNo == 0) tuner.channelNo = kDefaultChannel;
    if (tuner.subChannelNo == 0) tuner.subChannelNo = kDefaultSubChannel;
    tuner.durSec = static_cast<std::uint32_t>(duration);
    tuner.dispParam = {0, 50, 50, 100, 100, 255, 0, 0};
    SendToPlayer(option, record, option.size);
    return next;
}

/// -scan [subCmmd]; with its word it steps over one more
int RunScan(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    const bool given = words.Usable(at + 1);
    if (given) record.record.scanCmmd.subCmmdId = ValueOf(words[at + 1], Number::kUnsigned);
    SendToPlayer(option, record, option.size);
    return at + (given ? 3 : 2);
}

/// -vdbg [paramVal [...]]: a text for some orders, up to five hexadecimal numbers for the others
int RunDebug(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    std::int32_t* const param = record.record.dbg.param;
    if (!words.Usable(at + 1)) {
        param[0] = -1;
        SendToPlayer(option, record, option.size);
        return at + 2;
    }
    // The first word too is read as hexadecimal only behind paramVal.
    param[0] = ValueOf(words[at + 1], Number::kUnsigned);
    if (param[0] >= kFirstTextDebug && param[0] <= kLastTextDebug) {
        if (!words.Usable(at + 2)) return at + 3;
        constexpr std::size_t kText = sizeof record.record.dbg.param - sizeof param[0] - 1;
        std::memcpy(&param[1], words[at + 2], strnlen(words[at + 2], kText));
        SendToPlayer(option, record, option.size);
        return at + 3;
    }
    Field fields[kDebugWords];
    for (int i = 0; i < kDebugWords; ++i) fields[i] = {&param[1 + i], Number::kHex};
    const int next = TakeTail(words, at + 2, fields);
    SendToPlayer(option, record, option.size);
    return next;
}
