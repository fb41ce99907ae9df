/// System V message queues as the board's other processes use them.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace board {

/// One message: its type and its bytes.
struct Message {
    long type = 1;
    std::string bytes;
};

/// One queue, by key. Failures that only a broken test can have throw std::system_error.
class Queue {
 public:
    /// Opens the queue, creating it if needed.
    explicit Queue(int key);

    /// \return the queue, or nothing when no process made it
    static std::optional<Queue> Find(int key);

    /// Sends; waits while the queue is full.
    void Send(const Message& message) const;

    /// Sends unless the queue is full. \return false when it is
    bool TrySend(const Message& message) const;

    /// Waits for a message of any type. \return nothing when the queue was removed meanwhile
    std::optional<Message> Receive() const;

    /// \return a message of any type, or nothing when there is none
    std::optional<Message> TryReceive() const;

    /// Removes the queue; whoever waits on it is told.
    void Remove() const;

 private:
    Queue() = default;

    int mId = -1;
};

/// A thread that takes every message of one queue and hands it to a function.
class QueueReader {
 public:
    enum class AtEnd { kKeepQueue, kRemoveQueue };

    /// \param take  called on the reader's thread
    QueueReader(int key, AtEnd atEnd, std::function<void(const Message&)> take);
    ~QueueReader();
    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    /// Stops taking messages and fills the queue to its brim, or takes them again; what filled it is gone then.
    void Clog(bool clogged);

 private:
    void Run();
    void Wake() const;

    const Queue mQueue;
    const AtEnd mAtEnd;
    const std::function<void(const Message&)> mTake;
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mClogged = false;
    bool mHasFillers = false;
    bool mParked = false;  ///< the thread has noticed that it is to take nothing
    bool mStop = false;
    std::thread mThread;
};

}  // namespace board
