// Mapping a whole file.
#include "common/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common {

std::shared_ptr<const Bytes> MapFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1) return nullptr;
    struct stat status {};
    fstat(file, &status);
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const address = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);  // fails for an empty file
    close(file);
    if (address == MAP_FAILED) return std::make_shared<const Bytes>();
    return {new Bytes(static_cast<const std::uint8_t*>(address), size), [address, size](const Bytes* bytes) {
                munmap(address, size);
                delete bytes;
            }};
}

}  // namespace common
