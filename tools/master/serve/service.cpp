// Paths and their answers.
#include "serve/service.h"

#include "output/failure.h"
#include "serve/http_server.h"

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

void Answer(httplib::Response& response, int status, const std::string& body,
            const char* type = "application/json; charset=utf-8") {
    response.status = status;
    response.set_content(body, type);
}

void Refuse(httplib::Response& response, int status, const std::string& why) {
    Answer(response, status, ErrorJson(why));
}

}  // namespace

Service::Service(ServiceOptions options)
    : mOptions(std::move(options)),
      mNames(OwnNames(mOptions.hosts, mOptions.listen)),
      mBoards(mOptions.watch),
      mStreams(mOptions.interfaceIndex),
      mStills(mStreams, mOptions.interfaceIndex, mOptions.stillsEvery * 1s),
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

std::string Service::Fresh(Shared& shared, std::string (*make)(const Overview&)) const {
    const std::lock_guard lock(shared.mutex);
    if (Clock::now() - shared.made > kFreshFor) {
        shared.body = make(Take());
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
    const auto refusal = WhyNot(request, mNames, mOptions.token);
    if (!refusal) return true;
    Refuse(response, refusal->status, refusal->why);
    if (refusal->status == 405) response.set_header("Allow", "GET, HEAD, POST");
    return false;
}

void Service::Handle(const httplib::Request& request, httplib::Response& response) {
    const std::string& path = request.path;
    if (request.method == "POST") {
        const auto [status, body] = Obey(mBoards, path, request.body);
        return Answer(response, status, body);
    }
    if (path == "/api/overview") return Answer(response, 200, Fresh(mOverview, OverviewJson));
    if (path == "/metrics")
        return Answer(response, 200, Fresh(mMetrics, MetricsText), "text/plain; version=0.0.4; charset=utf-8");
    if (path == "/api/status") return Answer(response, 200, StatusJson(Take()));
    if (path == "/api/channels" || path == "/api/guide") {
        const auto board = mBoards.Find(request.get_param_value("board"));
        if (!board || board->role != Role::kTransmitter) return Refuse(response, 404, "no transmitter is called that");
        return Answer(response, 200, path == "/api/guide" ? GuideJson(*board) : ChannelsJson(*board));
    }
    const auto group = ParseEndpoint(request.get_param_value("stream"));
    if (path == "/api/probe") {
        for (const Measured& stream : mStreams.Streams()) {
            if (stream.group == group) return Answer(response, 200, ProbeJson(stream));
        }
        return Refuse(response, 404, "no stream is watched there");
    }
    if (path == "/api/picture") {
        const auto jpeg = group ? mStills.Of(*group).jpeg : nullptr;
        return jpeg ? Answer(response, 200, *jpeg, "image/jpeg") : Refuse(response, 404, "there is no picture of that");
    }
    for (const auto& file : kPageFiles) {
        if (path == file.path) return Answer(response, 200, std::string(file.content), file.type);
    }
    Refuse(response, 404, "there is nothing here");
}

}  // namespace zulctl::serve
