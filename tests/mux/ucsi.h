/// Sections read by libucsi. It swaps bytes in place, so each reading works on a copy.
#pragma once

#include <libucsi/atsc/section.h>
#include <libucsi/atsc/types.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "mux/section.h"

/// A copy of a section, parsed up to its PSIP head. Null inside when libucsi refuses it or its CRC, or when it has no
/// head of A/65.
class UcsiSection {
 public:
    explicit UcsiSection(const mux::Section& section) : mBytes(section) {
        auto* const plain = section_codec(mBytes.data(), mBytes.size());
        auto* const extended = plain == nullptr ? nullptr : section_ext_decode(plain, 1);
        const bool good = extended != nullptr && plain->private_indicator == 1 && plain->reserved == 3 &&
                          extended->reserved1 == 3 && extended->current_next_indicator == 1;
        mHead = good ? atsc_section_psip_decode(extended) : nullptr;
        if (mHead != nullptr && mHead->protocol_version != 0) mHead = nullptr;
    }

    atsc_section_psip* Head() const { return mHead; }

    /// The table by its own codec, as `section.As(atsc_eit_section_codec)`; null when refused.
    template <class Table>
    Table* As(Table* (*codec)(atsc_section_psip*)) const {
        return mHead == nullptr ? nullptr : codec(mHead);
    }

 private:
    mux::Octets mBytes;
    atsc_section_psip* mHead = nullptr;
};

/// All strings of a multiple string structure in UTF-8, each after its language: "eng:News|spa:Noticias".
/// "invalid" for a structure that isn't, "undecoded" for a text that libucsi can't decode.
inline std::string UcsiText(atsc_text* text, std::size_t size) {
    if (text == nullptr || size == 0) return "";
    if (atsc_text_validate(reinterpret_cast<std::uint8_t*>(text), static_cast<int>(size)) != 0) return "invalid";
    std::string all;
    atsc_text_string* string = nullptr;
    int i = 0;
    atsc_text_strings_for_each(text, string, i) {
        if (i > 0) all += "|";
        all += std::string(reinterpret_cast<const char*>(string->language_code), 3) + ":";
        std::uint8_t* buffer = nullptr;
        std::size_t room = 0;
        std::size_t used = 0;
        atsc_text_string_segment* segment = nullptr;
        int k = 0;
        bool good = true;
        atsc_text_string_segments_for_each(string, segment, k) {
            good = good && atsc_text_segment_decode(segment, &buffer, &room, &used) >= 0;
        }
        all += good ? std::string(reinterpret_cast<const char*>(buffer), buffer == nullptr ? 0 : used) : "undecoded";
        std::free(buffer);
    }
    return all;
}
