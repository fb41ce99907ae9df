// The table of fuzz targets, and one run through one of them.
#include <cstdio>

#include "target.h"
#include "world.h"

namespace fuzz {

namespace {

// clang-format off
constexpr Target kTargets[] = {
    // name       run         longest repair         dictionary
    {"walk",       Walk,       6000,   RepairPackets},
    {"collector",  Collector,  5000,   RepairSteps},
    {"pat",        Pat,        4097,   RepairSection},
    {"pmt",        Pmt,        4097,   RepairSection},
    {"mgt",        Mgt,        4097,   RepairSection},
    {"vct",        Vct,        1040,   RepairSection},
    {"stt",        Stt,        1040,   RepairSection},
    {"eit",        Eit,        4097,   RepairSection},
    {"ett",        Ett,        4097,   RepairSection},
    {"huffman",    Huffman,    600},
    {"strings",    Strings,    1200},
    {"dispatcher", Dispatcher, 4200,   nullptr,       PrintKeywords},
    {"command",    Command,    2200},
    {"player",     Player,     3000,   nullptr,       PrintOptions},
    {"agent",      Agent,      1200},
    {"daemon",     Daemon,     200},
    {"browser",    Browser,    1200},
    {"keys",       Keys,       200},
    {"results",    Results,    2000},
    {"startup",    Startup,    1200,   nullptr,       PrintKeywords},
    {"replies",    Replies,    6000},
};
// clang-format on

}  // namespace

std::span<const Target> Targets() { return kTargets; }

const Target* FindTarget(std::string_view name) {
    for (const Target& target : kTargets) {
        if (target.name == name) return &target;
    }
    return nullptr;
}

void Promise(bool kept, const char* promise) {
    if (kept) return;
    TellAlways(promise);
    std::abort();
}

void Enter(const Target& target, Bytes input) {
    Input rest(input);
    const std::uint8_t first = rest.Byte();
    const World world(LevelOf(first));
    target.run(rest, FlagsOf(first));
}

}  // namespace fuzz
