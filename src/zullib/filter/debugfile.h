/// Debug files in place of the tuner or the network.
#pragma once

#include <cstdio>
#include <memory>

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using DebugFile = std::unique_ptr<FILE, CloseFile>;
