/// Which sections of the guide the store holds already.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "bytes.h"

/// EIT and ETT come again every few seconds, all day. What was filed from the same bytes before, into a store in which
/// nothing changed since, needs neither decoding nor filing. Of two sections that want one row the last one has it.
class FiledSections {
 public:
    /// A section, by its bytes.
    struct Print {
        std::uint32_t hash;
        std::uint32_t crc;  ///< CRC_32: neither would be enough by itself
        bool operator==(const Print&) const = default;
    };

    /// \param section  whole, with its CRC_32
    static Print PrintOf(Bytes section) {
        const std::string_view text(reinterpret_cast<const char*>(section.data()), section.size());
        const Bytes covered = WithoutCrc(section);
        const std::uint32_t crc = covered.empty() ? 0 : Be32(section, covered.size());
        return {static_cast<std::uint32_t>(std::hash<std::string_view>()(text)), crc};
    }

    /// \param changes  state of the store \return true when the section was noted in this state
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
