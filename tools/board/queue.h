/// System V message queues, as the board's processes use them.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace board {

/// How a process of the simulated board misbehaves. An absent process isn't created.
enum class Fault {
    kNone,
    kSilent,  ///< accepts requests, answers none
    kSlow,    ///< answers late
    kLying,   ///< answers wrongly
    kFull,    ///< accepts no requests, and its queue is full
};

/// Delay of a late answer.
inline constexpr std::chrono::milliseconds kLate{300};

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

    /// Sends unless the queue is full or removed.
    void Send(const Message& message) const;

    /// Waits for a message of any type. \return nothing when the queue is removed
    std::optional<Message> Receive() const;

    /// Makes the queue full, whatever it holds, or gives it its room back. REQUIRES: not from Find.
    void Clog(bool clogged) const;

    /// Removes the queue; waiting calls return.
    void Remove() const;

 private:
    Queue() = default;

    int mId = -1;
    unsigned long mRoom = 0;  ///< bytes that it has room for
};

/// A thread that takes every message of one queue and hands it to a function.
class QueueReader {
 public:
    /// \param take  called on the reader's thread, with the process's fault
    QueueReader(int key, std::function<void(const Message&, Fault)> take);
    /// Removes the queue.
    ~QueueReader();
    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    void Set(Fault fault);

 private:
    const Queue mQueue;
    const std::function<void(const Message&, Fault)> mTake;
    std::atomic<Fault> mFault = Fault::kNone;
    std::thread mThread;
};

}  // namespace board
