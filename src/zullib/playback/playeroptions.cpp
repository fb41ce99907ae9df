// The table of the player's options. The records are those of kbl_interprocess.h.
#include "playback/playeroptions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace {

constexpr int kMaxSize = 384;  ///< of the parameters in one message

constexpr std::int32_t kRtpFlag = 0x1000000;  ///< in the port of a stream that comes by RTP
constexpr std::int32_t kBrowserItem = 2;      ///< mType of a page
constexpr std::int32_t kPictureSeconds = 15;
constexpr std::int32_t kBuiltInSeconds = 10;  ///< of the built-in picture
constexpr std::int32_t kChannel = 14, kSubChannel = 1;
constexpr std::int32_t kRemountCount = 15;
constexpr std::uint32_t kFirstTextDebug = 7;  ///< first and last debug order that takes a text
constexpr std::uint32_t kLastTextDebug = 9;

/// Offset of a field in the record of any order.
#define FIELD(member) static_cast<std::uint16_t>(offsetof(sMSG_COMMON_FORMAT, member))

/// Concatenates arrays.
template <typename Element, std::size_t... Sizes>
constexpr auto Join(const std::array<Element, Sizes>&... parts) {
    std::array<Element, (Sizes + ...)> all{};
    auto* to = all.data();
    ((to = std::copy(parts.begin(), parts.end(), to)), ...);
    return all;
}

/// Cx Cy W H asp alpha xyMode of the layer at an offset of the record; full screen and opaque where a word is absent.
/// The words have asp before alpha, the record alpha before asp.
constexpr std::array<OptionWord, 7> LayerWords(std::uint16_t layer, Kind number, Kind mode, bool fullScreen) {
    const auto at = [layer](std::size_t field) { return static_cast<std::uint16_t>(layer + field); };
    return {{
        {number, at(offsetof(sKBL_LAYER_INFO, centerX)), fullScreen ? 50 : 0},
        {number, at(offsetof(sKBL_LAYER_INFO, centerY)), fullScreen ? 50 : 0},
        {number, at(offsetof(sKBL_LAYER_INFO, width)), fullScreen ? 100 : 0},
        {number, at(offsetof(sKBL_LAYER_INFO, height)), fullScreen ? 100 : 0},
        {number, at(offsetof(sKBL_LAYER_INFO, asp))},
        {number, at(offsetof(sKBL_LAYER_INFO, alpha)), fullScreen ? 255 : 0},
        {mode, at(offsetof(sKBL_LAYER_INFO, xyMode))},
    }};
}

// clang-format off
using One = std::array<OptionWord, 1>;

// partNo ro|rw
constexpr OptionWord kMountWords[] = {{Kind::kUnsigned, FIELD(sapp.param[3])}, {Kind::kReadWrite, FIELD(sapp.param[4])}};
constexpr FixedField kMountFields[] = {  // the answer is to go to the player's own queue
    {FIELD(sapp.param[0]), kPlayer.key}, {FIELD(sapp.param[1]), kPlayer.type}, {FIELD(sapp.param[5]), kRemountCount}};

// a word
constexpr OptionWord kImageWords[] = {{Kind::kUnread}};
constexpr FixedField kImageFields[] = {
    {FIELD(imageStart.pic1Id), 1}, {FIELD(imageStart.pic2Id), 1}, {FIELD(imageStart.durSec), kBuiltInSeconds}};

// ip port progPid audioPid Cx Cy W H ASP Alpha yxMode duration
constexpr auto kStreamWords = Join(
    std::array{OptionWord{Kind::kText,     FIELD(streamStart.addr), 0, sizeof sSTART_STREAM_DISPLAY::addr},
               OptionWord{Kind::kPort,     FIELD(streamStart.portNo)},
               OptionWord{Kind::kUpperHex, FIELD(streamStart.videoInfo.vType)},
               OptionWord{Kind::kUpperHex, FIELD(streamStart.videoInfo.aType)}},
    LayerWords(FIELD(streamStart.dispParam), Kind::kUnsigned, Kind::kMode, true),
    One{{{Kind::kUnsigned, FIELD(streamStart.durSec)}}});
