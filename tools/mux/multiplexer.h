/// The multiplexer: a transport stream of constant rate from a description.
#pragma once

#include <cstdint>
#include <functional>

#include "description.h"
#include "elementary_stream.h"
#include "packetizer.h"

namespace mux {

struct MuxOptions {
    std::uint32_t milliseconds = 10'000;  ///< length of the stream
    std::uint64_t seed = 1;               ///< of all that is arbitrary; the same seed makes the same stream
};

/// Takes the packets of a stream, in order.
using PacketSink = std::function<void(const Packet&)>;

/// Makes a stream of constant rate: each packet leaves in the first slot after its moment, null packets fill the rest.
///
/// The stream can be played over and over. At the seam the clock (PCR, PTS, STT) starts anew, and the first PCR packet
/// says so by its discontinuity_indicator; continuity counters go on, the last unit of every stream and the last
/// section of every table are whole, and the tables keep their distances. Sound pauses for about a tenth of a second
/// and pictures for the decoder's delay, since what is presented after the end has not begun to arrive before it.
///
/// Throws Error for a description that can't be written or that needs more than its rate.
void Multiplex(const Description& description, const MuxOptions& options, StreamSupply& supply, const PacketSink& sink);

/// The same into memory, with synthetic streams. Deterministic.
Octets MakeMultiplex(const Description& description, const MuxOptions& options);

/// Packets that a stream of that length has.
std::size_t CountPackets(const Description& description, std::uint32_t milliseconds);

}  // namespace mux
