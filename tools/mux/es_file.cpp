// Elementary streams in files, mapped into memory and split into access units.
#include "es_file.h"

#include <bitstream/atsc/a52.h>

#include <algorithm>

#include "common/mapped_file.h"
#include "error.h"

namespace mux {
namespace {

// Start codes of ISO/IEC 13818-2, 6.2.1.
constexpr std::uint8_t kPicture = 0x00;
constexpr std::uint8_t kSequenceHeader = 0xB3;
constexpr std::uint8_t kGroupHeader = 0xB8;

std::unique_ptr<common::MappedFile> Map(const std::string& name) {
    auto file = std::make_unique<common::MappedFile>(name);
    if (file->Bytes().empty()) throw Error(name + ": it can't be read, or is empty");
    return file;
}

class FileStream : public ElementaryStream {
 public:
    FileStream(std::uint8_t streamId, std::unique_ptr<common::MappedFile> file, std::vector<UnitPlace> places,
               std::int64_t unitTime)
        : mStreamId(streamId), mFile(std::move(file)), mPlaces(std::move(places)) {
        for (const UnitPlace& place : mPlaces) {
            mUnits.push_back({place.size, static_cast<std::int64_t>(mUnits.size()) * unitTime, place.randomAccess});
        }
    }

    std::uint8_t StreamId() const override { return mStreamId; }
    const std::vector<AccessUnit>& Units() const override { return mUnits; }
    void Read(std::size_t unit, std::span<std::uint8_t> bytes) override {
        const auto source = mFile->Bytes().subspan(mPlaces[unit].at, mPlaces[unit].size);
        std::copy(source.begin(), source.end(), bytes.begin());
    }

 private:
    const std::uint8_t mStreamId;
    const std::unique_ptr<common::MappedFile> mFile;
    const std::vector<UnitPlace> mPlaces;
    std::vector<AccessUnit> mUnits;
};

// Position of the next start code prefix at or after `at`, or the size where there is none.
std::size_t NextStartCode(std::span<const std::uint8_t> bytes, std::size_t at) {
    static constexpr std::uint8_t kPrefix[] = {0, 0, 1};
    const auto found = std::search(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(), std::begin(kPrefix),
                                   std::end(kPrefix));
    const auto position = static_cast<std::size_t>(found - bytes.begin());
    return position + 3 < bytes.size() ? position : bytes.size();
}

void Cut(std::vector<UnitPlace>& places, std::size_t skip, std::size_t count, const std::string& file) {
    if (places.size() < skip + count) {
        throw Error(file + ": " + std::to_string(places.size()) + " units, " + std::to_string(skip + count) +
                    " are needed");
    }
    places.erase(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(skip));
    places.resize(count);
}

}  // namespace

std::vector<UnitPlace> FindPictures(std::span<const std::uint8_t> bytes) {
    std::vector<UnitPlace> units;
    bool whole = true;  // the current unit has its picture
    for (std::size_t at = NextStartCode(bytes, 0); at < bytes.size(); at = NextStartCode(bytes, at + 3)) {
        const std::uint8_t code = bytes[at + 3];
        const bool head = code == kSequenceHeader || code == kGroupHeader;
        const bool picture = code == kPicture;
        if (!head && !picture) continue;
        if (whole) {
            if (!units.empty()) units.back().size = at - units.back().at;
            units.push_back({at, 0, false});
        }
        if (code == kSequenceHeader) units.back().randomAccess = true;
        whole = picture;
    }
    if (!units.empty()) units.back().size = bytes.size() - units.back().at;
    return units;
}

std::vector<UnitPlace> FindAc3Frames(std::span<const std::uint8_t> bytes) {
    std::vector<UnitPlace> units;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto rest = bytes.subspan(at);
        const bool head = rest.size() > A52_SYNCINFO_SIZE && rest[0] == 0x0B && rest[1] == 0x77;
        const std::size_t size =
            head ? a52_get_frame_size(a52_get_fscod(rest.data()), a52_get_frmsizecod(rest.data())) : 0;
        if (size == 0 || size > rest.size() || a52_get_fscod(rest.data()) != A52_FSCOD_48KHZ) {
            throw Error("no whole AC-3 frame at 48 kHz at byte " + std::to_string(at));
        }
        units.push_back({at, size, true});
        at += size;
    }
    return units;
}

std::unique_ptr<ElementaryStream> OpenVideoFile(const std::string& file, std::size_t count) {
    auto mapped = Map(file);
    auto places = FindPictures(mapped->Bytes());
    Cut(places, 0, count, file);
    return std::make_unique<FileStream>(kStreamIdVideo, std::move(mapped), std::move(places), kPictureTime);
}

std::unique_ptr<ElementaryStream> OpenAc3File(const std::string& file, std::size_t skip, std::size_t count) {
    auto mapped = Map(file);
    auto places = FindAc3Frames(mapped->Bytes());
    Cut(places, skip, count, file);
    return std::make_unique<FileStream>(kStreamIdPrivate1, std::move(mapped), std::move(places), kAc3FrameTime);
}

}  // namespace mux
