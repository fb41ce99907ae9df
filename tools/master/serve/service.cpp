// Paths and their answers.
#include "serve/service.h"

#include <unistd.h>

#include <algorithm>

#include "output/failure.h"
#include "page_files.h"

namespace zulctl::serve {

using namespace std::chrono_literals;

namespace {

constexpr auto kFreshFor = 500ms;

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

HttpAnswer Refuse(int status, const std::string& why) {
    HttpAnswer answer;
    answer.status = status;
    answer.body = std::make_shared<const std::string>(ErrorJson(why));
    return answer;
}

std::string Param(const HttpRequest& request, const char* name) {
    const auto found = request.query.find(name);
    return found == request.query.end() ? std::string() : found->second;
}

}  // namespace

Service::Service(ServiceOptions options)
    : mOptions(std::move(options)),
      mGuard(OwnNames(mOptions), mOptions.token),
      mBoards(mOptions.watch),
      mOrders(mBoards),
      mStreams(mOptions.interfaceIndex),
      mpStills(mOptions.stillsEvery > 0s ? std::make_unique<Stills>(mStreams, mOptions.stillsEvery) : nullptr),
      mServer([this](const HttpRequest& request) { return Check(request); },
              [this](const HttpRequest& request) { return Handle(request); }) {}

Service::~Service() { mServer.Stop(); }

std::uint16_t Service::Start() { return mServer.Start(mOptions.listen); }

void Service::Follow() { mStreams.Want(mBoards.Groups()); }

void Service::Run() {
    while (!Interrupted()) {
        Follow();
        SleepUntil(Clock::now() + 500ms);
    }
}

template <typename Make>
std::shared_ptr<const std::string> Service::Fresh(Shared& shared, Make make) {
    const std::lock_guard lock(shared.mutex);
    if (!shared.body || Clock::now() - shared.made > kFreshFor) {
        shared.body = std::make_shared<const std::string>(make(Take(mpStills.get())));
        shared.made = Clock::now();
    }
    return shared.body;
}

Overview Service::Take(const Stills* stills) const {
    Overview overview = TakeOverview(mBoards, mStreams, stills);
    overview.plan = &mOptions.plan;
    overview.planIsPaused = !mOptions.planPath.empty() && PlanIsPaused(mOptions.planPath);
    return overview;
}

HttpAnswer Service::Check(const HttpRequest& request) const {
    if (request.hosts != 1 || !mGuard.Knows(request.header("Host")))
        return Refuse(421, "this service isn't called that; \"zulctl serve --host NAME\" gives it a name");
    if (request.method == "GET" || request.method == "HEAD") return {};
    if (request.method != "POST") {
        HttpAnswer answer = Refuse(405, "GET and POST are understood");
        answer.allow = "GET, HEAD, POST";
        return answer;
    }
    const std::string why =
        mGuard.WhyNot({request.header("Host"), request.header("Origin"), request.header("Sec-Fetch-Site"),
                       request.header("Content-Type"), request.header("X-Zulctl-Token")});
    return why.empty() ? HttpAnswer{} : Refuse(403, why);
}

HttpAnswer Service::Handle(const HttpRequest& request) {
    if (request.method == "POST") return mOrders.Obey(request.path, request.body);
    return Get(request);
}

HttpAnswer Service::Get(const HttpRequest& request) {
    HttpAnswer answer;
    if (request.path == "/api/overview") {
        answer.body = Fresh(mOverview, [&](const Overview& all) { return OverviewJson(all, mGuard.TakesOrders()); });
        return answer;
    }
    if (request.path == "/metrics") {
        answer.type = "text/plain; version=0.0.4; charset=utf-8";
        answer.body = Fresh(mMetrics, MetricsText);
        return answer;
    }
    if (request.path == "/api/status") return TextAnswer(200, answer.type, StatusJson(Take(nullptr)));
    if (request.path == "/api/channels") return OfBoard(request, ChannelsJson);
    if (request.path == "/api/guide") return OfBoard(request, GuideJson);
    if (request.path == "/api/probe") return Probe(request);
    if (request.path == "/api/picture") return Picture(request);
    for (const PageFile& file : kPageFiles) {
        if (request.path == file.path) return TextAnswer(200, file.type, std::string(file.content));
    }
    return Refuse(404, "there is nothing here");
}

HttpAnswer Service::OfBoard(const HttpRequest& request, std::string (*json)(const BoardState&)) const {
    const auto board = mBoards.Find(Param(request, "board"));
    if (!board || board->role != Role::kTransmitter) return Refuse(404, "no transmitter is called that");
    return TextAnswer(200, HttpAnswer{}.type, json(*board));
}

HttpAnswer Service::Probe(const HttpRequest& request) const {
    const auto group = ParseEndpoint(Param(request, "stream"));
    for (const Measured& stream : mStreams.Streams()) {
        if (stream.group == group) return TextAnswer(200, HttpAnswer{}.type, ProbeJson(stream));
    }
    return Refuse(404, "no stream is watched there");
}

HttpAnswer Service::Picture(const HttpRequest& request) const {
    const auto group = ParseEndpoint(Param(request, "stream"));
    if (group && mpStills) {
        if (auto jpeg = mpStills->Of(*group).jpeg) return {200, "image/jpeg", std::move(jpeg), {}};
    }
    return Refuse(404, "there is no picture of that");
}

}  // namespace zulctl::serve
