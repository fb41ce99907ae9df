// System V message queues (POSIX.1-2017, XSI).
#include "platform/msgqueue.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <cerrno>
#include <cstring>

namespace platform {

namespace {

constexpr int kEverybody = 0666;

/// A message as the system calls expect it: the type as the machine's `long`, then the text.
struct NativeMessage {
    long type;
    char text[kMaxMessage];
};

}  // namespace

bool MsgQueue::Create(int key) { return (mId = msgget(key, IPC_CREAT | kEverybody)) != -1; }

bool MsgQueue::Open(int key) { return (mId = msgget(key, kEverybody)) != -1; }

bool MsgQueue::Send(int type, const void* text, std::size_t size, int flags) const {
    NativeMessage message;
    if (size > sizeof message.text) {
        errno = EINVAL;
        return false;
    }
    message.type = type;
    if (size != 0) std::memcpy(message.text, text, size);
    int result = -1;
    do {
        result = msgsnd(mId, &message, size, flags & ~MSG_NOERROR);
    } while (result == -1 && errno == EINTR);
    return result == 0;
}

ssize_t MsgQueue::Receive(int type, void* text, std::size_t size, int flags) const {
    NativeMessage message;
    if (size > sizeof message.text) {
        errno = EINVAL;
        return -1;
    }
    ssize_t received = -1;
    do {
        received = msgrcv(mId, &message, size, type, flags | MSG_NOERROR);
    } while (received == -1 && errno == EINTR);
    if (received > 0) std::memcpy(text, message.text, static_cast<std::size_t>(received));
    return received;
}

}  // namespace platform
