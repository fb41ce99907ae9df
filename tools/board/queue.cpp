// System V message queues (POSIX.1-2017, XSI) and the thread that reads one.
#include "queue.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <utility>

namespace board {

namespace {

constexpr int kEverybody = 0666;
constexpr std::size_t kMaxBytes = 8192;  // the system's limit for one message

/// Types of messages that wake the reader, fill the queue or mark the end of the filling; no process of the board uses
/// them.
constexpr long kWake = 0x7FFF0001;
constexpr long kFiller = 0x7FFF0002;
constexpr long kEndOfFillers = 0x7FFF0003;

constexpr std::chrono::seconds kPatience{5};  ///< with a queue that is removed in the meantime

struct NativeMessage {
    long type;
    std::array<char, kMaxBytes> bytes;
};

[[noreturn]] void Fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

std::optional<Message> ReceiveFrom(int id, int flags) {
    NativeMessage native;
    ssize_t size;
    do {
        size = msgrcv(id, &native, native.bytes.size(), 0, flags);
    } while (size == -1 && errno == EINTR);
    if (size == -1) {
        if (errno == ENOMSG || errno == EIDRM || errno == EINVAL) return std::nullopt;
        Fail("msgrcv");
    }
    return Message{native.type, std::string(native.bytes.data(), static_cast<std::size_t>(size))};
}

/// \return false when the queue is full and `flags` doesn't allow a wait, or when the queue was removed
bool SendTo(int id, const Message& message, int flags) {
    NativeMessage native;
    if (message.bytes.size() > native.bytes.size()) throw std::length_error("message too long for a queue");
    native.type = message.type;
    std::memcpy(native.bytes.data(), message.bytes.data(), message.bytes.size());
    int result;
    do {
        result = msgsnd(id, &native, message.bytes.size(), flags);
    } while (result == -1 && errno == EINTR);
    if (result == 0) return true;
    if (errno == EAGAIN || errno == EIDRM || errno == EINVAL) return false;
    Fail("msgsnd");
}

}  // namespace

Queue::Queue(int key) : mId(msgget(key, IPC_CREAT | kEverybody)) {
    if (mId == -1) Fail("msgget");
}

std::optional<Queue> Queue::Find(int key) {
    Queue queue;
    queue.mId = msgget(key, kEverybody);
    if (queue.mId == -1) return std::nullopt;
    return queue;
}

void Queue::Send(const Message& message) const { SendTo(mId, message, 0); }

bool Queue::TrySend(const Message& message) const { return SendTo(mId, message, IPC_NOWAIT); }

std::optional<Message> Queue::Receive() const { return ReceiveFrom(mId, 0); }

std::optional<Message> Queue::TryReceive() const { return ReceiveFrom(mId, IPC_NOWAIT); }

void Queue::Remove() const { msgctl(mId, IPC_RMID, nullptr); }

QueueReader::QueueReader(int key, AtEnd atEnd, std::function<void(const Message&)> take)
    : mQueue(key), mAtEnd(atEnd), mTake(std::move(take)), mThread([this] { Run(); }) {}

QueueReader::~QueueReader() {
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mChanged.notify_all();
    Wake();
    mThread.join();
    if (mAtEnd == AtEnd::kRemoveQueue) mQueue.Remove();
}

void QueueReader::Clog(bool clogged) {
    {
        const std::lock_guard lock(mMutex);
        if (mClogged == clogged) return;
        mClogged = clogged;
        mHasFillers = true;
    }
    mChanged.notify_all();
    if (!clogged) {
        mQueue.Send({kEndOfFillers, ""});
        std::unique_lock lock(mMutex);
        mChanged.wait_for(lock, kPatience, [this] { return !mHasFillers; });
        return;
    }
    Wake();
    {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mParked || !mClogged; });
    }
    for (const std::size_t size : {kMaxBytes, std::size_t{1}}) {
        while (mQueue.TrySend({kFiller, std::string(size, '\0')})) {
        }
    }
}

// With a full queue there is nothing to wake: the thread isn't waiting for a message.
void QueueReader::Wake() const { mQueue.TrySend({kWake, ""}); }

void QueueReader::Run() {
    for (;;) {
        {
            std::unique_lock lock(mMutex);
            if (mClogged) {
                mParked = true;
                mChanged.notify_all();
                mChanged.wait(lock, [this] { return !mClogged || mStop; });
                mParked = false;
            }
            if (mStop) return;
        }
        const auto message = mQueue.Receive();
        if (!message) return;
        if (message->type == kEndOfFillers) {
            const std::lock_guard lock(mMutex);
            mHasFillers = false;
            mChanged.notify_all();
        } else if (message->type != kWake && message->type != kFiller) {
            mTake(*message);
        }
    }
}

}  // namespace board
