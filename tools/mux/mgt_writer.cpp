// Master Guide Table. A table's entry:
//     bytes 0-1   table_type
//     bytes 2-3   reserved (3 bits), table_type_PID (13)
//     byte  4     reserved (3 bits), table_type_version_number (5)
//     bytes 5-8   number_bytes
//     bytes 9-10  reserved (4 bits), table_type_descriptors_length (12)
//     bytes 11-   descriptors
#include "mgt_writer.h"

namespace mux {

Section WriteMgt(const Mgt& mgt) {
    ByteWriter body;
    body.U16(static_cast<std::uint16_t>(mgt.tables.size()));
    for (const MgtTable& table : mgt.tables) {
        body.U16(table.type).U16(0xE000u | table.pid).U8(0xE0u | (table.version & 31u)).U32(table.bytes);
        body.U16(0xF000u | static_cast<std::uint16_t>(table.descriptors.size())).Raw(table.descriptors);
    }
    body.U16(0xF000u | static_cast<std::uint16_t>(mgt.descriptors.size())).Raw(mgt.descriptors);
    return MakePsipSection({.tableId = 0xC7, .version = mgt.version}, body.Bytes(), kMaxLongSection);
}

}  // namespace mux
