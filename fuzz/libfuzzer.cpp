// The same doors for libFuzzer; the environment's ZUL_FUZZ_DOOR names the one.
#include <cstdio>
#include <cstring>

#include "door.h"

using fuzz::Door;

namespace {

const Door* TheDoor() {
    static const Door* const door =
        fuzz::FindDoor(std::getenv("ZUL_FUZZ_DOOR") != nullptr ? std::getenv("ZUL_FUZZ_DOOR") : "");
    return door;
}

}  // namespace

extern "C" {

std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

int LLVMFuzzerInitialize(int* count, char*** words) {
    if (*count == 2 && std::strcmp((*words)[1], "--doors") == 0) {
        for (const Door& door : fuzz::Doors())
            std::printf("%.*s\n", static_cast<int>(door.name.size()), door.name.data());
        std::exit(0);
    }
    if (TheDoor() == nullptr) {
        std::fputs("ZUL_FUZZ_DOOR names no door\n", stderr);
        std::exit(2);
    }
    if (*count == 2 && std::strcmp((*words)[1], "--dictionary") == 0) {
        if (TheDoor()->dictionary != nullptr) TheDoor()->dictionary();
        std::exit(0);
    }
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Enter(*TheDoor(), Bytes(data, size));
    return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed) {
    const Door* const door = TheDoor();
    room = std::min(room, door->longest);
    size = LLVMFuzzerMutate(data, std::min(size, room), room);
    if (door->repair != nullptr && seed % 2 == 0 && size > 1) door->repair(std::span(data + 1, size - 1));
    return size;
}
}