constexpr FixedField kRtpFields[] = {{FIELD(streamStart.portNo), kRtpFlag}};

// paramVal and five numbers, or a text
constexpr OptionWord kDebugWords[] = {
    {Kind::kUnsigned, FIELD(dbg.param[0]), -1}, {Kind::kHex, FIELD(dbg.param[1])}, {Kind::kHex, FIELD(dbg.param[2])},
    {Kind::kHex, FIELD(dbg.param[3])}, {Kind::kHex, FIELD(dbg.param[4])}, {Kind::kHex, FIELD(dbg.param[5])}};
constexpr OptionWord kDebugTextWords[] = {
    {Kind::kUnsigned, FIELD(dbg.param[0])},
    {Kind::kText,     FIELD(dbg.param[1]), 0, sizeof sCMMD_DBG::param - sizeof(std::int32_t)}};

// cmmd param; index; Cx Cy W H asp alpha xymod
constexpr OptionWord kTrickWords[] = {
    {Kind::kUnsigned, FIELD(playerCtl.playerCmmd)}, {Kind::kUnsigned, FIELD(playerCtl.param[0])}};
constexpr OptionWord kResolutionWords[] = {{Kind::kUnsigned, FIELD(playerCtl.playerCmmd)}};
constexpr auto kLayerWords = LayerWords(FIELD(layer), Kind::kSigned, Kind::kSigned, false);

// fname [loop] duration Cx Cy W H asp alpha xymod
constexpr One kFileName  = {{{Kind::kName,     FIELD(fileStart.fileName), 0, sizeof sSTART_FILE_PLAY::fileName}}};
constexpr One kFileLoop  = {{{Kind::kNotZero,  FIELD(fileStart.repeatCnt), 1}}};
constexpr One kFileTime  = {{{Kind::kUnsigned, FIELD(fileStart.durSec)}}};
constexpr One kPicTime   = {{{Kind::kNotZero,  FIELD(fileStart.durSec), kPictureSeconds}}};
constexpr auto kFileLayer = LayerWords(FIELD(fileStart.dispParam), Kind::kSigned, Kind::kSigned, true);
constexpr auto kVideoWords   = Join(kFileName, kFileLoop, kFileTime, kFileLayer);
constexpr auto kPictureWords = Join(kFileName, kPicTime, kFileLayer);
constexpr auto kPageWords    = Join(kFileName, kFileTime, kFileLayer);
constexpr FixedField kPictureFields[] = {{FIELD(fileStart.repeatCnt), 1}};
constexpr FixedField kPageFields[]    = {{FIELD(fileStart.repeatCnt), 1}, {FIELD(fileStart.mType), kBrowserItem}};

// message duration position
constexpr OptionWord kMessageWords[] = {
    {Kind::kUnterminated, FIELD(hwcMsg.hwcMsg), 0, sizeof sHWC_MSG_DISPLAY::hwcMsg},
    {Kind::kUnsigned, FIELD(hwcMsg.duration)}, {Kind::kUnsigned, FIELD(hwcMsg.position)}};

// chId subId duration, always full screen; subCmmd
constexpr OptionWord kTunerWords[] = {
    {Kind::kNotZero, FIELD(tunerStart.channelNo), kChannel}, {Kind::kNotZero, FIELD(tunerStart.subChannelNo), kSubChannel},
    {Kind::kUnsigned, FIELD(tunerStart.durSec)}};
constexpr FixedField kTunerFields[] = {
    {FIELD(tunerStart.dispParam.centerX), 50}, {FIELD(tunerStart.dispParam.centerY), 50},
    {FIELD(tunerStart.dispParam.width), 100}, {FIELD(tunerStart.dispParam.height), 100},
    {FIELD(tunerStart.dispParam.alpha), 255}};
