// The system daemon: remount orders on queue 1240, and the mounts.
#include "system_daemon.h"

#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>

namespace board {

namespace {

constexpr int kRequestKey = 1240;
constexpr long kRequestType = 20;
constexpr std::int32_t kRemountOrder = 73;
constexpr std::int32_t kRemountDone = 74;
constexpr std::size_t kAnswerSize = 60;

/// Order and answer: a command number and its parameters, native 32-bit integers.
struct RemountRecord {
    std::int32_t command;
    std::array<std::int32_t, 14> param;
};
static_assert(sizeof(RemountRecord) == kAnswerSize);

}  // namespace

SystemDaemon::SystemDaemon() {
    for (const int part : {1, 4}) {
        mReallyMounts = Mount(part, false) && mReallyMounts;
        mWritable[part] = false;
    }
    mReader.emplace(kRequestKey, [this](const Message& message, Fault fault) { Take(message, fault); });
}

SystemDaemon::~SystemDaemon() {
    mReader.reset();
    for (const auto& [part, writable] : mWritable) {
        if (!writable) Mount(part, true);
    }
}

bool SystemDaemon::IsWritable(int part) const {
    const std::lock_guard lock(mMutex);
    const auto found = mWritable.find(part);
    return found != mWritable.end() && found->second;
}

/// Changes the mount, not the file system, which a user namespace may not change. Fails while a file is open for
/// writing, as on a board.
bool SystemDaemon::Mount(int part, bool writable) {
    const std::string folder = kDisk + "/hd" + std::to_string(part);
    unsigned long flags = MS_REMOUNT | MS_BIND;
    if (!writable) flags |= MS_RDONLY;
    return mount("none", folder.c_str(), nullptr, flags, nullptr) == 0;
}

void SystemDaemon::Take(const Message& message, Fault fault) {
    RemountRecord order{};
    std::memcpy(&order, message.bytes.data(), std::min(message.bytes.size(), sizeof order));
    if (message.type != kRequestType || order.command != kRemountOrder) return;
    const RemountRequest request{order.param[0], order.param[1], order.param[3], order.param[4] != 0, order.param[5]};

    RemountRecord answer{kRemountDone, {}};
    {
        const std::lock_guard lock(mMutex);
        const auto partition = mWritable.find(request.part);
        if (partition != mWritable.end()) {
            const bool done = fault != Fault::kLying && (!mReallyMounts || Mount(request.part, request.writable));
            if (done) partition->second = request.writable;
            answer.param[4] = partition->second ? 1 : 0;
        }
    }
    mRequests.Add(request);
    if (fault == Fault::kSlow) std::this_thread::sleep_for(kLate);
    const auto reply = Queue::Find(request.replyKey);
    if (fault == Fault::kSilent || !reply) return;
    reply->Send({request.replyType, std::string(reinterpret_cast<const char*>(&answer), sizeof answer)});
}

}  // namespace board
