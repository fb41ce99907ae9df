/// The module, loaded as the board's player loads it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace board {

/// libzul.so in this process. It can't be stopped: it is never unloaded, and started once per process.
class Module {
 public:
    /// Throws std::runtime_error when the file can't be loaded or lacks a function of the interface.
    explicit Module(const std::string& path);

    /// \param role  'T', 'R' or 'A'
    char* Start(char role) const { return mStart(role); }

    void Filter(std::span<std::uint8_t> data) const { mFilter(data.data(), static_cast<unsigned>(data.size())); }

 private:
    char* (*mStart)(char);
    void (*mFilter)(unsigned char*, unsigned int);
};

}  // namespace board
