/// Sections of ISO/IEC 13818-1 (2.4.4) and ATSC A/65: a byte writer for their fields, head and CRC_32 around a body.
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace mux {

using Octets = std::vector<std::uint8_t>;
using OctetView = std::span<const std::uint8_t>;

/// A whole section, from table_id to CRC_32.
using Section = Octets;

/// Throws std::runtime_error: a description, table or stream can't be broadcast, for the reason given.
template <class... Args>
[[noreturn]] void Fail(fmt::format_string<Args...> reason, Args&&... args) {
    throw std::runtime_error(fmt::format(reason, std::forward<Args>(args)...));
}

/// Appends big-endian numbers and bytes.
class ByteWriter {
 public:
    ByteWriter& U8(std::size_t value) {
        mBytes.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    ByteWriter& U16(std::size_t value) { return U8(value >> 8).U8(value); }
    ByteWriter& U24(std::size_t value) { return U8(value >> 16).U16(value); }
    ByteWriter& U32(std::size_t value) { return U16(value >> 16).U16(value); }
    ByteWriter& Raw(OctetView bytes) {
        mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    ByteWriter& Letters(std::string_view text) {
        mBytes.insert(mBytes.end(), text.begin(), text.end());
        return *this;
    }

    const Octets& Bytes() const { return mBytes; }

 private:
    Octets mBytes;
};

/// The fields before a section's body.
struct SectionHead {
    std::uint8_t tableId = 0;
    std::uint16_t extension = 0;  ///< table_id_extension
    std::uint8_t version = 0;     ///< 0 to 31
    std::size_t number = 0;
    std::size_t last = 0;
};

/// A current section around `body`; its private_indicator and its largest size are those of its table_id.
/// Throws std::runtime_error when it would be larger.
Section MakeSection(const SectionHead& head, OctetView body);

/// The sections of a table of A/65, at least one: each has protocol_version 0, the number of its entries, as many of
/// the entries as fit, up to 255, and `tail`.
/// Throws std::runtime_error for an entry larger than a section, and for more than 256 sections.
std::vector<Section> MakeCountedSections(SectionHead head, std::span<const Octets> entries, OctetView tail = {});

}  // namespace mux
