// A shared library that is loaded when something is asked of it for the first time.
//
// For libraries that bring many others along, whose loading would cost every short call of the program more
// than what it is called for.
#pragma once

#include <cstring>

namespace quzo::platform {

class SharedLibrary {
public:
    // Loads the library of that file name, such as "libcurl.so.4", for good: it is never unloaded. It is then
    // loaded() or not. Any thread.
    explicit SharedLibrary(const char* name);

    bool loaded() const { return handle_ != nullptr; }

    // Sets a pointer to the function or object of that name. False when the library is not loaded or has
    // none; the pointer is then unchanged. The type is the caller's word.
    template <typename Target>
    bool find(const char* name, Target*& target) const {
        void* found = address(name);
        static_assert(sizeof(Target*) == sizeof(void*));
        if (found != nullptr) {
            std::memcpy(&target, &found, sizeof found);
        }
        return found != nullptr;
    }

private:
    void* address(const char* name) const; // null: not there

    void* handle_ = nullptr;
};

} // namespace quzo::platform
