/// System V message queues, as the board's processes use them.
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

/// One queue, by key. Throws std::system_error for failures that a correct test can't have.
class Queue {
 public:
    /// Opens the queue, creating it if needed.
    explicit Queue(int key);

    /// \return the queue, or nothing when it doesn't exist
    static std::optional<Queue> Find(int key);

    /// Sends; waits while the queue is full.
    void Send(const Message& message) const;

    /// Sends unless the queue is full. \return false when it is
    bool TrySend(const Message& message) const;

    /// Waits for a message of any type. \return nothing when the queue is removed
    std::optional<Message> Receive() const;

    /// \return a message of any type, or nothing when there is none
    std::optional<Message> TryReceive() const;

    /// Removes the queue; waiting calls return.
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

    /// Stops taking messages and fills the queue, or removes the filling and takes messages again.
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
    bool mParked = false;  ///< the thread has stopped taking messages
    bool mStop = false;
    std::thread mThread;
};

}  // namespace board
