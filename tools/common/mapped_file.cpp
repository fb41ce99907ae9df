// Mapping a whole file.
#include "common/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common {

MappedFile::MappedFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1) return;
    mOpen = true;
    struct stat status {};
    if (fstat(file, &status) == 0 && status.st_size > 0) {
        const auto size = static_cast<std::size_t>(status.st_size);
        void* const address = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
        if (address != MAP_FAILED) mBytes = {static_cast<const std::uint8_t*>(address), size};
    }
    close(file);
}

MappedFile::~MappedFile() {
    if (!mBytes.empty()) munmap(const_cast<std::uint8_t*>(mBytes.data()), mBytes.size());
}

}  // namespace common
