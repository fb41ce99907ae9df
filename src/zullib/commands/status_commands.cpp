// STATUS: what a transmitter streams, and what a receiver plays.
#include <strings.h>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "filter/tsfilter.h"

namespace {

constexpr int kStreamLock = 5;  ///< lock state while the item being played is a stream
constexpr int kBrowserUp = 2;

}  // namespace

/// STATUS: what a transmitter streams or a receiver plays. The CPU load takes a second to measure.
char* CommandManager::ProcessStatus(Request request) {
    return mMyType == 'T' ? ProcessStatusGetTransmitter(request) : ProcessStatusGetReceiver(request);
}

/// A group for each stream, then tuner mode and CPU load.
char* CommandManager::ProcessStatusGetTransmitter(Request request) {
    // Unsigned, as the player may store any number there.
    const unsigned sigStrength =
        static_cast<unsigned>(SharedMem::Self()->GetSignalStrengthTransmitter()) * SharedMem::kStrengthStep;
    const int lockMode = sigStrength != 0 ? 1 : 0;
    ReplyText reply = request.Reply();
    reply.Add("STATUS ");
    const auto streams = mpTsf->StatusOfStreams();
    for (const TsFilter::StreamStatus& stream : streams) {
        reply.Add("%d %d %s:%d %d:%d:%.2x:[", stream.active ? 1 : 0, stream.id, stream.address, stream.port, 0,
                  lockMode, sigStrength);
        const char* separator = "";
        for (const std::uint16_t program : stream.programs) {
            reply.Add("%s%.4x", separator, program);
            separator = ":";
        }
        reply.Add("] ");
    }
    if (streams.empty()) reply.Add("0 0 0.0.0.0:0 0:%d:%.2x:[] ", lockMode, sigStrength);
    reply.Add("F:%s ", mTunerMode);
    reply.Add("E:0 C:\"NO CAM\" %d%% OK\r\n", SharedMem::Self()->GetCpuUtilization());
    return request.text;
}

char* CommandManager::ProcessStatusGetReceiver(Request request) {
    int lockState = 0;
    if (const char* const item = mpSnmp->SnmpGet(Oid(CURRENT_ITEM_BEING_PLAYED))) {
        if (strncasecmp(item, "Stream", 6) == 0) lockState = kStreamLock;
    } else {
        PANIC("snmp");
    }
    SharedMem* const block = SharedMem::Self();
    const int program = block->GetProgramReceivedReceiver();
    const int video = block->GetVideoTypeReceiver();
    const int audio = block->GetAudioTypeReceiver();
    const int load = block->GetCpuUtilization();
    request.Reply().Add("STATUS %d %s:%d %d:%.4x %d %d %d %d %d%%OK\r\n", mLastUnitCommandId,
                        mPlayback.mMulticastIpReceived, mPlayback.mMulticastPortReceived, lockState,
                        static_cast<unsigned>(program), video, audio, mPage.mBrowserUp ? kBrowserUp : 0, 0, load);
    return request.text;
}
