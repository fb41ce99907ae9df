// The same targets for libFuzzer; the environment variable ZUL_FUZZ_TARGET selects one.
#include <cstdio>
#include <cstring>

#include "target.h"

using fuzz::Target;

namespace {

const Target* TheTarget() {
    static const Target* const target =
        fuzz::FindTarget(std::getenv("ZUL_FUZZ_TARGET") != nullptr ? std::getenv("ZUL_FUZZ_TARGET") : "");
    return target;
}

}  // namespace

extern "C" {

std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

int LLVMFuzzerInitialize(int* count, char*** words) {
    if (*count == 2 && std::strcmp((*words)[1], "--targets") == 0) {
        for (const Target& target : fuzz::Targets())
            std::printf("%.*s\n", static_cast<int>(target.name.size()), target.name.data());
        std::exit(0);
    }
    if (TheTarget() == nullptr) {
        std::fputs("ZUL_FUZZ_TARGET names no target\n", stderr);
        std::exit(2);
    }
    if (*count == 2 && std::strcmp((*words)[1], "--dictionary") == 0) {
        if (TheTarget()->dictionary != nullptr) TheTarget()->dictionary();
        std::exit(0);
    }
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Enter(*TheTarget(), Bytes(data, size));
    return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed) {
    const Target* const target = TheTarget();
    room = std::min(room, target->longest);
    size = LLVMFuzzerMutate(data, std::min(size, room), room);
    if (target->repair != nullptr && seed % 2 == 0 && size > 1) target->repair(std::span(data + 1, size - 1));
    return size;
}
}
