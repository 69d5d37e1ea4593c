// See leaving_mail.h. Whatever way a message takes from here, it is this that arrives.
#include "host/gateway/leaving_mail.h"

#include <string_view>
#include <utility>

#include "platform/queue/leaving_message.h"

namespace quzo::host {

LeavingMail leavingMailOf(const MessageResult& result, const std::string& hostname, std::uint32_t markEnd) {
    std::string text;
    text.reserve(result.size());
    result.write([&text](std::string_view piece) {
        text.append(piece);
        return true;
    });
    // The line break behind a header without an end is the mark's only where nothing else has come there.
    const bool unchanged = result.scan.outcome == Outcome::Unchanged;
    return {platform::leavingSender(result.envelope.sender, hostname), result.envelope.recipients,
            platform::withoutMarks(std::move(text), unchanged ? markEnd : 0)};
}

} // namespace quzo::host
