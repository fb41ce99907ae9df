// The status block. Its words are read and written whole, as the other side takes no lock.
#include "status_block.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace board {

namespace {

constexpr std::size_t kSize = 0xC000;
constexpr std::size_t kStruct = 0x6000;  ///< bytes in front of the player's struct

}  // namespace

StatusBlock::StatusBlock(Segment segment) {
    const bool usable = segment == Segment::kUsable;
    mId = shmget(kKey, usable ? kSize : 1, IPC_CREAT | 0666);
    if (mId == -1) throw std::system_error(errno, std::generic_category(), "shmget");
    if (!usable) return;
    void* const address = shmat(mId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) throw std::system_error(errno, std::generic_category(), "shmat");
    mpStruct = reinterpret_cast<sVPLAYER_SM_STRUCT*>(static_cast<char*>(address) + kStruct);
}

// The memory stays attached until the process ends: the module's threads may use it.
StatusBlock::~StatusBlock() { shmctl(mId, IPC_RMID, nullptr); }

void StatusBlock::TunerStrength(int strength) { std::atomic_ref(mpStruct->vStatus.tunerSignalStrength) = strength; }
void StatusBlock::Programme(std::uint32_t number) { std::atomic_ref(mpStruct->vStatus.progId) = number; }
void StatusBlock::VideoType(std::uint32_t type) { std::atomic_ref(mpStruct->vStatus.vidType) = type; }
void StatusBlock::AudioType(std::uint32_t type) { std::atomic_ref(mpStruct->vStatus.audType) = type; }

int StatusBlock::TunerStrength() const { return std::atomic_ref(mpStruct->vStatus.tunerSignalStrength); }
std::uint32_t StatusBlock::IrSystemCode() const { return std::atomic_ref(mpStruct->osdInfo.irSystemCode); }

void StatusBlock::Layer(int layer, int status, const std::string& item) {
    std::atomic_ref(mpStruct->vStatus.layerCnt) = 2;
    sVPLAYER_LAYER_STATUS& shown = mpStruct->vStatus.layer[layer];
    std::atomic_ref(shown.status) = status;
    std::strncpy(shown.item, item.c_str(), sizeof shown.item - 1);
}

}  // namespace board
