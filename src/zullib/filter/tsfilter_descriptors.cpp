// The language and caption descriptors of PMT, VCT and MGT (ISO/IEC 13818-1, 2.6; ATSC A/65, 6.9).
#include <algorithm>
#include <cstring>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"

namespace {

constexpr std::uint8_t kIso639Language = 0x0A;
constexpr std::uint8_t kCaptionService = 0x86;

constexpr std::size_t kDescriptorHead = 2;  ///< tag and length
constexpr std::size_t kLanguageEntry = 4;   ///< ISO_639_language_code (3 bytes), audio_type
constexpr std::size_t kCaptionEntry = 6;    ///< language (3 bytes), flags and service number, flags, reserved

void CopyLanguage(char (&language)[4], Bytes code) {
    std::memcpy(language, code.data(), 3);
    language[3] = '\0';
}

}  // namespace

/// Walks a descriptor loop for a row. Two tags are read; video (0x02), audio (0x03), AC-3 (0x81) and service location
/// (0xA1) contain nothing that is used.
/// \param caller  0 an elementary stream, 1 a PMT's program info, 3 the VCT, 4 the MGT; changes nothing
bool TsFilter::AnalyzeDescriptor(Bytes loop, std::uint16_t pid, int /*caller*/) {
    const std::size_t length = loop.size();
    std::size_t curbyte = 0;  // by the declared lengths, which may exceed the loop
    while (!loop.empty()) {
        curbyte += kDescriptorHead;
        const auto head = TakeFront(loop, kDescriptorHead);
        if (!head) break;
        const std::size_t descr_len = (*head)[1];
        if (descr_len == 0) continue;
        const Bytes body = TakeAtMost(loop, descr_len);
        curbyte += descr_len;
        ++mPacketIdMap[pid].dbg1;
        if ((*head)[0] == kIso639Language) AnalyzeDescriptorLanguage(body, descr_len, pid);
        if ((*head)[0] == kCaptionService) AnalyzeDescriptorCaption(body, descr_len, pid);
    }
    if (curbyte > length) {
        LOG("descriptors too long: curbyte %d, length %d\n", static_cast<int>(curbyte), static_cast<int>(length));
    }
    return true;
}

/// \return whether the row has a programme to report and, on a transmitter, its transport stream
bool TsFilter::IsReported(const PacketIdMapType& row) const {
    return row.programId != 0 && (mMyType != 'T' || row.transportId != 0);
}

/// ISO_639_language_descriptor (ISO/IEC 13818-1, 2.6.18). The last entry wins.
/// \param body  entries of 4 bytes, possibly truncated
/// \param descriptor_length  as declared
void TsFilter::AnalyzeDescriptorLanguage(Bytes body, std::size_t descriptor_length, std::uint16_t pid) {
    PacketIdMapType& row = mPacketIdMap[pid];
    std::size_t curbyte = 0;
    for (; curbyte < descriptor_length; curbyte += kLanguageEntry) {
        const auto entry = TakeFront(body, kLanguageEntry);
        if (!entry) continue;
        CopyLanguage(row.audioLanguage, *entry);
        row.audioLangType = (*entry)[3];
        if (row.dbg1 == 0) {
            LOG("\nLLLLL Found lang %s for pid 0x%x, type 0x%.2x, trid 0x%x, prid 0x%x\n\n", row.audioLanguage, pid,
                static_cast<unsigned>(row.audioLangType), row.transportId, row.programId);
        }
    }
    if (curbyte > descriptor_length) {
        PANIC("Bad descriptor length (remainder %d)\n", static_cast<int>(curbyte - descriptor_length));
    }
    if (!IsReported(row)) return;
    mpTunerManager->SetLanguageForProgram(row.transportId, row.programId, row.audioLanguage, Language::eAudio,
                                          row.audioLangType, pid, 0);
}

/// caption_service_descriptor (ATSC A/65, 6.9.2). One report for the whole descriptor, with its last entry.
/// \param body  reserved (3 bits), number_of_services (5), then entries of 6 bytes, possibly truncated
/// \param descriptor_length  as declared
void TsFilter::AnalyzeDescriptorCaption(Bytes body, std::size_t descriptor_length, std::uint16_t pid) {
    PacketIdMapType& row = mPacketIdMap[pid];
    const auto head = TakeFront(body, 1);
    if (!head) return;
    const std::size_t number_of_services = (*head)[0] & 0x1Fu;
    const std::size_t entriesSize = kCaptionEntry * number_of_services;
    std::size_t tmp = descriptor_length - 1;
    bool cut = false;
    if (tmp != entriesSize) {
        LOG("Caption: descriptor_length (%d) - 1 - number_of_services (%d) * 6  = %d\n",
            static_cast<int>(descriptor_length), static_cast<int>(number_of_services),
            static_cast<int>(tmp) - static_cast<int>(entriesSize));
        cut = tmp > entriesSize;
        tmp = std::min(tmp, entriesSize);
    }
    unsigned caption_service_number = 0;
    std::size_t curbyte = 0;
    for (; curbyte < tmp; curbyte += kCaptionEntry) {
        const auto entry = TakeFront(body, kCaptionEntry);
        if (!entry) continue;
        CopyLanguage(row.captionLanguage, *entry);
        caption_service_number = (*entry)[3] & 0x3Fu;
        if (!cut) continue;
        LOG("CCCCC caption %s for pid 0x%.4x digital_cc %d, caption_service_number 0x%x easy_reader %d, wide_aspect "
            "%d\n",
            row.captionLanguage, pid, (*entry)[3] >> 7, caption_service_number, (*entry)[4] >> 7, (*entry)[4] >> 6 & 1);
    }
    if (curbyte != tmp) {
        LOG("Bad descriptor!\n");
        return;
    }
    if (!IsReported(row)) return;
    mpTunerManager->SetLanguageForProgram(row.transportId, row.programId, row.captionLanguage, Language::eCaption, 0,
                                          pid, static_cast<int>(caption_service_number));
}
