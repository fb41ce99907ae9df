// Transport packets, stuffed by adaptation fields.
#include "packetizer.h"

#include <bitstream/mpeg/ts.h>

#include <algorithm>

namespace mux {

Packet MakePacket(const PacketShape& shape, OctetView payload) {
    Packet packet;
    std::uint8_t* const bytes = packet.data();
    ts_init(bytes);
    ts_set_pid(bytes, shape.pid);
    ts_set_payload(bytes);
    if (shape.unitStart) ts_set_unitstart(bytes);
    if (payload.size() < kPacketPayload) {
        ts_set_adaptation(bytes, static_cast<std::uint8_t>(kPacketPayload - 1 - payload.size()));
        if (shape.randomAccess) tsaf_set_randomaccess(bytes);
    }
    std::copy(payload.begin(), payload.end(), packet.end() - static_cast<std::ptrdiff_t>(payload.size()));
    return packet;
}

}  // namespace mux
