/// An HTTP server with tight limits: small requests within a deadline, one request a connection.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "protocol/endpoint.h"

namespace zulctl::serve {

inline constexpr std::size_t kLargestHead = 16 << 10;  ///< bytes of request line and headers
inline constexpr std::size_t kLargestBody = 4 << 10;
inline constexpr int kRequestSeconds = 3;  ///< for a request to come in whole
/// Connections of one client address that may wait for the client; one more closes the one that has waited longest.
inline constexpr int kWaitingOfOne = 64;

struct HttpRequest {
    std::string method, path;                        ///< path: decoded, without the query
    std::map<std::string, std::string> query;        ///< the first value of each name
    std::function<std::string(const char*)> header;  ///< value of a header, or an empty text
    int hosts = 0;                                   ///< how many Host headers there are
    std::string body;                                ///< of a POST
};

struct HttpAnswer {
    int status = 200;
    std::string type = "application/json; charset=utf-8";
    std::shared_ptr<const std::string> body;
    std::string allow{};  ///< Allow header of a 405
};

HttpAnswer TextAnswer(int status, std::string type, std::string body);

class HttpServer {
 public:
    /// \param check   called before a body is read; an answer other than 200 ends the request
    /// \param handle  called from several threads
    HttpServer(std::function<HttpAnswer(const HttpRequest&)> check,
               std::function<HttpAnswer(const HttpRequest&)> handle);
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
