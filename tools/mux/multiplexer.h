/// The multiplexer: a transport stream of constant rate from a description.
#pragma once

#include <cstdint>
#include <functional>

#include "description.h"
#include "elementary_stream.h"
#include "packetizer.h"

namespace mux {

struct MuxOptions {
    std::uint32_t milliseconds = 10'000;  ///< length of the stream, at least 100
    std::uint64_t seed = 1;               ///< of all that is arbitrary; the same seed makes the same stream
};

/// Takes the packets of a stream, in order.
using PacketSink = std::function<void(const Packet&)>;

/// Makes a stream of constant rate: each packet takes the first slot after its due time, and null packets fill the
/// rest.
///
/// The stream can be repeated. At the seam the clock (PCR, PTS, STT) restarts, which the discontinuity_indicator of the
/// first PCR packet signals; continuity counters continue, the last unit of every stream and the last section of every
/// table are complete, and the tables keep their intervals. Sound pauses for about a tenth of a second
/// and pictures for the decoder's delay, since nothing presented after the seam arrives before it.
///
/// Throws std::runtime_error for a description that can't be written or that needs more than its rate.
void Multiplex(const Description& description, const MuxOptions& options, const StreamSupply& supply,
               const PacketSink& sink);

/// The same in memory, with synthetic streams. Deterministic.
Octets MakeMultiplex(const Description& description, const MuxOptions& options);

}  // namespace mux
