// The msgu helpers on the envelope.
#include <string>

#include "platform/message/message_impl.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/msgu.h"

namespace quzo::msgu {

bool getRcpt(const KvMsgMailMessage* msg, std::string& out, std::list<std::string>& rcpts) {
    return msg != nullptr && guarded("Reading the envelope recipients", false, [&] {
               const auto& recipients = platform::MessageImpl::from(msg)->recipients();
               out.clear();
               rcpts.assign(recipients.begin(), recipients.end());
               for (const std::string& recipient : recipients) {
                   out.append(out.empty() ? "" : ";").append(recipient);
               }
               return true;
           });
}

bool setRcpt(KvMsgMailMessage* msg, const char* rcpts, bool append) {
    return msg != nullptr && rcpts != nullptr && guarded("Setting the envelope recipients", false, [&] {
               return platform::MessageImpl::from(msg)->envelope().setRecipients(rcpts, append) == kErrorNone;
           });
}

} // namespace quzo::msgu
