// Channel lists and guides.
#include "net/fetch.h"

#include <fmt/format.h>

#include <algorithm>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

constexpr int kMostReports = 5;
constexpr std::chrono::minutes kLongestSpan{99 * 60 + 59};
constexpr std::size_t kMostEvents = 1000;

/// \param query  the request's first word: EITN, EITI or EITL
std::vector<GuideEvent> Fetch(Client& client, const char* query, const ProgrammeId& id, const std::string& when,
                              Ear* ear) {
    const std::string reply =
        client.Ask(fmt::format("{}{:04x},{:04x}{}", query, id.transportId, id.programme, when), ear);
    if (IsKo(reply)) throw Failure(kRefused, EndpointText(client.Board()) + " refuses the guide query");
    auto events = ParseGuideReply(reply);
    if (!events) {
        throw Failure(kNoAnswer, "the guide reply of {} is damaged: {}", EndpointText(client.Board()),
                      CutToWidth(Escaped(reply), 60));
    }
    return *std::move(events);
}

}  // namespace

std::vector<Channel> FetchChannels(Client& client) {
    std::string last;
    for (int tries = 0; tries < kMostReports; ++tries) {
        int datagrams = 0;
        const std::string text = client.Ask("SCAL", nullptr, [&](std::string_view datagram) {
            ++datagrams;
            return EndsScalReport(datagram);
        });
        if (IsKo(text)) {
            throw Failure(kRefused, "{} doesn't give its channel list while it scans", EndpointText(client.Board()));
        }
        if (datagrams == 1 || text == last) {
            if (auto channels = ParseScalReport(text)) return *std::move(channels);
        }
        last = text;
    }
    throw Failure(kNoAnswer, "the channel list of {} arrives differently each time", EndpointText(client.Board()));
}

TransmitterStatus FetchStatus(Client& client) {
    auto status = ParseTransmitterStatus(client.Ask("STATUS"));
    if (!status) throw Failure(kNoAnswer, EndpointText(client.Board()) + " gives no status of a transmitter");
    return *std::move(status);
}

Sent FetchSent(Client& client) {
    auto channels = FetchChannels(client);
    auto status = FetchStatus(client);
    const auto scan = ParseScanState(client.Ask("SCA?"));
    if (!scan) throw Failure(kNoAnswer, EndpointText(client.Board()) + " doesn't report what it is tuned to");
    return {std::move(channels), std::move(status), scan->channel};
}

std::vector<GuideEvent> FetchNowAndNext(Client& client, const ProgrammeId& id, Ear* ear) {
    return Fetch(client, "EITN", id, "", ear);
}

std::vector<GuideEvent> FetchMoment(Client& client, const ProgrammeId& id, Minutes moment, Ear* ear) {
    return Fetch(client, "EITI", id, "," + MjdText(moment), ear);
}

std::vector<GuideEvent> FetchListing(Client& client, const ProgrammeId& id, std::chrono::minutes span, Ear* ear) {
    span = std::clamp(span, std::chrono::minutes(1), kLongestSpan);
    auto events = Fetch(client, "EITL", id, fmt::format(",{:02}{:02}", span.count() / 60, span.count() % 60), ear);
    if (events.empty()) return events;
    // A minute after an event's end is within the next event: both ends of an event count as its own.
    while (events.size() < kMostEvents && events.back().End() < events.front().start + span) {
        const auto more = FetchMoment(client, id, events.back().End() + std::chrono::minutes(1), ear);
        if (more.empty() || more.front().start <= events.back().start) break;
        events.push_back(more.front());
    }
    return events;
}

}  // namespace zulctl
