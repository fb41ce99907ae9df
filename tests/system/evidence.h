/// Data received on a multicast group, compared with the stream that the tuner played.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "live_board.h"
#include "mux/description.h"
#include "net/udp_socket.h"
#include "stream/probe.h"

namespace board {

using Packet = std::vector<std::uint8_t>;
using PacketsByPid = std::map<int, std::vector<Packet>>;

/// The packets of a transport stream, by PID and in order. Throws std::runtime_error where one doesn't begin.
PacketsByPid SortPackets(const std::vector<std::uint8_t>& stream);

/// Programme numbers and PIDs of a PAT, in its order.
using PatEntries = std::vector<std::pair<int, int>>;

/// What a group carried for a while.
struct Evidence {
    PacketsByPid pids;
    std::set<std::size_t> datagramSizes;
    std::vector<PatEntries> pats;  ///< each PAT with a good CRC_32
    zulctl::StreamReport report;   ///< of the master's judge

    bool Has(int pid) const { return pids.contains(pid); }
};

/// A member of a multicast group.
class GroupListener {
 public:
    GroupListener(const std::string& group, std::uint16_t port);

    /// Receives new data until there are `bytes`. Restarts when this machine itself drops datagrams. \return the data;
    /// less than requested when the stream pauses for long
    Evidence Collect(std::size_t bytes);

    /// \return whether nothing comes for a second
    bool IsSilent() { return Gather(1, Milliseconds(1000)).empty(); }

 private:
    std::vector<zulctl::Datagram> Gather(std::size_t bytes, Milliseconds limit);

    zulctl::UdpSocket mSocket;
};

/// Compares packets of each PID but the PAT's with those of the stream that was played over and over.
/// \return the first PID that carries anything else, in words; empty where all packets came, in order and unchanged
std::string Difference(const PacketsByPid& received, const std::vector<std::uint8_t>& played);

/// The small multiplex of three programmes that ships with zul-mux.
mux::Description SmallMultiplex();

/// Makes the stream of a description, with arbitrary bytes for pictures and sound, and writes it to a file.
std::vector<std::uint8_t> WriteStream(const std::string& file, const mux::Description& description,
                                      std::uint32_t milliseconds = 4000);

/// PIDs of a programme's PMT and elementary streams.
std::set<int> PidsOf(const mux::Programme& programme);

/// Sends a stream to a group over and over, as a transmitter does, at some megabits a second.
class Sender {
 public:
    Sender(const std::string& group, std::uint16_t port, std::vector<std::uint8_t> stream)
        : mThread([to = zulctl::Endpoint{*zulctl::ParseAddress(group), port},
                   stream = std::move(stream)](const std::stop_token& stop) {
              constexpr std::size_t kDatagram = 7 * 188;
              zulctl::UdpSocket socket;
              for (std::size_t at = 0; !stop.stop_requested();
                   at = at + 2 * kDatagram > stream.size() ? 0 : at + kDatagram) {
                  socket.Send({reinterpret_cast<const char*>(&stream[at]), kDatagram}, to);
                  std::this_thread::sleep_for(Milliseconds(1));
              }
          }) {}

 private:
    std::jthread mThread;
};

inline constexpr const char* kUnit = "UNIT1,239.1.1.1,5001,7,4d,1";

/// A transmitter that has started and sends the first programme of a channel, and a member of its group.
class Transmission : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_TRUE(board.Start());
        ASSERT_EQ(board.Ask(kUnit), "OK\r\n");
    }

    const mux::Description multiplex = SmallMultiplex();
    const std::vector<std::uint8_t> played = WriteStream("/mnt/seven.ts", multiplex);
    GroupListener group{"239.1.1.1", 5001};
    LiveBoard board{'T', {.band = {{7, {"/mnt/seven.ts", 5}}}}};
};

}  // namespace board