constexpr OptionWord kScanWords[] = {{Kind::kUnsigned, FIELD(scanCmmd.subCmmdId)}};
// clang-format on

void PrintTrick(const PlayerOption&, const sMSG_COMMON_FORMAT& record, const char*) {
    std::printf("[m710cmmd] trick id = %d/%d\n", record.playerCtl.playerCmmd, record.playerCtl.param[0]);
}
void PrintResolution(const PlayerOption&, const sMSG_COMMON_FORMAT& record, const char*) {
    std::printf("[kb] resolution index = %d\n", record.playerCtl.playerCmmd);
}
void PrintLayer(const PlayerOption& option, const sMSG_COMMON_FORMAT&, const char*) {
    std::printf("[kb] %s command %d\n", option.word.data(), option.cmmdId);
}
void PrintVideo(const PlayerOption&, const sMSG_COMMON_FORMAT&, const char* name) {
    std::printf("[m710cmmd] play video %s\n", name);
}
void PrintPage(const PlayerOption&, const sMSG_COMMON_FORMAT&, const char* name) {
    std::printf("[m710cmmd] play browser %s\n", name);
}
void PrintNextPage(const PlayerOption&, const sMSG_COMMON_FORMAT&, const char* name) {
    std::printf("[m710cmmd] play next browser item %s\n", name);
}
void PrintMessage(const PlayerOption&, const sMSG_COMMON_FORMAT& record, const char*) {
    const sHWC_MSG_DISPLAY& message = record.hwcMsg;
    std::printf("\n[m710cmmd] hwc = %.12s. dur = %u-sec. pos = %u.\n\n", message.hwcMsg, message.duration,
                message.position);
}

/// Debug orders that take a text instead of numbers; without one nothing is sent.
constexpr PlayerOption kDebugText = {.word = "-vdbg",
                                     .cmmdId = DEBUG_CMMD,
                                     .size = 380,
                                     .required = 2,
                                     .words = kDebugTextWords,
                                     .missing = Missing::kDropWord};

int RunDebug(const PlayerOption& option, const Words& words, int at) {
    const auto order = words.Usable(at + 1) ? static_cast<std::uint32_t>(ValueOf(words[at + 1], Number::kUnsigned)) : 0;
    return RunOrder(order >= kFirstTextDebug && order <= kLastTextDebug ? kDebugText : option, words, at);
}

constexpr auto kLine = Missing::kDropLine;
constexpr auto kWord = Missing::kDropWord;

