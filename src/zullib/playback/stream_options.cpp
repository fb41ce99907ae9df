// Options that play a stream, a file, a picture or a page.
#include <cstdio>
#include <cstring>

#include "playback/playeroptions.h"
#include "replytext.h"

namespace {

constexpr std::int32_t kRtpFlag = 0x1000000;
constexpr sKBL_LAYER_INFO kFullScreen = {0, 50, 50, 100, 100, 255, 0, 0};
constexpr std::uint32_t kPictureSeconds = 15;
constexpr std::uint32_t kBrowserItem = 2;

/// ip port [progPid [audioPid [Cx [Cy [W [H [ASP [Alpha [yxMode [duration]]]]]]]]]]
int RunStream(const PlayerOption& option, PaddedRecord& record, const Words& words, int at, std::int32_t portFlag) {
    if (!words.Usable(at + 1, 2)) return kEndOfLine;
    sSTART_STREAM_DISPLAY& stream = record.record.streamStart;
    CopyText(stream.addr, words[at + 1]);
    stream.portNo = ValueOf(words[at + 2], Number::kUnsigned) | portFlag;
    stream.dispParam = kFullScreen;
    sKBL_LAYER_INFO& layer = stream.dispParam;
    std::int32_t programme = 0, audio = 0, duration = 0;
    const Field fields[] = {{&programme, Number::kHex},         {&audio, Number::kHex},
                            {&layer.centerX, Number::kUnsigned}, {&layer.centerY, Number::kUnsigned},
                            {&layer.width, Number::kUnsigned},   {&layer.height, Number::kUnsigned},
                            {&layer.asp, Number::kUnsigned},     {&layer.alpha, Number::kUnsigned},
                            {&layer.xyMode, Number::kUnsigned},  {&duration, Number::kUnsigned}};
    constexpr int kModeGiven = 9;  // words up to and with yxMode
    int filled = 0;
    const int next = TakeTail(words, at + 3, fields, &filled);
    if (filled >= kModeGiven) layer.cmmdId = VIDEO_LAYER;
    stream.videoInfo.vType = static_cast<std::int32_t>(static_cast<std::uint32_t>(programme) << 16);
    stream.videoInfo.aType = static_cast<std::int32_t>(static_cast<std::uint32_t>(audio) << 16);
    stream.durSec = static_cast<std::uint32_t>(duration);
    SendToPlayer(option, record, option.size);
    return filled == static_cast<int>(std::size(fields)) ? next + 1 : next;  // a whole line steps over one more word
}

/// The tail of a file order: [loop] [duration [Cx [Cy [W [H [asp [alpha [xymod]]]]]]]]
int TakeFileTail(sSTART_FILE_PLAY& file, const Words& words, int at, bool hasLoop) {
    file.dispParam = kFullScreen;
    sKBL_LAYER_INFO& layer = file.dispParam;
    std::int32_t loop = 0, duration = 0;
    const Field fields[] = {{&loop, Number::kUnsigned},        {&duration, Number::kUnsigned},
                            {&layer.centerX, Number::kSigned}, {&layer.centerY, Number::kSigned},
                            {&layer.width, Number::kSigned},   {&layer.height, Number::kSigned},
                            {&layer.asp, Number::kSigned},     {&layer.alpha, Number::kSigned},
                            {&layer.xyMode, Number::kSigned}};
    const int next = TakeTail(words, at, std::span(fields).subspan(hasLoop ? 0 : 1));
    file.repeatCnt = loop != 0 ? static_cast<std::uint32_t>(loop) : 1;
    file.durSec = static_cast<std::uint32_t>(duration);
    return next;
}

/// The order's size counts the name, cut to its field.
void SendFile(const PlayerOption& option, PaddedRecord& record, const char* name) {
    sSTART_FILE_PLAY& file = record.record.fileStart;
    CopyText(file.fileName, name);
    SendToPlayer(option, record, option.size + static_cast<int>(std::strlen(file.fileName)));
}

}  // namespace

int RunRtp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    return RunStream(option, record, words, at, kRtpFlag);
}

int RunUdp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    return RunStream(option, record, words, at, 0);
}

int RunVideo(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    std::printf("[m710cmmd] play video %s\n", words[at + 1]);
    const int next = TakeFileTail(record.record.fileStart, words, at + 2, true);
    SendFile(option, record, words[at + 1]);
    return next;
}

int RunPicture(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return at + 2;
    sSTART_FILE_PLAY& file = record.record.fileStart;
    const int next = TakeFileTail(file, words, at + 2, false);
    if (file.durSec == 0) file.durSec = kPictureSeconds;
    SendFile(option, record, words[at + 1]);
    return next;
}

int RunBrowser(const PlayerOption& option, PaddedRecord& record, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    const bool next_item = option.cmmdId == BROWSER_NEXT;
    std::printf(next_item ? "[m710cmmd] play next browser item %s\n" : "[m710cmmd] play browser %s\n", words[at + 1]);
    sSTART_FILE_PLAY& file = record.record.browser;
    const int next = TakeFileTail(file, words, at + 2, false);
    file.mType = kBrowserItem;
    SendFile(option, record, words[at + 1]);
    return next;
}
