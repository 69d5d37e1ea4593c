// Owners for what the platform makes: each frees its object with the platform's own function, on every
// path. Release a handle only to hand its object to an operation that takes it over.
#pragma once

#include <memory>

#include "quzo/core/factories.h"

namespace quzo {

template <auto freeFunction>
struct FreeWith {
    template <typename T>
    void operator()(T* object) const noexcept {
        freeFunction(object);
    }
};

using MessageHandle = std::unique_ptr<KvMsgMailMessage, FreeWith<KvMsg_DeleteMailMessage>>;
using LocatorHandle = std::unique_ptr<KvMsgResourceLocator, FreeWith<KvMsg_DeleteResourceLocator>>;
using SessionHandle = std::unique_ptr<KvMsgMailSessionInfo, FreeWith<KvMsg_DeleteSessionInfo>>;
using HeaderValueHandle = std::unique_ptr<char, FreeWith<KvMsg_FreeHeaderValue>>;

} // namespace quzo
