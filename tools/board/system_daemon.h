/// The board's system daemon: keeps the disk partitions read-only except between remounts.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "journal.h"
#include "queue.h"

namespace board {

/// Folder of the partitions, 1 is hd1, and of the board's own files.
inline const std::string kDisk = "/mnt";

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
    /// Makes the partitions read-only, by a real remount where the process may do that; else it only keeps their state.
    SystemDaemon();
    /// Leaves the partitions writable.
    ~SystemDaemon();

    Journal<RemountRequest>& Requests() { return mRequests; }

    /// \return whether a partition can be written now; false for one that doesn't exist
    bool IsWritable(int part) const;

    /// kSilent remounts without an answer, kSlow answers after 300 ms, kLying does nothing and reports the old state.
    void Set(Fault fault) { mReader->Set(fault); }

 private:
    void Take(const Message& message, Fault fault);

    Journal<RemountRequest> mRequests;
    mutable std::mutex mMutex;
    std::map<int, bool> mWritable{{1, false}, {4, false}};
    const bool mReallyMounts;
    std::optional<QueueReader> mReader;  ///< last: its thread uses all of the above
};

}  // namespace board
