// Owners for GMime's objects, and its start.
#pragma once

#include <glib-object.h>

#include <memory>

namespace quzo::platform {

struct UnrefObject {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};

template <typename T>
using GObjectHandle = std::unique_ptr<T, UnrefObject>;

struct FreeMemory {
    void operator()(gpointer memory) const noexcept { g_free(memory); }
};

using GStringHandle = std::unique_ptr<char, FreeMemory>;

// Starts GMime once for the process; whoever calls it comes first. Callable from any thread.
void startGMime();

} // namespace quzo::platform
