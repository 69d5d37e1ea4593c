// Bytes that a caller hands to a message.
#pragma once

#include <string>
#include <utility>

#include "quzo/core/message.h"

namespace quzo::platform {

class MemoryLocator final : public KvMsgResourceLocator {
public:
    explicit MemoryLocator(std::string bytes) : bytes_(std::move(bytes)) {}
    ~MemoryLocator() = default;
    MemoryLocator(const MemoryLocator&) = delete;
    MemoryLocator& operator=(const MemoryLocator&) = delete;

    const std::string& bytes() const { return bytes_; }
    // For the operation that takes the locator over.
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;
};

// Whether stamps are to be inserted as attachments (KvMsg_SetDisclaimerAttachmentAsDefault).
bool stampsAreAttachments();

} // namespace quzo::platform
