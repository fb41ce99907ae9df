/// Faults that a stream can be given on purpose, as data: what, and from which moment on.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace mux {

enum class FaultKind : std::uint8_t {
    kCcGap,        ///< one packet is lost, a null packet stands in its place
    kDuplicate,    ///< one packet is sent twice, as ISO/IEC 13818-1, 2.4.3.3 allows it
    kCrc,          ///< one bit of one section is wrong
    kLongSection,  ///< one section tells a section_length of 4095
    kVersionWrap,  ///< all tables but the STT are of version 31 just before that moment, then of version 0
    kPmtMove,      ///< one programme's PMT goes to another PID; the PAT tells so with a new version
    kBadHuffman,   ///< compressed texts of the guide are random bytes; their tables and the MGT have new versions
};

struct Fault {
    FaultKind kind = FaultKind::kCcGap;
    std::uint32_t at = 0;  ///< millisecond of the stream
};

struct FaultName {
    std::string_view name;
    FaultKind kind;
};

// clang-format off
inline constexpr std::array kFaultNames = {
    FaultName{"cc-gap",       FaultKind::kCcGap},
    FaultName{"dup",          FaultKind::kDuplicate},
    FaultName{"crc",          FaultKind::kCrc},
    FaultName{"long-section", FaultKind::kLongSection},
    FaultName{"version-wrap", FaultKind::kVersionWrap},
    FaultName{"pmt-move",     FaultKind::kPmtMove},
    FaultName{"bad-huffman",  FaultKind::kBadHuffman},
};
// clang-format on

/// Faults from "cc-gap,crc@2.5": names, and the seconds of the stream that they share.
/// Throws Error for a name that isn't known and a time that is none or beyond a day.
std::vector<Fault> ParseFaults(std::string_view text);

/// The name of a kind.
std::string_view NameOf(FaultKind kind);

}  // namespace mux
