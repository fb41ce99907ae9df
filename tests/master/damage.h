/// Damaged forms of a good reply, for parsers that must neither crash nor take what isn't one.
#pragma once

#include <functional>
#include <random>
#include <string>

namespace damage {

/// Calls `parse` with every cut of a reply, and with copies in which a few bytes were changed, doubled or taken out.
/// Each copy lies in a block of its own size, so that AddressSanitizer sees a byte read too many.
inline void TryAll(const std::string& good, const std::function<void(const std::string&)>& parse) {
    for (std::size_t cut = 0; cut <= good.size(); ++cut) {
        std::string part = good.substr(0, cut);
        part.shrink_to_fit();
        parse(part);
    }
    std::mt19937 random(20090101);
    for (int round = 0; round < 2000; ++round) {
        std::string bad = good;
        for (unsigned change = 1 + random() % 4; change > 0 && !bad.empty(); --change) {
            const std::size_t at = random() % bad.size();
            const char byte = static_cast<char>(random() % 256);
            switch (random() % 4) {
                case 0: bad[at] = byte; break;
                case 1: bad.erase(at, 1 + random() % 5); break;
                case 2: bad.insert(at, bad.substr(at, random() % 9)); break;
                default: bad[at] = "0123456789abcdef,:[] \r\n"[random() % 23]; break;
            }
        }
        bad.shrink_to_fit();
        parse(bad);
    }
}

}  // namespace damage
