// Checks of a description as a whole.
#include "description.h"

#include <map>

#include "error.h"

namespace mux {
namespace {

// Numbers of one kind and their owners.
class Taken {
 public:
    explicit Taken(std::string kind) : mKind(std::move(kind)) {}

    void Take(unsigned number, const std::string& owner) {
        const auto [at, added] = mOwners.emplace(number, owner);
        if (!added) throw Error(mKind + " " + std::to_string(number) + ": both " + at->second + " and " + owner);
    }

 private:
    std::string mKind;
    std::map<unsigned, std::string> mOwners;
};

void TakePids(const Programme& programme, const std::string& owner, Taken& pids) {
    pids.Take(programme.pmtPid, "the PMT of " + owner);
    if (programme.video) pids.Take(programme.video->pid, "the video of " + owner);
    for (const Audio& audio : programme.audio) pids.Take(audio.pid, "the audio of " + owner);
}

}  // namespace

void CheckDescription(const Description& description) {
    Taken numbers("programme number");
    Taken sources("source_id");
    Taken pids("PID");
    pids.Take(kPidPat, "the PAT");
    pids.Take(kPidPsip, "the PSIP tables");
    pids.Take(kPidNull, "null packets");
    pids.Take(kPidChannelEtt, "the channel texts");
    for (std::uint16_t k = 0; k < 128; ++k) {
        pids.Take(kPidEit0 + k, "EIT-" + std::to_string(k));
        pids.Take(kPidEtt0 + k, "ETT-" + std::to_string(k));
    }
    for (const Programme& programme : description.programmes) {
        const std::string owner = "programme " + std::to_string(programme.number);
        if (programme.number == 0) throw Error("programme number 0 names the network information, no programme");
        numbers.Take(programme.number, owner);
        sources.Take(programme.sourceId, owner);
        TakePids(programme, owner, pids);
        Taken events("event id of " + owner);
        for (const GuideEvent& event : programme.events) {
            events.Take(event.id, event.title.empty() ? "an event" : "\"" + event.title.front().text + "\"");
        }
    }
}

}  // namespace mux
