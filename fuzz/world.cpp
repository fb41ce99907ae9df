// The environment of a fuzzed module. The linker's --wrap intercepts the calls that would act on the machine.
#include "world.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "fast_machine.h"
#include "guide/tunermanager.h"
#include "kbl_interprocess.h"
#include "platform/thread.h"
#include "playback/playeroptions.h"

namespace fuzz {

namespace {

constexpr int kAgentRequests = 1235, kAgentAnswers = 1236, kAgentAnswerType = 0x304;
constexpr int kPlayer = 1234, kDaemon = 1240, kDaemonAnswers = 1689, kKeys = 1250;
constexpr int kBrowser = 945602, kBrowserAnswers = 31561;
constexpr int kQueues[] = {kAgentRequests, kPlayer,  kDaemon,         kDaemonAnswers,
                           kKeys,          kBrowser, kBrowserAnswers, kAgentAnswers};
int queueIds[std::size(kQueues)];

int IdOf(int key) { return queueIds[std::find(std::begin(kQueues), std::end(kQueues), key) - std::begin(kQueues)]; }

constexpr unsigned kAnswers = 24;  ///< of the agent for one request; no command asks it more often
constexpr std::uint16_t kLogPort = 9;
constexpr std::uint32_t kNow = 1388534400;  ///< GPS seconds

struct Message {
    long type;
    char text[8192];
};

/// Takes a message of any type. \return its bytes, or -1
ssize_t Fetch(int key, Message& message) {
    return msgrcv(IdOf(key), &message, sizeof message.text, 0, IPC_NOWAIT | MSG_NOERROR);
}

void Empty(int key) {
    Message message;
    while (Fetch(key, message) >= 0) {
    }
}

/// Answers the orders that wait for the system daemon.
void PlayDaemon() {
    Message message;
    for (ssize_t size; (size = Fetch(kDaemon, message)) >= 0;) {
        Meanwhile& meanwhile = TheMeanwhile();
        if (meanwhile.daemonAnswer) {
            Post(kDaemonAnswers, 1, meanwhile.daemonAnswer());
            continue;
        }
        std::int32_t words[15] = {};
        std::memcpy(words, message.text, std::min(static_cast<std::size_t>(size), sizeof words));
        words[0] = DEVICE_REMOUNT_RES;
        if (meanwhile.daemonLies) words[5] = !words[5];
        Post(kDaemonAnswers, 1, Bytes(reinterpret_cast<const std::uint8_t*>(words), sizeof words));
    }
}

void PlayBrowser() {
    Message message;
    while (Fetch(kBrowser, message) >= 0) {
        const Block& answer = TheMeanwhile().browserAnswer;
        if (message.type == 2 && !answer.empty()) Post(kBrowserAnswers, 1, answer);
    }
}

/// Runs the scan that its own thread would run.
void PlayScan() {
    static bool scanning = false;
    Meanwhile& meanwhile = TheMeanwhile();
    if (scanning || meanwhile.scans == nullptr || meanwhile.scans->ScanState() != TunerManager::eScanInProgress) return;
    scanning = true;
    if (meanwhile.shortScans) meanwhile.scans->ScanOneChannel(7);
    meanwhile.scans->DoScan();
    scanning = false;
}

void OnSleep(std::int64_t microseconds) {
    constexpr std::int64_t kForData = 5'000'000;  // the length of these sleeps, in which no lock is held
    PlayDaemon();
    PlayBrowser();
    PlayScan();
    if (microseconds >= kForData && TheMeanwhile().host) TheMeanwhile().host();
}

/// The status block, with a signal that a scan finds usable, and the programme that the broadcasts here carry.
void MakeStatusBlock() {
    constexpr std::size_t kSize = 49152, kOffset = 24576;
    auto* const at = static_cast<char*>(shmat(shmget(2000, kSize, IPC_CREAT | 0666), nullptr, 0));
    Promise(reinterpret_cast<std::intptr_t>(at) != -1, "fuzzing needs tools/sandbox");
    sKBL_VPLAYER_STATUS& status = reinterpret_cast<sVPLAYER_SM_STRUCT*>(at + kOffset)->vStatus;
    status.tunerSignalStrength = 4;
    status.progId = 3;
}

bool MakeWorld() {
    Promise(std::getenv("ZUL_SANDBOX") != nullptr, "fuzzing needs tools/sandbox");
    Promise(chdir("/mnt") == 0, "no /mnt");  // files that a request names land in the sandbox
    std::transform(std::begin(kQueues), std::end(kQueues), queueIds,
                   [](int key) { return msgget(key, IPC_CREAT | 0666); });
    MakeStatusBlock();
    (void)!symlink("/dev/null", "/dev/ttyS0");
    prctl(PR_SET_TIMERSLACK, 1);
    fast_machine::SetSpeed(INT_MAX);
    fast_machine::RecordShell(true);
    fast_machine::OnSleep(OnSleep);
    AllocateErrorBuffer();
    return true;
}

int MasterSocket() {
    static const int master = socket(AF_INET, SOCK_DGRAM, 0);
    return master;
}

}  // namespace

Meanwhile& TheMeanwhile() {
    static auto* const meanwhile = new Meanwhile;
    return *meanwhile;
}

World::World(unsigned level) {
    static const bool made = MakeWorld();
    (void)made;
    fast_machine::SetTick(1);
    Time::Self()->SetTime(kNow, 16, 0);
    TheMeanwhile() = {};
    global_debug_flag = static_cast<int>(level);
    if (level == 2) OpenLogChannel(kLogPort, "127.0.0.1");
}

World::~World() {
    global_debug_flag = 0;
    CloseLogChannel();
    TheMeanwhile() = {};
    for (const int key : kQueues) {
        if (key != kAgentAnswers) Empty(key);
    }
    char rest[2048];
    while (recv(MasterSocket(), rest, sizeof rest, MSG_DONTWAIT) >= 0) {
    }
    fast_machine::TakeSleeps();
    fast_machine::TakeShellLines();
}

namespace {

constexpr char kGood[] = "x = INTEGER: 3 \r\n";

}  // namespace

void AnswerOneRequest() {
    Message message;
    Promise(msgrcv(IdOf(kAgentRequests), &message, sizeof message.text, 0, MSG_NOERROR) >= 0, "a request comes");
    Post(kAgentAnswers, kAgentAnswerType, Bytes(reinterpret_cast<const std::uint8_t*>(kGood), sizeof kGood));
}

void FillAgent(Bytes answers) {
    static Block before;  // the remaining answers of the last request; kept when the next ones are equal
    if (answers.empty()) answers = Bytes(reinterpret_cast<const std::uint8_t*>(kGood), sizeof kGood);
    const bool various = std::find(answers.begin(), answers.end(), kNextAnswer) != answers.end();
    if (various || !std::ranges::equal(answers, before)) Empty(kAgentAnswers);
    before.assign(answers.begin(), answers.end());
    Empty(kAgentRequests);
    msqid_ds queue{};
    msgctl(IdOf(kAgentAnswers), IPC_STAT, &queue);
    Input rest(answers);
    for (auto count = queue.msg_qnum; count < kAnswers; ++count) {
        if (rest.Empty()) rest = Input(answers);
        Post(kAgentAnswers, kAgentAnswerType, rest.TakeTo(kNextAnswer));
    }
}

void Post(int key, long type, Bytes text) {
    Message message{};
    message.type = type;
    const std::size_t size = std::min(text.size(), sizeof message.text);
    if (size != 0) std::memcpy(message.text, text.data(), size);
    (void)!msgsnd(IdOf(key), &message, size, IPC_NOWAIT);
}

void WriteFile(const char* path, Bytes bytes) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    Promise(file >= 0 && write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "no /mnt/hd1");
    close(file);
}

