/// What boards send on their own: steps of a scan, log lines, keys of the remote control, bytes of the serial port.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zulctl {

/// A step of a scan.
struct ScanStep {
    enum class Kind {
        kStarted,      ///< "BLINDSTART:0 OK"
        kCannotStart,  ///< "BLINDSTART:1 KO"
        kLocked,       ///< "BLINDLOCK:n OK": a usable signal on channel n
        kFound,        ///< "BLINDFND:n OK": n programmes on the channel that was locked last
        kEnded,        ///< "BLINDCMP:0 OK"
    };
    Kind kind;
    int number = 0;
};
std::optional<ScanStep> ParseScanStep(std::string_view datagram);

/// A line of the log channel: "LOG: text CR LF NUL", or "LOG:ERROR text CR LF" for a failure.
struct LogLine {
    bool error = false;
    std::string text;  ///< without line ends at its end; not escaped
};
std::optional<LogLine> ParseLogLine(std::string_view datagram);

/// A key of the remote control. The datagram has 12 bytes: "REMOTE", 1, 4, system code, key, repeat, 0xCC.
struct KeyPress {
    int systemCode = 0;
    int code = 0;
    bool repeat = false;
    /// A board also sends the code of "1" for an unknown key.
    std::string_view Name() const;  ///< "UP", "7", "VOL+" and the like; empty for a code without a key
};
std::optional<KeyPress> ParseKey(std::string_view datagram);
/// \return the byte of a serial datagram: "UART" and one byte
std::optional<char> ParseSerialByte(std::string_view datagram);

}  // namespace zulctl
