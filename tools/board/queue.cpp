// System V message queues (POSIX.1-2017, XSI) and the thread that reads one.
#include "queue.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace board {

namespace {

constexpr int kEverybody = 0666;
constexpr std::size_t kMaxBytes = 8192;  // the system's limit for one message

struct NativeMessage {
    long type;
    std::array<char, kMaxBytes> bytes;
};

[[noreturn]] void Fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

Queue::Queue(int key) : mId(msgget(key, IPC_CREAT | kEverybody)) {
    msqid_ds state{};
    if (mId == -1 || msgctl(mId, IPC_STAT, &state) == -1) Fail("msgget");
    mRoom = state.msg_qbytes;
}

std::optional<Queue> Queue::Find(int key) {
    Queue queue;
    queue.mId = msgget(key, kEverybody);
    if (queue.mId == -1) return std::nullopt;
    return queue;
}

void Queue::Send(const Message& message) const {
    NativeMessage native;
    if (message.bytes.size() > native.bytes.size()) throw std::length_error("message too long for a queue");
    native.type = message.type;
    std::memcpy(native.bytes.data(), message.bytes.data(), message.bytes.size());
    if (msgsnd(mId, &native, message.bytes.size(), IPC_NOWAIT) == -1 && errno != EAGAIN && errno != EIDRM &&
        errno != EINVAL) {
        Fail("msgsnd");
    }
}

std::optional<Message> Queue::Receive() const {
    NativeMessage native;
    ssize_t size;
    while ((size = msgrcv(mId, &native, native.bytes.size(), 0, 0)) == -1) {
        if (errno == EIDRM || errno == EINVAL) return std::nullopt;
        if (errno != EINTR) Fail("msgrcv");
    }
    return Message{native.type, std::string(native.bytes.data(), static_cast<std::size_t>(size))};
}

void Queue::Clog(bool clogged) const {
    msqid_ds state{};
    if (msgctl(mId, IPC_STAT, &state) == -1) return;  // removed
    state.msg_qbytes = clogged ? 0 : mRoom;
    if (msgctl(mId, IPC_SET, &state) == -1) Fail("msgctl");
}

void Queue::Remove() const { msgctl(mId, IPC_RMID, nullptr); }

QueueReader::QueueReader(int key, std::function<void(const Message&, Fault)> take)
    : mQueue(key), mTake(std::move(take)), mThread([this] {
          while (const auto message = mQueue.Receive()) mTake(*message, mFault);
      }) {}

QueueReader::~QueueReader() {
    mQueue.Remove();
    mThread.join();
}

void QueueReader::Set(Fault fault) {
    mFault = fault;
    mQueue.Clog(fault == Fault::kFull);
}

}  // namespace board
