// Extended Text Table. After protocol_version:
//     bytes 0-3   ETM_id
//     bytes 4-    extended_text_message
#include "ett_writer.h"

namespace mux {

Section WriteEtt(const Ett& ett) {
    ByteWriter body;
    body.U32(ett.etmId).Raw(ett.message);
    return MakePsipSection({.tableId = 0xCC, .extension = ett.extension, .version = ett.version}, body.Bytes(),
                           kMaxLongSection);
}

}  // namespace mux
