// The client on sockets: which datagrams it accepts as an answer, and turns at one port.
#include "net/board_client.h"

#include <future>
#include <thread>

#include "master/failure_of.h"
#include "master/played_board.h"
#include "net/fetch.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;

/// A socket at the far end, and the peer of the last request.
class FarEnd {
 public:
    FarEnd() {
        mCommands.Bind(6002, kHere);
        mOther.Bind(0, kHere);
    }
    static Endpoint At() { return {kHere, 6002}; }
    std::string Request(std::chrono::milliseconds howLong = 2s) {
        const auto datagram = mCommands.Next(Clock::now() + howLong);
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

TEST(Client, ExplainsAnAnswerThatWentElsewhere) {
    FarEnd far;
    auto guide = AskLater(far.At(), "EITN,1,2", Quick(200ms));
    for (int n = 0; n < 2; ++n) EXPECT_EQ(far.Request(), "EITN,1,2");
    EXPECT_EQ(far.Request(), "VERS") << "is it alive?";
    far.Reply("VERS0.82.14OK\r\n");
    const std::string why = FailureOf(kNoAnswer, [&] { guide.get(); });
    EXPECT_NE(why.find("first peer that asked it after its start"), std::string::npos) << why;
}

TEST(Client, AsksAQuestionTwiceAndGivesAnOrderOnce) {
    FarEnd far;
    for (const auto& [request, times] : {std::pair{"STATUS", 2}, {"SUBSoff", 1}}) {
        auto answer = AskLater(far.At(), request, Quick(200ms));
        int asked = 0;
        while (far.Request(500ms) == request) ++asked;
        EXPECT_EQ(asked, times) << request;
        FailureOf(kNoAnswer, [&] { answer.get(); });
    }
}

TEST(Client, KnowsAtOnceWhenNobodyListens) {
    const auto start = Clock::now();
    EXPECT_THROW(Client({kHere, 9}, Quick(5s)).Ask("VERS"), Failure);
    EXPECT_LT(Clock::now() - start, 2s);
}

TEST(Client, WaitsForABoardThatBoots) {
    ClientOptions options = Quick(2s);
    options.waitsForBoot = true;
    auto answer = AskLater({kHere, 6001}, "VERS", options);
    std::this_thread::sleep_for(300ms);
    const PlayedBoard board(6001, {{"VERS", "VERS0.82.14OK\r\n"}});
    EXPECT_EQ(answer.get(), "VERS0.82.14OK\r\n");
    EXPECT_LE(board.Asked("VERS"), 2);
}

TEST(Client, NamesTheRoleOfABoardThatIsntTheOneMeant) {
    const PlayedBoard board(kTransmitterPort, {{"ZUL", "ZULB<Device-UUID=x_TX_-1><Device-Model=x_TX_>\r\n"}});
    const std::string why = FailureOf(kUsage, [] { Client({kHere, kReceiverPort}, Quick()).Ask("VERS"); });
    EXPECT_NE(why.find("127.0.0.1 is a transmitter, and this is for a receiver"), std::string::npos) << why;
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
    const std::string why = FailureOf(kNoAnswer, [] { Ear(kHere, Quick(), Clock::now() + 200ms); });
    EXPECT_NE(why.find(std::to_string(getpid())), std::string::npos) << why;
}

TEST(FetchListing, GoesOnWhereAReplyEnds) {
    const PlayedBoard board(5000, {{"EITL", "EITI d3a4 1930 0100 S1,00[A]L0,00[]\r\nOK\r\n"},
                                   {"EITI0001,0002,d3a4,2031", "EITI d3a4 2030 0100 S1,00[B]L0,00[]\r\nOK\r\n"},
                                   {"EITI", "EITI OK\r\n"}});
    for (const auto& [span, titles] : {std::pair{1h, "A"}, {2h, "AB"}, {3h, "AB"}}) {
        Client client({kHere, 5000}, Quick());
        std::string listed;
        for (const GuideEvent& event : FetchListing(client, {1, 2}, span, nullptr)) listed += event.title;
        EXPECT_EQ(listed, titles) << span.count();
    }
}

}  // namespace
}  // namespace zulctl