// clang-format off
constexpr PlayerOption kOptions[] = {
    // option     order                 size min words             fixed           prints        else   by        more   to
    {"-help",     kNoOrder,             0,   0,  {},               {},             nullptr,      kLine, RunHelp},
    {"-mount",    DEVICE_REMOUNT_REQ,   384, 2,  kMountWords,      kMountFields,   nullptr,      kLine, RunOrder, false, kDaemon},
    {"-image",    START_IMAGE_DISPLAY,  20,  1,  kImageWords,      kImageFields},
    {"-rtsp",     kNoOrder,             0,   0,  {},               {},             nullptr,      kLine, RunExit},
    {"-rtp",      START_STREAM_DISPLAY, 88,  2,  kStreamWords,     kRtpFields,     nullptr,      kLine, RunOrder, true},
    {"-udp",      START_STREAM_DISPLAY, 88,  2,  kStreamWords,     {},             nullptr,      kLine, RunOrder, true},
    {"-vdbg",     DEBUG_CMMD,           380, 0,  kDebugWords,      {},             nullptr,      kLine, RunDebug},
    {"-vstat",    VPLAYER_STATUS},
    {"-colorbar", COLOR_BAR},
    {"-osdstart", OSD_START},
    {"-osdstop",  OSD_STOP},
    {"-stopall",  STOP_ALL},
    {"-stoppic",  STOP_IMAGE},
    {"-stopvid",  STOP_VIDEO},
    {"-stopb",    BROWSER_STOP},
    {"-trick",    PLAYER_CTL,           56,  1,  kTrickWords,      {},             PrintTrick},
    {"-res",      SET_RESOLUTION,       56,  1,  kResolutionWords, {},             PrintResolution},
    {"-vs",       VIDEO_LAYER,          32,  6,  kLayerWords,      {},             PrintLayer},
    {"-ps",       BROWSER_LAYER,        32,  6,  kLayerWords,      {},             PrintLayer},
    {"-os",       OSD_LAYER,            32,  6,  kLayerWords,      {},             PrintLayer},
    {"-video",    START_VIDEO_PLAY,     124, 1,  kVideoWords,      {},             PrintVideo},
    {"-vnext",    VIDEO_NEXT,           124, 1,  kVideoWords,      {},             PrintVideo},
    {"-pic",      START_PICTURE_PLAY,   124, 1,  kPictureWords,    kPictureFields, nullptr,      kWord},
    {"-pnext",    PICTURE_NEXT,         124, 1,  kPictureWords,    kPictureFields, nullptr,      kWord},
    {"-browser",  BROWSER_START,        124, 1,  kPageWords,       kPageFields,    PrintPage},
    {"-bnext",    BROWSER_NEXT,         124, 1,  kPageWords,       kPageFields,    PrintNextPage},
    {"-hwc",      HWC_DISPLAY,          128, 1,  kMessageWords,    {},             PrintMessage, kWord},
    {"-atsc",     START_TUNER_CHANNEL,  80,  0,  kTunerWords,      kTunerFields},
    {"-scan",     TUNER_SCAN,           80,  0,  kScanWords,       {},             nullptr,      kLine, RunOrder, true},
    {"-hostip",   kNoOrder,             0,   0,  {},               {},             nullptr,      kLine, RunHostIp},
    {"-hostname", kNoOrder,             0,   0,  {},               {},             nullptr,      kLine, RunHostName},
};
// clang-format on

#undef FIELD

constexpr bool WordsAreDistinct() {
    for (std::size_t i = 0; i < std::size(kOptions); ++i) {
        for (std::size_t later = i + 1; later < std::size(kOptions); ++later) {
            if (kOptions[i].word == kOptions[later].word) return false;
        }
    }
    return true;
}
static_assert(WordsAreDistinct());

/// Each order's fields lie within the record and after its number, and within the bytes that it sends.
constexpr bool OrderHolds(const PlayerOption& option) {
    constexpr int kHead = sizeof(std::int32_t);
    int sent = option.size;
    if (option.required < 0 || option.required > static_cast<int>(option.words.size())) return false;
    for (const OptionWord& word : option.words) {
        if (word.kind == Kind::kUnread) continue;
        if (word.offset < kHead || word.offset + word.size > static_cast<int>(sizeof(sMSG_COMMON_FORMAT))) return false;
        if (word.kind == Kind::kName) sent += word.size - 1;
    }
    for (const OptionWord& word : option.words) {
        if (word.kind != Kind::kUnread && word.offset + word.size > kHead + sent) return false;
    }
    for (const FixedField& field : option.fixed) {
        if (field.offset < kHead || field.offset + kHead > kHead + option.size) return false;
    }
    return sent <= kMaxSize && kHead + sent <= static_cast<int>(sizeof(PaddedRecord));
}
static_assert(std::all_of(std::begin(kOptions), std::end(kOptions), OrderHolds) && OrderHolds(kDebugText));

}  // namespace

std::span<const PlayerOption> PlayerOptions() { return kOptions; }

const PlayerOption* FindOption(std::string_view word) {
    const auto found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                    [word](const PlayerOption& option) { return option.word == word; });
    return found != std::end(kOptions) ? found : nullptr;
}
