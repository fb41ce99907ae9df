// Text commands and a status query for the browser's controller.
#include "playback/browsercontrol.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/log.h"
#include "kbl_interprocess.h"
#include "platform/machine.h"
#include "platform/msgqueue.h"

namespace {

constexpr int kControllerQueue = 945602;
constexpr int kAnswerQueue = 31561;
constexpr int kTextType = 1;
constexpr int kStatusType = 2;
constexpr std::size_t kMessageSize = 1024;
constexpr std::size_t kMaxText = 1020;
constexpr int kPolls = 5;
constexpr std::int64_t kPollWait = 500 * platform::kMillisecond;
constexpr int kMostStaleAnswers = 16384;  ///< capacity of a queue; bounds the loop when the controller floods it

platform::MsgQueue msgqid;

}  // namespace

int sendMessgageToKonqueror(int /*argc*/, const char* buffer) {
    if (msgqid.Id() < 1) {
        msgqid.Create(kControllerQueue);
        LOG("bcontr: -> obtained msgqid %d\n", msgqid.Id());
    }
    if (msgqid.Id() < 0) {
        PANIC("bcontr: Error getting/creating msgq 1\n");
        return -1;
    }
    if (std::strncmp(buffer, "-a", 2) == 0) {
        isAlive();
        return 0;
    }
    char bfr[kMessageSize] = {};
    std::memcpy(bfr, buffer, strnlen(buffer, kMaxText));
    if (!msgqid.Send(kTextType, bfr, sizeof bfr, 0)) {
        PANIC("Error sending message\n");
        return -1;
    }
    return 0;
}

int isAlive() {
    const sMSG_CMD_FORMAT request{BROWSER_STATUS_REQ, {kAnswerQueue, 2}};
    LOG("bcontr: Sending status request ccmdId %d, param[0] %d, param[1] %d ... \n", request.cmmdId, request.param[0],
        request.param[1]);
    platform::MsgQueue answers;
    if (!answers.Create(kAnswerQueue)) {
        PANIC("bcontr: Error getting/creating msgq\n");
        return -1;
    }
    char bfr[kMessageSize];
    // Answers to an earlier query that came too late must not count for this one.
    for (int i = 0; i < kMostStaleAnswers && answers.Receive(0, bfr, sizeof bfr, IPC_NOWAIT) >= 0; ++i) {
    }
    std::memset(bfr, 0, sizeof bfr);
    std::memcpy(bfr, &request, sizeof request);
    if (!msgqid.Send(kStatusType, bfr, sizeof bfr, 0)) {
        PANIC("bcontr: Error sending msg\n");
        return -1;
    }
    for (int poll = 0; poll < kPolls; ++poll) {
        platform::Sleep(kPollWait);
        sMSG_CMD_FORMAT answer{0, {0, -1}};
        std::memset(bfr, 0, sizeof bfr);
        const ssize_t received = answers.Receive(0, bfr, sizeof bfr, IPC_NOWAIT);
        if (received < 0) continue;
        std::memcpy(&answer, bfr, std::min(sizeof answer, static_cast<std::size_t>(received)));
        LOG("bcontr: Received status %d\n", answer.param[1]);
        return answer.param[1];
    }
    PANIC("bcontr: Error receiving msg\n");
    return -1;
}
