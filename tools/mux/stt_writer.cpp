// System Time Table. After protocol_version:
//     bytes 0-3   system_time
//     byte  4     GPS_UTC_offset
//     bytes 5-6   DS_status (1 bit), reserved (2), DS_day_of_month (5), DS_hour (8)
#include "stt_writer.h"

namespace mux {

Section WriteStt(const Stt& stt) {
    ByteWriter body;
    body.U32(stt.systemTime).U8(stt.gpsUtcOffset);
    body.U8((stt.daylightSaving ? 0xE0u : 0x60u) | (stt.daylightDay & 31u)).U8(stt.daylightHour);
    return MakePsipSection({.tableId = 0xCD}, body.Bytes(), kMaxShortSection);
}

}  // namespace mux
