// Schedules the requests to boards.
#include "serve/board_watch.h"

#include <algorithm>
#include <utility>

#include "net/fetch.h"
#include "output/failure.h"

namespace zulctl::serve {

using namespace std::chrono_literals;

namespace {

constexpr int kWorkers = 8;               ///< boards that are polled concurrently
constexpr std::size_t kMostBoards = 512;  ///< beacons can be forged
constexpr auto kStatusEvery = 2s, kSilentEvery = 5s, kListEvery = 60s, kGuideEvery = 60s, kVersionEvery = 300s;
constexpr auto kLostEvery = 300s;  ///< for a guide whose replies go to another peer
constexpr double kForgetAfterSeconds = 600;
constexpr auto kWakeEvery = 30s;     ///< for boards that were switched on and beacons that got lost
constexpr auto kPollPatience = 15s;  ///< of an order for the request in progress
constexpr std::chrono::minutes kGuideSpan{6 * 60};
constexpr std::size_t kMostGuideRows = 64;

/// Fetches a list where it is due, and notes when the next one is, and why it can't be had.
/// \param fetch  returns the pause after it
void PollList(Clock::time_point& due, std::string& trouble, Clock::duration lostEvery,
              const std::function<Clock::duration()>& fetch) {
    if (Clock::now() < due) return;
    try {
        const auto every = fetch();
        due = Clock::now() + every;
        trouble.clear();
    } catch (const TurnTaken&) {
        due = Clock::now() + 5s;
    } catch (const Failure& failure) {
        trouble = failure.what();
        due = Clock::now() + lostEvery;
    }
}

}  // namespace

BoardWatch::BoardWatch(WatchOptions options) : mOptions(std::move(options)) {
    const auto addNamed = [this](const Endpoint& at, Role role) {
        if (Entry* const entry = Add(at, role)) entry->named = true;
    };
    for (const Target& board : mOptions.only) addNamed(board.at, board.role);
    if (mOptions.only.empty()) {
        for (const NamedBoard& board : mOptions.names.boards) {
            if (board.role) addNamed(board.At(*board.role), *board.role);
        }
        mThreads.emplace_back([this](const std::stop_token& stop) { Listen(stop); });
    }
    for (int n = 0; n < kWorkers; ++n) mThreads.emplace_back([this](const std::stop_token& stop) { Work(stop); });
}

BoardWatch::~BoardWatch() {
    for (std::jthread& thread : mThreads) thread.request_stop();
}

std::vector<BoardState> BoardWatch::Boards() const {
    const std::lock_guard lock(mMutex);
    std::vector<BoardState> list;
    for (const auto& [at, entry] : mBoards) {
        list.push_back(entry.state);
        if (entry.ordered) list.back().busy = "it takes an order";
    }
    return list;
}

std::optional<BoardState> BoardWatch::Find(const std::string& id) const {
    const auto at = ParseEndpoint(id);
    const std::lock_guard lock(mMutex);
    const auto found = at ? mBoards.find(*at) : mBoards.end();
    return found == mBoards.end() ? std::nullopt : std::optional(found->second.state);
}

void BoardWatch::Order(const Endpoint& board, const std::function<void(Client&)>& order) {
    {
        std::unique_lock lock(mMutex);
        const auto found = mBoards.find(board);
        if (found == mBoards.end() || std::exchange(found->second.ordered, true))
            throw Failure(kRefused, "the board is taking another order");
        // An order that waited for its turn at the port instead would take its own service for another process.
        mAnswered.wait_for(lock, kPollPatience, [&] { return !found->second.asking; });
    }
    const std::shared_ptr<void> atEnd(nullptr, [&](void*) {
        const std::lock_guard lock(mMutex);
        Entry& entry = mBoards.at(board);
        entry.ordered = false;
        entry.due = Clock::now();
    });
    Client client(board, mOptions.discovery.client);
    order(client);
}

std::set<Endpoint> BoardWatch::Groups() const {
    const std::lock_guard lock(mMutex);
    std::set<Endpoint> groups;
    for (const auto& [at, entry] : mBoards) {
        const BoardState& board = entry.state;
        const auto played = board.receiver && board.trouble.empty() ? board.receiver->Group() : std::nullopt;
        if (played) groups.insert(*played);
        if (!board.transmitter) continue;
        for (const StreamStatus& stream : board.transmitter->streams) {
            if (stream.active && stream.group.port != 0) groups.insert(stream.group);
        }
    }
    std::erase_if(groups, [](const Endpoint& group) { return !IsMulticast(group.address); });
    return groups;
}

BoardWatch::Entry* BoardWatch::Add(const Endpoint& at, Role role) {
    const auto known = mBoards.find(at);
    if (known != mBoards.end()) return &known->second;
    if (mBoards.size() >= kMostBoards) return nullptr;
    Entry& entry = mBoards[at];
    const std::string name = mOptions.names.NameOf(at);
    entry.state.at = at, entry.state.role = role;
    entry.state.name = name.empty() ? AddressText(at.address) : name;
    entry.state.known = entry.due = Clock::now();
    return &entry;
}

void BoardWatch::Listen(const std::stop_token& stop) {
    DiscoverOptions options = mOptions.discovery;
    options.time = 1500ms;
    auto nextWake = Clock::now() + kWakeEvery;
    while (!stop.stop_requested() && !Interrupted()) {
        try {
            Discover(options, [&](const FoundBoard& board) {
                const std::lock_guard lock(mMutex);
                if (Entry* entry = board.beacon.role ? Add(board.at, *board.beacon.role) : nullptr) {
                    entry->state.model = board.beacon.model;
                    if (entry->state.version.empty()) entry->state.version = board.beacon.revision;
                }
                return !stop.stop_requested();
            });
        } catch (const Failure&) {
            // No network yet, or none any more: the next round may find one.
        }
        std::unique_lock lock(mMutex);
        mAnswered.wait_for(lock, stop, 1s, [] { return false; });
        const auto now = Clock::now();
        std::erase_if(mBoards, [&](const auto& item) {
            const Entry& entry = item.second;
            return !entry.named && !entry.asking && !entry.ordered &&
                   entry.state.SilentSeconds(now) > kForgetAfterSeconds;
        });
        lock.unlock();
        options.wake = now >= nextWake;
        options.known = options.wake ? mOptions.discovery.known : std::vector<Endpoint>{};
        if (options.wake) nextWake = now + kWakeEvery;
    }
}

void BoardWatch::Work(const std::stop_token& stop) {
    std::unique_lock lock(mMutex);
    while (!stop.stop_requested() && !Interrupted()) {
        Entry* first = nullptr;
        for (auto& [at, entry] : mBoards) {
            if (!entry.asking && !entry.ordered && (first == nullptr || entry.due < first->due)) first = &entry;
        }
        const auto now = Clock::now(), wake = first == nullptr ? now + 500ms : std::min(first->due, now + 500ms);
        if (wake > now) {
            mAnswered.wait_until(lock, stop, wake, [] { return false; });
            continue;
        }
        first->asking = true;
        lock.unlock();
        Poll(*first);  // an entry that is being polled isn't removed
        lock.lock();
        first->asking = false;
        if (first->ordered) mAnswered.notify_all();
    }
}

void BoardWatch::Poll(Entry& entry) {
    BoardState state;
    {
        const std::lock_guard lock(mMutex);
        state = entry.state;
        entry.due = Clock::now() + kStatusEvery;
    }
    state.busy.clear();
    try {
        Client client(state.at, mOptions.discovery.client);
        const std::string reply = client.Ask("STATUS");
        state.lastAnswer = Clock::now();
        if (!state.trouble.empty()) entry.listDue = entry.guideDue = Clock::now();  // it may have restarted
        state.trouble.clear();
        if (state.role == Role::kTransmitter) {
            state.transmitter = ParseTransmitterStatus(reply);
            Publish(entry, state);  // lists and guides may take their time
            PollTransmitter(client, entry, state);
        } else {
            state.receiver = ParseReceiverStatus(reply);
        }
        if (!state.transmitter && !state.receiver) state.trouble = "its answer isn't a status";
        if (Clock::now() >= entry.versionDue) {
            if (const auto version = ParseVersion(client.Ask("VERS"))) state.version = *version;
            entry.versionDue = Clock::now() + kVersionEvery;
        }
    } catch (const TurnTaken& failure) {
        state.busy = failure.what();
    } catch (const Failure& failure) {
        state.trouble = failure.what();
    }
    Publish(entry, state);
}

void BoardWatch::Publish(Entry& entry, BoardState state) {
    const std::lock_guard lock(mMutex);
    state.model = std::move(entry.state.model);  // a beacon may have reported it meanwhile
    if (state.version.empty()) state.version = std::move(entry.state.version);
    entry.state = std::move(state);
    if (!entry.state.trouble.empty()) entry.due = std::max(entry.due, Clock::now() + kSilentEvery);
}

void BoardWatch::PollTransmitter(Client& client, Entry& entry, BoardState& state) const {
    const auto before = state.scan;
    state.scan = ParseScanState(client.Ask("SCA?"));
    const bool scanning = state.scan && state.scan->state == ScanState::State::kRunning;
    const bool ended = before && before->state == ScanState::State::kRunning && !scanning;
    if (ended) entry.listDue = Clock::now();
    if (scanning) return;
    PollList(entry.listDue, state.channelsTrouble, kListEvery, [&]() -> Clock::duration {
        state.channels = std::make_shared<const std::vector<Channel>>(FetchChannels(client));
        ++state.channelsRevision;
        return kListEvery;
    });
    const int tuned = state.scan ? state.scan->channel : -1;
    if (tuned != entry.guideChannel) state.guide.reset(), entry.guideDue = Clock::now();
    entry.guideChannel = tuned;
    PollList(entry.guideDue, state.guideTrouble, kLostEvery, [&] { return FetchGuide(client, entry, state); });
}

Clock::duration BoardWatch::FetchGuide(Client& client, const Entry& entry, BoardState& state) const {
    auto guide = std::make_shared<std::vector<ChannelGuide>>();
    if (const auto told = ParseBroadcastTime(client.Ask("TIME")))
        state.broadcastAhead = told->time_since_epoch() - Clock::now().time_since_epoch();
    for (const Channel& channel : state.channels ? *state.channels : std::vector<Channel>{}) {
        if (!state.scan || channel.tunerChannel != state.scan->channel || guide->size() >= kMostGuideRows) continue;
        if (const std::lock_guard lock(mMutex); entry.ordered) return 0s;
        // Each request takes its own turn at the forwarded messages, so that others get theirs in between.
        guide->push_back({channel, FetchListing(client, channel.id, kGuideSpan, nullptr)});
    }
    // Right after tuning, a guide is still coming in.
    const bool complete = std::ranges::none_of(*guide, [](const ChannelGuide& row) { return row.events.empty(); });
    state.guide = std::move(guide);
    ++state.guideRevision;
    return complete ? kGuideEvery : 10s;
}

}  // namespace zulctl::serve
