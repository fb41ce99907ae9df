// The system daemon: remount orders on queue 1240, and the mounts.
#include "system_daemon.h"

#include <sys/mount.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>

#include "kbl_interprocess.h"

namespace board {

namespace {

constexpr int kRequestKey = 1240;
constexpr long kRequestType = 20;

/// Order and answer: a command number and its parameters, native 32-bit integers.
struct RemountRecord {
    std::int32_t command;
    std::int32_t param[14];
};

/// Changes the mount, not the file system, which a user namespace may not change. Fails while a file is open for
/// writing, as on a board.
bool Mount(int part, bool writable) {
    const std::string folder = kDisk + "/hd" + std::to_string(part);
    const unsigned long readOnly = writable ? 0 : MS_RDONLY;
    return mount("none", folder.c_str(), nullptr, MS_REMOUNT | MS_BIND | readOnly, nullptr) == 0;
}

}  // namespace

SystemDaemon::SystemDaemon()
    : mReallyMounts(Mount(1, false) && Mount(4, false)),
      mReader(std::in_place, kRequestKey, [this](const Message& message, Fault fault) { Take(message, fault); }) {}

SystemDaemon::~SystemDaemon() {
    mReader.reset();  // no order comes after this
    for (const auto& [part, writable] : mWritable) {
        if (!writable) Mount(part, true);
    }
}

bool SystemDaemon::IsWritable(int part) const {
    const std::lock_guard lock(mMutex);
    return mWritable.contains(part) && mWritable.at(part);
}

void SystemDaemon::Take(const Message& message, Fault fault) {
    RemountRecord order{};
    std::memcpy(&order, message.bytes.data(), std::min(message.bytes.size(), sizeof order));
    if (message.type != kRequestType || order.command != DEVICE_REMOUNT_REQ) return;
    const RemountRequest request{order.param[0], order.param[1], order.param[3], order.param[4] != 0, order.param[5]};

    RemountRecord answer{DEVICE_REMOUNT_RES, {}};
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
