// Loading the module.
#include "module.h"

#include <dlfcn.h>

#include <stdexcept>

namespace board {

namespace {

template <typename Function>
void Find(void* handle, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(handle, name));
    if (function == nullptr) throw std::runtime_error(dlerror());
}

}  // namespace

Module::Module(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error(dlerror());
    Find(handle, "Zul_Start_Filter", mStart);
    Find(handle, "Zul_Filter", mFilter);
}

}  // namespace board
