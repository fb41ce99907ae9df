// Turns by abstract socket names: the process that has bound the name has the turn; others connect to it and sleep
// until it is released.
#include "net/board_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace zulctl {

namespace {

struct Name {
    sockaddr_un address{};
    socklen_t size;

    explicit Name(const std::string& text) {
        address.sun_family = AF_UNIX;
        const std::size_t length = std::min(text.size(), sizeof address.sun_path - 1);
        std::memcpy(address.sun_path + 1, text.data(), length);  // the zero byte in front makes it abstract
        size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    }
    const sockaddr* Raw() const { return reinterpret_cast<const sockaddr*>(&address); }
};

int StreamSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }

/// Sleeps until the holder releases the name, for at most a slice. \return the holder's process id, 0 where unknown
pid_t WaitForHolder(const Name& name, int milliseconds) {
    const int fd = StreamSocket();
    pid_t holder = 0;
    if (fd >= 0 && connect(fd, name.Raw(), name.size) == 0) {
        ucred peer{};
        socklen_t size = sizeof peer;
        if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) holder = peer.pid;
        pollfd polled{fd, POLLIN, 0};
        poll(&polled, 1, milliseconds);
    } else {
        usleep(10000);
    }
    if (fd >= 0) close(fd);
    return holder;
}

}  // namespace

PortLock::PortLock(const std::string& text, Clock::time_point deadline) : mFd(StreamSocket()) {
    if (mFd < 0) throw Failure(kUsage, "socket: " + std::string(std::strerror(errno)));
    const Name name(text);
    pid_t holder = 0;
    while (bind(mFd, name.Raw(), name.size) != 0 || listen(mFd, 64) != 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0 || Interrupted()) {
            close(mFd);
            throw TurnTaken("another zulctl (process " + std::to_string(holder) +
                            ") is at this board; its turn didn't end in time");
        }
        holder = WaitForHolder(name, static_cast<int>(std::min<long long>(left, 100)));
    }
}

PortLock::~PortLock() { close(mFd); }

}  // namespace zulctl
