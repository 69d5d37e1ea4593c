// See shared_library.h.
#include "platform/base/shared_library.h"

#include <dlfcn.h>

namespace quzo::platform {

SharedLibrary::SharedLibrary(const char* name) : handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

void* SharedLibrary::address(const char* name) const {
    return handle_ != nullptr ? ::dlsym(handle_, name) : nullptr;
}

} // namespace quzo::platform
