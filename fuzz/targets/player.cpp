// Lines of the player's language, by the host or by M710CMMD.
#include <cstdio>
#include <string>

#include "playback/playeroptions.h"
#include "target.h"
#include "zul.h"

namespace fuzz {

/// \param flags  1: as words that are cut already, each in its own block
void Player(Input& input, unsigned flags) {
    if ((flags & 1) == 0) {
        std::vector<char> line = Text(input.Rest());
        m710cmmd(line.data());
        return;
    }
    std::vector<std::vector<char>> words;
    while (!input.Empty()) words.push_back(Text(input.TakeTo(' ')));
    std::vector<char*> table;
    for (auto& word : words) table.push_back(word.data());
    Main(static_cast<int>(table.size()), table.data());
}

void PrintOptions() {
    for (const PlayerOption& option : PlayerOptions()) std::printf("\"%s \"\n", std::string(option.word).c_str());
    for (const char* word : {" 0x1FFF ", " -5 ", " 4294967295 ", " rw ", " 239.1.1.1 "}) std::printf("\"%s\"\n", word);
}

}  // namespace fuzz
