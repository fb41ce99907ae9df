/// Sections of the guide that the store already holds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "bytes.h"

/// EIT and ETT repeat every few seconds. A section with the same bytes as one filed before needs neither decoding nor
/// filing, if the store hasn't changed since. Direct-mapped: a section evicts the previous one of its row.
class FiledSections {
 public:
    /// Identifies a section by its bytes.
    struct Print {
        std::uint32_t hash;
        std::uint32_t crc;  ///< CRC_32: neither is enough alone
        bool operator==(const Print&) const = default;
    };

    /// \param section  whole, with its CRC_32
    static Print PrintOf(Bytes section) {
        const std::string_view text(reinterpret_cast<const char*>(section.data()), section.size());
        const Bytes covered = WithoutCrc(section);
        const std::uint32_t crc = covered.empty() ? 0 : Be32(section, covered.size());
        return {static_cast<std::uint32_t>(std::hash<std::string_view>()(text)), crc};
    }

    /// \param changes  state of the store
    /// \return true when the section was noted in this state
    bool Hold(const Print& print, std::uint32_t changes) const {
        const Row& row = mRows[print.hash % kRows];
        return row.changes == changes && row.print == print;
    }

    /// Notes a section that was filed. \param changes  state of the store before
    void Note(const Print& print, std::uint32_t changes) { mRows[print.hash % kRows] = {print, changes}; }

 private:
    static constexpr std::size_t kRows = 4096;  ///< twice what the guide of a channel has in four days

    struct Row {
        Print print;
        std::uint32_t changes;  ///< state of the store when it was filed
    };
    std::array<Row, kRows> mRows{};
};
