// Text commands and the status query, through the browser controller's real queues.
#include <gtest/gtest.h>

#include <sys/msg.h>

#include <cstdint>
#include <cstring>
#include <thread>

#include "fast_machine.h"
#include "playback/browsercontrol.h"
#include "queue_limits.h"

namespace {

constexpr int kCommands = 945602;
constexpr int kAnswers = 31561;

struct Message {
    long type = 0;
    char text[1024] = {};

    std::int32_t Word(int at) const {
        std::int32_t word;
        std::memcpy(&word, text + at, sizeof word);
        return word;
    }
};

/// Takes the next message of a type, which has to be there, and its length, which is always the same.
Message TakeCommand(int type, int flags = IPC_NOWAIT) {
    Message message;
    EXPECT_EQ(msgrcv(msgget(kCommands, 0), &message, sizeof message.text, type, flags), 1024);
    return message;
}

void Answer(std::int32_t status, std::size_t size) {
    struct {
        long type;
        std::int32_t word[8];
    } answer{7, {72, 0, status}};
    ASSERT_EQ(msgsnd(msgget(kAnswers, IPC_CREAT | 0666), &answer, size, 0), 0);
}

}  // namespace

TEST(BrowserControl, SendsTextsInMessagesOfOneLength) {
    for (const std::string& text : {std::string("-k123"), std::string(1020, 'x'), std::string("y"), std::string()}) {
        ASSERT_EQ(sendMessgageToKonqueror(1, text.c_str()), 0) << text;
        const Message message = TakeCommand(1);
        EXPECT_EQ(std::string(message.text, 1024), text + std::string(1024 - text.size(), '\0'));
    }
    ASSERT_EQ(sendMessgageToKonqueror(1, std::string(3000, 'x').c_str()), 0);
    EXPECT_EQ(strnlen(TakeCommand(1).text, 1024), 1020u);
}

TEST(BrowserControl, AsksForTheStatusAndTakesNoStaleAnswer) {
    int stale = 0;  // as many as the queue takes, of one byte
    while (msgsnd(msgget(kAnswers, IPC_CREAT | 0666), "\1\0\0\0\0\0\0\0x", 1, IPC_NOWAIT) == 0) ++stale;
    ASSERT_GE(stale, 16384);
    fast_machine::TakeSleeps();
    ASSERT_EQ(sendMessgageToKonqueror(1, "-a"), 0) << "whatever the status";
    EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(5, 500'000)) << "2.5 seconds without an answer";
    const Message request = TakeCommand(2);
    EXPECT_EQ((std::vector{request.Word(0), request.Word(4), request.Word(8)}), (std::vector{71, kAnswers, 2}));
    Answer(99, 32);
    EXPECT_EQ(isAlive(), -1);

    fast_machine::SetSpeed(10);
    for (const auto& [size, status] : {std::pair{32u, 42}, {12u, 42}, {8u, -1}, {0u, -1}}) {
        TakeCommand(2);  // of the query before
        std::thread controller([size = size] {
            const Message next = TakeCommand(2, 0);
            Answer(42, size);
            ASSERT_EQ(msgsnd(msgget(kCommands, 0), &next, sizeof next.text, 0), 0);
        });
        EXPECT_EQ(isAlive(), status) << size << " bytes";
        controller.join();
    }
}

TEST(BrowserControl, TellsThatAQueueCantBeHad) {
    QueueHog hog;
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1);
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1) << "tried again";
    hog.GiveOne();
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), 0);
    EXPECT_EQ(isAlive(), -1) << "no queue for the answer";
    TakeCommand(1);
    msgctl(msgget(kCommands, 0), IPC_RMID, nullptr);
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1);
    EXPECT_EQ(isAlive(), -1);
}
