/// The board's system daemon: disk partitions that are read-only except while a file is written.
#pragma once

#include "platform/mutex.h"

/// Asks the system daemon to remount partitions.
class SystemManager {
 public:
    /// Makes a partition read-write or read-only; takes from one second to a minute. Concurrent calls are serialised.
    /// \param part  partition number: 1 settings files, 4 upgrade image
    /// \param rw    1 read-write, 0 read-only
    /// \return 0 on success; -1 no queue; -2 not sent; -3 no answer in time; -4 the answer doesn't confirm the state
    static int RemountHd(int part, int rw);

    /// Held by a `WritableDisk`. Outermost of all locks.
    static platform::Mutex& DiskBracket();
};

/// Keeps partition 1 read-write for the life of a scope, and holds the disk bracket: concurrent saves can't make the
/// disk read-only under each other.
class SCOPED_CAPABILITY WritableDisk {
 public:
    WritableDisk() ACQUIRE(SystemManager::DiskBracket());
    ~WritableDisk() RELEASE();
    WritableDisk(const WritableDisk&) = delete;
    WritableDisk& operator=(const WritableDisk&) = delete;

    /// \return false when the partition couldn't be made read-write; nothing may be written then
    bool IsWritable() const { return mWritable; }

 private:
    bool mWritable;
};
