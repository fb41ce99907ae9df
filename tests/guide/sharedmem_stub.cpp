// Stands in for the view of the status block until that is there.
#include <sys/shm.h>

#include <atomic>
#include <cstring>

#include "sharedmem.h"

SharedMem::SharedMem() {
    const int id = shmget(2000, 49152, IPC_CREAT | 0666);
    mSharedAddress = shmat(id, nullptr, 0);
}

SharedMem* SharedMem::Self() {
    static auto* const self = new SharedMem;
    return self;
}

static int Word(void* block, int offset) {
    return reinterpret_cast<std::atomic<int>*>(static_cast<char*>(block) + 24576 + offset)->load();
}

int SharedMem::GetSignalStrengthTransmitter() { return Word(mSharedAddress, 1168); }
int SharedMem::GetProgramReceivedReceiver() { return Word(mSharedAddress, 1172); }
