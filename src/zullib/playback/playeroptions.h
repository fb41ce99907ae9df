/// The options of the player's language: the words after each, and the order that it becomes.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "kbl_interprocess.h"
#include "playback/playerwords.h"

/// A record with padding, as the longest orders copy past its end.
struct PaddedRecord {
    sMSG_COMMON_FORMAT record;
    char padding[8];
};

/// Queue and message type that an order goes to.
struct Destination {
    unsigned key;
    unsigned type;
};
constexpr Destination kPlayer = {1234, 2};
constexpr Destination kDaemon = {1240, 20};  ///< the system daemon's

/// How the word after an option is read. Numbers are decimal, 0x hexadecimal or leading-zero octal, unless stated.
enum class Kind : std::uint8_t {
    kUnread,        ///< required but ignored
    kSigned,        ///< number
    kUnsigned,      ///< number
    kNotZero,       ///< unsigned number; 0 is replaced by the value of an absent word
    kPort,          ///< unsigned number, or-ed into the field
    kHex,           ///< hexadecimal, with or without a prefix
    kUpperHex,      ///< hexadecimal, shifted into the upper 16 bits
    kMode,          ///< unsigned number, a layer's xyMode; marks that layer as given
    kReadWrite,     ///< 1 for "rw", 0 for any other word
    kText,          ///< text, cut to its field and terminated
    kName,          ///< the same, and the order's size counts its characters
    kUnterminated,  ///< text, cut to its field
};

/// One word after an option.
struct OptionWord {
    Kind kind;
    std::uint16_t offset = 0;  ///< of its field in the record
    std::int32_t absent = 0;   ///< value of the field when there is no word
    std::uint16_t size = 4;    ///< bytes of its field

    constexpr bool IsText() const { return kind == Kind::kText || kind == Kind::kName || kind == Kind::kUnterminated; }
};

/// A number that an order always carries.
struct FixedField {
    std::uint16_t offset;
    std::int32_t value;
};

/// What the scan does when a required word is missing.
enum class Missing : std::uint8_t {
    kDropLine,  ///< ignores the rest of the line
    kDropWord,  ///< continues after the word found instead
};

constexpr std::int32_t kNoOrder = -1;
constexpr int kEndOfLine = -1;  ///< the rest of the line is ignored

struct PlayerOption;

/// Fills the option's record from its words, and sends it.
/// \param at  index of the option word
/// \return index of the word where the scan continues: after the option's words when all were present, else after the
///         word that ended them, whatever it was; or kEndOfLine
int RunOrder(const PlayerOption& option, const Words& words, int at);

/// One option of the player's language.
struct PlayerOption {
    using Run = int (*)(const PlayerOption& option, const Words& words, int at);
    using Print = void (*)(const PlayerOption& option, const sMSG_COMMON_FORMAT& record, const char* firstWord);

    std::string_view word;
    std::int32_t cmmdId = kNoOrder;
    int size = 0;      ///< bytes sent of the record, from its byte 4 on; a kName adds its length
    int required = 0;  ///< required leading words
    std::span<const OptionWord> words{};
    std::span<const FixedField> fixed{};
    Print print = nullptr;  ///< line on standard output before the order is sent
    Missing missing = Missing::kDropLine;
    Run run = RunOrder;
    bool oneMore = false;  ///< skips one more word when all were present
    Destination to = kPlayer;
};

/// \return all options
std::span<const PlayerOption> PlayerOptions();

/// \return the option of a word, or null
const PlayerOption* FindOption(std::string_view word);

// Options that send nothing.
int RunHelp(const PlayerOption& option, const Words& words, int at);
int RunExit(const PlayerOption& option, const Words& words, int at);
int RunHostIp(const PlayerOption& option, const Words& words, int at);
int RunHostName(const PlayerOption& option, const Words& words, int at);
