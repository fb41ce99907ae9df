/// One System V message queue. The only code that knows the native `long mtype` in front of a message.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace platform {

/// Largest supported text of a message, in bytes.
constexpr std::size_t kMaxMessage = 2048;

/// A System V message queue, by key. Queues outlive the process; nothing is closed.
class MsgQueue {
 public:
    /// Opens the queue, creating it if needed, with read and write rights for everybody.
    /// \return false when it can't be created; `errno` has the reason
    bool Create(int key);

    /// Opens a queue that another process owns.
    /// \return false when it doesn't exist or can't be opened; `errno` has the reason
    bool Open(int key);

    /// Sends one message; retries after an interrupting signal.
    /// \param type   message type, above 0
    /// \param text   `size` bytes
    /// \param size   0 to kMaxMessage
    /// \param flags  0 blocks while the queue is full; IPC_NOWAIT fails instead
    /// \return false on failure, with `errno`
    bool Send(int type, const void* text, std::size_t size, int flags) const;

    /// Receives one message; retries after an interrupting signal. A longer text is cut without error.
    /// \param type   requested message type, 0 for any
    /// \param text   takes at most `size` bytes
    /// \param size   0 to kMaxMessage
    /// \param flags  0 blocks until a message comes; IPC_NOWAIT fails instead
    /// \return bytes received, or -1 with `errno`
    ssize_t Receive(int type, void* text, std::size_t size, int flags) const;

    /// \return the system's id of the queue, -1 while there is none
    int Id() const { return mId; }

 private:
    int mId = -1;
};

}  // namespace platform
