/// The board's system daemon: keeps the disk partitions read-only except between remounts.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "fault.h"
#include "journal.h"
#include "queue.h"

namespace board {

/// One remount order, as received.
struct RemountRequest {
    int replyKey = 0;
    int replyType = 0;
    int part = 0;
    bool writable = false;
    int count = 0;  ///< last parameter; distinguishes the module's own orders from those of the player's language
};

class SystemDaemon {
 public:
    /// Makes the partitions read-only, by a real remount where the process may do that, see ReallyMounts.
    /// \param root  folder of the partitions: partition 1 is `root`/hd1
    explicit SystemDaemon(std::string root = "/mnt");
    /// Leaves the partitions writable.
    ~SystemDaemon();

    Journal<RemountRequest>& Requests() { return mRequests; }

    /// \return whether a partition can be written now; false for one that doesn't exist
    bool IsWritable(int part) const;

    /// \return whether the partitions are file systems that the daemon can remount, so that a write between brackets
    /// fails; otherwise it only keeps their state
    bool ReallyMounts() const { return mReallyMounts; }

    /// kSilent remounts without an answer, kSlow answers after 300 ms, kLying does nothing and reports the old state.
    void Set(Fault fault);

 private:
    void Take(const Message& message);
    bool Mount(int part, bool writable);

    const std::string mRoot;
    Journal<RemountRequest> mRequests;
    mutable std::mutex mMutex;
    std::map<int, bool> mWritable;
    bool mReallyMounts = true;
    Fault mFault = Fault::kNone;
    std::optional<QueueReader> mReader;  ///< last: its thread uses all of the above
};

}  // namespace board
