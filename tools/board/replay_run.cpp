// Playing a record to a board over its command port.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "replay.h"
#include "story.h"

namespace board {

namespace {

using Clock = std::chrono::steady_clock;

constexpr Milliseconds kLongestPause{15'000};
constexpr Milliseconds kStart{60'000};    ///< of a board, from power to its first answer
constexpr Milliseconds kServing{20'000};  ///< the longest that it does so while it boots
constexpr Milliseconds kAnswer{90'000};   ///< the slowest order waits a minute for the disk
constexpr Milliseconds kRestart{10'000};  ///< until a board that restarts is asked again
constexpr Milliseconds kSilence{3'000};   ///< in which an answer that mustn't come would come
constexpr Milliseconds kBetween{200};     ///< two tries
constexpr std::size_t kLargestDatagram = 65536;

/// The master's end of the replay.
class Peer {
 public:
    explicit Peer(int port) : mPort(port), mFd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        // The kernel then tells when nobody has the port: the board is starting.
        if (mFd < 0 || setsockopt(mFd, IPPROTO_IP, IP_RECVERR, &on, sizeof on) != 0)
            throw std::system_error(errno, std::generic_category(), "a socket for the replay");
    }
    ~Peer() { close(mFd); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    std::deque<std::string> answers, messages;

    void Send(const std::string& request) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(static_cast<std::uint16_t>(mPort));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        mRefused = sendto(mFd, request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) < 0;
    }

    /// Takes what comes until `enough` says so, the limit is over, or nobody has the port. \return the first of them
    template <typename Predicate>
    bool TakeUntil(Clock::time_point limit, Predicate enough) {
        while (!enough()) {
            const auto left = std::chrono::ceil<Milliseconds>(limit - Clock::now()).count();
            pollfd end{mFd, POLLIN, 0};
            if (mRefused || left <= 0 || poll(&end, 1, static_cast<int>(left)) == 0) return false;
            Take();
        }
        return true;
    }

    bool WasRefused() const { return mRefused; }

    /// Waits until the board answers; what it says to that is no part of the replay.
    void AwaitService() {
        const auto limit = Clock::now() + kStart;
        while (Clock::now() < limit) {
            Send("VERS");
            // Long, so that an answer isn't late for this try and taken for that to something else.
            if (TakeUntil(Clock::now() + kServing, [this] { return !answers.empty(); })) {
                answers.clear();
                return;
            }
            std::this_thread::sleep_for(kBetween);
        }
        throw std::runtime_error("the board doesn't serve");
    }

 private:
    void Take() {
        char part = 0;
        if (recv(mFd, &part, 1, MSG_ERRQUEUE | MSG_DONTWAIT) >= 0) mRefused = true;
        std::string bytes(kLargestDatagram, '\0');
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t got =
            recvfrom(mFd, bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &size);
        if (got < 0) {
            mRefused = mRefused || errno == ECONNREFUSED;
            return;
        }
        bytes.resize(static_cast<std::size_t>(got));
        const bool direct = ntohs(from.sin_port) == mPort;
        if (!direct && ComesUnasked(bytes)) return;
        (direct ? answers : messages).push_back(Comparable(bytes));
    }

    const int mPort;
    const int mFd;
    bool mRefused = false;
};

std::vector<std::string> TakeFront(std::deque<std::string>& from, std::size_t count) {
    const auto end = from.begin() + static_cast<std::ptrdiff_t>(std::min(count, from.size()));
    std::vector<std::string> front(from.begin(), end);
    from.erase(from.begin(), end);
    return front;
}

std::string Listed(const std::vector<std::string>& answers, const std::vector<std::string>& messages) {
    std::string list;
    for (const auto* datagrams : {&answers, &messages}) {
        for (const std::string& each : *datagrams) list += (list.empty() ? "" : " | ") + Describe(each);
    }
    return list.empty() ? "(silence)" : list;
}

class Asker {
 public:
    Asker(int port, const std::function<void(const std::string&)>& tell) : mPeer(port), mTell(tell) {}

    void Start() { mPeer.AwaitService(); }

    /// \return whether it was answered as in the record
    bool Play(const RecordedRequest& recorded) {
        // Answers that nobody recorded come before the next request, or not at all.
        mPeer.TakeUntil(Clock::now() + std::min(recorded.pause, kLongestPause), [] { return false; });
        ReportSurplus();
        const auto& answers = recorded.answers;
        const auto& messages = recorded.messages;
        const auto limit = Clock::now() + (recorded.isWait ? kStart : kAnswer);
        std::vector<std::string> came, cameElsewhere;
        do {
            Ask(recorded, limit);
            came = TakeFront(mPeer.answers, std::max<std::size_t>(answers.size(), 1));
            cameElsewhere = TakeFront(mPeer.messages, messages.size());
            if (came == answers && cameElsewhere == messages) return true;
            if (recorded.isWait) std::this_thread::sleep_for(kBetween);
        } while (recorded.isWait && Clock::now() < limit);
        mPeer.answers.clear();  // what else came belongs to this difference
        mPeer.messages.clear();
        mTell("line " + std::to_string(recorded.line) + ", " + Describe(recorded.request));
        mTell("  recorded  " + Listed(answers, messages));
        mTell("  here      " + Listed(came, cameElsewhere));
        return false;
    }

    int Surplus() const { return mSurplus; }
    void ReportSurplus() {
        for (; !mPeer.answers.empty(); mPeer.answers.pop_front(), ++mSurplus) {
            mTell("an answer that the record doesn't have: " + Describe(mPeer.answers.front()));
        }
    }

 private:
    /// Sends the request, to a board that starts again too, and waits for as much as was recorded.
    void Ask(const RecordedRequest& recorded, Clock::time_point limit) {
        const bool silent = recorded.answers.empty() && recorded.messages.empty();
        // A board that is about to restart may take a request and never answer it. No piece of an image is repeated.
        const bool mayRestart =
            mLast.starts_with("RESET") || (mLast.starts_with("UPGR") && !recorded.request.starts_with("UPGR"));
        mLast = recorded.request;
        const auto all = [&] {
            // A refusal comes from the command port in place of messages: there is no sense in waiting on.
            const bool refused = !mPeer.answers.empty() && recorded.answers.empty();
            return refused || (!silent && mPeer.answers.size() >= recorded.answers.size() &&
                               mPeer.messages.size() >= recorded.messages.size());
        };
        do {
            mPeer.Send(recorded.request);
            const auto patience = silent ? Clock::now() + kSilence : mayRestart ? Clock::now() + kRestart : limit;
            if (mPeer.TakeUntil(patience, all) || (!mPeer.WasRefused() && !mayRestart)) return;
            if (!silent) std::this_thread::sleep_for(kBetween);
        } while (!silent && Clock::now() < limit);
    }

    Peer mPeer;
    const std::function<void(const std::string&)>& mTell;
    std::string mLast;  ///< request before the one under way
    int mSurplus = 0;
};

}  // namespace

int Replay(const std::vector<RecordedRequest>& record, int port, const std::function<void(const std::string&)>& tell) {
    Asker asker(port, tell);
    asker.Start();
    int differences = 0;
    for (const RecordedRequest& recorded : record) differences += asker.Play(recorded) ? 0 : 1;
    asker.ReportSurplus();
    return differences + asker.Surplus();
}

}  // namespace board
