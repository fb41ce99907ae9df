// The player's shared status block, and the CPU load.
#include "core/sharedmem.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>

#include "core/log.h"
#include "core/statistics.h"
#include "kbl_interprocess.h"
#include "platform/machine.h"

namespace {

constexpr int kKey = 2000;
constexpr std::size_t kSegmentSize = 49152;
constexpr std::size_t kBlockOffset = 24576;
static_assert(kBlockOffset + sizeof(sVPLAYER_SM_STRUCT) <= kSegmentSize);

constexpr const char* kLoadFile = "/proc/stat";

std::atomic<SharedMem*> sharedMem{nullptr};

/// A range of the player's stream types, and its code in the status reply.
struct TypeCode {
    std::uint32_t first, last;
    int code;
};
constexpr TypeCode kVideoCodes[] = {{1, 14, 0}, {22, 25, 1}};
constexpr int kOtherVideo = 2;
constexpr TypeCode kAudioCodes[] = {{1, 5, 0}, {6, 6, 2}, {7, 7, 1}};
constexpr int kOtherAudio = 3;

template <std::size_t Rows>
int CodeOf(const TypeCode (&codes)[Rows], std::uint32_t type, int other) {
    for (const TypeCode& row : codes) {
        if (type >= row.first && type <= row.last) return row.code;
    }
    return other;
}

/// Reads a word that another process may write at the same time.
template <typename Word>
Word ReadOnce(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

/// The first line of /proc/stat: ticks since start.
struct CpuTicks {
    std::uint64_t user, userLow, sys, idle;
};

bool ReadCpuTicks(CpuTicks& ticks) {
    FILE* const file = std::fopen(kLoadFile, "re");
    if (file == nullptr) return false;
    const int converted = std::fscanf(file, "cpu %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64, &ticks.user,
                                      &ticks.userLow, &ticks.sys, &ticks.idle);
    std::fclose(file);
    return converted == 4;
}

/// \return percent of the ticks between two readings that weren't idle; 0 when a counter wrapped or nothing was counted
double Percent(const CpuTicks& last, const CpuTicks& now) {
    if (now.user < last.user || now.userLow < last.userLow || now.sys < last.sys || now.idle < last.idle) return 0;
    const std::uint64_t busy = (now.user - last.user) + (now.userLow - last.userLow) + (now.sys - last.sys);
    const std::uint64_t total = busy + (now.idle - last.idle);
    return total == 0 ? 0 : static_cast<double>(busy) / static_cast<double>(total) * 100;
}

}  // namespace

SharedMem* SharedMem::Self() {
    SharedMem* self = sharedMem.load(std::memory_order_acquire);
    if (self == nullptr) {
        self = new SharedMem;
        sharedMem.store(self, std::memory_order_release);
    }
    return self;
}

SharedMem::SharedMem() {
    LOG("SharedMem::SharedMem");
    const int segment = shmget(kKey, kSegmentSize, IPC_CREAT | 0666);
    if (segment == -1) {
        PANIC("Shared Memory couldn't be initialized, shmget() failed\n");
        return;
    }
    void* const address = shmat(segment, nullptr, 0);
    if (reinterpret_cast<std::intptr_t>(address) == -1) {
        PANIC("Shared Memory couldn't be attached, shmat() failed\n");
        return;
    }
    mSharedAddress = address;
    mpPlayerStatusSharedStruct = reinterpret_cast<sVPLAYER_SM_STRUCT*>(static_cast<char*>(address) + kBlockOffset);
}

int SharedMem::GetSignalStrengthTransmitter() {
    const int strength =
        mpPlayerStatusSharedStruct != nullptr ? ReadOnce(mpPlayerStatusSharedStruct->vStatus.tunerSignalStrength) : 0;
    Statistics::Self()->SetSignalStrength(strength);
    return strength;
}

int SharedMem::GetProgramReceivedReceiver() {
    if (mpPlayerStatusSharedStruct == nullptr) return 0;
    return static_cast<int>(ReadOnce(mpPlayerStatusSharedStruct->vStatus.progId));
}

int SharedMem::GetVideoTypeReceiver() {
    if (mpPlayerStatusSharedStruct == nullptr) return 0;
    return CodeOf(kVideoCodes, ReadOnce(mpPlayerStatusSharedStruct->vStatus.vidType), kOtherVideo);
}

int SharedMem::GetAudioTypeReceiver() {
    if (mpPlayerStatusSharedStruct == nullptr) return 0;
    return CodeOf(kAudioCodes, ReadOnce(mpPlayerStatusSharedStruct->vStatus.audType), kOtherAudio);
}

void SharedMem::IrModeCode(std::uint16_t code) {
    if (mpPlayerStatusSharedStruct == nullptr) return;
    const std::uint32_t stored = code < 256 ? ((255u - code) << 8) + code : code;
    __atomic_store_n(&mpPlayerStatusSharedStruct->osdInfo.irSystemCode, stored, __ATOMIC_RELAXED);
}

std::uint16_t SharedMem::IrModeCode() {
    if (mpPlayerStatusSharedStruct == nullptr) return 0;
    return static_cast<std::uint16_t>(ReadOnce(mpPlayerStatusSharedStruct->osdInfo.irSystemCode) & 0xFF);
}

int SharedMem::GetCpuUtilization() {
    CpuTicks before{};
    CpuTicks after{};
    const bool first = ReadCpuTicks(before);
    platform::Sleep(platform::kSecond);
    const bool second = ReadCpuTicks(after);
    return first && second ? static_cast<int>(Percent(before, after)) : 0;
}
