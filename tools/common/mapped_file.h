/// Files in memory.
#pragma once

#include <memory>
#include <string>

#include "bytes.h"

namespace common {

/// \return the content of a file, mapped into memory as long as a copy of the pointer lives; nothing for a file that is
/// empty or can't be read. Null where it can't be opened.
std::shared_ptr<const Bytes> MapFile(const std::string& path);

}  // namespace common
