// Paths and their answers.
#include "serve/service.h"

#include <unistd.h>

#include "output/failure.h"
#include "serve/http_server.h"
#include "serve/orders.h"

namespace zulctl::serve {

using namespace std::literals;

namespace {

constexpr auto kFreshFor = 500ms;

constexpr struct {
    std::string_view path;
    const char* type;
    std::string_view content;
} kPageFiles[] = {
#include "page_files.inc"
};

/// Names and addresses of this machine on which the service listens.
std::vector<std::string> OwnNames(const ServiceOptions& options) {
    std::vector<std::string> names = options.hosts;
    names.insert(names.end(), {"localhost", "127.0.0.1"});
    if (options.listen.address != 0) {
        names.push_back(AddressText(options.listen.address));
        return names;
    }
    for (const Interface& item : Interfaces()) names.push_back(AddressText(item.address));
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) == 0 && name[0] != '\0') names.emplace_back(name);
    return names;
}

void Refuse(httplib::Response& response, int status, const std::string& why) {
    Answer(response, status, ErrorJson(why));
}

}  // namespace

Service::Service(ServiceOptions options)
    : mOptions(std::move(options)),
      mGuard(OwnNames(mOptions), mOptions.token),
      mBoards(mOptions.watch),
      mStreams(mOptions.interfaceIndex),
      mStills(mStreams, mOptions.interfaceIndex, mOptions.stillsEvery),
      mpServer(
          std::make_unique<HttpServer>([this](const auto& request, auto& response) { return Check(request, response); },
                                       [this](const auto& request, auto& response) { Handle(request, response); })) {}

Service::~Service() = default;

std::uint16_t Service::Start() { return mpServer->Start(mOptions.listen); }

void Service::Follow() { mStreams.Want(mBoards.Groups()); }

void Service::Run() {
    while (!Interrupted()) {
        Follow();
        SleepUntil(Clock::now() + 500ms);
    }
}

std::shared_ptr<const std::string> Service::Fresh(Shared& shared, std::string (*make)(const Overview&)) {
    const std::lock_guard lock(shared.mutex);
    if (!shared.body || Clock::now() - shared.made > kFreshFor) {
        shared.body = std::make_shared<const std::string>(make(Take()));
        shared.made = Clock::now();
    }
    return shared.body;
}

Overview Service::Take() const {
    const bool paused = !mOptions.planPath.empty() && PlanIsPaused(mOptions.planPath);
    Overview overview{Clock::now(),  mBoards.Boards(), mStreams.Streams(),     {},
                      mOptions.plan, paused,           !mOptions.token.empty()};
    for (const Measured& stream : overview.streams) overview.stills.push_back(mStills.Of(stream.group));
    return overview;
}

bool Service::Check(const httplib::Request& request, httplib::Response& response) const {
    const auto header = [&](const char* name) { return request.get_header_value(name); };
    if (request.get_header_value_count("Host") != 1 || !mGuard.Knows(header("Host"))) {
        Refuse(response, 421, "this service isn't called that; \"zulctl serve --host NAME\" gives it a name");
        return false;
    }
    if (request.method == "GET" || request.method == "HEAD") return true;
    if (request.method != "POST") {
        Refuse(response, 405, "GET and POST are understood");
        response.set_header("Allow", "GET, HEAD, POST");
        return false;
    }
    const std::string why = mGuard.WhyNot(
        {header("Host"), header("Origin"), header("Sec-Fetch-Site"), header("Content-Type"), header("X-Zulctl-Token")});
    if (!why.empty()) Refuse(response, 403, why);
    return why.empty();
}

void Service::Handle(const httplib::Request& request, httplib::Response& response) {
    if (request.method == "POST") {
        const auto [status, body] = Obey(mBoards, request.path, request.body);
        return Answer(response, status, body);
    }
    if (request.path == "/api/overview") return Answer(response, 200, *Fresh(mOverview, OverviewJson));
    if (request.path == "/metrics")
        return Answer(response, 200, *Fresh(mMetrics, MetricsText), "text/plain; version=0.0.4; charset=utf-8");
    if (request.path == "/api/status") return Answer(response, 200, StatusJson(Take()));
    if (request.path == "/api/channels") return OfBoard(request, response, ChannelsJson);
    if (request.path == "/api/guide") return OfBoard(request, response, GuideJson);
    if (request.path == "/api/probe") return Probe(request, response);
    if (request.path == "/api/picture") return Picture(request, response);
    for (const auto& file : kPageFiles) {
        if (request.path == file.path) return Answer(response, 200, std::string(file.content), file.type);
    }
    Refuse(response, 404, "there is nothing here");
}

void Service::OfBoard(const httplib::Request& request, httplib::Response& response,
                      std::string (*json)(const BoardState&)) const {
    const auto board = mBoards.Find(request.get_param_value("board"));
    if (!board || board->role != Role::kTransmitter) return Refuse(response, 404, "no transmitter is called that");
    Answer(response, 200, json(*board));
}

void Service::Probe(const httplib::Request& request, httplib::Response& response) const {
    const auto group = ParseEndpoint(request.get_param_value("stream"));
    for (const Measured& stream : mStreams.Streams()) {
        if (stream.group == group) return Answer(response, 200, ProbeJson(stream));
    }
    Refuse(response, 404, "no stream is watched there");
}

void Service::Picture(const httplib::Request& request, httplib::Response& response) const {
    const auto group = ParseEndpoint(request.get_param_value("stream"));
    const auto jpeg = group ? mStills.Of(*group).jpeg : nullptr;
    if (!jpeg) return Refuse(response, 404, "there is no picture of that");
    Answer(response, 200, *jpeg, "image/jpeg");
}

}  // namespace zulctl::serve
