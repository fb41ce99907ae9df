// Answers of the remount daemon: each a byte for its size, then its bytes.
#include "core/systemmanager.h"
#include "world.h"

void fuzz::Daemon(Input& input, unsigned /*flags*/) {
    constexpr int kExchanges = 4;  // a minute each, where there is no answer
    for (int i = 0; i < kExchanges && !input.Empty(); ++i) {
        TheMeanwhile().daemonAnswer = [&input] { return input.Take(input.Byte()); };
        SystemManager::RemountHd(1, 1);
        SystemManager::RemountHd(1, 0);
    }
    TheMeanwhile().daemonAnswer = nullptr;
    // The next exchanges work after any answers.
    for (const int rw : {1, 0}) Promise(SystemManager::RemountHd(1, rw) == 0, "a good answer is taken");
}
