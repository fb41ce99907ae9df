/// Fuzz targets: the inputs of the module from outside.
#pragma once

#include <cstdlib>
#include <string_view>
#include <vector>

#include "bytes.h"

namespace fuzz {

/// Bytes in a heap block of exactly their size, so that a read past their end is caught.
using Block = std::vector<std::uint8_t>;

/// The input of one run, taken off its front.
class Input {
 public:
    explicit Input(Bytes bytes) : mRest(bytes) {}

    bool Empty() const { return mRest.empty(); }

    /// \return the next byte, 0 after the end
    std::uint8_t Byte() {
        const Bytes front = TakeAtMost(mRest, 1);
        return front.empty() ? std::uint8_t{0} : front[0];
    }

    /// \return the next `size` bytes, or as many as there are
    Block Take(std::size_t size) {
        const Bytes front = TakeAtMost(mRest, size);
        return Block(front.begin(), front.end());
    }

    /// \return the bytes up to a separator, which is stepped over
    Block TakeTo(std::uint8_t separator) {
        const auto end = std::find(mRest.begin(), mRest.end(), separator);
        Block block = Take(static_cast<std::size_t>(end - mRest.begin()));
        Take(1);
        return block;
    }

    Block Rest() { return Take(mRest.size()); }

 private:
    Bytes mRest;
};

/// The characters of a text with their terminator, flush in a block.
inline std::vector<char> Text(const Block& bytes) {
    std::vector<char> text(bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), text.begin());
    return text;
}

/// Ends the process when the module breaks a promise that no sanitizer checks.
void Promise(bool kept, const char* promise);

/// One fuzz target. The first byte of every input chooses the log level, see `LevelOf`.
struct Target {
    std::string_view name;
    void (*run)(Input& input, unsigned flags);
    std::size_t longest;  ///< bytes of an input that is worth its time
    /// Repairs lengths and CRCs of a mutated input, from its second byte on; null where there are none.
    void (*repair)(std::span<std::uint8_t> input) = nullptr;
    /// Prints the lines of a dictionary; null where there is none.
    void (*dictionary)() = nullptr;
};

/// All targets. \return the one of that name, or null
std::span<const Target> Targets();
const Target* FindTarget(std::string_view name);

/// Runs one input through a fuzz target, in a world that is reset before and emptied afterwards.
void Enter(const Target& target, Bytes input);

/// Log level of an input, 0 to 2, by its first byte; the other bits, shifted down, are the target's own flags.
constexpr unsigned kLevels = 3;
constexpr unsigned LevelOf(std::uint8_t first) { return first % kLevels; }
constexpr unsigned FlagsOf(std::uint8_t first) { return first / kLevels; }

// clang-format off
void Walk(Input&, unsigned);       void RepairPackets(std::span<std::uint8_t>);
void Collector(Input&, unsigned);  void RepairSteps(std::span<std::uint8_t>);
void Pat(Input&, unsigned);        void RepairSection(std::span<std::uint8_t>);
void Pmt(Input&, unsigned);
void Mgt(Input&, unsigned);
void Vct(Input&, unsigned);
void Stt(Input&, unsigned);
void Eit(Input&, unsigned);
void Ett(Input&, unsigned);
void Huffman(Input&, unsigned);
void Strings(Input&, unsigned);
void Dispatcher(Input&, unsigned); void PrintKeywords();
void Command(Input&, unsigned);
void Player(Input&, unsigned);     void PrintOptions();
void Agent(Input&, unsigned);
void Daemon(Input&, unsigned);
void Browser(Input&, unsigned);
void Keys(Input&, unsigned);
void Results(Input&, unsigned);
void Startup(Input&, unsigned);
void Replies(Input&, unsigned);
// clang-format on

}  // namespace fuzz
