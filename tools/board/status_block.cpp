// The status block: segment 2000 and its words. Each is read and written whole, as the other side takes no lock.
#include "status_block.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace board {

namespace {

constexpr int kKey = 2000;
constexpr std::size_t kSize = 0xC000;
constexpr std::size_t kItemSize = 256;

}  // namespace

StatusBlock::StatusBlock(Segment segment) {
    const bool usable = segment == Segment::kUsable;
    mId = shmget(kKey, usable ? kSize : 1, IPC_CREAT | 0666);
    if (mId == -1) throw std::system_error(errno, std::generic_category(), "shmget");
    if (!usable) return;
    void* address = shmat(mId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) throw std::system_error(errno, std::generic_category(), "shmat");
    mBytes = static_cast<char*>(address);
}

// The memory stays attached until the process ends: the module's threads may use it.
StatusBlock::~StatusBlock() { shmctl(mId, IPC_RMID, nullptr); }

std::uint32_t StatusBlock::Word(std::size_t offset) const {
    if (mBytes == nullptr) return 0;
    return std::atomic_ref(*reinterpret_cast<std::uint32_t*>(mBytes + offset)).load(std::memory_order_relaxed);
}

void StatusBlock::Put(std::size_t offset, std::uint32_t value) {
    if (mBytes == nullptr) return;
    std::atomic_ref(*reinterpret_cast<std::uint32_t*>(mBytes + offset)).store(value, std::memory_order_relaxed);
}

void StatusBlock::Layer(int layer, int status, const std::string& item) {
    if (mBytes == nullptr || layer < 0 || layer > 1) return;
    const std::size_t offset = kLayers + static_cast<std::size_t>(layer) * kLayerSize;
    Put(kLayerCount, 2);
    Put(offset, static_cast<std::uint32_t>(status));
    char* text = mBytes + offset + sizeof(std::uint32_t);
    std::memset(text, 0, kItemSize);
    std::memcpy(text, item.data(), std::min(item.size(), kItemSize - 1));
}

}  // namespace board
