/// The status service: its paths and their answers.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "serve/guard.h"
#include "serve/overview.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace zulctl::serve {

class HttpServer;

struct ServiceOptions {
    Endpoint listen;
    std::vector<std::string> hosts;  ///< its names, besides its address and localhost
    std::string token;               ///< of orders; empty: read-only
    int interfaceIndex = 0;
    int stillsEvery = 10;  ///< seconds; 0: no pictures
    WatchOptions watch;
    std::string planPath;                   ///< empty: no plan
    std::map<Endpoint, PlannedBoard> plan;  ///< by the boards' command services
};

class Service {
 public:
    explicit Service(ServiceOptions options);
    ~Service();

    /// \return the port that it listens at. Throws Failure
    std::uint16_t Start();
    /// Does periodic work until an interrupt.
    void Run();
    /// One round of that: joins new streams.
    void Follow();

 private:
    /// A body for many clients, made once.
    struct Shared {
        std::mutex mutex;
        std::string body;
        Clock::time_point made{};
    };
    std::string Fresh(Shared& shared, std::string (*make)(const Overview&)) const;
    Overview Take() const;

    bool Check(const httplib::Request& request, httplib::Response& response) const;
    void Handle(const httplib::Request& request, httplib::Response& response);

    const ServiceOptions mOptions;
    const std::set<std::string> mNames;
    BoardWatch mBoards;
    StreamWatch mStreams;
    Stills mStills;
    Shared mOverview, mMetrics;
    std::unique_ptr<HttpServer> mpServer;
};

/// Obeys the order of a path, whose body is a JSON object:
///     /api/stream/start  {"board": ID, "channels": [TEXT...], "to": "GROUP:PORT",
///                         "slot": 0 to 7 or null, "whole": BOOL}
///     /api/stream/stop   {"board": ID, "slot": 0 to 7 or null}
///     /api/play          {"board": ID, "stream": "GROUP:PORT", "programme": NUMBER or null}
///     /api/play/stop     {"board": ID}
/// Only watched boards take orders. \return the HTTP status, and what the command line prints with --json, or an error
std::pair<int, std::string> Obey(BoardWatch& boards, const std::string& path, const std::string& body);

}  // namespace zulctl::serve
