/// The replies of STATUS, IP?, VERS, TIME, SCA? and UPGR?.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/endpoint.h"
#include "protocol/moment.h"

namespace zulctl {

/// One outgoing stream of a transmitter.
struct StreamStatus {
    int id = 0;
    bool active = false;
    Endpoint group;
    std::vector<std::uint16_t> programmes;
};

/// A transmitter's line.
struct TransmitterStatus {
    std::vector<StreamStatus> streams;  ///< in slot order
    bool locked = false;
    int signal = 0;         ///< 0 to 255
    std::string tunerMode;  ///< "ATSC", "QAM64", "QAM256" or "TUNER_ERR"; empty in a cut line
    int load = 0;           ///< percent
    bool cut = false;       ///< the line was longer than a reply may be; what follows the cut is missing

    bool SendsTo(const Endpoint& group) const;
};

/// A receiver's line.
struct ReceiverStatus {
    int lastUnit = 0;     ///< kind of the last UNIT command that was accepted
    std::string address;  ///< group being played; empty while there is none
    std::uint16_t port = 0;
    bool playsStream = false;
    int programme = 0;
    int video = 0;  ///< 0 and 1 kinds of video, 2 none
    int audio = 0;  ///< 0 to 2 kinds of audio, 3 none
    bool browserUp = false;
    int load = 0;

    /// \return what it plays; nothing where it plays no stream
    std::optional<Endpoint> Group() const;
};

std::optional<TransmitterStatus> ParseTransmitterStatus(std::string_view reply);
std::optional<ReceiverStatus> ParseReceiverStatus(std::string_view reply);

/// The address settings.
struct AddressSettings {
    int dhcp = 0;
    std::string mac, address, gateway, netmask;
};
std::optional<AddressSettings> ParseAddressSettings(std::string_view reply);

/// \return "0.82.14" of "VERS0.82.14OK"
std::optional<std::string> ParseVersion(std::string_view reply);

/// \return the moment of "TIME d3a4 1930 OK"
std::optional<Minutes> ParseBroadcastTime(std::string_view reply);

inline constexpr int kHighestChannel = 158;  ///< of a tuner

/// The channels that a tuner has, and that a scan walks over.
struct ChannelRange {
    int first = 1, last = kHighestChannel;
    /// \return how much of the range lies before a channel
    int Percent(int channel) const { return std::clamp((channel - first) * 100 / (last - first + 1), 0, 100); }
};
ChannelRange ChannelsOf(const std::string& tunerMode);

/// The four bytes of SCA?.
struct ScanState {
    enum class State : unsigned char { kIdle = 0, kRunning = 2, kDone = 5, kError = 0xFF };  ///< others are unknown
    int channel = 0;  ///< low 8 bits of the channel number
    int found = 0;    ///< low 8 bits of the channels with a usable signal
    State state{};
};
std::optional<ScanState> ParseScanState(std::string_view reply);
const char* ScanStateName(ScanState::State state);

enum UpgradeState { kUpgradeIdle = 0, kDownloading = 1, kBurning = 2, kDownloadFailed = 3, kBurnFailed = 4 };
/// \return the state of "UPGRSTATUS1 OK"
std::optional<int> ParseUpgradeState(std::string_view reply);

}  // namespace zulctl
