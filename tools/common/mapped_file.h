/// Files in memory.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace common {

/// A file that is mapped into memory for reading.
class MappedFile {
 public:
    explicit MappedFile(const std::string& path);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    /// \return false where the file can't be opened
    bool IsOpen() const { return mOpen; }
    /// \return its content; nothing for a file that is empty or can't be read
    std::span<const std::uint8_t> Bytes() const { return mBytes; }

 private:
    bool mOpen = false;
    std::span<const std::uint8_t> mBytes;
};

}  // namespace common
