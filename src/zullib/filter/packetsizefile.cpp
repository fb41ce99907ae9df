// Saves the datagram size on the settings partition, which is writable only meanwhile.
#include "filter/packetsizefile.h"

#include <cstdio>
#include <string>

#include "core/log.h"
#include "core/systemmanager.h"
#include "platform/machine.h"

namespace {

constexpr const char* kPacketSizeFile = "/mnt/hd1/zul_packet_size";

bool WritePacketSize(const std::string& path, int packetSize) {
    FILE* const file = std::fopen(path.c_str(), "we");
    if (file == nullptr) return false;
    const bool written = std::fprintf(file, "%d", packetSize) > 0;
    return std::fclose(file) == 0 && written;
}

}  // namespace

bool SavePacketSize(int packetSize) {
    const std::string path = platform::DiskPath(kPacketSizeFile);  // before the remount: it allocates
    {
        const WritableDisk disk;
        if (!disk.IsWritable()) {
            PANIC("Cant remount rw");
            return false;
        }
        if (!WritePacketSize(path, packetSize)) {
            PANIC("cant open zul_packet_size file for wr");
            return false;
        }
    }
    LOG("Saved new packet size of %d\n", packetSize);
    return true;
}
