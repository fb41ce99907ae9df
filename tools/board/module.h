/// The module under test, loaded as the board's player loads it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace board {

/// libzul.so in this process. The module has no stop path: it is never unloaded, and one process starts it once.
class Module {
 public:
    /// Throws std::runtime_error when the file can't be loaded or lacks a part of the interface.
    explicit Module(const std::string& path);

    /// \param role  'T', 'R' or 'A'
    char* Start(char role) const { return mStart(role); }

    void Filter(std::span<std::uint8_t> data) const { mFilter(data.data(), static_cast<unsigned>(data.size())); }

 private:
    char* (*mStart)(char);
    void (*mFilter)(unsigned char*, unsigned int);
};

}  // namespace board
