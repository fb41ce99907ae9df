// httplib with its own stream: a deadline for the whole request, and a bound on the connections of a client.
#include "serve/http_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "output/failure.h"

namespace zulctl::serve {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLargestHead = 16 << 10;  ///< bytes of request line and headers
constexpr std::size_t kLargestBody = 4 << 10;
constexpr auto kRequestTime = std::chrono::seconds(3);  ///< for a request to come in whole
/// Connections of one client address that may wait for the client; one more closes the one that has waited longest.
constexpr int kWaitingOfOne = 64;
constexpr std::size_t kThreads = 2 * kWaitingOfOne;     ///< one slow client leaves half of them to the others
constexpr int kBacklog = 512;                           ///< connections that the kernel keeps for the service
constexpr auto kAnswerTime = std::chrono::seconds(20);  ///< for a client to take an answer

/// Nothing is loaded from elsewhere, and no other site may show or read what is served.
const httplib::Headers kHeaders = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
     "form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

/// A connection whose request has a deadline and a size, whatever pieces it comes in.
class BoundedStream final : public httplib::Stream {
 public:
    BoundedStream(socket_t fd, WaitingRoom& room) : mFd(fd), mRoom(room), mDeadline(Clock::now() + kRequestTime) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0) mClient = peer.sin_addr.s_addr;
    }

    bool is_readable() const override { return mAt < mFilled || Ready(POLLIN, mDeadline); }
    bool is_writable() const override { return Ready(POLLOUT, Clock::now() + kAnswerTime); }
    socket_t socket() const override { return mFd; }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}

    ssize_t read(char* to, size_t size) override {
        if (mAt == mFilled) {
            if (mTotal >= kLargestHead + kLargestBody || !Ready(POLLIN, mDeadline)) return -1;
            const ssize_t received = recv(mFd, mBuffer, sizeof mBuffer, 0);
            if (received <= 0) return -1;
            mAt = 0, mFilled = static_cast<std::size_t>(received);
            mTotal += mFilled;
        }
        const std::size_t count = std::min(size, mFilled - mAt);
        std::memcpy(to, mBuffer + mAt, count);
        mAt += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* from, size_t size) override {
        if (mAnswerEnd == Clock::time_point{}) mAnswerEnd = Clock::now() + kAnswerTime;
        if (!Ready(POLLOUT, mAnswerEnd)) return -1;
        return send(mFd, from, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    }

 private:
    bool Ready(short events, Clock::time_point deadline) const { return mRoom.Wait(mFd, mClient, events, deadline); }

    const socket_t mFd;
    in_addr_t mClient = 0;
    WaitingRoom& mRoom;
    const Clock::time_point mDeadline;
    Clock::time_point mAnswerEnd{};  ///< counts from the first byte: an order may take a minute
    std::size_t mAt = 0, mFilled = 0, mTotal = 0;
    char mBuffer[2048];
};

}  // namespace

bool WaitingRoom::Wait(socket_t fd, std::uint32_t client, short events, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd polled{fd, events, 0};
    if (left <= 0) return false;
    if (poll(&polled, 1, 0) == 1) return true;
    Enter({fd, client});
    const bool ready = poll(&polled, 1, static_cast<int>(left)) == 1;
    const std::lock_guard lock(mMutex);
    mConnections.remove_if([&](const Connection& one) { return one.fd == fd; });
    return ready;
}

void WaitingRoom::Enter(const Connection& added) {
    const std::lock_guard lock(mMutex);
    mConnections.push_back(added);
    if (std::ranges::count(mConnections, added.client, &Connection::client) <= kWaitingOfOne) return;
    const auto oldest = std::ranges::find(mConnections, added.client, &Connection::client);
    ::shutdown(oldest->fd, SHUT_RDWR);  // wakes its thread, which closes it
    mConnections.erase(oldest);
}

HttpServer::HttpServer(std::function<bool(const httplib::Request&, httplib::Response&)> check, const Handler& handle) {
    new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    set_payload_max_length(kLargestBody);
    set_default_headers(kHeaders);
    set_tcp_nodelay(true);
    // httplib's own options would let a second service bind the same port.
    set_socket_options([](socket_t fd) {
        const int yes = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    // Paths aren't given to httplib, which would take them for regular expressions and for files.
    const auto respond = [check = std::move(check), handle](const httplib::Request& request,
                                                            httplib::Response& response) {
        if (!check(request, response)) return HandlerResponse::Handled;
        if (request.method == "POST") return HandlerResponse::Unhandled;
        handle(request, response);
        return HandlerResponse::Handled;
    };
    set_pre_routing_handler(respond);
    // A request that is answered without its body gets no 100 (Continue).
    set_expect_100_continue_handler([respond](const httplib::Request& request, httplib::Response& response) {
        if (respond(request, response) == HandlerResponse::Handled) return response.status;
        return request.get_header_value<std::uint64_t>("Content-Length") > kLargestBody ? response.status = 413 : 100;
    });
    Post("[^]*", handle);
}

HttpServer::~HttpServer() {
    stop();
    if (mThread.joinable()) mThread.join();
}

std::uint16_t HttpServer::Start(const Endpoint& at) {
    const std::string address = AddressText(at.address);
    const int port = at.port == 0 ? bind_to_any_port(address) : bind_to_port(address, at.port) ? at.port : -1;
    if (port <= 0) throw Failure(kUsage, "can't listen at " + EndpointText(at) + ": is another service there?");
    // httplib lets five connections wait, and the system resets what a busy service doesn't accept in time.
    ::listen(svr_sock_, kBacklog);
    mThread = std::thread([this] { listen_after_bind(); });
    while (!is_running()) std::this_thread::yield();
    return static_cast<std::uint16_t>(port);
}

bool HttpServer::process_and_close_socket(socket_t fd) {
    BoundedStream stream(fd, mRoom);
    bool closed = false;
    const bool done = process_request(stream, true, closed, [](httplib::Request& request) {
        // Compressing costs more than sending, and ranges of a status make no sense.
        request.headers.erase("Accept-Encoding");
        request.ranges.clear();
    });
    ::shutdown(fd, SHUT_RDWR);
    ::close(fd);
    return done;
}

}  // namespace zulctl::serve
