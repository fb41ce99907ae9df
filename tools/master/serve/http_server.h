/// An HTTP server with tight limits: small requests within a deadline, one request a connection.
#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "protocol/endpoint.h"

namespace zulctl::serve {

/// Connections that wait for their clients to send or take bytes.
class WaitingRoom {
 public:
    /// Waits for an event until the deadline, or until the connection is closed in favour of another of its client.
    bool Wait(socket_t fd, std::uint32_t client, short events, std::chrono::steady_clock::time_point deadline);

 private:
    struct Connection {
        socket_t fd;
        std::uint32_t client;
    };
    void Enter(const Connection& added);

    std::mutex mMutex;
    std::list<Connection> mConnections;  ///< the one that has waited longest comes first
};

class HttpServer final : private httplib::Server {
 public:
    /// \param check   called before a body is read; false: it has filled the response, which ends the request
    /// \param handle  fills the response; called from several threads
    HttpServer(std::function<bool(const httplib::Request&, httplib::Response&)> check, const Handler& handle);
    /// Stops listening and waits for requests in progress.
    ~HttpServer() override;

    /// Binds and listens. Port 0 takes any that is free. \return the port. Throws Failure(kUsage)
    std::uint16_t Start(const Endpoint& at);

 private:
    bool process_and_close_socket(socket_t fd) override;

    WaitingRoom mRoom;
    std::thread mThread;
};

}  // namespace zulctl::serve
