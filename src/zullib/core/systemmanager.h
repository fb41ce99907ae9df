/// The board's system daemon: disk partitions that are read-only except while a file is written.
#pragma once

#include "platform/mutex.h"

/// Asks the system daemon to remount partitions.
class SystemManager {
 public:
    /// Makes a partition read-write or read-only again; waits a second at least, a minute at most. Callers take turns.
    /// \param part  partition number: 1 settings files, 4 upgrade image
    /// \param rw    1 read-write, 0 read-only
    /// \return 0 on success; -1 no queue; -2 not sent; -3 no answer in time; -4 another answer than asked
    static int RemountHd(int part, int rw);

    /// Held by whoever has partition 1 read-write, from the one remount to the other, so that two saves can't close
    /// the disk under each other. Outermost of all locks.
    static platform::Mutex& DiskBracket();
};
