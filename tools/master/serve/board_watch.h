/// Polls boards, with one short request at a time for each, and keeps their replies.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "net/session.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/status.h"

namespace zulctl::serve {

/// What is known of a board. The lists are shared: they change as a whole.
struct BoardState {
    Endpoint at;
    std::string name;  ///< as in the file of names, or its address
    Role role{};
    std::string model, version;

    std::optional<TransmitterStatus> transmitter;
    std::optional<ReceiverStatus> receiver;
    std::string trouble;  ///< why it doesn't answer; empty when it does
    std::string busy;     ///< who else uses it, so that it can't be polled; not a fault of the board
    std::optional<Clock::time_point> lastAnswer;
    Clock::time_point known;  ///< since when it is polled

    std::optional<ScanState> scan;
    std::optional<Clock::duration> broadcastAhead;           ///< the broadcast's time minus that of Clock
    std::shared_ptr<const std::vector<Channel>> channels;    ///< null before the first list
    std::shared_ptr<const std::vector<ChannelGuide>> guide;  ///< null before the first one
    std::string channelsTrouble, guideTrouble;
    unsigned channelsRevision = 0, guideRevision = 0;  ///< grow with each new list

    /// \return seconds without an answer
    double SilentSeconds(Clock::time_point now) const {
        return std::chrono::duration<double>(now - lastAnswer.value_or(known)).count();
    }
};

struct WatchOptions {
    DiscoverOptions discovery;  ///< also how boards are asked
    Config names;
    std::vector<Target> only;  ///< boards to watch; empty: all that are named or heard
};

class BoardWatch {
 public:
    explicit BoardWatch(WatchOptions options);
    ~BoardWatch();

    /// \return all boards, by address
    std::vector<BoardState> Boards() const;
    /// \return the board of this id, or nothing
    std::optional<BoardState> Find(const std::string& id) const;
    /// Suspends polling of a board for an order, once its current request is answered. Throws Failure(kRefused) when
    /// another order is in progress, or the board isn't known
    void Order(const Endpoint& board, const std::function<void(Client&)>& order);
    /// \return the groups that transmitters send to and receivers play
    std::set<Endpoint> Groups() const;

 private:
    struct Entry {
        BoardState state;
        Clock::time_point due, listDue, guideDue, versionDue;
        int guideChannel = -1;  ///< tuner channel of the guide
        bool asking = false, ordered = false;
        bool named = false;  ///< stays even when it is never heard
    };
    /// REQUIRES: the lock is held, or no thread runs yet. \return the board, or null where there are too many
    Entry* Add(const Endpoint& at, Role role);
    void Listen(const std::stop_token& stop);
    void Work(const std::stop_token& stop);
    void Poll(Entry& entry);
    void Publish(Entry& entry, BoardState state);
    void PollTransmitter(Client& client, Entry& entry, BoardState& state) const;
    Clock::duration FetchGuide(Client& client, const Entry& entry, BoardState& state) const;

    const WatchOptions mOptions;
    mutable std::mutex mMutex;
    std::condition_variable_any mAnswered;
    std::map<Endpoint, Entry> mBoards;
    std::vector<std::jthread> mThreads;
};

}  // namespace zulctl::serve