void SendFromMaster(std::uint16_t port, Bytes datagram) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendto(MasterSocket(), datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
}

namespace {

/// Kept at the start of the process: a run's standard error goes nowhere.
const int firstStandardError = dup(STDERR_FILENO);

}  // namespace

void TellAlways(const char* line) { dprintf(firstStandardError, "%s\n", line); }

}  // namespace fuzz

// The PID table is half a megabyte, the only array of aligned elements, and made anew for each input: one block serves
// all, as the allocator of a sanitizer would fetch it from the system each time.
namespace {

void* freeTable = nullptr;
std::size_t freeTableSize = 0;

}  // namespace

void* operator new[](std::size_t size, std::align_val_t alignment) {
    void* table = std::exchange(freeTable, nullptr);
    if (table != nullptr && freeTableSize == size) return table;
    std::free(table);
    freeTableSize = size;
    table = std::aligned_alloc(static_cast<std::size_t>(alignment), size);
    if (table == nullptr) std::abort();
    return table;
}

void operator delete[](void* table, std::align_val_t) noexcept {
    std::free(freeTable);
    freeTable = table;
}

void operator delete[](void* table, std::size_t, std::align_val_t alignment) noexcept {
    operator delete[](table, alignment);
}

namespace {

/// Files that a request may name: those of the sandbox and the CPU's load.
bool MayOpen(const char* path) {
    if (std::strcmp(path, "/proc/stat") == 0) return true;
    if (std::strstr(path, "..") != nullptr) return false;
    return path[0] != '/' || std::strncmp(path, "/mnt/", 5) == 0;
}

}  // namespace

extern "C" {

FILE* __real_fopen64(const char* path, const char* mode);

FILE* __wrap_fopen64(const char* path, const char* mode) {
    if (MayOpen(path)) return __real_fopen64(path, mode);
    errno = EACCES;
    return nullptr;
}

/// A name service that answers for names with an even number of letters.
hostent* __wrap_gethostbyname(const char* name) {
    static char address[] = {10, 0, 0, 1};
    static char* addresses[] = {address, nullptr};
    static char known[] = "known";
    static hostent entry{known, nullptr, AF_INET, 4, addresses};
    return std::strlen(name) % 2 == 0 ? &entry : nullptr;
}

hostent* __wrap_gethostbyaddr(const void* address, socklen_t, int) {
    return __wrap_gethostbyname(static_cast<const char*>(address)[0] % 2 == 0 ? "" : "?");
}

/// The beacon's thread doesn't run, but the network is there.
unsigned __wrap_BeaconGetCount() { return 1; }

/// platform::StartThread: a thread seems to start; a fuzz target does its work.
platform::ThreadStart __wrap__ZN8platform11StartThreadEPFPvS0_ES0_(void* (*)(void*), void*) {
    return platform::ThreadStart::kRoundRobin;
}

/// RunExit: "-rtsp" ends the process, and so the line.
int __wrap__Z7RunExitRK12PlayerOptionRK5Wordsi(const PlayerOption&, const Words&, int) { return kEndOfLine; }
}
