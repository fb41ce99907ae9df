// Orders to the player: the table of options, the scan over a line's words, and the queue.
#include "playback/m710cmmd.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/msgqueue.h"
#include "playback/playeroptions.h"

namespace {

constexpr unsigned kPlayerQueue = 1234;
constexpr unsigned kPlayerType = 2;
constexpr int kMaxParameters = 384;   ///< bytes behind a command number
constexpr int kSentBehind = 4;        ///< zero bytes more
constexpr int kMaxWords = 256;
constexpr int kNoOrder = -1;

// clang-format off
constexpr PlayerOption kOptions[] = {
    // word       order                 size run
    {"-help",     kNoOrder,             0,   RunHelp},
    {"-mount",    DEVICE_REMOUNT_REQ,   384, RunMount},
    {"-image",    START_IMAGE_DISPLAY,  20,  RunImage},
    {"-rtsp",     kNoOrder,             0,   RunExit},
    {"-rtp",      START_STREAM_DISPLAY, 88,  RunRtp},
    {"-udp",      START_STREAM_DISPLAY, 88,  RunUdp},
    {"-vdbg",     DEBUG_CMMD,           380, RunDebug},
    {"-vstat",    VPLAYER_STATUS,       0,   RunPlain},
    {"-colorbar", COLOR_BAR,            0,   RunPlain},
    {"-osdstart", OSD_START,            0,   RunPlain},
    {"-osdstop",  OSD_STOP,             0,   RunPlain},
    {"-stopall",  STOP_ALL,             0,   RunPlain},
    {"-stoppic",  STOP_IMAGE,           0,   RunPlain},
    {"-stopvid",  STOP_VIDEO,           0,   RunPlain},
    {"-stopb",    BROWSER_STOP,         0,   RunPlain},
    {"-trick",    PLAYER_CTL,           56,  RunTrick},
    {"-res",      SET_RESOLUTION,       56,  RunResolution},
    {"-vs",       VIDEO_LAYER,          32,  RunLayer},
    {"-ps",       BROWSER_LAYER,        32,  RunLayer},
    {"-os",       OSD_LAYER,            32,  RunLayer},
    {"-video",    START_VIDEO_PLAY,     124, RunVideo},
    {"-vnext",    VIDEO_NEXT,           124, RunVideo},
    {"-pic",      START_PICTURE_PLAY,   124, RunPicture},
    {"-pnext",    PICTURE_NEXT,         124, RunPicture},
    {"-browser",  BROWSER_START,        124, RunBrowser},
    {"-bnext",    BROWSER_NEXT,         124, RunBrowser},
    {"-hwc",      HWC_DISPLAY,          128, RunMessage},
    {"-atsc",     START_TUNER_CHANNEL,  80,  RunTuner},
    {"-scan",     TUNER_SCAN,           80,  RunScan},
    {"-hostip",   kNoOrder,             0,   RunHostIp},
    {"-hostname", kNoOrder,             0,   RunHostName},
};
// clang-format on

/// Words are distinct, and every size can be copied from a record and its padding.
constexpr bool OptionsHold() {
    for (std::size_t i = 0; i < std::size(kOptions); ++i) {
        if (kOptions[i].size > kMaxParameters) return false;
        if (4 + kOptions[i].size > static_cast<int>(sizeof(PaddedRecord))) return false;
        for (std::size_t later = i + 1; later < std::size(kOptions); ++later) {
            if (kOptions[i].word == kOptions[later].word) return false;
        }
    }
    return true;
}
static_assert(OptionsHold());

}  // namespace

const PlayerOption* FindOption(std::string_view word) {
    const auto found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                    [word](const PlayerOption& option) { return option.word == word; });
    return found != std::end(kOptions) ? found : nullptr;
}

int send_msg(unsigned int msgQID, unsigned int TypeId, unsigned int cmmdId, const void* pParam, int paramSize) {
    platform::MsgQueue queue;
    if (!queue.Open(static_cast<int>(msgQID))) return 0;
    struct {
        std::uint32_t cmmdId;
        char parameters[kMaxParameters + kSentBehind];
    } message{cmmdId, {}};
    const int size = std::clamp(paramSize, 0, kMaxParameters);
    if (pParam != nullptr) std::memcpy(message.parameters, pParam, static_cast<std::size_t>(size));
    const auto length = sizeof message.cmmdId + static_cast<std::size_t>(size + kSentBehind);
    if (queue.Send(static_cast<int>(TypeId), &message, length, IPC_NOWAIT | MSG_NOERROR)) return 1;
    const int error = errno;
    std::printf("[kb] can't send cmmd %u Type: %u to msg %u (id=%d)\n\tError %s (%d)\n", cmmdId, TypeId, msgQID, queue.Id(),
                std::strerror(error), error);
    return 0;
}

void SendToPlayer(const PlayerOption& option, const PaddedRecord& record, int size) {
    const char* const bytes = reinterpret_cast<const char*>(&record);
    send_msg(kPlayerQueue, kPlayerType, static_cast<unsigned>(option.cmmdId), bytes + sizeof(std::int32_t), size);
}

int Main(int argc, char** argv) {
    const Words words{argc, argv};
    PaddedRecord record;
    if (argc < 1) {
        RunHelp(kOptions[0], record, words, 0);
        return 0;
    }
    for (int at = 0; at < argc;) {
        const PlayerOption* const option = FindOption(words[at]);
        if (option == nullptr) {
            ++at;
            continue;
        }
        std::memset(&record, 0, sizeof record);
        at = option->run(*option, record, words, at);
        if (at == kEndOfLine) return 0;
    }
    return 0;
}

void m710cmmd(char* arg) {
    static char name[] = "m7";  // stands where a program's name would, and matches no option
    static char* table[kMaxWords];
    std::printf("m710cmmd %s\n", arg);
    int argc = 0;
    table[argc++] = name;
    char* position = nullptr;
    for (char* word = strtok_r(arg, " ", &position); word != nullptr && argc < kMaxWords;
         word = strtok_r(nullptr, " ", &position)) {
        if (argc >= kMaxWords - 1) std::fputs("m710cmmd TOO MANY ARGUMENTS", stderr);
        table[argc++] = word;
    }
    Main(argc, table);
}
