// The real machine's waits, and how threads start.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <future>
#include <thread>

#include "platform/machine.h"
#include "platform/thread.h"

TEST(Machine, WaitsAndSleepsAsLongAsItIsAsked) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    alarm(10);  // ends a wait that doesn't
    const auto microseconds = [](auto action) {
        const auto start = std::chrono::steady_clock::now();
        action();
        return (std::chrono::steady_clock::now() - start) / std::chrono::microseconds(1);
    };
    for (const std::int64_t asked : {900, 20'000}) {  // a part of a millisecond counts as a whole one
        EXPECT_GE(microseconds([&] { EXPECT_EQ(platform::Wait(ends[0], asked), 0); }), asked);
        EXPECT_GE(microseconds([&] { platform::Sleep(asked); }), asked);
    }
    const std::uint32_t before = platform::Tick();
    platform::Sleep(100'000);
    EXPECT_GE(platform::Tick() - before, 97u) << "1024 a second";
    EXPECT_LT(platform::Tick() - before, 9 * 1024u);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(platform::Wait(ends[0], 60 * platform::kSecond), 1);
    close(ends[0]);
    EXPECT_EQ(platform::Wait(ends[0], 60 * platform::kSecond), -1);
    EXPECT_EQ(errno, EBADF);
    std::signal(SIGALRM, [](int) {});
    ualarm(50'000, 0);
    EXPECT_GE(microseconds([] { platform::Sleep(platform::kSecond); }), platform::kSecond) << "a signal doesn't end it";
}

TEST(Thread, RunsUnderTheDefaultPolicyWhereRoundRobinIsRefused) {
    std::thread host([] {  // under a policy of its own, without the right to SCHED_RR
        const sched_param none{0};
        ASSERT_EQ(pthread_setschedparam(pthread_self(), SCHED_BATCH, &none), 0);
        __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct rights[2]{};
        ASSERT_EQ(syscall(SYS_capset, &head, rights), 0);
        const rlimit nothing{0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_RTPRIO, &nothing), 0);
        std::promise<int> policy;
        const auto tell = [](void* arg) -> void* {
            static_cast<std::promise<int>*>(arg)->set_value(sched_getscheduler(0));
            return nullptr;
        };
        EXPECT_EQ(platform::StartThread(tell, &policy), platform::ThreadStart::kDefaultPolicy);
        EXPECT_EQ(policy.get_future().get(), SCHED_OTHER);
    });
    host.join();
}
