// Remounting disk partitions, by the board's system daemon.
#include "core/systemmanager.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "core/log.h"
#include "kbl_interprocess.h"
#include "platform/machine.h"
#include "platform/msgqueue.h"

namespace {

constexpr int MSG_Q_ID = 1240;     ///< the daemon's queue
constexpr int MY_MSG_Q_ID = 1689;  ///< the module's, for the answer
constexpr int kRequestType = 20;
constexpr int kAnswerType = 1;
constexpr std::int32_t kRemountCount = 25;
constexpr int kTurns = 60;  ///< seconds to wait for an answer
constexpr int kSettingsPartition = 1;

/// A request or an answer of the daemon, without the message type.
struct RemountMessage {
    std::int32_t cmmdId;
    std::int32_t param[14];
};
static_assert(sizeof(RemountMessage) == 60 && offsetof(RemountMessage, param) == 4);

constexpr int kMountState = 4;  ///< index in `param`: 1 read-write, 0 read-only
constexpr int kNoWait = IPC_NOWAIT | MSG_NOERROR;

/// Waits for the answer to a request. \return as RemountHd
int TakeAnswer(const platform::MsgQueue& mine, int rw) {
    RemountMessage message{};
    for (int turn = 0; turn < kTurns; ++turn) {
        platform::Sleep(platform::kSecond);
        if (mine.Receive(kAnswerType, &message, sizeof message, kNoWait) <= 0) continue;
        if (message.cmmdId == DEVICE_REMOUNT_RES && message.param[kMountState] == rw) return 0;
        PANIC("Remount unsuccesfull: mount state %d, cmmdId %d\n", message.param[kMountState], message.cmmdId);
        return -4;
    }
    PANIC("msgrcv");
    return -3;
}

void DropAnswers(const platform::MsgQueue& mine) {
    RemountMessage message;
    while (mine.Receive(kAnswerType, &message, sizeof message, kNoWait) >= 0) {
    }
}

}  // namespace

platform::Mutex& SystemManager::DiskBracket() {
    static platform::StaticMutex mutex;
    return mutex.Get();
}

int SystemManager::RemountHd(int part, int rw) {
    static platform::StaticMutex exchange;  // answers carry no id: one exchange at a time
    static bool outOfStep = false;          // the last answer is missing, or belonged to an earlier request
    const platform::MutexLock lock(exchange.Get());

    platform::MsgQueue daemon;
    platform::MsgQueue mine;
    if (!daemon.Open(MSG_Q_ID) || !mine.Create(MY_MSG_Q_ID)) {
        PANIC("msgget");
        return -1;
    }
    if (outOfStep) DropAnswers(mine);
    const RemountMessage request{DEVICE_REMOUNT_REQ, {MY_MSG_Q_ID, kAnswerType, 0, part, rw, kRemountCount}};
    if (!daemon.Send(kRequestType, &request, sizeof request, kNoWait)) {
        std::perror("msgsnd");
        return -2;
    }
    const int result = TakeAnswer(mine, rw);
    outOfStep = result != 0;
    return result;
}

WritableDisk::WritableDisk() {
    SystemManager::DiskBracket().Lock();
    mWritable = SystemManager::RemountHd(kSettingsPartition, 1) == 0;
}

WritableDisk::~WritableDisk() {
    if (mWritable) SystemManager::RemountHd(kSettingsPartition, 0);
    SystemManager::DiskBracket().Unlock();
}
