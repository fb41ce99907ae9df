// The client on sockets: whose datagrams it takes for an answer, what it repeats, and turns at one port.
#include "net/board_client.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "output/failure.h"
#include "protocol/endpoint.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kHere = 0x7F000001;

/// A socket at the far end, and the peer of the last request.
class FarEnd {
 public:
    FarEnd() {
        mCommands.Bind(0, kHere);
        mOther.Bind(0, kHere);
    }
    Endpoint At() const { return {kHere, mCommands.Port()}; }
    std::string Request(std::chrono::milliseconds howLong = 2s) {
        UdpSocket* const sockets[] = {&mCommands};
        if (!WaitForAny(sockets, Clock::now() + howLong)) return {};
        const auto datagram = mCommands.Take();
        if (datagram) mPeer = datagram->from;
        return datagram ? datagram->bytes : "";
    }
    void Reply(std::string_view bytes) { mCommands.Send(bytes, mPeer); }
    void Forward(std::string_view bytes) { mOther.Send(bytes, mPeer); }
    const Endpoint& Peer() const { return mPeer; }

 private:
    UdpSocket mCommands, mOther;
    Endpoint mPeer;
};

ClientOptions Quick(std::chrono::milliseconds timeout = 1500ms) {
    ClientOptions options;
    options.timeout = timeout;
    return options;
}

std::future<std::string> AskLater(const Endpoint& board, const std::string& request,
                                  const ClientOptions& options = Quick()) {
    return std::async(std::launch::async, [=] { return Client(board, options).Ask(request); });
}

TEST(Client, AsksFromTheFixedPortAndTakesTheFirstAnswerOfTheRightShape) {
    FarEnd far;
    auto answer = AskLater(far.At(), "VERS");
    EXPECT_EQ(far.Request(), "VERS");
    EXPECT_EQ(far.Peer().port, kLocalPort);
    far.Reply("STATUS late answer to something else");
    far.Forward("VERS9.9.9OK\r\n");  // the right shape from the wrong port
    far.Reply("VERS0.82.14OK\r\n");
    EXPECT_EQ(answer.get(), "VERS0.82.14OK\r\n");
}

TEST(Client, TakesAForwardedAnswerFromAnotherPortAndARefusalFromTheCommandPort) {
    FarEnd far;
    auto guide = AskLater(far.At(), "EITN,1,2");
    far.Request();
    far.Reply("OK\r\n");  // can't be the answer
    far.Forward("EITI OK\r\n");
    EXPECT_EQ(guide.get(), "EITI OK\r\n");
    auto refused = AskLater(far.At(), "EITI,1,2");
    far.Request();
    far.Reply("KO\r\n");
    EXPECT_EQ(refused.get(), "KO\r\n");
}

TEST(Client, RepeatsOnlyWhatMayBeRepeated) {
    FarEnd far;
    auto query = AskLater(far.At(), "STATUS", Quick(200ms));
    EXPECT_EQ(far.Request(), "STATUS");
    EXPECT_EQ(far.Request(), "STATUS") << "a query is asked again";
    far.Reply("STATUS 0");
    EXPECT_EQ(query.get(), "STATUS 0");
    auto order = AskLater(far.At(), "UNIT0", Quick(200ms));
    EXPECT_EQ(far.Request(), "UNIT0");
    EXPECT_EQ(far.Request(600ms), "") << "an order is not";
    EXPECT_THROW(order.get(), Failure);
}

TEST(Client, ExplainsAnAnswerThatWentElsewhere) {
    FarEnd far;
    auto guide = AskLater(far.At(), "EITN,1,2", Quick(200ms));
    for (int n = 0; n < 2; ++n) EXPECT_EQ(far.Request(), "EITN,1,2");
    EXPECT_EQ(far.Request(), "VERS") << "is it alive?";
    far.Reply("VERS0.82.14OK\r\n");
    try {
        guide.get();
        ADD_FAILURE();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, kNoAnswer);
        EXPECT_NE(std::string(failure.what()).find("first peer that asked it after its start"), std::string::npos)
            << failure.what();
    }
}

TEST(Client, KnowsAtOnceWhenNobodyListens) {
    const auto start = Clock::now();
    EXPECT_THROW(Client({kHere, 9}, Quick(5s)).Ask("VERS"), Failure);
    EXPECT_LT(Clock::now() - start, 2s);
}

TEST(Client, SharesItsPortBetweenBoardsWithoutMixingAnswers) {
    FarEnd first, second;
    auto one = AskLater(first.At(), "VERS"), two = AskLater(second.At(), "VERS");
    first.Request(), second.Request();
    EXPECT_EQ(first.Peer(), second.Peer()) << "one local port for all";
    second.Reply("VERS2OK\r\n");
    first.Reply("VERS1OK\r\n");
    EXPECT_EQ(one.get(), "VERS1OK\r\n");
    EXPECT_EQ(two.get(), "VERS2OK\r\n");
}

TEST(Client, ForwardedMessagesReachTheEarWhileAnotherClientAsks) {
    FarEnd far;
    Ear ear(kHere, Quick(), Clock::now() + 1s);
    auto version = AskLater(far.At(), "VERS");
    far.Request();
    far.Forward("BLINDLOCK:7 OK\r\n");
    far.Reply("VERS0.82.14OK\r\n");
    EXPECT_EQ(version.get(), "VERS0.82.14OK\r\n");
    const auto message = ear.Next(Clock::now() + 1s);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->bytes, "BLINDLOCK:7 OK\r\n");
}

TEST(Client, RequestsToOneBoardTakeTurns) {
    FarEnd far;
    auto first = AskLater(far.At(), "STATUS");
    EXPECT_EQ(far.Request(), "STATUS");
    auto second = AskLater(far.At(), "VERS");
    EXPECT_EQ(far.Request(300ms), "") << "the second waits for its turn";
    far.Reply("STATUS 0");
    EXPECT_EQ(first.get(), "STATUS 0");
    EXPECT_EQ(far.Request(), "VERS");
    far.Reply("VERS0.82.14OK\r\n");
    EXPECT_EQ(second.get(), "VERS0.82.14OK\r\n");
}

TEST(Client, ATurnThatDoesntEndIsAFailureThatNamesItsHolder) {
    Ear ear(kHere, Quick(), Clock::now() + 1s);
    try {
        Ear(kHere, Quick(), Clock::now() + 200ms);
        ADD_FAILURE();
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find(std::to_string(getpid())), std::string::npos) << failure.what();
    }
}

TEST(Requests, AreFoundByTheirKeyword) {
    struct Row {
        const char* request;
        const char* keyword;
    };
    for (const Row& row : {Row{"sub?", "SUB?"}, Row{"SUBS1", "SUBS"}, Row{"SCAL", "SCAL"}, Row{"BLIND99", "BLIND99"},
                           Row{"BLIND0", "BLIND"}, Row{"UPGR?", "UPGR?"}, Row{"UPGR1048576", "UPGR"},
                           Row{"RESOLUTION?", "RESOLUTION?"}, Row{"DUMPPIDS", ""}}) {
        EXPECT_EQ(KindOf(row.request).keyword, row.keyword) << row.request;
    }
    EXPECT_TRUE(KindOf("SCA?").accepts(std::string("\0\x05\x01\x02", 4)));
    EXPECT_FALSE(KindOf("SCA?").accepts("OK\r\n"));
}

}  // namespace
}  // namespace zulctl
