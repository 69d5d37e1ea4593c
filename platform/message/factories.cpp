// Making and freeing the platform's objects.
#include "quzo/core/factories.h"

#include <atomic>
#include <memory>
#include <string>

#include "platform/message/edit/resource_locator.h"
#include "platform/message/mail_message.h"
#include "quzo/core/guard.h"

namespace quzo {
namespace platform {
namespace {

std::atomic<bool> stampAsAttachment{false};

} // namespace

bool stampsAreAttachments() { return stampAsAttachment; }

} // namespace platform

KvMsgMailMessage* KvMsg_CreateMailMessage() {
    using Result = KvMsgMailMessage*;
    return guarded("Creating a message", Result(nullptr), []() -> Result {
        // An empty header block, the empty line that ends it, no body. The caller frees it with
        // KvMsg_DeleteMailMessage.
        return platform::MailMessage::parse("\r\n", platform::Limits()).release();
    });
}

void KvMsg_DeleteMailMessage(KvMsgMailMessage* msg) {
    const std::unique_ptr<platform::MailMessage> dying(static_cast<platform::MailMessage*>(msg));
}

KvMsgResourceLocator* KvMsg_CreateResourceLocator(const char* data, int kind, std::size_t length,
                                                  std::size_t /*capacity*/, int /*ownership*/) {
    using Result = KvMsgResourceLocator*;
    constexpr int kMemory = 1;
    return guarded("Creating a resource locator", Result(nullptr), [&]() -> Result {
        if (kind != kMemory || (data == nullptr && length != 0)) {
            return nullptr;
        }
        std::string bytes = length == 0 ? std::string() : std::string(data, length);
        return std::make_unique<platform::MemoryLocator>(std::move(bytes)).release();
    });
}

void KvMsg_DeleteResourceLocator(KvMsgResourceLocator* locator) {
    const std::unique_ptr<platform::MemoryLocator> dying(static_cast<platform::MemoryLocator*>(locator));
}

// The view is the envelope itself, which dies with its message.
void KvMsg_DeleteSessionInfo(KvMsgMailSessionInfo* /*session*/) {}

void KvMsg_SetDisclaimerAttachmentAsDefault(int on) { platform::stampAsAttachment = on != 0; }

} // namespace quzo
