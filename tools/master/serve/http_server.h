/// An HTTP server with tight limits: small requests within a deadline, one request a connection.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "protocol/endpoint.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace zulctl::serve {

inline constexpr std::size_t kLargestHead = 16 << 10;  ///< bytes of request line and headers
inline constexpr std::size_t kLargestBody = 4 << 10;
inline constexpr int kRequestSeconds = 3;  ///< for a request to come in whole
/// Connections of one client address that may wait for the client; one more closes the one that has waited longest.
inline constexpr int kWaitingOfOne = 64;

/// Fills a response.
void Answer(httplib::Response& response, int status, const std::string& body,
            const std::string& type = "application/json; charset=utf-8");

class HttpServer {
 public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    /// \param check   called before a body is read; false: it has filled the response, which ends the request
    /// \param handle  fills the response; called from several threads
    HttpServer(std::function<bool(const httplib::Request&, httplib::Response&)> check, const Handler& handle);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Binds and listens. Port 0 takes any that is free. \return the port. Throws Failure(kUsage)
    std::uint16_t Start(const Endpoint& at);
    /// Stops listening and waits for requests in progress.
    void Stop();

 private:
    class Impl;
    std::unique_ptr<Impl> mpImpl;
};

}  // namespace zulctl::serve
